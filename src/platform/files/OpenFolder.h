// A folder that is open for looking up names in it, one name at a time. A symbolic link is never followed:
// the caller reads it and decides. So whoever changes the folder meanwhile cannot redirect a path that was
// checked step by step, because each step begins at a descriptor. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/files/FileDescriptor.h"
#include "platform/files/FileReader.h"

namespace moxtel {

struct FolderIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FolderIdentity&, const FolderIdentity&) = default;
};

// What a name in a folder is, or why it cannot be used.
enum class NameState : std::uint8_t {
  Found,    // what was asked for: a folder, or a regular file
  Link,     // a symbolic link
  Missing,  // nothing, or a file where a folder was asked for
  Refused,  // no permission
  Failed,   // another error, or no regular file where one was asked for
};

class OpenFolder final {
 public:
  // The folder at a path, links followed; closed when there is none.
  static OpenFolder at(const std::string& path);
  OpenFolder() = default;

  explicit operator bool() const { return static_cast<bool>(descriptor_); }

  // A name without a slash and without a NUL; ".." is the folder above. The folder is set when Found.
  NameState enter(const std::string& name, OpenFolder& folder) const;
  // Opens a regular file for reading; Failed for one of LockedFiles.h. Sets everything in it but its path
  // when Found.
  NameState open(const std::string& name, OpenFile& file) const;
  // The same for a path without ".." below this folder, in few calls; false, with nothing set, if any name on
  // it is a link, if anything else is in the way, or if the kernel cannot: then go from name to name.
  bool openDirectly(const std::string& path, OpenFile& file) const;
  // The state of a regular file, which is not opened.
  NameState look(const std::string& name) const;
  // Nothing if the name is no link.
  std::optional<std::string> linkTarget(const std::string& name) const;

  // Nothing when it cannot be read.
  std::optional<FolderIdentity> identity() const;
  // Nanoseconds since 1970; nothing when it cannot be read.
  std::optional<std::int64_t> modified() const;
  // Every name but "." and ".."; nothing when the folder cannot be listed.
  std::optional<std::vector<std::string>> names() const;

 private:
  FileDescriptor descriptor_;
};

}  // namespace moxtel
