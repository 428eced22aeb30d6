#include "net/WaitingClients.h"

#include <algorithm>

namespace moxtel {

WaitingClients::Lanes::iterator WaitingClients::laneOf(IPv4Address address) {
  return std::find_if(lanes_.begin(), lanes_.end(),
                      [&](const Lane& lane) { return lane.address == address; });
}

WaitingClients::Lanes::const_iterator WaitingClients::laneOf(IPv4Address address) const {
  return std::find_if(lanes_.begin(), lanes_.end(),
                      [&](const Lane& lane) { return lane.address == address; });
}

std::size_t WaitingClients::count() const { return ids().size(); }

std::vector<WaitingClients::Id> WaitingClients::ids() const {
  std::vector<Id> ids;
  for (const Lane& lane : lanes_) {
    for (const Waiting& waiting : lane.clients) ids.push_back(waiting.client);
  }
  return ids;
}

bool WaitingClients::isCrowded(IPv4Address address) const {
  const auto lane = laneOf(address);
  return count() >= limits_.most || (lane != lanes_.end() && lane->clients.size() >= limits_.perAddress);
}

std::optional<WaitingClients::Id> WaitingClients::arrived(Id client, IPv4Address address, Moment now) {
  return wait({client, now}, address);
}

std::optional<WaitingClients::Id> WaitingClients::wait(Waiting client, IPv4Address address) {
  if (const auto lane = laneOf(address); lane != lanes_.end()) {
    if (isCrowded(address)) return replaceOldest(*lane, client);
    lane->clients.push_back(client);
    return std::nullopt;
  }
  std::optional<Id> removed;
  if (count() >= limits_.most && !(removed = removeForRoom())) return client.client;
  lanes_.push_back({address, {client}});
  return removed;
}

// The address keeps its place and the time since it waits: connecting again must not postpone the end of
// the turn in progress.
WaitingClients::Id WaitingClients::replaceOldest(Lane& lane, Waiting client) {
  const Waiting removed = lane.clients.front();
  lane.clients.erase(lane.clients.begin());
  lane.clients.push_back(client);
  lane.clients.front().since = removed.since;
  return removed.client;
}

// Removes the second client of the address whose turn is last among those with two.
std::optional<WaitingClients::Id> WaitingClients::removeForRoom() {
  const auto lane = std::find_if(lanes_.rbegin(), lanes_.rend(),
                                 [](const Lane& candidate) { return candidate.clients.size() > 1; });
  if (lane == lanes_.rend()) return std::nullopt;
  const Id removed = lane->clients.back().client;
  lane->clients.pop_back();
  return removed;
}

void WaitingClients::left(Id client) {
  for (Lane& lane : lanes_) {
    std::erase_if(lane.clients, [&](const Waiting& waiting) { return waiting.client == client; });
  }
  std::erase_if(lanes_, [](const Lane& lane) { return lane.clients.empty(); });
}

std::optional<WaitingClients::Id> WaitingClients::beginTurn(Moment now) {
  if (lanes_.empty()) {
    replaced_.reset();
    return std::nullopt;
  }
  auto lane = replaced_ ? laneOf(replaced_->address) : lanes_.begin();
  if (lane == lanes_.end()) {
    // The client that was to continue the turn has left.
    replaced_.reset();
    lane = lanes_.begin();
  }
  turn_ = Turn{lane->clients.front().client, lane->address, now, now, now, false};
  if (replaced_) {
    turn_->began = replaced_->began;
    // A limit that had passed while no client waited would disconnect this client at once.
    const bool isLimitOver = replaced_->withoutRequestSince + limits_.firstRequest <= now;
    if (!replaced_->hadRequest && !isLimitOver) turn_->withoutRequestSince = replaced_->withoutRequestSince;
    replaced_.reset();
  }
  lane->clients.erase(lane->clients.begin());
  if (lane->clients.empty()) lanes_.erase(lane);
  return turn_->client;
}

void WaitingClients::handledRequest(Moment now) {
  turn_->hadRequest = true;
  turn_->idleSince = now;
}

// When the first of those who wait began to wait.
WaitingClients::Moment WaitingClients::waitingSince() const {
  Moment first = Moment::max();
  for (const Lane& lane : lanes_) {
    for (const Waiting& waiting : lane.clients) first = std::min(first, waiting.since);
  }
  return first;
}

std::optional<WaitingClients::TurnEnd> WaitingClients::turnEnd() const {
  if (lanes_.empty()) return std::nullopt;
  const auto silentEnd =
      turn_->hadRequest ? turn_->idleSince + limits_.idle : turn_->withoutRequestSince + limits_.firstRequest;
  TurnEnd end{silentEnd, Ending::Disconnected};
  const auto consider = [&](Moment at, Ending how) {
    if (at < end.at) end = {at, how};
  };
  if (laneOf(turn_->address) != lanes_.end()) {
    consider(turn_->idleSince + limits_.replacement, Ending::Replaced);
  }
  consider(std::max(turn_->began, waitingSince()) + limits_.turn, Ending::WaitsAgain);
  return end;
}

std::optional<WaitingClients::Id> WaitingClients::endTurn(Ending how, Moment now) {
  const Turn ended = *turn_;
  turn_.reset();
  if (how == Ending::Replaced) {
    replaced_ = ended;
    return ended.client;
  }
  const auto lane = laneOf(ended.address);
  const bool othersWait = lane != lanes_.end();
  if (othersWait) std::rotate(lane, lane + 1, lanes_.end());
  if (how == Ending::Disconnected) return ended.client;
  // Those of its address that wait are newer.
  if (othersWait && isCrowded(ended.address)) return ended.client;
  return wait({ended.client, now}, ended.address);
}

}  // namespace moxtel
