// A folder that a program fills with files, and the only way in which it changes anything there. One thread
// at a time.
//
// Every path is relative to the folder, with slashes between names, and is followed name by name from the
// open folder. A symbolic link on the way is not followed, so nothing is written outside the folder, wherever
// links in it lead. A file gets its name when it is complete: until then it lies in the work folder.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/FileDescriptor.h"
#include "platform/files/FileReader.h"

namespace moxtel {

struct TargetEntry {
  enum class Kind : std::uint8_t { Missing, File, Folder, Other };  // Other: a link, a device, …
  Kind kind = Kind::Missing;
  std::uint64_t size = 0;     // bytes
  std::int64_t modified = 0;  // nanoseconds since 1970 UTC
  bool isFile() const { return kind == Kind::File; }
};

// What went wrong, for the decision what to do next, and why, for the user.
struct WriteProblem {
  enum class Kind : std::uint8_t {
    None,
    Source,    // the source cannot be read, or changed while it was read
    Canceled,  // by the caller
    Full,      // no room in the target
    TooLarge,  // the target's file system allows no file of this size
    Target,    // this file cannot be written
    Broken,    // the target's disk fails or is read-only
  };
  Kind kind = Kind::None;
  std::string reason;
  explicit operator bool() const { return kind != Kind::None; }
};

class TargetFolder final {
 public:
  // Opens the folder; with `create`, makes it and the folders above it where they are missing. workFolder is
  // the name of the folder in it for unfinished files, which is made with the first of them.
  TargetFolder(const std::string& path, std::string workFolder, bool create);

  // Whether the folder is there. If not, nothing below works.
  explicit operator bool() const { return static_cast<bool>(root_); }
  // Why not, or why lock() failed, for the user.
  const std::string& problem() const { return problem_; }
  // Without symbolic links.
  const std::string& path() const { return path_; }

  // What is at a path. Missing if a folder on the way is missing or a link.
  TargetEntry look(std::string_view path);
  // Opens a regular file for reading.
  OpenFile open(std::string_view path);
  // Every name in a folder but "." and ".."; empty if there is no such folder.
  std::vector<std::string> names(std::string_view path);

  // Makes the folders of a path that ends with a folder's name.
  WriteProblem makeFolders(std::string_view path);
  // Puts a symbolic link at a path, which must be free.
  WriteProblem link(const std::string& leadsTo, std::string_view path);
  enum class Lock : std::uint8_t {
    Taken,     // also where the file system has no locks
    Busy,      // another process has it
    Unusable,  // nothing can be written here; problem() says why
  };
  // Makes the work folder and locks it.
  Lock lock();
  // Writes everything to the disk.
  WriteProblem sync();

  // For this user; 0 if unknown.
  std::uint64_t freeBytes() const;
  // The size of the largest file; nothing without a limit that a photo could reach.
  std::optional<std::uint64_t> largestFile() const;

 private:
  friend class TargetFile;
  // The folder of a path, opened, and the path's last name. Makes the folders on the way if `create`.
  struct Place {
    int folder = -1;
    std::string name;
    WriteProblem problem;
  };
  Place placeOf(std::string_view path, bool create);
  WriteProblem enter(std::string_view path, bool create);
  WriteProblem openWorkFolder();

  std::string path_;
  std::string problem_;
  FileDescriptor root_;
  const std::string workFolder_;
  FileDescriptor work_;
  FileDescriptor lock_;
  // The folder that was used last.
  std::string lastPath_;
  FileDescriptor last_;
  bool clones_ = true;  // until cloning fails
};

// A new file in the work folder, which is removed with this object unless it was published.
class TargetFile final {
 public:
  // Gets each part of the contents in order, for a checksum; false cancels.
  using Part = std::function<bool(std::span<const std::uint8_t> bytes)>;

  explicit TargetFile(TargetFolder& folder) : folder_(folder) {}
  ~TargetFile();
  TargetFile(const TargetFile&) = delete;
  TargetFile& operator=(const TargetFile&) = delete;

  // Copies a whole file: shares its blocks where the file system can, else lets the kernel copy them. each
  // may be empty; then isCanceled is asked between large parts.
  WriteProblem copy(const OpenFile& source, const Part& each, const std::function<bool()>& isCanceled);
  WriteProblem write(std::string_view bytes);

  // Sets the time (seconds since 1970 UTC; none leaves it now), as far as the target takes it, and gives the
  // file its name, in place of a file that is there. Fills entry with what the file then is.
  WriteProblem publish(std::string_view path, std::optional<double> modified, TargetEntry& entry);

 private:
  WriteProblem create();
  WriteProblem giveName(std::string_view path);
  bool tryClone(const OpenFile& source);
  WriteProblem copyWhole(const OpenFile& source, const std::function<bool()>& isCanceled);
  WriteProblem copyParts(const OpenFile& source, const Part& each, bool isCloned);

  TargetFolder& folder_;
  FileDescriptor file_;
  bool isNamed_ = false;
};

}  // namespace moxtel
