// The library of WebLibrary.h with its threads, its lists and its search. Any thread.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "web/LibraryReader.h"
#include "web/WebLibrary.h"
#include "web/lists/ListCache.h"
#include "web/lists/ListMaker.h"
#include "web/search/SearchIndex.h"

namespace moxtel {

// What the page shows of the state in which a library was found.
WebLibrary::State shownState(OpenLibrary::State state);

class OpenWebLibrary final : public WebLibrary {
 public:
  // indexFolder: of the search; empty for none.
  OpenWebLibrary(std::string id, std::string path, OpenLibraryOptions options, const std::string& indexFolder,
                 std::chrono::milliseconds betweenLooks);
  // Ends the running tasks' queries and drops the tasks that wait. Waits for nothing.
  void end() {
    quick_.end();
    long_.end();
  }

  const std::string& id() const override { return id_; }
  const std::string& path() const override { return path_; }
  std::string version() const override;
  std::optional<std::string> recentVersion() const override;
  State state() const override;
  bool post(Task task) override { return quick_.post(std::move(task)); }
  bool postLong(Task task) override { return long_.post(std::move(task)); }
  ListOrReply listFor(OpenLibrary& library, std::string_view list, const HttpRequest& request) override;

  // The same for a list that is parsed already.
  ListOrReply listFor(OpenLibrary& library, const ListAddress& address, const ListFilters& filters,
                      const std::function<bool()>& isGone);
  // The same if the list is kept and of this version; else null. Any thread.
  std::shared_ptr<const ListedPhotos> keptList(const ListAddress& address, const ListFilters& filters,
                                               const std::string& version);
  // Looks at the files now unless the list has this version. On the thread for long tasks.
  void lookUnless(OpenLibrary& library, const ListAddress& address, const std::string& version);
  // All shown photos; null when the library cannot be read. On the thread for long tasks.
  std::shared_ptr<const DateOrder> orderOf(OpenLibrary& library) { return maker_.orderOf(library); }
  SearchIndex& search() { return search_; }

  // What the card of the library says, once it was read.
  std::optional<LibraryTotals> totals() const;
  void setTotals(const LibraryTotals& totals);

 private:
  // Shared with the threads.
  struct Status {
    mutable std::mutex mutex;
    std::string version;
    State state = State::Ready;
    std::chrono::steady_clock::time_point lookedAt;
    std::optional<LibraryTotals> totals;
    void note(OpenLibrary& library);
  };

  const std::string id_;
  const std::string path_;
  const std::chrono::milliseconds betweenLooks_;
  const OpenLibraryOptions options_;
  std::shared_ptr<Status> status_ = std::make_shared<Status>();
  ListCache lists_;
  SearchIndex search_;
  ListMaker maker_;                 // on the thread for long tasks, as the next one
  std::uint64_t listsVersion_ = 0;  // of the library whose lists are kept
  // The threads end first.
  LibraryReader quick_;
  LibraryReader long_;
};

}  // namespace moxtel
