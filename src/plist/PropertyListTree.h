// A sink that builds a Value, within limits. One thread; one object for each property list.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyListSink.h"

namespace moxtel {

struct PropertyListLimits {
  std::size_t depth = 64;        // collections inside each other
  std::size_t bytes = 64 << 20;  // of texts, data and keys, plus 64 for each value
};

class PropertyListTree : public PropertyListSink {
 public:
  PropertyListTree(const PropertyListLimits& limits, Mutability mutability)
      : limits_(limits), mutability_(mutability) {}

  std::size_t room() const override { return limits_.bytes - used_; }
  const char* begin(bool isDictionary) override;
  const char* end() override;
  const char* key(std::string_view key) override;
  const char* leaf(Value value) override;
  const char* skip() override;

  // The value at the top; nil when there is none or it is not complete.
  Value take() { return std::move(top_); }
  // As take(), but if the dictionary at the top is not complete, it is returned with the entries that are.
  Value takeBeginning();

 protected:
  // The number of collections that have begun and not ended. Level 0 is the top one.
  std::size_t openCollections() const { return open_.size(); }
  bool isDictionary(std::size_t level) const { return open_[level].isDictionary; }
  // The key of the next value on that level; null if there is none.
  const Text* keyAt(std::size_t level) const { return open_[level].key ? &*open_[level].key : nullptr; }

 private:
  struct Open {
    bool isDictionary = false;
    std::optional<Text> key;  // of the value that comes next
    Dictionary dictionary;
    Array array;
  };
  const char* spend(std::size_t bytes);
  void place(Value value);

  const PropertyListLimits limits_;
  const Mutability mutability_;
  std::vector<Open> open_;
  std::size_t used_ = 0;
  Value top_;
};

}  // namespace moxtel
