// A client made of plain socket calls, for tests of the server. Blocking calls time out after 20 seconds.
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
  // A socket that is not connected yet; with a receive buffer of 0 bytes, the system chooses its size.
  explicit RawClient(int receiveBuffer = 0);
  // Connected to a port of this machine.
  static RawClient to(std::uint16_t port, int receiveBuffer = 0);
  // The same from another loopback address than 127.0.0.1.
  static RawClient from(const char* address, std::uint16_t port);

  bool connect(std::uint16_t port, const char* address = "127.0.0.1");
  bool send(std::string_view bytes);
  bool send(const Bytes& bytes);
  bool sendCommand(const Dictionary& command);
  // The next frame's body; nothing if the connection ends before it is complete.
  std::optional<Bytes> readFrame();
  // The next frame, decoded; nil when there is none.
  Value readEnvelope();
  // Reads up to `most` bytes; returns their number, 0 at the end.
  std::size_t readSome(std::size_t most);
  // Reads and drops bytes until the connection ends; false after any other error.
  bool readsToTheEnd();
  // Shuts down this side's writing; the server may still write.
  void finishSending();
  void close() { socket_.close(); }
  // Closes the connection with a reset.
  void reset();
  int descriptor() const { return socket_.get(); }

 private:
  bool readExactly(void* to, std::size_t size);
  FileDescriptor socket_;
};

}  // namespace moxtel
