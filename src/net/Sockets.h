// The socket calls that server and client share. No child process inherits a descriptor made here. Any
// thread. Failures leave errno as the system set it.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "platform/files/FileDescriptor.h"
#include "platform/process/Pipe.h"

namespace moxtel {

// A TCP socket over IPv4; none on failure. Never one of the descriptors 0 to 2.
FileDescriptor makeStreamSocket();

// The next waiting connection and its peer; none on failure. Never one of the descriptors 0 to 2.
FileDescriptor acceptConnection(int listener, sockaddr_in& peer);

// "192.168.1.7".
std::string dottedQuad(const sockaddr_in& address);

// How long sending, connecting and reading may each take before they fail with EAGAIN.
void setSocketTimeouts(int socket, std::chrono::seconds limit);

// Ends the connection to a peer that no longer answers, not even the probes of an idle connection, within a
// minute; a peer that is only silent stays connected. Accepted sockets inherit it from the listening one.
void setDeadPeerOptions(int socket);

// Whether the caller writes more of the same message right after these bytes: the system then need not send
// what does not fill a packet.
enum class MoreFollows : bool { No, Yes };

using Piece = std::span<const std::uint8_t>;

// Writes one message to a peer that may take it slowly. Raises no SIGPIPE.
class MessageWriter final {
 public:
  // Asked again and again while the peer is slow; it gets the number of the message's bytes that the peer has
  // acknowledged. False ends the writing.
  using MayContinue = std::function<bool(std::uint64_t acknowledged)>;

  MessageWriter(int socket, std::chrono::milliseconds progressLimit, MayContinue mayContinue = {});
  // Writes all pieces, one after another. False when the connection fails, when the peer acknowledged no byte
  // during the whole limit, or when it may not continue; part of it may have been written then.
  bool write(std::span<const Piece> pieces, MoreFollows more = MoreFollows::No);

 private:
  bool waitForProgress() const;
  bool mayContinue(int unacknowledged) const;

  const int socket_;
  const std::chrono::milliseconds progressLimit_;
  const MayContinue mayContinue_;
  std::uint64_t written_ = 0;
};

// Writes one message of some pieces, as MessageWriter does.
bool sendPieces(int socket, std::span<const Piece> pieces, std::chrono::milliseconds progressLimit);

// Whether a connection has ended: at once when it was reset or shut down here, and when the peer closed its
// sending side, as soon as its last byte is older than the patience. Does not wait.
bool hasLostPeer(int socket, std::chrono::milliseconds patience);

// A descriptor to poll together with others, and a way to wake the thread that polls it. It stays readable
// once woken.
class Waker final {
 public:
  Waker() : pipe_(makePipe(PipeBlocking::Blocking)) {}
  // False when the system had no descriptors for it; errno says why.
  explicit operator bool() const noexcept { return static_cast<bool>(pipe_.readEnd); }
  int descriptor() const noexcept { return pipe_.readEnd.get(); }
  void wake() noexcept { pipe_.writeEnd.close(); }
  // Waits; true when it was woken, false when the time is over.
  bool wokenWithin(std::chrono::milliseconds time) const;

 private:
  Pipe pipe_;
};

}  // namespace moxtel
