#include "commands/MetadataCommands.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "library/ImageFiles.h"
#include "library/PhotoRecords.h"
#include "library/RecordKeys.h"
#include "library/database/DatabaseUse.h"
#include "pictures/properties/ImageProperties.h"
#include "platform/system/SystemLog.h"
#include "support/CollectionHelpers.h"

namespace moxtel {
namespace {

// A property's name in the library and the label that clients show.
struct Label {
  std::string_view property;
  std::string_view label;
};

constexpr Label kNumberLabels[] = {
    {"DataRate", "Datarate (kbit/s)"},
    {"FPS", "Frames per Second"},
    {"MovieDuration", "Duration (s)"},
};

constexpr Label kTextLabels[] = {
    {"MediaCodecName", "Codec"},
    {"AudioTrackSampleRate", "Audio Sample Rate"},
    {"AspectRatio", "Aspect Ratio"},
    {"PixelSize", "Pixel Size"},
};

// Empty for a property that is not sent to clients.
std::string_view labelOf(std::span<const Label> labels, const Value& property) {
  const auto isMeant = [&](const Label& label) { return property.string() == label.property; };
  const auto found = std::find_if(labels.begin(), labels.end(), isMeant);
  return found == labels.end() ? std::string_view() : found->label;
}

// 0 means that the date is unknown.
void setDate(Dictionary& movie, const char* key, const Value& seconds) {
  if (seconds.doubleValue() != 0.0) movie.set(key, Date{seconds.doubleValue()});
}

void addPhotoFacts(const Dictionary& photo, Dictionary& movie) {
  setDate(movie, "CreationDate", photo["DateAsTimerInterval"]);
  setDate(movie, "ModificationDate", photo["ModDateAsTimerInterval"]);
  addNonNilObjectsFromDictionary(movie, photo, {record::kCaption, record::kComment, record::kMediaType});
}

void addSize(const OpenFile& file, Dictionary& movie) {
  const std::uint64_t kilobytes = file.size >> 10;
  if (file.state == FileState::Open && kilobytes != 0) movie.set("Filesize (KB)", kilobytes);
}

}  // namespace

MetadataCommands::MetadataCommands(LibraryDatabases& databases, ImageFiles& files, PhotoRecords& photos,
                                   ImagePropertyReader& properties)
    : databases_(databases), files_(files), photos_(photos), properties_(properties) {}

void MetadataCommands::addTo(CommandHandler& handler) {
  handler.add("Metadata of Photo", [this](const CommandRequest& request, ReplyChannel& reply) {
    metadataOfPhoto(request, reply);
  });
  handler.add("Infos of Photo",
              [this](const CommandRequest& request, ReplyChannel& reply) { infosOfPhoto(request, reply); });
}

void MetadataCommands::infosOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  // Continues on purpose: the result of the look-up without a key is the second reply.
  if (key.string().empty()) reply.sendToClientErrorString("No Image");
  reply.sendToClientResultObject(photos_.photoDictWithVersionId(key));
}

void MetadataCommands::metadataOfPhoto(const CommandRequest& request, ReplyChannel& reply) {
  const Value& key = request.key();
  if (key.string().empty()) {
    reply.sendToClientErrorString(format("No Image with key '%@'", key));
    return;
  }
  const auto path = files_.pathNameOfImageWithUuid(key);
  if (!path) {
    reply.sendToClientErrorString("No Master Image");
    return;
  }
  const Value photo = photos_.photoDictWithVersionId(key);
  if (photo[record::kMediaType].string() != record::kMovie.view()) {
    sendProperties(*path, reply);
    return;
  }
  const Value movie = movieMetadata(key, *path, photo.dictionary());
  writeSystemLog(format("send video metadata: %@", movie));
  reply.sendToClientResultObject(movie);
}

void MetadataCommands::sendProperties(const std::string& path, ReplyChannel& reply) {
  auto properties = properties_.propertiesOf(files_.open(path));
  if (properties) {
    reply.sendToClientResultObject(*std::move(properties));
  } else {
    reply.sendToClientErrorString("No Metadata");
  }
}

Dictionary MetadataCommands::movieMetadata(const Value& key, const std::string& path,
                                           const Dictionary& photo) {
  Dictionary movie = mutableDictionary();
  addPhotoFacts(photo, movie);
  addSize(files_.open(path), movie);
  const std::int32_t modelId = addVersionFacts(key, movie);
  const DatabaseUse properties(databases_, DatabaseFile::Properties, DatabaseUse::AfterFailure::Close);
  addNumberProperties(modelId, movie);
  addTextProperties(modelId, movie);
  return movie;
}

std::int32_t MetadataCommands::addVersionFacts(const Value& key, Dictionary& movie) {
  const DatabaseUse library(databases_, DatabaseFile::Library, DatabaseUse::AfterFailure::Close);
  Query query = databases_.run(
      DatabaseFile::Library,
      "SELECT fileName,masterHeight,masterWidth,createDate,modelId FROM RKVersion WHERE uuid = '%@'", {key});
  // Without a row, every column reads as 0 or nil, and the movie gets these values.
  static_cast<void>(query.step());
  setNonNilObjectForKey(movie, query.stringColumn(0), "Filename");
  movie.set("Pixel Height", query.integerNumberColumn(1));
  movie.set("Pixel Width", query.integerNumberColumn(2));
  movie.set("Creation Date", Date{query.realColumn(3)});
  return query.integerColumn(4);
}

void MetadataCommands::addNumberProperties(std::int32_t modelId, Dictionary& movie) {
  Query query = databases_.run(
      DatabaseFile::Properties,
      "SELECT propertyKey,numberProperty FROM RKExifNumberProperty WHERE versionId = %d", {modelId});
  while (query.step()) {
    const std::string_view label = labelOf(kNumberLabels, query.stringColumn(0));
    if (!label.empty()) movie.set(label, query.realColumn(1));
  }
}

void MetadataCommands::addTextProperties(std::int32_t modelId, Dictionary& movie) {
  Query query = databases_.run(DatabaseFile::Properties,
                               "SELECT stringProperty,propertyKey FROM RKUniqueString,RKOtherProperty WHERE "
                               "versionId = %d AND stringId = RKUniqueString.modelId",
                               {modelId});
  while (query.step()) {
    const std::string_view label = labelOf(kTextLabels, query.stringColumn(1));
    if (!label.empty()) setNonNilObjectForKey(movie, query.stringColumn(0), label);
  }
}

}  // namespace moxtel
