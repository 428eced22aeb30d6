// Reports the publication to the user: one line with the name, the addresses and the port under which the
// service is published, and one line whenever these change or publishing fails. Core thread.
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
  // Shows a line; the title is "Info" or "Error".
  using Show = std::function<void(std::string_view title, std::string_view text)>;
  // This machine's IPv4 addresses as dotted quads (localIPv4Addresses in platform/system/HostNames.h).
  using Addresses = std::function<std::vector<std::string>()>;

  // With the requested service name and the server's port. Borrows the loop, and checks on it every five
  // seconds whether the addresses have changed.
  PublicationReporter(EventLoop& loop, std::string wantedName, std::uint16_t port, Addresses addresses,
                      Show show);

  // Call with every state of the publication.
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
