// WebRequest over libcurl against an HTTP server on 127.0.0.1 that the test
// starts, so that what goes over the wire can be checked byte for byte.
#include "Keel/services/web_request.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "Keel/services/web_request_linux.h"
#include "testing/child_process.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;

struct SeenRequest {
  std::string method;
  std::string target;  // as sent, before any decoding
  std::string body;
  httplib::Headers headers;
};

class TestServer {
 public:
  explicit TestServer(const std::function<void(httplib::Server&, TestServer&)>& routes) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(32); };
    // One request per connection: a kept-alive connection of the shared
    // session would hold the server's shutdown for its idle time-out.
    server_.set_keep_alive_max_count(1);
    routes(server_, *this);
    port_ = server_.bind_to_any_port("127.0.0.1");
    widenBacklog();
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    Vantor::Testing::waitUntil([this] { return server_.is_running(); }, 10s);
  }
  ~TestServer() {
    release();
    server_.stop();
    thread_.join();
  }
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

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
  // Holds a handler until the test ends, to stall a response.
  void stall() {
    std::unique_lock lock(mutex_);
    released_.wait_for(lock, 20s, [&] { return releasedFlag_; });
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

struct Outcome {
  std::optional<WebData> data;
  std::optional<WebResponse> response;
  std::optional<WebError> error;
  int calls = 0;
};

// Collects completions; each test waits for them with a time-out.
class Completions {
 public:
  WebDataCompletion data(std::size_t index = 0) {
    return [this, index](std::optional<WebData> data, std::optional<WebError> error) {
      put(index, Outcome{std::move(data), std::nullopt, std::move(error)});
    };
  }
  WebFullCompletion full(std::size_t index = 0) {
    return
        [this, index](std::optional<WebData> data, std::optional<WebResponse> response, std::optional<WebError> error) {
          put(index, Outcome{std::move(data), std::move(response), std::move(error)});
        };
  }
  [[nodiscard]] bool waitFor(int total, std::chrono::milliseconds limit = 20s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return total_ >= total; });
  }
  Outcome at(std::size_t index) {
    std::lock_guard lock(mutex_);
    return outcomes_[index];
  }
  int total() {
    std::lock_guard lock(mutex_);
    return total_;
  }
  std::map<std::size_t, Outcome> all() {
    std::lock_guard lock(mutex_);
    return outcomes_;
  }

 private:
  void put(std::size_t index, Outcome outcome) {
    std::lock_guard lock(mutex_);
    const int calls = outcomes_[index].calls;
    outcomes_[index] = std::move(outcome);
    outcomes_[index].calls = calls + 1;
    ++total_;
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::size_t, Outcome> outcomes_;
  int total_ = 0;
};

std::string header(const httplib::Headers& headers, const char* name) {
  const auto found = headers.find(name);
  return found == headers.end() ? std::string("<absent>") : found->second;
}

std::string text(const std::optional<WebData>& data) {
  return data ? std::string(data->begin(), data->end()) : std::string("<absent>");
}

class WebRequestOverHTTP : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The machine's proxy settings must not route loopback requests away.
    for (const char* name :
         {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
      unsetenv(name);
    }
  }
};

void echoRoute(httplib::Server& server, TestServer& self) {
  const auto echo = [&self](const httplib::Request& request, httplib::Response& response) {
    self.record(request);
    response.set_content("ok", "text/plain");
  };
  server.Get(".*", echo);
  server.Post(".*", echo);
}

TEST_F(WebRequestOverHTTP, AddressesAreEncodedOnceExceptByGetRawAndPostsSendTheFormBytesOrNoBody) {
  TestServer server(echoRoute);
  Completions done;
  WebRequest::get(server.url("/a b?q=x y"), done.data(0));
  ASSERT_TRUE(done.waitFor(1));
  WebRequest::get(server.url("/a%20b"), done.data(1));
  ASSERT_TRUE(done.waitFor(2));
  WebRequest::getRaw(server.url("/a%20b?q=%C3%A9"), done.data(2));
  ASSERT_TRUE(done.waitFor(3));
  WebRequest::post(server.url("/form"), std::string("a=1&b=2"), done.data(3));
  ASSERT_TRUE(done.waitFor(4));
  WebRequest::post(server.url("/bare"), std::nullopt, done.data(4));
  ASSERT_TRUE(done.waitFor(5));

  const auto seen = server.seen();
  ASSERT_EQ(seen.size(), 5u);
  EXPECT_EQ(seen[0].target, "/a%20b?q=x%20y");
  EXPECT_EQ(seen[1].target, "/a%2520b");
  EXPECT_EQ(seen[2].target, "/a%20b?q=%C3%A9");
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(seen[i].method, "GET");
    EXPECT_EQ(header(seen[i].headers, "Cache-Control"), "no-cache");
    EXPECT_EQ(header(seen[i].headers, "Pragma"), "no-cache");
  }
  EXPECT_EQ(text(done.at(0).data), "ok");
  EXPECT_FALSE(done.at(0).error);

  EXPECT_EQ(seen[3].method, "POST");
  EXPECT_EQ(seen[3].body, "a=1&b=2");
  EXPECT_EQ(seen[3].headers.count("Content-Type"), 1u);
  EXPECT_EQ(header(seen[3].headers, "Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(header(seen[3].headers, "Content-Length"), "7");
  EXPECT_EQ(seen[4].method, "POST");
  EXPECT_EQ(seen[4].body, "");
  EXPECT_EQ(seen[4].headers.count("Content-Type"), 0u);
  EXPECT_EQ(text(done.at(4).data), "ok");
}

TEST_F(WebRequestOverHTTP, HeadersAreAppendedAndTheResponseKeepsRepeatedFields) {
  TestServer server([](httplib::Server& s, TestServer& self) {
    s.Get("/fail", [&self](const httplib::Request& request, httplib::Response& response) {
      self.record(request);
      response.status = 500;
      response.set_header("X-Repeat", "one");
      response.set_header("X-Repeat", "two");
      response.set_content("broken", "text/plain");
    });
  });
  Completions done;
  WebRequest::get(server.url("/fail"), {{"Cache-Control", "max-age=0"}, {"X-Token", "t"}}, done.full(0));
  ASSERT_TRUE(done.waitFor(1));
  WebRequest::get(server.url("/fail"), done.data(1));
  ASSERT_TRUE(done.waitFor(2));

  const auto seen = server.seen();
  ASSERT_EQ(seen.size(), 2u);
  const auto cacheControl = seen[0].headers.equal_range("Cache-Control");
  std::vector<std::string> values;
  for (auto it = cacheControl.first; it != cacheControl.second; ++it) values.push_back(it->second);
  EXPECT_EQ(values, (std::vector<std::string>{"max-age=0", "no-cache"}));
  EXPECT_EQ(header(seen[0].headers, "X-Token"), "t");

  const Outcome full = done.at(0);
  EXPECT_EQ(text(full.data), "broken");
  EXPECT_FALSE(full.error);
  ASSERT_TRUE(full.response);
  EXPECT_EQ(full.response->statusCode, 500);
  std::vector<std::string> repeats;
  for (const auto& [name, value] : full.response->headers) {
    if (name == "X-Repeat") repeats.push_back(value);
  }
  EXPECT_EQ(repeats, (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(text(done.at(1).data), "broken");
  EXPECT_FALSE(done.at(1).error);
}

TEST_F(WebRequestOverHTTP, PostKeepsCookiesForTheProcessAndFreshClientsHaveNone) {
  TestServer server([](httplib::Server& s, TestServer&) {
    const auto set = [](const httplib::Request&, httplib::Response& response) {
      response.set_header("Set-Cookie", "webRequestTest=kept; Path=/");
      response.set_content("set", "text/plain");
    };
    const auto show = [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.get_header_value("Cookie"), "text/plain");
    };
    s.Post("/set", set);
    s.Get("/set", set);
    s.Post("/show", show);
    s.Get("/show", show);
  });
  Completions done;
  WebRequest::post(server.url("/set"), std::nullopt, done.data(0));
  ASSERT_TRUE(done.waitFor(1));
  WebRequest::post(server.url("/show"), std::nullopt, done.data(1));
  WebRequest::get(server.url("/show"), done.data(2));
  ASSERT_TRUE(done.waitFor(3));
  EXPECT_EQ(text(done.at(1).data), "webRequestTest=kept");
  EXPECT_EQ(text(done.at(2).data), "");

  // A cookie given to a fresh client dies with it.
  WebRequest::get(server.url("/set"), done.data(3));
  ASSERT_TRUE(done.waitFor(4));
  WebRequest::get(server.url("/show"), done.data(4));
  ASSERT_TRUE(done.waitFor(5));
  EXPECT_EQ(text(done.at(4).data), "");
}

TEST_F(WebRequestOverHTTP, TransportFailuresReachTheCompletionAsErrors) {
  TestServer server([](httplib::Server& s, TestServer& self) {
    s.Get("/stall", [&self](const httplib::Request&, httplib::Response& response) {
      self.stall();
      response.set_content("late", "text/plain");
    });
    s.Get("/cut", [](const httplib::Request&, httplib::Response& response) {
      response.set_content_provider(1000, "application/octet-stream",
                                    [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                      if (offset > 0) return false;  // drops the connection mid-body
                                      sink.write("0123456789", 10);
                                      return true;
                                    });
    });
    s.Get("/huge-header", [](const httplib::Request&, httplib::Response& response) {
      response.set_header("X-Huge", std::string(300'000, 'h'));
      response.set_content("never", "text/plain");
    });
  });
  int refusedPort = 0;
  {
    TestServer closed(echoRoute);
    refusedPort = closed.port();
  }
  Completions done;
  WebRequestSpec stalled;
  stalled.url = server.url("/stall");
  stalled.timeout = 300ms;
  WebRequest::perform(stalled, done.data(0));
  WebRequest::get("http://127.0.0.1:" + std::to_string(refusedPort) + "/", done.data(1));
  WebRequest::get(server.url("/cut"), done.data(2));
  WebRequest::get(server.url("/huge-header"), done.data(3));
  WebRequestSpec injected;
  injected.url = server.url("/");
  injected.headers = {{"X-A", "1\r\nX-Injected: 1"}};
  WebRequest::perform(injected, done.data(4));
  ASSERT_TRUE(done.waitFor(5));

  ASSERT_TRUE(done.at(0).error);
  EXPECT_EQ(done.at(0).error->code, WebError::Code::timedOut);
  ASSERT_TRUE(done.at(1).error);
  EXPECT_EQ(done.at(1).error->code, WebError::Code::cannotConnectToHost);
  ASSERT_TRUE(done.at(2).error);
  EXPECT_EQ(text(done.at(2).data), "0123456789");
  EXPECT_TRUE(done.at(3).error);
  EXPECT_TRUE(done.at(4).error);
}

TEST_F(WebRequestOverHTTP, FiftyMegabyteBodyArrivesWhole) {
  std::string big(50u << 20, '\0');
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 7919u) >> 8);
  TestServer server([&big](httplib::Server& s, TestServer&) {
    s.Get("/big", [&big](const httplib::Request&, httplib::Response& response) {
      response.set_content(big, "application/octet-stream");
    });
  });
  Completions done;
  WebRequest::get(server.url("/big"), done.data());
  ASSERT_TRUE(done.waitFor(1, 60s));
  const Outcome outcome = done.at(0);
  EXPECT_FALSE(outcome.error) << outcome.error->message;
  ASSERT_TRUE(outcome.data);
  ASSERT_EQ(outcome.data->size(), big.size());
  EXPECT_TRUE(std::equal(big.begin(), big.end(), outcome.data->begin(),
                         [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; }));
}

TEST_F(WebRequestOverHTTP, TwoHundredRequestsAtOnceEachCompleteOnce) {
  TestServer server([](httplib::Server& s, TestServer&) {
    s.Get(R"(/n/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.matches[1].str(), "text/plain");
    });
  });
  constexpr std::size_t kCount = 200;
  Completions done;
  for (std::size_t i = 0; i < kCount; ++i) WebRequest::get(server.url("/n/" + std::to_string(i)), done.data(i));
  ASSERT_TRUE(done.waitFor(kCount, 60s)) << done.total();
  const auto all = done.all();
  ASSERT_EQ(all.size(), kCount);
  for (const auto& [index, outcome] : all) {
    EXPECT_EQ(outcome.calls, 1) << index;
    EXPECT_EQ(text(outcome.data), std::to_string(index)) << (outcome.error ? outcome.error->message : "");
  }
}

TEST_F(WebRequestOverHTTP, DestroyingATransportEndsItsTransfersOnce) {
  TestServer server([](httplib::Server& s, TestServer& self) {
    s.Get("/stall", [&self](const httplib::Request& request, httplib::Response&) {
      self.record(request);
      self.stall();
    });
  });
  Completions done;
  {
    WebClient client(makeCurlTransport());
    client.get(server.url("/stall"), done.data());
    // Wait for the server to hold the request, so that it is under way.
    ASSERT_TRUE(Vantor::Testing::waitUntil([&] { return !server.seen().empty(); }, 10s));
  }
  ASSERT_TRUE(done.waitFor(1));
  ASSERT_TRUE(done.at(0).error);
  EXPECT_EQ(done.at(0).error->code, WebError::Code::cancelled);
  EXPECT_EQ(done.at(0).calls, 1);
}

}  // namespace
}  // namespace Keel
