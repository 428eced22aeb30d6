#include "platform/system/LineLimiter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

class LineLimiterTest : public testing::Test {
 protected:
  void add(const std::string& text) {
    const LineLimiter::Shown now = limiter.add(text, time);
    seen.insert(seen.end(), now.notes.begin(), now.notes.end());
    if (now.line) seen.push_back(text);
  }
  void addTimes(int count, const std::string& text) {
    for (int i = 0; i < count; ++i) add(text);
  }
  // Lines that differ.
  void addDifferent(int count, std::size_t size = 0) {
    for (int i = 0; i < count; ++i) add(std::to_string(number++) + std::string(size, 'x'));
  }
  void addPending() {
    for (const std::string& note : limiter.pendingNotes(time)) seen.push_back(note);
  }
  std::uint64_t bytesSeen() const {
    std::uint64_t sum = 0;
    for (const std::string& line : seen) sum += line.size() + LineLimiter::kBytesAroundText;
    return sum;
  }

  LineLimiter limiter;
  LineLimiter::Time time{std::chrono::hours(1000)};
  std::vector<std::string> seen;
  int number = 0;
};

TEST_F(LineLimiterTest, showsLinesThatDiffer) {
  add("a");
  add("b");
  add("a");
  EXPECT_THAT(seen, ElementsAre("a", "b", "a"));
}

TEST_F(LineLimiterTest, countsEqualLinesUntilAnotherOneComes) {
  addTimes(1206, "a");
  EXPECT_THAT(seen, ElementsAre("a", "a", "a"));
  add("b");
  EXPECT_THAT(seen, ElementsAre("a", "a", "a", "… 1,203 more like this", "b"));
}

TEST_F(LineLimiterTest, reportsTheCountWhenAsked) {
  addTimes(4, "a");
  addPending();
  EXPECT_THAT(seen, ElementsAre("a", "a", "a", "… 1 more like this"));
  addPending();
  EXPECT_EQ(seen.size(), 4u);
  addTimes(2, "a");
  add("b");
  EXPECT_THAT(seen, ElementsAre("a", "a", "a", "… 1 more like this", "… 2 more like this", "b"));
}

TEST_F(LineLimiterTest, showsAnEqualLineAgainAfterAPause) {
  addTimes(5, "a");
  time += seconds(11);
  add("a");
  EXPECT_THAT(seen, ElementsAre("a", "a", "a", "… 2 more like this", "a"));
}

TEST_F(LineLimiterTest, shows100LinesInAnySecond) {
  addDifferent(60);
  time += milliseconds(900);
  addDifferent(60);
  EXPECT_EQ(seen.size(), 100u);
  time += milliseconds(99);
  addDifferent(1);
  EXPECT_EQ(seen.size(), 100u);
  time += milliseconds(1);
  addDifferent(100);
  EXPECT_EQ(seen.size(), 160u);
}

TEST_F(LineLimiterTest, countsTheLinesOfAText) {
  for (int i = 0; i < 40; ++i) add(std::to_string(i) + "\nsecond\n");
  ASSERT_EQ(seen.size(), 34u);  // 33 texts of three lines, and a note
  EXPECT_EQ(seen.back(), "… 1 line left out");
  addDifferent(2);
  EXPECT_EQ(seen.size(), 34u);
  time += seconds(1);
  add("\n\n\n");
  EXPECT_EQ(seen.back(), "\n\n\n");
}

TEST_F(LineLimiterTest, showsATextOfMoreLinesThanASecondHas) {
  add(std::string(1000, '\n'));
  add("a");
  EXPECT_EQ(seen.size(), 1u);
  time += seconds(1);
  add("b");
  EXPECT_THAT(seen.back(), "b");
}

TEST_F(LineLimiterTest, reportsHowManyLinesWereLeftOut) {
  addDifferent(1334);
  time += seconds(1);
  add("next");
  ASSERT_EQ(seen.size(), 102u);
  EXPECT_EQ(seen[100], "… 1,234 lines left out");
  EXPECT_EQ(seen[101], "next");
  addPending();
  EXPECT_EQ(seen.size(), 102u);
}

TEST_F(LineLimiterTest, reportsOneLineThatWasLeftOutWhenAsked) {
  addDifferent(101);
  addPending();
  EXPECT_EQ(seen.size(), 100u) << "a note is a line, too";
  time += seconds(1);
  addPending();
  EXPECT_EQ(seen.back(), "… 1 line left out");
}

TEST_F(LineLimiterTest, reportsAtTheEndWhateverTheLimits) {
  addDifferent(97);
  addTimes(10, "a");
  addDifferent(7);
  EXPECT_THAT(limiter.pendingNotes(time), IsEmpty());
  EXPECT_THAT(limiter.pendingNotes(time, AtEnd::Yes), ElementsAre("… 14 lines left out"));
  EXPECT_THAT(limiter.pendingNotes(time, AtEnd::Yes), IsEmpty());
}

TEST_F(LineLimiterTest, doesNotCallALineEqualToOneThatWasLeftOut) {
  addDifferent(100);
  add("a");
  time += seconds(1);
  add("a");
  EXPECT_EQ(seen.back(), "a");
}

TEST_F(LineLimiterTest, losesNoLineFromItsCounts) {
  addDifferent(98);
  addTimes(10, "a");
  addDifferent(5);
  time += seconds(1);
  add("end");
  ASSERT_EQ(seen.size(), 102u);
  // 98 + 2 were shown; 8 equal ones and 5 others were not.
  EXPECT_EQ(seen[100], "… 13 lines left out");
}

TEST_F(LineLimiterTest, showsAtMost10MegabytesInAnHour) {
  for (int second = 0; second < 3600; ++second) {
    addDifferent(100, 4000);
    time += seconds(1);
  }
  EXPECT_LE(bytesSeen(), 10'000'000u);
  EXPECT_GE(bytesSeen(), 9'900'000u);
}

TEST_F(LineLimiterTest, showsLinesAgainSoonAfterAFlood) {
  for (int second = 0; second < 60; ++second) {
    addDifferent(100, 4000);
    time += seconds(1);
  }
  seen.clear();
  time += seconds(10);
  add("a");
  EXPECT_EQ(seen.back(), "a");
}

TEST_F(LineLimiterTest, leavesOutALineLargerThanTheBudget) {
  add(std::string(10'000'001, 'x'));
  EXPECT_THAT(seen, IsEmpty());
  add("a");
  EXPECT_THAT(seen, ElementsAre("… 1 line left out", "a"));
}

}  // namespace
}  // namespace moxtel
