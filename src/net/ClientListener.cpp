#include "net/ClientListener.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <limits>
#include <system_error>

#include "log/Log.h"

namespace moxtel {

namespace {

using Ending = WaitingClients::Ending;
using TurnEnd = WaitingClients::TurnEnd;
using std::chrono::milliseconds;

constexpr milliseconds kShortagePause{100};

// Errors of one waiting connection or of the network, after which the listener still works.
bool isTemporaryAcceptError(int error) {
  constexpr std::array kTemporary{EINTR,       EAGAIN,    EWOULDBLOCK,  ECONNABORTED, EPROTO,      ENETDOWN,
                                  ENOPROTOOPT, EHOSTDOWN, EHOSTUNREACH, EOPNOTSUPP,   ENETUNREACH, ETIMEDOUT};
  return std::find(kTemporary.begin(), kTemporary.end(), error) != kTemporary.end();
}

// The connection stays in the backlog: accept() would fail again at once, so the caller pauses first.
bool isShortage(int error) {
  constexpr std::array kShortages{EMFILE, ENFILE, ENOBUFS, ENOMEM, EPERM};
  return std::find(kShortages.begin(), kShortages.end(), error) != kShortages.end();
}

WaitingClients::Moment now() { return std::chrono::steady_clock::now(); }

IPv4Address addressOf(const sockaddr_in& peer) { return ntohl(peer.sin_addr.s_addr); }

// Whether the peer has closed its connection, or its sending side without having sent anything.
bool isDisconnected(int connection) {
  std::uint8_t byte = 0;
  const ssize_t count = ::recv(connection, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return count == 0 || (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

// For poll(): -1 without an end.
int timeUntil(const std::optional<TurnEnd>& end) {
  if (!end) return -1;
  const auto left = std::chrono::ceil<milliseconds>(end->at - now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
}

}  // namespace

ClientListener::ClientListener(int listeningSocket, AddressList allowed, const WaitingClients::Limits& limits)
    : listeningSocket_(listeningSocket), allowed_(std::move(allowed)), waiting_(limits) {
  if (!stop_) throw std::system_error(errno, std::generic_category(), "pipe");
  thread_ = std::thread([this] { run(); });
}

ClientListener::~ClientListener() {
  stop();
  thread_.join();
}

void ClientListener::stop() { stop_.wake(); }

void ClientListener::run() {
  while (waitForConnection()) {
    sockaddr_in peer{};
    FileDescriptor connection = acceptConnection(listeningSocket_, peer);
    if (connection) {
      add(std::move(connection), peer);
    } else if (isShortage(errno)) {
      stop_.wokenWithin(kShortagePause);
    } else if (!isTemporaryAcceptError(errno)) {
      break;
    }
  }
  const std::lock_guard lock(mutex_);
  isOver_ = true;
  changed_.signal();
}

// False when the server stops.
bool ClientListener::waitForConnection() const {
  std::array<pollfd, 2> sources{{{listeningSocket_, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}}};
  while (::poll(sources.data(), sources.size(), -1) < 0) {
    if (errno != EINTR) stop_.wokenWithin(kShortagePause);
  }
  return sources[1].revents == 0;
}

void ClientListener::add(FileDescriptor connection, const sockaddr_in& peer) {
  const IPv4Address address = addressOf(peer);
  if (!allowed_.empty() && !allowed_.contains(address)) {
    LogDebug("'%@' is not an allowed client", dottedQuad(peer));
    return;
  }
  const std::lock_guard lock(mutex_);
  if (waiting_.isCrowded(address)) removeDisconnected();
  const WaitingClients::Id id = ++lastId_;
  clients_[id] = {id, std::move(connection), peer};
  if (const auto rejected = waiting_.arrived(id, address, now())) clients_.erase(*rejected);
  changed_.signal();
}

// A client that has left must not keep others from waiting, and must not end a turn.
void ClientListener::removeDisconnected() {
  for (const WaitingClients::Id id : waiting_.ids()) {
    if (!isDisconnected(clients_[id].connection.get())) continue;
    waiting_.left(id);
    clients_.erase(id);
  }
}

bool ClientListener::someoneWaits() {
  const std::lock_guard lock(mutex_);
  removeDisconnected();
  return waiting_.someoneWaits();
}

std::optional<ClientListener::Client> ClientListener::next() {
  isFirstLook_ = true;
  for (;;) {
    {
      const std::lock_guard lock(mutex_);
      changed_.clear();
      if (const auto id = waiting_.beginTurn(now())) return std::move(clients_.extract(*id).mapped());
      if (isOver_) return std::nullopt;
    }
    pollfd changed{changed_.descriptor(), POLLIN, 0};
    if (::poll(&changed, 1, -1) < 0 && errno != EINTR) stop_.wokenWithin(kShortagePause);
  }
}

std::optional<Ending> ClientListener::waitForRequest(int connection) {
  if (std::exchange(isFirstLook_, false) && isReadable(connection, TurnEnd{now()})) return std::nullopt;
  for (;;) {
    const auto end = dueEnd();
    if (end && end->at <= now()) return end->how;
    if (isReadable(connection, end)) return std::nullopt;
  }
}

// How the turn will end, as far as it is known now.
std::optional<TurnEnd> ClientListener::dueEnd() {
  const std::lock_guard lock(mutex_);
  changed_.clear();
  auto end = waiting_.turnEnd();
  if (!end || end->at > now()) return end;
  removeDisconnected();
  return waiting_.turnEnd();
}

// Waits for the end, or until another client comes.
bool ClientListener::isReadable(int connection, std::optional<TurnEnd> end) const {
  std::array<pollfd, 2> sources{{{connection, POLLIN, 0}, {changed_.descriptor(), POLLIN, 0}}};
  if (::poll(sources.data(), sources.size(), timeUntil(end)) >= 0) return sources[0].revents != 0;
  if (errno != EINTR) stop_.wokenWithin(kShortagePause);
  return false;
}

void ClientListener::handledRequest() {
  const std::lock_guard lock(mutex_);
  waiting_.handledRequest(now());
}

void ClientListener::endTurn(Client client, Ending how) {
  const std::lock_guard lock(mutex_);
  const WaitingClients::Id id = client.id;
  clients_[id] = std::move(client);
  if (const auto disconnected = waiting_.endTurn(how, now())) clients_.erase(*disconnected);
}

}  // namespace moxtel
