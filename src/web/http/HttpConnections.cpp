#include "web/http/HttpConnections.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <string>

#include "net/Sockets.h"

namespace moxtel {

namespace {

std::uint64_t acknowledgedBytes(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  return ::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_bytes_acked : 0;
}

bool isIdle(const HttpConnections::Connection& connection) {
  return !connection.request && !connection.isReplying;
}

}  // namespace

HttpConnections::Connection* HttpConnections::add(int socket, IPv4Address peer, IPv4Address local) {
  const std::lock_guard lock(mutex_);
  handedOver_.erase(socket);
  connections_.push_back(
      {socket, peer, local, std::chrono::steady_clock::now(), nullptr, false, std::nullopt, 0, false, {}});
  return &connections_.back();
}

void HttpConnections::handOver(int socket, IPv4Address peer) {
  const std::lock_guard lock(mutex_);
  handedOver_[socket] = peer;
}

void HttpConnections::wasNotTaken(int socket) {
  const std::lock_guard lock(mutex_);
  handedOver_.erase(socket);
}

void HttpConnections::remove(Connection* connection) {
  const std::lock_guard lock(mutex_);
  connections_.remove_if([connection](const Connection& each) { return &each == connection; });
}

bool HttpConnections::beginRequest(Connection& connection, std::shared_ptr<PendingRequest> request) {
  const std::lock_guard lock(mutex_);
  if (hasEnded_) return false;
  connection.since = std::chrono::steady_clock::now();
  connection.request = std::move(request);
  return true;
}

void HttpConnections::beginReply(Connection& connection) {
  const std::lock_guard lock(mutex_);
  connection.request = nullptr;
  connection.isReplying = true;
}

void HttpConnections::endRequest(Connection& connection) {
  const std::lock_guard lock(mutex_);
  connection.since = std::chrono::steady_clock::now();
  connection.request = nullptr;
  connection.isReplying = false;
  connection.pace.reset();
}

std::size_t HttpConnections::countOf(IPv4Address peer) const {
  const auto added = std::ranges::count(connections_, peer, &Connection::peer);
  const auto coming = std::ranges::count(handedOver_, peer, [](const auto& each) { return each.second; });
  return static_cast<std::size_t>(added + coming);
}

bool HttpConnections::makeRoom(IPv4Address peer, bool isExempt, std::size_t notAddedOfPeer,
                               std::size_t notAdded) {
  const std::lock_guard lock(mutex_);
  if (!isExempt && countOf(peer) + notAddedOfPeer >= limits_.perAddress && !endLongestIdle(peer))
    return false;
  return connections_.size() + handedOver_.size() + notAdded < limits_.inAll || endLongestIdle(std::nullopt);
}

// Shut down, it is removed soon.
bool HttpConnections::endLongestIdle(std::optional<IPv4Address> peer) {
  Connection* longest = nullptr;
  for (Connection& each : connections_) {
    if (!isIdle(each) || each.isEnding || (peer && each.peer != *peer)) continue;
    if (!longest || each.since < longest->since) longest = &each;
  }
  if (!longest) return false;
  ::shutdown(longest->socket, SHUT_RDWR);
  longest->isEnding = true;
  return true;
}

bool HttpConnections::isOverdue(Connection& connection, Moment now) const {
  if (connection.isReplying) return isTooSlow(connection, now);
  return !connection.request && now > connection.since + limits_.betweenRequests;
}

bool HttpConnections::isTooSlow(Connection& connection, Moment now) const {
  const std::uint64_t acknowledged = acknowledgedBytes(connection.socket);
  if (!connection.pace) {
    connection.acknowledged = acknowledged;
    connection.pace.emplace(limits_.pace, now);
  }
  return connection.pace->isTooSlow(now, acknowledged - connection.acknowledged);
}

void HttpConnections::checkRequest(const Connection& connection, Moment now,
                                   std::vector<std::shared_ptr<PendingRequest>>& gone,
                                   std::vector<std::shared_ptr<PendingRequest>>& late) const {
  if (!connection.request) return;
  if (hasLostPeer(connection.socket, limits_.patienceWithSilence)) {
    gone.push_back(connection.request);
  } else if (now > connection.since + limits_.untilReply) {
    late.push_back(connection.request);
  }
}

void HttpConnections::tick(Moment now) {
  // Ended without the mutex: each continues its connection, on which libmicrohttpd's thread calls this
  // object.
  std::vector<std::shared_ptr<PendingRequest>> gone;
  std::vector<std::shared_ptr<PendingRequest>> late;
  {
    const std::lock_guard lock(mutex_);
    for (Connection& each : connections_) {
      if (isOverdue(each, now)) ::shutdown(each.socket, SHUT_RDWR);
      checkRequest(each, now, gone, late);
    }
  }
  for (const auto& each : gone) each->end();
  for (const auto& each : late) each->expire();
}

void HttpConnections::endAll() {
  std::vector<std::shared_ptr<PendingRequest>> pending;
  {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    for (const Connection& each : connections_) {
      if (each.request) pending.push_back(each.request);
    }
  }
  for (const auto& each : pending) each->end();
}

}  // namespace moxtel
