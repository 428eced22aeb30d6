// IPTC's Information Interchange Model: the data sets of record 2 (IIM 4.1). Our own parser because Exiv2's
// gives dates and times as typed values, which would have to be turned back into text. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pictures/properties/ByteSource.h"

namespace moxtel::properties {

struct IimSet {
  std::uint8_t number = 0;  // of record 2
  std::string text;         // UTF-8
};

// In file order, up to the first that exceeds the block. Texts are decoded as UTF-8 if they are valid UTF-8,
// else as Latin-1.
std::vector<IimSet> iimSets(FileBytes block);

}  // namespace moxtel::properties
