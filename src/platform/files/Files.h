// Attributes of files, and private copies of files. Paths are bytes in no particular encoding.
// Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

// Identifies the state of a file, to notice changes. Times in nanoseconds since 1970.
struct FileStamp {
  enum class Kind : std::uint8_t { Missing, Regular, Other };
  Kind kind = Kind::Missing;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::uint64_t allocated = 0;  // bytes on the disk: fewer than the size for a file with holes; not compared
  std::int64_t modified = 0;
  int error = 0;  // errno when Missing

  bool isRegular() const { return kind == Kind::Regular; }
  // Seconds since 2001-01-01 UTC.
  double modifiedDate() const;
  friend bool operator==(const FileStamp& a, const FileStamp& b) {
    return a.kind == b.kind && a.device == b.device && a.inode == b.inode && a.size == b.size &&
           a.modified == b.modified;
  }
};

// Follows symbolic links; never opens the file. A file without readable attributes is Missing.
FileStamp stampOf(const std::string& path);
// The same for a name in an open folder; a symbolic link is not followed.
FileStamp stampOf(int folder, const std::string& name);
// The same for an open file.
FileStamp stampOf(int descriptor);
// Whether both are attributes of one file that exists, perhaps at different times or by different names.
bool isSameFile(const FileStamp& a, const FileStamp& b);

// In the place of open(2), for a library that opens files itself: opens regular files, and /dev/urandom, and
// does not wait for anything else. Returns a descriptor, or -1 with errno; EISDIR for other kinds of files.
int openRegularOnly(const char* path, int flags, int mode);

// Whether this process may read a file, or list a folder; false for one that is not there.
bool isReadable(const std::string& path);
// Whether this process may open the entries of a folder whose names it knows.
bool isEnterable(const std::string& folder);

// The number of the user who owns a file or folder; nothing for one that is not there.
std::optional<std::uint32_t> ownerOf(const std::string& path);

// The path without symbolic links; the path itself where it cannot be resolved.
std::string resolvedPath(const std::string& path);

// Whether the file system of an open file supports advisory locks. Takes and drops one on the first byte.
bool grantsLocks(int descriptor);

// Whether a file is on a file system of a disk of this computer, or in its memory, and not on a network or of
// an unknown kind.
bool isOnLocalDisk(const std::string& path);

// The free bytes of a folder's file system for this user; 0 if unknown.
std::uint64_t freeBytesIn(const std::string& folder);

// Why this user cannot make files at a path: no folder, no permission, a read-only disk; empty if it can.
std::string whyNotWritableFolder(const std::string& path);

// The name of the user of this process; its number where it has no name.
std::string userName();

// The home folder of a user, by name; of the current one for an empty name.
std::optional<std::string> homeFolder(const std::string& user);

// Deletes the folders in parent that PrivateFolder made with this prefix for this user and whose process has
// ended without removing them.
void sweepPrivateFolders(const std::string& parent, std::string_view prefix);

// A new folder that only this user can enter; it and the files in it are removed with the object. It is
// locked as long as the object exists, so that sweepPrivateFolders() leaves it.
class PrivateFolder final {
 public:
  // Inside an existing folder, with a name that begins with the prefix. path() is empty when it could not be
  // made.
  PrivateFolder(const std::string& parent, std::string_view prefix);
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  FileDescriptor lock_;
};

}  // namespace moxtel
