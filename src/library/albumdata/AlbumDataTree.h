// Builds a value from the parts of the album file that are kept. Any thread.
#pragma once

#include "library/albumdata/AlbumDataFile.h"
#include "plist/PropertyListTree.h"

namespace moxtel {

class AlbumDataTree final : public PropertyListTree {
 public:
  explicit AlbumDataTree(const PropertyListLimits& limits) : PropertyListTree(limits, Mutability::Mutable) {}

  // Wanted are the top value, its three lists, and every part of these except the "KeyList" of album and roll
  // entries.
  bool wantsNext() const override;
};

}  // namespace moxtel
