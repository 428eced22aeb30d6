// The one listener through which every request enters, and the only writer of replies: accepts one client at
// a time on a thread of its own, hands on each chunk that it reads as a notification, and frames replies.
//
// Request: the bytes of a keyed archive, without length or delimiter; every successful read of at most 4096
// bytes counts as one whole request. Reply: 4 bytes of length (unsigned, the machine's byte order), then so
// many bytes of keyed archive of {"result": object} or {"error": text}.
//
// Notifications, posted on the accept thread, which reads on only after every observer has returned:
//
//   "ChangedConnection"  object null, userInfo {"clientip", "clientname"}   a client was accepted; no
//                                                                            "clientname" when it has none
//   "ChangedConnection"  object null, userInfo nil                           the client has gone
//   "GotData"            object the server, userInfo {"data"}                each successful read
//
// Made, started, stopped and destroyed on the core thread. The accept thread alone closes the client's
// connection; whoever wants it to end shuts it down and leaves the rest to that thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "net/ReplyChannel.h"
#include "net/Sockets.h"
#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

class DnsSd;
struct PublicationState;
class NotificationCenter;
class Publication;

struct SocketServerLimits {
  // So long a client may take without acknowledging one byte of a reply; then its connection ends.
  std::chrono::milliseconds progress{10'000};
  // Bytes of an archive that the frame's length can tell.
  std::uint64_t largestReply = UINT32_MAX;
};

class QVSocketServer final : public ReplyChannel {
 public:
  // The host name of an address in dotted-quad text; bounded in time, as it stands before a first request.
  using HostLookup = std::function<std::optional<std::string>(const std::string& address)>;

  // Becomes the shared server. Borrows the notification centre and the publisher; without a publisher a start
  // fails once it listens.
  QVSocketServer(NotificationCenter& notifications, DnsSd* dnsSd);
  QVSocketServer(NotificationCenter& notifications, DnsSd* dnsSd, HostLookup lookUp,
                 SocketServerLimits limits = {});
  // stop()s.
  ~QVSocketServer() override;
  QVSocketServer(const QVSocketServer&) = delete;
  QVSocketServer& operator=(const QVSocketServer&) = delete;

  // The server made last, null before the first and after its end. Any thread.
  static QVSocketServer* theServer();
  // Whether the shared server has a client. Any thread.
  static bool isConnected();
  // Ends the shared server's connection, if there is one, at once. The accept thread notices, resets
  // remoteSocket() and posts "ChangedConnection" soon after. Any thread.
  static void disconnect();
  // For a program that is to end while a reply may still be on its way: ends the shared server's connection,
  // so that whoever writes to it goes on, and lets no other begin until the next start. Any thread.
  static void closeToClients();

  // Hears every state of the publication, on the core thread, for the lines that the user sees. Call before
  // startServerOnPort().
  void setPublicationObserver(std::function<void(const PublicationState&)> observer);

  // Listens on the low 16 bits of the port (0: one that is free) on all IPv4 addresses, publishes the service
  // and starts the accept thread. False after a log line when that fails. A server that runs is stopped
  // first.
  bool startServerOnPort(std::int32_t port, const std::string& bonjourName, const std::string& type);
  // Why the last start failed, in words for the user.
  const std::string& startFailure() const { return startFailure_; }
  // Ends connection, listener, publication and accept thread, and waits for the thread: an observer that
  // waits for the core thread must be able to go on, so the core's loop runs elsewhere or has ended.
  void stop();

  // The envelope's bytes follow one another on whatever thread calls; two replies never mix. False when no
  // client is connected, when it cannot be told all of it, or when the archive is too large to be framed.
  bool sendToClientResultObject(Value object) override;
  bool sendToClientResultData(ReplyData data) override;
  bool sendToClientErrorString(std::string_view text) override;
  bool sendToClientSerializedObject(Value object) override;

  // Publishing failed later on; the listener keeps running. Any thread.
  void netServiceDidNotPublish(const Dictionary& errorDict);

  // The client's descriptor, 0 when there is none. Any thread.
  std::int32_t remoteSocket() const { return remoteSocket_.load(); }
  // The listening descriptor, -1 when there is none.
  std::int32_t serverSocket() const { return serverSocket_.get(); }
  // The port that it listens on, 0 when it does not.
  std::uint16_t port() const;

 private:
  void rememberFailure(int error);
  bool listenOn(std::uint16_t port);
  bool publish(const std::string& bonjourName, const std::string& type);
  bool startThread();

  void runServer();
  FileDescriptor acceptNext(sockaddr_in& peer);
  bool waitForClient() const;
  void serve(FileDescriptor connection, const sockaddr_in& peer);
  void beginConnection(FileDescriptor connection);
  void readRequests();
  void endConnection();
  void cutConnection();
  void refuseClients();
  bool sendFileReply(const OpenFile& file);
  bool sendFrame(std::uint64_t archiveSize, const std::function<bool(int socket, Piece length)>& write);
  void notify(std::string_view name, const void* object, Value userInfo);

  NotificationCenter& notifications_;
  DnsSd* const dnsSd_;
  const HostLookup lookUp_;
  const SocketServerLimits limits_;

  FileDescriptor serverSocket_;
  std::string startFailure_;
  std::function<void(const PublicationState&)> publicationObserver_;
  std::unique_ptr<Publication> netService_;
  std::unique_ptr<Waker> waker_;
  std::thread thread_;

  // Who holds sending_ may use remoteSocket_ as a descriptor: it is not closed meanwhile. ending_ is held
  // only for moments. Locked in this order.
  std::mutex sending_;
  std::mutex ending_;
  FileDescriptor connection_;  // changed by the accept thread, holding ending_
  std::atomic<std::int32_t> remoteSocket_{0};
  std::atomic<bool> cut_{false};       // this side ended the connection
  std::atomic<bool> stopping_{false};  // changed holding ending_
};

}  // namespace moxtel
