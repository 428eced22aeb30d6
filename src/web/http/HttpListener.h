// Accepts the connections of the page's server on a thread of its own, and hands each over with its first
// byte.
//
// A connection that begins with a TLS hello is closed at once: a browser that tried https first then tries
// http. One that sends nothing is closed after a while. The thread also calls the tick, once a second.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "net/AddressList.h"
#include "net/Sockets.h"
#include "platform/files/FileDescriptor.h"

namespace moxtel {

class HttpListener final {
 public:
  // All are called on the thread.
  struct Events {
    // Whether to accept a connection from the address, while some others, and some of this address, have not
    // sent their first byte yet.
    std::function<bool(IPv4Address peer, IPv4Address local, std::size_t waitingOfPeer, std::size_t waiting)>
        mayConnect;
    std::function<void(FileDescriptor connection, const sockaddr_in& peer)> connected;
    std::function<void()> tick;
  };
  static constexpr std::chrono::seconds kTick{1};

  HttpListener(Events events, std::chrono::milliseconds untilFirstByte)
      : events_(std::move(events)), untilFirstByte_(untilFirstByte) {}
  ~HttpListener() { stop(); }
  HttpListener(const HttpListener&) = delete;
  HttpListener& operator=(const HttpListener&) = delete;

  // Listens on an address (0: all of this machine) and a port (0: any free one). Returns an empty text, or
  // why it cannot, for the user.
  [[nodiscard]] std::string start(IPv4Address address, std::uint16_t port);
  // Ends the thread and closes the connections that have not sent anything. No event comes later.
  void stop();
  // 0 while it does not listen.
  std::uint16_t port() const { return port_; }

 private:
  using Moment = std::chrono::steady_clock::time_point;
  struct Waiting {
    FileDescriptor connection;
    sockaddr_in peer;
    Moment since;
  };

  void run();
  void waitForEvents();
  void acceptOne();
  void takeFirstBytes();
  void tickIfDue(Moment now);

  const Events events_;
  const std::chrono::milliseconds untilFirstByte_;
  FileDescriptor socket_;
  std::uint16_t port_ = 0;
  std::unique_ptr<Waker> stop_;
  std::thread thread_;

  // The thread's.
  std::vector<Waiting> waiting_;
  bool canAccept_ = false;  // the listening socket is readable
  bool isShort_ = false;    // the system lacks descriptors: accept no more until the next tick
  Moment nextTick_;
};

}  // namespace moxtel
