#include "web/search/SearchIndex.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "library/database/LibraryDatabases.h"
#include "library/facts/PhotoFactsReader.h"
#include "web/LibraryReader.h"
#include "web/search/PhotoWords.h"

namespace moxtel {

namespace {

namespace fs = std::filesystem;
constexpr const char* kExtension = ".index";

// Only this user may read the words of the photos.
bool makeFolder(const fs::path& folder) {
  std::error_code failure;
  fs::create_directories(folder, failure);
  fs::permissions(folder, fs::perms::owner_all, failure);
  return !failure;
}

// Removes the indexes that were made longest ago, until one more fits.
void removeOldIndexes(const fs::path& folder, const fs::path& kept) {
  std::error_code ignored;
  std::vector<std::pair<fs::file_time_type, fs::path>> files;
  for (const auto& entry : fs::directory_iterator(folder, ignored)) {
    if (entry.path().extension() == kExtension && entry.path() != kept)
      files.emplace_back(entry.last_write_time(ignored), entry.path());
  }
  std::sort(files.begin(), files.end());
  for (std::size_t i = 0; i + SearchIndex::kMostFiles <= files.size(); ++i)
    fs::remove(files[i].second, ignored);
}

}  // namespace

// What the thread that makes an index shares with the others.
struct SearchIndex::Shared {
  std::mutex mutex;
  std::shared_ptr<PhotoIndex> index;
  std::vector<IndexedPlace> places;  // of the index
  bool isBuilding = false;
  int percent = 0;

  void setPercent(int now) {
    const std::lock_guard lock(mutex);
    percent = now;
  }
  // With the mutex.
  void take(std::shared_ptr<PhotoIndex> opened) {
    index = std::move(opened);
    if (index) places = index->places();
  }
  void end(std::shared_ptr<PhotoIndex> made) {
    const std::lock_guard lock(mutex);
    isBuilding = false;
    if (made) take(std::move(made));
  }

  static bool addRange(OpenLibrary& library, std::int64_t first, std::int64_t last, PhotoWords& words,
                       PhotoIndexWriter& writer) {
    bool fits = true;
    const auto add = [&](const PhotoFacts& photo) {
      fits = photo.isHidden || photo.isInTrash || photo.isOnlyInAlbums ||
             writer.add(photo.modelId, words.of(photo));
      return fits;
    };
    return library.facts().read(first, last, add) && fits;
  }

  // Makes the file; false when the library changed meanwhile or cannot be read, or there is no room.
  bool make(OpenLibrary& library, const std::string& file, const std::string& version) {
    if (!makeFolder(fs::path(file).parent_path())) return false;
    removeOldIndexes(fs::path(file).parent_path(), file);
    const auto photos = library.columns();
    if (!photos) return false;
    PhotoIndexWriter writer(file);
    PhotoWords words(library);
    bool fits = true;
    for (std::size_t next = 0; next < photos->size() && fits;) {
      const std::int64_t first = photos->modelId[next], last = first + PhotoFactsReader::kWidestRange - 1;
      library.beginTask();
      fits = addRange(library, first, last, words, writer);
      library.releaseLocks();
      fits = fits && !library.databases().mustReadAgain();
      while (next < photos->size() && photos->modelId[next] <= last) ++next;
      setPercent(static_cast<int>(100 * next / photos->size()));
    }
    return fits && writer.finish(version, words.places());
  }
};

SearchIndex::SearchIndex(std::string libraryPath, OpenLibraryOptions options, std::string folder,
                         const std::string& name)
    : libraryPath_(std::move(libraryPath)),
      options_(std::move(options)),
      file_(folder.empty() ? "" : folder + "/" + name + kExtension),
      shared_(std::make_shared<Shared>()) {}

SearchIndex::~SearchIndex() = default;

void SearchIndex::want(const std::string& version) {
  if (file_.empty()) return;
  const std::lock_guard building(building_);
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->isBuilding) return;
    builder_ = nullptr;  // has ended its work
    if (!shared_->index) shared_->take(PhotoIndex::open(file_, version));
    if (shared_->index && shared_->index->stamp() == version) return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (begun_ && now - *begun_ < kBetweenBuilds) return;
  begun_ = now;
  begin(version);
}

void SearchIndex::begin(const std::string& version) {
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->isBuilding = true;
    shared_->percent = 0;
  }
  builder_ = std::make_unique<LibraryReader>(libraryPath_, options_, [](OpenLibrary&) {});
  const auto make = [shared = shared_, file = file_, version](OpenLibrary& library) {
    const bool made = shared->make(library, file, version);
    shared->end(made ? PhotoIndex::open(file, version) : nullptr);
  };
  if (!builder_->post(make)) shared_->end(nullptr);
}

SearchIndex::Progress SearchIndex::progress() const {
  const std::lock_guard lock(shared_->mutex);
  if (shared_->index) return {State::Ready, 100};
  if (shared_->isBuilding) return {State::Building, shared_->percent};
  return {};
}

std::vector<IndexedPlace> SearchIndex::places() const {
  const std::lock_guard lock(shared_->mutex);
  return shared_->places;
}

std::uint64_t SearchIndex::version() const {
  const std::lock_guard lock(shared_->mutex);
  return shared_->index ? std::hash<std::string>()(shared_->index->stamp()) : 0;
}

std::optional<std::vector<std::int64_t>> SearchIndex::find(const std::vector<IndexTerm>& terms,
                                                           const std::function<bool()>& stop) {
  std::shared_ptr<PhotoIndex> index;
  {
    const std::lock_guard lock(shared_->mutex);
    index = shared_->index;
  }
  if (!index) return std::nullopt;
  std::vector<std::int64_t> found;
  const auto outcome = index->find(
      terms, [&](std::int64_t id) { found.push_back(id); }, stop);
  if (outcome == PhotoIndex::Outcome::Complete) return found;
  if (outcome == PhotoIndex::Outcome::Damaged) {
    const std::lock_guard building(building_);
    const std::lock_guard lock(shared_->mutex);
    std::error_code ignored;
    fs::remove(file_, ignored);
    if (shared_->index == index) shared_->index = nullptr;
    begun_.reset();
  }
  return std::nullopt;
}

}  // namespace moxtel
