#include "tests/net/RawClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <span>
#include <vector>

#include "plist/KeyedArchive.h"

namespace moxtel {

namespace {

sockaddr_in socketAddress(const char* address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  ::inet_pton(AF_INET, address, &result.sin_addr);
  return result;
}

}  // namespace

RawClient::RawClient(int receiveBuffer) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const timeval time{20, 0};
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
  if (receiveBuffer > 0) {
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  }
}

RawClient RawClient::to(std::uint16_t port, int receiveBuffer) {
  RawClient client(receiveBuffer);
  client.connect(port);
  return client;
}

RawClient RawClient::from(const char* address, std::uint16_t port) {
  RawClient client;
  const sockaddr_in own = socketAddress(address, 0);
  ::bind(client.socket_.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own);
  client.connect(port);
  return client;
}

bool RawClient::connect(std::uint16_t port, const char* address) {
  const sockaddr_in server = socketAddress(address, port);
  return ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0;
}

bool RawClient::send(std::string_view bytes) {
  return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(bytes.size());
}

bool RawClient::send(const Bytes& bytes) {
  return send(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

bool RawClient::sendCommand(const Dictionary& command) { return send(archivedData(command)); }

bool RawClient::readExactly(void* to, std::size_t size) {
  return ::recv(socket_.get(), to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

std::optional<Bytes> RawClient::readFrame() {
  std::uint32_t length = 0;
  if (!readExactly(&length, sizeof length)) return std::nullopt;
  Bytes body(length);
  if (!readExactly(body.data(), body.size())) return std::nullopt;
  return body;
}

Value RawClient::readEnvelope() {
  const auto body = readFrame();
  if (!body) return {};
  const auto decoded = unarchivedObject(*body);
  const auto* value = std::get_if<Value>(&decoded);
  return value ? *value : Value();
}

std::size_t RawClient::readSome(std::size_t most) {
  std::vector<char> buffer(most);
  const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool RawClient::readsToTheEnd() {
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) return count == 0 || errno == ECONNRESET;
  }
}

void RawClient::finishSending() { ::shutdown(socket_.get(), SHUT_WR); }

void RawClient::reset() {
  const linger now{1, 0};
  ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
  socket_.close();
}

}  // namespace moxtel
