#include "net/Sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/system/Watchdog.h"

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Below the number that systems accept in one call (IOV_MAX).
constexpr std::size_t kPiecesPerCall = 512;

void setOption(int socket, int level, int option, int value) {
  ::setsockopt(socket, level, option, &value, sizeof value);
}

// Standard input, output and error keep their meaning for the rest of the program, and 0 means "no client".
FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor) {
  if (!descriptor || descriptor.get() > STDERR_FILENO) return descriptor;
  return FileDescriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// What remains to be written of some pieces.
class Remainder {
 public:
  explicit Remainder(std::span<const Piece> pieces) : pieces_(pieces) { advance(0); }

  bool empty() const { return pieces_.empty(); }

  ssize_t sendSome(int socket, MoreFollows more) const {
    std::array<iovec, kPiecesPerCall> parts;
    const std::size_t count = std::min(pieces_.size(), parts.size());
    for (std::size_t i = 0; i < count; ++i) {
      const Piece piece = i == 0 ? pieces_[i].subspan(offset_) : pieces_[i];
      parts[i] = {const_cast<std::uint8_t*>(piece.data()), piece.size()};
    }
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = count;
    const bool isLast = count == pieces_.size() && more == MoreFollows::No;
    return ::sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL | (isLast ? 0 : MSG_MORE));
  }

  void advance(std::size_t count) {
    offset_ += count;
    while (!pieces_.empty() && offset_ >= pieces_.front().size()) {
      offset_ -= pieces_.front().size();
      pieces_ = pieces_.subspan(1);
    }
  }

 private:
  std::span<const Piece> pieces_;
  std::size_t offset_ = 0;  // into the first piece
};

// Bytes that the peer has not acknowledged; -1 when the system does not say.
int unacknowledgedBytes(int socket) {
  int count = -1;
  return ::ioctl(socket, SIOCOUTQ, &count) == 0 ? count : -1;
}

}  // namespace

FileDescriptor makeStreamSocket() {
  return aboveStandardDescriptors(FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
}

FileDescriptor acceptConnection(int listener, sockaddr_in& peer) {
  peer = {};
  socklen_t size = sizeof peer;
  auto* address = reinterpret_cast<sockaddr*>(&peer);
  return aboveStandardDescriptors(FileDescriptor(::accept4(listener, address, &size, SOCK_CLOEXEC)));
}

std::string dottedQuad(const sockaddr_in& address) {
  std::array<char, INET_ADDRSTRLEN> text{};
  return ::inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) ? text.data() : "";
}

void setSocketTimeouts(int socket, std::chrono::seconds limit) {
  const timeval time{limit.count(), 0};
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
  ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
}

void setDeadPeerOptions(int socket) {
  setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
  setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, 20);
  setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, 10);
  setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, 3);
  setOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, 45'000);
}

MessageWriter::MessageWriter(int socket, milliseconds progressLimit, MayContinue mayContinue)
    : socket_(socket), progressLimit_(progressLimit), mayContinue_(std::move(mayContinue)) {}

bool MessageWriter::write(std::span<const Piece> pieces, MoreFollows more) {
  for (Remainder rest(pieces); !rest.empty();) {
    const ssize_t sent = rest.sendSome(socket_, more);
    if (sent >= 0) {
      reportProgress();
      rest.advance(static_cast<std::size_t>(sent));
      written_ += static_cast<std::size_t>(sent);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!waitForProgress()) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

// Waits until the socket accepts more bytes or fails. False when the peer acknowledged no byte during the
// whole limit. A socket accepts more only when a good part of its buffer is free; a slow peer acknowledges
// many bytes before that, which is why the loop looks at the acknowledged bytes.
bool MessageWriter::waitForProgress() const {
  int waiting = unacknowledgedBytes(socket_);
  auto deadline = SteadyClock::now() + progressLimit_;
  const milliseconds slice = std::max(progressLimit_ / 8, milliseconds(1));
  while (mayContinue(waiting)) {
    pollfd poll{socket_, POLLOUT, 0};
    if (::poll(&poll, 1, static_cast<int>(slice.count())) > 0) return true;
    const int stillWaiting = unacknowledgedBytes(socket_);
    if (stillWaiting < waiting) {
      waiting = stillWaiting;
      deadline = SteadyClock::now() + progressLimit_;
      reportProgress();
    }
    if (SteadyClock::now() >= deadline) return false;
  }
  return false;
}

// The socket may still hold bytes of the message before.
bool MessageWriter::mayContinue(int unacknowledged) const {
  if (!mayContinue_ || unacknowledged < 0) return true;
  const auto waiting = static_cast<std::uint64_t>(unacknowledged);
  return mayContinue_(written_ > waiting ? written_ - waiting : 0);
}

bool sendPieces(int socket, std::span<const Piece> pieces, milliseconds progressLimit) {
  return MessageWriter(socket, progressLimit).write(pieces);
}

bool hasLostPeer(int socket, std::chrono::milliseconds patience) {
  pollfd state{socket, POLLRDHUP, 0};
  if (::poll(&state, 1, 0) <= 0) return false;
  if (state.revents & (POLLHUP | POLLERR | POLLNVAL)) return true;
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return false;
  return std::chrono::milliseconds(info.tcpi_last_data_recv) > patience;
}

bool Waker::wokenWithin(milliseconds time) const {
  pollfd poll{pipe_.readEnd.get(), POLLIN, 0};
  return ::poll(&poll, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace moxtel
