// Opens files of the library for the rest of the program, and reports to the user what a link keeps it from:
// each folder outside the library to which a link leads, once. Core thread.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "library/LibraryFileFinder.h"

namespace moxtel {

class Messages;

class LibraryFiles final {
 public:
  // Borrows the messages.
  explicit LibraryFiles(Messages& messages, ReferencedFolders allowed = {})
      : messages_(messages), finder_(std::move(allowed)) {}

  // See LibraryFileFinder.
  FoundFile open(std::string_view libraryPath, std::string_view path);
  FoundFile openBelow(const std::string& folder, std::string_view path);
  // Whether open() would open it.
  bool exists(std::string_view libraryPath, std::string_view path);
  // For files that something else opens by their path: false if a link leads out of the library.
  bool permits(std::string_view libraryPath, std::string_view path);

  const ReferencedFolders& allowed() const { return finder_.allowed(); }

 private:
  FoundFile reported(FoundFile found);

  Messages& messages_;
  LibraryFileFinder finder_;
  std::set<std::string> reported_;
};

}  // namespace moxtel
