// The libcurl transport: one worker thread owns a multi handle and drives
// every transfer, so that a burst of requests costs sockets, not threads.
#include "Keel/services/web_request_linux.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Keel {
namespace {

using Clock = std::chrono::steady_clock;

// The header fields of one response are kept whole; a server that sends
// them without end is cut off here.
constexpr std::size_t maximumHeaderBytes = std::size_t{1} << 20;

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    const auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
    return lower(x) == lower(y);
  });
}

bool holdsLineBreak(std::string_view text) { return text.find_first_of(std::string_view("\r\n\0", 3)) != text.npos; }

// Whether `url` names http or https. Anything else, an address without a
// scheme included, is never handed to curl, which would guess one.
bool hasWebScheme(std::string_view url) {
  const std::size_t colon = url.find(':');
  if (colon == url.npos || colon > url.find_first_of("/?#")) return false;
  const std::string_view scheme = url.substr(0, colon);
  return equalsIgnoringCase(scheme, "http") || equalsIgnoringCase(scheme, "https");
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.remove_suffix(1);
  }
  return text;
}

WebError errorFor(CURLcode code, const char* detail) {
  using C = WebError::Code;
  C kind = C::other;
  switch (code) {
    case CURLE_URL_MALFORMAT:
      kind = C::badURL;
      break;
    case CURLE_UNSUPPORTED_PROTOCOL:
      kind = C::unsupportedURL;
      break;
    case CURLE_OPERATION_TIMEDOUT:
      kind = C::timedOut;
      break;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      kind = C::cannotFindHost;
      break;
    case CURLE_COULDNT_CONNECT:
      kind = C::cannotConnectToHost;
      break;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
      kind = C::secureConnectionFailed;
      break;
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
      kind = C::networkConnectionLost;
      break;
    default:
      break;
  }
  std::string message = (detail != nullptr && detail[0] != '\0') ? detail : curl_easy_strerror(code);
  return WebError{kind, std::move(message)};
}

class CurlTransport final : public WebTransport {
 public:
  CurlTransport();
  ~CurlTransport() override;
  CurlTransport(const CurlTransport&) = delete;
  CurlTransport& operator=(const CurlTransport&) = delete;

  void start(WebTransfer transfer, std::function<void(WebTransferResult)> done) override;

 private:
  struct Job;
  std::optional<WebError> prepare(Job& job);
  static void finish(std::unique_ptr<Job> job, std::optional<WebError> error);
  void run();

  CURLM* multi_ = nullptr;
  CURLSH* share_ = nullptr;  // the cookies of the shared session
  std::mutex mutex_;
  std::vector<std::unique_ptr<Job>> incoming_;  // guarded by mutex_
  bool stopping_ = false;                       // guarded by mutex_
  std::thread worker_;                          // the only user of multi_ and share_
};

struct CurlTransport::Job {
  WebTransfer transfer;
  std::function<void(WebTransferResult)> done;
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  WebData body;
  WebHeaders headers;           // of the latest response only
  std::size_t headerBytes = 0;  // of the latest response
  bool overflowed = false;      // the body or the header fields passed their cap
  // Activity, for the idle time-out: the last time a byte moved either way.
  Clock::time_point lastActivity = Clock::now();
  curl_off_t downloaded = 0;
  curl_off_t uploaded = 0;
  char errorBuffer[CURL_ERROR_SIZE] = {};

  ~Job() {
    if (easy != nullptr) curl_easy_cleanup(easy);
    curl_slist_free_all(headerList);
  }

  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user) {
    auto* job = static_cast<Job*>(user);
    const std::size_t bytes = size * count;
    const std::size_t cap = job->transfer.request.maximumBodyBytes;
    if (bytes > cap - job->body.size()) {
      job->overflowed = true;
      return 0;  // any other count than given ends the transfer
    }
    // Growth by doubling, but never past the cap, so memory stays within it.
    const std::size_t needed = job->body.size() + bytes;
    if (needed > job->body.capacity()) job->body.reserve(std::min(cap, std::max(needed, 2 * job->body.capacity())));
    job->body.insert(job->body.end(), data, data + bytes);
    job->lastActivity = Clock::now();
    return bytes;
  }

  // Called by curl as bytes move, compressed ones included, so a reply that
  // arrives slowly keeps the transfer alive however little it decodes to.
  static int onProgress(void* user, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) {
    auto* job = static_cast<Job*>(user);
    if (downloaded != job->downloaded || uploaded != job->uploaded) {
      job->downloaded = downloaded;
      job->uploaded = uploaded;
      job->lastActivity = Clock::now();
    }
    return 0;
  }

  [[nodiscard]] Clock::time_point idleDeadline() const {
    return lastActivity + std::max(transfer.request.timeout, std::chrono::milliseconds(1));
  }

  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user) {
    auto* job = static_cast<Job*>(user);
    const std::size_t bytes = size * count;
    const std::string_view line(data, bytes);
    job->lastActivity = Clock::now();
    const bool statusLine = line.starts_with("HTTP/");
    if (statusLine) job->headerBytes = 0;
    job->headerBytes += bytes;
    if (job->headerBytes > maximumHeaderBytes) {
      job->overflowed = true;
      return 0;
    }
    if (statusLine) {
      // A new response (after a redirect or an interim 1xx) replaces the last.
      job->headers.clear();
      job->body.clear();
    } else if (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
      if (!job->headers.empty()) {
        job->headers.back().second.append(" ").append(trimmed(line));
      }
    } else if (const auto colon = line.find(':'); colon != line.npos) {
      job->headers.emplace_back(std::string(trimmed(line.substr(0, colon))),
                                std::string(trimmed(line.substr(colon + 1))));
    }
    return bytes;
  }
};

CurlTransport::CurlTransport() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  multi_ = curl_multi_init();
  share_ = curl_share_init();
  // Only the worker touches the share, so it needs no lock functions.
  curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  worker_ = std::thread([this] { run(); });
}

CurlTransport::~CurlTransport() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  curl_multi_wakeup(multi_);
  worker_.join();
  curl_multi_cleanup(multi_);
  curl_share_cleanup(share_);
}

void CurlTransport::start(WebTransfer transfer, std::function<void(WebTransferResult)> done) {
  auto job = std::make_unique<Job>();
  job->transfer = std::move(transfer);
  job->done = std::move(done);
  {
    std::lock_guard lock(mutex_);
    incoming_.push_back(std::move(job));
  }
  curl_multi_wakeup(multi_);
}

// Configures the easy handle of `job`; the error to report when the request
// cannot be sent as given.
std::optional<WebError> CurlTransport::prepare(Job& job) {
  const WebRequestSpec& request = job.transfer.request;
  if (!hasWebScheme(request.url)) return WebError{WebError::Code::unsupportedURL, "only http and https are sent"};
  job.easy = curl_easy_init();
  if (job.easy == nullptr) return WebError{WebError::Code::other, "could not create a transfer"};
  CURL* easy = job.easy;

  for (const auto& [name, value] : headersToSend(request)) {
    if (name.empty() || holdsLineBreak(name) || holdsLineBreak(value) || name.find(':') != name.npos) {
      return WebError{WebError::Code::other, "a header field holds a line break, a colon or nothing"};
    }
    // curl drops "Name:" fields; "Name;" is how it sends an empty value.
    const std::string field = value.empty() ? name + ";" : name + ": " + value;
    job.headerList = curl_slist_append(job.headerList, field.c_str());
  }
  const bool hasContentType = std::any_of(request.headers.begin(), request.headers.end(),
                                          [](const auto& h) { return equalsIgnoringCase(h.first, "Content-Type"); });
  const bool isPost = request.method == "POST";
  if (isPost && !request.body && !hasContentType) {
    // curl would label even an empty POST as a form.
    job.headerList = curl_slist_append(job.headerList, "Content-Type:");
  }
  // Send the body at once rather than waiting for a "100 Continue".
  job.headerList = curl_slist_append(job.headerList, "Expect:");

  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 16L);
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
  // The idle time-out is the worker's (see run); curl enforces the bound
  // on the whole transfer, and the idle time for connecting as well.
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS,
                   static_cast<long>(std::max<std::int64_t>(request.transferLimit.count(), 1)));
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(std::max<std::int64_t>(request.timeout.count(), 1)));
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Job::onProgress);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &job);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, job.errorBuffer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Job::onBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &job);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Job::onHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &job);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, job.headerList);

  if (isPost || request.body) {
    const std::string& body = request.body ? *request.body : std::string();
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(easy, CURLOPT_COPYPOSTFIELDS, body.c_str());
    if (!isPost) curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  } else if (request.method == "HEAD") {
    curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  } else if (request.method != "GET") {
    if (request.method.empty() || holdsLineBreak(request.method) || request.method.find(' ') != std::string::npos) {
      return WebError{WebError::Code::other, "the method is not a single word"};
    }
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }

  if (job.transfer.sharedSession) {
    curl_easy_setopt(easy, CURLOPT_SHARE, share_);
    curl_easy_setopt(easy, CURLOPT_COOKIEFILE, "");  // turns the cookie engine on
  } else {
    // A fresh client: no cookies (the engine stays off) and no connection
    // another request opened or may open later.
    curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  }
  return std::nullopt;
}

void CurlTransport::finish(std::unique_ptr<Job> job, std::optional<WebError> error) {
  WebTransferResult result;
  if (job->overflowed) {
    // Part of a body is no use here and may be large: it goes.
    error = WebError{WebError::Code::dataLengthExceedsMaximum,
                     "the response passed its cap of " + std::to_string(job->transfer.request.maximumBodyBytes) +
                         " body bytes or " + std::to_string(maximumHeaderBytes) + " header bytes"};
    job->body = WebData();
  }
  if (error) {
    if (!job->body.empty()) result.data = std::move(job->body);
    result.error = std::move(error);
  } else {
    long status = 0;
    curl_easy_getinfo(job->easy, CURLINFO_RESPONSE_CODE, &status);
    char* url = nullptr;
    curl_easy_getinfo(job->easy, CURLINFO_EFFECTIVE_URL, &url);
    WebResponse response;
    response.statusCode = static_cast<int>(status);
    response.headers = std::move(job->headers);
    if (url != nullptr) response.url = url;
    result.response = std::move(response);
    result.data = std::move(job->body);
  }
  auto done = std::move(job->done);
  job.reset();
  done(std::move(result));
}

void CurlTransport::run() {
  std::unordered_map<CURL*, std::unique_ptr<Job>> active;
  for (;;) {
    std::vector<std::unique_ptr<Job>> arrived;
    bool stopping = false;
    {
      std::lock_guard lock(mutex_);
      arrived.swap(incoming_);
      stopping = stopping_;
    }
    for (auto& job : arrived) {
      if (auto error = prepare(*job)) {
        finish(std::move(job), std::move(error));
        continue;
      }
      CURL* easy = job->easy;
      if (curl_multi_add_handle(multi_, easy) != CURLM_OK) {
        finish(std::move(job), WebError{WebError::Code::other, "could not start the transfer"});
        continue;
      }
      job->lastActivity = Clock::now();
      active.emplace(easy, std::move(job));
    }
    if (stopping) break;

    int running = 0;
    curl_multi_perform(multi_, &running);
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      CURL* easy = message->easy_handle;
      const CURLcode code = message->data.result;
      curl_multi_remove_handle(multi_, easy);
      auto found = active.find(easy);
      if (found == active.end()) continue;
      auto job = std::move(found->second);
      active.erase(found);
      std::optional<WebError> error;
      if (code != CURLE_OK) error = errorFor(code, job->errorBuffer);
      finish(std::move(job), std::move(error));
    }
    // The idle time-out: a transfer that moved nothing for that long ends
    // here. The poll wakes in time for the nearest one.
    const auto now = Clock::now();
    auto wake = now + std::chrono::seconds(1);
    for (auto it = active.begin(); it != active.end();) {
      const auto deadline = it->second->idleDeadline();
      if (deadline > now) {
        wake = std::min(wake, deadline);
        ++it;
        continue;
      }
      curl_multi_remove_handle(multi_, it->first);
      auto job = std::move(it->second);
      it = active.erase(it);
      finish(std::move(job), WebError{WebError::Code::timedOut, "nothing arrived within the time-out"});
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - now).count();
    curl_multi_poll(multi_, nullptr, 0, static_cast<int>(std::clamp<std::int64_t>(wait, 1, 1000)), nullptr);
  }
  for (auto& [easy, job] : active) {
    curl_multi_remove_handle(multi_, easy);
    finish(std::move(job), WebError{WebError::Code::cancelled, "the transport shut down"});
  }
}

}  // namespace

std::shared_ptr<WebTransport> makeCurlTransport() { return std::make_shared<CurlTransport>(); }

std::shared_ptr<WebTransport> WebTransport::shared() {
  // Never destroyed: transfers may still be under way when the process ends,
  // and their worker must not be joined from a static destructor.
  static auto* const transport = new std::shared_ptr<WebTransport>(std::make_shared<CurlTransport>());
  return *transport;
}

}  // namespace Keel
