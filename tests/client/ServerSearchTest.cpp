#include "client/ServerSearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/NetworkServerFinder.h"
#include "tests/fakes/FakeDnsSd.h"
#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct ServerSearchTest : testing::Test {
  FakeEventLoop loop;
  FakeDnsSd dnsSd;
  std::optional<std::vector<std::string>> result;

  std::unique_ptr<ServerSearch> search(std::size_t servers = 1000) {
    return std::make_unique<ServerSearch>(
        loop, dnsSd, ServerSearch::Limits{4s, 1s, 15s, servers},
        [this](const std::vector<FoundServer>& found) {
          result.emplace();
          for (const FoundServer& server : found) {
            result->push_back(server.name + " " + server.address + ":" + std::to_string(server.port));
          }
        });
  }
};

TEST_F(ServerSearchTest, endsAfterFourSecondsWithoutAnyServer) {
  const auto searching = search();
  EXPECT_THAT(dnsSd.browsedTypes(), ElementsAre("_moxtelserver._tcp."));
  loop.advance(3999ms);
  EXPECT_FALSE(result);
  loop.advance(1ms);
  EXPECT_THAT(*result, IsEmpty());
  EXPECT_THAT(dnsSd.browsedTypes(), IsEmpty());
}

TEST_F(ServerSearchTest, waitsASecondForFurtherServers) {
  const auto searching = search();
  dnsSd.find("Two");
  dnsSd.answer({"Two", "b.local", {"fe80::2", "10.0.0.2"}, 4251});
  loop.advance(999ms);
  EXPECT_FALSE(result);
  dnsSd.find("One");
  dnsSd.answer({"One", "a.local", {"10.0.0.1"}, 4250});
  loop.advance(1s);
  EXPECT_THAT(*result, ElementsAre("One 10.0.0.1:4250", "Two 10.0.0.2:4251"));
}

TEST_F(ServerSearchTest, waitsForTheAnswerOfEachServer) {
  const auto searching = search();
  dnsSd.find("One");
  dnsSd.find("Two");
  dnsSd.answer({"One", "a.local", {"10.0.0.1"}, 4250});
  loop.advance(4500ms);
  EXPECT_FALSE(result);
  dnsSd.failToResolve("Two", "Timeout reached");
  loop.advance(1s);
  EXPECT_THAT(*result, ElementsAre("One 10.0.0.1:4250"));
}

TEST_F(ServerSearchTest, forgetsAServerThatLeaves) {
  const auto searching = search();
  dnsSd.find("One");
  dnsSd.lose("One");
  EXPECT_THAT(dnsSd.resolvedNames(), IsEmpty());
  loop.advance(1s);
  EXPECT_THAT(*result, IsEmpty());
}

TEST_F(ServerSearchTest, usesTheHostNameWithoutAnIPv4Address) {
  const auto searching = search();
  dnsSd.find("One");
  dnsSd.answer({"One", "a.local", {"fe80::1"}, 4250});
  loop.advance(1s);
  EXPECT_THAT(*result, ElementsAre("One a.local:4250"));
}

TEST_F(ServerSearchTest, limitsTheNumberOfServers) {
  const auto searching = search(1);
  dnsSd.find("One");
  dnsSd.find("Two");
  EXPECT_THAT(dnsSd.resolvedNames(), ElementsAre("One"));
}

TEST_F(ServerSearchTest, stopsBrowsingWhenItHasFoundEnough) {
  const auto searching = search(3);
  dnsSd.find("One");
  dnsSd.answer({"One", "a.local", {"10.0.0.1"}, 4250});
  dnsSd.find("Two");
  dnsSd.lose("Two");
  EXPECT_THAT(dnsSd.browsedTypes(), ElementsAre("_moxtelserver._tcp."));
  dnsSd.find("Two");
  EXPECT_THAT(dnsSd.browsedTypes(), IsEmpty());
  dnsSd.failToResolve("Two", "it is gone");
  loop.advance(1s);
  EXPECT_THAT(*result, ElementsAre("One 10.0.0.1:4250"));
}

TEST_F(ServerSearchTest, endsAlthoughNeighborsComeAndGo) {
  const auto searching = search();
  dnsSd.find("One");
  dnsSd.answer({"One", "a.local", {"10.0.0.1"}, 4250});
  for (int i = 0; i < 29; ++i) {
    dnsSd.find("Two");
    loop.advance(500ms);
    dnsSd.lose("Two");
  }
  EXPECT_FALSE(result);
  loop.advance(500ms);
  EXPECT_THAT(*result, ElementsAre("One 10.0.0.1:4250"));
}

TEST(OnlyServerOf, isTheSingleOne) {
  const auto found = onlyServerOf({{"One", "a.local", "10.0.0.1", 4251}});
  EXPECT_EQ(std::get<ServerAddress>(found).host, "10.0.0.1");
  EXPECT_EQ(std::get<ServerAddress>(found).port, 4251);
}

TEST(OnlyServerOf, isMissingAmongSeveral) {
  EXPECT_EQ(
      std::get<std::string>(onlyServerOf({{"A", "a.local", "10.0.0.1", 1}, {"B", "b.local", "10.0.0.2", 2}})),
      "several servers were found; name one with --host and --port: \"A\" (10.0.0.1, port 1) \"B\" "
      "(10.0.0.2, port 2)");
  EXPECT_EQ(std::get<std::string>(onlyServerOf({})),
            "no server was found on the network; name one with --host");
}

}  // namespace
}  // namespace moxtel
