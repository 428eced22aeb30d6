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

}  // namespace

std::string settingsFolder() {
  const char* const ofService = std::getenv("STATE_DIRECTORY");
  const std::string_view folders = ofService ? ofService : "";
  const std::string_view first = folders.substr(0, folders.find(':'));
  if (first.starts_with('/')) return std::string(first);
  return writableLocation(QStandardPaths::GenericConfigLocation);
}

std::string applicationSupportFolder() { return writableLocation(QStandardPaths::GenericDataLocation); }

std::string temporaryFolder() { return QDir::cleanPath(QDir::tempPath()).toStdString(); }

}  // namespace moxtel
