// WebClient's request building and failure rules, over a transport that
// records what it is asked to send.
#include "Keel/services/web_request.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <utility>

#include "testing/web_completions.h"

namespace Keel {
namespace {

class RecordingTransport final : public WebTransport {
 public:
  // Answers on the caller's thread, so that a client that forgot to move the
  // completion elsewhere would be caught.
  void start(WebTransfer transfer, std::function<void(WebTransferResult)> done) override {
    transfers.push_back(std::move(transfer));
    done(answer);
  }
  std::vector<WebTransfer> transfers;
  WebTransferResult answer;
};

TEST(URLTexts, PercentEncodingEscapesOutsideTheQuerySetAsUTF8AndValidityAcceptsOnlyWellFormedReferences) {
  EXPECT_EQ(percentEncodedForURLQuery("http://h/a b?q=x y"), "http://h/a%20b?q=x%20y");
  EXPECT_EQ(percentEncodedForURLQuery("http://h/a%20b"), "http://h/a%2520b");
  const std::string kept = "azAZ09!$&'()*+,-./:;=?@_~";
  EXPECT_EQ(percentEncodedForURLQuery(kept), kept);
  EXPECT_EQ(percentEncodedForURLQuery("#[]\"<>\\^`{|}"), "%23%5B%5D%22%3C%3E%5C%5E%60%7B%7C%7D");
  EXPECT_EQ(percentEncodedForURLQuery("é€😀"), "%C3%A9%E2%82%AC%F0%9F%98%80");
  EXPECT_EQ(percentEncodedForURLQuery(std::string("a\0b\x7F", 4)), "a%00b%7F");
  EXPECT_EQ(percentEncodedForURLQuery(""), "");
  // Which texts are UTF-8 is the core validator's test; here, that it is asked.
  EXPECT_FALSE(percentEncodedForURLQuery("a\xC3"));

  for (const char* good : {"http://h/p?q=1#f", "https://u@h:8080/%41", "relative/path", "mailto:x@y"}) {
    EXPECT_TRUE(isValidURL(good)) << good;
  }
  for (const char* bad : {"", "http://h/a b", "http://h/%2", "http://h/%zz", "1http://h", ":x", "a#b#c", "h\xC3\xA9"}) {
    EXPECT_FALSE(isValidURL(bad)) << bad;
  }
}

TEST(WebClient, SendsTheCallersRequestUnchangedTextsTheirOwnAndNothingForABadAddress) {
  auto transport = std::make_shared<RecordingTransport>();
  WebClient client(transport);
  WebRequestSpec request;
  request.url = "http://h/x%20y";
  request.method = "PUT";
  request.headers = {{"A", "1"}, {"A", "2"}};
  request.body = "payload";
  request.timeout = std::chrono::milliseconds(250);
  client.perform(request, [](auto, auto) {});
  ASSERT_EQ(transport->transfers.size(), 1u);
  const WebTransfer& sent = transport->transfers[0];
  EXPECT_FALSE(sent.sharedSession);
  EXPECT_EQ(sent.request.url, request.url);
  EXPECT_EQ(sent.request.method, "PUT");
  EXPECT_EQ(sent.request.body, "payload");
  EXPECT_EQ(sent.request.timeout, request.timeout);
  EXPECT_EQ(headersToSend(sent.request), request.headers);  // its own cache policy adds nothing

  // The text operations' own bounds (their address and headers are checked on the wire).
  client.get("http://h/a b", [](auto, auto) {});
  const WebRequestSpec& text = transport->transfers[1].request;
  EXPECT_EQ(text.timeout, std::chrono::seconds(10));
  EXPECT_EQ(text.transferLimit, WebRequestSpec::defaultTransferLimit);
  EXPECT_EQ(text.maximumBodyBytes, WebRequestSpec::defaultMaximumBodyBytes);

  // A completion the client dropped without scheduling can never run.
  auto token = std::make_shared<int>(0);
  client.get("", [token](auto, auto) { ADD_FAILURE(); });
  client.post("", "a=1", [token](auto, auto) { ADD_FAILURE(); });
  client.get("", {{"A", "1"}}, [token](auto, auto, auto) { ADD_FAILURE(); });
  EXPECT_EQ(token.use_count(), 1);
  // These call back on another thread: with nothing, or with a bad-address error.
  Vantor::Testing::WebCompletions done;
  client.getRaw("", done.data(0));
  client.get("http://h/\xFF", done.data(1));
  client.getRaw("http://h/a b", done.data(2));
  request.url = "not a url";
  client.perform(request, done.data(3));
  ASSERT_TRUE(done.waitFor(4));
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NE(done.at(i).thread, std::this_thread::get_id()) << i;
    EXPECT_FALSE(done.at(i).data) << i;
    EXPECT_EQ(done.at(i).error.has_value(), i == 3) << i;
  }
  ASSERT_TRUE(done.at(3).error);
  EXPECT_EQ(done.at(3).error->code, WebError::Code::badURL);
  EXPECT_EQ(transport->transfers.size(), 2u);
}

}  // namespace
}  // namespace Keel
