#include "value/Utf.h"

namespace moxtel {
namespace {

std::u32string decoded(std::string_view text) {
  std::u32string out;
  for (std::size_t i = 0; i < text.size();) out += nextCodePoint(text, i);
  return out;
}

std::string encoded(char32_t c) {
  std::string out;
  appendUtf8(out, c);
  return out;
}

TEST(Utf, readsWhatItWrites) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::string text = encoded(c);
    ASSERT_EQ(decoded(text), std::u32string(1, c));
    ASSERT_TRUE(isValidUtf8(text));
  }
}

TEST(Utf, writesSurrogatesAndWhatLiesBeyondAsReplacement) {
  for (const char32_t c : {0xD800, 0xDFFF, 0x110000, 0x7FFFFFFF}) EXPECT_EQ(encoded(c), "\uFFFD");
}

TEST(Utf, replacesEachLongestBeginningOnce) {
  // The example of the Unicode Standard, table 3-8.
  EXPECT_EQ(decoded("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"),
            U"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
  EXPECT_EQ(decoded("\xC0\xAF\xE0\x80\xBF"), std::u32string(5, U'\uFFFD'));
  EXPECT_EQ(decoded("\xED\xA0\x80"), std::u32string(3, U'\uFFFD'));
  EXPECT_EQ(decoded("\xF4\x91\x92\x93\xFF\x41"), U"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u0041");
  EXPECT_EQ(decoded("\xE2\x82"), U"\uFFFD");
}

TEST(Utf, tellsWhatIsValid) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8(std::string_view("a\0b", 3)));
  for (const char* text :
       {"\x80", "\xC1\x81", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF5\x80\x80\x80", "a\xC3"}) {
    EXPECT_FALSE(isValidUtf8(text)) << text;
  }
}

TEST(Utf, findsTheOneByteThatIsNoAscii) {
  for (std::size_t size = 0; size < 40; ++size) {
    std::string text(size, 'x');
    EXPECT_TRUE(isAscii(text));
    for (std::size_t i = 0; i < size; ++i) {
      text[i] = '\x80';
      EXPECT_FALSE(isAscii(text)) << size << ' ' << i;
      text[i] = 'x';
    }
  }
}

}  // namespace
}  // namespace moxtel
