#include "platform/system/LogText.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

using namespace std::string_literals;

std::string repeated(std::size_t times, const std::string& text) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

template <class... Arguments>
std::string lineOf(const char* format, const Arguments&... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)...};
  return logLine(format, list);
}

TEST(LoggedText, keeps500Characters) {
  EXPECT_EQ(loggedText(repeated(500, "ä")), repeated(500, "ä"));
  EXPECT_EQ(loggedText(repeated(501, "ä")), repeated(500, "ä") + "…");
  EXPECT_EQ(loggedText(""), "");
}

TEST(LoggedText, countsIllFormedBytesAsCharacters) {
  EXPECT_EQ(loggedText(repeated(600, "\xff")), repeated(500, "\xff") + "…");
}

TEST(LoggedText, staysOnOneLine) { EXPECT_EQ(loggedText("a\nb\n"), "a\\x0ab\\x0a"); }

TEST(LoggedLines, cutsEachLine) {
  EXPECT_EQ(loggedLines("a\n" + repeated(501, "b") + "\n\nc"), "a\n" + repeated(500, "b") + "…\n\nc");
}

TEST(PrintableText, keepsTextsLineFeedsAndTabs) {
  const std::string text = "K\xc3\xb6ln\t\xe2\x82\xac\n\xf0\x9f\x98\x80 \xef\xbf\xbd";
  EXPECT_EQ(printableText(text), text);
}

TEST(PrintableText, escapesControlCharacters) {
  EXPECT_EQ(printableText("a\x1b[31mb\rc\x7f\bd"), "a\\x1b[31mb\\x0dc\\x7f\\x08d");
  EXPECT_EQ(printableText("nul\0!"s), "nul\\x00!");
  EXPECT_EQ(printableText("\xc2\x9b"s + "31m"), "\\xc2\\x9b31m");
}

TEST(PrintableText, escapesBidirectionalMarksAndSeparators) {
  EXPECT_EQ(printableText("\u202egnp.\u202c"), "\\xe2\\x80\\xaegnp.\\xe2\\x80\\xac");
  for (const char* mark : {"\u061c", "\u200e", "\u200f", "\u202a", "\u2066", "\u2069", "\u2028", "\u2029"}) {
    EXPECT_EQ(printableText(mark).front(), '\\') << mark;
  }
}

TEST(PrintableText, escapesBytesThatAreNotUtf8) {
  EXPECT_EQ(printableText("a\x9b"
                          "31m"),
            "a\\x9b31m");
}

TEST(LogLine, cutsEachTextButNotItsFormat) {
  EXPECT_EQ(lineOf("\n%@ of %@\n", repeated(501, "a"), repeated(2, "b\n")),
            "\n" + repeated(500, "a") + "… of b\\x0ab\\x0a\n");
  EXPECT_EQ(lineOf("%s", repeated(501, "a").c_str()), repeated(500, "a") + "…");
}

TEST(LogLine, cutsCollectionsAndKeepsTheirLines) {
  EXPECT_EQ(lineOf("got %@", Dictionary{{"id", 5}}), "got {\n    id = 5;\n}");
  const std::string line = lineOf("got %@", Array{Value(repeated(600, "a"))});
  EXPECT_EQ(line, "got (\n    " + repeated(494, "a") + "…");
}

TEST(LogLine, keepsNumbersAndNil) { EXPECT_EQ(lineOf("%d %@ %@", 7, Value(), Value(8)), "7 (null) 8"); }

}  // namespace
}  // namespace moxtel
