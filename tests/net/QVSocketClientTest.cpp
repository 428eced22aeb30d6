#include "net/QVSocketClient.h"

#include <chrono>

#include "log/Log.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/ScriptedServer.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using Connection = ScriptedServer::Connection;

class SocketClient : public testing::Test {
 protected:
  SocketClient() {
    setDebugLevel(2);
    center.addObserver("ChangedServerStatus", [this](const Notification& n) { senders.push_back(n.object); });
  }
  ~SocketClient() override {
    QVSocketClient::disconnectTheClient();
    setDebugLevel(0);
  }

  std::shared_ptr<QVSocketClient> connectedTo(const ScriptedServer& server, SocketClientLimits limits = {}) {
    auto client = QVSocketClient::create(center, limits);
    EXPECT_TRUE(client->connectTo("127.0.0.1", "", server.port()));
    return client;
  }
  static ExchangeFailure failureOf(const std::shared_ptr<QVSocketClient>& client) {
    const auto outcome = client->exchange(Dictionary{{"command", "Get Version"}});
    EXPECT_TRUE(std::holds_alternative<ExchangeFailure>(outcome));
    return std::get<ExchangeFailure>(outcome);
  }

  SystemLogCapture log;
  NotificationCenter center;
  std::vector<const void*> senders;
};

TEST_F(SocketClient, isConnectedOnlyBetweenConnectAndDisconnect) {
  EXPECT_FALSE(QVSocketClient::isConnected());
  const auto client = QVSocketClient::theClient(center);
  EXPECT_EQ(QVSocketClient::theClient(center), client);
  EXPECT_FALSE(QVSocketClient::isConnected());
  ScriptedServer server([](Connection& connection) { connection.read(); });
  ASSERT_TRUE(client->connectTo("localhost", "any name", server.port()));
  EXPECT_TRUE(QVSocketClient::isConnected());
  EXPECT_TRUE(log.contains(format("created socket: %d", client->clientSocket())));
  client->disconnect();
  EXPECT_FALSE(QVSocketClient::isConnected());
  EXPECT_EQ(client->clientSocket(), 0);
  EXPECT_EQ(senders, (std::vector<const void*>{client.get(), client.get()}));
}

TEST_F(SocketClient, dropsTheSharedClientWhenItDisconnects) {
  const auto client = QVSocketClient::theClient(center);
  QVSocketClient::disconnectTheClient();
  EXPECT_NE(QVSocketClient::theClient(center), client);
}

TEST_F(SocketClient, returnsTheResultOfACommand) {
  std::string request;
  ScriptedServer server([&](Connection& connection) {
    request = connection.read();
    connection.sendEnvelope(Dictionary{{"result", "1.4"}});
    connection.read();
  });
  const auto client = connectedTo(server);
  EXPECT_EQ(client->resultObjectFromServerWithCommand("Get Version"), Value("1.4"));
  const Bytes expected = archivedData(Dictionary{{"command", "Get Version"}});
  EXPECT_EQ(request, std::string(expected.begin(), expected.end()));
}

TEST_F(SocketClient, logsTheErrorOfAServer) {
  ScriptedServer server([](Connection& connection) {
    connection.read();
    connection.sendEnvelope(Dictionary{{"error", "x"}});
    connection.read();
  });
  const auto client = connectedTo(server);
  EXPECT_TRUE(client->resultObjectFromServerWithCommand("Get Version").isNil());
  EXPECT_TRUE(log.contains("GOT ERROR FROM SERVER: 'x'"));
}

TEST_F(SocketClient, hasNoResultForAnEmptyReply) {
  ScriptedServer server([](Connection& connection) {
    connection.read();
    connection.sendFrame("");
    connection.read();
  });
  const auto client = connectedTo(server);
  const auto body = client->dataFromServerWithCommandDict(Dictionary{{"command", "Get Version"}});
  ASSERT_TRUE(body);
  EXPECT_TRUE(body->empty());
  client->disconnect();
  ASSERT_TRUE(client->connectTo("127.0.0.1", "", server.port()));
  EXPECT_TRUE(client->resultObjectFromServerWithCommand("Get Version").isNil());
  const auto lines = log.lines();
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& line) {
    return line.starts_with("unarchiveObject got exception: ");
  }));
}

TEST_F(SocketClient, readsALongReplyInPieces) {
  const std::string body(3'000'000, 'b');
  ScriptedServer server([&](Connection& connection) {
    connection.read();
    connection.send(Connection::lengthOf(body.size()).substr(0, 3));
    connection.send(Connection::lengthOf(body.size()).substr(3) + body.substr(0, 1'000'000));
    connection.send(body.substr(1'000'000));
    connection.read();
  });
  const auto client = connectedTo(server);
  const auto got = client->dataFromServerWithCommandDict(Dictionary{{"command", "x"}});
  ASSERT_TRUE(got);
  EXPECT_EQ(std::string(got->begin(), got->end()), body);
  EXPECT_TRUE(log.contains("reading 3000000 bytes .... for: {\n    command = x;\n}"));
  EXPECT_TRUE(log.contains(".... done!"));
}

TEST_F(SocketClient, sendsNothingWhenItIsNotConnected) {
  const auto client = QVSocketClient::create(center);
  EXPECT_FALSE(client->dataFromServerWithCommandDict(Dictionary{{"command", "x"}}));
  EXPECT_EQ(failureOf(client), ExchangeFailure::NotConnected);
}

TEST_F(SocketClient, reportsAnUnknownHost) {
  const auto client = QVSocketClient::create(center);
  EXPECT_FALSE(client->connectTo("no such host", "", 4250));
  EXPECT_EQ(client->connectFailure(), "no such host is known");
  EXPECT_TRUE(log.contains("could not gethostbyname for 'no such host'"));
  EXPECT_EQ(client->clientSocket(), 0);
}

// clientSocket() keeps the number of the descriptor, which is closed.
TEST_F(SocketClient, sendsNothingAfterAConnectionThatFailed) {
  const auto client = QVSocketClient::create(center);
  EXPECT_FALSE(client->connectTo("127.0.0.1", "", unusedPort()));
  EXPECT_TRUE(log.contains("could not connect"));
  EXPECT_EQ(client->connectFailure(), "Connection refused");
  EXPECT_NE(client->clientSocket(), 0);
  EXPECT_EQ(failureOf(client), ExchangeFailure::NotSent);
  EXPECT_TRUE(log.contains("could not write to socket"));
  EXPECT_TRUE(senders.empty());
}

TEST_F(SocketClient, rejectsARequestLongerThanAServerReads) {
  ScriptedServer server([](Connection& connection) { connection.read(); });
  const auto client = connectedTo(server);
  const auto outcome = client->exchange(Dictionary{{"command", std::string(5000, 'x')}});
  EXPECT_EQ(std::get<ExchangeFailure>(outcome), ExchangeFailure::RequestTooLong);
  EXPECT_TRUE(log.contains("could not write to socket"));
}

TEST_F(SocketClient, timesOutWhenTheServerIsSilent) {
  ScriptedServer server([](Connection& connection) {
    while (!connection.read().empty()) {
    }
  });
  const auto client = connectedTo(server, {.answer = 50ms});
  EXPECT_EQ(failureOf(client), ExchangeFailure::NoAnswer);
  EXPECT_TRUE(log.contains("could not read from socket"));
  EXPECT_EQ(client->clientSocket(), 0);
  EXPECT_EQ(senders, (std::vector<const void*>{client.get(), nullptr}));
}

TEST_F(SocketClient, noticesAServerThatCloses) {
  ScriptedServer server([](Connection& connection) { connection.read(); });
  EXPECT_EQ(failureOf(connectedTo(server)), ExchangeFailure::ClosedAtOnce);
}

TEST_F(SocketClient, noticesAServerThatClosesInsideAReply) {
  int part = 0;
  ScriptedServer server([&](Connection& connection) {
    connection.read();
    connection.send(part++ == 0 ? "ab" : Connection::lengthOf(100) + "only these");
  });
  EXPECT_EQ(failureOf(connectedTo(server)), ExchangeFailure::NoAnswer);
  const auto client = connectedTo(server);
  EXPECT_EQ(failureOf(client), ExchangeFailure::BrokenReply);
  EXPECT_EQ(client->clientSocket(), 0);
}

TEST_F(SocketClient, timesOutWhenTheServerSendsTooSlowly) {
  std::atomic<bool> done{false};
  ScriptedServer server([&](Connection& connection) {
    connection.read();
    connection.send(Connection::lengthOf(100'000));
    while (!done && connection.send("x")) std::this_thread::sleep_for(20ms);
  });
  EXPECT_EQ(failureOf(connectedTo(server, {.answer = 200ms})), ExchangeFailure::BrokenReply);
  done = true;
}

TEST_F(SocketClient, allocatesNoMemoryForALengthAlone) {
  ScriptedServer server([](Connection& connection) {
    connection.read();
    connection.send(Connection::lengthOf(0xFFFFFFFF));
    connection.send("a few bytes");
  });
  EXPECT_EQ(failureOf(connectedTo(server)), ExchangeFailure::BrokenReply);
  EXPECT_EQ(failureOf(connectedTo(server, {.largestReply = 1000})), ExchangeFailure::ReplyTooLong);
}

TEST_F(SocketClient, survivesAServerThatResetsBeforeTheRequest) {
  ScriptedServer server([](Connection& connection) { connection.close(); });
  const auto client = connectedTo(server);
  for (int i = 0; i < 3; ++i) {
    const auto outcome = client->exchange(Dictionary{{"command", "x"}});
    EXPECT_TRUE(std::holds_alternative<ExchangeFailure>(outcome));
  }
}

}  // namespace
}  // namespace moxtel
