#include "client/ServerSession.h"

#include <algorithm>

#include "client/Json.h"
#include "plist/KeyedArchive.h"

namespace moxtel {

namespace {

// A server that ended the connection because others wait serves each of them for up to a minute.
constexpr int kPatienceForAnotherTurn = 12;

// A result may repeat texts; a list repeats the keys of its entries.
constexpr std::uint64_t kTextForEachByte = 16;
constexpr std::uint64_t kTextOfAnyReply = std::uint64_t{64} << 20;

using Kind = RequestFailure::Kind;

std::string secondsText(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(time).count();
  return std::to_string(seconds) + (seconds == 1 ? " second" : " seconds");
}

// A regular archive has at least one byte for each value.
ArchiveLimits limitsFor(std::size_t size) {
  return {.depth = 128, .values = std::max<std::size_t>(size, 1000)};
}

bool isGreeting(const Dictionary& command) { return command["command"] == Value("Get Version"); }

}  // namespace

std::variant<Value, RequestFailure> resultOf(std::span<const std::uint8_t> reply) {
  const auto decoded = unarchivedObject(reply, limitsFor(reply.size()));
  if (const auto* error = std::get_if<DecodingError>(&decoded)) {
    return RequestFailure{Kind::Answered, "the server's answer cannot be read: " + error->reason};
  }
  const Value& envelope = std::get<Value>(decoded);
  const std::uint64_t most = kTextOfAnyReply + kTextForEachByte * reply.size();
  if (jsonSize(envelope, most) > most) {
    return RequestFailure{Kind::Answered, "the server's answer unfolds into too much text"};
  }
  if (const Value& result = envelope["result"]; !result.isNil()) return result;
  const Value& error = envelope["error"];
  return RequestFailure{Kind::Answered, error.isString() ? std::string(error.string())
                                                         : "the server's answer contains no result"};
}

ServerSession::ServerSession(ServerAddress server, SocketClientLimits limits)
    : server_(std::move(server)), limits_(limits) {}

ServerSession::~ServerSession() { close(); }

std::variant<Value, RequestFailure> ServerSession::ask(const Dictionary& command, std::uint64_t largest) {
  Bytes body;
  const auto append = [&](std::span<const std::uint8_t> piece, std::uint32_t length) {
    if (piece.empty()) body.clear();
    body.insert(body.end(), piece.begin(), piece.end());
    return length <= largest;
  };
  if (auto failure = receive(command, append)) {
    if (failure->kind == Kind::NotTaken) failure->text = "the server's answer is too long";
    return *failure;
  }
  return resultOf(body);
}

std::optional<RequestFailure> ServerSession::receive(const Dictionary& command, const TakeBody& take) {
  for (bool isSecondTry = false;; isSecondTry = true) {
    if (!client_) {
      if (auto failure = open(!isGreeting(command))) return failure;
    }
    const auto failure = client_->exchange(command, take);
    if (!failure) {
      hasGreeted_ = wasServed_ = true;
      return std::nullopt;
    }
    const RequestFailure described = describe(*failure);
    close();
    const bool isTurnOver = *failure == ExchangeFailure::ClosedAtOnce || *failure == ExchangeFailure::NotSent;
    if (!isTurnOver || !wasServed_ || isSecondTry) return described;
  }
}

std::optional<RequestFailure> ServerSession::open(bool greets) {
  client_ = QVSocketClient::create(notifications_, limits_);
  if (!client_->connectTo(server_.host, "", server_.port)) {
    const std::string reason = client_->connectFailure();
    close();
    return RequestFailure{Kind::Unanswered, "could not connect to " + server_.host + ", port " +
                                                std::to_string(server_.port) + ": " + reason};
  }
  return greets ? greet() : std::nullopt;
}

std::optional<RequestFailure> ServerSession::greet() {
  const auto ignore = [](std::span<const std::uint8_t>, std::uint32_t length) { return length <= 4096; };
  client_->setLimits(limitsOfGreeting());
  const auto failure = client_->exchange(Dictionary{{"command", "Get Version"}}, ignore);
  if (!failure) {
    client_->setLimits(limits_);
    hasGreeted_ = true;
    return std::nullopt;
  }
  const RequestFailure described = describe(*failure);
  close();
  return described;
}

void ServerSession::close() {
  client_.reset();
  hasGreeted_ = false;
  QVSocketClient::disconnectTheClient();
}

SocketClientLimits ServerSession::limitsOfGreeting() const {
  SocketClientLimits limits = limits_;
  if (wasServed_) limits.answer *= kPatienceForAnotherTurn;
  return limits;
}

RequestFailure ServerSession::describe(ExchangeFailure failure) const {
  const std::string time = secondsText((hasGreeted_ ? limits_ : limitsOfGreeting()).answer);
  switch (failure) {
    case ExchangeFailure::RequestTooLong:
      return {Kind::Answered, "the request is too long: a server takes 4096 bytes"};
    case ExchangeFailure::NoAnswer:
      return {Kind::Unanswered,
              hasGreeted_ ? "no answer within " + time +
                                ": the server is busy, cannot read its library, or has no such photo"
                          : "the server accepted the connection but did not answer within " + time +
                                ": another device is probably connected, and it serves one at a time"};
    case ExchangeFailure::ClosedAtOnce:
      return {Kind::Unanswered, "the server closed the connection without an answer"};
    case ExchangeFailure::ReplyTooLong:
      return {Kind::Answered, "the server's answer is too long"};
    case ExchangeFailure::BrokenReply:
      return {Kind::Broken, "the server's answer broke off"};
    case ExchangeFailure::NotTaken:
      return {Kind::NotTaken, "the server's answer was not taken"};
    case ExchangeFailure::NotConnected:
    case ExchangeFailure::NotSent:
      break;
  }
  return {Kind::Unanswered, "the request could not be sent"};
}

}  // namespace moxtel
