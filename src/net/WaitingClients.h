// The rules for clients that wait: who is served next, and when the turn of the client that is served ends.
//
// While no client waits, a turn lasts as long as its client stays connected. While a client waits, a turn
// ends between a reply and the next request, by whichever rule comes first:
//
//   - `firstRequest` after the turn began, if no decodable request came: the client is disconnected.
//   - `idle` after the last reply: the client is disconnected.
//   - `replacement` after the turn began or the last reply, if another client of the same address waits: the
//     client is disconnected, and the other one continues its turn.
//   - `turn` after the turn began, or after the first of those who wait began to wait if that is later: the
//     client waits again, behind all others.
//
// A client that continues a turn takes over when it began. If the client before it sent no decodable request,
// it takes over the time of `firstRequest` as well: otherwise silent clients of one address could replace
// each other until the turn is over.
//
// Addresses are served in turn, and the clients of one address in the order in which they came. An address
// whose turn ends is behind all that wait. So before the first client of an address is served, every address
// has at most one turn, counting the one in progress.
//
// Where enough of an address wait, a new client replaces the one that has waited longest: of a phone that
// lost its network several times, only the newest connection is alive.
//
// A plain object: no thread, clock or socket of its own. The caller passes the time, which never decreases.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "net/AddressList.h"

namespace moxtel {

class WaitingClients final {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  using Id = std::uint64_t;  // the caller's, unique among all clients

  struct Limits {
    std::chrono::milliseconds firstRequest{10'000};
    std::chrono::milliseconds idle{60'000};
    std::chrono::milliseconds replacement{5'000};
    std::chrono::milliseconds turn{60'000};
    std::size_t perAddress = 2;  // clients of one address that wait
    std::size_t most = 128;      // clients that wait
  };

  enum class Ending : std::uint8_t { Disconnected, Replaced, WaitsAgain };
  struct TurnEnd {
    Moment at;
    Ending how = Ending::Disconnected;
  };

  WaitingClients() = default;
  explicit WaitingClients(const Limits& limits) : limits_(limits) {}

  // A client has come. Returns the one to disconnect: none; the one of its address that has waited longest,
  // if enough wait; for the first of its address, the second one of another address to make room, or the new
  // one if each that waits is the only one of its address.
  [[nodiscard]] std::optional<Id> arrived(Id client, IPv4Address address, Moment now);
  // Whether arrived() would return a client.
  bool isCrowded(IPv4Address address) const;
  // A client that waits has closed its connection.
  void left(Id client);

  // Begins the turn of the next client and returns it; nothing while none waits. Call between turns.
  std::optional<Id> beginTurn(Moment now);
  // A decodable request was handled, and its reply written if it has one. Call during a turn.
  void handledRequest(Moment now);
  // When and how the turn will end if nothing else happens; nothing while no client waits. Call during a
  // turn.
  std::optional<TurnEnd> turnEnd() const;
  // Ends the turn. Returns the client to disconnect: the one that had the turn, unless it waits again; then
  // none or, if enough wait, itself or the second one of another address.
  [[nodiscard]] std::optional<Id> endTurn(Ending how, Moment now);

  bool someoneWaits() const { return !lanes_.empty(); }
  std::size_t count() const;
  // The clients that wait.
  std::vector<Id> ids() const;

 private:
  struct Waiting {
    Id client = 0;
    Moment since;
  };
  // The clients of one address that wait; never empty.
  struct Lane {
    IPv4Address address = 0;
    std::vector<Waiting> clients;
  };
  using Lanes = std::vector<Lane>;

  struct Turn {
    Id client = 0;
    IPv4Address address = 0;
    Moment began;
    Moment withoutRequestSince;
    Moment idleSince;
    bool hadRequest = false;
  };

  Lanes::iterator laneOf(IPv4Address address);
  Lanes::const_iterator laneOf(IPv4Address address) const;
  std::optional<Id> wait(Waiting client, IPv4Address address);
  static Id replaceOldest(Lane& lane, Waiting client);
  std::optional<Id> removeForRoom();
  Moment waitingSince() const;

  Limits limits_;
  Lanes lanes_;  // in the order of their turns
  std::optional<Turn> turn_;
  std::optional<Turn> replaced_;  // the turn that the next client of its address continues
};

}  // namespace moxtel
