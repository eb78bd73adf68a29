#include "tools/document.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

#include "Keel/coding/json.h"
#include "Keel/coding/property_list.h"

namespace Vantor::Tools {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::string_view withoutByteOrderMark(std::string_view bytes) {
  if (bytes.starts_with(byteOrderMark)) bytes.remove_prefix(byteOrderMark.size());
  return bytes;
}

std::string sizeText(std::size_t bytes) {
  if (bytes % (std::size_t{1} << 20) == 0) return std::to_string(bytes >> 20) + " MiB";
  return std::to_string(bytes) + " bytes";
}

// The error's own words, with where in the document when it is not the root.
std::string reasonOf(const Keel::CodingError& error) {
  std::string path = Keel::codingPathText(error.codingPath);
  return path.empty() ? error.description : path + ": " + error.description;
}

}  // namespace

DocumentFormat sniffFormat(std::string_view bytes) {
  if (bytes.starts_with("bplist")) return DocumentFormat::propertyList;
  bytes = withoutByteOrderMark(bytes);
  const auto first = bytes.find_first_not_of(" \t\r\n");
  if (first != std::string_view::npos && bytes[first] == '<') return DocumentFormat::propertyList;
  return DocumentFormat::json;
}

Keel::Result<std::string> readDocumentFile(const std::filesystem::path& path, std::size_t limit) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error) return Keel::failure(error.message());
  if (std::filesystem::is_directory(status)) return Keel::failure("is a folder, not a file");
  // Opening a FIFO or a device could block or never end.
  if (!std::filesystem::is_regular_file(status)) return Keel::failure("not a regular file");
  const auto size = std::filesystem::file_size(path, error);
  if (!error && size > limit) return Keel::failure("larger than " + sizeText(limit));
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) return Keel::failure(std::strerror(errno));
  return readDocumentStream(file.get(), limit);
}

Keel::Result<std::string> readDocumentStream(std::FILE* stream, std::size_t limit) {
  std::string bytes;
  char buffer[65536];
  for (;;) {
    const std::size_t n = std::fread(buffer, 1, sizeof buffer, stream);
    if (n > 0) {
      if (n > limit - bytes.size()) return Keel::failure("larger than " + sizeText(limit));
      bytes.append(buffer, n);
    }
    if (n < sizeof buffer) {
      if (std::ferror(stream)) return Keel::failure(std::strerror(errno));
      if (std::feof(stream)) return bytes;
    }
  }
}

Keel::Result<Keel::AnyValue> parseDocument(std::string_view bytes) {
  if (bytes.empty()) return Keel::failure("empty document");
  auto tree = sniffFormat(bytes) == DocumentFormat::propertyList ? Keel::PropertyList::parse(bytes)
                                                                 : Keel::JSON::parse(withoutByteOrderMark(bytes));
  if (!tree) return Keel::failure(reasonOf(tree.error()));
  return std::move(tree.value());
}

Keel::Result<std::string> convertTree(const Keel::AnyValue& tree, DocumentFormat to) {
  auto text = to == DocumentFormat::json ? Keel::JSON::write(tree) : Keel::PropertyList::writeXML(tree);
  if (!text) {
    return Keel::failure(std::string("cannot be written as ") +
                         (to == DocumentFormat::json ? "JSON" : "a property list") + ": " + reasonOf(text.error()));
  }
  std::string out = std::move(text.value());
  if (!out.ends_with('\n')) out += '\n';
  return out;
}

}  // namespace Vantor::Tools
