// The only listener for requests and the only writer of replies: serves one client at a time on its accept
// thread, posts each chunk of bytes that it reads as a notification, and frames replies. Other clients wait:
// ClientListener accepts them on a thread of its own. While clients wait, the turn of the one that is served
// ends by the rules of WaitingClients; for the observers this looks like any other disconnect.
//
// Request: the bytes of a keyed archive, without length or delimiter; every successful read of at most 4096
// bytes counts as one whole request. Reply: 4 bytes of length (unsigned, the machine's byte order), then that
// many bytes of the keyed archive of {"result": object} or {"error": text}.
//
// Notifications, posted on the accept thread, which reads on only after every observer has returned:
//
//   "ChangedConnection"  object null, userInfo {"clientip"}      a client was accepted
//   "ChangedConnection"  object null, userInfo nil               the client has disconnected
//   "GotData"            object the server, userInfo {"data"}    each successful read
//
// The first one has no "clientname": the client would wait while its name is looked up.
//
// An ordinary object: its owner, MXPAppDelegate, constructs, starts, stops and destroys it on the core
// thread. The class operations find the server that was constructed last. Only the accept thread closes the
// client's connection; other threads shut it down, and the accept thread then closes it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "net/AddressList.h"
#include "net/ClientListener.h"
#include "net/ReplyChannel.h"
#include "net/ReplyPace.h"
#include "net/Sockets.h"
#include "net/WaitingClients.h"
#include "platform/files/FileDescriptor.h"
#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel {

class DnsSd;
struct PublicationState;
class NotificationCenter;
class Publication;

struct SocketServerLimits {
  // How long a client may acknowledge no byte of a reply before its connection ends.
  std::chrono::milliseconds progress{10'000};
  // How long after its last byte a client that closed its sending side still counts as there; see
  // isClientGone().
  std::chrono::milliseconds patienceWithSilence{5000};
  // The longest archive, in bytes, that the frame's length can express.
  std::uint64_t largestReply = UINT32_MAX;
  // The longest archive of an object; a longer one throws ArchiveTooLargeError, and nothing is sent.
  std::uint64_t largestObject = kLargestReplyArchive;
  // A client that takes a reply more slowly is disconnected while another client waits.
  ReplyPace::Limits pace{};
  WaitingClients::Limits waiting{};
};

// Where the server listens, and to whom.
struct SocketServerAccess {
  IPv4Address listenAddress = 0;  // 0: all addresses of this machine
  AddressList allowedClients{};   // empty: every client
};

class QVSocketServer final : public ReplyChannel {
 public:
  // Becomes the shared server. Borrows the notification center and the publisher. Without a publisher, a
  // start fails after it has begun to listen.
  QVSocketServer(NotificationCenter& notifications, DnsSd* dnsSd, const SocketServerLimits& limits = {});
  // Stops the server. It is no longer the shared one.
  ~QVSocketServer() override;
  QVSocketServer(const QVSocketServer&) = delete;
  QVSocketServer& operator=(const QVSocketServer&) = delete;

  // The class operations, for any thread. They do nothing without a shared server.

  // The shared server: the one constructed last; null before the first and after its destruction.
  static QVSocketServer* theServer();
  // Whether the shared server has a client.
  static bool isConnected();
  // Whether no client waits for the reply in progress: there is none, its connection has ended, or it closed
  // its sending side and sent its last byte some seconds ago. TCP does not distinguish a client that has
  // closed its connection from one that only sends no more.
  static bool isClientGone();
  // Ends the shared server's connection at once, if there is one. The accept thread notices it, resets
  // remoteSocket() and posts "ChangedConnection" soon after.
  static void disconnect();
  // For a program that ends while a reply may be in progress: ends the shared server's connection, so that
  // the thread that writes to it continues, and serves no other client until the next start.
  static void closeToClients();

  // Sets the observer of the publication's states, called on the core thread. Call before
  // startServerOnPort().
  void setPublicationObserver(std::function<void(const PublicationState&)> observer);

  // For the next start. Without this call, every client may connect to every address.
  void setAccess(SocketServerAccess access) { access_ = std::move(access); }
  // Listens on the low 16 bits of the port (0: any free one) over IPv4, publishes the service and starts the
  // threads that accept and serve clients. On failure logs a line and returns false. Stops a running server
  // first.
  bool startServerOnPort(std::int32_t port, const std::string& bonjourName, const std::string& type);
  // Why the last start failed, for the user.
  const std::string& startFailure() const { return startFailure_; }
  // Ends all connections, the listener, the publication and the threads, and waits for these. An observer may
  // be waiting for the core's loop, so the loop must run on another thread or have ended.
  void stop();

  // Each writes one reply on the calling thread; replies of different threads never mix. False when no client
  // is connected, when the reply cannot be written whole, or when the archive is too large for a frame.
  bool sendToClientResultObject(Value object) override;
  bool sendToClientResultData(ReplyData data) override;
  bool sendToClientErrorString(std::string_view text) override;
  bool sendToClientSerializedObject(Value object) override;

  // Logs that publishing failed after the start; the listener keeps running. Any thread.
  void netServiceDidNotPublish(const Dictionary& errorDict);

  // The client's descriptor, 0 when there is none. Any thread.
  std::int32_t remoteSocket() const { return remoteSocket_.load(); }
  // The listening descriptor, -1 when there is none.
  std::int32_t serverSocket() const { return serverSocket_.get(); }
  // The port that the server listens on, 0 when it does not listen.
  std::uint16_t port() const;

 private:
  void rememberFailure(int error);
  bool listenOn(std::uint16_t port);
  bool publish(const std::string& bonjourName, const std::string& type);
  bool startThreads();

  void runServer();
  void serve(ClientListener::Client client);
  bool hasLostClient();
  void beginConnection(FileDescriptor connection);
  WaitingClients::Ending readRequests();
  bool readRequest();
  FileDescriptor endConnection(WaitingClients::Ending how);
  void cutConnection();
  void refuseClients();
  bool sendFileReply(const OpenFile& file);
  bool sendFrame(std::uint64_t archiveSize, const std::function<bool(MessageWriter&, Piece length)>& write);
  void notify(std::string_view name, const void* object, Value userInfo);

  NotificationCenter& notifications_;
  DnsSd* const dnsSd_;
  const SocketServerLimits limits_;

  FileDescriptor serverSocket_;
  std::string startFailure_;
  std::function<void(const PublicationState&)> publicationObserver_;
  std::unique_ptr<Publication> netService_;
  SocketServerAccess access_;
  std::unique_ptr<ClientListener> listener_;  // while the server runs
  std::thread thread_;

  // While sending_ is held, the descriptor in remoteSocket_ is not closed. ending_ is held only briefly,
  // never while waiting. Locked in this order.
  std::mutex sending_;
  std::mutex ending_;
  FileDescriptor connection_;  // changed by the accept thread, holding ending_
  std::atomic<std::int32_t> remoteSocket_{0};
  std::atomic<bool> cut_{false};       // this side ended the connection
  std::atomic<bool> stopping_{false};  // changed holding ending_
};

}  // namespace moxtel
