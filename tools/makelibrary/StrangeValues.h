// The odd texts and numbers that a strange library is made of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "makelibrary/Random.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

// A text with something unusual about it: quotes, format places, control characters, other planes, or
// nothing in it at all.
std::string strangeText(Random& random);
// A uuid; one in six is no proper one.
std::string strangeUuid(Random& random);
// Whatever an integer column can hold: mostly small numbers, else NULL, texts, reals, blobs, 64-bit numbers.
Cell strangeInteger(Random& random);
// The same for columns of reals and dates.
Cell strangeReal(Random& random);
// NULL now and then, a blob rarely, else a strange text.
Cell strangeTextCell(Random& random);

// The uuids that one kind of record uses, so that records find each other.
class UuidPool final {
 public:
  UuidPool(Random& random, std::size_t size, std::initializer_list<std::string_view> fixed);
  // One of them; rarely one that nobody has.
  Cell any(Random& random) const;
  const std::string& at(std::size_t index) const { return uuids_[index % uuids_.size()]; }
  std::size_t size() const { return uuids_.size(); }

 private:
  std::vector<std::string> uuids_;
};

}  // namespace moxtel::makelibrary
