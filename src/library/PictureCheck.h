// Looks for what clients of a library will miss, and reports it to the user, once for each start: folders
// that this user may not read, photos outside the library, and edited photos without a preview.
//
// Works in small pieces on later turns of the loop, so that it delays no request for long. Core thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files/FileReader.h"
#include "value/Value.h"

namespace moxtel {

class EventLoop;
class LibraryDatabases;
class LibraryFiles;
class LibraryLocation;
class Messages;
class Timer;

class PictureCheck final {
 public:
  // How many pictures of each kind are tried, and of how many edited photos the preview's file is looked for.
  static constexpr int kTried = 3;
  static constexpr int kMostFiles = 1'000;

  // Borrows everything.
  PictureCheck(EventLoop& loop, const LibraryLocation& location, LibraryDatabases& databases,
               LibraryFiles& files, Messages& messages);
  ~PictureCheck();

  // Begins, or begins again. The messages follow on later turns of the loop.
  void start();

 private:
  void step();
  void tryPictures();
  void tryPicture(std::string_view folder, const Value& path);
  void reportRefused();
  void countReferences();
  // Looks at some more edited photos; false after the last one.
  bool checkPreviews();
  void checkPreview(const Value& uuid);
  FileState stateOf(std::string_view folder, const Value& path, std::string* refused = nullptr);
  void reportPreviews();

  EventLoop& loop_;
  const LibraryLocation& location_;
  LibraryDatabases& databases_;
  LibraryFiles& files_;
  Messages& messages_;
  std::unique_ptr<Timer> next_;
  bool isFirst_ = true;
  int triedCount_ = 0;
  int refusedCount_ = 0;
  std::string firstRefused_;
  std::int64_t lastVersion_ = 0;  // the model id up to which the versions were looked at
  std::int64_t editedCount_ = 0;
  std::int64_t withoutPreview_ = 0;
  int filesLeft_ = kMostFiles;
};

}  // namespace moxtel
