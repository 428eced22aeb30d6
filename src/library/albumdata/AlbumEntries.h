// What the photo records and the photo application's queries ask of the legacy album file. AlbumData answers;
// tests answer from a table. Core thread.
#pragma once

#include <string_view>

#include "value/Value.h"

namespace moxtel {

class AlbumEntries {
 public:
  virtual ~AlbumEntries() = default;
  // The entry stored under a key ("GUID" or "ProjectUuid" of the file); nil when there is none.
  virtual const Value& containerDict(std::string_view key) const = 0;

 protected:
  AlbumEntries() = default;
  AlbumEntries(const AlbumEntries&) = default;
  AlbumEntries& operator=(const AlbumEntries&) = default;
};

}  // namespace moxtel
