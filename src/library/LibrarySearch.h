// Finds the libraries that a user may have meant with a folder that is none: the folder is inside a library,
// or it is the disk on which libraries lie. Core thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class EventLoop;

struct FoundLibrary {
  std::string path;                    // absolute, without a slash at the end
  std::optional<std::int64_t> photos;  // absent where it cannot be read
  std::optional<Date> newest;          // the latest date of an event; absent without one
  friend bool operator==(const FoundLibrary&, const FoundLibrary&) = default;
};

// What a search may cost at most, so that a disk with a million folders does not stop the server.
struct LibrarySearchLimits {
  std::size_t libraries = 20;
  std::size_t entries = 20'000;  // files and folders that are looked at
  int depth = 5;                 // folders below the given one
  double seconds = 3;
  std::function<bool()> isUnwanted = nullptr;  // called often; true ends the search
};

// The libraries, sorted by path: the folder itself, or the one that contains it, or else those below it. The
// folder may be relative to the current one, begin with a tilde, or end with slashes. Links to folders are
// not followed, nor are hidden folders entered. Only kinds of libraries that can be served are found.
std::vector<std::string> librariesFor(const std::string& folder, const LibrarySearchLimits& limits = {});

struct LibrarySearchResult {
  std::vector<std::string> libraries;
  std::string closed;  // a folder in which there may be a library, and that this user may not read; or empty
};
// The same, with a folder that is not root's, where the name makes a library likely: that of a library, a Mac
// user's "Pictures" or a folder in "Users".
LibrarySearchResult searchForLibraries(const std::string& folder, const LibrarySearchLimits& limits = {});

// Reads number and date of each from its database, where that is possible without a private copy.
std::vector<FoundLibrary> describedLibraries(EventLoop& loop, const std::vector<std::string>& paths);

// For a message: "'/disk/Family' (12345 photos, newest 2014-05-03)".
std::string describe(const FoundLibrary& library);

}  // namespace moxtel
