// Bounds a list of records while it is built. Core thread.
//
// A crafted library has many versions with one uuid, or many faces with one key: its lists grow with the
// square of its size. They end where their reply would be too large, before they fill the memory.
#pragma once

#include <cstdint>

#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel {

class ListSize final {
 public:
  // What a record takes at least in an archive, besides its texts: its objects, their UIDs and offsets.
  static constexpr std::uint64_t kBytesPerRecord = 100;

  explicit ListSize(std::uint64_t largest) : largest_(largest) {}

  // Throws ArchiveTooLargeError beyond the largest size.
  void add(const Dictionary& record) {
    bytes_ += kBytesPerRecord;
    for (const auto& entry : record) addText(entry.value);
  }
  void addText(const Value& value) {
    bytes_ += value.string().size();
    if (bytes_ > largest_) throw ArchiveTooLargeError();
  }

 private:
  std::uint64_t largest_;
  std::uint64_t bytes_ = 0;
};

}  // namespace moxtel
