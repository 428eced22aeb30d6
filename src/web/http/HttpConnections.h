// The connections of the page's server: counts them, and ends those that take too long. Any thread.
//
// Ending means to shut the socket down; libmicrohttpd, which owns it, then notices and closes it. It
// announces the close by removed() while the descriptor is still open, so no other socket can have its number
// when it is shut down here.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "net/AddressList.h"
#include "net/ReplyPace.h"

namespace moxtel {

// A request that waits for its reply.
class PendingRequest {
 public:
  PendingRequest() = default;
  virtual ~PendingRequest() = default;
  PendingRequest(const PendingRequest&) = delete;
  PendingRequest& operator=(const PendingRequest&) = delete;
  // The client is gone or the server stops: no client waits for the reply. Does not block.
  virtual void end() = 0;
  // The reply takes too long: the client gets 503.
  virtual void expire() = 0;
};

class HttpConnections final {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  struct Limits {
    std::size_t inAll = 1024;
    std::size_t perAddress = 64;
    std::chrono::milliseconds betweenRequests{75'000};  // until the next request's header has arrived
    std::chrono::milliseconds untilReply{120'000};
    std::chrono::milliseconds patienceWithSilence{5000};  // as SocketServerLimits::patienceWithSilence
    // Of a reply: a browser that stops reading a movie may lose the connection, and asks again later.
    ReplyPace::Limits pace{4096, std::chrono::seconds(60)};
  };
  // One connection; its owner may read the constant members on any thread.
  struct Connection {
    const int socket;
    const IPv4Address peer;
    const IPv4Address local;
    Moment since;                             // the beginning of the present state
    std::shared_ptr<PendingRequest> request;  // while a reply is waited for
    bool isReplying = false;                  // a reply is sent
    std::optional<ReplyPace> pace;            // of the reply, from the first tick on: most take less time
    std::uint64_t acknowledged = 0;           // at that tick
    bool isEnding = false;                    // shut down to make room
    std::string target;                       // of the request in progress; libmicrohttpd's thread
  };

  explicit HttpConnections(const Limits& limits) : limits_(limits) {}

  // A connection is handed to libmicrohttpd, or was not taken by it.
  void handOver(int socket, IPv4Address peer);
  void wasNotTaken(int socket);
  // A connection that libmicrohttpd has begun to serve, until removed().
  Connection* add(int socket, IPv4Address peer, IPv4Address local);
  void remove(Connection* connection);
  // The states of a connection. beginRequest() is false after endAll().
  bool beginRequest(Connection& connection, std::shared_ptr<PendingRequest> request);
  void beginReply(Connection& connection);
  void endRequest(Connection& connection);

  // Whether one more connection may be accepted, besides some that are not added yet. Ends the connection
  // that has been idle for longest if that is needed. An address that is exempt counts in all only.
  bool makeRoom(IPv4Address peer, bool isExempt, std::size_t notAddedOfPeer, std::size_t notAdded);
  // Ends what takes too long. Call about once a second.
  void tick(Moment now);
  // Ends all pending requests, and every one that begins later.
  void endAll();

 private:
  bool endLongestIdle(std::optional<IPv4Address> peer);
  std::size_t countOf(IPv4Address peer) const;
  bool isOverdue(Connection& connection, Moment now) const;
  bool isTooSlow(Connection& connection, Moment now) const;
  void checkRequest(const Connection& connection, Moment now,
                    std::vector<std::shared_ptr<PendingRequest>>& gone,
                    std::vector<std::shared_ptr<PendingRequest>>& late) const;

  const Limits limits_;
  std::mutex mutex_;  // for what follows
  std::list<Connection> connections_;
  std::map<int, IPv4Address> handedOver_;  // by their sockets: not added yet
  bool hasEnded_ = false;
};

}  // namespace moxtel
