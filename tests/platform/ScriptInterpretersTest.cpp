#include "platform/applications/ScriptInterpreters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "platform/applications/RemoteApplications.h"
#include "platform/applications/ScriptResult.h"
#include "platform/settings/UserDefaults.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/fakes/FakeRunningApplications.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Ending = ProcessResult::Ending;

ProcessResult ended(Ending ending, std::string error = {}, int status = -1) {
  return {ending, status, {}, std::move(error)};
}

TEST(CommandWords, areSplitAtBlanks) {
  EXPECT_THAT(commandWords("ssh mac.local osascript -s s -"),
              ElementsAre("ssh", "mac.local", "osascript", "-s", "s", "-"));
  EXPECT_THAT(commandWords("  a\t\tb\nc  "), ElementsAre("a", "b", "c"));
  EXPECT_THAT(commandWords(""), IsEmpty());
  EXPECT_THAT(commandWords(" \t\n"), IsEmpty());
}

TEST(CommandWords, mayBeQuoted) {
  EXPECT_THAT(commandWords(R"('/my tools/run' "a b"c d\ e)"), ElementsAre("/my tools/run", "a bc", "d e"));
  EXPECT_THAT(commandWords(R"(a '' "")"), ElementsAre("a", "", ""));
  EXPECT_THAT(commandWords(R"('a\b' "a\"b" \\)"), ElementsAre("a\\b", "a\"b", "\\"));
  EXPECT_THAT(commandWords("'never closed x"), ElementsAre("never closed x"));
  EXPECT_THAT(commandWords("ends in \\"), ElementsAre("ends", "in", "\\"));
}

TEST(CommandWords, areNotReadByAShell) {
  EXPECT_THAT(commandWords("a; b|c $(d) `e` > f * ~"),
              ElementsAre("a;", "b|c", "$(d)", "`e`", ">", "f", "*", "~"));
}

TEST(ScriptInterpreter, isTheUsersCommand) {
  UserDefaults defaults;
  FakeProcessRunner processes;
  defaults.setString("ScriptInterpreter", "ssh mac osascript -s s -");
  EXPECT_THAT(scriptInterpreterWords(defaults), ElementsAre("ssh", "mac", "osascript", "-s", "s", "-"));
  EXPECT_EQ(makeScriptRunner(defaults, processes)->command(), "ssh mac osascript -s s -");
}

TEST(ScriptInterpreter, failsAtOnceWhereThereIsNone) {
  NoScriptRunner none;
  const ScriptOutcome outcome = none.run("anything");
  EXPECT_FALSE(none.hasInterpreter());
  EXPECT_FALSE(outcome.succeeded);
  EXPECT_EQ(outcome.error.text, "There is no AppleScript interpreter on this machine");
  EXPECT_EQ(none.command(), "");
}

TEST(ScriptInterpreter, getsTheScriptOnItsStandardInputAndItsArgumentsUnchanged) {
  FakeProcessRunner processes([](const auto&) { return FakeProcessRunner::printing("{\"a\", {1, 2}}\n"); });
  InterpreterScriptRunner runner({"ssh", "mac; rm -rf", "$(x)"}, processes);
  const ScriptOutcome outcome = runner.run("tell \"x\"\nend");
  ASSERT_TRUE(outcome.succeeded);
  EXPECT_EQ(outcome.result, Value(Array{"a", Array{1, 2}}));
  ASSERT_EQ(processes.requests().size(), 1u);
  const ProcessRequest& request = processes.requests()[0];
  EXPECT_EQ(request.program, "ssh");
  EXPECT_THAT(request.arguments, ElementsAre("mac; rm -rf", "$(x)"));
  EXPECT_EQ(request.input, "tell \"x\"\nend");
  EXPECT_EQ(request.timeout, 120s);
}

TEST(ScriptInterpreter, thatPrintsNothingReturnsNil) {
  FakeProcessRunner processes([](const auto&) { return FakeProcessRunner::printing(""); });
  const ScriptOutcome outcome = InterpreterScriptRunner({"x"}, processes).run("s");
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_TRUE(outcome.result.isNil());
}

TEST(ScriptInterpreter, isAskedOnceWhenItHangs) {
  FakeProcessRunner processes([](const auto&) { return ended(Ending::TimedOut); });
  InterpreterScriptRunner runner({"x"}, processes);
  const ScriptError first = runner.run("s").error;
  EXPECT_EQ(first.text, "The script interpreter did not answer in time");
  EXPECT_EQ(first.failure, ScriptFailure::Unusable);
  for (int i = 1; i < 5000; ++i) {
    const ScriptOutcome outcome = runner.run("s");
    ASSERT_FALSE(outcome.succeeded);
    ASSERT_EQ(outcome.error.failure, ScriptFailure::NotTried);
  }
  EXPECT_EQ(processes.requests().size(), 1u);
  runner.beginCommand(std::nullopt);
  EXPECT_FALSE(runner.run("s").succeeded);
  EXPECT_EQ(processes.requests().size(), 2u) << "the next command asks again";
}

TEST(ScriptInterpreter, isTriedOnceWhenItCannotBeStarted) {
  FakeProcessRunner processes;
  InterpreterScriptRunner runner({"x"}, processes);
  EXPECT_EQ(runner.run("s").error.failure, ScriptFailure::Unusable);
  EXPECT_EQ(runner.run("s").error.failure, ScriptFailure::NotTried);
  EXPECT_EQ(processes.requests().size(), 1u);
}

// Each script takes a second of a clock that only this moves.
class SlowInterpreter : public testing::Test {
 protected:
  // How many of the scripts were answered, timed out and were not tried.
  std::vector<int> runMany(int scripts) {
    std::vector<int> outcomes(3);
    for (int i = 0; i < scripts; ++i) {
      const ScriptOutcome outcome = runner.run("s");
      if (outcome.succeeded) ++outcomes[0];
      if (outcome.error.failure == ScriptFailure::Unusable) {
        ++outcomes[1];
        why = outcome.error.text;
      }
      if (outcome.error.failure == ScriptFailure::NotTried) ++outcomes[2];
    }
    return outcomes;
  }
  std::chrono::steady_clock::time_point now{};
  FakeProcessRunner processes{[this](const auto& request) {
    now += std::min<std::chrono::milliseconds>(request.timeout, 1s);
    return request.timeout < 1s ? ended(Ending::TimedOut) : FakeProcessRunner::printing("1");
  }};
  InterpreterScriptRunner runner{{"x"}, processes, kScriptTimeout, [this] { return now; }};
  std::string why;
};

TEST_F(SlowInterpreter, isNotUsedAgainAfterTheTimeOfACommand) {
  runner.beginCommand(120s);
  const auto begin = now;
  EXPECT_THAT(runMany(5000), ElementsAre(120, 1, 4879));
  EXPECT_EQ(why, "The script interpreter is too slow: it ran 120 scripts, and then the time was over");
  EXPECT_EQ(now - begin, 120s);
  runner.beginCommand(120s);
  EXPECT_TRUE(runner.run("s").succeeded) << "the next command asks again";
}

TEST_F(SlowInterpreter, isStoppedInTheMiddleOfTheLastScript) {
  runner.beginCommand(2500ms);
  const auto begin = now;
  EXPECT_THAT(runMany(10), ElementsAre(2, 1, 7));
  EXPECT_EQ(now - begin, 2500ms);
  EXPECT_EQ(processes.requests().at(0).timeout, 2500ms);
  EXPECT_EQ(processes.requests().at(2).timeout, 500ms);
}

TEST_F(SlowInterpreter, hasNoLimitUnlessOneIsSet) {
  runner.beginCommand(std::nullopt);
  EXPECT_THAT(runMany(1000), ElementsAre(1000, 0, 0));
  EXPECT_EQ(processes.requests().back().timeout, kScriptTimeout);
}

// Signals when it is asked to run a program.
class TellingRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest& request) override {
    asked = true;
    return processes_.run(request);
  }
  std::atomic<bool> asked{false};

 private:
  SystemProcessRunner processes_;
};

TEST(ScriptInterpreter, isStoppedAtTheEndOfTheProgram) {
  TellingRunner processes;
  InterpreterScriptRunner runner({"sleep", "600"}, processes);
  std::thread ending([&] {
    while (!processes.asked) std::this_thread::yield();
    runner.end();
  });
  const ScriptOutcome stopped = runner.run("s");
  ending.join();
  EXPECT_FALSE(stopped.succeeded);
  EXPECT_EQ(stopped.error.text, "The server ends");
  runner.beginCommand(std::nullopt);
  EXPECT_EQ(runner.run("s").error.failure, ScriptFailure::NotTried) << "for good";
}

TEST(ScriptInterpreter, thatFailsIsAskedAgain) {
  FakeProcessRunner processes([](const auto&) { return ended(Ending::Killed, "signal 9"); });
  InterpreterScriptRunner runner({"x"}, processes);
  EXPECT_EQ(runner.run("s").error.text, "The script interpreter died: signal 9");
  EXPECT_FALSE(runner.run("s").succeeded);
  EXPECT_EQ(processes.requests().size(), 2u);
}

TEST(ScriptInterpreter, isQuotedInPartWhenItsErrorIsLong) {
  FakeProcessRunner processes([](const auto&) { return ended(Ending::Killed, std::string(1 << 20, 'x')); });
  InterpreterScriptRunner runner({"x"}, processes);
  EXPECT_LT(runner.run("s").error.text.size(), kLongestScriptErrorText + 100);
}

TEST(ScriptInterpreter, reportsWhyItFailed) {
  ProcessResult answer;
  FakeProcessRunner processes([&answer](const auto&) { return answer; });
  InterpreterScriptRunner runner({"x"}, processes);
  answer = ended(Ending::TooMuchOutput);
  EXPECT_EQ(runner.run("s").error.text, "The script interpreter printed too much");
  answer = ended(Ending::NotStarted, "No such file or directory");
  EXPECT_EQ(runner.run("s").error.text,
            "The script interpreter could not be started: No such file or directory");
  runner.beginCommand(std::nullopt);
  answer = ended(Ending::Exited, "", 3);
  EXPECT_EQ(runner.run("s").error.text, "the interpreter ended with status 3");
  answer =
      ended(Ending::Exited, "0:17: execution error: iPhoto got an error: Can't get album id 5. (-1728)\n", 1);
  const ScriptError error = runner.run("s").error;
  EXPECT_EQ(error.number, -1728);
  EXPECT_FALSE(error.isSyntaxError);
  answer = ended(Ending::Exited, "0:4: syntax error: Expected end of line. (-2741)", 1);
  EXPECT_TRUE(runner.run("s").error.isSyntaxError);
}

// Real children.
TEST(ScriptInterpreter, boundsTimeAndOutputOfRealPrograms) {
  SystemProcessRunner processes;
  InterpreterScriptRunner hanging({"sleep", "600"}, processes, 100ms);
  EXPECT_THAT(hanging.run("s").error.text, HasSubstr("did not answer in time"));
  InterpreterScriptRunner dying({"sh", "-c", "kill -9 $$"}, processes);
  EXPECT_THAT(dying.run("s").error.text, HasSubstr("died"));
  InterpreterScriptRunner endless({"cat", "/dev/zero"}, processes);
  EXPECT_THAT(endless.run("s").error.text, HasSubstr("too much"));
  InterpreterScriptRunner missing({"/no/such/interpreter"}, processes);
  EXPECT_THAT(missing.run("s").error.text, HasSubstr("could not be started"));
  InterpreterScriptRunner echo({"cat"}, processes);
  EXPECT_EQ(echo.run("\"text with \\\"quotes\\\"\"").result, Value("text with \"quotes\""));
}

TEST(ScriptInterpreter, isStartedWithoutAShell) {
  TemporaryFolder folder;
  const std::string trap = (folder.path() / "trap").string();
  SystemProcessRunner processes;
  InterpreterScriptRunner runner(commandWords("cat ; touch " + trap + " & $(touch " + trap + ")"), processes);
  static_cast<void>(runner.run("`touch " + trap + "`"));
  EXPECT_FALSE(std::filesystem::exists(trap));
}

// Answers on the asking thread and reports each question to the test.
class CountingRunner final : public ProcessRunner {
 public:
  explicit CountingRunner(ProcessResult answer) : answer_(std::move(answer)) {}
  ProcessResult run(const ProcessRequest& request) override {
    const std::lock_guard lock(mutex_);
    ++asked_;
    thread_ = std::this_thread::get_id();
    input_ = request.input;
    changed_.notify_all();
    return answer_;
  }
  // Waits until it was asked that often; false after a long time.
  bool wasAsked(int times, std::chrono::milliseconds longest = 30s) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longest, [&] { return asked_ >= times; });
  }
  int asked() {
    const std::lock_guard lock(mutex_);
    return asked_;
  }
  void answerNow(ProcessResult answer) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(answer);
  }
  std::string input() {
    const std::lock_guard lock(mutex_);
    return input_;
  }
  std::thread::id thread() {
    const std::lock_guard lock(mutex_);
    return thread_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  ProcessResult answer_;
  int asked_ = 0;
  std::string input_;
  std::thread::id thread_;
};

// Gives each question the next answer, and the last answer again, once the test lets it.
class ScriptedRunner final : public ProcessRunner {
 public:
  explicit ScriptedRunner(std::vector<ProcessResult> answers) : answers_(std::move(answers)) {}
  ProcessResult run(const ProcessRequest& request) override {
    std::unique_lock lock(mutex_);
    const std::size_t question = asked_++;
    changed_.notify_all();
    while (question >= allowed_ && !request.canceled()) changed_.wait_for(lock, 1ms);
    return answers_.at(std::min(question, answers_.size() - 1));
  }
  void letAnswer(std::size_t answers) {
    const std::lock_guard lock(mutex_);
    allowed_ += answers;
    changed_.notify_all();
  }
  // Lets a question be answered and waits for the one after it: then the answer was taken.
  [[nodiscard]] bool nextQuestion() {
    letAnswer(1);
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, 30s, [&] { return asked_ > allowed_; });
  }

 private:
  const std::vector<ProcessResult> answers_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t asked_ = 0;
  std::size_t allowed_ = 0;
};

class ReportRecorder final {
 public:
  RemoteApplications::Report report() {
    return [this](const std::string& why) {
      const std::lock_guard lock(mutex_);
      reports_.push_back(why);
    };
  }
  std::vector<std::string> all() {
    const std::lock_guard lock(mutex_);
    return reports_;
  }
  std::size_t count() { return all().size(); }

 private:
  std::mutex mutex_;
  std::vector<std::string> reports_;
};

const RemoteApplications::Report kNoReport = [](const std::string&) {};

TEST(RemoteApplications, areListedWithTheLocalOnes) {
  FakeRunningApplications local({"bash"});
  CountingRunner processes(FakeProcessRunner::printing("{\"Finder\", \"iPhoto\"}\n"));
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport, 1ms);
  static_cast<void>(applications.names());
  // The second question comes after the first answer was taken.
  ASSERT_TRUE(processes.wasAsked(2));
  EXPECT_THAT(applications.names(), ElementsAre("bash", "Finder", "iPhoto"));
  EXPECT_EQ(processes.input(), "tell application \"System Events\" to name of every application process");
  EXPECT_NE(processes.thread(), std::this_thread::get_id());
}

// One failure changes nothing; after three in a row the user gets the reason.
TEST(RemoteApplications, stayAsTheyWereUntilThreeQuestionsHaveFailed) {
  FakeRunningApplications local({"bash"});
  ReportRecorder reports;
  for (const auto& failure :
       {ended(Ending::TimedOut), ended(Ending::Killed), ended(Ending::Exited, "Connection refused", 255),
        FakeProcessRunner::printing("rubbish"), FakeProcessRunner::printing(""),
        FakeProcessRunner::printing("{\"iPhoto\", \"Find"), FakeProcessRunner::printing("{1, 2}")}) {
    ScriptedRunner processes({FakeProcessRunner::printing("{\"iPhoto\"}\n"), failure, failure,
                              FakeProcessRunner::printing("{\"iPhoto\", \"Dock\"}\n"), failure, failure,
                              failure, failure});
    RemoteApplications applications(local, {"ssh"}, processes, reports.report(), 1ms);
    static_cast<void>(applications.names());
    const std::size_t before = reports.count();
    for (int question = 2; question <= 8; ++question) {
      // The question comes after the answer to the one before was taken.
      ASSERT_TRUE(processes.nextQuestion());
      const bool isGone = question == 8;
      const bool isDocked = question >= 5 && !isGone;
      EXPECT_EQ(applications.names().size(), 1u + (isGone ? 0 : 1) + (isDocked ? 1 : 0)) << question;
      EXPECT_EQ(reports.count() - before, isGone ? 1u : 0u) << question;
    }
  }
  EXPECT_THAT(reports.all(),
              ElementsAre("the script interpreter did not answer in time", "the script interpreter died",
                          "Connection refused", HasSubstr("list of names"), HasSubstr("list of names"),
                          HasSubstr("list of names"), HasSubstr("list of names")));
}

// Hangs until it is canceled, for half a minute at most.
class HangingRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest& request) override {
    started = true;
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!request.canceled() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    wasCanceled = request.canceled();
    return ended(Ending::Killed);
  }
  std::atomic<bool> started{false};
  std::atomic<bool> wasCanceled{false};
};

TEST(RemoteApplications, endARunningInterpreter) {
  FakeRunningApplications local({"bash"});
  HangingRunner processes;
  {
    RemoteApplications applications(local, {"ssh"}, processes, kNoReport);
    static_cast<void>(applications.names());
    while (!processes.started) std::this_thread::yield();
    EXPECT_THAT(applications.names(), ElementsAre("bash")) << "does not wait for the answer";
  }
  EXPECT_TRUE(processes.wasCanceled);
}

TEST(RemoteApplications, areWaitedForUntilTheFirstAnswer) {
  FakeRunningApplications local({"bash"});
  ScriptedRunner processes({ended(Ending::Exited, "busy", 255), ended(Ending::TimedOut),
                            FakeProcessRunner::printing("{\"iPhoto\"}\n")});
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport, 1ms);
  int waits = 0;
  const auto onWait = [&] {
    ++waits;
    EXPECT_THAT(applications.names(), ElementsAre("bash"));
    processes.letAnswer(3);
  };
  applications.awaitFirstAnswer(30s, onWait);
  EXPECT_THAT(applications.names(), ElementsAre("bash", "iPhoto"));
  applications.awaitFirstAnswer(30s, onWait);
  EXPECT_EQ(waits, 1);
}

TEST(RemoteApplications, areNotWaitedForOnceTheyAreKnown) {
  FakeRunningApplications local;
  ScriptedRunner processes({FakeProcessRunner::printing("{}")});
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport, 1ms);
  static_cast<void>(applications.names());
  ASSERT_TRUE(processes.nextQuestion());
  applications.awaitFirstAnswer(30s, [] { ADD_FAILURE() << "waits"; });
}

TEST(RemoteApplications, areWaitedForOnce) {
  FakeRunningApplications local;
  HangingRunner processes;
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport);
  int waits = 0;
  for (int i = 0; i < 3; ++i) applications.awaitFirstAnswer(1ms, [&waits] { ++waits; });
  EXPECT_EQ(waits, 1);
}

TEST(RemoteApplications, areNotWaitedForWhenTheyCannotBeAsked) {
  FakeRunningApplications local;
  ReportRecorder reports;
  ScriptedRunner processes({ended(Ending::NotStarted, "No such file or directory")});
  RemoteApplications applications(local, {"ssh"}, processes, reports.report(), 1ms);
  applications.awaitFirstAnswer(10min, [&] { processes.letAnswer(3); });
  ASSERT_TRUE(processes.nextQuestion());
  EXPECT_THAT(reports.all(),
              ElementsAre("the script interpreter could not be started: No such file or directory"));
}

TEST(RemoteApplications, asksNothingBeforeTheNamesAreWantedAndWhilePaused) {
  FakeRunningApplications local({"bash"});
  CountingRunner processes(FakeProcessRunner::printing("{}"));
  { const RemoteApplications applications(local, {"ssh"}, processes, kNoReport, 1ms); }
  EXPECT_EQ(processes.asked(), 0);
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport, 1ms);
  static_cast<void>(applications.names());
  ASSERT_TRUE(processes.wasAsked(2));
  applications.pause();
  // One question may be on its way.
  const int asked = processes.asked();
  EXPECT_FALSE(processes.wasAsked(asked + 2, 50ms));
}

TEST(RemoteApplications, areNotWaitedForWhenTheProgramEnds) {
  FakeRunningApplications local;
  HangingRunner processes;
  RemoteApplications applications(local, {"ssh"}, processes, kNoReport);
  applications.awaitFirstAnswer(10min, [&] { applications.end(); });
}

}  // namespace
}  // namespace moxtel
