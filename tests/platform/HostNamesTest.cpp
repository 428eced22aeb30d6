#include "platform/system/HostNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

namespace moxtel {
namespace {

using testing::Optional;

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
  EXPECT_THAT(nameOfHost("127.0.0.1"), Optional(testing::HasSubstr("localhost")));
}

TEST(HostNames, findsNoNameForAnInvalidAddress) {
  for (const char* address : {"", "localhost", "1.2.3", "::1", "1.2.3.4.5", "127.0.0.1 "}) {
    EXPECT_EQ(nameOfHost(address), std::nullopt) << address;
  }
}

// Asks and waits for the answer.
std::optional<std::string> answerTo(std::function<std::optional<std::string>()> question) {
  const auto answer = std::make_shared<std::promise<std::optional<std::string>>>();
  const bool isAsked = ask(std::move(question),
                           [answer](std::optional<std::string> text) { answer->set_value(std::move(text)); });
  return isAsked ? answer->get_future().get() : std::nullopt;
}

TEST(Ask, passesTheAnswerOn) {
  EXPECT_THAT(answerTo([] { return std::optional<std::string>("host"); }), Optional(std::string("host")));
  EXPECT_EQ(answerTo([] { return std::optional<std::string>(); }), std::nullopt);
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

TEST(Ask, rejectsQuestionsWhileManyAreUnanswered) {
  SlowQuestion slow;
  const auto drop = [](const std::optional<std::string>&) {};
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(ask(slow.question(), drop));
  EXPECT_FALSE(ask([] { return std::optional<std::string>("never asked"); }, drop));
  slow.letGo();
  // Once those have ended, questions are asked again.
  std::optional<std::string> answer;
  while (!answer) answer = answerTo([] { return std::optional<std::string>("asked"); });
  EXPECT_EQ(answer, "asked");
}

}  // namespace
}  // namespace moxtel
