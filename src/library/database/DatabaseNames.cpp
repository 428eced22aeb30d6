#include "library/database/DatabaseNames.h"

namespace moxtel {

DatabaseNames::DatabaseNames(const std::string& path)
    : file_(path),
      journal_(resolvedPath(path) + "-journal"),
      wal_(resolvedPath(path) + "-wal"),
      sharedMemory_(resolvedPath(path) + "-shm") {}

DatabaseStamp DatabaseNames::stamp() const { return {stampOf(file_), stampOf(journal_), stampOf(wal_)}; }

}  // namespace moxtel
