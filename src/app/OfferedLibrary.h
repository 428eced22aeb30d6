// A library that was found on this computer, with what helps a user to recognize it. A value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "value/Value.h"

namespace moxtel {

struct OfferedLibrary {
  std::string path;                    // absolute
  std::string name;                    // of the folder, without an ending
  std::optional<std::int64_t> photos;  // absent where it cannot be read
  std::optional<int> first, last;      // years of the photos; absent without dated photos
  Bytes picture;                       // a small JPEG of one photo; empty without one
  friend bool operator==(const OfferedLibrary&, const OfferedLibrary&) = default;
};

}  // namespace moxtel
