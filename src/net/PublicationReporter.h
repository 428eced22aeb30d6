// What the user is told about the publication: one line saying what is published under which name, address
// and port, and one line whenever that changes or fails. Core thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dnssd/DnsSd.h"
#include "platform/loop/EventLoop.h"

namespace moxtel {

class PublicationReporter final {
 public:
  // As MXSConsole::showTitle: the title is "Info" or "Error".
  using Show = std::function<void(std::string_view title, std::string_view text)>;
  // This machine's IPv4 addresses, dotted quads (localIPv4Addresses, platform/HostNames.h).
  using Addresses = std::function<std::vector<std::string>()>;

  // The name that is asked for, and the port that is listened on. Borrows the loop, on which it looks every
  // five seconds whether the addresses have changed.
  PublicationReporter(EventLoop& loop, std::string wantedName, std::uint16_t port, Addresses addresses,
                      Show show);

  // Hand every state of the publication to this.
  void changed(const PublicationState& state);

 private:
  void checkAddresses();
  void reportPublished();
  std::string place() const;

  const std::string wantedName_;
  const std::uint16_t port_;
  const Addresses addresses_;
  const Show show_;
  PublicationState state_;
  std::vector<std::string> known_;
  std::unique_ptr<Timer> timer_;
};

}  // namespace moxtel
