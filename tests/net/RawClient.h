// A client of the wire made of bare sockets, for tests of the server. Blocking calls give up after 20
// seconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

class RawClient {
 public:
  // A socket that is not connected yet; a receive buffer of 0 bytes is the system's own choice.
  explicit RawClient(int receiveBuffer = 0);
  // Connected to a port of this machine.
  static RawClient to(std::uint16_t port, int receiveBuffer = 0);

  bool connect(std::uint16_t port);
  bool send(std::string_view bytes);
  bool send(const Bytes& bytes);
  bool sendCommand(const Dictionary& command);
  // The next frame's body, its length checked against what arrives; nothing when the connection ends first.
  std::optional<Bytes> readFrame();
  // The next frame, decoded; nil when there is none.
  Value readEnvelope();
  // Up to so many bytes of whatever comes; 0 at the end.
  std::size_t readSome(std::size_t most);
  // Whether the connection has ended, after whatever still comes.
  bool readsToTheEnd();
  // No more from this side; the other one may go on.
  void finishSending();
  void close() { socket_.close(); }
  // Ends it with a reset instead of an orderly end.
  void reset();
  int descriptor() const { return socket_.get(); }

 private:
  bool readExactly(void* to, std::size_t size);
  FileDescriptor socket_;
};

}  // namespace moxtel
