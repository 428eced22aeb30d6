// What the readers of a process share for libraries that they read at the same time, each on a thread and
// with connections of its own. Any thread.
#pragma once

#include <memory>

#include "library/database/HelperTables.h"
#include "library/database/PrivateCopy.h"
#include "library/database/SharedByReaders.h"
#include "library/kinds/AlbumDataDatabase.h"

namespace moxtel {

struct FilledDatabase {
  FileStamp stamp;  // of the file, before it was read
  std::shared_ptr<const AlbumDataDatabase> content;
};

struct SharedDatabases {
  SharedByReaders<PrivateCopy> copies;     // by the path of the original
  SharedByReaders<FilledDatabase> filled;  // by the path of the file
  SharedByReaders<HelperTables> helpers;   // by the path of the database that is read

  static std::shared_ptr<SharedDatabases> ofProcess();
};

}  // namespace moxtel
