// Where the user's photo library is: the folder that the user has set ("LibraryPath"), else the one in the
// settings of the preferred photo application. Core thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "library/PhotoApplicationFlags.h"

namespace moxtel {

class Messages;
class ProcessRunner;
class UserDefaults;

class LibraryLocation final {
 public:
  // Borrows all but the tool: the path of a program that prints a setting when it is called with "read", the
  // domain and the key.
  LibraryLocation(UserDefaults& defaults, ProcessRunner& processes, Messages& messages,
                  const PhotoApplicationFlags& flags, std::string tool = "/usr/bin/defaults");

  // The user's preference, set by the delegate at start-up.
  bool preferAperture = false;
  // Whether questions and edits go to Aperture: it is preferred, and iPhoto does not run.
  bool asksAperture() const { return preferAperture && !flags_.connectedWithIPhoto; }

  // Nil until found.
  const std::optional<std::string>& libraryPath() const { return libraryPath_; }

  // Whether there is the tool that names a library without a path from the user.
  bool canAskForLibrary() const;
  // Finds the library again. Blocks for a few seconds at most, even when the tool hangs. If the answer is not
  // a path, libraryPath() does not change.
  void readPhotoAppDefaults();

 private:
  bool takeChunk(std::string_view chunk, std::optional<std::string>& answer);
  void askTool();

  UserDefaults& defaults_;
  ProcessRunner& processes_;
  Messages& messages_;
  const PhotoApplicationFlags& flags_;
  std::string tool_;
  std::optional<std::string> libraryPath_;
};

// Shows one message if a library at this path cannot be served, with advice. For a plain path (see
// isUtf8Path) shows nothing.
void explainPathOutsideUtf8(std::string_view path, Messages& messages);

}  // namespace moxtel
