// The libraries that the page shows: the one that is served to the handheld, and those in the folders or on
// the disks of the setting "WebLibraries". Any thread, but setServed() and the constructor: one thread.
//
// Disks are searched and libraries are looked at on a thread of its own. A library is opened at its first
// request and closed after five minutes without another; four are open at most, then the one that was
// asked for least recently is closed first.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "web/WebLibrary.h"

namespace moxtel {

class OpenWebLibrary;

struct WebLibrariesOptions {
  std::string serverName;
  // The setting: absolute paths of libraries, or of folders that are searched for them, separated by colons.
  std::string others;
  // As in the setting (ReferencedFolders.h).
  std::string referencedFolders;
  // Of the indexes for the search; made when needed. Empty: no search by words.
  std::string cacheFolder;
  std::uint64_t privateCopyLimit = std::uint64_t{8} << 30;  // bytes
  // How long a change of an open library's files may go unnoticed.
  std::chrono::milliseconds betweenLooks = std::chrono::seconds(2);
};

// What is known of a library without opening it.
struct LibraryCard {
  std::string id;
  std::string name;
  std::string kind;                          // "iPhoto", "Aperture", "Photos"; empty when it is away
  std::optional<int> first = {}, last = {};  // years
  std::optional<std::int64_t> photos = {};
  WebLibrary::State state = WebLibrary::State::Ready;
  bool isServed = false;
};

class WebLibraries final {
 public:
  static constexpr std::size_t kMostOpen = 4;

  explicit WebLibraries(WebLibrariesOptions options);
  // Ends all threads and the tasks of the libraries. Waits until no library is held.
  ~WebLibraries();
  WebLibraries(const WebLibraries&) = delete;
  WebLibraries& operator=(const WebLibraries&) = delete;

  // The library that is served to the handheld: its folder, or nothing. Returns at once.
  void setServed(const std::optional<std::string>& path);

  // Calls back on a thread of its own with all libraries, the served one first; searches again if the last
  // search is a minute old. False when too many wait.
  using TakeCards = std::function<void(const std::vector<LibraryCard>&)>;
  [[nodiscard]] bool withCards(TakeCards take);
  // Finds the numbers and years that cards do not say yet; later calls of withCards() give them. Returns at
  // once.
  void countPhotos();
  // The library of an id if it is open, else null. Keeps it open for five more minutes.
  std::shared_ptr<OpenWebLibrary> openLibrary(std::string_view id);
  // Calls back with the library of an id, opened; null for an unknown id. At once if it is open already, else
  // on another thread. False when too many wait, or four libraries are open and all in use.
  using TakeLibrary = std::function<void(const std::shared_ptr<OpenWebLibrary>&)>;
  [[nodiscard]] bool withLibrary(std::string_view id, TakeLibrary take);

  // The name of a library that was found, by its id; empty for an unknown one.
  std::string nameOf(std::string_view id) const;

  const std::string& serverName() const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace moxtel
