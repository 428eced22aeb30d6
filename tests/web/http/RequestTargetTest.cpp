#include "web/http/RequestTarget.h"

#include <gmock/gmock.h>

namespace moxtel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(RequestTarget, decodesSegmentsAndParameters) {
  const auto target = parseTarget("/l/k3jd82ha/list/search:M%C3%BCller%20%26/3?v=9f+a&order=new&flag");
  ASSERT_TRUE(target);
  EXPECT_EQ(target->path, "/l/k3jd82ha/list/search:Müller &/3");
  EXPECT_THAT(target->segments, ElementsAre("l", "k3jd82ha", "list", "search:Müller &", "3"));
  EXPECT_THAT(target->parameters, ElementsAre(Pair("v", "9f a"), Pair("order", "new"), Pair("flag", "")));
}

TEST(RequestTarget, keepsAnEncodedSlashInItsSegment) {
  const auto target = parseTarget("/l/k/list/search:a%2Fb");
  ASSERT_TRUE(target);
  EXPECT_THAT(target->segments, ElementsAre("l", "k", "list", "search:a/b"));
}

TEST(RequestTarget, keepsAPlusInThePath) { EXPECT_EQ(parseTarget("/a+b")->path, "/a+b"); }

TEST(RequestTarget, distinguishesAPathWithASlashAtItsEnd) {
  EXPECT_EQ(parseTarget("/")->path, "/");
  EXPECT_THAT(parseTarget("/")->segments, IsEmpty());
  EXPECT_EQ(parseTarget("/l/k/")->path, "/l/k/");
  EXPECT_THAT(parseTarget("/l/k/")->segments, ElementsAre("l", "k"));
}

TEST(RequestTarget, rejectsPathsThatLeaveTheirPlace) {
  for (const char* text : {"/..", "/a/../b", "/a/%2e%2E/b", "/.", "/a/./b", "//a", "/a//b",
                           "/a/..%2f..%2fetc", "/a%2f../b", "/a/b%2F.."}) {
    EXPECT_FALSE(parseTarget(text)) << text;
  }
}

TEST(RequestTarget, rejectsWhatIsNoText) {
  for (const char* text : {"", "*", "a", "http://host/", "/%", "/%4", "/%zz", "/%00", "/%0d%0aX: y", "/%ff",
                           "/%c3", "/a?x=%", "/a?x=%00", "/a\x7f", "/a\tb"}) {
    EXPECT_FALSE(parseTarget(text)) << text;
  }
}

TEST(RequestTarget, isBounded) {
  EXPECT_TRUE(parseTarget("/" + std::string(8191, 'a')));
  EXPECT_FALSE(parseTarget("/" + std::string(8192, 'a')));
  std::string deep, many = "/?";
  for (int i = 0; i < 32; ++i) {
    deep += "/a";
    many += "a&";
  }
  many.pop_back();
  EXPECT_TRUE(parseTarget(deep));
  EXPECT_FALSE(parseTarget(deep + "/a"));
  EXPECT_TRUE(parseTarget(many));
  EXPECT_FALSE(parseTarget(many + "&a"));
}

TEST(Form, isDecoded) {
  EXPECT_THAT(*parseForm("digits=123456&to=%2Fl%2Fk%2F"),
              ElementsAre(Pair("digits", "123456"), Pair("to", "/l/k/")));
  EXPECT_THAT(*parseForm(""), IsEmpty());
  EXPECT_FALSE(parseForm("digits=%GG"));
}

}  // namespace
}  // namespace moxtel
