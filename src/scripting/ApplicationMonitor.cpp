#include "scripting/ApplicationMonitor.h"

#include <algorithm>
#include <cfloat>
#include <system_error>

#include "library/LoadedLibrary.h"
#include "library/Messages.h"
#include "library/albumdata/AlbumData.h"
#include "platform/files/Files.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

using namespace std::chrono_literals;

constexpr EventLoop::Duration kCheckInterval = 1s;
// A burst of changes within this time leads to one reload, after the last of them.
constexpr EventLoop::Duration kReloadDelay = 3s;
constexpr const char* kAlbumDataModified = "AlbumData.xml was modified! Be careful .....";

bool contains(const std::vector<std::string>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

ApplicationMonitor::ApplicationMonitor(EventLoop& loop, RunningApplications& applications,
                                       LoadedLibrary& library, AlbumData& albumData, Messages& messages,
                                       PhotoApplicationFlags& flags)
    : loop_(loop),
      applications_(applications),
      library_(library),
      albumData_(albumData),
      messages_(messages),
      flags_(flags) {}

void ApplicationMonitor::startAppChecks() {
  if (!appChecksTimer_)
    appChecksTimer_ = loop_.callEvery(kCheckInterval, [this] { checkForApplicationStatus(); });
}

// Nothing is asked about a library that the applications do not know: the question may be a script.
std::vector<std::string> ApplicationMonitor::runningApplicationNames() {
  if (library_.hasPhotoApplication()) return applications_.names();
  applications_.pause();
  return {};
}

void ApplicationMonitor::checkForApplicationStatus() {
  const std::vector<std::string> names = runningApplicationNames();
  checkIPhoto(contains(names, "iPhoto"));
  checkAperture(contains(names, "Aperture"));
}

void ApplicationMonitor::checkIPhoto(bool running) {
  if (running == iPhotoWasRunning_) return;
  if (running) {
    NSLog("iPhoto was started");
    messages_.showTitle("Info", "iPhoto was started");
  } else {
    NSLog("iPhoto not running");
  }
  iPhotoWasRunning_ = running;
  flags_.connectedWithIPhoto = running;
  if (!running) library_.loadDatabase();
}

void ApplicationMonitor::checkAperture(bool running) {
  if (running == apertureWasRunning_) return;
  if (running) {
    NSLog("Aperture was started");
    messages_.showTitle("Info", "Aperture was started");
  } else {
    NSLog("Aperture not running");
  }
  apertureWasRunning_ = running;
  flags_.connectedWithAperture = running;
  if (running) {
    // For this application only, on purpose: in logs it marks the start of Aperture.
    NSLog("maxfloat: %f", static_cast<double>(FLT_MAX));
  } else {
    library_.loadDatabase();
  }
}

void ApplicationMonitor::startDatabaseCheck() {
  watchers_.push_back(loop_.callEvery(kCheckInterval, [this] { checkForDatabaseChange(); }));
}

void ApplicationMonitor::startAlbumDataCheck() {
  watchers_.push_back(loop_.callEvery(kCheckInterval, [this] { checkForAlbumDataChange(); }));
}

void ApplicationMonitor::showUnreadable(const std::string& why) {
  messages_.showTitle("Error", unreadableDataMessage("iPhoto data", why));
}

void ApplicationMonitor::checkForDatabaseChange() {
  const auto path = library_.databaseFilename();
  if (library_.runStandalone() || !path) return;
  const FileStamp stamp = stampOf(*path);
  if (stamp.kind == FileStamp::Kind::Missing) {
    showUnreadable(*path + ": " + std::generic_category().message(stamp.error));
    return;
  }
  const auto readDate = library_.databaseReadDate();
  // A later date with the same size is ignored and not remembered, and so is another size with the same date.
  if (!readDate || stamp.modifiedDate() <= readDate->seconds || stamp.size == library_.databaseReadSize())
    return;
  NSLog("Database was modified! Be careful ..... (filesize %llu)", stamp.size);
  library_.rememberRead(Date{stamp.modifiedDate()}, stamp.size);
  pendingLoadDatabase_ = loop_.callAfter(kReloadDelay, [this] { library_.loadDatabase(); });
}

// Only the date counts here, not the size.
void ApplicationMonitor::checkForAlbumDataChange() {
  const auto& path = albumData_.albumDataFilename();
  if (library_.runStandalone() || !path) return;
  const FileStamp stamp = stampOf(*path);
  if (stamp.kind == FileStamp::Kind::Missing) {
    showUnreadable(*path + ": " + std::generic_category().message(stamp.error));
    return;
  }
  const auto readDate = albumData_.albumDataReadDate();
  if (!readDate || stamp.modifiedDate() <= readDate->seconds) return;
  NSLog("%s", kAlbumDataModified);
  messages_.showTitle("Error", kAlbumDataModified);
  albumData_.setAlbumDataReadDate(Date{stamp.modifiedDate()});
  pendingLoadAlbumData_ = loop_.callAfter(kReloadDelay, [this] { albumData_.loadAlbumData(); });
}

}  // namespace moxtel
