#include "app/ConnectionLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class ConnectionLinesTest : public testing::Test {
 protected:
  // With a name server that answers when the test says so.
  void start(std::chrono::milliseconds limit) {
    lines = std::make_unique<ConnectionLines>(
        [this](const std::string& text) {
          const std::lock_guard lock(mutex);
          shown.push_back(text);
          changed.notify_all();
        },
        [answer = answer.get_future().share()](const std::string&) { return answer.get(); }, limit);
  }
  // Waits for that number of lines, 20 seconds at most, and returns all.
  std::vector<std::string> waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, 20s, [&] { return shown.size() >= count; });
    return shown;
  }

  std::promise<std::optional<std::string>> answer;
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> shown;
  std::unique_ptr<ConnectionLines> lines;
};

TEST_F(ConnectionLinesTest, waitForTheNameAndKeepTheirOrder) {
  start(1h);
  lines->connected("192.0.2.7", std::nullopt);
  lines->disconnected();
  EXPECT_EQ(lines->client(), std::nullopt);
  answer.set_value("ipad.local");
  EXPECT_THAT(waitFor(2),
              ElementsAre("Connected to Moxtel on 'ipad'", "Lost connection to Moxtel on 'ipad'"));
}

TEST_F(ConnectionLinesTest, doNotWaitLongerThanTheLimit) {
  start(1ms);
  lines->connected("192.0.2.7", std::nullopt);
  EXPECT_THAT(waitFor(1), ElementsAre("Connected to Moxtel on '192.0.2.7'"));
  EXPECT_EQ(lines->client(), "192.0.2.7");
  answer.set_value("too.late");
  lines->disconnected();
  EXPECT_THAT(waitFor(2), ElementsAre(testing::_, "Lost connection to Moxtel on '192.0.2.7'"));
}

// All names are looked up at once, so that many clients with a slow name server take no longer than one.
TEST_F(ConnectionLinesTest, waitForAllNamesAtTheSameTime) {
  start(1h);
  for (int i = 0; i < 10; ++i) lines->connected("192.0.2." + std::to_string(i), std::nullopt);
  answer.set_value("ipad");
  EXPECT_EQ(waitFor(10).size(), 10u);
}

TEST_F(ConnectionLinesTest, endWithoutWaitingForNames) {
  start(1h);
  lines->connected("192.0.2.7", std::nullopt);
  lines->disconnected();
  lines.reset();
  EXPECT_THAT(shown,
              ElementsAre("Connected to Moxtel on '192.0.2.7'", "Lost connection to Moxtel on '192.0.2.7'"));
  answer.set_value(std::nullopt);
}

TEST_F(ConnectionLinesTest, cutALongName) {
  start(1h);
  lines->connected("192.0.2.7", std::string(600, 'a'));
  EXPECT_THAT(waitFor(1), ElementsAre("Connected to Moxtel on '" + std::string(500, 'a') + "…'"));
  answer.set_value(std::nullopt);
}

TEST_F(ConnectionLinesTest, shortenNamesAtTheFirstDotUnlessTheyBeginWithOne) {
  start(1h);
  lines->connected("192.0.2.1", "ipad.local");
  lines->connected("192.0.2.2", "ipad");
  lines->connected("192.0.2.3", ".ipad.local");
  EXPECT_THAT(waitFor(3), ElementsAre("Connected to Moxtel on 'ipad'", "Connected to Moxtel on 'ipad'",
                                      "Connected to Moxtel on '.ipad.local'"));
}

TEST_F(ConnectionLinesTest, haveNoNameOfAForgottenClient) {
  start(1h);
  lines->connected("192.0.2.7", std::nullopt);
  lines->forgetClients();
  lines->disconnected();
  answer.set_value("ipad.local");
  EXPECT_THAT(waitFor(2), ElementsAre("Connected to Moxtel on 'ipad'", "Lost connection to Moxtel"));
}

TEST_F(ConnectionLinesTest, haveNoNameWithTwoKnownClientsAndKeepBoth) {
  start(1h);
  lines->connected("192.0.2.7", "ipad");
  lines->connected("192.0.2.8", "phone");
  lines->disconnected();
  lines->disconnected();
  EXPECT_THAT(waitFor(4),
              ElementsAre(testing::_, testing::_, "Lost connection to Moxtel", "Lost connection to Moxtel"));
}

TEST_F(ConnectionLinesTest, haveNoNameWithoutAKnownClient) {
  start(1h);
  lines->disconnected();
  EXPECT_THAT(waitFor(1), ElementsAre("Lost connection to Moxtel"));
}

}  // namespace
}  // namespace moxtel
