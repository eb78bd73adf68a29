// How WebRequest turns an address text into a transfer, and its failure
// rules; the network itself is behind WebTransport.
#include "Keel/services/web_request.h"

#include <cstddef>
#include <utility>

#include "Keel/core/dispatch_queue.h"
#include "Keel/core/url.h"
#include "Keel/core/utf8.h"

namespace Keel {
namespace {

constexpr std::chrono::milliseconds textTimeout{10'000};

bool isAlphaNumeric(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isHexDigit(unsigned char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool isQueryAllowed(unsigned char c) {
  if (isAlphaNumeric(c)) return true;
  switch (c) {
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case '-':
    case '.':
    case '/':
    case ':':
    case ';':
    case '=':
    case '?':
    case '@':
    case '_':
    case '~':
      return true;
    default:
      return false;
  }
}

// The characters a URL reference may hold besides escapes: the unreserved
// ones and the delimiters.
bool isURLCharacter(unsigned char c) {
  if (isAlphaNumeric(c)) return true;
  switch (c) {
    case '-':
    case '.':
    case '_':
    case '~':
    case ':':
    case '/':
    case '?':
    case '#':
    case '[':
    case ']':
    case '@':
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case ';':
    case '=':
      return true;
    default:
      return false;
  }
}

void deliverNothing(WebDataCompletion completion) {
  DispatchQueue::global().async([completion = std::move(completion)] { completion(std::nullopt, std::nullopt); });
}

WebRequestSpec textRequest(std::string url) {
  WebRequestSpec request;
  request.url = std::move(url);
  request.cachePolicy = WebRequestSpec::CachePolicy::reloadIgnoringLocalAndRemoteCacheData;
  request.timeout = textTimeout;
  return request;
}

std::function<void(WebTransferResult)> dataDelivery(WebDataCompletion completion) {
  return [completion = std::move(completion)](WebTransferResult result) mutable {
    DispatchQueue::global().async(
        [completion = std::move(completion), data = std::move(result.data), error = std::move(result.error)]() mutable {
          completion(std::move(data), std::move(error));
        });
  };
}

char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

WebHeaders headersToSend(const WebRequestSpec& request) {
  WebHeaders headers = request.headers;
  if (request.cachePolicy == WebRequestSpec::CachePolicy::reloadIgnoringLocalAndRemoteCacheData) {
    headers.emplace_back("Cache-Control", "no-cache");
    headers.emplace_back("Pragma", "no-cache");
  }
  return headers;
}

std::optional<std::string> WebResponse::value(std::string_view name) const {
  for (const auto& [field, value] : headers) {
    if (field.size() != name.size()) continue;
    bool same = true;
    for (std::size_t i = 0; i < name.size() && same; ++i) same = asciiLower(field[i]) == asciiLower(name[i]);
    if (same) return value;
  }
  return std::nullopt;
}

std::optional<std::string> percentEncodedForURLQuery(std::string_view text) {
  // Escapes stand for UTF-8 bytes, so text that is not UTF-8 has no encoding.
  if (!isValidUtf8(text)) return std::nullopt;
  std::string out;
  out.reserve(text.size());
  appendPercentEncoded(out, text, isQueryAllowed);
  return out;
}

bool isValidURL(std::string_view text) {
  if (text.empty()) return false;
  bool seenFragment = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '%') {
      if (i + 2 >= text.size() || !isHexDigit(static_cast<unsigned char>(text[i + 1])) ||
          !isHexDigit(static_cast<unsigned char>(text[i + 2]))) {
        return false;
      }
      i += 2;
    } else if (c == '#') {
      if (seenFragment) return false;
      seenFragment = true;
    } else if (!isURLCharacter(c)) {
      return false;
    }
  }
  // A colon before the first "/", "?" or "#" ends a scheme, which must be
  // well formed; a relative reference may not have a colon there at all.
  const std::size_t end = text.find_first_of("/?#");
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && colon < end) {
    if (colon == 0) return false;
    if (!isAlphaNumeric(static_cast<unsigned char>(text[0])) || (text[0] >= '0' && text[0] <= '9')) return false;
    for (std::size_t i = 1; i < colon; ++i) {
      const auto c = static_cast<unsigned char>(text[i]);
      if (!isAlphaNumeric(c) && c != '+' && c != '-' && c != '.') return false;
    }
  }
  return true;
}

WebClient::WebClient(std::shared_ptr<WebTransport> transport) : transport_(std::move(transport)) {}

void WebClient::post(std::string_view urlString, std::optional<std::string> form, WebDataCompletion completion) const {
  auto encoded = percentEncodedForURLQuery(urlString);
  if (!encoded) return deliverNothing(std::move(completion));
  if (!isValidURL(*encoded)) return;  // deliberately silent, see the header
  WebTransfer transfer{textRequest(std::move(*encoded)), true};
  transfer.request.method = "POST";
  if (form) {
    transfer.request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
    // Bytes that are not UTF-8 are not the form's text, so nothing is sent
    // in its place.
    if (isValidUtf8(*form)) transfer.request.body = std::move(*form);
  }
  transport_->start(std::move(transfer), dataDelivery(std::move(completion)));
}

void WebClient::get(std::string_view urlString, WebDataCompletion completion) const {
  auto encoded = percentEncodedForURLQuery(urlString);
  if (!encoded) return deliverNothing(std::move(completion));
  if (!isValidURL(*encoded)) return;  // deliberately silent, see the header
  transport_->start(WebTransfer{textRequest(std::move(*encoded)), false}, dataDelivery(std::move(completion)));
}

void WebClient::getRaw(std::string_view rawURLString, WebDataCompletion completion) const {
  if (!isValidURL(rawURLString)) return deliverNothing(std::move(completion));
  transport_->start(WebTransfer{textRequest(std::string(rawURLString)), false}, dataDelivery(std::move(completion)));
}

void WebClient::get(std::string_view urlString, const std::map<std::string, std::string>& headers,
                    WebFullCompletion completion) const {
  auto encoded = percentEncodedForURLQuery(urlString);
  if (!encoded) {
    DispatchQueue::global().async(
        [completion = std::move(completion)] { completion(std::nullopt, std::nullopt, std::nullopt); });
    return;
  }
  if (!isValidURL(*encoded)) return;  // deliberately silent, see the header
  WebTransfer transfer{textRequest(std::move(*encoded)), false};
  for (const auto& [name, value] : headers) transfer.request.headers.emplace_back(name, value);
  transport_->start(std::move(transfer), [completion = std::move(completion)](WebTransferResult result) mutable {
    DispatchQueue::global().async([completion = std::move(completion), result = std::move(result)]() mutable {
      completion(std::move(result.data), std::move(result.response), std::move(result.error));
    });
  });
}

void WebClient::perform(WebRequestSpec request, WebDataCompletion completion) const {
  if (!isValidURL(request.url)) {
    DispatchQueue::global().async([completion = std::move(completion)] {
      completion(std::nullopt, WebError{WebError::Code::badURL, "the address does not parse as a URL"});
    });
    return;
  }
  transport_->start(WebTransfer{std::move(request), false}, dataDelivery(std::move(completion)));
}

void WebRequest::post(std::string_view urlString, std::optional<std::string> form, WebDataCompletion completion) {
  WebClient(WebTransport::shared()).post(urlString, std::move(form), std::move(completion));
}

void WebRequest::get(std::string_view urlString, WebDataCompletion completion) {
  WebClient(WebTransport::shared()).get(urlString, std::move(completion));
}

void WebRequest::getRaw(std::string_view rawURLString, WebDataCompletion completion) {
  WebClient(WebTransport::shared()).getRaw(rawURLString, std::move(completion));
}

void WebRequest::get(std::string_view urlString, const std::map<std::string, std::string>& headers,
                     WebFullCompletion completion) {
  WebClient(WebTransport::shared()).get(urlString, headers, std::move(completion));
}

void WebRequest::perform(WebRequestSpec request, WebDataCompletion completion) {
  WebClient(WebTransport::shared()).perform(std::move(request), std::move(completion));
}

}  // namespace Keel
