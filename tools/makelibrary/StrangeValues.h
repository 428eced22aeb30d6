// Odd texts and numbers for a strange library.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "makelibrary/Random.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

// An unusual text: quotes, format specifiers, control characters, other Unicode planes, or empty.
std::string strangeText(Random& random);
// A uuid; one in six is malformed.
std::string strangeUuid(Random& random);
// Any value for an integer column: mostly small numbers, else NULL, texts, reals, blobs, 64-bit numbers.
Cell strangeInteger(Random& random);
// The same for columns of reals and dates.
Cell strangeReal(Random& random);
// Sometimes NULL, rarely a blob, else a strange text.
Cell strangeTextCell(Random& random);

// The uuids of one kind of record, so that records can refer to each other.
class UuidPool final {
 public:
  UuidPool(Random& random, std::size_t size, std::initializer_list<std::string_view> fixed);
  // One of them; rarely one that no record has.
  Cell any(Random& random) const;
  const std::string& at(std::size_t index) const { return uuids_[index % uuids_.size()]; }
  std::size_t size() const { return uuids_.size(); }

 private:
  std::vector<std::string> uuids_;
};

}  // namespace moxtel::makelibrary
