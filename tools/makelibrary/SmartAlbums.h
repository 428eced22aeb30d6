// The smart albums of a sample library: each rule as the photo application archives it in RKAlbum.queryData,
// and beside it, written down apart from the rule, the photos that it means.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "makelibrary/SamplePlan.h"

namespace moxtel::makelibrary {

enum class SmartScope : std::uint8_t { Library, FirstProject };
enum class SmartOrder : std::uint8_t { OldestFirst, NewestFirst, Rating };

struct SmartAlbum {
  std::string name;
  std::string queryData;  // a keyed archive, as a binary property list
  std::function<bool(const Photo&)> shows;
  SmartScope scope = SmartScope::Library;
  SmartOrder order = SmartOrder::OldestFirst;
};

// One album for each clause whose meaning is known, for groups of them, and for clauses that only the photo
// application understands. Made once. Any thread.
const std::vector<SmartAlbum>& smartAlbums();

}  // namespace moxtel::makelibrary
