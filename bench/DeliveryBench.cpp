// The client of delivery_peers.py: requests files from one server over one connection, one after the other,
// and measures how long each reply takes.
//
//     delivery-bench moxtel PORT COUNT COMMAND < keys      requests of this system's protocol
//     delivery-bench http PORT COUNT < paths               the same over one kept-alive HTTP/1.1 connection
//
// Uses the lines of its standard input in turn. The first COUNT / 10 requests are not counted. Prints
// "requests_per_second median_microseconds bytes_per_second".
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "plist/KeyedArchive.h"

namespace {

using moxtel::Bytes;
using moxtel::Dictionary;
using SteadyTime = std::chrono::steady_clock;

class Connection {
 public:
  explicit Connection(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const int yes = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("cannot connect");
  }
  ~Connection() { ::close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void send(const Bytes& request) {
    if (::send(socket_, request.data(), request.size(), 0) != static_cast<ssize_t>(request.size()))
      throw std::runtime_error("cannot send");
  }

  // Reads at least one byte to the end of the buffer's content.
  void fill(std::size_t& held) {
    const ssize_t count = ::recv(socket_, buffer_.data() + held, buffer_.size() - held, 0);
    if (count <= 0) throw std::runtime_error("the server ended the connection");
    held += static_cast<std::size_t>(count);
  }

  void skip(std::uint64_t count) {
    while (count > 0) {
      const ssize_t got = ::recv(socket_, buffer_.data(), std::min<std::uint64_t>(count, buffer_.size()), 0);
      if (got <= 0) throw std::runtime_error("the server ended the connection");
      count -= static_cast<std::uint64_t>(got);
    }
  }

  const char* data() const { return buffer_.data(); }

 private:
  int socket_;
  std::vector<char> buffer_ = std::vector<char>(1 << 20);
};

// Reads one reply and returns its number of bytes.
std::uint64_t readReply(Connection& connection) {
  std::size_t held = 0;
  while (held < 4) connection.fill(held);
  std::uint32_t length = 0;
  std::memcpy(&length, connection.data(), sizeof length);
  connection.skip(length - (held - 4));
  if (length < 250) throw std::runtime_error("an error instead of a file");
  return length;
}

std::uint64_t readHttp(Connection& connection) {
  std::size_t held = 0;
  std::size_t end = std::string_view::npos;
  while ((end = std::string_view(connection.data(), held).find("\r\n\r\n")) == std::string_view::npos)
    connection.fill(held);
  const std::string header(connection.data(), end);
  const std::size_t field = header.find("Content-Length: ");
  if (!header.starts_with("HTTP/1.1 200") || field == std::string::npos) throw std::runtime_error(header);
  const std::uint64_t length = std::stoull(header.substr(field + 16));
  connection.skip(length - (held - end - 4));
  return length;
}

Bytes httpRequest(const std::string& path) {
  const std::string text = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  return {text.begin(), text.end()};
}

std::vector<Bytes> requests(bool http, const char* command) {
  std::vector<Bytes> all;
  for (std::string line; std::getline(std::cin, line);)
    all.push_back(http ? httpRequest(line)
                       : moxtel::archivedData(Dictionary{{"command", command}, {"key", line}}));
  if (all.empty()) throw std::runtime_error("nothing to ask for");
  return all;
}

void measure(bool http, int port, std::size_t count, const std::vector<Bytes>& asked) {
  Connection connection(port);
  const std::size_t before = count / 10;
  std::vector<double> micros;
  std::uint64_t bytes = 0;
  auto start = SteadyTime::now();
  for (std::size_t i = 0; i < before + count; ++i) {
    if (i == before) start = SteadyTime::now();
    const auto sent = SteadyTime::now();
    connection.send(asked[i % asked.size()]);
    const std::uint64_t length = http ? readHttp(connection) : readReply(connection);
    if (i < before) continue;
    bytes += length;
    micros.push_back(std::chrono::duration<double, std::micro>(SteadyTime::now() - sent).count());
  }
  const double seconds = std::chrono::duration<double>(SteadyTime::now() - start).count();
  const auto middle = micros.begin() + static_cast<std::ptrdiff_t>(micros.size() / 2);
  std::nth_element(micros.begin(), middle, micros.end());
  std::printf("%.1f %.1f %.0f\n", static_cast<double>(count) / seconds, *middle,
              static_cast<double>(bytes) / seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const bool http = argc == 4 && std::strcmp(argv[1], "http") == 0;
  if (!http && argc != 5) {
    std::fprintf(stderr, "usage: delivery-bench moxtel PORT COUNT COMMAND | http PORT COUNT\n");
    return 2;
  }
  try {
    measure(http, std::stoi(argv[2]), std::stoul(argv[3]), requests(http, http ? "" : argv[4]));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "delivery-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
