#include "commands/EditingCommands.h"

#include "library/LibraryLocation.h"
#include "library/LoadedLibrary.h"
#include "library/Messages.h"
#include "library/PhotoRecords.h"
#include "library/database/LibraryDatabases.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/LogText.h"
#include "scripting/ScriptQueue.h"
#include "scripting/ScriptText.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr ScriptTemplate kRevealPhoto =
    "tell application \"Aperture\"\nreveal image version id \"%@\"\nend tell";
constexpr ScriptTemplate kRevealContainer = "tell application \"Aperture\"\nreveal %@ id \"%@\"\nend tell";
// The scripts for setting and for clearing differ only in their indentation.
constexpr ScriptTemplate kSetInIPhoto =
    "tell application \"iPhoto\"\nset aPhoto to photo id %ld\nset latitude of aPhoto to %lf\nset longitude "
    "of aPhoto to "
    "%lf\nignoring application responses\nreverse geocode aPhoto\nend ignoring\nend tell";
constexpr ScriptTemplate kSetInAperture =
    "tell application \"Aperture\"\nset aPhoto to image version id \"%@\"\nset latitude of aPhoto to "
    "%lf\nset longitude "
    "of aPhoto to %lf\nend tell";
constexpr ScriptTemplate kClearInIPhoto =
    "tell application \"iPhoto\"\n\tset aPhoto to photo id %ld\n\tset latitude of aPhoto to %lf\n\tset "
    "longitude of "
    "aPhoto to %lf\n\tignoring application responses\n\t\treverse geocode aPhoto\n\tend ignoring\nend tell";
constexpr ScriptTemplate kClearInAperture =
    "tell application \"Aperture\"\n\tset aPhoto to image version id \"%@\"\n\tset latitude of aPhoto to "
    "%lf\n\tset "
    "longitude of aPhoto to %lf\nend tell";

// The value that means "no position" to the applications: the largest single-precision number.
constexpr double kNoPosition = 3.4028234663852886e+38;

std::int64_t iPhotoId(std::int32_t modelId) { return IPHOTO_BASE_ID + std::int64_t{modelId}; }

bool isMissing(const Value& key) { return key.string().empty(); }

}  // namespace

EditingCommands::EditingCommands(const LibraryLocation& location, PhotoRecords& photos, ScriptQueue& scripts,
                                 Messages& messages, const UserDefaults& defaults,
                                 const LoadedLibrary& library, const PhotoApplicationFlags& flags,
                                 std::atomic<bool>& iPhotoWasEdited)
    : location_(location),
      photos_(photos),
      scripts_(scripts),
      messages_(messages),
      defaults_(defaults),
      library_(library),
      flags_(flags),
      iPhotoWasEdited_(iPhotoWasEdited) {}

void EditingCommands::addTo(CommandHandler& handler) {
  handler.add("Reveal Photo", [this](const auto& request, auto& reply) { revealPhoto(request, reply); });
  handler.add("Reveal Album", [this](const auto& request, auto& reply) { revealContainer(request, reply); });
  handler.add("Reveal Event", [this](const auto& request, auto& reply) { revealContainer(request, reply); });
  handler.add("Set GPS of Photo", [this](const auto& request, auto& reply) { setGPS(request, reply); });
  handler.add("Clear GPS of Photo", [this](const auto& request, auto& reply) { clearGPS(request, reply); });
}

bool EditingCommands::mayReveal() const { return defaults_.boolForKey("RevealPhoto"); }

void EditingCommands::queue(std::optional<std::string> script, const Value& refused) {
  if (!script) {
    messages_.showTitle("Error", formatRuntime(UserText::tr("Refused to send '%@' to the photo application"),
                                               loggedValue(refused)));
    return;
  }
  scripts_.performCachedApplescript(std::move(script));
}

// The client gets the answer that it gets while no application runs.
void EditingCommands::reportUnchanged(const Value& key) {
  messages_.showTitle(
      "Info",
      formatRuntime(UserText::tr("The position of photo '%@' was not changed: no photo application here can "
                                 "change this kind of library"),
                    key));
}

void EditingCommands::revealPhoto(const CommandRequest& request, ReplyChannel& reply) {
  if (!mayReveal()) {
    reply.sendToClientResultObject("Don't want to reveal photo");
    return;
  }
  const Value& key = request.key();
  if (isMissing(key)) {
    reply.sendToClientErrorString("No Image");
    return;
  }
  // Revealing in iPhoto is not offered.
  if (!location_.asksAperture() || !library_.hasPhotoApplication()) {
    reply.sendToClientResultObject(format("Can not reveal version id '%@'", key));
    return;
  }
  queue(filledScript(kRevealPhoto, {key}), key);
  reply.sendToClientResultObject("Revealed Photo");
}

// The replies say "album" for events, too; clients expect it.
void EditingCommands::revealContainer(const CommandRequest& request, ReplyChannel& reply) {
  if (!mayReveal()) {
    reply.sendToClientResultObject("Don't want to reveal anything");
    return;
  }
  if (!location_.asksAperture() || !library_.hasPhotoApplication()) {
    reply.sendToClientResultObject("Can not reveal album");
    return;
  }
  const Value id = request.uuid();
  const char* kind = request.command() == "Reveal Album" ? "album" : "project";
  queue(filledScript(kRevealContainer, {kind, id}), id);
  reply.sendToClientResultObject("Revealed Album");
}

void EditingCommands::setGPS(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  if (isMissing(key) || !request.has("latitude") || !request.has("longitude")) {
    reply.sendToClientErrorString("Bad data for GPS");
    return;
  }
  const double latitude = request.degrees("latitude");
  const double longitude = request.degrees("longitude");
  const std::int32_t modelId = photos_.photoDictWithVersionId(key)["ModelId"].intValue();
  const std::string answer = format("Set GPS to %lf/%lf", latitude, longitude);
  if (!library_.hasPhotoApplication()) {
    reportUnchanged(key);
    reply.sendToClientResultObject(answer);
    return;
  }
  if (!scripts_.iPhotoIsRunning() && !flags_.connectedWithAperture) scripts_.forceIPhotoStart();
  if (legacyIPhoto) {
    messages_.showTitle("Error", "Can not tag photo in iPhoto '08");
    reply.sendToClientResultObject(answer);
    return;
  }
  if (flags_.connectedWithIPhoto) {
    queue(filledScript(kSetInIPhoto, {iPhotoId(modelId), latitude, longitude}), key);
  }
  if (flags_.connectedWithAperture) queue(filledScript(kSetInAperture, {key, latitude, longitude}), key);
  iPhotoWasEdited_ = true;
  messages_.showTitle("Info", format("Set geotag of photo '%@' (index %d)", loggedValue(key), modelId));
  reply.sendToClientResultObject(answer);
}

void EditingCommands::clearGPS(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  // A missing key gets this error reply and then the reply that every other key gets.
  if (isMissing(key)) reply.sendToClientErrorString("No Image");
  const std::int32_t modelId = photos_.photoDictWithVersionId(key)["ModelId"].intValue();
  if (!library_.hasPhotoApplication()) {
    reportUnchanged(key);
    reply.sendToClientResultObject("Cleared GPS");
    return;
  }
  if (!location_.preferAperture) static_cast<void>(scripts_.iPhotoIsRunning());
  if (legacyIPhoto) {
    messages_.showTitle("Error", "Can not tag photo in iPhoto '08");
    reply.sendToClientResultObject("Cleared GPS");
    return;
  }
  // Unlike setting, this queues at most one script, and Aperture comes first.
  if (flags_.connectedWithAperture) {
    queue(filledScript(kClearInAperture, {key, kNoPosition, kNoPosition}), key);
  } else if (flags_.connectedWithIPhoto) {
    queue(filledScript(kClearInIPhoto, {iPhotoId(modelId), kNoPosition, kNoPosition}), key);
  }
  iPhotoWasEdited_ = true;
  messages_.showTitle("Info", format("Cleared geotag of photo '%@' (index %d)", loggedValue(key), modelId));
  reply.sendToClientResultObject("Cleared GPS");
}

}  // namespace moxtel
