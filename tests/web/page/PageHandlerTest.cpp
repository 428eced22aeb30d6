#include "web/page/PageHandler.h"

#include <gmock/gmock.h>

#include "web/http/RequestTarget.h"

namespace moxtel {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;

class Recorder final : public HttpResponder {
 public:
  explicit Recorder(HttpReply& reply) : reply_(reply) {}
  void send(HttpReply reply) override { reply_ = std::move(reply); }
  bool isGone() const override { return false; }

 private:
  HttpReply& reply_;
};

HttpReply ask(const std::string& path, bool acceptsGzip = false) {
  HttpRequest request;
  const auto target = parseTarget(path);
  request.path = target->path;
  request.segments = target->segments;
  request.acceptsGzip = acceptsGzip;
  PageHandler handler;
  HttpReply reply;
  handler.handle(request, std::make_shared<Recorder>(reply));
  return reply;
}

TEST(PageHandler, answersEveryViewWithThePage) {
  const std::string start = std::get<std::string>(ask("/").body);
  EXPECT_THAT(start, HasSubstr("<!doctype html>"));
  for (const char* path : {"/l/k3jd82ha/", "/l/k3jd82ha/photos", "/l/k3jd82ha/list/album:3/photo/7"}) {
    const HttpReply reply = ask(path);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.type, "text/html; charset=utf-8");
    EXPECT_EQ(reply.cache, HttpReply::Cache::No);
    EXPECT_NE(reply.etag, "");
    EXPECT_EQ(std::get<std::string>(reply.body), start) << path;
  }
}

TEST(PageHandler, sendsThePageCompressed) {
  const HttpReply reply = ask("/", true);
  EXPECT_THAT(reply.headers, Contains(Pair("Content-Encoding", "gzip")));
  EXPECT_THAT(std::get<std::string>(reply.body), StartsWith("\x1f\x8b"));
  EXPECT_THAT(reply.etag, Not(ask("/").etag));
}

TEST(PageHandler, knowsNoOtherFiles) {
  for (const char* path : {"/nothing", "/assets/nothing.js", "/l", "/l/k/thumbs", "/page/index.html"}) {
    EXPECT_EQ(ask(path).status, 404) << path;
  }
}

TEST(PageHandler, showsThePageForAViewThatItDoesNotHave) {
  const std::string page = std::get<std::string>(ask("/l/k/photos").body);
  for (const char* path : {"/l/k/nonsense", "/l/k/thumbs", "/l/k/flagged/3", "/l/k/albums/folder:4"}) {
    const HttpReply reply = ask(path);
    EXPECT_EQ(reply.status, 404) << path;
    EXPECT_EQ(reply.type, "text/html; charset=utf-8");
    EXPECT_EQ(std::get<std::string>(reply.body), page);
  }
}

TEST(PageHandler, keepsSearchEnginesAway) {
  EXPECT_EQ(std::get<std::string>(ask("/robots.txt").body), "User-agent: *\nDisallow: /\n");
}

TEST(PageHandler, putsStateAndAddressIntoTheForm) {
  const HttpReply reply = PageHandler().loginPage(HttpGate::LoginState::Wrong, "/l/k/search/a&\"<b");
  const std::string& text = std::get<std::string>(reply.body);
  EXPECT_THAT(text, HasSubstr("wrong"));
  EXPECT_THAT(text, HasSubstr("/l/k/search/a&amp;&quot;&lt;b"));
  EXPECT_THAT(text, Not(HasSubstr("@TO@")));
  EXPECT_THAT(text, Not(HasSubstr("@STATE@")));
}

TEST(PageFileType, isKnownForEveryFileOfThePage) {
  EXPECT_EQ(pageFileType("assets/main-AB.js"), "text/javascript; charset=utf-8");
  EXPECT_EQ(pageFileType("manifest.webmanifest"), "application/manifest+json");
  EXPECT_EQ(pageFileType("unknown"), "application/octet-stream");
}

}  // namespace
}  // namespace moxtel
