#include "net/PublicationReporter.h"

#include <utility>

#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr EventLoop::Duration kLookAgain = 5s;

std::string joined(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& text : texts) line += (line.empty() ? "" : ", ") + text;
  return line;
}

}  // namespace

PublicationReporter::PublicationReporter(EventLoop& loop, std::string wantedName, std::uint16_t port,
                                         Addresses addresses, Show show)
    : wantedName_(std::move(wantedName)),
      port_(port),
      addresses_(std::move(addresses)),
      show_(std::move(show)),
      timer_(loop.callEvery(kLookAgain, [this] { checkAddresses(); })) {}

void PublicationReporter::changed(const PublicationState& state) {
  const PublicationState before = std::exchange(state_, state);
  if (state == before) return;
  if (state.isPublished()) return reportPublished();
  if (state.kind == PublicationState::Kind::Failed) {
    known_ = addresses_();
    return show_(
        "Error",
        formatRuntime(UserText::tr("Could not publish \"%@\" on the network: %@. The server can still be "
                                   "reached at %@"),
                      state.name, localizedString(state.detail), place()));
  }
  if (before.isPublished()) {
    show_("Info", formatRuntime(UserText::tr("No longer published as \"%@\": %@"), before.name,
                                localizedString(state.detail)));
  }
}

void PublicationReporter::checkAddresses() {
  if (state_.isPublished() && addresses_() != known_) reportPublished();
}

void PublicationReporter::reportPublished() {
  known_ = addresses_();
  const std::string taken = state_.kind == PublicationState::Kind::Renamed
                                ? formatRuntime(UserText::tr("The name \"%@\" is taken. "), wantedName_)
                                : std::string();
  show_("Info", taken + formatRuntime(UserText::tr("Published as \"%@\" at %@ (%@)"), state_.name, place(),
                                      localizedString(state_.detail)));
}

std::string PublicationReporter::place() const {
  const std::string where = known_.empty() ? UserText::tr("no network address yet") : joined(known_);
  return formatRuntime(UserText::tr("%@, port %d"), where, port_);
}

}  // namespace moxtel
