#include "web/http/ByteRange.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

bool isWhole(std::string_view field) { return std::holds_alternative<WholeBody>(chooseRange(field, 100)); }
bool isUnsatisfiable(std::string_view field, std::uint64_t size = 100) {
  return std::holds_alternative<UnsatisfiableRange>(chooseRange(field, size));
}
ByteRange rangeOf(std::string_view field) { return std::get<ByteRange>(chooseRange(field, 100)); }

TEST(ByteRange, understandsOneRange) {
  EXPECT_EQ(rangeOf("bytes=0-1"), (ByteRange{0, 2}));
  EXPECT_EQ(rangeOf("bytes=10-10"), (ByteRange{10, 1}));
  EXPECT_EQ(rangeOf("bytes=90-"), (ByteRange{90, 10}));
  EXPECT_EQ(rangeOf("Bytes= 0-0 "), (ByteRange{0, 1}));
}

TEST(ByteRange, endsAtTheEndOfTheBody) {
  EXPECT_EQ(rangeOf("bytes=90-200"), (ByteRange{90, 10}));
  EXPECT_EQ(rangeOf("bytes=0-99999999999999999999999"), (ByteRange{0, 100}));
}

TEST(ByteRange, countsASuffixFromTheEnd) {
  EXPECT_EQ(rangeOf("bytes=-1"), (ByteRange{99, 1}));
  EXPECT_EQ(rangeOf("bytes=-500"), (ByteRange{0, 100}));
  EXPECT_TRUE(isUnsatisfiable("bytes=-0"));
}

TEST(ByteRange, cannotBeginBehindTheEnd) {
  EXPECT_TRUE(isUnsatisfiable("bytes=100-"));
  EXPECT_TRUE(isUnsatisfiable("bytes=99999999999999999999-"));
  EXPECT_TRUE(isUnsatisfiable("bytes=0-1", 0));
  EXPECT_TRUE(isUnsatisfiable("bytes=-5", 0));
}

TEST(ByteRange, sendsTheWholeBodyForWhatItDoesNotUnderstand) {
  for (const char* field : {"", "bytes", "bytes=", "bytes=-", "bytes=a-b", "bytes=5-1", "bytes=0-1,3-4",
                            "items=0-1", "bytes=+1-2", "bytes=1 -2", "bytes=0--1"}) {
    EXPECT_TRUE(isWhole(field)) << field;
  }
}

TEST(IfRange, matchesTheSameETagOnly) {
  EXPECT_TRUE(ifRangeMatches("", "\"a\""));
  EXPECT_TRUE(ifRangeMatches("\"a\"", "\"a\""));
  EXPECT_FALSE(ifRangeMatches("\"b\"", "\"a\""));
  EXPECT_FALSE(ifRangeMatches("W/\"a\"", "\"a\""));
  EXPECT_FALSE(ifRangeMatches("Sat, 29 Oct 1994 19:43:31 GMT", "\"a\""));
  EXPECT_FALSE(ifRangeMatches("\"a\"", ""));
}

TEST(IfNoneMatch, findsTheETagInAList) {
  EXPECT_TRUE(ifNoneMatchNames("\"x\", W/\"a\"", "\"a\""));
  EXPECT_TRUE(ifNoneMatchNames("*", "\"a\""));
  EXPECT_FALSE(ifNoneMatchNames("a", "\"a\""));
  EXPECT_FALSE(ifNoneMatchNames("", "\"a\""));
  EXPECT_FALSE(ifNoneMatchNames("*", ""));
}

}  // namespace
}  // namespace moxtel
