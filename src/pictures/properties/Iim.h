// IPTC's Information Interchange Model: the data sets of record 2 (IIM 4.1). Any thread.
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

// In file order, up to the first that does not fit. Texts are UTF-8 where the block says so or they happen to
// be; else they count as Latin-1.
std::vector<IimSet> iimSets(FileBytes block);

}  // namespace moxtel::properties
