#include "console/MXSConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <thread>

#include "log/Log.h"
#include "platform/loop/CoreLoop.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RecordingView : public ConsoleView {
 public:
  void appendLine(const ConsoleLine& line) override { seen.push_back(line.title + "|" + line.text); }
  void raise() override { seen.emplace_back("raised"); }
  std::vector<std::string> seen;
};

constexpr const char* kStarted = "Info|MoxtelServer 1.4 (402) started";
constexpr const char* kDashes = "Info|---------------------------------------------------";

class MXSConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
  }
  // Adds the view and forgets the banner's lines.
  void addViewAfterTheBanner(MXSConsole& console) {
    console.addView(view_);
    view_.seen.clear();
  }
  FakeEventLoop loop_;
  UserDefaults defaults_;
  FakeClock clock_;
  RecordingView view_;
};

TEST_F(MXSConsoleTest, startsWithTheVersionAndASeparator) {
  MXSConsole console(loop_, defaults_, clock_);
  console.addView(view_);
  EXPECT_THAT(view_.seen, ElementsAre(kStarted, kDashes));
  EXPECT_EQ(std::string(kDashes).size(), 5u + 51u);
}

TEST_F(MXSConsoleTest, showsALineAtOnceOnTheCoreThread) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showTitle("Info", "Running app: 100%@");
  EXPECT_THAT(view_.seen, ElementsAre("Info|Running app: 100%@"));
}

TEST_F(MXSConsoleTest, raisesItsViewsForAnErrorBeforeItsLine) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showTitle("Error", "bad");
  EXPECT_THAT(view_.seen, ElementsAre("raised", "Error|bad"));
}

TEST_F(MXSConsoleTest, keepsItsViewsBehindForAnErrorThatNeedsNoAttention) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showTitle("Error", "one", OnError::StayBehind);
  std::thread([&] { console.showTitle("Error", "two", OnError::StayBehind); }).join();
  loop_.runPosted();
  EXPECT_THAT(view_.seen, ElementsAre("Error|one", "Error|two"));
}

TEST_F(MXSConsoleTest, treatsOnlyTheExactTitleErrorAsAnError) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  for (const char* title : {"error", "ERROR", "Error ", "Info", ""}) console.showTitle(title, "x");
  EXPECT_THAT(view_.seen, ElementsAre("error|x", "ERROR|x", "Error |x", "Info|x", "|x"));
}

TEST_F(MXSConsoleTest, queuesLinesOfOtherThreadsForTheCoreThread) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  std::thread([&] {
    console.showTitle("Info", "one");
    console.showTitle("Error", "two");
  }).join();
  EXPECT_THAT(view_.seen, IsEmpty());
  loop_.runPosted();
  EXPECT_THAT(view_.seen, ElementsAre("Info|one", "raised", "Error|two"));
}

TEST_F(MXSConsoleTest, stampsALineWhenItIsShown) {
  MXSConsole console(loop_, defaults_, clock_);
  clock_.set({489999903.25});
  EXPECT_EQ(console.dateString(), "2016-07-12 07:05:03.250");
  struct DateView : ConsoleView {
    void appendLine(const ConsoleLine& line) override {
      runs = line.dateRun() + line.titleRun() + line.textRun();
    }
    std::string runs;
  } view;
  console.addView(view);
  std::thread([&] { console.showTitle("Info", "x"); }).join();
  clock_.advance(1);
  loop_.runPosted();
  EXPECT_EQ(view.runs, "2016-07-12 07:05:04.250  Info:  x\n");
}

TEST_F(MXSConsoleTest, dropsQueuedLinesWhenItIsDestroyed) {
  std::optional<MXSConsole> console;
  console.emplace(loop_, defaults_, clock_);
  addViewAfterTheBanner(*console);
  std::thread([&] { console->showTitle("Info", "late"); }).join();
  console.reset();
  loop_.runPosted();
  EXPECT_THAT(view_.seen, IsEmpty());
}

TEST_F(MXSConsoleTest, keepsNoLinesOnceAViewHasShownThem) {
  MXSConsole console(loop_, defaults_, clock_);
  RecordingView first;
  console.addView(first);
  console.showTitle("Info", "x");
  console.addView(view_);
  EXPECT_THAT(view_.seen, IsEmpty());
  console.showTitle("Info", "y");
  EXPECT_THAT(view_.seen, ElementsAre("Info|y"));
}

TEST_F(MXSConsoleTest, doesNotCallRemovedViews) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.removeView(view_);
  console.showTitle("Error", "x");
  console.showConsoleWindow();
  EXPECT_THAT(view_.seen, IsEmpty());
}

TEST_F(MXSConsoleTest, letsAViewRemoveItselfWhileItIsCalled) {
  MXSConsole console(loop_, defaults_, clock_);
  struct Leaving : ConsoleView {
    explicit Leaving(MXSConsole& c) : console(c) {}
    void appendLine(const ConsoleLine&) override {
      ++lines;
      console.removeView(*this);
    }
    MXSConsole& console;
    int lines = 0;
  };
  addViewAfterTheBanner(console);
  Leaving leaving(console);
  console.addView(leaving);
  console.showTitle("Info", "x");
  console.showTitle("Info", "y");
  EXPECT_EQ(leaving.lines, 1);
  EXPECT_THAT(view_.seen, ElementsAre("Info|x", "Info|y"));
}

TEST_F(MXSConsoleTest, raisesItsViewsOnRequest) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showConsoleWindow();
  EXPECT_THAT(view_.seen, ElementsAre("raised"));
}

TEST_F(MXSConsoleTest, ignoresTheKeyConsoleSoundAlert) {
  defaults_.setBool("ConsoleSoundAlert", true);
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showTitle("Info", "x");
  EXPECT_THAT(view_.seen, ElementsAre("Info|x"));
}

TEST_F(MXSConsoleTest, escapesControlCharactersAndBidirectionalMarks) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  console.showTitle("Info", "a\x1b[31m\u202e\xc2\x9b\tb\nc");
  EXPECT_THAT(view_.seen, ElementsAre("Info|a\\x1b[31m\\xe2\\x80\\xae\\xc2\\x9b\tb\nc"));
}

TEST_F(MXSConsoleTest, countsEqualLinesInARow) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  for (int i = 0; i < 10; ++i) console.showTitle("Info", "x");
  EXPECT_THAT(view_.seen, ElementsAre("Info|x", "Info|x", "Info|x"));
  console.showTitle("Error", "x");
  EXPECT_THAT(view_.seen,
              ElementsAre("Info|x", "Info|x", "Info|x", "Info|… 7 more like this", "raised", "Error|x"));
  for (int i = 0; i < 5; ++i) console.showTitle("Error", "x");
  console.showPendingNotes(AtEnd::No);
  EXPECT_EQ(view_.seen.back(), "Info|… 3 more like this");
}

TEST_F(MXSConsoleTest, shows100LinesASecondAtMost) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  for (int i = 0; i < 1000; ++i) console.showTitle("Info", std::to_string(i));
  EXPECT_LE(view_.seen.size(), 100u);
  EXPECT_EQ(view_.seen[0], "Info|0");
}

TEST_F(MXSConsoleTest, showsEveryLineToDebuggers) {
  MXSConsole console(loop_, defaults_, clock_);
  addViewAfterTheBanner(console);
  setDebugLevel(1);
  for (int i = 0; i < 1000; ++i) console.showTitle("Info", "x");
  setDebugLevel(0);
  EXPECT_EQ(view_.seen.size(), 1000u);
}

class ErrorLog : public MXSConsoleTest {
 protected:
  std::string contents() const {
    std::ifstream in(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  const TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "errors";
  const SystemLogCapture system_;
};

TEST_F(ErrorLog, getsTheTextsOfErrorsAtEveryDebugLevel) {
  defaults_.setString("ErrorLogPath", path_);
  setUpLogging(defaults_, clock_);
  MXSConsole console(loop_, defaults_, clock_);
  console.showTitle("Error", "one\ntwo");
  console.showTitle("Info", "good");
  console.showTitle("error", "not an error");
  setDebugLevel(2);
  console.showTitle("Error", "K\xc3\xb6ln");
  setDebugLevel(0);
  EXPECT_EQ(contents(), "one\ntwo\nK\\366ln\n");
  EXPECT_THAT(system_.lines(), IsEmpty());
}

TEST_F(ErrorLog, isNotOpenedWithoutAPath) {
  setUpLogging(defaults_, clock_);
  MXSConsole console(loop_, defaults_, clock_);
  console.showTitle("Error", "one");
  EXPECT_THAT(system_.lines(), IsEmpty());
}

TEST_F(MXSConsoleTest, keepsTheOrderOfLinesOfEachThreadOnARealLoop) {
  CoreLoop loop;
  MXSConsole console(loop, defaults_, clock_);
  addViewAfterTheBanner(console);
  std::vector<std::thread> threads;
  for (const char* title : {"a", "b"}) {
    threads.emplace_back([&console, title] {
      for (int i = 0; i < 40; ++i) console.showTitle(title, std::to_string(i));
    });
  }
  for (auto& thread : threads) thread.join();
  loop.quit();
  loop.run();
  std::vector<std::string> ofA;
  std::vector<std::string> expected;
  for (const auto& line : view_.seen) {
    if (line[0] == 'a') ofA.push_back(line);
  }
  for (int i = 0; i < 40; ++i) expected.push_back("a|" + std::to_string(i));
  EXPECT_EQ(ofA, expected);
  EXPECT_EQ(view_.seen.size(), 80u);
}

TEST(ConsoleFonts, haveTwelvePoints) {
  EXPECT_EQ(MXSConsole::fixedFont().name, "Monaco");
  EXPECT_EQ(MXSConsole::boldFont().name, "Lucida Grande Bold");
  EXPECT_EQ(MXSConsole::defaultFont().name, "Lucida Grande");
  for (const auto& font : {MXSConsole::fixedFont(), MXSConsole::boldFont(), MXSConsole::defaultFont()}) {
    EXPECT_EQ(font.points, 12);
  }
}

}  // namespace
}  // namespace moxtel
