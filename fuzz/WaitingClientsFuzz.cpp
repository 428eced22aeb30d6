// Clients that connect, leave, send requests and have turns, compared with a model that keeps the history of
// every client and derives each answer from it. It also checks the bounds that clients rely on: no client is
// disconnected while no other waits, at most two clients of an address wait, a turn ends within its time, and
// the first client of an address has its turn after at most one turn of each other address.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "net/WaitingClients.h"

namespace {

using moxtel::IPv4Address;
using moxtel::WaitingClients;
using moxtel::fuzz::Input;
using moxtel::fuzz::require;
using Ending = WaitingClients::Ending;
using Id = WaitingClients::Id;
using Moment = WaitingClients::Moment;
using namespace std::chrono_literals;

constexpr std::size_t kPerAddress = 2;
constexpr std::size_t kMost = 6;  // instead of 128, so that short inputs reach it

struct Client {
  Id id = 0;
  IPv4Address address = 0;
  Moment since;
  std::uint64_t order = 0;  // of its arrival
};

// The rules in another form: a flat list of clients, and for each address when it last had a turn.
class Model {
 public:
  std::optional<Id> arrived(Id id, IPv4Address address, Moment now) {
    const bool isFirst = count(address) == 0;
    std::optional<Id> removed;
    if (!isFirst && isFull(address)) {
      removed = replaceOldest(address);
    } else if (clients.size() >= kMost) {
      removed = secondOfTheLastAddressWithTwo();
      if (!removed) return id;
      left(*removed);
    }
    if (isFirst) rank[address] = ++lastRank;
    clients.push_back({id, address, inherited.value_or(now), ++lastOrder});
    inherited.reset();
    return removed;
  }
  // The client that had a turn is older than those of its address that wait.
  std::optional<Id> waitsAgain(Id id, IPv4Address address, Moment now) {
    return count(address) > 0 && isFull(address) ? std::optional(id) : arrived(id, address, now);
  }
  void left(Id id) {
    std::erase_if(clients, [&](const Client& client) { return client.id == id; });
  }
  bool isFull(IPv4Address address) const { return count(address) >= kPerAddress || clients.size() >= kMost; }
  std::size_t count(IPv4Address address) const {
    return static_cast<std::size_t>(std::count_if(
        clients.begin(), clients.end(), [&](const Client& client) { return client.address == address; }));
  }
  // Earlier addresses first, then earlier clients.
  bool isBefore(const Client& a, const Client& b) const {
    return std::pair(rank.at(a.address), a.order) < std::pair(rank.at(b.address), b.order);
  }
  std::optional<Client> next(std::optional<IPv4Address> preferred) const {
    std::optional<Client> best;
    for (const Client& client : clients) {
      if (preferred && client.address != *preferred) continue;
      if (!best || isBefore(client, *best)) best = client;
    }
    return best || !preferred ? best : next(std::nullopt);
  }
  void hadATurn(IPv4Address address) { rank[address] = ++lastRank; }
  Moment waitingSince() const {
    Moment first = Moment::max();
    for (const Client& client : clients) first = std::min(first, client.since);
    return first;
  }

  std::vector<Client> clients;

 private:
  // Whoever is the oldest of its address now has waited since the one before it came.
  Id replaceOldest(IPv4Address address) {
    const auto isOfAddress = [&](const Client& client) { return client.address == address; };
    const auto oldest = std::find_if(clients.begin(), clients.end(), isOfAddress);
    const Client removed = *oldest;
    left(removed.id);
    const auto next = std::find_if(clients.begin(), clients.end(), isOfAddress);
    if (next != clients.end()) {
      next->since = removed.since;
    } else {
      inherited = removed.since;
    }
    return removed.id;
  }
  std::optional<Id> secondOfTheLastAddressWithTwo() const {
    std::optional<Client> last;
    for (const Client& client : clients) {
      if (count(client.address) == 2 && (!last || isBefore(*last, client))) last = client;
    }
    return last ? std::optional(last->id) : std::nullopt;
  }

  std::map<IPv4Address, std::uint64_t> rank;
  std::optional<Moment> inherited;  // for the client that comes
  std::uint64_t lastRank = 0;
  std::uint64_t lastOrder = 0;
};

// The client that has the turn, and those whose turn it continues, the latest last.
struct Service {
  Moment began;
  bool hadRequest = false;
  Moment idleSince;
};
struct Turn {
  Client client;
  std::vector<Service> services;
};

class Play {
 public:
  explicit Play(Input input) : input_(input) {}

  void run() {
    while (!input_.empty()) {
      step();
      check();
    }
  }

 private:
  void step() {
    switch (input_.below(7)) {
      case 0:
        return arrive();
      case 1:
        return leave();
      case 2:
        return request();
      case 3:
        return endByTheRules();
      case 4:
        return disconnect();
      case 5:
        return begin();
      default:
        now_ += 250ms * input_.byte();
    }
  }

  void arrive() {
    const auto address = static_cast<IPv4Address>(input_.below(5));
    const Id id = ++lastId_;
    const bool isCrowded = clients_.isCrowded(address);
    const auto removed = clients_.arrived(id, address, now_);
    require(removed == model_.arrived(id, address, now_));
    require(isCrowded == removed.has_value());
    if (removed) overtakes_.erase(*removed);
  }

  void leave() {
    if (model_.clients.empty()) return;
    const Id id = model_.clients[input_.below(model_.clients.size())].id;
    clients_.left(id);
    model_.left(id);
    overtakes_.erase(id);
  }

  void request() {
    if (!turn_) return;
    clients_.handledRequest(now_);
    turn_->services.back().hadRequest = true;
    turn_->services.back().idleSince = now_;
  }

  void disconnect() {
    if (turn_) end(Ending::Disconnected);
  }

  void endByTheRules() {
    if (!turn_) return;
    const auto due = clients_.turnEnd();
    if (!due) return;
    now_ = std::max(now_, due->at);
    end(due->how);
  }

  void end(Ending how) {
    const Client ended = turn_->client;
    const auto removed = clients_.endTurn(how, now_);
    continued_.clear();
    if (how == Ending::Replaced) {
      continued_ = turn_->services;
      preferred_ = ended.address;
    } else {
      model_.hadATurn(ended.address);
    }
    turn_.reset();
    const auto expected = how == Ending::WaitsAgain ? model_.waitsAgain(ended.id, ended.address, now_)
                                                    : std::optional(ended.id);
    require(removed == expected);
    if (removed) overtakes_.erase(*removed);
  }

  void begin() {
    if (turn_) return;
    const auto next = model_.next(preferred_);
    const bool continues = preferred_ && next && next->address == *preferred_;
    preferred_.reset();
    require(clients_.beginTurn(now_) == (next ? std::optional(next->id) : std::nullopt));
    if (!next) return;
    model_.left(next->id);
    overtakes_.erase(next->id);
    turn_ = Turn{*next, continues ? continued_ : std::vector<Service>()};
    turn_->services.push_back({now_, false, now_});
    if (!continues) countOvertaking(next->address);
  }

  // Each first client of an address sees each other address overtake it at most once.
  void countOvertaking(IPv4Address address) {
    std::set<IPv4Address> seen;
    for (const Client& client : model_.clients) {
      const bool isFirst = std::none_of(
          model_.clients.begin(), model_.clients.end(),
          [&](const Client& other) { return other.address == client.address && other.order < client.order; });
      if (isFirst && client.address != address) require(overtakes_[client.id].insert(address).second);
    }
  }

  void check() {
    require(clients_.count() == model_.clients.size() && clients_.count() <= kMost);
    require(clients_.someoneWaits() == !model_.clients.empty());
    for (IPv4Address address = 0; address < 5; ++address) require(model_.count(address) <= kPerAddress);
    if (!turn_) return;
    const auto end = clients_.turnEnd();
    require(end.has_value() == !model_.clients.empty());
    if (end) checkEnd(*end);
  }

  void checkEnd(const WaitingClients::TurnEnd& end) {
    const Service& last = turn_->services.back();
    const Moment turnOver = std::max(turn_->services.front().began, model_.waitingSince()) + 60s;
    Moment expected = std::min(turnOver, last.hadRequest ? last.idleSince + 60s : firstRequestLimit());
    if (model_.count(turn_->client.address) > 0) expected = std::min(expected, last.idleSince + 5s);
    require(end.at == expected);
    require(end.how != Ending::WaitsAgain || end.at == turnOver);
    require(end.how != Ending::Replaced || model_.count(turn_->client.address) > 0);
  }

  // Goes through the clients of this turn: one that follows a silent client in time shares its ten seconds.
  Moment firstRequestLimit() const {
    Moment limit = turn_->services.front().began + 10s;
    for (std::size_t i = 1; i < turn_->services.size(); ++i) {
      const Moment began = turn_->services[i].began;
      if (turn_->services[i - 1].hadRequest || limit <= began) limit = began + 10s;
    }
    return limit;
  }

  Input input_;
  Moment now_{1000s};
  WaitingClients clients_{WaitingClients::Limits{.perAddress = kPerAddress, .most = kMost}};
  Model model_;
  std::optional<Turn> turn_;
  std::vector<Service> continued_;
  std::optional<IPv4Address> preferred_;
  std::map<Id, std::set<IPv4Address>> overtakes_;  // waiting client → addresses that had a turn meanwhile
  Id lastId_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Play(Input({data, size})).run();
  return 0;
}
