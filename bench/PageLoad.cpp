// The client of page_peers.py: asks a server for files over kept-alive HTTP/1.1 connections, and measures how
// long each reply takes. One thread, so that it takes little of the processors.
//
//     page-load busy PORT CONNECTIONS REQUESTS [FIELD] < paths
//     page-load phones PORT PHONES SWIPES [FIELD] < paths
//
// "busy": every connection sends its next request as soon as it has a reply. "phones": phone number N has the
// address 127.0.0.(N + 2) and six connections, like a browser; every two seconds a swipe brings 24 pictures
// into view, and it asks for all of them. Phones begin at different places of the list and at different
// moments.
//
// Uses the lines of its standard input in turn; FIELD is one more line of each header. Prints "requests
// seconds bytes median 99th_percentile longest", times of a reply in microseconds. With phones, a picture's
// time begins when it comes into view. Ends with 1 after any reply that is not 200.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kConnectionsOfPhone = 6;
constexpr int kPicturesOfSwipe = 24;
constexpr std::chrono::milliseconds kBetweenSwipes{2000};
constexpr in_addr_t kFirstPhone = INADDR_LOOPBACK + 1;

std::vector<std::string> requests;
std::vector<double> micros;
std::uint64_t bytes = 0;

int connectTo(int port, in_addr_t source) {
  const int made = ::socket(AF_INET, SOCK_STREAM, 0);
  const int yes = 1;
  ::setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_addr.s_addr = htonl(source);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  server.sin_port = htons(static_cast<std::uint16_t>(port));
  if (made < 0 || ::bind(made, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
      ::connect(made, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0)
    throw std::runtime_error("cannot connect");
  return made;
}

struct Wanted {
  std::size_t request = 0;
  Clock::time_point since;
};

class Connection {
 public:
  Connection(int port, in_addr_t source) : socket_(connectTo(port, source)) {}
  int socket() const { return socket_; }
  bool isIdle() const { return !isBusy_; }

  void ask(const Wanted& wanted) {
    const std::string& text = requests[wanted.request % requests.size()];
    if (::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
      throw std::runtime_error("cannot send");
    since_ = wanted.since;
    isBusy_ = true;
    isInBody_ = false;
    header_.clear();
  }

  // After an event. True when the reply is complete.
  bool read() {
    static std::vector<char> buffer(1 << 20);
    const ssize_t count = ::recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN) return false;
    if (count <= 0 || !isBusy_) throw std::runtime_error("the server ended the connection");
    take({buffer.data(), static_cast<std::size_t>(count)});
    if (!isInBody_ || left_ > 0) return false;
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - since_).count());
    isBusy_ = false;
    return true;
  }

 private:
  void take(std::string_view got) {
    if (!isInBody_) {
      header_ += got;
      const std::size_t end = header_.find("\r\n\r\n");
      if (end == std::string::npos) return;
      left_ = lengthIn(header_.substr(0, end));
      bytes += left_;
      isInBody_ = true;
      got = std::string_view(header_).substr(end + 4);
    }
    if (got.size() > left_) throw std::runtime_error("a longer reply than announced");
    left_ -= got.size();
  }
  static std::uint64_t lengthIn(const std::string& header) {
    const std::size_t field = header.find("Content-Length: ");
    if (!header.starts_with("HTTP/1.1 200") || field == std::string::npos) throw std::runtime_error(header);
    return std::stoull(header.substr(field + 16));
  }

  const int socket_;
  bool isBusy_ = false;
  bool isInBody_ = false;
  std::string header_;
  std::uint64_t left_ = 0;
  Clock::time_point since_;
};

// Waits for events and calls back with the connections whose reply is complete.
class Events {
 public:
  void add(std::vector<Connection>& connections, std::size_t number) {
    epoll_event event{EPOLLIN, {.u64 = number}};
    ::epoll_ctl(epoll_, EPOLL_CTL_ADD, connections[number].socket(), &event);
  }
  template <class Done>
  void wait(std::vector<Connection>& connections, int milliseconds, const Done& done) {
    std::array<epoll_event, 64> found{};
    const int count = ::epoll_wait(epoll_, found.data(), found.size(), milliseconds);
    for (int i = 0; i < count; ++i) {
      const std::size_t number = found[static_cast<std::size_t>(i)].data.u64;
      if (connections[number].read()) done(number);
    }
  }

 private:
  const int epoll_ = ::epoll_create1(0);
};

void beBusy(int port, std::size_t count, std::size_t total) {
  std::vector<Connection> connections;
  Events events;
  connections.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    connections.emplace_back(port, INADDR_LOOPBACK);
    events.add(connections, i);
  }
  std::size_t asked = 0;
  for (; asked < std::min(count, total); ++asked) connections[asked].ask({asked, Clock::now()});
  while (micros.size() < total) {
    events.wait(connections, -1, [&](std::size_t number) {
      if (asked < total) connections[number].ask({asked++, Clock::now()});
    });
  }
}

struct Phone {
  std::size_t place = 0;  // in the list
  Clock::time_point next;
  std::size_t swipesLeft = 0;
  std::deque<Wanted> wanted;
};

class Phones {
 public:
  Phones(int port, std::size_t count, std::size_t swipes) {
    connections_.reserve(count * kConnectionsOfPhone);
    for (std::size_t i = 0; i < count * kConnectionsOfPhone; ++i) {
      connections_.emplace_back(port, kFirstPhone + static_cast<in_addr_t>(i / kConnectionsOfPhone));
      events_.add(connections_, i);
    }
    // Later than the connections, or the swipes missed until now would come all at once.
    const auto start = Clock::now();
    for (std::size_t i = 0; i < count; ++i)
      phones_.push_back({requests.size() / count * i, start + kBetweenSwipes * i / count, swipes, {}});
    expected_ = count * swipes * kPicturesOfSwipe;
  }
  void scroll() {
    while (micros.size() < expected_) {
      events_.wait(connections_, 5, [this](std::size_t number) { askNext(number); });
      const auto now = Clock::now();
      for (std::size_t i = 0; i < phones_.size(); ++i) {
        if (phones_[i].swipesLeft > 0 && now >= phones_[i].next) swipe(i, now);
      }
    }
  }

 private:
  void swipe(std::size_t number, Clock::time_point now) {
    Phone& phone = phones_[number];
    --phone.swipesLeft;
    phone.next += kBetweenSwipes;
    for (int i = 0; i < kPicturesOfSwipe; ++i) phone.wanted.push_back({phone.place++, now});
    for (std::size_t i = 0; i < kConnectionsOfPhone; ++i) {
      const std::size_t connection = number * kConnectionsOfPhone + i;
      if (connections_[connection].isIdle()) askNext(connection);
    }
  }
  void askNext(std::size_t connection) {
    Phone& phone = phones_[connection / kConnectionsOfPhone];
    if (phone.wanted.empty()) return;
    connections_[connection].ask(phone.wanted.front());
    phone.wanted.pop_front();
  }

  Events events_;
  std::vector<Connection> connections_;
  std::vector<Phone> phones_;
  std::size_t expected_ = 0;
};

void readRequests(const std::string& field) {
  for (std::string line; std::getline(std::cin, line);)
    requests.push_back("GET " + line + " HTTP/1.1\r\nHost: localhost\r\n" +
                       (field.empty() ? "" : field + "\r\n") + "\r\n");
  if (requests.empty()) throw std::runtime_error("nothing to ask for");
}

void report(double seconds) {
  std::ranges::sort(micros);
  std::printf("%zu %.3f %llu %.1f %.1f %.1f\n", micros.size(), seconds,
              static_cast<unsigned long long>(bytes), micros[micros.size() / 2],
              micros[micros.size() * 99 / 100], micros.back());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if ((mode != "busy" && mode != "phones") || argc < 5 || argc > 6) {
    std::fprintf(stderr, "usage: page-load busy|phones PORT NUMBER NUMBER [FIELD]\n");
    return 2;
  }
  try {
    readRequests(argc > 5 ? argv[5] : "");
    const int port = std::stoi(argv[2]);
    const std::size_t first = std::stoul(argv[3]);
    const std::size_t second = std::stoul(argv[4]);
    const auto start = Clock::now();
    if (mode == "busy") {
      beBusy(port, first, second);
    } else {
      Phones(port, first, second).scroll();
    }
    report(std::chrono::duration<double>(Clock::now() - start).count());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "page-load: %s\n", error.what());
    return 1;
  }
  return 0;
}
