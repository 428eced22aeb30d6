#include "web/api/PhotoJson.h"

#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "library/LibraryFiles.h"
#include "library/LibraryLocation.h"
#include "library/answers/LibraryLists.h"
#include "library/facts/PhotoFactsReader.h"
#include "web/LibraryRoutes.h"
#include "web/files/FileReplies.h"
#include "web/lists/DateOrder.h"

namespace moxtel {

namespace {

using Json = nlohmann::ordered_json;

Json listJson(const char* kind, std::int64_t id, const std::string& name) {
  return {{"list", std::string(kind) + ":" + std::to_string(id)}, {"name", name}};
}

void addText(Json& json, const char* key, const std::string& text) {
  if (!text.empty()) json[key] = text;
}

void addNumber(Json& json, const char* key, const std::optional<double>& number) {
  if (number) json[key] = *number;
}

// "2009-07-04T13:22:10"
std::string dateText(std::int64_t wallClock) {
  const std::chrono::sys_days day{std::chrono::days(dayOf(wallClock))};
  const std::chrono::year_month_day date(day);
  const std::int64_t second = wallClock - dayOf(wallClock) * 86'400;
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(second / 3600), static_cast<int>(second / 60 % 60),
                static_cast<int>(second % 60));
  return text;
}

Json peopleOf(const PhotoFacts& photo) {
  Json people = Json::array();
  for (const FaceFact& face : photo.faces) {
    if (face.person == 0 || face.name.empty()) continue;
    Json person = listJson("person", face.person, face.name);
    person["face"] = face.index;
    if (face.displayed)
      person["rect"] = {face.displayed->x, face.displayed->y, face.displayed->width, face.displayed->height};
    people.push_back(std::move(person));
  }
  return people;
}

Json keywordsOf(const PhotoFacts& photo) {
  Json keywords = Json::array();
  for (const KeywordFact& keyword : photo.keywords)
    keywords.push_back(listJson("keyword", keyword.id, keyword.path.empty() ? "" : keyword.path.back()));
  return keywords;
}

Json albumsOf(OpenLibrary& open, const PhotoFacts& photo) {
  Json albums = Json::array();
  const auto& containers = open.lists().containers();
  for (const std::size_t index : open.lists().containersOf(photo.modelId)) {
    const LibraryContainer& each = containers[index];
    if (each.kind != LibraryContainer::Kind::Event)
      albums.push_back(listJson("album", each.modelId, each.name));
  }
  return albums;
}

Json cameraOf(const CameraFacts& facts) {
  Json camera = Json::object();
  addText(camera, "make", facts.make);
  addText(camera, "model", facts.model);
  addText(camera, "lens", facts.lens);
  addNumber(camera, "aperture", facts.aperture);
  addNumber(camera, "shutter", facts.exposureTime);
  addNumber(camera, "iso", facts.iso);
  addNumber(camera, "focal", facts.focalLength);
  return camera;
}

std::string placeOf(const PlaceFacts& place) {
  std::string text;
  for (const std::string* each : {&place.spot, &place.city, &place.state, &place.country})
    if (!each->empty()) text += (text.empty() ? "" : ", ") + *each;
  return text;
}

OpenFile openReferenced(LibraryFiles& files, const ReferencedFile& referenced) {
  for (const std::string& folder : files.allowed().foldersOf(referenced.volume)) {
    FoundFile found = files.openBelow(folder, referenced.path);
    if (found.file.state == FileState::Open) return std::move(found.file);
  }
  return {};
}

OpenFile openOriginal(OpenLibrary& open, const PhotoFacts& photo) {
  const std::string& library = open.path();
  for (const std::string& path : photo.originalPaths) {
    FoundFile found = open.files().open(library, path);
    if (found.file.state == FileState::Open) return std::move(found.file);
  }
  return photo.referenced ? openReferenced(open.files(), *photo.referenced) : OpenFile();
}

void addOriginal(Json& json, OpenLibrary& open, const PhotoFacts& photo) {
  const OpenFile file = openOriginal(open, photo);
  if (file.state != FileState::Open) {
    json["original"] = nullptr;
    return;
  }
  json["bytes"] = file.size;
  json["original"] = {{"name", photo.fileName}, {"bytes", file.size}, {"type", mediaTypeOf(photo.fileName)}};
}

void addPosition(Json& json, const PhotoFacts& photo) {
  if (!photo.latitude || !photo.longitude) return;
  json["position"] = {*photo.latitude, *photo.longitude};
  if (photo.altitude) json["position"].push_back(*photo.altitude);
}

Json jsonOf(const PhotoFacts& photo) {
  Json json{{"id", photo.modelId}};
  addText(json, "title", photo.title);
  addText(json, "caption", photo.caption);
  addText(json, "file", photo.fileName);
  json["kind"] = photo.isMovie ? "movie" : photo.isRaw ? "raw" : "photo";
  if (photo.wallClock && isShownDate(*photo.wallClock)) json["date"] = dateText(*photo.wallClock);
  addText(json, "zone", photo.timeZoneName);
  if (photo.width > 0 && photo.height > 0) {
    json["width"] = photo.width;
    json["height"] = photo.height;
  }
  if (photo.isMovie && photo.duration > 0) json["duration"] = photo.duration;
  json["flagged"] = photo.isFlagged;
  json["rating"] = photo.rating;
  if (photo.colorLabel >= 0) json["label"] = photo.colorLabel;
  json["keywords"] = keywordsOf(photo);
  json["people"] = peopleOf(photo);
  return json;
}

}  // namespace

std::string photoJson(OpenWebLibrary& library, OpenLibrary& open, LibraryFileHandler& files,
                      std::int64_t modelId) {
  const auto photo = open.facts().photo(modelId);
  if (!photo || photo->isHidden || photo->isInTrash) return {};
  Json json = jsonOf(*photo);
  json["albums"] = albumsOf(open, *photo);
  if (photo->eventId != 0) json["event"] = listJson("event", photo->eventId, photo->eventName);
  const Json camera = cameraOf(photo->camera);
  if (!camera.empty()) json["camera"] = camera;
  addPosition(json, *photo);
  addText(json, "place", placeOf(photo->place));
  json["edited"] = photo->isAdjusted;
  addOriginal(json, open, *photo);
  if (photo->isMovie || !photo->livePath.empty()) {
    const std::string movie = files.movieJson(library, open, *photo);
    if (!movie.empty()) json[photo->isMovie ? "movie" : "live"] = Json::parse(movie, nullptr, false);
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace moxtel
