// A server that runs a test's script for each connection: read a request, send raw bytes, close. For tests of
// clients against untrusted servers.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/files/FileDescriptor.h"
#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel {

// A socket on a free port of the loopback address.
inline FileDescriptor socketOnFreePort(std::uint16_t& port) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
      ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "no free port");
  }
  port = ntohs(address.sin_port);
  return socket;
}

class ScriptedServer {
 public:
  // One accepted connection. Every call fails once the client has disconnected.
  class Connection {
   public:
    explicit Connection(FileDescriptor socket) : socket_(std::move(socket)) {}
    // The bytes of one read; empty at the end.
    std::string read() {
      std::array<char, 8192> buffer;
      const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
      return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string();
    }
    bool send(std::string_view bytes) {
      return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
             static_cast<ssize_t>(bytes.size());
    }
    // In one call: the kernel holds back a second one until the first is acknowledged.
    bool sendFrame(std::string_view body) { return send(lengthOf(body.size()).append(body)); }
    bool sendEnvelope(const Value& envelope) {
      const Bytes body = archivedData(envelope);
      return sendFrame(std::string_view(reinterpret_cast<const char*>(body.data()), body.size()));
    }
    void close() { ::shutdown(socket_.get(), SHUT_RDWR); }
    static std::string lengthOf(std::size_t size) {
      const auto length = static_cast<std::uint32_t>(size);
      std::string text(sizeof length, '\0');
      std::memcpy(text.data(), &length, sizeof length);
      return text;
    }

   private:
    FileDescriptor socket_;
  };
  using Script = std::function<void(Connection&)>;

  // Runs the script on a new thread, for one connection after another.
  explicit ScriptedServer(Script script) : script_(std::move(script)) {
    listener_ = socketOnFreePort(port_);
    ::listen(listener_.get(), 8);
    thread_ = std::thread([this] { run(); });
  }
  ~ScriptedServer() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    {
      const std::lock_guard lock(mutex_);
      stopping_ = true;
      if (current_) current_->close();
    }
    thread_.join();
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  std::uint16_t port() const { return port_; }
  int connections() const { return connections_; }

 private:
  void run() {
    for (;;) {
      FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (!socket) return;
      ++connections_;
      Connection connection(std::move(socket));
      if (setCurrent(&connection)) script_(connection);
      setCurrent(nullptr);
    }
  }

  // Sets the connection that the destructor closes; false if the server is stopping.
  bool setCurrent(Connection* connection) {
    const std::lock_guard lock(mutex_);
    current_ = connection;
    return !stopping_ || !connection;
  }

  Script script_;
  std::mutex mutex_;
  Connection* current_ = nullptr;
  bool stopping_ = false;
  FileDescriptor listener_;
  std::uint16_t port_ = 0;
  std::atomic<int> connections_{0};
  std::thread thread_;
};

// A port of this machine without a listener.
inline std::uint16_t unusedPort() {
  std::uint16_t port = 0;
  socketOnFreePort(port);
  return port;
}

}  // namespace moxtel
