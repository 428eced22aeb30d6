#include "net/QVSocketClient.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <span>
#include <system_error>

#include "log/Log.h"
#include "net/Sockets.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/system/SystemLog.h"
#include "plist/KeyedArchive.h"

namespace moxtel {

namespace {

constexpr std::size_t kLargestRequest = 4096;
constexpr std::uint32_t kLongReply = 1'000'000;
constexpr std::size_t kLargestPiece = 1 << 20;

std::mutex sharedMutex;
std::shared_ptr<QVSocketClient> sharedClient;

std::optional<sockaddr_in> addressOf(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return std::nullopt;
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(found, ::freeaddrinfo);
  auto address = *reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  address.sin_port = htons(port);
  return address;
}

// Waits until the socket is readable; false when the deadline comes first.
bool readableBefore(int socket, std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd poll{socket, POLLIN, 0};
    if (::poll(&poll, 1, static_cast<int>(left.count())) > 0) return true;
  }
}

// The number of bytes read: 0 at the end of the stream, -1 after an error or the deadline.
ssize_t readSome(int socket, std::span<std::uint8_t> into, std::chrono::steady_clock::time_point deadline) {
  while (readableBefore(socket, deadline)) {
    const ssize_t count = ::recv(socket, into.data(), into.size(), MSG_DONTWAIT);
    if (count >= 0) return count;
    if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) return -1;
  }
  return -1;
}

// Why a connect() failed. When its time is over, it fails with one of the two errors that mean "in progress".
std::string messageOf(int error) {
  if (error == EINPROGRESS || error == EAGAIN) return "no answer in time";
  return std::generic_category().message(error);
}

// Requires a minimum of bytes in each period, so that a server that sends single bytes cannot block the
// client without end.
class Pace {
 public:
  explicit Pace(const SocketClientLimits& limits) : limits_(limits) { begin(); }
  std::chrono::steady_clock::time_point deadline() const { return deadline_; }
  void received(std::size_t count) {
    inPeriod_ += count;
    if (inPeriod_ >= limits_.bytesPerPeriod) begin();
  }

 private:
  void begin() {
    inPeriod_ = 0;
    deadline_ = std::chrono::steady_clock::now() + limits_.answer;
  }

  const SocketClientLimits& limits_;
  std::size_t inPeriod_ = 0;
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace

QVSocketClient::QVSocketClient(NotificationCenter& notifications, SocketClientLimits limits)
    : notifications_(notifications), limits_(limits) {}

std::shared_ptr<QVSocketClient> QVSocketClient::create(NotificationCenter& notifications,
                                                       SocketClientLimits limits) {
  std::shared_ptr<QVSocketClient> client(new QVSocketClient(notifications, limits));
  const std::lock_guard lock(sharedMutex);
  sharedClient = client;
  return client;
}

void QVSocketClient::disconnectTheClient() {
  std::shared_ptr<QVSocketClient> client;
  {
    const std::lock_guard lock(sharedMutex);
    client = std::move(sharedClient);
    sharedClient.reset();
  }
  if (client) client->disconnect();
}

bool QVSocketClient::connectTo(const std::string& host, std::string_view /*name*/, std::int32_t port) {
  const auto address = addressOf(host, static_cast<std::uint16_t>(port));
  if (!address) {
    LogDebug("could not gethostbyname for '%@'", host);
    connectFailure_ = "no such host is known";
    return false;
  }
  connection_.close();
  clientSocket_ = 0;
  connection_ = makeStreamSocket();
  if (!connection_) {
    connectFailure_ = messageOf(errno);
    LogDebug("could not make socket");
    return false;
  }
  clientSocket_ = connection_.get();
  setSocketTimeouts(clientSocket_, std::max(std::chrono::ceil<std::chrono::seconds>(limits_.answer),
                                            std::chrono::seconds(1)));
  if (::connect(clientSocket_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    connectFailure_ = messageOf(errno);
    LogDebug("could not connect");
    connection_.close();
    return false;
  }
  connectFailure_.clear();
  LogDebug("created socket: %d", clientSocket_);
  notifications_.post("ChangedServerStatus", this, {});
  return true;
}

void QVSocketClient::disconnect() {
  connection_.close();
  clientSocket_ = 0;
  notifications_.post("ChangedServerStatus", this, {});
}

// The body grows with the bytes that arrive: a large length alone costs no memory.
std::variant<Bytes, ExchangeFailure> QVSocketClient::exchange(const Dictionary& command) {
  Bytes body;
  const auto append = [&body](std::span<const std::uint8_t> piece, std::uint32_t) {
    body.insert(body.end(), piece.begin(), piece.end());
    return true;
  };
  if (const auto failure = exchange(command, append)) return *failure;
  return body;
}

std::optional<ExchangeFailure> QVSocketClient::exchange(const Dictionary& command, const TakeBody& take) {
  if (clientSocket_ == 0) return ExchangeFailure::NotConnected;
  LogDebug("QVSocketClient::dataFromServerWithCommandDict: %@", command);
  const Bytes request = archivedData(command);
  if (request.size() > kLargestRequest || !sendRequest(request)) {
    LogDebug("could not write to socket");
    return request.size() > kLargestRequest ? ExchangeFailure::RequestTooLong : ExchangeFailure::NotSent;
  }
  return readReply(command, take);
}

bool QVSocketClient::sendRequest(const Bytes& request) {
  const std::array<Piece, 1> pieces{request};
  return connection_ && sendPieces(connection_.get(), pieces, limits_.answer);
}

std::optional<ExchangeFailure> QVSocketClient::readReply(const Dictionary& command, const TakeBody& take) {
  std::uint32_t length = 0;
  const Reading reading = readLength(length);
  if (reading == Reading::Closed) return ExchangeFailure::ClosedAtOnce;
  const bool isLong = length > kLongReply;
  if (isLong) LogDebug("reading %u bytes .... for: %@", length, command);
  if (reading == Reading::Failed) return fail(ExchangeFailure::NoAnswer);
  if (length > limits_.largestReply) return fail(ExchangeFailure::ReplyTooLong);
  if (const auto failure = readBody(length, take)) return fail(*failure);
  if (isLong) LogDebug(".... done!");
  return std::nullopt;
}

QVSocketClient::Reading QVSocketClient::readLength(std::uint32_t& length) {
  const auto deadline = SteadyClock::now() + limits_.answer;
  std::array<std::uint8_t, sizeof length> bytes;
  for (std::size_t have = 0; have < bytes.size();) {
    const ssize_t count = readSome(connection_.get(), std::span(bytes).subspan(have), deadline);
    if (count < 0) return Reading::Failed;
    if (count == 0) return have == 0 ? Reading::Closed : Reading::Failed;
    have += static_cast<std::size_t>(count);
  }
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(&length));
  return Reading::Complete;
}

std::optional<ExchangeFailure> QVSocketClient::readBody(std::uint32_t length, const TakeBody& take) {
  if (!take({}, length)) return ExchangeFailure::NotTaken;
  Pace pace(limits_);
  Bytes piece(std::min<std::size_t>(length, kLargestPiece));
  for (std::size_t have = 0; have < length;) {
    const auto wanted = std::span(piece).first(std::min<std::size_t>(piece.size(), length - have));
    const ssize_t count = readSome(connection_.get(), wanted, pace.deadline());
    if (count <= 0) return ExchangeFailure::BrokenReply;
    const auto size = static_cast<std::size_t>(count);
    if (!take(wanted.first(size), length)) return ExchangeFailure::NotTaken;
    have += size;
    pace.received(size);
  }
  return std::nullopt;
}

// Closes: the rest of this reply could not be distinguished from the next one.
ExchangeFailure QVSocketClient::fail(ExchangeFailure reason) {
  NSLog("could not read from socket");
  connection_.close();
  clientSocket_ = 0;
  notifications_.post("ChangedServerStatus", nullptr, {});
  return reason;
}

// Kept for completeness.

std::shared_ptr<QVSocketClient> QVSocketClient::theClient(NotificationCenter& notifications) {
  {
    const std::lock_guard lock(sharedMutex);
    if (sharedClient) return sharedClient;
  }
  return create(notifications);
}

bool QVSocketClient::isConnected() {
  const std::lock_guard lock(sharedMutex);
  return sharedClient && sharedClient->clientSocket() != 0;
}

std::optional<Bytes> QVSocketClient::dataFromServerWithCommandDict(const Dictionary& command) {
  auto outcome = exchange(command);
  if (auto* body = std::get_if<Bytes>(&outcome)) return std::move(*body);
  if (std::get<ExchangeFailure>(outcome) == ExchangeFailure::ClosedAtOnce) return Bytes();
  return std::nullopt;
}

Value QVSocketClient::resultObjectFromServerWithCommandDict(const Dictionary& command) {
  LogDebug("QVSocketClient::resultObjectFromServerWithCommandDict: %@", command);
  const auto body = dataFromServerWithCommandDict(command);
  if (!body) return {};
  const auto decoded = unarchivedObject(*body);
  if (const auto* error = std::get_if<DecodingError>(&decoded)) {
    NSLog("unarchiveObject got exception: %@", error->reason);
    return {};
  }
  const Value& envelope = std::get<Value>(decoded);
  if (const Value& result = envelope["result"]; !result.isNil()) return result;
  if (const Value& error = envelope["error"]; !error.isNil()) NSLog("GOT ERROR FROM SERVER: '%@'", error);
  return {};
}

Value QVSocketClient::resultObjectFromServerWithCommand(std::string_view command) {
  return resultObjectFromServerWithCommandDict(Dictionary{{"command", command}});
}

}  // namespace moxtel
