// WebRequest over libcurl against an HTTP server on 127.0.0.1 that the test
// starts, so that what goes over the wire can be checked byte for byte.
#include "Keel/services/web_request.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "Keel/services/web_request_linux.h"
#include "testing/child_process.h"
#include "testing/http_test_server.h"
#include "testing/web_completions.h"

namespace Keel {
namespace {

using namespace std::chrono_literals;

using Vantor::Testing::HttpTestServer;

using Completions = Vantor::Testing::WebCompletions;
using Outcome = Vantor::Testing::WebOutcome;

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

void echoRoute(httplib::Server& server, HttpTestServer& self) {
  const auto echo = [&self](const httplib::Request& request, httplib::Response& response) {
    self.record(request);
    response.set_content("ok", "text/plain");
  };
  server.Get(".*", echo);
  server.Post(".*", echo);
}

TEST_F(WebRequestOverHTTP, AddressesAreEncodedOnceExceptByGetRawPostsSendTheFormBytesAndOnlyWebSchemesGoOut) {
  HttpTestServer server(echoRoute);
  Completions done;
  // One at a time, so that the server sees them in this order.
  WebRequest::get(server.url("/a b?q=x y"), done.data(0));
  ASSERT_TRUE(done.waitFor(1));
  WebRequest::getRaw(server.url("/a%20b?q=%C3%A9"), done.data(1));
  ASSERT_TRUE(done.waitFor(2));
  WebRequest::post(server.url("/form"), std::string("a=1&b=2"), done.data(2));
  ASSERT_TRUE(done.waitFor(3));
  WebRequest::post(server.url("/bare"), std::nullopt, done.data(3));
  ASSERT_TRUE(done.waitFor(4));
  WebRequest::post(server.url("/form"), std::string("a=\xFF\xFE"), done.data(4));  // not UTF-8: no body
  ASSERT_TRUE(done.waitFor(5));
  const std::string port = std::to_string(server.port());
  WebRequest::get("localhost:" + port + "/api", done.data(5));
  WebRequest::getRaw("file:///etc/hostname", done.data(6));
  WebRequestSpec ftp;
  ftp.url = "ftp://127.0.0.1:" + port + "/";
  WebRequest::perform(ftp, done.data(7));
  ASSERT_TRUE(done.waitFor(8));
  for (std::size_t i = 5; i < 8; ++i) {
    ASSERT_TRUE(done.at(i).error) << i;
    EXPECT_EQ(done.at(i).error->code, WebError::Code::unsupportedURL) << i;
  }

  const auto seen = server.seen();
  ASSERT_EQ(seen.size(), 5u);
  EXPECT_EQ(seen[0].target, "/a%20b?q=x%20y");
  EXPECT_EQ(seen[1].target, "/a%20b?q=%C3%A9");
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(seen[i].method, "GET");
    EXPECT_EQ(header(seen[i].headers, "Cache-Control"), "no-cache");
    EXPECT_EQ(header(seen[i].headers, "Pragma"), "no-cache");
  }
  EXPECT_EQ(text(done.at(0).data), "ok");
  EXPECT_FALSE(done.at(0).error);

  EXPECT_EQ(seen[2].method, "POST");
  EXPECT_EQ(seen[2].body, "a=1&b=2");
  EXPECT_EQ(seen[2].headers.count("Content-Type"), 1u);
  EXPECT_EQ(header(seen[2].headers, "Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(header(seen[2].headers, "Content-Length"), "7");
  EXPECT_EQ(seen[3].method, "POST");
  EXPECT_EQ(seen[3].body, "");
  EXPECT_EQ(seen[3].headers.count("Content-Type"), 0u);
  EXPECT_EQ(text(done.at(3).data), "ok");
  EXPECT_EQ(seen[4].body, "");
  EXPECT_EQ(header(seen[4].headers, "Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_EQ(text(done.at(4).data), "ok");
}

TEST_F(WebRequestOverHTTP, HeadersAreAppendedAndTheResponseKeepsRepeatedFields) {
  HttpTestServer server([](httplib::Server& s, HttpTestServer& self) {
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

  const auto seen = server.seen();
  ASSERT_EQ(seen.size(), 1u);
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
  EXPECT_EQ(full.response->value("x-REPEAT"), "one");
}

TEST_F(WebRequestOverHTTP, PostKeepsCookiesForTheProcessAndFreshClientsHaveNone) {
  HttpTestServer server([](httplib::Server& s, HttpTestServer&) {
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

TEST_F(WebRequestOverHTTP, TransportFailuresAndDestroyingATransportReachTheCompletionOnceAsErrors) {
  HttpTestServer server([](httplib::Server& s, HttpTestServer& self) {
    s.Get("/stall", [&self](const httplib::Request& request, httplib::Response& response) {
      self.record(request);
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
    HttpTestServer closed(echoRoute);
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
  {
    WebClient client(makeCurlTransport());
    client.get(server.url("/stall"), done.data(5));
    // Once the server holds both stalled requests, this one is under way.
    ASSERT_TRUE(Vantor::Testing::waitUntil([&] { return server.seen().size() == 2; }, 10s));
  }
  ASSERT_TRUE(done.waitFor(6));

  ASSERT_TRUE(done.at(0).error);
  EXPECT_EQ(done.at(0).error->code, WebError::Code::timedOut);
  ASSERT_TRUE(done.at(1).error);
  EXPECT_EQ(done.at(1).error->code, WebError::Code::cannotConnectToHost);
  ASSERT_TRUE(done.at(2).error);
  EXPECT_EQ(text(done.at(2).data), "0123456789");
  EXPECT_TRUE(done.at(3).error);
  EXPECT_TRUE(done.at(4).error);
  ASSERT_TRUE(done.at(5).error);
  EXPECT_EQ(done.at(5).error->code, WebError::Code::cancelled);
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(done.at(i).calls, 1) << i;
}

TEST_F(WebRequestOverHTTP, TwoHundredRequestsAtOnceEachCompleteOnce) {
  HttpTestServer server([](httplib::Server& s, HttpTestServer&) {
    s.Get(R"(/n/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.matches[1].str(), "text/plain");
    });
  });
  constexpr std::size_t itemCount = 200;
  Completions done;
  for (std::size_t i = 0; i < itemCount; ++i) WebRequest::get(server.url("/n/" + std::to_string(i)), done.data(i));
  ASSERT_TRUE(done.waitFor(itemCount, 60s));
  for (std::size_t i = 0; i < itemCount; ++i) {
    const Outcome outcome = done.at(i);
    EXPECT_EQ(outcome.calls, 1) << i;
    EXPECT_EQ(text(outcome.data), std::to_string(i)) << (outcome.error ? outcome.error->message : "");
  }
}

// A body that never ends, in 64 KiB chunks, until the client goes away.
void endlessRoute(httplib::Server& server, HttpTestServer& self) {
  server.Get(R"(/bytes/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    std::string body(std::stoul(request.matches[1].str()), '\0');
    for (std::size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>((i * 7919u) >> 8);
    response.set_content(body, "application/octet-stream");
  });
  server.Get("/endless", [&self](const httplib::Request&, httplib::Response& response) {
    response.set_chunked_content_provider("application/octet-stream", [&self](std::size_t, httplib::DataSink& sink) {
      static const std::string chunk(64 << 10, 'e');
      return !self.released() && sink.write(chunk.data(), chunk.size());
    });
  });
  // A gzip stream of zeros that never ends: each megabyte costs about a
  // kilobyte on the wire.
  server.Get("/bomb", [&self](const httplib::Request&, httplib::Response& response) {
    response.set_header("Content-Encoding", "gzip");
    auto stream = std::make_shared<z_stream>();
    deflateInit2(stream.get(), 9, Z_DEFLATED, 31, 9, Z_DEFAULT_STRATEGY);
    response.set_chunked_content_provider(
        "application/octet-stream",
        [&self, stream](std::size_t, httplib::DataSink& sink) {
          static const std::vector<Bytef> zeros(1 << 20, 0);
          std::vector<Bytef> out(1 << 16);
          stream->next_in = const_cast<Bytef*>(zeros.data());
          stream->avail_in = static_cast<uInt>(zeros.size());
          do {
            stream->next_out = out.data();
            stream->avail_out = static_cast<uInt>(out.size());
            deflate(stream.get(), Z_SYNC_FLUSH);
            const std::size_t made = out.size() - stream->avail_out;
            if (self.released() || !sink.write(reinterpret_cast<const char*>(out.data()), made)) return false;
          } while (stream->avail_out == 0);
          return true;
        },
        [stream](bool) { deflateEnd(stream.get()); });
  });
}

TEST_F(WebRequestOverHTTP, BodiesPastTheirCapFailAtOnceWithNoData) {
  HttpTestServer server(endlessRoute);
  Completions done;
  // The text operations' own cap; then one of the caller's own, decoded bytes
  // counted for the gzip body, and a body of exactly the cap arrives whole.
  WebRequest::get(server.url("/endless"), done.data(0));
  ASSERT_TRUE(done.waitFor(1, 60s));
  WebRequestSpec small;
  small.maximumBodyBytes = 1 << 20;
  std::size_t index = 1;
  for (const char* path : {"/bomb", "/bytes/1048577", "/bytes/1048576"}) {
    small.url = server.url(path);
    WebRequest::perform(small, done.data(index++));
  }
  ASSERT_TRUE(done.waitFor(4, 60s));
  for (std::size_t i = 0; i < 3; ++i) {
    const Outcome outcome = done.at(i);
    ASSERT_TRUE(outcome.error) << i;
    EXPECT_EQ(outcome.error->code, WebError::Code::dataLengthExceedsMaximum) << outcome.error->message;
    EXPECT_FALSE(outcome.data) << i;
  }
  const Outcome whole = done.at(3);
  EXPECT_FALSE(whole.error);
  ASSERT_TRUE(whole.data);
  ASSERT_EQ(whole.data->size(), std::size_t{1} << 20);
  EXPECT_EQ((*whole.data)[12345], static_cast<std::uint8_t>((12345u * 7919u) >> 8));
}

TEST_F(WebRequestOverHTTP, TheTimeOutIsIdleTimeAndTheWholeTransferHasABoundOfItsOwn) {
  HttpTestServer server([](httplib::Server& s, HttpTestServer& self) {
    // Ten bytes, one each 150 ms, then the end; or one each 100 ms for ever.
    const auto drip = [&self](bool endless) {
      return [&self, endless](const httplib::Request&, httplib::Response& response) {
        // Not a text type, which the server would compress and so hold back.
        response.set_chunked_content_provider("application/octet-stream",
                                              [&self, endless](std::size_t offset, httplib::DataSink& sink) {
                                                if (!endless && offset == 10) {
                                                  sink.done();
                                                  return true;
                                                }
                                                std::this_thread::sleep_for(endless ? 100ms : 150ms);
                                                return !self.released() && sink.write("d", 1);
                                              });
      };
    };
    s.Get("/slow", drip(false));
    s.Get("/drip", drip(true));
  });
  Completions done;
  WebRequestSpec slow;
  slow.url = server.url("/slow");
  slow.timeout = 1s;  // shorter than the whole reply, longer than any pause
  WebRequest::perform(slow, done.data(0));
  WebRequestSpec drip;
  drip.url = server.url("/drip");
  drip.timeout = 1s;
  drip.transferLimit = 1500ms;
  const auto start = std::chrono::steady_clock::now();
  WebRequest::perform(drip, done.data(1));
  ASSERT_TRUE(done.waitFor(2, 20s));

  EXPECT_FALSE(done.at(0).error) << done.at(0).error->message;
  EXPECT_EQ(text(done.at(0).data), "dddddddddd");
  ASSERT_TRUE(done.at(1).error);
  EXPECT_EQ(done.at(1).error->code, WebError::Code::timedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

}  // namespace
}  // namespace Keel
