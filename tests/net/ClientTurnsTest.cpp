// Several clients at once: how ClientListener and QVSocketServer apply the rules of WaitingClients and
// ReplyPace.
#include <gtest/gtest.h>

#include "net/QVSocketServer.h"
#include "tests/net/ServerFixture.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr const char* kOther = "127.0.0.2";

// Rules that end a turn at once.
constexpr WaitingClients::Limits kNoTime{.firstRequest = 0ms, .idle = 0ms, .replacement = 0ms, .turn = 0ms};
// Rules that end no turn during a test.
constexpr WaitingClients::Limits kMuchTime{.firstRequest = 1h, .idle = 1h, .replacement = 1h, .turn = 1h};

class ClientTurnsTest : public ServerFixture {
 protected:
  ClientTurnsTest() {
    onData([this](const Notification&) { server->sendToClientResultObject("reply"); });
  }
  void startWith(const WaitingClients::Limits& waiting, const ReplyPace::Limits& pace = {}) {
    start({.pace = pace, .waiting = waiting});
  }
  static void expectReply(RawClient& client) {
    ASSERT_TRUE(client.sendCommand(Dictionary{{"command", "Get Version"}}));
    EXPECT_EQ(client.readEnvelope()["result"], Value("reply"));
  }
  // A client whose request is not answered until the test opens the gate.
  RawClient clientWithAPendingRequest() {
    onData([this](const Notification&) {
      go.pass();
      server->sendToClientResultObject("reply");
    });
    RawClient client = connected();
    EXPECT_TRUE(client.sendCommand(Dictionary{{"command", "Get Version"}}));
    EXPECT_TRUE(chunks.waitFor(1));
    return client;
  }
  void answerThePendingRequest(RawClient& client) {
    go.open();
    EXPECT_EQ(client.readEnvelope()["result"], Value("reply"));
  }
};

TEST_F(ClientTurnsTest, aClientStaysWhileNoOtherWaits) {
  startWith(kNoTime);
  RawClient client = connected();
  for (int i = 0; i < 5; ++i) expectReply(client);
  EXPECT_THAT(events.all(), ElementsAre("came", "data", "data", "data", "data", "data"));
}

TEST_F(ClientTurnsTest, aSilentClientIsDisconnectedForAnother) {
  auto limits = kMuchTime;
  limits.firstRequest = 0ms;
  startWith(limits);
  RawClient silent = connected();
  RawClient other = RawClient::from(kOther, server->port());
  expectReply(other);
  EXPECT_TRUE(silent.readsToTheEnd());
  EXPECT_THAT(events.all(), ElementsAre("came", "gone", "came", "data"));
  EXPECT_TRUE(changes.all()[1].userInfo.isNil());
  EXPECT_TRUE(log.contains("could not read from socket"));
}

TEST_F(ClientTurnsTest, anIdleClientIsDisconnectedForAnother) {
  auto limits = kMuchTime;
  limits.idle = 0ms;
  startWith(limits);
  RawClient idle = connected();
  expectReply(idle);
  RawClient other = RawClient::from(kOther, server->port());
  expectReply(other);
  EXPECT_TRUE(idle.readsToTheEnd());
}

TEST_F(ClientTurnsTest, anIdleClientIsReplacedByAnotherOfItsAddress) {
  auto limits = kMuchTime;
  limits.replacement = 0ms;
  startWith(limits);
  RawClient first = clientWithAPendingRequest();
  RawClient other = RawClient::from(kOther, server->port());
  RawClient second = RawClient::to(server->port());
  answerThePendingRequest(first);
  expectReply(second);
  EXPECT_TRUE(first.readsToTheEnd());
  EXPECT_EQ(changes.count(), 3u);
}

TEST_F(ClientTurnsTest, bytesThatAreNoRequestDoNotKeepATurn) {
  auto limits = kMuchTime;
  limits.firstRequest = 0ms;
  startWith(limits);
  onData([this](const Notification&) { go.pass(); });
  RawClient client = connected();
  ASSERT_TRUE(client.send("bplist00"));
  ASSERT_TRUE(chunks.waitFor(1));
  RawClient other = RawClient::from(kOther, server->port());
  go.open();
  EXPECT_TRUE(client.readsToTheEnd());
}

TEST_F(ClientTurnsTest, aClientThatSentARequestKeepsItsTurn) {
  auto limits = kMuchTime;
  limits.firstRequest = 0ms;
  startWith(limits);
  RawClient client = clientWithAPendingRequest();
  RawClient other = RawClient::from(kOther, server->port());
  ASSERT_TRUE(other.send("I wait"));
  answerThePendingRequest(client);
  for (int i = 0; i < 5; ++i) expectReply(client);
  EXPECT_EQ(changes.count(), 1u);
}

TEST_F(ClientTurnsTest, activeClientsTakeTurnsOnTheirConnections) {
  auto limits = kMuchTime;
  limits.turn = 0ms;
  startWith(limits);
  RawClient first = clientWithAPendingRequest();
  RawClient second = RawClient::from(kOther, server->port());
  answerThePendingRequest(first);
  for (int i = 0; i < 5; ++i) {
    expectReply(second);
    expectReply(first);
  }
  EXPECT_EQ(changes.all()[1].userInfo, Value());
  EXPECT_EQ(changes.all()[2].userInfo["clientip"], Value(kOther));
}

TEST_F(ClientTurnsTest, aTurnDoesNotEndWithinAReply) {
  startWith(kNoTime);
  onData([this](const Notification&) {
    go.pass();
    sent.add(server->sendToClientResultObject(Bytes(std::size_t{16} << 20)));
  });
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(chunks.waitFor(1));
  const RawClient other = RawClient::from(kOther, server->port());
  go.open();
  EXPECT_EQ(client.readEnvelope()["result"].data().size(), std::size_t{16} << 20);
  EXPECT_TRUE(client.readsToTheEnd());
}

TEST_F(ClientTurnsTest, aClientThatLeftWhileItWaitedEndsNoTurn) {
  startWith(kNoTime);
  RawClient client = clientWithAPendingRequest();
  RawClient::from(kOther, server->port()).close();
  RawClient::from(kOther, server->port()).reset();
  answerThePendingRequest(client);
  for (int i = 0; i < 5; ++i) expectReply(client);
  EXPECT_EQ(changes.count(), 1u);
}

TEST_F(ClientTurnsTest, aClientThatLeftMakesRoomForTheNextOfItsAddress) {
  startWith(kMuchTime);
  const RawClient served = connected();
  RawClient::from(kOther, server->port()).close();
  RawClient::from(kOther, server->port()).close();
  RawClient third = RawClient::from(kOther, server->port());
  ASSERT_TRUE(third.send("?"));
  QVSocketServer::disconnect();
  EXPECT_EQ(third.readEnvelope()["result"], Value("reply"));
}

TEST_F(ClientTurnsTest, aThirdClientOfAnAddressReplacesTheOldestThatWaits) {
  startWith(kMuchTime);
  const RawClient served = connected();
  RawClient first = RawClient::from(kOther, server->port());
  RawClient second = RawClient::from(kOther, server->port());
  RawClient third = RawClient::from(kOther, server->port());
  EXPECT_TRUE(first.readsToTheEnd());
  ASSERT_TRUE(second.send("?"));
  ASSERT_TRUE(third.send("?"));
  QVSocketServer::disconnect();
  EXPECT_EQ(second.readEnvelope()["result"], Value("reply"));
  second.close();
  EXPECT_EQ(third.readEnvelope()["result"], Value("reply"));
}

TEST_F(ClientTurnsTest, manyAddressesMayWait) {
  startWith(kMuchTime);
  RawClient served = connected();
  std::vector<RawClient> waiting;
  for (int i = 2; i < 102; ++i) {
    waiting.push_back(RawClient::from(("127.0.0." + std::to_string(i)).c_str(), server->port()));
    ASSERT_TRUE(waiting.back().send("?"));
  }
  served.close();
  for (RawClient& client : waiting) {
    EXPECT_EQ(client.readEnvelope()["result"], Value("reply"));
    client.close();
  }
}

TEST_F(ClientTurnsTest, theUserDisconnectsAClientForTheNext) {
  startWith(kMuchTime);
  RawClient served = connected();
  RawClient next = RawClient::from(kOther, server->port());
  ASSERT_TRUE(next.send("?"));
  QVSocketServer::disconnect();
  EXPECT_TRUE(served.readsToTheEnd());
  EXPECT_EQ(next.readEnvelope()["result"], Value("reply"));
}

TEST_F(ClientTurnsTest, aStopDisconnectsThoseWhoWait) {
  startWith(kMuchTime);
  RawClient served = connected();
  RawClient waiting = RawClient::from(kOther, server->port());
  server->stop();
  EXPECT_TRUE(served.readsToTheEnd());
  EXPECT_TRUE(waiting.readsToTheEnd());
  EXPECT_EQ(changes.count(), 2u);
}

TEST_F(ClientTurnsTest, clientsThatAreNotAllowedAreTurnedAway) {
  server = std::make_unique<QVSocketServer>(center, &publisher);
  server->setAccess({.allowedClients = std::get<AddressList>(AddressList::parse("127.0.0.2, 10.0.0.0/8"))});
  ASSERT_TRUE(server->startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  RawClient other = RawClient::to(server->port());
  EXPECT_TRUE(other.readsToTheEnd());
  EXPECT_TRUE(log.contains("'127.0.0.1' is not an allowed client"));
  RawClient allowed = RawClient::from(kOther, server->port());
  expectReply(allowed);
  EXPECT_EQ(changes.count(), 1u);
}

TEST_F(ClientTurnsTest, listensOnOneAddress) {
  server = std::make_unique<QVSocketServer>(center, &publisher);
  server->setAccess({.listenAddress = parseIPv4Address("127.0.0.5").value()});
  ASSERT_TRUE(server->startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  EXPECT_FALSE(RawClient().connect(server->port()));
  RawClient client;
  ASSERT_TRUE(client.connect(server->port(), "127.0.0.5"));
  expectReply(client);
}

// Every reply that takes longer than a period is too slow.
constexpr ReplyPace::Limits kNoPace{.bytesPerSecond = std::uint64_t{1} << 60, .period = 1ms};

class SlowReaderTest : public ClientTurnsTest {
 protected:
  void SetUp() override {
    startWith(kMuchTime, kNoPace);
    onData([this](const Notification&) {
      go.pass();
      sent.add(server->sendToClientResultObject(Bytes(std::size_t{16} << 20)));
    });
    slow = connected(4096);
    ASSERT_TRUE(slow.send("?"));
    ASSERT_TRUE(chunks.waitFor(1));
  }
  RawClient slow;
};

TEST_F(SlowReaderTest, losesItsConnectionToAClientThatWaits) {
  RawClient other = RawClient::from(kOther, server->port());
  go.open();
  // Read nothing before the server ends the reply: a fast reader might have all of it before the
  // listener's thread has accepted the other client.
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  EXPECT_FALSE(slow.readFrame());
  onData([this](const Notification&) { server->sendToClientResultObject("reply"); });
  expectReply(other);
}

TEST_F(SlowReaderTest, getsItsReplyWhileNoOtherWaits) {
  go.open();
  const auto body = slow.readFrame();
  ASSERT_TRUE(body);
  EXPECT_GT(body->size(), std::size_t{16} << 20);
}

}  // namespace
}  // namespace moxtel
