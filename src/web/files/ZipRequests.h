// Answers requests for the files of a list as one zip archive, which is written while it is sent. Any thread.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "web/files/FileReplies.h"

namespace moxtel {

class ZipRequests final {
 public:
  static constexpr std::size_t kMostPhotos =
      50'000;                               // in one archive; each takes some hundred bytes of memory
  static constexpr int kMostArchives = 16;  // at a time

  ZipRequests();
  ~ZipRequests();

  // list: the LIST of an address. "what" is "original" (the default), "edited" (where there is one, else the
  // original) or "both". Files that are missing are left out.
  void archive(FileTask task, const std::string& list);
  // {"count","bytes","name"} of such an archive.
  void description(FileTask task, const std::string& list);

 private:
  class Plan;
  void plan(FileTask task, const std::string& list, bool describe);

  // Shared with the archives, which may outlive this object.
  std::shared_ptr<std::atomic<int>> archives_;
};

}  // namespace moxtel
