#include "library/LibrarySearch.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <utility>

#include "library/DayName.h"
#include "library/LibrarySummary.h"
#include "library/Messages.h"
#include "library/PathNames.h"
#include "library/database/LibraryDatabases.h"
#include "library/kinds/LibraryKind.h"
#include "platform/files/Files.h"
#include "support/Localization.h"
#include "value/Format.h"

namespace moxtel {

namespace {

namespace fs = std::filesystem;

// Absolute and without "." or slashes at the end; ".." is resolved in the text. Empty where the current
// folder is gone.
fs::path cleanPath(const std::string& folder) {
  std::error_code error;
  fs::path path = fs::absolute(expandingTilde(folder), error).lexically_normal();
  if (error) return {};
  return path.has_filename() || path == path.root_path() ? path : path.parent_path();
}

// What is in a folder that this user may not enter is unknown.
bool isServed(const fs::path& folder) {
  return isEnterable(folder.string()) && layoutOfLibrary(folder.string()).isServed();
}

std::optional<fs::path> libraryAround(fs::path folder) {
  while (!folder.empty()) {
    if (isServed(folder)) return folder;
    if (folder == folder.root_path()) break;
    folder = folder.parent_path();
  }
  return std::nullopt;
}

// Whether the name makes it likely that there is a library in a folder of another user.
bool mayHaveLibrary(const fs::path& folder) {
  const std::string name = folder.filename().string();
  return name == "Pictures" || folder.parent_path().filename() == "Users" || name.ends_with(" Library") ||
         name.ends_with("library");
}

// Goes through the folders level by level, so that what is near is found first.
class SearchBelow final {
 public:
  SearchBelow(fs::path folder, const LibrarySearchLimits& limits)
      : limits_(limits),
        end_(std::chrono::steady_clock::now() + std::chrono::duration<double>(limits.seconds)) {
    folders_.emplace_back(std::move(folder), 0);
    while (!folders_.empty() && mayGoOn()) {
      const auto [next, depth] = std::move(folders_.front());
      folders_.pop_front();
      if (depth < limits_.depth) lookInto(next, depth + 1);
    }
  }
  LibrarySearchResult take() {
    std::sort(found_.begin(), found_.end());
    return {std::move(found_), std::move(closed_)};
  }

 private:
  bool mayGoOn() const {
    return !(limits_.isUnwanted && limits_.isUnwanted()) && entries_ < limits_.entries &&
           found_.size() < limits_.libraries && std::chrono::steady_clock::now() < end_;
  }
  void lookInto(const fs::path& folder, int depth) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    if (error == std::errc::permission_denied && closed_.empty() && mayHaveLibrary(folder) &&
        ownerOf(folder.string()).value_or(0) != 0) {
      closed_ = folder.string();
    }
    for (const fs::directory_iterator end; !error && entry != end && mayGoOn(); entry.increment(error)) {
      ++entries_;
      std::error_code unreadable;
      if (!entry->is_directory(unreadable) || entry->path().filename().string().starts_with('.')) continue;
      if (isServed(entry->path())) {
        found_.push_back(entry->path().string());
      } else if (!entry->is_symlink(unreadable)) {
        folders_.emplace_back(entry->path(), depth);
      }
    }
  }

  const LibrarySearchLimits& limits_;
  const std::chrono::time_point<std::chrono::steady_clock, std::chrono::duration<double>> end_;
  std::deque<std::pair<fs::path, int>> folders_;
  std::vector<std::string> found_;
  std::string closed_;
  std::size_t entries_ = 0;
};

// What is wrong with a library that is only offered is said when it is served.
class NoMessages final : public Messages {
 public:
  void showTitle(std::string_view, std::string_view) override {}
};

std::optional<Date> newestEvent(LibraryDatabases& databases) {
  Query query =
      databases.runUnlogged(DatabaseFile::Library,
                            "SELECT maxImageDate FROM RKFolder WHERE folderType = 2 AND isInTrash = "
                            "0 ORDER BY maxImageDate DESC LIMIT 1",
                            {});
  if (!query.step() || query.stringColumn(0).isNil()) return std::nullopt;
  return Date{query.realColumn(0)};
}

}  // namespace

LibrarySearchResult searchForLibraries(const std::string& folder, const LibrarySearchLimits& limits) {
  const fs::path path = cleanPath(folder);
  if (path.empty()) return {};
  if (const auto around = libraryAround(path)) return {{around->string()}, {}};
  return SearchBelow(path, limits).take();
}

std::vector<std::string> librariesFor(const std::string& folder, const LibrarySearchLimits& limits) {
  return searchForLibraries(folder, limits).libraries;
}

std::vector<FoundLibrary> describedLibraries(EventLoop& loop, const std::vector<std::string>& paths) {
  NoMessages messages;
  LibrarySeams seams;
  seams.freeBytesIn = [](const std::string&) { return 0; };  // no private copies
  std::vector<FoundLibrary> described;
  for (const std::string& path : paths) {
    LibraryDatabases databases(loop, messages, seams);
    databases.useLibrary(path);
    databases.beginCommand();
    const auto newest = newestEvent(databases);
    described.push_back({path, countLibrary(databases).photos, newest});
  }
  return described;
}

std::string describe(const FoundLibrary& library) {
  std::string facts;
  if (library.photos) facts = formatRuntime(UserText::tr("%@ photos"), std::to_string(*library.photos));
  if (library.newest)
    facts += (facts.empty() ? "" : ", ") + formatRuntime(UserText::tr("newest %@"), dayName(*library.newest));
  return "'" + library.path + "'" + (facts.empty() ? "" : " (" + facts + ")");
}

}  // namespace moxtel
