// Finds libraries and looks at them: what their cards say. One thread with a loop.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "library/answers/OpenLibrary.h"
#include "web/WebLibraries.h"

namespace moxtel {

class LibraryCatalog final {
 public:
  static constexpr std::size_t kMostLibraries = 50;

  struct Item {
    LibraryCard card;
    std::string path;
  };

  // Borrows loop and messages.
  LibraryCatalog(EventLoop& loop, Messages& messages, OpenLibraryOptions options)
      : loop_(loop), messages_(messages), options_(std::move(options)) {}

  // The served library first, if a folder is served, then those in the folders, each once. A library that was
  // found before and is missing now is listed as away. Takes a few seconds for each disk.
  std::vector<Item> search(const std::optional<std::string>& served, const std::vector<std::string>& folders);
  // Reads the photos of a library that a search has found, for the number and the years on its card. Null for
  // one that was counted since it changed, or cannot be read. Takes a second for a million photos.
  const LibraryCard* count(const std::string& path);

 private:
  struct Known {
    std::uint64_t version = 0;
    LibraryCard card;
    bool isCounted = false;  // or was tried
  };
  Item look(const std::string& path);

  EventLoop& loop_;
  Messages& messages_;
  const OpenLibraryOptions options_;
  std::map<std::string, Known> known_;                     // by path
  std::map<std::string, std::vector<std::string>> found_;  // paths, by folder
};

// The LIB of addresses: eight letters and digits, made of a library's own uuid, or of its path.
std::string libraryIdOf(const std::string& uuidOrPath);

}  // namespace moxtel
