#include "net/WaitingClients.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using Id = WaitingClients::Id;
using Ending = WaitingClients::Ending;
using testing::ElementsAre;
using testing::Optional;

constexpr IPv4Address kA = 1;
constexpr IPv4Address kB = 2;
constexpr IPv4Address kC = 3;

class WaitingClientsTest : public testing::Test {
 protected:
  Id come(IPv4Address address) {
    const Id client = ++last;
    if (const auto removed = clients.arrived(client, address, now)) rejected.push_back(*removed);
    return client;
  }
  Id begin() { return clients.beginTurn(now).value_or(0); }
  // How the turn ends if nothing else happens, and after how many seconds.
  std::optional<std::pair<Ending, double>> ends() const {
    const auto end = clients.turnEnd();
    if (!end) return std::nullopt;
    return std::pair(end->how, std::chrono::duration<double>(end->at - now).count());
  }
  static auto endsWith(Ending how, double seconds) { return Optional(std::pair(how, seconds)); }
  void end(Ending how) {
    if (const auto removed = clients.endTurn(how, now)) rejected.push_back(*removed);
  }
  // The clients in the order in which they are served if each is disconnected.
  std::vector<Id> order() {
    std::vector<Id> served;
    while (const Id client = begin()) {
      served.push_back(client);
      end(Ending::Disconnected);
    }
    return served;
  }

  WaitingClients clients;
  WaitingClients::Moment now{1000s};
  Id last = 0;
  std::vector<Id> rejected;  // or disconnected
};

TEST_F(WaitingClientsTest, hasNoTurnWithoutAClient) { EXPECT_FALSE(clients.beginTurn(now)); }

TEST_F(WaitingClientsTest, keepsAClientForHoursWhileNoOtherWaits) {
  come(kA);
  begin();
  for (int hour = 0; hour < 100; ++hour) {
    now += 1h;
    EXPECT_FALSE(clients.turnEnd());
  }
  clients.handledRequest(now);
  now += 1000h;
  EXPECT_FALSE(clients.turnEnd());
}

TEST_F(WaitingClientsTest, disconnectsAClientWithoutARequestAfterTenSeconds) {
  come(kA);
  begin();
  now += 4s;
  come(kB);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 6));
}

TEST_F(WaitingClientsTest, disconnectsAnIdleClientAfterSixtySeconds) {
  come(kA);
  begin();
  now += 30s;
  clients.handledRequest(now);
  now += 59s;
  come(kB);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 1));
}

TEST_F(WaitingClientsTest, disconnectsAClientThatWasIdleForHoursWhenAnotherComes) {
  come(kA);
  begin();
  clients.handledRequest(now);
  now += 5h;
  come(kB);
  const auto end = clients.turnEnd();
  ASSERT_TRUE(end);
  EXPECT_EQ(end->how, Ending::Disconnected);
  EXPECT_LE(end->at, now);
}

TEST_F(WaitingClientsTest, keepsAnIdleClientWhenTheOneThatWaitedHasLeft) {
  come(kA);
  begin();
  now += 5h;
  clients.left(come(kB));
  EXPECT_FALSE(clients.turnEnd());
}

TEST_F(WaitingClientsTest, anotherConnectionReplacesAnIdleOneOfItsAddressAfterFiveSeconds) {
  const Id first = come(kA);
  begin();
  clients.handledRequest(now);
  come(kB);
  const Id second = come(kA);
  EXPECT_THAT(ends(), endsWith(Ending::Replaced, 5));
  now += 5s;
  end(Ending::Replaced);
  EXPECT_THAT(rejected, ElementsAre(first));
  EXPECT_EQ(begin(), second);
}

TEST_F(WaitingClientsTest, aClientOfAnotherAddressDoesNotReplaceAnIdleOne) {
  come(kA);
  begin();
  clients.handledRequest(now);
  come(kB);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 60));
}

TEST_F(WaitingClientsTest, aReplacementContinuesTheTurn) {
  come(kA);
  begin();
  come(kB);
  now += 50s;
  clients.handledRequest(now);
  come(kA);
  now += 5s;
  end(Ending::Replaced);
  begin();
  clients.handledRequest(now);
  EXPECT_THAT(ends(), endsWith(Ending::WaitsAgain, 5));
}

TEST_F(WaitingClientsTest, aReplacementHasItsOwnTimeForARequestAfterAClientThatSentOne) {
  come(kA);
  begin();
  clients.handledRequest(now);
  come(kB);
  come(kA);
  now += 9s;
  end(Ending::Replaced);
  begin();
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 10));
}

TEST_F(WaitingClientsTest, silentClientsOfOneAddressTogetherHaveTenSeconds) {
  come(kA);
  begin();
  come(kB);
  come(kA);
  come(kA);
  EXPECT_THAT(ends(), endsWith(Ending::Replaced, 5));
  now += 5s;
  end(Ending::Replaced);
  begin();
  EXPECT_EQ(clients.turnEnd()->at - now, 5s);
}

// The first one was silent for hours: no client waited, so its time to send a request did not count.
TEST_F(WaitingClientsTest, aReplacementOfASilentClientHasTimeForARequest) {
  come(kA);
  begin();
  now += 3h;
  come(kA);
  end(Ending::Replaced);
  begin();
  come(kB);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 10));
}

TEST_F(WaitingClientsTest, servesTheNextAddressWhenTheReplacementHasLeft) {
  come(kA);
  begin();
  const Id other = come(kB);
  const Id second = come(kA);
  now += 5s;
  end(Ending::Replaced);
  clients.left(second);
  EXPECT_EQ(begin(), other);
  come(kA);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 10));
}

TEST_F(WaitingClientsTest, aTurnIsNotContinuedOnceNobodyWaitedForIt) {
  come(kA);
  begin();
  const Id second = come(kA);
  now += 5s;
  end(Ending::Replaced);
  clients.left(second);
  EXPECT_FALSE(clients.beginTurn(now));
  come(kA);
  begin();
  come(kB);
  EXPECT_THAT(ends(), endsWith(Ending::Disconnected, 10));
}

TEST_F(WaitingClientsTest, aTurnEndsSixtySecondsAfterAnotherBeganToWait) {
  come(kA);
  begin();
  now += 2h;
  clients.handledRequest(now);
  come(kB);
  now += 59s;
  clients.handledRequest(now);
  come(kC);
  EXPECT_THAT(ends(), endsWith(Ending::WaitsAgain, 1));
}

TEST_F(WaitingClientsTest, aTurnLastsSixtySecondsWhenOthersWaitFromItsBeginning) {
  come(kA);
  come(kB);
  now += 100s;
  begin();
  clients.handledRequest(now);
  now += 10s;
  clients.handledRequest(now);
  EXPECT_THAT(ends(), endsWith(Ending::WaitsAgain, 50));
}

TEST_F(WaitingClientsTest, whoHadTheTurnWaitsBehindAllOthers) {
  const Id first = come(kA);
  begin();
  const Id second = come(kB);
  const Id third = come(kC);
  end(Ending::WaitsAgain);
  EXPECT_TRUE(rejected.empty());
  EXPECT_THAT(order(), ElementsAre(second, third, first));
}

TEST_F(WaitingClientsTest, servesTheClientsOfOneAddressInTheirOrder) {
  const Id first = come(kA);
  const Id second = come(kA);
  EXPECT_THAT(order(), ElementsAre(first, second));
}

TEST_F(WaitingClientsTest, aClientThatWaitsAgainIsBehindThoseOfItsAddress) {
  const Id first = come(kA);
  begin();
  const Id second = come(kA);
  end(Ending::WaitsAgain);
  EXPECT_THAT(order(), ElementsAre(second, first));
}

TEST_F(WaitingClientsTest, servesAddressesInTurn) {
  const Id a1 = come(kA);
  const Id a2 = come(kA);
  const Id b1 = come(kB);
  const Id b2 = come(kB);
  const Id c1 = come(kC);
  EXPECT_THAT(order(), ElementsAre(a1, b1, c1, a2, b2));
}

TEST_F(WaitingClientsTest, anAddressThatHadATurnIsBehindThoseThatWaitedMeanwhile) {
  come(kA);
  begin();
  const Id a2 = come(kA);
  const Id b1 = come(kB);
  end(Ending::Disconnected);
  EXPECT_EQ(begin(), b1);
  end(Ending::Disconnected);
  EXPECT_EQ(begin(), a2);
}

TEST_F(WaitingClientsTest, twoOfOneAddressMayWait) {
  come(kA);
  begin();
  come(kA);
  EXPECT_FALSE(clients.isCrowded(kA));
  come(kA);
  EXPECT_TRUE(clients.isCrowded(kA));
  come(kA);
  EXPECT_EQ(rejected.size(), 1u);
  EXPECT_EQ(clients.count(), 2u);
}

TEST_F(WaitingClientsTest, aThirdClientOfAnAddressReplacesTheOldestThatWaits) {
  come(kB);
  begin();
  const Id first = come(kA);
  const Id second = come(kA);
  const Id other = come(kC);
  const Id third = come(kA);
  EXPECT_THAT(rejected, ElementsAre(first));
  end(Ending::Disconnected);
  EXPECT_THAT(order(), ElementsAre(second, other, third));
}

TEST_F(WaitingClientsTest, connectingAgainDoesNotPostponeTheEndOfATurn) {
  come(kA);
  begin();
  for (int second = 0; second < 60; ++second) {
    clients.handledRequest(now);
    come(kB);
    now += 1s;
  }
  EXPECT_THAT(ends(), endsWith(Ending::WaitsAgain, 0));
}

TEST_F(WaitingClientsTest, aClientWhoseTurnEndsIsDisconnectedIfTwoOfItsAddressWait) {
  const Id first = come(kA);
  begin();
  come(kA);
  come(kA);
  end(Ending::WaitsAgain);
  EXPECT_THAT(rejected, ElementsAre(first));
}

TEST_F(WaitingClientsTest, makesRoomForEachAddressFirst) {
  for (IPv4Address address = 1; address <= 63; ++address) come(address);
  for (IPv4Address address = 1; address <= 63; ++address) come(address);
  come(64);
  const Id full = come(64);
  EXPECT_EQ(clients.count(), 128u);
  EXPECT_TRUE(clients.isCrowded(65));
  come(65);
  EXPECT_THAT(rejected, ElementsAre(full));
  for (IPv4Address address = 66; address <= 128; ++address) come(address);
  EXPECT_EQ(rejected.size(), 64u);
  EXPECT_EQ(clients.count(), 128u);
  const Id newcomer = come(129);
  EXPECT_EQ(rejected.back(), newcomer);
  come(1);
  EXPECT_EQ(rejected.back(), 1u);
  EXPECT_EQ(clients.count(), 128u);
}

// Untrusted peers that connect again as soon as they are disconnected, and one honest client. Time passes
// only as the rules let it pass.
class SiegeTest : public WaitingClientsTest {
 protected:
  // As many peers of each address as may connect. Each sends a request as often as this in its turn; 0:
  // never.
  void besiege(IPv4Address addresses, std::chrono::milliseconds requestEvery) {
    clients = WaitingClients();
    turnOf = 0;
    hostile = addresses;
    interval = requestEvery;
    reconnect();
  }
  void reconnect() {
    for (IPv4Address address = 1; address <= hostile; ++address) {
      while (!clients.isCrowded(address)) come(address);
    }
  }
  // How long an honest client waits for its turn, which it then ends.
  std::chrono::milliseconds waitOfAnHonestClient() {
    const auto came = now;
    const Id honest = come(99);
    while (turnOf != honest) step();
    end(Ending::Disconnected);
    turnOf = 0;
    return std::chrono::duration_cast<std::chrono::milliseconds>(now - came);
  }
  // Begins a turn; or lets the client that has it send its next request, or ends it.
  void step() {
    if (!turnOf) {
      turnOf = begin();
      reconnect();
      return;
    }
    const auto due = clients.turnEnd();
    ASSERT_TRUE(due);
    if (interval > 0ms && due->at > now + interval) {
      now += interval;
      clients.handledRequest(now);
      return;
    }
    now = std::max(now, due->at);
    end(due->how);
    turnOf = 0;
  }

  IPv4Address hostile = 0;
  std::chrono::milliseconds interval{0};
  Id turnOf = 0;
};

TEST_F(SiegeTest, anHonestClientWaitsAtMostTenSecondsForEachSilentAddress) {
  besiege(5, 0ms);
  for (int i = 0; i < 200; ++i) {
    EXPECT_LE(waitOfAnHonestClient(), 50s);
    // The next one comes at another moment of the peers' turns.
    for (int steps = 0; steps < i % 11; ++steps) step();
    now += std::chrono::milliseconds(137 * i % 5000);
  }
}

TEST_F(SiegeTest, anHonestClientWaitsAtMostSixtySecondsForEachActiveAddress) {
  for (const auto every : {100ms, 4'900ms, 9'900ms, 59'000ms}) {
    for (const IPv4Address addresses : {1u, 5u, 20u}) {
      besiege(addresses, every);
      for (int i = 0; i < 20; ++i) {
        EXPECT_LE(waitOfAnHonestClient(), addresses * 60s) << addresses << " " << every.count();
        for (int steps = 0; steps < i; ++steps) step();
      }
    }
  }
}

}  // namespace
}  // namespace moxtel
