#include "web/files/PictureMaker.h"

#include <cerrno>
#include <fstream>

#include "platform/files/FileCache.h"
#include "platform/system/Shortage.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/web/files/RecordingResponder.h"

namespace moxtel {
namespace {

using Responder = std::shared_ptr<RecordingResponder>;

// Work that waits until the test lets it go on.
class Gate {
 public:
  void open() {
    const std::lock_guard lock(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }
  void pass() {
    std::unique_lock lock(mutex_);
    ++arrived_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOpen_; });
  }
  void awaitArrivals(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return arrived_ >= count; });
  }
  int arrived() {
    const std::lock_guard lock(mutex_);
    return arrived_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = false;
  int arrived_ = 0;
};

class PictureMakerTest : public testing::Test {
 protected:
  ~PictureMakerTest() override { gate_.open(); }

  // A request for a picture that is made of this text, once the gate is open.
  Responder ask(const std::string& key, const std::string& text) {
    auto responder = std::make_shared<RecordingResponder>();
    accepted_ = maker_.make(
        key,
        [this, text](PictureDecoder&) -> std::optional<Bytes> {
          gate_.pass();
          if (text.empty()) return std::nullopt;
          return Bytes(text.begin(), text.end());
        },
        responder, &PictureMakerTest::answer);
    return responder;
  }
  static void answer(const std::shared_ptr<HttpResponder>& responder,
                     const std::shared_ptr<const Bytes>& made) {
    HttpReply reply;
    reply.status = made ? 200 : 404;
    if (made) reply.body = std::string(made->begin(), made->end());
    responder->send(std::move(reply));
  }

  TemporaryFolder folder_;
  FileCache cache_{folder_.path() / "cache", 1000};
  FakeProcessRunner processes_;
  Gate gate_;
  PictureMaker maker_{cache_, processes_, "helper"};
  bool accepted_ = false;
};

TEST_F(PictureMakerTest, answersAndKeepsWhatItMade) {
  gate_.open();
  const Responder one = ask("a", "picture");
  EXPECT_EQ(one->body(), "picture");
  EXPECT_TRUE(cache_.has("a"));
}

TEST_F(PictureMakerTest, answersThatNothingCouldBeMade) {
  gate_.open();
  EXPECT_EQ(ask("a", "")->reply().status, 404);
  EXPECT_FALSE(cache_.has("a"));
}

TEST_F(PictureMakerTest, isBusyWhereItCannotMakeItForWantOfDescriptors) {
  const auto responder = std::make_shared<RecordingResponder>();
  const auto make = [](PictureDecoder&) -> std::optional<Bytes> {
    noteShortage(EMFILE);
    return std::nullopt;
  };
  EXPECT_TRUE(maker_.make("a", make, responder, &PictureMakerTest::answer));
  EXPECT_EQ(responder->reply().status, 503);
  gate_.open();
  EXPECT_EQ(ask("a", "")->reply().status, 404);
}

TEST_F(PictureMakerTest, makesAPictureOnceForAllWhoWait) {
  const Responder one = ask("a", "first");
  gate_.awaitArrivals(1);
  const Responder two = ask("a", "second");
  const Responder three = ask("a", "third");
  gate_.open();
  EXPECT_EQ(one->body(), "first");
  EXPECT_EQ(two->body(), "first");
  EXPECT_EQ(three->body(), "first");
  EXPECT_EQ(gate_.arrived(), 1);
}

TEST_F(PictureMakerTest, makesTwoAtATimeAndQueuesABoundedNumber) {
  std::vector<Responder> all;
  for (std::size_t i = 0; i < PictureMaker::kThreads + PictureMaker::kMostWaiting; ++i) {
    all.push_back(ask(std::to_string(i), "x"));
    EXPECT_TRUE(accepted_);
  }
  ask("one-more", "x");
  EXPECT_FALSE(accepted_);
  gate_.awaitArrivals(2);
  EXPECT_EQ(gate_.arrived(), 2);
  ask("0", "joins");
  EXPECT_TRUE(accepted_);
  gate_.open();
  for (const Responder& one : all) EXPECT_EQ(one->reply().status, 200);
}

TEST_F(PictureMakerTest, doesNotMakeWhatNobodyWaitsFor) {
  ask("busy-1", "x");
  ask("busy-2", "x");
  gate_.awaitArrivals(2);
  const Responder gone = ask("a", "x");
  const Responder waits = ask("b", "y");
  gone->leave();
  gate_.open();
  EXPECT_EQ(waits->body(), "y");
  EXPECT_FALSE(gone->isAnswered());
  EXPECT_FALSE(cache_.has("a"));
}

// The helper is killed when the last one leaves; somebody who comes then gets the picture all the same.
TEST_F(PictureMakerTest, beginsAgainForWhoCameAfterTheLastHadLeft) {
  std::atomic<int> runs{0};
  const auto first = std::make_shared<RecordingResponder>(), second = std::make_shared<RecordingResponder>();
  FakeProcessRunner helper([&](const ProcessRequest& request) {
    if (++runs > 1) return FakeProcessRunner::printing("", 1);
    first->leave();
    EXPECT_TRUE(request.canceled());
    gate_.pass();
    return ProcessResult{ProcessResult::Ending::Killed, -1, {}, {}};
  });
  std::ofstream(folder_.path() / "picture.png") << "\x89PNG\r\n\x1A\n and more";
  const auto file = std::make_shared<OpenFile>(openRegularFile(folder_.path() / "picture.png"));
  PictureMaker maker(cache_, helper, "helper");
  const auto make = [file](PictureDecoder& decoder) { return decoder.previewOf(*file, 10, 0); };
  EXPECT_TRUE(maker.make("a", make, first, &PictureMakerTest::answer));
  gate_.awaitArrivals(1);
  EXPECT_TRUE(maker.make("a", make, second, &PictureMakerTest::answer));
  gate_.open();
  EXPECT_EQ(second->reply().status, 404);
  EXPECT_EQ(runs, 2);
  EXPECT_FALSE(first->isAnswered());
}

}  // namespace
}  // namespace moxtel
