// A private copy of a database file and of its journals, in a new folder, for a database that cannot be read
// in place without changing something there. Core thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "library/database/GuardedVfs.h"
#include "library/database/LibrarySeams.h"
#include "platform/files/Files.h"

namespace moxtel {

// The states of a database file and of its journals, which together are what SQLite reads.
struct DatabaseStamp {
  FileStamp file;
  FileStamp journal;
  FileStamp wal;
  std::uint64_t size() const { return file.size + journal.size + wal.size; }
  // Whether the file alone is not all: SQLite reads an empty log as none.
  bool hasLog() const { return wal.kind != FileStamp::Kind::Missing && !(wal.isRegular() && wal.size == 0); }
  friend bool operator==(const DatabaseStamp&, const DatabaseStamp&) = default;
};

// The names that SQLite uses: the journals lie beside the file that a symbolic link leads to.
class DatabaseNames final {
 public:
  // Resolves links for the journals' names only, so that a link with another target later is noticed.
  explicit DatabaseNames(const std::string& path);
  DatabaseStamp stamp() const;
  const std::string& file() const { return file_; }
  const std::string& journal() const { return journal_; }
  const std::string& wal() const { return wal_; }
  const std::string& sharedMemory() const { return sharedMemory_; }

 private:
  std::string file_;
  std::string journal_;
  std::string wal_;
  std::string sharedMemory_;
};

class PrivateCopy final {
 public:
  // Copies into a new folder in the temporary folder. moxtel-database-copier reads the original, because
  // closing it in this process would drop the locks of an open connection to it. An original that changes
  // meanwhile is copied again as long as wait() returns true. failure() is empty, or says for the user why
  // there is no copy. The original is only read.
  PrivateCopy(const DatabaseNames& original, const LibrarySeams& seams, const std::function<bool()>& wait);

  // Deletes the copies that servers of this user left behind because they crashed.
  static void sweep(const std::string& temporaryFolder);

  const std::string& failure() const { return failure_; }
  // The state of the original when it was copied.
  const DatabaseStamp& stamp() const { return stamp_; }
  const std::string& path() const { return path_; }
  GuardedVfs& vfs() { return *vfs_; }

 private:
  // False when the original changed meanwhile.
  bool copyOnce(const DatabaseNames& original, const LibrarySeams& seams);
  std::string copied(const DatabaseNames& original, const LibrarySeams& seams) const;

  std::string failure_;
  DatabaseStamp stamp_;
  std::unique_ptr<PrivateFolder> folder_;
  std::string path_;
  std::unique_ptr<GuardedVfs> vfs_;
};

}  // namespace moxtel
