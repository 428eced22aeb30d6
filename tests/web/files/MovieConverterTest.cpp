#include "web/files/MovieConverter.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "platform/files/FileCache.h"
#include "platform/system/Shortage.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/web/files/MovieTest.h"

namespace moxtel {
namespace {

using Step = MovieConverter::State::Step;

// Answers when the test lets it.
class HeldRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest& request) override {
    std::unique_lock lock(mutex_);
    ++started_;
    changed_.notify_all();
    while (!released_ && !request.canceled()) changed_.wait_for(lock, std::chrono::milliseconds(1));
    if (request.canceled()) return {ProcessResult::Ending::Killed, -1, {}, {}};
    request.onOutput("frame=1\nout_time_us=500000\nprogress=continue\n");
    std::ofstream(request.arguments.at(2)) << "made";
    return {ProcessResult::Ending::Exited, 0, {}, {}};
  }
  void release() {
    const std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }
  void awaitStarted(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return started_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool released_ = false;
  int started_ = 0;
};

// Lacks descriptors, as SystemProcessRunner notes it.
class ShortRunner final : public ProcessRunner {
 public:
  ProcessResult run(const ProcessRequest&) override {
    ++runs_;
    noteShortage(EMFILE);
    return {ProcessResult::Ending::NotStarted, -1, {}, "Too many open files"};
  }
  int runs() const { return runs_; }

 private:
  std::atomic<int> runs_{0};
};

class MovieConverterTest : public MovieTest {
 protected:
  FileCache cache_{folder_.path() / "cache", 100 << 20};
  // Until the movie is neither waiting nor being converted.
  static Step finished(MovieConverter& converter, const std::string& key) {
    while (true) {
      const Step step = converter.stateOf(key).step;
      if (step != Step::Waiting && step != Step::Converting) return step;
      std::this_thread::yield();
    }
  }
  std::string emptyFile(const std::string& name) {
    std::ofstream(folder_.path() / name) << "";
    return folder_.path() / name;
  }
};

TEST_F(MovieConverterTest, makesMoviesThatBrowsersPlay) {
  SystemProcessRunner runner;
  MovieConverter converter(cache_, runner, MOXTEL_MOVIE_CONVERTER);
  ASSERT_TRUE(converter.isAvailable());
  const std::string old = movie("old.avi", {"-c:v", "mjpeg", "-c:a", "pcm_u8"});
  converter.start("a.mp4", openRegularFile(old), "avi", 2);
  EXPECT_EQ(finished(converter, "a.mp4"), Step::Unknown);
  const OpenFile made = cache_.open("a.mp4");
  ASSERT_EQ(made.state, FileState::Open);
  properties::ByteSource source(made);
  const MovieKind kind = movieKindOf(source);
  EXPECT_EQ(kind.plays, MovieKind::Plays::Everywhere);
  EXPECT_FALSE(kind.isQuickTime);
  EXPECT_NEAR(kind.seconds, 2, 0.2);
  // The index comes before the data.
  const Bytes start = readStart(made, 4096);
  EXPECT_NE(properties::textOf(start).find("moov"), std::string::npos);
}

TEST_F(MovieConverterTest, failsForAFileThatIsNoMovie) {
  SystemProcessRunner runner;
  MovieConverter converter(cache_, runner, MOXTEL_MOVIE_CONVERTER);
  converter.start("a.mp4", openRegularFile(emptyFile("empty")), "avi", 0);
  EXPECT_EQ(finished(converter, "a.mp4"), Step::Failed);
  EXPECT_FALSE(cache_.has("a.mp4"));
  // It is not tried again.
  converter.start("a.mp4", openRegularFile(emptyFile("empty")), "avi", 0);
  EXPECT_EQ(converter.stateOf("a.mp4").step, Step::Failed);
}

TEST_F(MovieConverterTest, triesAgainAfterAShortage) {
  ShortRunner runner;
  MovieConverter converter(cache_, runner, "helper", "/bin/ffmpeg");
  for (int tries = 1; tries <= 2; ++tries) {
    converter.start("a.mp4", openRegularFile(emptyFile("any")), "mov", 1);
    EXPECT_EQ(finished(converter, "a.mp4"), Step::Unknown);
    EXPECT_EQ(runner.runs(), tries);
  }
}

TEST_F(MovieConverterTest, confinesAProgramThatWasTakenOver) {
  SystemProcessRunner runner;
  MovieConverter converter(cache_, runner, MOXTEL_MOVIE_CONVERTER, MOVIE_ATTACK);
  converter.start("a.mp4", openRegularFile(emptyFile("any")), "avi", 0);
  EXPECT_EQ(finished(converter, "a.mp4"), Step::Unknown);
  const FileContents made = readAll(cache_.open("a.mp4"), 1000);
  EXPECT_EQ(properties::textOf(made.bytes), "tried;");
}

TEST_F(MovieConverterTest, convertsOneAtATimeAndTellsItsProgress) {
  HeldRunner runner;
  MovieConverter converter(cache_, runner, "helper", "/bin/ffmpeg");
  const std::string file = emptyFile("any");
  converter.start("a", openRegularFile(file), "mov", 1);
  // It waits for no other movie.
  EXPECT_EQ(converter.stateOf("a").step, Step::Converting);
  converter.start("b", openRegularFile(file), "mov", 1);
  converter.start("b", openRegularFile(file), "mov", 1);
  runner.awaitStarted(1);
  EXPECT_EQ(converter.stateOf("a").step, Step::Converting);
  EXPECT_EQ(converter.stateOf("b").step, Step::Waiting);
  EXPECT_EQ(converter.stateOf("c").step, Step::Unknown);
  runner.release();
  EXPECT_EQ(finished(converter, "a"), Step::Unknown);
  EXPECT_EQ(finished(converter, "b"), Step::Unknown);
  EXPECT_TRUE(cache_.has("a") && cache_.has("b"));
}

TEST_F(MovieConverterTest, queuesABoundedNumber) {
  HeldRunner runner;
  MovieConverter converter(cache_, runner, "helper", "/bin/ffmpeg");
  const std::string file = emptyFile("any");
  for (int i = 0; i < 100; ++i) converter.start(std::to_string(i), openRegularFile(file), "mov", 1);
  EXPECT_NE(converter.stateOf(std::to_string(MovieConverter::kMostWaiting)).step, Step::Unknown);
  EXPECT_EQ(converter.stateOf(std::to_string(MovieConverter::kMostWaiting + 1)).step, Step::Unknown);
}

TEST_F(MovieConverterTest, dropsAMovieThatNobodyAsksForAnyMore) {
  HeldRunner runner;
  std::atomic<int> minutes{0};
  MovieConverter converter(cache_, runner, "helper", "/bin/ffmpeg", [&] {
    return std::chrono::steady_clock::time_point(std::chrono::minutes(minutes));
  });
  converter.start("a", openRegularFile(emptyFile("any")), "mov", 1);
  runner.awaitStarted(1);
  minutes = 3;
  converter.start("b", openRegularFile(emptyFile("any")), "mov", 1);
  runner.awaitStarted(2);
  runner.release();
  EXPECT_EQ(finished(converter, "b"), Step::Unknown);
  EXPECT_FALSE(cache_.has("a"));
  EXPECT_TRUE(cache_.has("b"));
  EXPECT_EQ(converter.stateOf("a").step, Step::Unknown);
}

TEST_F(MovieConverterTest, needsAProgramAndACache) {
  FakeProcessRunner runner;
  FileCache none(folder_.path() / "none", 0);
  EXPECT_FALSE(MovieConverter(none, runner, "helper", "/bin/ffmpeg").isAvailable());
  const std::string path = ::getenv("PATH");
  ::setenv("PATH", folder_.path().c_str(), 1);
  EXPECT_FALSE(MovieConverter(cache_, runner, "helper").isAvailable());
  ::setenv("PATH", path.c_str(), 1);
  EXPECT_TRUE(MovieConverter(cache_, runner, "helper").isAvailable());
}

}  // namespace
}  // namespace moxtel
