#include "platform/files/UserFolders.h"

#include <QDir>
#include <QStandardPaths>
#include <cstdlib>
#include <string_view>

namespace moxtel {

namespace {

std::string writableLocation(QStandardPaths::StandardLocation location) {
  return QDir::cleanPath(QStandardPaths::writableLocation(location)).toStdString();
}

// Of the absolute paths that the service manager sets; empty without one.
std::string firstFolderIn(const char* variable) {
  const char* const ofService = std::getenv(variable);
  const std::string_view folders = ofService ? ofService : "";
  const std::string_view first = folders.substr(0, folders.find(':'));
  return first.starts_with('/') ? std::string(first) : std::string();
}

}  // namespace

std::string settingsFolder() {
  std::string ofService = firstFolderIn("STATE_DIRECTORY");
  return ofService.empty() ? writableLocation(QStandardPaths::GenericConfigLocation) : ofService;
}

std::string applicationSupportFolder() { return writableLocation(QStandardPaths::GenericDataLocation); }

std::string cacheFolder() {
  std::string ofService = firstFolderIn("CACHE_DIRECTORY");
  return ofService.empty() ? writableLocation(QStandardPaths::GenericCacheLocation) : ofService;
}

std::string picturesFolder() { return writableLocation(QStandardPaths::PicturesLocation); }

std::string temporaryFolder() { return QDir::cleanPath(QDir::tempPath()).toStdString(); }

}  // namespace moxtel
