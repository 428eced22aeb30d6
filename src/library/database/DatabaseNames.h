// The files of a database, and the state in which they are. Any thread.
#pragma once

#include <cstdint>
#include <string>

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

}  // namespace moxtel
