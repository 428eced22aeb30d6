// Builds records of one kind: mutable dictionaries that have some of N keys, in a fixed order.
//
// Records with the same keys share one list of keys, which would otherwise take a third of a record's memory.
// Core thread.
#pragma once

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "value/Value.h"

namespace moxtel {

template <std::size_t N>
class RecordBuilder final {
 public:
  static_assert(N <= 8, "there is a list of keys for each choice of keys");
  // One value for each key; nil leaves the key out.
  using Values = std::array<Value, N>;

  explicit RecordBuilder(std::array<Text, N> keys) : keys_(std::move(keys)) {}

  Dictionary record(Values values) {
    std::size_t choice = 0;
    std::vector<Value> row;
    row.reserve(N - static_cast<std::size_t>(std::count_if(
                        values.begin(), values.end(), [](const Value& value) { return value.isNil(); })));
    for (std::size_t i = 0; i < N; ++i) {
      if (values[i].isNil()) continue;
      choice |= std::size_t{1} << i;
      row.push_back(std::move(values[i]));
    }
    return Dictionary(listOf(choice), std::move(row), Mutability::Mutable);
  }

  // The values of such a record.
  Values valuesOf(const Dictionary& record) const {
    Values values;
    auto entry = record.begin();
    for (std::size_t i = 0; i < N && entry != record.end(); ++i) {
      if (!(entry->key == keys_[i])) continue;
      values[i] = entry->value;
      ++entry;
    }
    return values;
  }

 private:
  const Shared<KeyList>& listOf(std::size_t choice) {
    Shared<KeyList>& list = lists_[choice];
    if (list) return list;
    KeyList keys;
    for (std::size_t i = 0; i < N; ++i) {
      if (choice >> i & 1) keys.append(keys_[i]);
    }
    list.reset(std::move(keys));
    return list;
  }

  const std::array<Text, N> keys_;
  std::array<Shared<KeyList>, std::size_t{1} << N> lists_;  // the bits of the index say which keys
};

}  // namespace moxtel
