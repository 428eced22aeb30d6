// The XML form of the album file, read piece by piece. Any thread; one file an object.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "library/albumdata/AlbumDataFile.h"

namespace moxtel {

class AlbumDataXml final {
 public:
  explicit AlbumDataXml(const AlbumDataLimits& limits);
  ~AlbumDataXml();
  AlbumDataXml(const AlbumDataXml&) = delete;
  AlbumDataXml& operator=(const AlbumDataXml&) = delete;

  // The next piece of the file; false once it is known to be broken.
  [[nodiscard]] bool feed(std::string_view bytes);
  AlbumDataContents finish();

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace moxtel
