// Fire-and-forget HTTP calls for small requests to web services: one form
// POST, three GET variants and a pass-through for a request the caller built.
// The operations return at once and hand the raw body to a completion.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Keel {

// Header fields in the order they were sent or received; a name may repeat.
using WebHeaders = std::vector<std::pair<std::string, std::string>>;
using WebData = std::vector<std::uint8_t>;

// Why a transfer produced no complete response. HTTP error statuses are not
// errors: a 404 or 500 page arrives as data.
struct WebError {
  enum class Code {
    badURL,                    // the address could not be sent as given
    unsupportedURL,            // no http or https scheme
    timedOut,                  // nothing moved for the idle time-out, or the transfer outlived its bound
    cannotFindHost,            // the host name did not resolve
    cannotConnectToHost,       // refused or unreachable
    secureConnectionFailed,    // TLS handshake or certificate failure
    networkConnectionLost,     // the connection broke mid-transfer
    dataLengthExceedsMaximum,  // the body (decoded) or the header fields passed their cap
    cancelled,                 // the transport shut down before the transfer ended
    other,
  };
  Code code = Code::other;
  std::string message;  // the transport's own description, for logs
};

// The HTTP part of a response: status and header fields of the final response
// (after redirects), in arrival order, repeated fields kept.
struct WebResponse {
  int statusCode = 0;
  WebHeaders headers;
  std::string url;  // where the final response came from

  // The first field named `name` (compared without regard to case).
  [[nodiscard]] std::optional<std::string> value(std::string_view name) const;
};

// A request built by the caller for `WebRequest::perform`; sent unchanged.
struct WebRequestSpec {
  enum class CachePolicy {
    useProtocolCachePolicy,
    // No cache may answer: the request carries "Cache-Control: no-cache" and
    // "Pragma: no-cache". (No local cache is kept under any policy.)
    reloadIgnoringLocalAndRemoteCacheData,
  };
  std::string url;  // used exactly as given, no encoding
  std::string method = "GET";
  WebHeaders headers;
  std::optional<std::string> body;
  CachePolicy cachePolicy = CachePolicy::useProtocolCachePolicy;
  // The longest wait for the next byte in either direction, connecting
  // included: a reply that keeps arriving, however slowly, is not cut by it.
  std::chrono::milliseconds timeout{60'000};
  // The bound on the whole transfer, redirects included, so that a reply that
  // drips for ever still ends (with `timedOut`).
  std::chrono::milliseconds transferLimit{defaultTransferLimit};
  // The most body bytes kept, counted after decoding: the transport asks for
  // gzip and deflate, so a small compressed reply may expand without end.
  // Past the cap the transfer stops at once and fails with
  // `dataLengthExceedsMaximum` and no data; memory stays within the cap.
  // The header fields of one response have a cap of their own, 1 MiB.
  std::size_t maximumBodyBytes = defaultMaximumBodyBytes;

  static constexpr std::chrono::milliseconds defaultTransferLimit{120'000};
  static constexpr std::size_t defaultMaximumBodyBytes = std::size_t{64} << 20;
};

// The header fields to send for `request`: its own, then those its cache
// policy adds.
[[nodiscard]] WebHeaders headersToSend(const WebRequestSpec& request);

// Everything a transport needs for one transfer.
struct WebTransfer {
  WebRequestSpec request;
  // True for the process-wide session of `post`, whose cookies persist; false
  // for a fresh client with no cookies, cache, credentials or reused
  // connections.
  bool sharedSession = false;
};

struct WebTransferResult {
  // The body: present (maybe empty) when a response arrived, and after an
  // error only when some bytes had arrived.
  std::optional<WebData> data;
  std::optional<WebResponse> response;
  std::optional<WebError> error;
};

// Moves transfers over the network. `start` returns at once; `done` runs
// exactly once per transfer, on any thread but the caller's.
class WebTransport {
 public:
  virtual ~WebTransport() = default;
  virtual void start(WebTransfer transfer, std::function<void(WebTransferResult)> done) = 0;

  // The process's transport (libcurl on Linux), created on first use and
  // never destroyed.
  [[nodiscard]] static std::shared_ptr<WebTransport> shared();
};

// Percent-encodes `text` for an address: ASCII letters, digits and
// ! $ & ' ( ) * + , - . / : ; = ? @ _ ~ stay, every other byte of the UTF-8
// text becomes %XX (so an existing "%20" becomes "%2520"). Absent when `text`
// is not valid UTF-8.
[[nodiscard]] std::optional<std::string> percentEncodedForURLQuery(std::string_view text);

// Whether `text` parses as a URL reference: not empty, only characters that an
// address may hold, well-formed %XX escapes, a scheme (when there is one) of
// a letter followed by letters, digits, "+", "-" or ".".
[[nodiscard]] bool isValidURL(std::string_view text);

using WebDataCompletion = std::function<void(std::optional<WebData> data, std::optional<WebError> error)>;
using WebFullCompletion = std::function<void(std::optional<WebData> data, std::optional<WebResponse> response,
                                             std::optional<WebError> error)>;

// The operations of WebRequest over a transport of the caller's choice.
//
// Every text operation builds its request the same way: percent-encode the
// address (not for getRaw), check it parses, and send it with "no cache may
// answer", a 10-second idle time-out and WebRequestSpec's default bounds on
// the whole transfer (2 minutes) and on the body (64 MiB). There is no
// retry, no status check, no decoding and no cancellation. Only http and
// https are ever sent: an address with another scheme (including
// "localhost:8080/api", whose scheme is "localhost") completes with
// `unsupportedURL`.
//
// When the completion runs (never on the calling thread, never on the main
// loop, always on DispatchQueue::global()):
//   - after the transfer: with the body (absent if none came) and the error
//     (absent on success, or with whatever partial body arrived);
//   - address text that is not valid UTF-8: at once, with nothing;
//   - address that does not parse after encoding: NEVER for post, get and
//     get-with-headers, so a caller waiting on it waits for ever; getRaw
//     alone calls back with nothing. The asymmetry is deliberate and kept.
//   - perform with an address that does not parse: with a badURL error.
class WebClient {
 public:
  explicit WebClient(std::shared_ptr<WebTransport> transport);

  // POST on the shared session. With `form`, Content-Type is
  // "application/x-www-form-urlencoded" and its UTF-8 bytes are the body as
  // given (the caller joins and escapes the pairs); a form that is not valid
  // UTF-8 leaves the body unset (an empty POST with that Content-Type).
  // Without `form`, no body and no Content-Type.
  void post(std::string_view urlString, std::optional<std::string> form, WebDataCompletion completion) const;
  // GET on a fresh client, the address percent-encoded.
  void get(std::string_view urlString, WebDataCompletion completion) const;
  // GET on a fresh client, the address used as given (already encoded).
  void getRaw(std::string_view rawURLString, WebDataCompletion completion) const;
  // GET on a fresh client with `headers` appended (never replacing one
  // another), in the map's order; the completion also gets the response.
  void get(std::string_view urlString, const std::map<std::string, std::string>& headers,
           WebFullCompletion completion) const;
  // Sends `request` unchanged on a fresh client.
  void perform(WebRequestSpec request, WebDataCompletion completion) const;

 private:
  std::shared_ptr<WebTransport> transport_;
};

// The operations on the process's transport; see WebClient for the contract.
class WebRequest {
 public:
  WebRequest() = delete;

  static void post(std::string_view urlString, std::optional<std::string> form, WebDataCompletion completion);
  static void get(std::string_view urlString, WebDataCompletion completion);
  static void getRaw(std::string_view rawURLString, WebDataCompletion completion);
  static void get(std::string_view urlString, const std::map<std::string, std::string>& headers,
                  WebFullCompletion completion);
  static void perform(WebRequestSpec request, WebDataCompletion completion);
};

}  // namespace Keel
