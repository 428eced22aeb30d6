#include "web/http/HttpListener.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "support/SystemErrors.h"

namespace moxtel {

namespace {

// As many as are served: a connection that finds no room tries again only after a second.
constexpr int kBacklog = 1024;
// The first byte of a TLS record with a handshake (RFC 8446, section 5.1).
constexpr char kTlsHandshake = 0x16;

enum class FirstByte { None, Request, TlsHello, Closed };

IPv4Address addressOf(const sockaddr_in& peer) { return ntohl(peer.sin_addr.s_addr); }

FirstByte firstByteOf(int connection) {
  char byte = 0;
  const ssize_t count = ::recv(connection, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  if (count == 1) return byte == kTlsHandshake ? FirstByte::TlsHello : FirstByte::Request;
  const bool isLater = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  return isLater ? FirstByte::None : FirstByte::Closed;
}

// Reads what has arrived, so that the close ends the connection in order: with unread bytes it would reset
// it.
void discardInput(int connection) {
  std::array<char, 16384> buffer;
  static_cast<void>(::recv(connection, buffer.data(), buffer.size(), MSG_DONTWAIT));
}

bool bindAndListen(int socket, IPv4Address address, std::uint16_t port) {
  const int yes = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  setDeadPeerOptions(socket);
  ::fcntl(socket, F_SETFL, O_NONBLOCK);
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(address);
  place.sin_port = htons(port);
  return ::bind(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0 &&
         ::listen(socket, kBacklog) == 0;
}

// This end of a connection, or where a socket listens.
sockaddr_in localEndOf(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
  return address;
}

}  // namespace

std::string HttpListener::start(IPv4Address address, std::uint16_t port) {
  stop();
  socket_ = makeStreamSocket();
  stop_ = std::make_unique<Waker>();
  if (!socket_ || !*stop_ || !bindAndListen(socket_.get(), address, port)) {
    const std::string reason = systemErrorText(errno);
    socket_.close();
    return reason;
  }
  port_ = ntohs(localEndOf(socket_.get()).sin_port);
  nextTick_ = std::chrono::steady_clock::now() + kTick;
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error& error) {
    stop();
    return systemErrorText(error.code().value());
  }
  return {};
}

void HttpListener::stop() {
  if (stop_) stop_->wake();
  if (thread_.joinable()) thread_.join();
  waiting_.clear();
  socket_.close();
  port_ = 0;
}

void HttpListener::run() {
  while (!stop_->wokenWithin(std::chrono::milliseconds(0))) {
    waitForEvents();
    if (canAccept_) acceptOne();
    takeFirstBytes();
    tickIfDue(std::chrono::steady_clock::now());
  }
}

// Until a connection or a first byte comes, the tick is due or the listener stops.
void HttpListener::waitForEvents() {
  const short accepting = isShort_ ? 0 : POLLIN;
  std::vector<pollfd> sources{{stop_->descriptor(), POLLIN, 0}, {socket_.get(), accepting, 0}};
  for (const Waiting& each : waiting_) sources.push_back({each.connection.get(), POLLIN, 0});
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(nextTick_ - std::chrono::steady_clock::now());
  const auto time = std::max(left, std::chrono::milliseconds(0));
  const int count = ::poll(sources.data(), sources.size(), static_cast<int>(time.count()));
  canAccept_ = count > 0 && (sources[1].revents & POLLIN) != 0;
}

void HttpListener::acceptOne() {
  sockaddr_in peer{};
  FileDescriptor connection = acceptConnection(socket_.get(), peer);
  if (!connection) {
    isShort_ = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    return;
  }
  const auto ofPeer = std::ranges::count_if(
      waiting_, [&](const Waiting& each) { return each.peer.sin_addr.s_addr == peer.sin_addr.s_addr; });
  if (!events_.mayConnect(addressOf(peer), addressOf(localEndOf(connection.get())),
                          static_cast<std::size_t>(ofPeer), waiting_.size()))
    return;
  waiting_.push_back({std::move(connection), peer, std::chrono::steady_clock::now()});
}

void HttpListener::takeFirstBytes() {
  const Moment now = std::chrono::steady_clock::now();
  std::erase_if(waiting_, [&](Waiting& each) {
    const FirstByte first = firstByteOf(each.connection.get());
    if (first == FirstByte::None) return now - each.since > untilFirstByte_;
    if (first == FirstByte::TlsHello) discardInput(each.connection.get());
    if (first == FirstByte::Request) events_.connected(std::move(each.connection), each.peer);
    return true;
  });
}

void HttpListener::tickIfDue(Moment now) {
  if (now < nextTick_) return;
  nextTick_ = now + kTick;
  isShort_ = false;
  events_.tick();
}

}  // namespace moxtel
