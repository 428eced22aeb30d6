// Where the user's photo library lies: what the user said ("LibraryPath"), else what the photo application's
// own settings say. Core thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxtel {

class Messages;
class ProcessRunner;
class UserDefaults;

class LibraryLocation final {
 public:
  // Borrows all three. The tool prints a setting: "read", the domain, the key.
  LibraryLocation(UserDefaults& defaults, ProcessRunner& processes, Messages& messages, std::string tool);

  // Nil until found.
  const std::optional<std::string>& path() const { return path_; }

  // Finds it anew. Blocks for a few seconds at most, even when the tool hangs; an answer that is no path
  // leaves the path as it was.
  void find(std::string_view domain);

 private:
  bool takeChunk(std::string_view chunk, std::optional<std::string>& answer);
  void askTool(std::string_view domain);

  UserDefaults& defaults_;
  ProcessRunner& processes_;
  Messages& messages_;
  std::string tool_;
  std::optional<std::string> path_;
};

// Tells the user, in one line, that this path cannot be served and what helps; nothing for a plain path.
void explainPathOutsideAscii(std::string_view path, Messages& messages);

}  // namespace moxtel
