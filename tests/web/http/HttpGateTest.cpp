#include "web/http/HttpGate.h"

#include <gmock/gmock.h>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using ::testing::Contains;
using ::testing::Pair;
using ::testing::StartsWith;

class HttpGateTest : public ::testing::Test {
 protected:
  std::variant<HttpGate::Admitted, HttpReply> ask(const std::string& target,
                                                  const std::string& method = "GET",
                                                  const std::string& body = {}) {
    RawRequest request;
    request.method = method;
    request.target = target;
    request.peer = *parseIPv4Address(peer_);
    request.local = *parseIPv4Address("192.168.1.5");
    request.fields = fields_;
    return gate_.pass(request, body);
  }
  HttpReply refused(const std::string& target, const std::string& method = "GET",
                    const std::string& body = {}) {
    auto result = ask(target, method, body);
    if (auto* reply = std::get_if<HttpReply>(&result)) return std::move(*reply);
    return {};
  }
  std::string location(const HttpReply& reply) {
    for (const auto& [name, value] : reply.headers) {
      if (name == "Location") return value;
    }
    return {};
  }
  void admit() { fields_.emplace_back("Cookie", "moxtel-4251=" + access_.key()); }

  TemporaryFolder folder_;
  std::string peer_ = "192.168.1.7";
  std::vector<std::pair<std::string, std::string>> fields_{{"Host", "192.168.1.5:4251"}};
  ClientRules rules_{{}};
  WebAccess access_{WebAccess::Mode::Key, (folder_.path() / "web-access").string(), 4251};
  HttpGate gate_{rules_, access_, [](HttpGate::LoginState state, const std::string& to) {
                   HttpReply reply;
                   reply.body = std::to_string(static_cast<int>(state)) + " " + to;
                   return reply;
                 }};
};

TEST_F(HttpGateTest, passesARequestWithTheKeyDecoded) {
  admit();
  fields_.emplace_back("Range", "bytes=0-1");
  fields_.emplace_back("Accept-Encoding", "gzip");
  const auto result = ask("/l/k/list/search:a%20b?order=new", "HEAD");
  const auto& admitted = std::get<HttpGate::Admitted>(result);
  EXPECT_TRUE(admitted.request.head);
  EXPECT_EQ(admitted.request.segments.back(), "search:a b");
  EXPECT_EQ(admitted.request.query("order"), "new");
  EXPECT_EQ(admitted.request.range, "bytes=0-1");
  EXPECT_TRUE(admitted.request.acceptsGzip);
  EXPECT_EQ(admitted.request.peer, "192.168.1.7");
}

TEST_F(HttpGateTest, extendsTheCookieWithThePageOnly) {
  admit();
  EXPECT_THAT(std::get<HttpGate::Admitted>(ask("/l/k/photos")).cookie, StartsWith("moxtel-4251="));
  EXPECT_EQ(std::get<HttpGate::Admitted>(ask("/l/k/thumb/1")).cookie, "");
}

TEST_F(HttpGateTest, sendsBrowsersWithoutKeyToTheForm) {
  EXPECT_EQ(location(refused("/")), "/login");
  EXPECT_EQ(location(refused("/l/k/list/album:3?order=new")), "/login?to=/l/k/list/album:3%3Forder%3Dnew");
  EXPECT_EQ(refused("/").status, 303);
  EXPECT_EQ(location(refused("/l/k/nonsense")), "/login?to=/l/k/nonsense");
}

TEST_F(HttpGateTest, refusesDataWithoutKey) {
  for (const char* target : {"/l/k/thumb/1", "/l/k/api/1/library", "/api/1/libraries", "/l/k/zip/all",
                             "/nothing", "/assets/a/b", "/in"}) {
    EXPECT_EQ(refused(target).status, 401) << target;
  }
}

TEST_F(HttpGateTest, needsNoKeyForWhatIsTheSameEverywhere) {
  for (const char* target : {"/assets/main-AB12.js", "/icons/192.png", "/check", "/manifest.webmanifest"}) {
    EXPECT_TRUE(std::holds_alternative<HttpGate::Admitted>(ask(target))) << target;
  }
}

TEST_F(HttpGateTest, letsADeviceInByTheKeyInTheAddress) {
  const HttpReply reply = refused("/in/" + access_.key());
  EXPECT_EQ(reply.status, 303);
  EXPECT_EQ(location(reply), "/");
  EXPECT_THAT(reply.headers, Contains(Pair("Set-Cookie", access_.cookie(false))));
  const HttpReply wrong = refused("/in/abcdefghijkmnpqrstuv");
  EXPECT_EQ(location(wrong), "/login");
  EXPECT_EQ(wrong.headers.size(), 1u);
}

TEST_F(HttpGateTest, letsADeviceInByTheDigits) {
  const HttpReply reply = refused("/login", "POST", "digits=" + access_.digits() + "&to=%2Fl%2Fk%2Fphotos");
  EXPECT_EQ(reply.status, 303);
  EXPECT_EQ(location(reply), "/l/k/photos");
  EXPECT_THAT(reply.headers, Contains(Pair("Set-Cookie", access_.cookie(false))));
}

TEST_F(HttpGateTest, asksAgainAfterWrongDigitsAndThenLater) {
  for (int i = 0; i < 10; ++i) {
    const HttpReply reply = refused("/login", "POST", "digits=12345&to=/");
    EXPECT_EQ(reply.status, 403);
    EXPECT_EQ(std::get<std::string>(reply.body), "1 /");
  }
  const HttpReply later = refused("/login", "POST", "digits=" + access_.digits());
  EXPECT_EQ(later.status, 429);
  EXPECT_EQ(std::get<std::string>(later.body), "2 /");
}

TEST_F(HttpGateTest, leadsNowhereElseAfterALogin) {
  for (const char* to : {"//evil.example", "https://evil.example/", "/%5Cevil.example", "/l/k/zip/all",
                         "/in/key", "l/k", "/\\evil.example"}) {
    const HttpReply reply = refused("/login", "POST", "digits=" + access_.digits() + "&to=" + to);
    EXPECT_EQ(location(reply), "/") << to;
  }
}

TEST_F(HttpGateTest, refusesOtherMethods) {
  admit();
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "CONNECT", "get", ""}) {
    EXPECT_EQ(refused("/l/k/photos", method).status, 405) << method;
  }
  EXPECT_EQ(refused("/login", "PUT").status, 405);
}

TEST_F(HttpGateTest, refusesOtherHostsAndClients) {
  admit();
  fields_[0].second = "evil.example";
  EXPECT_EQ(refused("/").status, 403);
  EXPECT_EQ(refused("/in/" + access_.key()).status, 403);
  fields_[0].second = "192.168.1.5";
  peer_ = "8.8.8.8";
  EXPECT_EQ(refused("/").status, 403);
}

TEST_F(HttpGateTest, refusesMalformedTargets) {
  admit();
  EXPECT_EQ(refused("/a/../b").status, 400);
  EXPECT_EQ(refused("/login", "POST", "digits=%").status, 400);
}

TEST_F(HttpGateTest, passesSignedMoviesOnly) {
  const std::string path = "/l/k/movie/7.mp4";
  const std::string signature = "?s=" + access_.signatureFor(path);
  EXPECT_TRUE(std::holds_alternative<HttpGate::Admitted>(ask(path + signature)));
  EXPECT_EQ(refused("/l/k/movie/8.mp4" + signature).status, 401);
  EXPECT_EQ(refused(path).status, 401);
  EXPECT_EQ(refused("/l/k/original/7?s=" + access_.signatureFor("/l/k/original/7")).status, 401);
}

}  // namespace
}  // namespace moxtel
