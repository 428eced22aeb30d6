// Hands on the entries of a property list's lists one by one, as they are read: memory for one entry at a
// time. One thread; one object for each property list.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyListTree.h"

namespace moxtel {

class EntrySink final : public PropertyListSink {
 public:
  // list: the key at the top. key: of the entry in its list; empty in an array. For a value at the top that
  // is no collection, key is empty as well.
  using Take = std::function<void(const std::string& list, const std::string& key, const Value& entry)>;

  // Reads only these keys at the top. limits: for one entry.
  EntrySink(std::vector<std::string_view> lists, const PropertyListLimits& limits, Take take)
      : lists_(std::move(lists)), limits_(limits), take_(std::move(take)) {}

  bool wantsNext() const override;
  std::size_t room() const override { return entry_ ? entry_->room() : limits_.bytes; }
  const char* begin(bool isDictionary) override;
  const char* end() override;
  const char* key(std::string_view key) override;
  const char* leaf(Value value) override;
  const char* skip() override { return depth_ > kListDepth ? entry_->skip() : nullptr; }

 private:
  static constexpr std::size_t kListDepth = 2;  // inside the top and one of its lists
  void handOn(const Value& entry);

  const std::vector<std::string_view> lists_;
  const PropertyListLimits limits_;
  const Take take_;
  std::size_t depth_ = 0;
  std::string list_;
  std::string key_;
  std::optional<PropertyListTree> entry_;
};

}  // namespace moxtel
