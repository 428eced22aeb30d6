// Looks for libraries on this computer, on a thread of its own, and makes of each what helps a user to
// recognize it. A search takes a few seconds for each folder at most, and no file of a disk is open
// afterwards.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "app/OfferedLibrary.h"
#include "platform/loop/CoreLoop.h"
#include "platform/process/ChildProcess.h"

namespace moxtel {

class LibraryFinder final {
 public:
  // Called on the finder's thread with all libraries found so far; searching: more may follow.
  using Take = std::function<void(const std::vector<OfferedLibrary>& libraries, bool isSearching)>;
  explicit LibraryFinder(Take take);
  // Ends a search that is running.
  ~LibraryFinder();
  LibraryFinder(const LibraryFinder&) = delete;
  LibraryFinder& operator=(const LibraryFinder&) = delete;

  // Searches the folders, after a search that is running, which ends early. Any thread; returns at once.
  void search(std::vector<std::string> folders);
  // Ends a search that is running. Any thread.
  void stop() { ++wanted_; }

  // The folder for pictures of this user, and the disks of the table of mounted file systems.
  static std::vector<std::string> usualFolders(const std::string& mountTable);

 private:
  void run(const std::vector<std::string>& folders, int number);
  OfferedLibrary lookAt(const std::string& path);
  bool isUnwanted() const { return wanted_ != running_; }

  const Take take_;
  SystemProcessRunner processes_;
  std::atomic<int> wanted_{0};   // the number of the last search
  std::atomic<int> running_{0};  // of the one that runs
  CoreLoop loop_;
  std::thread thread_;
};

}  // namespace moxtel
