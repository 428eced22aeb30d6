#include "app/CoreThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>

#include "app/ServerProgram.h"
#include "tests/StringTable.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

// Records the lines and statuses that the windows' thread would get. eventually() returns false after a
// timeout.
class Recorder final : public ConsoleView {
 public:
  void appendLine(const ConsoleLine& line) override {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line.title + ": " + line.text);
    changed_.notify_all();
  }
  void take(const ServerStatus& status) {
    const std::lock_guard lock(mutex_);
    statuses_.push_back(status);
    changed_.notify_all();
  }
  template <class Question>
  bool eventually(Question question) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return question(statuses_, lines_); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ServerStatus> statuses_;
  std::vector<std::string> lines_;
};

class CoreThreadTest : public testing::Test {
 protected:
  CoreThreadTest() {
    defaults.setString("LibraryPath", library.path());
    defaults.setString("Port", "0");
    defaults.setString("WebPort", "0");
  }
  std::unique_ptr<CoreThread> started() {
    return std::make_unique<CoreThread>(defaults, recorder,
                                        [this](const ServerStatus& status) { recorder.take(status); });
  }
  bool statusBecomes(const std::function<bool(const ServerStatus&)>& question) {
    return recorder.eventually(
        [&](const auto& statuses, const auto&) { return !statuses.empty() && question(statuses.back()); });
  }

  test::TestLibrary library;
  UserDefaults defaults;
  Recorder recorder;
};

TEST_F(CoreThreadTest, servesAndReportsTheStatus) {
  const auto core = started();
  EXPECT_TRUE(statusBecomes([&](const ServerStatus& status) {
    return status.port != 0 && status.libraryPath == library.path() && status.libraryProblem.empty();
  }));
}

TEST_F(CoreThreadTest, saysInTheUsersLanguageWhoRunsScripts) {
  test::setStringTable({{"AppleScript is run by '%@'", "AppleScript: %@"}});
  defaults.setString("ScriptInterpreter", "osascript -s s");
  const auto core = started();
  EXPECT_TRUE(recorder.eventually([](const auto&, const auto& lines) {
    return std::ranges::find(lines, "Info: AppleScript: osascript -s s") != lines.end();
  }));
  setTranslator({});
}

TEST_F(CoreThreadTest, hasNoPageOnTheServersPort) {
  defaults.setString("Port", "4340");
  defaults.setString("WebPort", "4340");
  const auto core = started();
  EXPECT_TRUE(recorder.eventually([](const auto&, const auto& lines) {
    return std::ranges::find(lines,
                             "Error: There is no page for browsers: -WebPort and -Port are both 4340") !=
           lines.end();
  }));
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return !status.web.isOn; }));
}

TEST_F(CoreThreadTest, changesWhoMayLookAtThePageWhileItRuns) {
  defaults.setString("WebPort", "31873");
  defaults.setString("WebAccess", "off");
  const auto core = started();
  EXPECT_TRUE(statusBecomes(
      [](const ServerStatus& status) { return !status.web.isOn && status.web.access == "off"; }));
  core->post([](ServerProgram& program) { program.setWebAccess("open"); });
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) {
    return status.web.isOn && status.web.access == "open" && status.web.digits.empty();
  }));
  core->post([](ServerProgram& program) { program.setWebAccess("off"); });
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return !status.web.isOn; }));
  EXPECT_EQ(defaults.stringForKey("WebAccess"), "off");
}

TEST_F(CoreThreadTest, usesTheUsualPortForAPageThatTheSettingsLeftOut) {
  const auto core = started();
  core->post([](ServerProgram& program) { program.setWebAccess("open"); });
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return status.web.isOn; }));
  EXPECT_EQ(defaults.integerForKey("WebPort"), 4251);
}

TEST_F(CoreThreadTest, startsAgainWithTheSettingsAsTheyAreThen) {
  const auto core = started();
  ASSERT_TRUE(statusBecomes([](const ServerStatus& status) { return status.port != 0; }));
  defaults.setString("WebPort", "4341");
  core->restart();
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return status.port != 0 && status.web.isOn; }));
  std::promise<void> ran;
  core->post([&](ServerProgram&) { ran.set_value(); });
  ran.get_future().wait();
}

TEST_F(CoreThreadTest, doesNotWaitForAServerThatHangsWhenItStartsAgain) {
  std::promise<void> released;
  std::promise<void> hangs;
  const auto core = started();
  core->post([&](ServerProgram&) {
    hangs.set_value();
    released.get_future().wait();
  });
  hangs.get_future().wait();
  defaults.setString("WebPort", "4342");
  auto restarted = std::async(std::launch::async, [&] { core->restart(); });
  EXPECT_EQ(restarted.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  released.set_value();
  restarted.wait();
  std::promise<bool> ran;
  core->post([&](ServerProgram& program) { ran.set_value(program.status().port != 0); });
  EXPECT_TRUE(ran.get_future().get());
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return status.web.isOn; }));
}

TEST_F(CoreThreadTest, runsActionsOnItsOwnThread) {
  const auto core = started();
  std::promise<std::thread::id> ran;
  core->post([&](ServerProgram&) { ran.set_value(std::this_thread::get_id()); });
  EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
}

TEST_F(CoreThreadTest, reportsTheNewStatusAfterAnAction) {
  const auto core = started();
  core->post([](ServerProgram& program) { program.delegate().changedRevealPhoto(false); });
  EXPECT_TRUE(statusBecomes([](const ServerStatus& status) { return !status.revealPhoto; }));
}

TEST_F(CoreThreadTest, queuesActionsWithoutWaitingForARunningOne) {
  auto core = started();
  std::promise<void> release;
  std::promise<void> begun;
  std::vector<std::string> order;
  core->post([&](ServerProgram&) {
    begun.set_value();
    release.get_future().wait();
    order.emplace_back("first");
  });
  begun.get_future().wait();
  std::promise<void> done;
  core->post([&](ServerProgram&) {
    order.emplace_back("second");
    done.set_value();
  });
  // The first action still runs: it cannot end before this.
  release.set_value();
  done.get_future().wait();
  EXPECT_EQ(order, (std::vector<std::string>{"first", "second"}));
}

TEST_F(CoreThreadTest, passesConsoleLinesFromTheBannerOn) {
  const auto core = started();
  EXPECT_TRUE(recorder.eventually([](const auto&, const auto& lines) {
    return !lines.empty() && lines.front() == "Info: MoxtelServer 1.4 (402) started";
  }));
}

TEST_F(CoreThreadTest, itsDestructorEndsTheThreadAndReleasesQueuedActions) {
  auto core = started();
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched(held);
  core->post([held = std::move(held)](ServerProgram&) {});
  core.reset();
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace moxtel
