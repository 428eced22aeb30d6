#include "console/StandardOutputConsoleView.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
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

TEST(StandardOutputConsoleView, reportsLinesThatItsReaderMissed) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  const std::unique_ptr<std::FILE, Closer> writer(::fdopen(ends[1], "w"));
  StandardOutputConsoleView view(writer.get(), OutputKind::Plain);
  const std::string large(100'000, 'x');
  for (int i = 0; i < 3; ++i) view.appendLine({"d", "Info", large});
  std::array<char, 100'000> text{};
  ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
  while (::read(ends[0], text.data(), text.size()) > 0) {
  }
  view.appendLine({"d", "Info", "again"});
  const ssize_t count = ::read(ends[0], text.data(), text.size());
  ::close(ends[0]);
  EXPECT_EQ(std::string(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))),
            "\nd  Info:  … 3 lines left out\nd  Info:  again\n");
}

TEST(StandardOutputConsoleView, printsPercentSignsUnchanged) { EXPECT_EQ(printedText("%s%n%@"), "%s%n%@"); }

}  // namespace
}  // namespace moxtel
