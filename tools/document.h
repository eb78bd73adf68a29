// Documents as vantor-decode reads them: bytes from a file or a stream, their
// format told from their first bytes, parsed into the untyped value tree.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "Keel/core/any_value.h"
#include "Keel/core/result.h"

namespace Vantor::Tools {

// Larger documents are refused rather than read: the tree costs several times
// the document's size in memory.
inline constexpr std::size_t maxDocumentBytes = std::size_t{256} << 20;

enum class DocumentFormat { json, propertyList };

// A property list when the bytes start with the binary signature or, after a
// byte-order mark and white space, with "<" (an XML declaration, a doctype or
// the plist element: no JSON text starts so); otherwise JSON.
[[nodiscard]] DocumentFormat sniffFormat(std::string_view bytes);

// The whole regular file, or why not: missing, a folder or other non-regular
// file, unreadable, or larger than `limit` bytes. Never blocks on a FIFO.
[[nodiscard]] Keel::Result<std::string> readDocumentFile(const std::filesystem::path& path,
                                                         std::size_t limit = maxDocumentBytes);

// Everything `stream` holds until its end, or why not (a read error, or more
// than `limit` bytes).
[[nodiscard]] Keel::Result<std::string> readDocumentStream(std::FILE* stream, std::size_t limit = maxDocumentBytes);

// The tree of the document in its sniffed format, or the parser's reason.
// A UTF-8 byte-order mark before JSON is skipped.
[[nodiscard]] Keel::Result<Keel::AnyValue> parseDocument(std::string_view bytes);

// The tree as compact JSON or as an XML property list, each ending in a
// newline, or why the tree has no form there (for example data in JSON or
// null in a property list).
[[nodiscard]] Keel::Result<std::string> convertTree(const Keel::AnyValue& tree, DocumentFormat to);

}  // namespace Vantor::Tools
