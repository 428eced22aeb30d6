// The client's side of the connection: sends one command dictionary at a time and waits for its reply. The
// wire format is described in QVSocketServer.h.
//
// Calls block the calling thread. One exchange at a time, on one thread at a time; the class operations on
// any thread. Servers are untrusted: an exchange takes no longer than the limits allow, and no more memory
// than the bytes that arrived.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

class NotificationCenter;

struct SocketClientLimits {
  // For connecting, for sending the request, and for reading the reply's length.
  std::chrono::milliseconds answer{10'000};
  // The least number of bytes of the body that must arrive in each period of `answer`, except in the last.
  std::size_t bytesPerPeriod = 256;
  // A longer body is not read.
  std::uint64_t largestReply = UINT32_MAX;
};

// Why an exchange gave no reply.
enum class ExchangeFailure : std::uint8_t {
  NotConnected,
  RequestTooLong,  // longer than the 4096 bytes that a server reads
  NotSent,
  NoAnswer,      // in time, or the connection failed
  ClosedAtOnce,  // the server closed instead of answering
  ReplyTooLong,  // more than largestReply
  BrokenReply,   // the body ended early or arrived too slowly
  NotTaken,      // the caller rejected it
};

// Takes the body of a reply piece by piece; `length` is that of the whole body. Called once with an empty
// piece before the first byte is read. False rejects the rest.
using TakeBody = std::function<bool(std::span<const std::uint8_t> piece, std::uint32_t length)>;

class QVSocketClient final {
 public:
  // Creates a client and makes it the shared one. Borrows the notification center.
  static std::shared_ptr<QVSocketClient> create(NotificationCenter& notifications,
                                                SocketClientLimits limits = {});
  // Disconnects the shared client and drops it, if there is one.
  static void disconnectTheClient();

  QVSocketClient(const QVSocketClient&) = delete;
  QVSocketClient& operator=(const QVSocketClient&) = delete;

  // Connects over IPv4 to a host name or dotted quad; `name` is not used. On success posts
  // "ChangedServerStatus" with this as its object; on failure logs a line and returns false.
  bool connectTo(const std::string& host, std::string_view name, std::int32_t port);
  // Why the last connectTo failed, for the user; empty after success.
  const std::string& connectFailure() const { return connectFailure_; }
  // Closes the connection, if there is one, and posts "ChangedServerStatus" with this as its object.
  void disconnect();

  // For the exchanges that follow.
  void setLimits(const SocketClientLimits& limits) { limits_ = limits; }

  // The reply's body, or why there is none. A failure while the reply is read disconnects and posts
  // "ChangedServerStatus" with a null object.
  std::variant<Bytes, ExchangeFailure> exchange(const Dictionary& command);
  // The same for a body of any size: holds only one piece of it.
  std::optional<ExchangeFailure> exchange(const Dictionary& command, const TakeBody& take);

  // 0 before the first connection and after the end of one. After a failed connectTo it keeps the number of
  // the closed descriptor; exchanges then fail as NotSent.
  std::int32_t clientSocket() const { return clientSocket_; }

  // Kept for completeness from here to the end of the public part: the programs here use exchange().

  // The shared client, created if there is none.
  static std::shared_ptr<QVSocketClient> theClient(NotificationCenter& notifications);
  // Whether there is a shared client whose clientSocket() is not 0.
  static bool isConnected();
  // As exchange(), without the reason. If the server closes instead of answering, the data is empty.
  std::optional<Bytes> dataFromServerWithCommandDict(const Dictionary& command);
  // The reply's result. Nil, after a log line, for everything else, a reply with an error included.
  Value resultObjectFromServerWithCommandDict(const Dictionary& command);
  Value resultObjectFromServerWithCommand(std::string_view command);
  // For callers; no operation sets them.
  std::string serverName;
  std::string serverAddress;
  std::int32_t serverPort = 0;

 private:
  enum class Reading : std::uint8_t { Complete, Closed, Failed };
  using SteadyClock = std::chrono::steady_clock;

  QVSocketClient(NotificationCenter& notifications, SocketClientLimits limits);

  bool sendRequest(const Bytes& request);
  Reading readLength(std::uint32_t& length);
  std::optional<ExchangeFailure> readBody(std::uint32_t length, const TakeBody& take);
  std::optional<ExchangeFailure> readReply(const Dictionary& command, const TakeBody& take);
  ExchangeFailure fail(ExchangeFailure reason);

  NotificationCenter& notifications_;
  SocketClientLimits limits_;
  FileDescriptor connection_;
  std::int32_t clientSocket_ = 0;
  std::string connectFailure_;
};

}  // namespace moxtel
