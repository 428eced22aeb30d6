// The client's side of the connection: sends one command dictionary at a time and waits for its reply. The
// wire is the one of QVSocketServer.
//
// Calls block the calling thread. One exchange at a time, on one thread at a time; the class operations on
// any. A server is a stranger: nothing it sends makes an exchange longer than its limits or takes more memory
// than it really sent.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

class NotificationCenter;

struct SocketClientLimits {
  // For connecting, for the request, for the whole of the reply's length.
  std::chrono::milliseconds answer{10'000};
  // The body must bring so many bytes in each such stretch of time, or its last ones.
  std::size_t bytesPerStretch = 256;
  // A longer body is not read at all.
  std::uint64_t largestReply = UINT32_MAX;
};

// Why an exchange gave no reply.
enum class ExchangeFailure : std::uint8_t {
  NotConnected,
  RequestTooLong,  // more than the 4096 bytes that a server reads
  NotSent,
  NoAnswer,      // in time, or the connection failed
  ClosedAtOnce,  // the server closed instead of answering
  ReplyTooLong,  // more than largestReply
  BrokenReply,   // the body stopped, or came too slowly
};

class QVSocketClient final {
 public:
  // A new client, which becomes the shared one. Borrows the notification centre.
  static std::shared_ptr<QVSocketClient> create(NotificationCenter& notifications,
                                                SocketClientLimits limits = {});
  // The shared client, made if there is none.
  static std::shared_ptr<QVSocketClient> theClient(NotificationCenter& notifications);
  // Whether there is a shared client whose clientSocket() is not 0.
  static bool isConnected();
  // Disconnects the shared client, if there is one, and drops it.
  static void disconnectTheClient();

  QVSocketClient(const QVSocketClient&) = delete;
  QVSocketClient& operator=(const QVSocketClient&) = delete;

  // By host name or dotted quad, over IPv4; the name for people is not used. False after a log line. Posts
  // "ChangedServerStatus" with this as its object.
  bool connectTo(const std::string& host, std::string_view name, std::int32_t port);
  // Why the last connectTo could not, for people; empty when it could.
  const std::string& connectFailure() const { return connectFailure_; }
  // Closes, and posts "ChangedServerStatus" with this as its object, connected or not.
  void disconnect();

  // The reply's body, or why there is none. A failure on the way of the reply disconnects and posts
  // "ChangedServerStatus" with a null object.
  std::variant<Bytes, ExchangeFailure> exchange(const Dictionary& command);
  // The same without the reason. A server that closes instead of answering gives empty data.
  std::optional<Bytes> dataFromServerWithCommandDict(const Dictionary& command);
  // The reply's result; nil after a log line for everything else, a reply with an error included.
  Value resultObjectFromServerWithCommandDict(const Dictionary& command);
  Value resultObjectFromServerWithCommand(std::string_view command);

  // 0 before the first connection and after the end of one. After a connectTo that could not connect it holds
  // a number that names no open descriptor any more; exchanges fail as not sent.
  std::int32_t clientSocket() const { return clientSocket_; }

  // For callers' use; nothing here sets them.
  std::string serverName;
  std::string serverAddress;
  std::int32_t serverPort = 0;

 private:
  enum class Reading : std::uint8_t { Complete, Closed, Failed };
  using SteadyClock = std::chrono::steady_clock;

  QVSocketClient(NotificationCenter& notifications, SocketClientLimits limits);

  bool sendRequest(const Bytes& request);
  Reading readLength(std::uint32_t& length);
  bool readBody(std::uint32_t length, Bytes& body);
  std::variant<Bytes, ExchangeFailure> readReply(const Dictionary& command);
  ExchangeFailure fail(ExchangeFailure reason);

  NotificationCenter& notifications_;
  const SocketClientLimits limits_;
  FileDescriptor connection_;
  std::int32_t clientSocket_ = 0;
  std::string connectFailure_;
};

}  // namespace moxtel
