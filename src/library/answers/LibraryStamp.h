// The state of the databases from which the members of smart albums follow, to notice changes. Core thread.
#pragma once

#include "library/database/LibraryDatabases.h"
#include "library/database/PrivateCopy.h"

namespace moxtel {

struct LibraryStamp {
  DatabaseStamp library;
  DatabaseStamp properties;
  DatabaseStamp faces;
  friend bool operator==(const LibraryStamp&, const LibraryStamp&) = default;
};

// Reads the attributes of a few files.
inline LibraryStamp stampOf(const LibraryDatabases& databases) {
  const auto stamp = [&databases](DatabaseFile file) {
    const auto path = databases.pathOf(file);
    return path ? DatabaseNames(*path).stamp() : DatabaseStamp();
  };
  return {stamp(DatabaseFile::Library), stamp(DatabaseFile::Properties), stamp(DatabaseFile::Faces)};
}

}  // namespace moxtel
