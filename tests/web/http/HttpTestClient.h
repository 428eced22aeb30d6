// A client of the page over a real socket.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <string>
#include <string_view>
#include <utility>

#include "net/Sockets.h"

namespace moxtel {

// A connection made of plain socket calls; they time out after 20 seconds.
class HttpTestClient {
 public:
  explicit HttpTestClient(std::uint16_t port, const char* from = "127.0.0.1", int receiveBuffer = 0)
      : socket_(makeStreamSocket()) {
    setSocketTimeouts(socket_.get(), std::chrono::seconds(20));
    if (receiveBuffer > 0)
      ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, from, &address.sin_addr);
    ::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    address.sin_port = htons(port);
    isConnected_ = ::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  bool isConnected() const { return isConnected_; }
  void send(std::string_view text) const {
    ASSERT_EQ(::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(text.size()));
  }
  void get(const std::string& target, const std::string& fields = {}) const {
    send("GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + fields + "\r\n");
  }
  // Header and body of the next reply, which has a length or none.
  std::string reply(bool isHead = false) {
    std::size_t end = 0;
    while ((end = read_.find("\r\n\r\n")) == std::string::npos) {
      if (!readSome()) return std::exchange(read_, {});
    }
    const auto length = read_.find("Content-Length: ");
    std::size_t size = end + 4;
    if (length < end && !isHead) size += std::stoul(read_.substr(length + 16));
    while (read_.size() < size && readSome()) {
    }
    std::string result = read_.substr(0, size);
    read_.erase(0, size);
    return result;
  }
  // What comes until the other side ends the connection.
  std::string rest() {
    while (readSome()) {
    }
    return std::exchange(read_, {});
  }
  bool readSome() {
    char buffer[65536];
    const ssize_t count = ::recv(socket_.get(), buffer, sizeof buffer, 0);
    if (count > 0) read_.append(buffer, static_cast<std::size_t>(count));
    return count > 0;
  }
  void finishSending() const { ::shutdown(socket_.get(), SHUT_WR); }
  void close() { socket_.close(); }

 private:
  FileDescriptor socket_;
  bool isConnected_ = false;
  std::string read_;
};

inline std::string bodyOf(const std::string& reply) {
  return reply.substr(std::min(reply.find("\r\n\r\n"), reply.size() - 4) + 4);
}

}  // namespace moxtel
