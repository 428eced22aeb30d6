#include "platform/system/HostNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <future>
#include <optional>
#include <string>

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::Optional;

constexpr auto kLong = 60s;

TEST(HostNames, interfacesCanBeWatched) { EXPECT_EQ(whyInterfacesCannotBeWatched(), ""); }

TEST(HostNames, returnsThisMachinesName) {
  std::array<char, 256> name{};
  ASSERT_EQ(::gethostname(name.data(), name.size() - 1), 0);
  EXPECT_EQ(currentHostName(), name.data());
}

TEST(HostNames, givesThisMachinesAddressesAsDottedQuads) {
  for (const std::string& address : localIPv4Addresses()) {
    EXPECT_EQ(std::count(address.begin(), address.end(), '.'), 3) << address;
  }
}

TEST(HostNames, findsTheNameOfTheLoopbackAddress) {
  EXPECT_THAT(nameOfHost("127.0.0.1", kLong), Optional(testing::HasSubstr("localhost")));
}

TEST(HostNames, findsNoNameForAnInvalidAddress) {
  for (const char* address : {"", "localhost", "1.2.3", "::1", "1.2.3.4.5", "127.0.0.1 "}) {
    EXPECT_EQ(nameOfHost(address, kLong), std::nullopt) << address;
  }
}

TEST(AnswerWithin, givesAnAnswerThatComesInTime) {
  EXPECT_THAT(answerWithin(kLong, [] { return std::optional<std::string>("host"); }),
              Optional(std::string("host")));
  EXPECT_EQ(answerWithin(kLong, [] { return std::optional<std::string>(); }), std::nullopt);
}

// A question that waits until the test releases it; its thread owns all that it uses.
class SlowQuestion {
 public:
  auto question() const {
    return [gate = gate_]() -> std::optional<std::string> {
      gate.wait();
      return "late";
    };
  }
  void letGo() { open_.set_value(); }

 private:
  std::promise<void> open_;
  std::shared_future<void> gate_ = open_.get_future().share();
};

TEST(AnswerWithin, doesNotWaitLongerThanItsLimitAndDropsTheLateAnswer) {
  SlowQuestion slow;
  EXPECT_EQ(answerWithin(1ms, slow.question()), std::nullopt);
  slow.letGo();
}

TEST(AnswerWithin, rejectsQuestionsWhileManyAreUnanswered) {
  SlowQuestion slow;
  for (int i = 0; i < 16; ++i) EXPECT_EQ(answerWithin(0ms, slow.question()), std::nullopt);
  EXPECT_EQ(answerWithin(kLong, [] { return std::optional<std::string>("never asked"); }), std::nullopt);
  slow.letGo();
  // Once those have ended, questions are asked again.
  std::optional<std::string> answer;
  while (!answer) answer = answerWithin(kLong, [] { return std::optional<std::string>("asked"); });
  EXPECT_THAT(answer, Optional(std::string("asked")));
}

}  // namespace
}  // namespace moxtel
