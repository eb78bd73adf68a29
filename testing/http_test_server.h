// An HTTP server on 127.0.0.1 for tests of web clients: routes of the test's
// own, what arrived recorded byte for byte, and a way to hold a handler until
// the test lets it go. Header only; the test binary links cpp-httplib.
#pragma once

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "testing/child_process.h"

namespace Vantor::Testing {

struct SeenRequest {
  std::string method;
  std::string target;  // as sent, before any decoding
  std::string body;
  httplib::Headers headers;
};

class HttpTestServer {
 public:
  explicit HttpTestServer(const std::function<void(httplib::Server&, HttpTestServer&)>& routes) {
    using namespace std::chrono_literals;
    server_.new_task_queue = [] { return new httplib::ThreadPool(32); };
    // One request per connection: a kept-alive connection of a shared
    // session would hold the server's shutdown for its idle time-out.
    server_.set_keep_alive_max_count(1);
    routes(server_, *this);
    port_ = server_.bind_to_any_port("127.0.0.1");
    widenBacklog();
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    waitUntil([this] { return server_.is_running(); }, 10s);
  }
  ~HttpTestServer() {
    release();
    server_.stop();
    thread_.join();
  }
  HttpTestServer(const HttpTestServer&) = delete;
  HttpTestServer& operator=(const HttpTestServer&) = delete;

  [[nodiscard]] std::string url(std::string_view path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
  }
  [[nodiscard]] int port() const { return port_; }

  void record(const httplib::Request& request) {
    std::lock_guard lock(mutex_);
    seen_.push_back({request.method, request.target, request.body, {request.headers.begin(), request.headers.end()}});
  }
  std::vector<SeenRequest> seen() {
    std::lock_guard lock(mutex_);
    return seen_;
  }
  // Holds a handler until the test ends (or `release`), to stall a response.
  void stall() {
    using namespace std::chrono_literals;
    std::unique_lock lock(mutex_);
    released_.wait_for(lock, 20s, [&] { return releasedFlag_; });
  }
  // Whether the test has ended, for handlers that stream until then.
  bool released() {
    std::lock_guard lock(mutex_);
    return releasedFlag_;
  }
  void release() {
    std::lock_guard lock(mutex_);
    releasedFlag_ = true;
    released_.notify_all();
  }

 private:
  // The library listens with a backlog of 5, which drops connection attempts
  // of a burst when the machine is busy; listening again on the socket raises
  // it in place.
  void widenBacklog() const {
    for (int fd = 3; fd < 1024; ++fd) {
      sockaddr_in address{};
      socklen_t length = sizeof address;
      int listening = 0;
      socklen_t flagLength = sizeof listening;
      if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 || address.sin_family != AF_INET ||
          ntohs(address.sin_port) != port_ || getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &flagLength) != 0 ||
          listening == 0) {
        continue;
      }
      listen(fd, 1024);
    }
  }

  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  std::mutex mutex_;
  std::vector<SeenRequest> seen_;
  std::condition_variable released_;
  bool releasedFlag_ = false;
};

}  // namespace Vantor::Testing
