#include "web/WebLibraries.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "library/Messages.h"
#include "log/Log.h"
#include "platform/loop/CoreLoop.h"
#include "web/LibraryCatalog.h"
#include "web/OpenWebLibrary.h"

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr std::chrono::minutes kBetweenSearches{1};
constexpr std::chrono::minutes kIdle{5};
constexpr std::chrono::seconds kBetweenChecks{30};
constexpr int kMostWaiting = 500;

class LoggedMessages final : public Messages {
 public:
  void showTitle(std::string_view title, std::string_view info) override {
    LogDebug("page: %@: %@", title, info);
  }
};

std::vector<std::string> foldersOf(std::string_view setting) {
  std::vector<std::string> folders;
  while (!setting.empty()) {
    const std::size_t end = std::min(setting.find(':'), setting.size());
    if (setting.front() == '/') folders.emplace_back(setting.substr(0, end));
    setting.remove_prefix(std::min(end + 1, setting.size()));
  }
  return folders;
}

// Libraries that are no longer used. Closing one waits for its threads, so whoever releases it last, which
// may be one of them, only puts it here.
class ClosingLibraries final {
 public:
  // Hands the library out; the pointer's end puts it here.
  static std::shared_ptr<OpenWebLibrary> hold(const std::shared_ptr<ClosingLibraries>& closing,
                                              std::unique_ptr<OpenWebLibrary> library) {
    const std::lock_guard lock(closing->mutex_);
    ++closing->held_;
    return {library.release(), [closing](OpenWebLibrary* released) { closing->put(released); }};
  }
  // On no thread of a library.
  void close() {
    std::vector<std::unique_ptr<OpenWebLibrary>> closed;
    const std::lock_guard lock(mutex_);
    closed.swap(released_);
  }
  void closeAll() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return held_ == 0; });
    lock.unlock();
    close();
  }

 private:
  void put(OpenWebLibrary* library) {
    const std::lock_guard lock(mutex_);
    released_.emplace_back(library);
    --held_;
    changed_.notify_all();
  }

  std::mutex mutex_;  // guards the following
  std::condition_variable changed_;
  std::vector<std::unique_ptr<OpenWebLibrary>> released_;
  std::size_t held_ = 0;
};

}  // namespace

class WebLibraries::Implementation final {
 public:
  explicit Implementation(WebLibrariesOptions options)
      : options_(std::move(options)), folders_(foldersOf(options_.others)), thread_([this] { run(); }) {}
  ~Implementation() {
    isEnding_ = true;
    loop_.quit();
    thread_.join();
    for (Entry& entry : entries_)
      if (entry.open) entry.open->end();
    entries_.clear();
    closing_->closeAll();
  }

  void setServed(const std::optional<std::string>& path) {
    const std::lock_guard lock(mutex_);
    served_ = path;
    searched_.reset();
  }
  bool post(std::function<void()> task) {
    if (isEnding_ || waiting_ >= kMostWaiting) return false;
    ++waiting_;
    loop_.post([this, task = std::move(task)] {
      --waiting_;
      if (!isEnding_) task();
    });
    return true;
  }
  // On the loop's thread.
  void searchIfNeeded();
  std::vector<LibraryCard> cards();
  void countNext();
  std::shared_ptr<OpenWebLibrary> openLibrary(std::string_view id);
  bool withLibrary(std::string_view id, TakeLibrary take);
  std::string nameOf(std::string_view id);
  const std::string& serverName() const { return options_.serverName; }

 private:
  struct Entry {
    LibraryCatalog::Item item;
    std::shared_ptr<OpenWebLibrary> open;
    SteadyClock::time_point used;
    bool isIdle() const { return open && open.use_count() == 1; }
  };
  enum class Opening : std::uint8_t { Done, Unknown, Busy };

  OpenLibraryOptions libraryOptions() const {
    OpenLibraryOptions options;
    options.referencedFolders = options_.referencedFolders;
    options.privateCopyLimit = options_.privateCopyLimit;
    return options;
  }
  void run();
  Opening open(const std::string& id, std::shared_ptr<OpenWebLibrary>& library);
  bool makeRoom();
  void closeIdle();

  const WebLibrariesOptions options_;
  const std::vector<std::string> folders_;
  std::mutex mutex_;  // guards the next four
  std::optional<std::string> served_;
  std::vector<Entry> entries_;
  std::optional<SteadyClock::time_point> searched_;
  const std::shared_ptr<ClosingLibraries> closing_ = std::make_shared<ClosingLibraries>();
  CoreLoop loop_;
  std::atomic<bool> isEnding_{false};
  std::atomic<int> waiting_{0};
  LibraryCatalog* catalog_ = nullptr;  // on the loop's thread
  std::thread thread_;
};

void WebLibraries::Implementation::run() {
  LoggedMessages messages;
  OpenLibraryOptions options = libraryOptions();
  options.privateCopyLimit = 0;  // a card is not worth a copy
  options.isEnding = [this] { return isEnding_.load(); };
  LibraryCatalog catalog(loop_, messages, std::move(options));
  catalog_ = &catalog;
  const auto timer = loop_.callEvery(kBetweenChecks, [this] { closeIdle(); });
  loop_.run();
}

void WebLibraries::Implementation::searchIfNeeded() {
  std::optional<std::string> served;
  {
    const std::lock_guard lock(mutex_);
    if (searched_ && SteadyClock::now() - *searched_ < kBetweenSearches) return;
    served = served_;
    searched_ = SteadyClock::now();
  }
  std::vector<Entry> entries;
  for (LibraryCatalog::Item& item : catalog_->search(served, folders_))
    entries.push_back({std::move(item), {}, {}});
  const std::lock_guard lock(mutex_);
  if (served != served_) searched_.reset();
  for (Entry& entry : entries) {
    const auto old = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& each) {
      return each.item.card.id == entry.item.card.id && each.item.path == entry.item.path;
    });
    if (old == entries_.end()) continue;
    entry.open = std::move(old->open);
    entry.used = old->used;
  }
  entries_.swap(entries);
}

std::vector<LibraryCard> WebLibraries::Implementation::cards() {
  const std::lock_guard lock(mutex_);
  std::vector<LibraryCard> cards;
  for (const Entry& entry : entries_) {
    LibraryCard card = entry.item.card;
    const auto totals = entry.open ? entry.open->totals() : std::nullopt;
    if (totals) {
      card.photos = totals->photos;
      card.first = totals->first;
      card.last = totals->last;
    }
    cards.push_back(std::move(card));
  }
  return cards;
}

// One library in each turn of the loop, so that requests come in between.
void WebLibraries::Implementation::countNext() {
  std::vector<std::string> paths;
  {
    const std::lock_guard lock(mutex_);
    for (const Entry& entry : entries_) paths.push_back(entry.item.path);
  }
  for (const std::string& path : paths) {
    const LibraryCard* const card = catalog_->count(path);
    if (!card) continue;
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_) {
      if (entry.item.path != path) continue;
      entry.item.card.photos = card->photos;
      entry.item.card.first = card->first;
      entry.item.card.last = card->last;
    }
    post([this] { countNext(); });
    return;
  }
}

std::string WebLibraries::Implementation::nameOf(std::string_view id) {
  const std::lock_guard lock(mutex_);
  for (const Entry& entry : entries_) {
    if (entry.item.card.id == id) return entry.item.card.name;
  }
  return {};
}

std::shared_ptr<OpenWebLibrary> WebLibraries::Implementation::openLibrary(std::string_view id) {
  const std::lock_guard lock(mutex_);
  for (Entry& entry : entries_) {
    if (!entry.open || entry.item.card.id != id) continue;
    entry.used = SteadyClock::now();
    return entry.open;
  }
  return nullptr;
}

bool WebLibraries::Implementation::withLibrary(std::string_view id, TakeLibrary take) {
  std::shared_ptr<OpenWebLibrary> library;
  const Opening opening = open(std::string(id), library);
  if (opening == Opening::Busy) return false;
  if (opening == Opening::Done) {
    take(library);
    return true;
  }
  return post([this, id = std::string(id), take = std::move(take)] {
    searchIfNeeded();
    std::shared_ptr<OpenWebLibrary> found;
    open(id, found);
    take(found);
  });
}

WebLibraries::Implementation::Opening WebLibraries::Implementation::open(
    const std::string& id, std::shared_ptr<OpenWebLibrary>& library) {
  const std::lock_guard lock(mutex_);
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const Entry& each) { return each.item.card.id == id; });
  if (entry == entries_.end()) return Opening::Unknown;
  if (!entry->open) {
    if (!makeRoom()) return Opening::Busy;
    const std::string folder = options_.cacheFolder.empty() ? "" : options_.cacheFolder + "/search";
    entry->open = ClosingLibraries::hold(
        closing_, std::make_unique<OpenWebLibrary>(id, entry->item.path, libraryOptions(), folder,
                                                   options_.betweenLooks));
  }
  entry->used = SteadyClock::now();
  library = entry->open;
  return Opening::Done;
}

// With the mutex. Closes the idle library that was used least recently if there is no room for another one.
bool WebLibraries::Implementation::makeRoom() {
  const auto isOpen = [](const Entry& each) { return each.open != nullptr; };
  if (static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), isOpen)) < kMostOpen)
    return true;
  auto oldest = entries_.end();
  for (auto entry = entries_.begin(); entry != entries_.end(); ++entry)
    if (entry->isIdle() && (oldest == entries_.end() || entry->used < oldest->used)) oldest = entry;
  if (oldest == entries_.end()) return false;
  oldest->open = nullptr;
  loop_.post([closing = closing_] { closing->close(); });
  return true;
}

void WebLibraries::Implementation::closeIdle() {
  {
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_)
      if (entry.isIdle() && SteadyClock::now() - entry.used >= kIdle) entry.open = nullptr;
  }
  closing_->close();
}

WebLibraries::WebLibraries(WebLibrariesOptions options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}

WebLibraries::~WebLibraries() = default;

void WebLibraries::setServed(const std::optional<std::string>& path) { implementation_->setServed(path); }

bool WebLibraries::withCards(TakeCards take) {
  Implementation& implementation = *implementation_;
  return implementation.post([&implementation, take = std::move(take)] {
    implementation.searchIfNeeded();
    take(implementation.cards());
  });
}

void WebLibraries::countPhotos() {
  Implementation& implementation = *implementation_;
  // When too many wait, the next request for the cards counts.
  static_cast<void>(implementation.post([&implementation] { implementation.countNext(); }));
}

std::shared_ptr<OpenWebLibrary> WebLibraries::openLibrary(std::string_view id) {
  return implementation_->openLibrary(id);
}

bool WebLibraries::withLibrary(std::string_view id, TakeLibrary take) {
  return implementation_->withLibrary(id, std::move(take));
}

std::string WebLibraries::nameOf(std::string_view id) const { return implementation_->nameOf(id); }

const std::string& WebLibraries::serverName() const { return implementation_->serverName(); }

}  // namespace moxtel
