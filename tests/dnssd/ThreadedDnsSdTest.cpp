#include "dnssd/ThreadedDnsSd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "tests/fakes/FakeDnsSd.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr EventLoop::Duration kPatience = 5s;

// The test's thread is the caller's; run() lends it to the loop until a test's function ends that.
struct ThreadedDnsSdTest : testing::Test {
  AvahiLoop loop;
  AvahiLoop* inside = nullptr;
  FakeDnsSd* backEnd = nullptr;
  std::vector<std::string> told;

  std::unique_ptr<ThreadedDnsSd> make(AvailabilityChanged changed = {}) {
    auto ready = std::make_shared<std::promise<void>>();
    auto made = std::make_unique<ThreadedDnsSd>(
        loop,
        [this, ready](AvahiLoop& threadLoop, const AvailabilityChanged& tell) {
          auto fake = std::make_unique<FakeDnsSd>();
          inside = &threadLoop;
          backEnd = fake.get();
          tell({Availability::Kind::Available, "here"});
          ready->set_value();
          return fake;
        },
        std::move(changed), kPatience);
    ready->get_future().wait();
    return made;
  }
  void onThread(EventLoop::Task task) { EXPECT_TRUE(inside->performAndWait(std::move(task))); }
};

TEST_F(ThreadedDnsSdTest, worksOnItsThreadAndTellsOnTheCallers) {
  const auto dnsSd = make();
  std::thread::id toldOn;
  const auto publication = dnsSd->publish({"Photos", "_x._tcp.", 4250}, [&](const PublicationState& state) {
    toldOn = std::this_thread::get_id();
    told.push_back(state.name);
    loop.quit();
  });
  onThread([&] {
    EXPECT_NE(std::this_thread::get_id(), std::thread::id());
    ASSERT_EQ(backEnd->published().size(), 1U);
    EXPECT_EQ(backEnd->published()[0].port, 4250);
    backEnd->tell({PublicationState::Kind::Published, "Photos", "fake"});
  });
  EXPECT_THAT(told, testing::IsEmpty());
  loop.run();
  EXPECT_THAT(told, ElementsAre("Photos"));
  EXPECT_EQ(toldOn, std::this_thread::get_id());
}

TEST_F(ThreadedDnsSdTest, tellsItsAvailability) {
  const auto dnsSd = make([&](const Availability& availability) {
    told.push_back(availability.reason);
    loop.quit();
  });
  loop.run();
  EXPECT_THAT(told, ElementsAre("here"));
}

TEST_F(ThreadedDnsSdTest, hasWithdrawnAServiceWhenItsPublicationIsDestroyed) {
  const auto dnsSd = make();
  auto publication = dnsSd->publish({"Photos", "_x._tcp.", 1}, {});
  publication.reset();
  onThread([&] { EXPECT_TRUE(backEnd->published().empty()); });
}

TEST_F(ThreadedDnsSdTest, saysMoreIsComingForAllButTheLastOfABatch) {
  const auto dnsSd = make();
  const auto browser = dnsSd->browse("_x._tcp.", {[&](const std::string& name, bool more) {
                                                    told.push_back("+" + name + (more ? " more" : ""));
                                                  },
                                                  [&](const std::string& name, bool more) {
                                                    told.push_back("-" + name + (more ? " more" : ""));
                                                    loop.quit();
                                                  }});
  onThread([&] {
    backEnd->find("One");
    backEnd->find("Two");
    backEnd->lose("One");
  });
  loop.run();
  EXPECT_THAT(told, ElementsAre("+One more", "+Two more", "-One"));
}

TEST_F(ThreadedDnsSdTest, tellsNothingOnceTheObjectIsDestroyed) {
  const auto dnsSd = make();
  const auto note = [&](const auto&...) { told.emplace_back("told"); };
  auto publication = dnsSd->publish({"Photos", "_x._tcp.", 1}, note);
  auto browser = dnsSd->browse("_x._tcp.", {note, note});
  auto resolution = dnsSd->resolve("Photos", "_x._tcp.", 5s, {note, note});
  onThread([&] {
    backEnd->tell({PublicationState::Kind::Published, "Photos", "fake"});
    backEnd->find("One");
    backEnd->answer({"Photos", "a.local", {}, 1});
  });
  publication.reset();
  browser.reset();
  resolution.reset();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(told, testing::IsEmpty());
}

TEST_F(ThreadedDnsSdTest, tellsNothingOfABatchAfterItsBrowserWasDestroyed) {
  const auto dnsSd = make();
  std::unique_ptr<Browser> browser;
  browser = dnsSd->browse("_x._tcp.", {[&](const std::string& name, bool) {
                                         told.push_back(name);
                                         browser.reset();
                                         loop.post([&] { loop.quit(); });
                                       },
                                       {}});
  onThread([&] {
    backEnd->find("One");
    backEnd->find("Two");
  });
  loop.run();
  EXPECT_THAT(told, ElementsAre("One"));
}

TEST_F(ThreadedDnsSdTest, tellsNothingOnceItIsDestroyedItself) {
  auto dnsSd = make([&](const Availability&) { told.emplace_back("told"); });
  dnsSd.reset();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(told, testing::IsEmpty());
}

TEST_F(ThreadedDnsSdTest, leavesAThreadThatIsStuckToItself) {
  std::promise<void> stuck;
  std::promise<void> release;
  auto released = std::make_shared<std::shared_future<void>>(release.get_future().share());
  std::promise<void> over;
  auto dnsSd = std::make_unique<ThreadedDnsSd>(
      loop,
      [&stuck, &over, released](AvahiLoop&, const AvailabilityChanged& tell) -> std::unique_ptr<DnsSd> {
        stuck.set_value();
        released->wait();
        tell({Availability::Kind::Available, "late"});
        over.set_value();
        return std::make_unique<FakeDnsSd>();
      },
      [&](const Availability&) { told.emplace_back("told"); }, 10ms);
  auto publication = dnsSd->publish({"Photos", "_x._tcp.", 1}, {});
  stuck.get_future().wait();
  publication.reset();
  dnsSd.reset();
  release.set_value();
  over.get_future().wait();
  loop.post([&] { loop.quit(); });
  loop.run();
  EXPECT_THAT(told, testing::IsEmpty());
}

}  // namespace
}  // namespace moxtel
