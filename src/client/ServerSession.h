// Commands to one server over one connection, each sent after the reply to the one before. Blocks the calling
// thread; one session at a time in a process.
//
// The first command of a connection is "Get Version". A server that serves another device accepts the
// connection and does not answer; after the reply, a missing answer has another reason.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "net/QVSocketClient.h"
#include "platform/loop/NotificationCenter.h"

namespace moxtel {

inline constexpr std::uint16_t kServerPort = 4250;

// Of a reply that is held in memory, in bytes. That of a library of a million photos has a fifth of it.
inline constexpr std::uint64_t kLargestReply = std::uint64_t{1} << 30;

struct ServerAddress {
  std::string host;
  std::uint16_t port = kServerPort;
};

// Why there is no result.
struct RequestFailure {
  enum class Kind : std::uint8_t {
    Answered,    // the server answered with an error, or with something that cannot be used
    Unanswered,  // no answer, or no connection
    Broken,      // the answer broke off
    NotTaken,    // the caller rejected the answer
  };
  Kind kind = Kind::Unanswered;
  std::string text;  // for the user; untrusted
};

// The result of a reply, or what it has instead. Rejects a reply that unfolds into more values than it has
// bytes, or into much more text: few bytes can refer to one value many times.
std::variant<Value, RequestFailure> resultOf(std::span<const std::uint8_t> reply);

class ServerSession final {
 public:
  ServerSession(ServerAddress server, SocketClientLimits limits);
  ~ServerSession();
  ServerSession(const ServerSession&) = delete;
  ServerSession& operator=(const ServerSession&) = delete;

  // Connects when it is necessary: at first, and when a server has ended the connection between two commands
  // because others wait. A longer reply than `largest` bytes is not read.
  std::variant<Value, RequestFailure> ask(const Dictionary& command, std::uint64_t largest = kLargestReply);
  // The same, with the reply for the caller, piece by piece; may call take from the beginning again.
  std::optional<RequestFailure> receive(const Dictionary& command, const TakeBody& take);

 private:
  std::optional<RequestFailure> open(bool greets);
  std::optional<RequestFailure> greet();
  void close();
  RequestFailure describe(ExchangeFailure failure) const;
  SocketClientLimits limitsOfGreeting() const;

  const ServerAddress server_;
  const SocketClientLimits limits_;
  NotificationCenter notifications_;
  std::shared_ptr<QVSocketClient> client_;  // null when there is no connection
  bool hasGreeted_ = false;                 // the server answered on this connection
  bool wasServed_ = false;                  // it has answered a command before
};

}  // namespace moxtel
