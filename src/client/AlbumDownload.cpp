#include "client/AlbumDownload.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "client/Json.h"
#include "client/KnownIds.h"
#include "client/LibraryProbe.h"
#include "client/PhotoListing.h"
#include "client/SafeText.h"
#include "platform/files/LegalNames.h"

namespace moxtel {

namespace {

namespace files = std::filesystem;

constexpr const char* kRecord = "/photos.jsonl";
constexpr const char* kRecordName = "photos.jsonl";
// Until a file is complete and its name is known.
constexpr const char* kUnfinished = "/.moxtel-download";
constexpr std::uint64_t kLargestDetails = 4 << 20;
constexpr int kMostUnanswered = 3;

std::string lowercase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

bool isJpegName(const std::string& extension) {
  const std::string lower = lowercase(extension);
  return lower == ".jpg" || lower == ".jpeg" || lower == ".jpe";
}

bool isJpegFile(const std::string& path) {
  std::array<char, 3> start{};
  std::ifstream file(path, std::ios::binary);
  return file.read(start.data(), start.size()) && start == std::array<char, 3>{'\xFF', '\xD8', '\xFF'};
}

nlohmann::json asJson(const Value& value) {
  std::ostringstream text;
  writeJson(text, value);
  return nlohmann::json::parse(text.str(), nullptr, false);
}

// "2016-07-12 09:05:03" in this computer's time zone, or with a final Z in UTC. Best effort.
void setTime(const std::string& path, const std::string& date) {
  std::tm parts{};
  std::istringstream text(date);
  char separator = 0;
  text >> parts.tm_year >> separator >> parts.tm_mon >> separator >> parts.tm_mday >> parts.tm_hour >>
      separator >> parts.tm_min >> separator >> parts.tm_sec;
  if (!text) return;
  parts.tm_year -= 1900;
  parts.tm_mon = -parts.tm_mon - 1;
  parts.tm_mday = -parts.tm_mday;
  parts.tm_isdst = -1;
  const std::time_t moment = date.ends_with('Z') ? timegm(&parts) : std::mktime(&parts);
  std::error_code error;
  if (moment != -1)
    files::last_write_time(
        path, std::chrono::file_clock::from_sys(std::chrono::system_clock::from_time_t(moment)), error);
}

}  // namespace

AlbumDownload::AlbumDownload(ServerSession& session, std::ostream& out, std::ostream& err, bool isTerminal,
                             std::string folder)
    : session_(session),
      out_(out),
      err_(err),
      folder_(std::move(folder)),
      line_(isTerminal ? &err : nullptr),
      noLine_(nullptr) {}

// A list has no kind: the id of a person gives an empty album.
std::string AlbumDownload::list(const std::string& id, Array& photos) {
  std::string problem;
  for (const char* command : {"Photos of Album", "Photos of Face"}) {
    const Dictionary request{{"command", command}, {"id", id}};
    const auto answer = session_.ask(request);
    if (const auto* failure = std::get_if<RequestFailure>(&answer)) return failure->text;
    const Value& result = std::get<Value>(answer);
    if (!result.isArray()) return "the server's answer is not a list";
    if (!result.array().empty()) {
      photos = result.array();
      return {};
    }
    if (isLibraryAway(session_)) return kLibraryIsAway;
    const auto unknown = whyIdIsUnknown(session_, request);
    if (!unknown) return {};
    problem = *unknown;
  }
  return problem;
}

std::string AlbumDownload::prepare() {
  std::error_code error;
  files::create_directories(folder_, error);
  if (error) return "could not make the folder " + folder_ + ": " + error.message();
  names_.insert(kRecordName);  // no photo gets this name
  std::ifstream record(folder_ + kRecord);
  std::uintmax_t whole = 0;  // bytes of whole lines
  for (std::string line; std::getline(record, line);) {
    // The last line may be cut.
    if (record.eof()) {
      record.close();
      files::resize_file(folder_ + kRecord, whole, error);
      break;
    }
    whole += line.size() + 1;
    const auto json = nlohmann::json::parse(line, nullptr, false);
    if (!json.is_object() || !json.contains("key") || !json["key"].is_string() || !json.contains("file") ||
        !json["file"].is_string() || !json.contains("bytes") || !json["bytes"].is_number_unsigned())
      continue;
    const std::string name = json["file"];
    known_[json["key"]] = {name, json["bytes"]};
    names_.insert(lowercase(name));
  }
  return error ? "could not write photos.jsonl: " + error.message() : std::string();
}

bool AlbumDownload::isThere(const std::string& key) const {
  const auto found = known_.find(key);
  if (found == known_.end()) return false;
  std::error_code error;
  return files::file_size(folder_ + "/" + found->second.first, error) == found->second.second && !error;
}

// An edited photo comes as a JPEG file, whatever its original is.
std::string AlbumDownload::nameOf(const Value& fileName, const std::string& key, bool isJpeg) {
  constexpr std::size_t kNumber = 8;  // " (12345)"
  NameParts parts =
      legalParts(fileName.isString() && !fileName.string().empty() ? fileName.string() : key, 12);
  if (isJpeg && !isJpegName(parts.extension)) parts.extension = ".jpg";
  // A hidden file may be a program's settings: the folder may be a home folder.
  if (parts.stem.starts_with('.')) parts.stem.front() = '_';
  for (int number = 1;; ++number) {
    std::string name =
        numbered(parts.stem, number, kLongestName - parts.extension.size() - kNumber) + parts.extension;
    std::error_code error;
    if (!files::exists(files::symlink_status(folder_ + "/" + name, error)) &&
        names_.insert(lowercase(name)).second)
      return name;
  }
}

std::string AlbumDownload::note(const Value& photo, const Value& infos, const std::string& name,
                                std::uint64_t bytes) {
  nlohmann::json json{{"key", photo["PhotoKey"].string()}, {"file", name}, {"bytes", bytes}};
  json["photo"] = asJson(photo);
  json["infos"] = asJson(infos);
  std::ofstream record(folder_ + kRecord, std::ios::app);
  record << json.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) << '\n';
  return record.flush() ? std::string() : "could not write photos.jsonl";
}

std::string AlbumDownload::fetch(const Value& photo, const std::string& key) {
  const auto ask = [&](const char* command) {
    const auto answer = session_.ask(Dictionary{{"command", command}, {"key", key}}, kLargestDetails);
    const auto* result = std::get_if<Value>(&answer);
    return result ? *result : Value();
  };
  const std::string unfinished = folder_ + kUnfinished;
  std::string problem =
      Download(session_, noLine_).toFile(Dictionary{{"command", "Data of Photo"}, {"key", key}}, unfinished);
  if (!problem.empty()) return problem;
  const Value infos = ask("Infos of Photo");
  const std::string date = dateTaken(ask("Metadata of Photo"));
  const std::string name = nameOf(infos["FileName"], key, isJpegFile(unfinished));
  if (!date.empty()) setTime(unfinished, date);
  std::error_code error;
  const std::uint64_t bytes = files::file_size(unfinished, error);
  if (!error) files::rename(unfinished, folder_ + "/" + name, error);
  if (error) return "could not write " + name + ": " + error.message();
  ++counts_.downloaded;
  counts_.bytes += bytes;
  return note(photo, infos, name, bytes);
}

void AlbumDownload::summarize(std::size_t photos) const {
  out_ << photos << (photos == 1 ? " photo: " : " photos: ") << counts_.downloaded << " downloaded ("
       << (counts_.bytes + 999'999) / 1'000'000 << " MB), " << counts_.there << " there already, "
       << counts_.missing
       << " missing.\n"
          "The server sends edited photos as JPEG files, without their originals, and neither titles, "
          "keywords, "
          "ratings, faces\nnor albums. moxtel-export reads them from the library itself.\n"
       << std::flush;
}

std::string AlbumDownload::run(const std::string& id) {
  Array photos;
  if (std::string problem = list(id, photos); !problem.empty()) return problem;
  if (std::string problem = prepare(); !problem.empty()) return problem;
  int failures = 0;
  std::uint64_t done = 0;
  for (const Value& photo : photos) {
    const std::string key(photo["PhotoKey"].string());
    line_.show(done++, photos.size(), 1, " photos");
    if (isThere(key)) {
      ++counts_.there;
      continue;
    }
    const std::string problem = key.empty() ? "it has no key" : fetch(photo, key);
    if (problem.empty()) {
      failures = 0;
      continue;
    }
    line_.erase();
    err_ << "moxtel: " << printable(key) << ": " << printable(problem) << '\n';
    ++counts_.missing;
    // Later photos would wait for a server that has gone, too.
    if (++failures % kMostUnanswered != 0) continue;
    const auto version = session_.ask(Dictionary{{"command", "Get Version"}});
    if (std::holds_alternative<RequestFailure>(version)) return problem;
  }
  line_.erase();
  summarize(photos.size());
  return counts_.missing == 0 ? std::string() : "photos are missing; the same command downloads them again";
}

}  // namespace moxtel
