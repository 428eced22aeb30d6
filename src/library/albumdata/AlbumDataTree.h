// What is kept of the album file. Any thread.
#pragma once

#include "library/albumdata/AlbumDataFile.h"
#include "plist/PropertyListTree.h"

namespace moxtel {

class AlbumDataTree final : public PropertyListTree {
 public:
  explicit AlbumDataTree(const PropertyListLimits& limits) : PropertyListTree(limits, Mutability::Mutable) {}

  // The top value, of a dictionary the three lists, and of the entries of albums and rolls all but "KeyList".
  bool wantsNext() const override;
};

}  // namespace moxtel
