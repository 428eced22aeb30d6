#include "console/StandardOutputConsoleView.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

namespace moxtel {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// The view's output for one line.
std::string printed(const ConsoleLine& line, OutputKind kind = OutputKind::Plain) {
  const std::unique_ptr<std::FILE, Closer> file(std::tmpfile());
  StandardOutputConsoleView(file.get(), kind).appendLine(line);
  std::rewind(file.get());
  std::array<char, 1024> text{};
  return {text.data(), std::fread(text.data(), 1, text.size(), file.get())};
}

std::string printedText(const std::string& text) {
  const std::string line = printed({"D", "T", text});
  return line.substr(7, line.size() - 8);
}

TEST(StandardOutputConsoleView, printsDateTitleAndText) {
  EXPECT_EQ(printed({"2016-07-12 09:05:03.250", "Info", "Running app: <none>"}),
            "2016-07-12 09:05:03.250  Info:  Running app: <none>\n");
}

TEST(StandardOutputConsoleView, printsAPriorityInsteadOfTheDateForTheJournal) {
  EXPECT_EQ(printed({"d", "Info", "x"}, OutputKind::Journal), "<6>Info:  x\n");
  EXPECT_EQ(printed({"d", "Error", "x"}, OutputKind::Journal), "<3>Error:  x\n");
  EXPECT_EQ(printed({"d", "error", "x"}, OutputKind::Journal), "<6>error:  x\n");
}

TEST(StandardOutputConsoleView, indentsLaterLinesOfAText) {
  EXPECT_EQ(printed({"d", "Info", "one\ntwo\n"}), "d  Info:  one\n    two\n    \n");
  EXPECT_EQ(printed({"d", "Error", "one\n<6>two"}, OutputKind::Journal), "<3>Error:  one\n<3>    <6>two\n");
}

TEST(StandardOutputConsoleView, escapesControlCharacters) {
  using namespace std::string_literals;
  EXPECT_EQ(printedText("a\x1b[31mb\rc\x7f\bd"), "a\\x1b[31mb\\x0dc\\x7f\\x08d");
  EXPECT_EQ(printedText("\xc2\x9b"s + "31m"), "\\xc2\\x9b31m");
  EXPECT_EQ(printedText("nul\0!"s), "nul\\x00!");
  EXPECT_EQ(printedText("tab\t\xc3\xa4\xe2\x82\xac"), "tab\t\xc3\xa4\xe2\x82\xac");
}

TEST(StandardOutputConsoleView, printsPercentSignsUnchanged) { EXPECT_EQ(printedText("%s%n%@"), "%s%n%@"); }

}  // namespace
}  // namespace moxtel
