// The files of the thumbnails that were sent last, so that another request for one reads no database. Any
// thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/files/FileReader.h"
#include "platform/files/Files.h"
#include "web/http/HttpBody.h"

namespace moxtel {

class WebLibrary;

class KnownThumbnails final {
 public:
  // Each has about 300 bytes. If there is no room for one more, all are dropped.
  static constexpr std::size_t kMost = 16384;

  struct Found {
    FileBody file;
    std::string etag;  // of fileReply()
  };
  // The thumbnail of a photo, if it is known for this version of the library, which was looked at shortly
  // before. Only the very file that was kept is opened: it was found inside the library, for a photo that is
  // shown. Nothing otherwise.
  std::optional<Found> open(const WebLibrary& library, std::int64_t modelId, bool mini) const;
  // version: of the library that the file was found in.
  void keep(const WebLibrary& library, const std::string& version, std::int64_t modelId, bool mini,
            const OpenFile& file);
  std::size_t size() const;

 private:
  struct Known {
    std::string path;
    FileStamp stamp;
    std::string etag;
  };
  mutable std::mutex mutex_;
  std::unordered_map<std::string, Known> known_;
};

}  // namespace moxtel
