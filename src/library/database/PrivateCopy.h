// A private copy of a database file and of its journals, in a new folder, for a database that cannot be read
// in place without changing something there. Made on one thread, read on any.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "library/database/DatabaseNames.h"
#include "library/database/LibrarySeams.h"
#include "platform/files/Files.h"

namespace moxtel {

class PrivateCopy final {
 public:
  // Copies into a new folder in the temporary folder. moxtel-database-copier reads the original, because
  // closing it in this process would drop the locks of an open connection to it. An original that changes
  // meanwhile is copied again as long as wait() returns true. What was in journals is then taken into the
  // copy, which any number of connections can read as a file that does not change. failure() is empty, or
  // says for the user why there is no copy. The original is only read.
  PrivateCopy(const DatabaseNames& original, const LibrarySeams& seams, const std::function<bool()>& wait);

  // Deletes the copies that servers of this user left behind because they crashed.
  static void sweep(const std::string& temporaryFolder);

  const std::string& failure() const { return failure_; }
  // The state of the original when it was copied.
  const DatabaseStamp& stamp() const { return stamp_; }
  // When it was copied, by LibrarySeams::now.
  std::chrono::steady_clock::time_point copied() const { return copied_; }
  const std::string& path() const { return path_; }

 private:
  // False when the original changed meanwhile.
  bool copyOnce(const DatabaseNames& original, const LibrarySeams& seams);
  std::string copyFiles(const DatabaseNames& original, const LibrarySeams& seams) const;
  std::string makeWhole(const LibrarySeams& seams) const;

  std::string failure_;
  DatabaseStamp stamp_;
  std::unique_ptr<PrivateFolder> folder_;
  std::string path_;
  std::chrono::steady_clock::time_point copied_;
};

}  // namespace moxtel
