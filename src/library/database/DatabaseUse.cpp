#include "library/database/DatabaseUse.h"

#include <utility>

namespace moxtel {

namespace {

bool open(LibraryDatabases& databases, DatabaseFile file) {
  switch (file) {
    case DatabaseFile::Library:
      return databases.openDatabase();
    case DatabaseFile::ImageProxies:
      return databases.openProxiesDB();
    case DatabaseFile::Properties:
      return databases.openPropsDB();
    case DatabaseFile::Faces:
      return databases.openFacesDB();
  }
  return false;
}

}  // namespace

DatabaseUse::DatabaseUse(LibraryDatabases& databases, DatabaseFile file, AfterFailure afterFailure)
    : databases_(databases),
      file_(file),
      opened_(open(databases, file)),
      toClose_(opened_ || afterFailure == AfterFailure::Close) {}

void DatabaseUse::close() {
  if (!std::exchange(toClose_, false)) return;
  switch (file_) {
    case DatabaseFile::Library:
      databases_.closeDatabase();
      break;
    case DatabaseFile::ImageProxies:
      databases_.closeProxiesDB();
      break;
    case DatabaseFile::Properties:
      databases_.closePropsDB();
      break;
    case DatabaseFile::Faces:
      databases_.closeFacesDB();
      break;
  }
}

}  // namespace moxtel
