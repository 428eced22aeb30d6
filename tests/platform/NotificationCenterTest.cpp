#include "platform/loop/NotificationCenter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace moxtel {
namespace {

using testing::ElementsAre;

TEST(NotificationCenter, callsObserversOfTheNameInTheOrderOfRegistration) {
  NotificationCenter center;
  std::vector<int> called;
  center.addObserver("GotData", [&](const Notification&) { called.push_back(1); });
  center.addObserver("ChangedConnection", [&](const Notification&) { called.push_back(2); });
  center.addObserver("GotData", [&](const Notification&) { called.push_back(3); });
  center.post("GotData", nullptr, {});
  center.post("gotdata", nullptr, {});
  EXPECT_THAT(called, ElementsAre(1, 3));
}

TEST(NotificationCenter, deliversNameSenderAndUserInfo) {
  NotificationCenter center;
  Notification got;
  center.addObserver("n", [&](const Notification& notification) { got = notification; });
  const int sender = 0;
  center.post("n", &sender, Dictionary{{"clientip", "10.0.0.1"}});
  EXPECT_EQ(got.name, "n");
  EXPECT_EQ(got.object, &sender);
  EXPECT_EQ(got.userInfo["clientip"], Value("10.0.0.1"));
  center.post("n", nullptr, {});
  EXPECT_TRUE(got.userInfo.isNil());
}

TEST(NotificationCenter, deliversOnThePostingThread) {
  NotificationCenter center;
  std::thread::id observedOn;
  center.addObserver("n", [&](const Notification&) { observedOn = std::this_thread::get_id(); });
  std::thread::id postedOn;
  std::thread([&] {
    postedOn = std::this_thread::get_id();
    center.post("n", nullptr, {});
  }).join();
  EXPECT_EQ(observedOn, postedOn);
}

TEST(NotificationCenter, forgetsARemovedObserver) {
  NotificationCenter center;
  int calls = 0;
  const auto token = center.addObserver("n", [&](const Notification&) { ++calls; });
  center.removeObserver(token);
  center.removeObserver(token);
  center.post("n", nullptr, {});
  EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, letsAnObserverRemoveItselfAndAddOthers) {
  NotificationCenter center;
  std::vector<int> called;
  NotificationCenter::Token token = 0;
  token = center.addObserver("n", [&](const Notification&) {
    called.push_back(1);
    center.removeObserver(token);
    center.addObserver("n", [&](const Notification&) { called.push_back(2); });
  });
  center.post("n", nullptr, {});
  EXPECT_THAT(called, ElementsAre(1));
  center.post("n", nullptr, {});
  EXPECT_THAT(called, ElementsAre(1, 2));
}

TEST(NotificationCenter, letsAnObserverPost) {
  NotificationCenter center;
  std::vector<int> called;
  center.addObserver("outer", [&](const Notification&) {
    center.post("inner", nullptr, {});
    called.push_back(1);
  });
  center.addObserver("inner", [&](const Notification&) { called.push_back(2); });
  center.post("outer", nullptr, {});
  EXPECT_THAT(called, ElementsAre(2, 1));
}

}  // namespace
}  // namespace moxtel
