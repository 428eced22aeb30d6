// The index for the search in one library, made in the background, kept in the cache folder, made again when
// the library has changed or the file is damaged.
//
// While a newer one is made, the older one answers. An index is begun at most every ten minutes, so that a
// library that changes all the time does not occupy a processor.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "library/answers/OpenLibrary.h"
#include "web/lists/SearchQuery.h"

namespace moxtel {

class LibraryReader;

class SearchIndex final {
 public:
  static constexpr std::chrono::minutes kBetweenBuilds{10};
  static constexpr std::size_t kMostFiles = 8;  // indexes in the folder, of all libraries

  // folder: where the index is kept, made when needed; empty for none, then there is no search by words.
  // name: of the index in it, letters and digits.
  SearchIndex(std::string libraryPath, OpenLibraryOptions options, std::string folder,
              const std::string& name);
  // Cancels what is made.
  ~SearchIndex();
  SearchIndex(const SearchIndex&) = delete;
  SearchIndex& operator=(const SearchIndex&) = delete;

  // The library has this version: opens its index, or begins to make it. Returns at once. Any thread.
  void want(const std::string& version);

  enum class State : std::uint8_t { None, Building, Ready };
  struct Progress {
    State state = State::None;
    int percent = 0;
  };
  Progress progress() const;  // any thread

  // The places of the photos, by name. Any thread.
  std::vector<IndexedPlace> places() const;

  // Another number for another index; 0 without one. Any thread.
  std::uint64_t version() const;

  // The model ids of the photos that have all the terms, ascending; nothing when there is no index, or stop
  // said so. One thread at a time.
  std::optional<std::vector<std::int64_t>> find(const std::vector<IndexTerm>& terms,
                                                const std::function<bool()>& stop);

 private:
  struct Shared;
  void begin(const std::string& version);

  const std::string libraryPath_;
  const OpenLibraryOptions options_;
  const std::string file_;
  std::shared_ptr<Shared> shared_;
  std::mutex building_;  // guards the next two
  std::unique_ptr<LibraryReader> builder_;
  std::optional<std::chrono::steady_clock::time_point> begun_;
};

}  // namespace moxtel
