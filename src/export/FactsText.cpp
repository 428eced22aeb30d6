#include "export/FactsText.h"

#include "export/ExportText.h"
#include "export/JsonText.h"

namespace moxtel {

namespace {

class FactsWriter final {
 public:
  void text(std::string_view name, const std::string& text) {
    if (!text.empty()) json_.add(name, text);
  }
  void number(std::string_view name, const std::optional<double>& number) {
    if (number) json_.add(name, *number);
  }
  void number(std::string_view name, std::int64_t number, std::int64_t none = 0) {
    if (number != none) json_.add(name, number);
  }
  void flag(std::string_view name, bool is) {
    if (is) json_.add(name, true);
  }
  void raw(std::string_view name, const std::string& json) {
    if (json.size() > 2) json_.addRaw(name, json);  // neither [] nor {}
  }
  std::string finish() const { return json_.text(); }

 private:
  JsonObject json_;
};

template <class List, class Write>
std::string arrayOf(const List& list, const Write& write) {
  std::string text = "[";
  for (const auto& each : list) {
    if (text.size() > 1) text += ',';
    text += write(each);
  }
  return text + "]";
}

std::string namesOf(const std::vector<std::string>& names) {
  return arrayOf(names, [](const std::string& name) { return jsonString(name); });
}

std::string rectangleOf(const FactRectangle& box) {
  return "[" + jsonNumber(box.x) + "," + jsonNumber(box.y) + "," + jsonNumber(box.width) + "," +
         jsonNumber(box.height) + "]";
}

std::string faceOf(const FaceFact& face) {
  FactsWriter writer;
  writer.text("name", face.name);
  if (face.stored) writer.raw("stored", rectangleOf(*face.stored));
  if (face.displayed) writer.raw("displayed", rectangleOf(*face.displayed));
  return writer.finish();
}

std::string placeOf(const PlaceFacts& place) {
  FactsWriter writer;
  writer.text("country", place.country);
  writer.text("state", place.state);
  writer.text("city", place.city);
  writer.text("spot", place.spot);
  return writer.finish();
}

std::string cameraOf(const CameraFacts& camera) {
  FactsWriter writer;
  writer.text("make", camera.make);
  writer.text("model", camera.model);
  writer.text("lens", camera.lens);
  writer.number("aperture", camera.aperture);
  writer.number("exposureTime", camera.exposureTime);
  writer.number("iso", camera.iso);
  writer.number("focalLength", camera.focalLength);
  writer.number("flash", camera.flash);
  writer.number("exposureBias", camera.exposureBias);
  return writer.finish();
}

std::string textsOf(const FactTexts& texts) {
  JsonObject json;
  for (const auto& [name, value] : texts) json.add(name, value);
  return json.text();
}

std::string numbersOf(const FactNumbers& numbers) {
  JsonObject json;
  for (const auto& [name, value] : numbers) json.add(name, value);
  return json.text();
}

void addTexts(FactsWriter& writer, const PhotoFacts& photo) {
  writer.text("uuid", photo.uuid);
  writer.text("master", photo.masterUuid);
  writer.text("fileName", photo.fileName);
  writer.text("title", photo.title);
  writer.text("caption", photo.caption);
  if (photo.wallClock) writer.text("date", dateText(*photo.wallClock).value_or(""));
  writer.text("timeZone", photo.timeZoneName);
  writer.number("imageDate", photo.imageDate);
  writer.text("creator", photo.creator);
  writer.text("rights", photo.rights);
  writer.text("event", photo.eventUuid);
  writer.text("eventName", photo.eventName);
}

void addPicture(FactsWriter& writer, const PhotoFacts& photo) {
  writer.number("versionNumber", photo.versionNumber, 1);
  writer.number("storedWidth", photo.storedWidth);
  writer.number("storedHeight", photo.storedHeight);
  writer.number("width", photo.width);
  writer.number("height", photo.height);
  writer.number("rotation", photo.rotation);
  writer.flag("movie", photo.isMovie);
  writer.flag("raw", photo.isRaw);
  writer.flag("live", photo.isLive);
  writer.flag("flagged", photo.isFlagged);
  writer.flag("hidden", photo.isHidden);
  writer.flag("inTrash", photo.isInTrash);
  writer.flag("adjusted", photo.isAdjusted);
  writer.flag("cropped", photo.isCropped);
  writer.number("rating", photo.rating);
  writer.number("colorLabel", photo.colorLabel, -1);
  if (photo.duration > 0) writer.number("duration", std::optional(photo.duration));
}

}  // namespace

std::string factsAsJson(const PhotoFacts& photo, const std::vector<std::vector<std::string>>& albums) {
  FactsWriter writer;
  addTexts(writer, photo);
  addPicture(writer, photo);
  writer.number("latitude", photo.latitude);
  writer.number("longitude", photo.longitude);
  writer.number("altitude", photo.altitude);
  writer.raw("place", placeOf(photo.place));
  writer.raw("keywords", arrayOf(photo.keywords, [](const KeywordFact& each) { return namesOf(each.path); }));
  writer.raw("faces", arrayOf(photo.faces, faceOf));
  writer.raw("albums", arrayOf(albums, namesOf));
  writer.raw("camera", cameraOf(photo.camera));
  writer.raw("iptc", textsOf(photo.iptc));
  writer.raw("exif", textsOf(photo.exifTexts));
  writer.raw("exifNumbers", numbersOf(photo.exifNumbers));
  return writer.finish();
}

}  // namespace moxtel
