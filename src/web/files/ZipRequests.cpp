#include "web/files/ZipRequests.h"

#include <variant>
#include <vector>

#include "library/LibraryFiles.h"
#include "library/answers/OpenLibrary.h"
#include "web/api/Json.h"
#include "web/files/PhotoFiles.h"
#include "web/files/StoredZip.h"
#include "web/lists/ListedPhotos.h"

namespace moxtel {
namespace {

enum class What { Original, Edited, Both };

std::optional<What> whatOf(const HttpRequest& request) {
  const std::string what = request.query("what").value_or("original");
  if (what == "original") return What::Original;
  if (what == "edited") return What::Edited;
  return what == "both" ? std::optional(What::Both) : std::nullopt;
}

// Counts while it lives.
class Place final {
 public:
  explicit Place(std::shared_ptr<std::atomic<int>> count) : count_(std::move(count)) { ++*count_; }
  ~Place() { --*count_; }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  std::shared_ptr<std::atomic<int>> count_;
};

bool isOpen(const OpenFile& file) { return file.state == FileState::Open; }

}  // namespace

// Finds the files of an archive, some photos in each task of the library, so that others come in between.
class ZipRequests::Plan final : public std::enable_shared_from_this<Plan> {
 public:
  Plan(FileTask task, std::string list, What what, bool describe, std::shared_ptr<std::atomic<int>> archives)
      : task_(std::move(task)),
        list_(std::move(list)),
        what_(what),
        describe_(describe),
        place_(std::make_shared<Place>(std::move(archives))) {}

  void post() {
    const auto next = [self = shared_from_this()](OpenLibrary& open) { self->step(open); };
    if (!task_.library->postLong(next)) task_.sendBusy();
  }

 private:
  static constexpr std::size_t kPhotosInATask = 200;

  void step(OpenLibrary& open);
  bool begin(OpenLibrary& open);
  void add(OpenLibrary& open, std::int64_t id);
  void addFile(const PhotoFacts& photo, PlacedFile found, const char* mark);
  void finish();
  std::string name() const;

  const FileTask task_;
  const std::string list_;
  const What what_;
  const bool describe_;
  std::shared_ptr<Place> place_;
  std::shared_ptr<const ListedPhotos> photos_;
  ReferencedFolders allowed_;
  std::size_t next_ = 0;
  ZipNames names_;
  std::vector<ZipEntry> entries_;
  bool sawUnreadable_ = false;  // a file that is there
};

bool ZipRequests::Plan::begin(OpenLibrary& open) {
  auto found = task_.library->listFor(open, list_, task_.request);
  if (auto* const reply = std::get_if<HttpReply>(&found)) {
    task_.send(std::move(*reply));
    return false;
  }
  photos_ = std::get<std::shared_ptr<const ListedPhotos>>(found);
  if (photos_->size() > kMostPhotos) {
    task_.send(errorReply(413, "size"));
    return false;
  }
  allowed_ = open.files().allowed();
  return true;
}

void ZipRequests::Plan::step(OpenLibrary& open) {
  if (task_.responder->isGone() || (!photos_ && !begin(open))) return;
  for (std::size_t i = 0; i < kPhotosInATask && next_ < photos_->size(); ++i, ++next_)
    add(open, photos_->modelIdAt(next_));
  // An archive must not look like the whole list.
  if (mayLackFiles(open)) return task_.sendMissing(open);
  if (next_ < photos_->size()) return post();
  finish();
}

void ZipRequests::Plan::add(OpenLibrary& open, std::int64_t id) {
  PhotoFiles files(open);
  const auto photo = files.shown(id);
  if (!photo) return;
  PlacedFile edited = what_ == What::Original ? PlacedFile() : files.edited(*photo);
  const bool hasEdited = isOpen(edited.file);
  if (what_ != What::Edited || !hasEdited) addFile(*photo, files.original(*photo), "");
  if (hasEdited) addFile(*photo, std::move(edited), what_ == What::Both ? " (edited)" : "");
}

void ZipRequests::Plan::addFile(const PhotoFacts& photo, PlacedFile found, const char* mark) {
  if (!isOpen(found.file)) {
    if (found.file.state == FileState::Unreadable) sawUnreadable_ = true;
    return;
  }
  const std::string stem =
      photo.title.empty() ? photo.fileName.substr(0, photo.fileName.rfind('.')) : photo.title;
  ZipEntry entry;
  const std::string_view path = found.place.path;
  const std::string_view file = path.substr(path.rfind('/') + 1);
  const std::size_t point = file.rfind('.');
  entry.name = names_.unique(stem + mark, point == std::string_view::npos ? "" : file.substr(point + 1));
  entry.path = found.place.path;
  if (found.place.isOutside) entry.folder = found.place.folder;
  entry.size = found.file.size;
  entry.date = photo.wallClock.value_or(0);
  entries_.push_back(std::move(entry));
}

std::string ZipRequests::Plan::name() const {
  ZipNames legal;
  return legal.unique(photos_->title().empty() ? "Photos" : photos_->title(), "zip");
}

void ZipRequests::Plan::finish() {
  // No file could be opened now: an empty archive would look like the whole list.
  if (entries_.empty() && sawUnreadable_) return task_.sendBusy();
  if (describe_) {
    return task_.send(taggedJsonReply("{\"count\":" + std::to_string(entries_.size()) +
                                      ",\"bytes\":" + std::to_string(storedZipSize(entries_)) +
                                      ",\"name\":" + jsonText(name()) + "}"));
  }
  HttpReply reply;
  reply.type = "application/zip";
  reply.downloadName = name();
  auto finder = std::make_shared<LibraryFileFinder>(allowed_);
  reply.body = std::make_shared<StoredZip>(
      std::move(entries_), [finder, library = task_.library->path(), place = place_](const ZipEntry& entry) {
        const bool isOutside = !entry.folder.empty();
        return openAgain(*finder, {isOutside ? entry.folder : library, entry.path, isOutside});
      });
  task_.send(std::move(reply));
}

ZipRequests::ZipRequests() : archives_(std::make_shared<std::atomic<int>>(0)) {}
ZipRequests::~ZipRequests() = default;

void ZipRequests::plan(FileTask task, const std::string& list, bool describe) {
  const auto what = whatOf(task.request);
  if (!what) return task.send(errorReply(400, "request"));
  if (*archives_ >= kMostArchives) return task.sendBusy();
  std::make_shared<Plan>(std::move(task), list, *what, describe, archives_)->post();
}

void ZipRequests::archive(FileTask task, const std::string& list) { plan(std::move(task), list, false); }
void ZipRequests::description(FileTask task, const std::string& list) { plan(std::move(task), list, true); }

}  // namespace moxtel
