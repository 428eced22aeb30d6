// RecordBuilder builds records of one kind: mutable dictionaries that have some of N keys, in a fixed order.
// SharedKeyLists does the rest of its work for records that are built entry by entry.
//
// Records with the same keys share one list of keys, which would otherwise take a third of a record's memory.
// Core thread.
#pragma once

#include <algorithm>
#include <array>
#include <span>
#include <utility>
#include <vector>

#include "value/Value.h"

namespace moxtel {

class SharedKeyLists final {
 public:
  // The same record, with the list of an earlier record with the same keys, and no room for more entries.
  Dictionary shared(Dictionary record) {
    const Mutability mutability = record.mutability();
    const Shared<KeyList>* keys = listOf(record);
    if (!keys) return record;
    std::vector<Value> values = std::move(record).takeValues();
    values.shrink_to_fit();
    return Dictionary(*keys, std::move(values), mutability);
  }

 private:
  // Records of one kind have fewer choices of keys.
  static constexpr std::size_t kMost = 64;

  static bool hasKeys(const Dictionary& record, const std::vector<Text>& keys) {
    return std::equal(record.begin(), record.end(), keys.begin(), keys.end(),
                      [](const auto& entry, const Text& key) { return entry.key == key; });
  }
  // Null when there are too many lists already.
  const Shared<KeyList>* listOf(const Dictionary& record) {
    for (const Shared<KeyList>& list : lists_) {
      if (hasKeys(record, list->texts())) return &list;
    }
    if (lists_.size() == kMost) return nullptr;
    KeyList keys;
    for (const auto& entry : record) keys.append(entry.key);
    lists_.emplace_back().reset(std::move(keys));
    return &lists_.back();
  }

  std::vector<Shared<KeyList>> lists_;
};

template <std::size_t N>
class RecordBuilder final {
 public:
  static_assert(N <= 8, "there is a list of keys for each choice of keys");
  // One value for each key; nil leaves the key out.
  using Values = std::array<Value, N>;

  explicit RecordBuilder(std::array<Text, N> keys) : keys_(std::move(keys)) {}

  // A record for which `later` values will be appended at most.
  Dictionary record(Values values, std::size_t later = 0) {
    std::vector<Value> row;
    row.reserve(later + N - static_cast<std::size_t>(std::count_if(values.begin(), values.end(), isNil)));
    return recordOf(0, std::move(row), 0, values);
  }

  // Adds values for the keys from place `first` on, which come after all keys of the record.
  void append(Dictionary& record, std::size_t first, std::span<Value> values) {
    const std::size_t choice = choiceOf(record);
    record = recordOf(choice, std::move(record).takeValues(), first, values);
  }

 private:
  static bool isNil(const Value& value) { return value.isNil(); }

  // The bits of a choice say which of the keys a record has.
  std::size_t choiceOf(const Dictionary& record) const {
    std::size_t choice = 0;
    auto entry = record.begin();
    for (std::size_t i = 0; i < N && entry != record.end(); ++i) {
      if (!(entry->key == keys_[i])) continue;
      choice |= std::size_t{1} << i;
      ++entry;
    }
    return choice;
  }

  Dictionary recordOf(std::size_t choice, std::vector<Value> row, std::size_t first,
                      std::span<Value> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (values[i].isNil()) continue;
      choice |= std::size_t{1} << (first + i);
      row.push_back(std::move(values[i]));
    }
    return Dictionary(listOf(choice), std::move(row), Mutability::Mutable);
  }

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
  std::array<Shared<KeyList>, std::size_t{1} << N> lists_;  // by choice
};

}  // namespace moxtel
