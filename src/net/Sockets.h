// The system calls that server and client share, with what differs between systems. No child process inherits
// a descriptor made here. Any thread. Failures leave errno as the system set it.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

// A TCP socket over IPv4; none on failure.
FileDescriptor makeStreamSocket();

// The next waiting connection and its peer; none on failure. Never one of the descriptors 0 to 2.
FileDescriptor acceptConnection(int listener, sockaddr_in& peer);

// "192.168.1.7".
std::string dottedQuad(const sockaddr_in& address);

// How long sending, connecting and reading may each take before they fail with EAGAIN.
void setSocketTimeouts(int socket, std::chrono::seconds limit);

// A peer that answers nothing any more, not even the probes of an idle connection, is given up within a
// minute; one that is only silent is not. Accepted sockets inherit it from the listening one.
void setDeadPeerOptions(int socket);

// Writing to a connection that the peer has closed fails with EPIPE and raises no signal, where the system
// wants that said once for a socket (elsewhere sendPieces says it each time).
void setNoSigPipe(int socket);

// Writes all pieces, however slowly the peer takes them, as one stream. False when the connection fails, or
// when the peer acknowledged not one byte for the whole limit; part of it may have been written then.
bool sendPieces(int socket, std::span<const std::span<const std::uint8_t>> pieces,
                std::chrono::milliseconds progressLimit);

// A descriptor to poll together with others, and the way to wake whoever polls it, for good.
class Waker final {
 public:
  Waker();
  // False when the system had no descriptors for it.
  explicit operator bool() const noexcept { return static_cast<bool>(reading_); }
  int descriptor() const noexcept { return reading_.get(); }
  void wake() noexcept { writing_.close(); }
  // Waits; true when it was woken, false when the time is over.
  bool wokenWithin(std::chrono::milliseconds time) const;

 private:
  FileDescriptor reading_;
  FileDescriptor writing_;
};

}  // namespace moxtel
