#include "scripting/ScriptQueries.h"

#include "library/LibraryLocation.h"
#include "library/Messages.h"
#include "library/albumdata/AlbumData.h"
#include "library/database/LibraryDatabases.h"
#include "platform/system/SystemLog.h"
#include "scripting/ScriptErrors.h"
#include "scripting/ScriptText.h"
#include "support/Localization.h"
#include "value/Description.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

constexpr ScriptTemplate kKeyPhotoOfApertureFolder =
    "tell application \"Aperture\"\n\ttry\n\t\tset anIV to some image version of folder id \"%@\"\n\t\tid of "
    "anIV\n\tend "
    "try\nend tell";
constexpr ScriptTemplate kKeyPhotoOfApertureAlbum =
    "tell application \"Aperture\"\n\ttry\n\t\tset anIV to some image version of album id \"%@\"\n\t\tid of "
    "anIV\n\tend "
    "try\nend tell";
constexpr ScriptTemplate kKeyPhotoOfIPhotoAlbum =
    "tell application \"iPhoto\" to id of some photo of album id %ld";
constexpr ScriptTemplate kApertureCount =
    "tell application \"Aperture\" to count of every image version of %@ id \"%@\"";
constexpr ScriptTemplate kIPhotoCount = "tell application \"iPhoto\" to count of every photo of album id %ld";
constexpr ScriptTemplate kApertureIds =
    "tell application \"Aperture\" to id of every image version of %@ id \"%@\"";
constexpr ScriptTemplate kIPhotoIds = "tell application \"iPhoto\" to id of every photo of %@ id %ld";

// iPhoto's number of an album: model ids are signed 32 bits there, negative ones extended.
std::int64_t iPhotoId(std::int32_t modelId) { return IPHOTO_BASE_ID + std::int64_t{modelId}; }

// The database's number of a photo that iPhoto named; wraps around instead of overflowing for numbers that
// iPhoto never gives.
std::int64_t modelIdOf(std::string_view photoId) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(integerValueOf(photoId)) -
                                   static_cast<std::uint64_t>(IPHOTO_BASE_ID));
}

// A result as its text; nil for what is neither a text nor a number.
Value textOf(const Value& result) {
  if (result.isString()) return result;
  if (result.type() == Value::Type::Boolean) return result.boolValue() ? "true" : "false";
  if (result.isNumber()) return describe(result);
  return {};
}

}  // namespace

ScriptQueries::ScriptQueries(const LibraryLocation& location, LibraryDatabases& databases,
                             const AlbumData& albumData, ScriptRunner& runner, Messages& messages,
                             const PhotoApplicationFlags& flags, PhotoApplicationQueries& files)
    : location_(location),
      databases_(databases),
      albumData_(albumData),
      runner_(runner),
      messages_(messages),
      flags_(flags),
      files_(files) {}

ScriptOutcome ScriptQueries::ask(const std::optional<std::string>& source, const Value& refused,
                                 const std::function<void()>& logFailure) {
  if (!runner_.hasInterpreter() || !databases_.layout().hasPhotoApplication)
    return ScriptOutcome::failed(0, "", ScriptFailure::NoInterpreter);
  if (!source) {
    NSLog("refused to put '%@' into a script", refused);
    return {};
  }
  // The application must be able to write while it answers.
  databases_.releaseLocks();
  ScriptOutcome outcome = runner_.run(*source);
  if (outcome.succeeded) return outcome;
  ++doubtfulAnswers_;
  if (outcome.error.isSyntaxError) writeSystemLog(format("errorDict: %@", errorDictionary(outcome.error)));
  if (logFailure) logFailure();
  logScriptDidNotCompile(*source, outcome.error);
  // Once per command: the following scripts are not tried.
  if (outcome.error.failure == ScriptFailure::Unusable) {
    messages_.showTitle("Error", UserText::tr("Key photos, photo counts or smart albums may be missing: ") +
                                     localizedReason(outcome.error.text));
  }
  return outcome;
}

// A container without a uuid has no entry; an empty text is a uuid that may have one.
const Value& ScriptQueries::entryOf(const Value& uuid) {
  static const Value kNil;
  if (albumData_.couldNotBeRead()) ++doubtfulAnswers_;
  return uuid.isNil() ? kNil : albumData_.containerDict(uuid.string());
}

Value ScriptQueries::keyPhotoOfProject(const Dictionary& container, bool /*byAppleScript*/) {
  const Value& uuid = container["AlbumId"];
  if (uuid.isNil()) return {};
  const Value& cached = entryOf(uuid)["KeyPhotoKey"];
  if (!cached.isNil()) return cached;
  const auto source = location_.asksAperture()
                          ? filledScript(kKeyPhotoOfApertureFolder, {uuid})
                          : filledScript(kKeyPhotoOfIPhotoAlbum, {iPhotoId(container["ModelId"].intValue())});
  Value photo = textOf(ask(source, uuid).result);
  // iPhoto knows its events by another number than the one in the script, so an empty answer means nothing.
  if (photo.isNil()) photo = files_.keyPhotoOfProject(container, true);
  NSLog("keyPhotoOfProjectWithUuid: '%@' is '%@'", uuid, photo);
  return photo;
}

Value ScriptQueries::keyPhotoOfAlbum(const Dictionary& container, bool byAppleScript) {
  const Value& uuid = container["AlbumId"];
  if (uuid.isNil()) return {};
  const Value& cached = entryOf(uuid)["KeyPhotoKey"];
  if (!cached.isNil()) return cached;
  if (!byAppleScript) return keyPhotoFromDatabase(uuid);
  const auto source = location_.asksAperture()
                          ? filledScript(kKeyPhotoOfApertureAlbum, {uuid})
                          : filledScript(kKeyPhotoOfIPhotoAlbum, {iPhotoId(container["ModelId"].intValue())});
  const ScriptOutcome outcome = ask(source, uuid);
  return outcome.succeeded ? textOf(outcome.result) : files_.keyPhotoOfAlbum(container, true);
}

// The last member that the membership table lists.
Value ScriptQueries::keyPhotoFromDatabase(const Value& uuid) {
  std::int32_t modelId = 0;
  Value name;
  bool isSmart = false;
  Query album =
      databases_.run(DatabaseFile::Library,
                     "SELECT modelId,name,albumType,albumSubclass FROM RKAlbum WHERE uuid = '%@'", {uuid});
  while (album.step()) {
    modelId = album.integerColumn(0);
    name = album.stringColumn(1);
    isSmart = album.integerColumn(2) == 1 && album.integerColumn(3) == 2;
  }
  if (modelId == 0) {
    NSLog("did not found albumId for album '%@'", name);
    return {};
  }
  if (isSmart) return {};  // no fixed members to pick from
  std::int32_t versionId = 0;
  Query members = databases_.run(DatabaseFile::Library,
                                 "SELECT versionId FROM RKAlbumVersion WHERE albumId = '%d'", {modelId});
  while (members.step()) versionId = members.integerColumn(0);
  if (versionId == 0) {
    NSLog("did not found versionId for album '%@'", name);
    return {};
  }
  Value photo;
  Query version =
      databases_.run(DatabaseFile::Library, "SELECT uuid FROM RKVersion WHERE modelId = '%d'", {versionId});
  while (version.step()) photo = version.stringColumn(0);
  return photo;
}

std::int32_t ScriptQueries::photoCountOf(std::string_view kind, const Value& uuid, std::int32_t modelId) {
  if (const std::int32_t cached = entryOf(uuid)["PhotoCount"].intValue(); cached != 0) return cached;
  std::optional<std::string> source;
  if (location_.asksAperture()) {
    source = filledScript(kApertureCount, {kind, uuid});
  } else {
    if (kind == "folder") return 0;
    source = filledScript(kIPhotoCount, {iPhotoId(modelId)});
  }
  const ScriptOutcome outcome = ask(source, uuid, [&uuid, modelId] {
    NSLog("Problem with AppleScript for containerUuid '%@', modelId %d", uuid, modelId);
  });
  return outcome.succeeded ? outcome.result.intValue() : files_.photoCountOf(kind, uuid, modelId);
}

std::vector<Text> ScriptQueries::imageUuidsOf(std::string_view kind, const Value& uuid,
                                              std::int32_t modelId) {
  const auto source = location_.asksAperture() ? filledScript(kApertureIds, {kind, uuid})
                                               : filledScript(kIPhotoIds, {kind, iPhotoId(modelId)});
  const ScriptOutcome outcome = ask(source, uuid);
  if (!outcome.succeeded) return files_.imageUuidsOf(kind, uuid, modelId);
  std::vector<Text> uuids;
  for (const Value& item : outcome.result.array()) {
    const Value text = textOf(item);
    if (!text.isNil()) uuids.push_back(text.text());
  }
  // By the flag, not by which application was asked: with both running and Aperture preferred its answer is
  // converted.
  return flags_.connectedWithIPhoto ? versionUuidsOf(uuids) : uuids;
}

std::vector<Text> ScriptQueries::versionUuidsOf(const std::vector<Text>& photoIds) {
  std::vector<Text> uuids;
  uuids.reserve(photoIds.size());
  for (const Text& photoId : photoIds) {
    const Value uuid = databases_.versionUuidFromModelId(modelIdOf(photoId));
    if (!uuid.isNil()) uuids.push_back(uuid.text());
  }
  return uuids;
}

}  // namespace moxtel
