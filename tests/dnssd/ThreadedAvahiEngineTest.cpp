#include "dnssd/ThreadedAvahiEngine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "platform/loop/CoreLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr EventLoop::Duration kPatience = 5s;

// The requests to the engine on the thread; used there only.
struct Recorded {
  std::vector<std::string> running;
  AvahiEngine::Happened happened;
  std::thread::id thread;
};

class RecordingEngine final : public AvahiEngine {
 public:
  explicit RecordingEngine(Recorded& recorded) : recorded_(recorded) {}
  Operation start(const AvahiRequest& request, Happened happened) override {
    recorded_.running.push_back(request.name);
    recorded_.happened = std::move(happened);
    recorded_.thread = std::this_thread::get_id();
    return {&recorded_, [name = request.name](Recorded* recorded) { std::erase(recorded->running, name); }};
  }

 private:
  Recorded& recorded_;
};

// The test's thread is the caller's; it runs the loop until a function of the test ends that.
struct ThreadedAvahiEngineTest : testing::Test {
  CoreLoop loop;
  Recorded recorded;
  AvahiLoop* inside = nullptr;
  std::vector<std::string> reported;

  std::unique_ptr<ThreadedAvahiEngine> make(AvahiEngine::StateChanged changed = {}) {
    std::promise<void> ready;
    auto engine = std::make_unique<ThreadedAvahiEngine>(
        loop,
        [&](AvahiLoop& threadLoop, const AvahiEngine::StateChanged& call) {
          inside = &threadLoop;
          call({AvahiState::Kind::Running, "here"});
          ready.set_value();
          return std::make_unique<RecordingEngine>(recorded);
        },
        std::move(changed), kPatience);
    ready.get_future().wait();
    return engine;
  }
  void onThread(const AvahiLoop::Task& task) {
    std::promise<void> done;
    inside->post([&] {
      task();
      done.set_value();
    });
    done.get_future().wait();
  }
  AvahiEvent event(const std::string& name) {
    AvahiEvent seen;
    seen.name = name;
    return seen;
  }
};

TEST_F(ThreadedAvahiEngineTest, worksOnItsThreadAndCallsOnTheCallers) {
  const auto engine = make();
  std::thread::id calledOn;
  const auto service =
      engine->start({AvahiRequest::Kind::Service, "_x._tcp", "Photos", 1}, [&](const AvahiEvent& seen) {
        calledOn = std::this_thread::get_id();
        reported.push_back(seen.name);
        loop.quit();
      });
  onThread([&] {
    EXPECT_EQ(recorded.thread, std::this_thread::get_id());
    EXPECT_THAT(recorded.running, ElementsAre("Photos"));
    recorded.happened(event("Established"));
  });
  EXPECT_THAT(reported, IsEmpty());
  loop.run();
  EXPECT_THAT(reported, ElementsAre("Established"));
  EXPECT_EQ(calledOn, std::this_thread::get_id());
  EXPECT_NE(recorded.thread, std::this_thread::get_id());
}

TEST_F(ThreadedAvahiEngineTest, reportsTheStateOfItsEngine) {
  const auto engine = make([&](const AvahiState& state) {
    reported.push_back(state.reason);
    loop.quit();
  });
  loop.run();
  EXPECT_THAT(reported, ElementsAre("here"));
}

TEST_F(ThreadedAvahiEngineTest, hasWithdrawnAServiceWhenItIsDestroyed) {
  const auto engine = make();
  auto service = engine->start({AvahiRequest::Kind::Service, "_x._tcp", "Photos", 1}, {});
  service.reset();
  EXPECT_THAT(recorded.running, IsEmpty());
}

TEST_F(ThreadedAvahiEngineTest, callsNothingOnceTheOperationIsDestroyed) {
  const auto engine = make();
  auto browser = engine->start({AvahiRequest::Kind::Browser, "_x._tcp", "", 0},
                               [&](const AvahiEvent&) { reported.emplace_back("called"); });
  onThread([&] { recorded.happened(event("One")); });
  browser.reset();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(ThreadedAvahiEngineTest, callsNothingAfterAFunctionDestroyedItsOperation) {
  const auto engine = make();
  AvahiEngine::Operation browser;
  browser = engine->start({AvahiRequest::Kind::Browser, "_x._tcp", "", 0}, [&](const AvahiEvent& seen) {
    browser.reset();
    reported.push_back(seen.name);
    loop.post([&] { loop.quit(); });
  });
  onThread([&] {
    recorded.happened(event("One"));
    recorded.happened(event("Two"));
  });
  loop.run();
  EXPECT_THAT(reported, ElementsAre("One"));
}

TEST_F(ThreadedAvahiEngineTest, callsNothingOnceItIsDestroyed) {
  auto engine = make([&](const AvahiState&) { reported.emplace_back("called"); });
  engine.reset();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(reported, IsEmpty());
}

TEST_F(ThreadedAvahiEngineTest, detachesAThreadThatIsStuck) {
  std::promise<void> stuck;
  std::promise<void> release;
  const auto released = release.get_future().share();
  std::promise<void> over;
  auto engine = std::make_unique<ThreadedAvahiEngine>(
      loop,
      [&stuck, &over, released](AvahiLoop&,
                                const AvahiEngine::StateChanged& call) -> std::unique_ptr<AvahiEngine> {
        stuck.set_value();
        released.wait();
        call({AvahiState::Kind::Running, "late"});
        over.set_value();
        return nullptr;
      },
      [&](const AvahiState&) { reported.emplace_back("called"); }, 10ms);
  auto service = engine->start({AvahiRequest::Kind::Service, "_x._tcp", "Photos", 1}, {});
  stuck.get_future().wait();
  service.reset();
  engine.reset();
  release.set_value();
  over.get_future().wait();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(reported, IsEmpty());
}

}  // namespace
}  // namespace moxtel
