// Checks once a second which photo application runs, sets the flags that the other objects read, and reloads
// the library when one quits. Also has two file watchers, for the library database and for AlbumData.xml.
// Core thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "library/PhotoApplicationFlags.h"
#include "platform/applications/RunningApplications.h"
#include "platform/loop/Clock.h"
#include "platform/loop/EventLoop.h"

namespace moxtel {

class AlbumData;
class LoadedLibrary;
class Messages;

class ApplicationMonitor final {
 public:
  // Borrows everything.
  ApplicationMonitor(EventLoop& loop, RunningApplications& applications, LoadedLibrary& library,
                     AlbumData& albumData, Messages& messages, PhotoApplicationFlags& flags);

  // Starts the checks, once; stopAppChecks ends them, so that they can be started again.
  void startAppChecks();
  void stopAppChecks() { appChecksTimer_.reset(); }
  void checkForApplicationStatus();
  std::vector<std::string> runningApplicationNames();

  // Kept for completeness, nothing starts the watchers. A watcher that was started runs until this object is
  // destroyed; started twice, it runs twice.
  void startDatabaseCheck();
  void checkForDatabaseChange();
  void startAlbumDataCheck();
  void checkForAlbumDataChange();

 private:
  void checkIPhoto(bool running);
  void checkAperture(bool running);
  void showUnreadable(const std::string& why);

  EventLoop& loop_;
  RunningApplications& applications_;
  LoadedLibrary& library_;
  AlbumData& albumData_;
  Messages& messages_;
  PhotoApplicationFlags& flags_;
  bool iPhotoWasRunning_ = false;
  bool apertureWasRunning_ = false;
  std::unique_ptr<Timer> appChecksTimer_;
  std::vector<std::unique_ptr<Timer>> watchers_;
  std::unique_ptr<Timer> pendingLoadDatabase_;
  std::unique_ptr<Timer> pendingLoadAlbumData_;
};

}  // namespace moxtel
