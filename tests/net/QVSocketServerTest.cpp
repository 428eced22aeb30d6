#include "net/QVSocketServer.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "plist/KeyedArchive.h"
#include "tests/TemporaryFolder.h"
#include "tests/net/ServerFixture.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using QVSocketServerTest = ServerFixture;

Value largeReply(std::size_t size) { return Value(Bytes(size, std::uint8_t{7})); }

std::size_t openDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

int option(int socket, int level, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  return ::getsockopt(socket, level, name, &value, &size) == 0 ? value : -1;
}

timeval timeOption(int socket, int name) {
  timeval value{};
  socklen_t size = sizeof value;
  EXPECT_EQ(::getsockopt(socket, SOL_SOCKET, name, &value, &size), 0);
  return value;
}

TEST_F(QVSocketServerTest, thereIsNoSharedServerBeforeTheFirst) {
  EXPECT_EQ(QVSocketServer::theServer(), nullptr);
  EXPECT_FALSE(QVSocketServer::isConnected());
  EXPECT_TRUE(logged("isConnected ..., 0x0, -1"));
  QVSocketServer::disconnect();
  EXPECT_TRUE(logged("disconnect ..., 0x0, -1"));
}

TEST_F(QVSocketServerTest, theServerConstructedLastIsTheSharedOne) {
  QVSocketServer first(center, &publisher);
  {
    const QVSocketServer second(center, &publisher);
    EXPECT_EQ(QVSocketServer::theServer(), &second);
  }
  EXPECT_EQ(QVSocketServer::theServer(), nullptr);
}

TEST_F(QVSocketServerTest, logsAndPublishesItsStart) {
  start();
  EXPECT_TRUE(
      log.contains("QVSocketServer::startServerOnPort: 0 withBonjourName: 'My Mac' andType: "
                   "'_moxtelserver._tcp.'"));
  EXPECT_LT(logPlace("QVSocketServer::startServerOnPort"), logPlace("published service: "));
  const auto published = publisher.published();
  ASSERT_EQ(published.size(), 1u);
  EXPECT_EQ(published[0].name, "My Mac");
  EXPECT_EQ(published[0].type, "_moxtelserver._tcp.");
  EXPECT_EQ(published[0].port, server->port());
}

TEST_F(QVSocketServerTest, usesTheLowBitsOfThePort) {
  start();
  const std::uint16_t port = server->port();
  server->stop();
  ASSERT_TRUE(server->startServerOnPort(0x10000 + port, "My Mac", "_moxtelserver._tcp."));
  EXPECT_EQ(server->port(), port);
}

TEST_F(QVSocketServerTest, doesNotStartOnAPortInUse) {
  start();
  QVSocketServer other(center, &publisher);
  EXPECT_FALSE(other.startServerOnPort(server->port(), "My Mac", "_moxtelserver._tcp."));
  EXPECT_TRUE(log.contains("could not bind"));
  EXPECT_EQ(other.serverSocket(), -1);
}

TEST_F(QVSocketServerTest, keepsListeningButDoesNotStartWhenNothingPublishes) {
  publisher.refuseToPublish();
  QVSocketServer silent(center, &publisher);
  EXPECT_FALSE(silent.startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  EXPECT_TRUE(log.contains("An error occurred initializing the NSNetService object."));
  EXPECT_FALSE(logged("published service"));
  EXPECT_GE(silent.serverSocket(), 0);
  EXPECT_FALSE(logged("QVSocketServer::runServer"));
}

TEST_F(QVSocketServerTest, doesNotStartWithoutAPublisher) {
  QVSocketServer silent(center, nullptr);
  EXPECT_FALSE(silent.startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  EXPECT_TRUE(log.contains("An error occurred initializing the NSNetService object."));
}

TEST_F(QVSocketServerTest, doesNotListenWithoutAnAcceptThread) {
  QVSocketServer deaf(center, &publisher);
  // The first start has enough descriptors: UndefinedBehaviorSanitizer opens some when it first checks a
  // class.
  ASSERT_TRUE(deaf.startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  deaf.stop();
  const int next = ::dup(STDERR_FILENO);
  ::close(next);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit one = before;
  one.rlim_cur = static_cast<rlim_t>(next) + 1;  // only for the listener
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &one), 0);
  const bool started = deaf.startServerOnPort(0, "My Mac", "_moxtelserver._tcp.");
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(started);
  EXPECT_EQ(deaf.port(), 0);
  EXPECT_EQ(deaf.startFailure(), "Too many open files");
}

TEST_F(QVSocketServerTest, keepsServingWhenPublishingFailsLater) {
  start();
  publisher.changePublications({PublicationState::Kind::Failed, "My Mac", "no network"});
  EXPECT_TRUE(logged("netService didNotPublish, errorDict: {"));
  publisher.changePublications({PublicationState::Kind::Published, "My Mac", ""});
  expectServesTheNext();
}

TEST_F(QVSocketServerTest, notifiesWhenAClientConnectsAndDisconnects) {
  start();
  RawClient::to(server->port()).close();
  ASSERT_TRUE(changes.waitFor(2));
  const auto all = changes.all();
  EXPECT_EQ(all[0].userInfo, Value(Dictionary{{"clientip", "127.0.0.1"}}));
  EXPECT_EQ(all[0].object, nullptr);
  EXPECT_TRUE(all[1].userInfo.isNil());
  EXPECT_EQ(all[1].object, nullptr);
  EXPECT_EQ(chunks.count(), 0u);
  EXPECT_TRUE(logged("got connection from {"));
  EXPECT_FALSE(log.contains("could not read from socket"));
}

TEST_F(QVSocketServerTest, isConnectedWhileAClientIsConnected) {
  start();
  EXPECT_FALSE(QVSocketServer::isConnected());
  EXPECT_EQ(server->remoteSocket(), 0);
  RawClient client = connected();
  EXPECT_TRUE(QVSocketServer::isConnected());
  EXPECT_GT(server->remoteSocket(), 2);
  client.close();
  ASSERT_TRUE(changes.waitFor(2));
  EXPECT_FALSE(QVSocketServer::isConnected());
  EXPECT_EQ(server->remoteSocket(), 0);
}

TEST_F(QVSocketServerTest, postsARequestOf4096BytesWhole) {
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send(std::string(4096, 'x')));
  ASSERT_TRUE(chunks.waitFor(1));
  EXPECT_EQ(chunks.all()[0], Bytes(4096, 'x'));
}

TEST_F(QVSocketServerTest, splitsARequestOf4097Bytes) {
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send(std::string(4096, 'x') + "y"));
  ASSERT_TRUE(chunks.waitFor(2));
  EXPECT_EQ(chunks.all()[0], Bytes(4096, 'x'));
  EXPECT_EQ(chunks.all()[1], Bytes(1, 'y'));
}

TEST_F(QVSocketServerTest, keepsNothingFromOneReadToTheNext) {
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("first half,"));
  ASSERT_TRUE(chunks.waitFor(1));
  ASSERT_TRUE(client.send("second"));
  ASSERT_TRUE(chunks.waitFor(2));
  EXPECT_EQ(chunks.all()[0].size(), 11u);
  EXPECT_EQ(chunks.all()[1].size(), 6u);
}

TEST_F(QVSocketServerTest, postsTwoRequestsOfOneReadAsOneChunk) {
  onData([&](const Notification&) { go.pass(); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("one"));
  ASSERT_TRUE(chunks.waitFor(1));
  ASSERT_TRUE(client.send("two"));
  ASSERT_TRUE(client.send("three"));
  go.open();
  ASSERT_TRUE(chunks.waitFor(2));
  EXPECT_EQ(chunks.all()[1].size(), 8u);
}

TEST_F(QVSocketServerTest, namesItselfAsTheSenderOfData) {
  Happenings<const void*> senders;
  const auto token = center.addObserver("GotData", [&](const Notification& n) { senders.add(n.object); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(senders.waitFor(1));
  EXPECT_EQ(senders.all()[0], server.get());
  server->stop();
  center.removeObserver(token);
}

TEST_F(QVSocketServerTest, framesAResult) {
  onData([&](const Notification&) { server->sendToClientResultObject(Array{{1, "two"}}); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  const auto body = client.readFrame();
  ASSERT_TRUE(body);
  const Value expected = Dictionary{{"result", Array{{1, "two"}}}};
  EXPECT_EQ(*body, archivedData(expected));
  EXPECT_EQ(std::get<Value>(unarchivedObject(*body)), expected);
}

TEST_F(QVSocketServerTest, framesAnErrorOfOneCharacter) {
  onData([&](const Notification&) { sent.add(server->sendToClientErrorString("x")); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  client.finishSending();
  EXPECT_EQ(client.readEnvelope(), Value(Dictionary{{"error", "x"}}));
  EXPECT_TRUE(client.readsToTheEnd());
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_TRUE(sent.all()[0]);
}

// Waits until the handler that runs now sees that the client is gone; false after 20 seconds.
bool seesThatTheClientIsGone() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!QVSocketServer::isClientGone() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return QVSocketServer::isClientGone();
}

TEST_F(QVSocketServerTest, knowsWhetherTheClientIsGone) {
  EXPECT_TRUE(QVSocketServer::isClientGone());
  Happenings<bool> gone;
  onData([&](const Notification&) {
    gone.add(QVSocketServer::isClientGone());
    gone.add(seesThatTheClientIsGone());
  });
  start();
  for (const bool isReset : {true, false}) {
    const std::size_t before = gone.count();
    RawClient client = connected();
    ASSERT_TRUE(client.send("?"));
    ASSERT_TRUE(gone.waitFor(before + 1));
    EXPECT_FALSE(gone.all()[before]);
    if (isReset) {
      client.reset();
    } else {
      QVSocketServer::disconnect();
    }
    ASSERT_TRUE(gone.waitFor(before + 2));
    EXPECT_TRUE(gone.all()[before + 1]);
  }
}

// It may still read the reply.
TEST_F(QVSocketServerTest, aClientThatSendsNoMoreIsGoneOnlyAfterAWhile) {
  using namespace std::chrono_literals;
  for (const bool isPatient : {true, false}) {
    Happenings<bool> gone;
    Gate silent;
    onData([&](const Notification&) {
      silent.pass();
      gone.add(isPatient ? QVSocketServer::isClientGone() : seesThatTheClientIsGone());
    });
    SocketServerLimits limits;
    limits.patienceWithSilence = isPatient ? 60'000ms : 1ms;
    start(limits);
    RawClient client = connected();
    ASSERT_TRUE(client.send("?"));
    client.finishSending();
    silent.open();
    ASSERT_TRUE(gone.waitFor(1));
    EXPECT_EQ(gone.all()[0], !isPatient);
    server->stop();
  }
}

TEST_F(QVSocketServerTest, writesLargeRepliesWhole) {
  onData([&](const Notification&) {
    server->sendToClientResultObject(Array{{largeReply(20 << 20), largeReply(10 << 20)}});
  });
  start();
  RawClient client = connected(65536);
  ASSERT_TRUE(client.send("?"));
  const Value envelope = client.readEnvelope();
  ASSERT_EQ(envelope["result"].array().size(), 2u);
  EXPECT_EQ(envelope["result"].array()[0].data().size(), 20u << 20);
  EXPECT_EQ(envelope["result"].array()[1].data().size(), 10u << 20);
}

class FileReply : public ServerFixture {
 protected:
  FileReply() {
    onData([this](const Notification&) { sendFile(); });
  }
  // A file whose bytes differ from part to part.
  void writeFile(std::size_t size) {
    content.resize(size);
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<std::uint8_t>(i * 7 + (i >> 16));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(size));
  }
  void sendFile() {
    OpenFile file = openRegularFile(path);
    if (afterOpening) afterOpening();
    sent.add(server->sendToClientResultData(std::move(file)));
  }

  TemporaryFolder folder;
  const std::string path = folder.path() / "movie";
  Bytes content;
  std::function<void()> afterOpening;
};

TEST_F(FileReply, hasTheSameBytesAsAReplyFromMemory) {
  start();
  RawClient client = connected();
  for (const std::size_t size : {0u, 1u, 70'000u, 256u << 10, 5'000'000u}) {
    writeFile(size);
    ASSERT_TRUE(client.send("?"));
    const auto body = client.readFrame();
    ASSERT_TRUE(body) << size;
    EXPECT_TRUE(*body == archivedData(Dictionary{{"result", content}})) << size;
  }
  ASSERT_TRUE(sent.waitFor(5));
  EXPECT_THAT(sent.all(), testing::Each(true));
}

TEST_F(FileReply, endsWhereTheFileEndedWhenItWasOpened) {
  writeFile(500'000);
  afterOpening = [&] { std::ofstream(path, std::ios::app) << "more"; };
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  EXPECT_TRUE(client.readEnvelope()["result"].data() == content);
}

TEST_F(FileReply, endsTheConnectionWhenTheFileHasBecomeShorter) {
  std::size_t replies = 0;
  for (const std::size_t left : {499'999u, 1u, 0u}) {
    writeFile(500'000);
    afterOpening = [&] { std::filesystem::resize_file(path, left); };
    start();
    RawClient client = connected();
    ASSERT_TRUE(client.send("?"));
    EXPECT_FALSE(client.readFrame()) << left;
    ASSERT_TRUE(sent.waitFor(++replies));
    EXPECT_FALSE(sent.all().back());
    EXPECT_TRUE(log.contains("could not read all of '" + path + "' while it was sent"));
    expectServesTheNext();
    server->stop();
    onData([this](const Notification&) { sendFile(); });
  }
}

TEST_F(FileReply, isRejectedWhenTooLongForItsLengthField) {
  writeFile(1000);
  start({.largestReply = 1000});
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  EXPECT_TRUE(logged("a reply of "));
  onData([&](const Notification&) { server->sendToClientErrorString("x"); });
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["error"], Value("x"));
}

TEST_F(FileReply, timesOutWhenTheClientReadsNothing) {
  writeFile(16 << 20);
  start({.progress = 100ms});
  RawClient client = connected(4096);
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  ASSERT_TRUE(changes.waitFor(2));
  expectServesTheNext();
}

TEST_F(FileReply, isNotWrittenWithoutAClient) {
  writeFile(10);
  start();
  EXPECT_FALSE(server->sendToClientResultData(openRegularFile(path)));
}

TEST_F(QVSocketServerTest, sendsBytesAsTheResult) {
  onData([&](const Notification&) { server->sendToClientResultData(Bytes{1, 2}); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["result"], Value(Bytes{1, 2}));
}

TEST_F(QVSocketServerTest, writesNothingWithoutAClient) {
  start();
  EXPECT_FALSE(server->sendToClientResultObject("nobody"));
  EXPECT_FALSE(server->sendToClientErrorString("nobody"));
}

TEST_F(QVSocketServerTest, rejectsANilResultBeforeAnythingIsWritten) {
  onData([&](const Notification&) { server->sendToClientResultObject(Value()); });
  start();
  EXPECT_THROW(server->sendToClientResultObject(Value()), NilObjectError);
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(chunks.waitFor(1));
  client.finishSending();
  EXPECT_EQ(client.readSome(1), 0u);
}

TEST_F(QVSocketServerTest, rejectsAReplyTooLongForItsLengthField) {
  onData([&](const Notification&) { sent.add(server->sendToClientResultObject(largeReply(1000))); });
  start({.largestReply = 1000});
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  EXPECT_TRUE(logged("a reply of "));
  onData([&](const Notification&) { server->sendToClientErrorString("x"); });
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["error"], Value("x"));
}

TEST_F(QVSocketServerTest, throwsForAnObjectLargerThanAllowedAndSendsNothing) {
  onData([&](const Notification&) {
    EXPECT_THROW(server->sendToClientResultObject(largeReply(1000)), ArchiveTooLargeError);
    server->sendToClientErrorString("x");
  });
  start({.largestObject = 1000});
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["error"], Value("x"));
}

TEST_F(QVSocketServerTest, continuesReadingWhenAnObserverThrows) {
  onData([&](const Notification&) { throw std::runtime_error("observer"); });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(chunks.waitFor(1));
  onData([&](const Notification&) { server->sendToClientErrorString("still here"); });
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["error"], Value("still here"));
  EXPECT_TRUE(log.contains("uncaught exception: observer"));
}

TEST_F(QVSocketServerTest, servesASecondClientAfterTheFirstHasDisconnected) {
  start();
  RawClient first = connected();
  RawClient second = RawClient::to(server->port());
  ASSERT_TRUE(second.send("I wait"));
  ASSERT_TRUE(first.send("?"));
  ASSERT_TRUE(chunks.waitFor(1));
  EXPECT_EQ(chunks.all()[0].size(), 1u);
  EXPECT_EQ(changes.count(), 1u);
  first.close();
  ASSERT_TRUE(chunks.waitFor(2));
  EXPECT_EQ(chunks.all()[1].size(), 6u);
  EXPECT_THAT(events.all(), ElementsAre("came", "data", "gone", "came", "data"));
}

TEST_F(QVSocketServerTest, disconnectEndsAConnectionThatIsBeingRead) {
  start();
  RawClient client = connected();
  QVSocketServer::disconnect();
  EXPECT_TRUE(client.readsToTheEnd());
  ASSERT_TRUE(changes.waitFor(2));
  EXPECT_TRUE(changes.all()[1].userInfo.isNil());
  EXPECT_EQ(server->remoteSocket(), 0);
  EXPECT_LT(logPlace("disconnect ..., "), logPlace("could not read from socket"));
  EXPECT_TRUE(log.contains("could not read from socket"));
  expectServesTheNext();
}

TEST_F(QVSocketServerTest, disconnectLeavesTheCleanUpToTheAcceptThread) {
  onData([&](const Notification&) {
    go.pass();
    sent.add(server->sendToClientResultObject("too late"));
  });
  start();
  RawClient client = connected();
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(chunks.waitFor(1));
  ASSERT_TRUE(client.send("never read"));
  QVSocketServer::disconnect();
  EXPECT_TRUE(QVSocketServer::isConnected());
  EXPECT_EQ(changes.count(), 1u);
  QVSocketServer::disconnect();
  go.open();
  ASSERT_TRUE(changes.waitFor(2));
  EXPECT_FALSE(sent.all()[0]);
  EXPECT_THAT(events.all(), ElementsAre("came", "data", "gone"));
}

TEST_F(QVSocketServerTest, disconnectEndsAReplyThatIsBeingWritten) {
  onData([&](const Notification&) { sent.add(server->sendToClientResultObject(largeReply(16 << 20))); });
  start();
  RawClient client = connected(4096);
  ASSERT_TRUE(client.send("?"));
  ASSERT_GT(client.readSome(100), 0u);
  QVSocketServer::disconnect();
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  ASSERT_TRUE(changes.waitFor(2));
  expectServesTheNext();
}

TEST_F(QVSocketServerTest, closesToClientsEvenWhileAReplyIsBeingWritten) {
  onData([&](const Notification&) { sent.add(server->sendToClientResultObject(largeReply(16 << 20))); });
  start();
  RawClient client = connected(4096);
  ASSERT_TRUE(client.send("?"));
  ASSERT_GT(client.readSome(100), 0u);
  RawClient waiting = RawClient::to(server->port());
  ASSERT_TRUE(waiting.send("?"));
  QVSocketServer::closeToClients();
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  ASSERT_TRUE(changes.waitFor(2));
  server->stop();
  EXPECT_EQ(changes.count(), 2u);
  EXPECT_EQ(chunks.count(), 1u);
  ASSERT_TRUE(server->startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  expectServesTheNext();
}

TEST_F(QVSocketServerTest, survivesClientsThatDisconnectAtEveryStage) {
  start();
  expectServesTheNext();
  const std::size_t before = openDescriptors();
  RawClient::to(server->port()).reset();
  RawClient::to(server->port()).close();
  {
    RawClient halfARequest = RawClient::to(server->port());
    ASSERT_TRUE(halfARequest.send("bplist00"));
    halfARequest.reset();
  }
  expectServesTheNext();
  {
    RawClient duringTheCommand = RawClient::to(server->port());
    onData([&](const Notification&) {
      go.pass();
      for (int i = 0; i < 3; ++i) sent.add(server->sendToClientResultObject(largeReply(8 << 20)));
    });
    const std::size_t chunksBefore = chunks.count();
    ASSERT_TRUE(duringTheCommand.send("?"));
    ASSERT_TRUE(chunks.waitFor(chunksBefore + 1));
    duringTheCommand.reset();
    go.open();
    ASSERT_TRUE(sent.waitFor(3));
    EXPECT_FALSE(sent.all()[2]);
  }
  {
    RawClient inMidReply = RawClient::to(server->port(), 4096);
    ASSERT_TRUE(inMidReply.send("?"));
    ASSERT_GT(inMidReply.readSome(10), 0u);
    inMidReply.reset();
    ASSERT_TRUE(sent.waitFor(6));
  }
  expectServesTheNext();
  server->stop();
  // stop() has also closed the listener and the waker's pipe.
  EXPECT_LE(openDescriptors(), before);
}

TEST_F(QVSocketServerTest, endsAConnectionWhoseClientReadsNothing) {
  onData([&](const Notification&) { sent.add(server->sendToClientResultObject(largeReply(16 << 20))); });
  start({.progress = 100ms});
  RawClient client = connected(4096);
  ASSERT_TRUE(client.send("?"));
  ASSERT_TRUE(sent.waitFor(1));
  EXPECT_FALSE(sent.all()[0]);
  ASSERT_TRUE(changes.waitFor(2));
  EXPECT_EQ(server->remoteSocket(), 0);
  expectServesTheNext();
}

// The socket becomes writable only when a third of its buffer is free, which takes longer than the limit with
// this reader.
TEST_F(QVSocketServerTest, keepsAConnectionWhoseClientReadsSlowly) {
  onData([&](const Notification&) { sent.add(server->sendToClientResultObject(largeReply(6 << 20))); });
  start({.progress = 1000ms});
  RawClient client = connected(65536);
  ASSERT_TRUE(client.send("?"));
  while (sent.count() == 0 && client.readSome(32768) > 0) std::this_thread::sleep_for(50ms);
  ASSERT_EQ(sent.count(), 1u);
  EXPECT_TRUE(sent.all()[0]);
}

TEST_F(QVSocketServerTest, setsTheKeepAliveOptionsOfConnections) {
  start();
  const RawClient client = connected();
  const int accepted = server->remoteSocket();
  EXPECT_EQ(option(accepted, SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(option(accepted, IPPROTO_TCP, TCP_KEEPIDLE), 20);
  EXPECT_EQ(option(accepted, IPPROTO_TCP, TCP_KEEPINTVL), 10);
  EXPECT_EQ(option(accepted, IPPROTO_TCP, TCP_KEEPCNT), 3);
  EXPECT_EQ(option(accepted, IPPROTO_TCP, TCP_USER_TIMEOUT), 45'000);
  EXPECT_EQ(timeOption(accepted, SO_RCVTIMEO).tv_sec, 10);
  EXPECT_EQ(timeOption(accepted, SO_SNDTIMEO).tv_sec, 10);
  EXPECT_EQ(option(server->serverSocket(), SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST_F(QVSocketServerTest, keepsItsSocketsFromChildProcesses) {
  start();
  const RawClient client = connected();
  EXPECT_NE(::fcntl(server->serverSocket(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(::fcntl(server->remoteSocket(), F_GETFD) & FD_CLOEXEC, 0);
}

// Connections inherit the listening socket's time-outs, which this test sets shorter than its pauses.
TEST_F(QVSocketServerTest, keepsAConnectionPastTheTimeOutsOfItsSocket) {
  start();
  const timeval shortTime{0, 20'000};
  ASSERT_EQ(::setsockopt(server->serverSocket(), SOL_SOCKET, SO_RCVTIMEO, &shortTime, sizeof shortTime), 0);
  std::this_thread::sleep_for(100ms);
  RawClient client = connected();
  ASSERT_EQ(timeOption(server->remoteSocket(), SO_RCVTIMEO).tv_usec, 20'000);
  std::this_thread::sleep_for(100ms);
  onData([&](const Notification&) { server->sendToClientErrorString("awake"); });
  ASSERT_TRUE(client.send("?"));
  EXPECT_EQ(client.readEnvelope()["error"], Value("awake"));
  EXPECT_FALSE(log.contains("could not read from socket"));
  EXPECT_FALSE(logged("QVSocketServer::runServer, accept failed"));
}

TEST_F(QVSocketServerTest, waitsUntilThereAreDescriptors) {
  start();
  RawClient client;
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_TRUE(client.connect(server->port()));
  EXPECT_TRUE(client.send("?"));
  std::this_thread::sleep_for(150ms);
  EXPECT_EQ(changes.count(), 0u);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(chunks.waitFor(1));
  EXPECT_FALSE(logged("QVSocketServer::runServer, accept failed"));
}

TEST_F(QVSocketServerTest, endsItsThreadWhenTheListenerFails) {
  start();
  ASSERT_EQ(::shutdown(server->serverSocket(), SHUT_RDWR), 0);
  for (int i = 0; i < 2000 && !log.contains("QVSocketServer::runServer, accept failed"); ++i) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_TRUE(log.contains("QVSocketServer::runServer, accept failed"));
  EXPECT_GE(server->serverSocket(), 0);
  ASSERT_TRUE(server->startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  expectServesTheNext();
}

TEST_F(QVSocketServerTest, stopsWhileItWaitsForAClient) {
  start();
  const std::uint16_t port = server->port();
  server->stop();
  EXPECT_FALSE(logged("QVSocketServer::runServer, accept failed"));
  RawClient late;
  EXPECT_FALSE(late.connect(port));
}

TEST_F(QVSocketServerTest, stopsWhileAClientIsConnected) {
  start();
  RawClient client = connected();
  server->stop();
  EXPECT_TRUE(client.readsToTheEnd());
  EXPECT_EQ(changes.count(), 2u);
  EXPECT_EQ(server->remoteSocket(), 0);
}

TEST_F(QVSocketServerTest, stopsWhileAReplyIsBeingWritten) {
  onData([&](const Notification&) { server->sendToClientResultObject(largeReply(16 << 20)); });
  start();
  RawClient client = connected(4096);
  ASSERT_TRUE(client.send("?"));
  ASSERT_GT(client.readSome(10), 0u);
  server->stop();
  EXPECT_EQ(changes.count(), 2u);
}

TEST_F(QVSocketServerTest, startsAgainOnItsPort) {
  start();
  const std::uint16_t port = server->port();
  RawClient client = connected();
  server->stop();
  ASSERT_TRUE(server->startServerOnPort(port, "My Mac", "_moxtelserver._tcp."));
  EXPECT_EQ(server->port(), port);
  expectServesTheNext();
}

// One thread sends replies, another serves clients that connect and disconnect, a third disconnects them: no
// reply may reach a descriptor that is no longer the client's. Most useful under ThreadSanitizer.
TEST_F(QVSocketServerTest, writesOnlyToTheClientsDescriptorAcrossThreads) {
  start();
  std::atomic<bool> done{false};
  std::thread sender([&] {
    while (!done) server->sendToClientResultObject("unasked");
  });
  std::thread disconnector([&] {
    while (!done) {
      QVSocketServer::disconnect();
      std::this_thread::sleep_for(1ms);
    }
  });
  for (int i = 0; i < 100; ++i) {
    RawClient client = RawClient::to(server->port());
    if (i % 2 == 0) client.readSome(100);
  }
  done = true;
  sender.join();
  disconnector.join();
  expectServesTheNext();
}

}  // namespace
}  // namespace moxtel
