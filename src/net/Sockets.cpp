#include "net/Sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#ifdef __linux__
#include <linux/sockios.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

#ifdef MSG_MORE
constexpr int kMoreFollows = MSG_MORE;
#else
constexpr int kMoreFollows = 0;
#endif
#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0;
#endif

// Below the least that systems promise for one call (IOV_MAX).
constexpr std::size_t kPiecesPerCall = 512;

void setOption(int socket, int level, int option, int value) {
  ::setsockopt(socket, level, option, &value, sizeof value);
}

// Standard input, output and error stay what they are for the rest of the program, and 0 says "no client".
FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor) {
  if (!descriptor || descriptor.get() > STDERR_FILENO) return descriptor;
  return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

#ifndef __linux__
FileDescriptor closedOnExec(FileDescriptor descriptor) {
  if (descriptor) ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC);
  return descriptor;
}
#endif

// What is left to write of some pieces.
class Remainder {
 public:
  explicit Remainder(std::span<const std::span<const std::uint8_t>> pieces) : pieces_(pieces) { advance(0); }

  bool empty() const { return pieces_.empty(); }

  ssize_t sendSome(int socket) const {
    std::array<iovec, kPiecesPerCall> parts;
    const std::size_t count = std::min(pieces_.size(), parts.size());
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t skipped = i == 0 ? offset_ : 0;
      parts[i] = {const_cast<std::uint8_t*>(pieces_[i].data()) + skipped, pieces_[i].size() - skipped};
    }
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
    // The last call of a reply tells the system to send what it holds back.
    return ::sendmsg(socket, &message,
                     MSG_DONTWAIT | kNoSignal | (count < pieces_.size() ? kMoreFollows : 0));
  }

  void advance(std::size_t count) {
    offset_ += count;
    while (!pieces_.empty() && offset_ >= pieces_.front().size()) {
      offset_ -= pieces_.front().size();
      pieces_ = pieces_.subspan(1);
    }
  }

 private:
  std::span<const std::span<const std::uint8_t>> pieces_;
  std::size_t offset_ = 0;  // into the first piece
};

// Bytes that the peer has not acknowledged; -1 when the system does not tell.
int unacknowledgedBytes(int socket) {
  int count = -1;
#if defined(SIOCOUTQ)
  if (::ioctl(socket, SIOCOUTQ, &count) != 0) return -1;
#elif defined(SO_NWRITE)
  socklen_t size = sizeof count;
  if (::getsockopt(socket, SOL_SOCKET, SO_NWRITE, &count, &size) != 0) return -1;
#endif
  return count;
}

// Waits until the socket takes more, or fails. False when the peer acknowledged nothing for the whole limit.
// A socket takes more only when a good part of its buffer is free: a slow peer acknowledges much and often
// before that, which is why the waiting looks at what is acknowledged.
bool waitForProgress(int socket, milliseconds limit) {
  int waiting = unacknowledgedBytes(socket);
  auto deadline = SteadyClock::now() + limit;
  const milliseconds slice = std::max(limit / 8, milliseconds(1));
  for (;;) {
    pollfd poll{socket, POLLOUT, 0};
    if (::poll(&poll, 1, static_cast<int>(slice.count())) > 0) return true;
    const int stillWaiting = unacknowledgedBytes(socket);
    if (stillWaiting < waiting) {
      waiting = stillWaiting;
      deadline = SteadyClock::now() + limit;
    }
    if (SteadyClock::now() >= deadline) return false;
  }
}

}  // namespace

FileDescriptor makeStreamSocket() {
#ifdef __linux__
  return aboveStandardDescriptors(FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
#else
  return aboveStandardDescriptors(closedOnExec(FileDescriptor(::socket(AF_INET, SOCK_STREAM, 0))));
#endif
}

FileDescriptor acceptConnection(int listener, sockaddr_in& peer) {
  peer = {};
  socklen_t size = sizeof peer;
  auto* address = reinterpret_cast<sockaddr*>(&peer);
#ifdef __linux__
  return aboveStandardDescriptors(FileDescriptor(::accept4(listener, address, &size, SOCK_CLOEXEC)));
#else
  auto connection = closedOnExec(FileDescriptor(::accept(listener, address, &size)));
  // Here connections inherit the listener's mode; reading is to block.
  if (connection) ::fcntl(connection.get(), F_SETFL, 0);
  return aboveStandardDescriptors(std::move(connection));
#endif
}

std::string dottedQuad(const sockaddr_in& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  return ::inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) ? text.data() : "";
}

void setSocketTimeouts(int socket, std::chrono::seconds limit) {
  timeval time{};
  time.tv_sec = static_cast<decltype(time.tv_sec)>(limit.count());
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

void setDeadPeerOptions(int socket) {
  setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
#ifdef TCP_KEEPIDLE
  setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, 20);
#endif
#ifdef TCP_KEEPINTVL
  setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, 10);
  setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, 3);
#endif
#ifdef TCP_USER_TIMEOUT
  setOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 45'000);
#endif
}

void setNoSigPipe([[maybe_unused]] int socket) {
#ifdef SO_NOSIGPIPE
  setOption(socket, SOL_SOCKET, SO_NOSIGPIPE, 1);
#endif
}

bool sendPieces(int socket, std::span<const std::span<const std::uint8_t>> pieces,
                milliseconds progressLimit) {
  for (Remainder rest(pieces); !rest.empty();) {
    const ssize_t sent = rest.sendSome(socket);
    if (sent >= 0) {
      rest.advance(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!waitForProgress(socket, progressLimit)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

Waker::Waker() {
  int ends[2];
#ifdef __linux__
  if (::pipe2(ends, O_CLOEXEC) != 0) return;
#else
  if (::pipe(ends) != 0) return;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
  reading_ = FileDescriptor(ends[0]);
  writing_ = FileDescriptor(ends[1]);
}

bool Waker::wokenWithin(milliseconds time) const {
  pollfd poll{reading_.get(), POLLIN, 0};
  return ::poll(&poll, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace moxtel
