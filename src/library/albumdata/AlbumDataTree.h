// Builds a value from the parts of the album file that are kept. Any thread.
#pragma once

#include "plist/PropertyListTree.h"

namespace moxtel {

class AlbumDataTree final : public PropertyListTree {
 public:
  explicit AlbumDataTree(const PropertyListLimits& limits) : PropertyListTree(limits, Mutability::Mutable) {}

  // Wanted are the top value, its three lists, and every part of these. The "KeyList" of an album or roll
  // entry, a list of numbers as texts, is kept as data: 8 bytes for each, in the order of the machine.
  bool wantsNext() const override;
  std::size_t room() const override;
  const char* begin(bool isDictionary) override;
  const char* end() override;
  const char* key(std::string_view key) override;
  const char* leaf(Value value) override;
  const char* skip() override;

 private:
  bool isAtKeyList() const;
  bool isInKeyList() const { return keyListDepth_ > 0; }

  std::size_t keyListDepth_ = 0;  // the open collections from the KeyList on
  bool isKeyListArray_ = false;
  Bytes numbers_;  // of the KeyList
};

}  // namespace moxtel
