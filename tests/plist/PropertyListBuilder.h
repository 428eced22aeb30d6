// A binary property list put together object by object, right or wrong, for tests of what reads one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "value/Value.h"

namespace moxtel::testing {

class PropertyListBuilder final {
 public:
  using Number = std::uint64_t;

  explicit PropertyListBuilder(std::size_t referenceWidth = 2, std::size_t offsetWidth = 4)
      : referenceWidth_(referenceWidth), offsetWidth_(offsetWidth) {}

  // Any bytes as an object; returns its number.
  Number raw(const std::string& bytes) {
    objects_.push_back(bytes);
    return objects_.size() - 1;
  }
  Number string(const std::string& text) { return raw(head(5, text.size()) + text); }
  Number utf16(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) bytes += big(unit, 2);
    return raw(head(6, text.size()) + bytes);
  }
  Number data(const std::string& bytes) { return raw(head(4, bytes.size()) + bytes); }
  Number integer(std::uint64_t value, std::size_t width = 8) {
    const char power = width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3;
    return raw(static_cast<char>(0x10 | power) + big(value, width));
  }
  Number real(std::uint64_t bits) { return raw("\x23" + big(bits, 8)); }
  Number uid(std::uint64_t index, std::size_t width = 2) {
    return raw(static_cast<char>(0x80 | (width - 1)) + big(index, width));
  }
  Number array(const std::vector<Number>& items) { return raw(head(10, items.size()) + references(items)); }
  Number dictionary(const std::vector<std::pair<std::string, Number>>& entries) {
    std::vector<Number> keys;
    std::vector<Number> values;
    for (const auto& [key, value] : entries) {
      keys.push_back(string(key));
      values.push_back(value);
    }
    return dictionary(keys, values);
  }
  Number dictionary(const std::vector<Number>& keys, const std::vector<Number>& values) {
    return raw(head(13, keys.size()) + references(keys) + references(values));
  }
  // An array of UIDs that name these indexes of $objects.
  Number uids(const std::vector<std::uint64_t>& indexes) {
    std::vector<Number> numbers;
    for (const std::uint64_t index : indexes) numbers.push_back(uid(index));
    return array(numbers);
  }
  Number classObject(const std::string& name, const std::vector<std::string>& hints = {}) {
    std::vector<std::pair<std::string, Number>> entries = {{"$classname", string(name)}};
    if (!hints.empty()) {
      std::vector<Number> names;
      for (const std::string& hint : hints) names.push_back(string(hint));
      entries.emplace_back("$classhints", array(names));
    }
    return dictionary(entries);
  }

  // The whole list. `objects` are $objects from index 1 on.
  Bytes archive(std::vector<Number> objects, std::uint64_t root = 1) {
    objects.insert(objects.begin(), string("$null"));
    const Number top = dictionary({{"root", uid(root)}});
    return finish(dictionary({{"$version", integer(100000, 4)},
                              {"$archiver", string("NSKeyedArchiver")},
                              {"$top", top},
                              {"$objects", array(objects)}}));
  }
  Bytes finish(Number top) const { return finish(top, offsetWidth_); }
  Bytes finish(Number top, std::size_t offsetWidth) const {
    std::string out = "bplist00";
    std::string table;
    for (const std::string& object : objects_) {
      table += big(out.size(), offsetWidth);
      out += object;
    }
    const std::size_t tableAt = out.size();
    out += table + std::string(6, 0) + static_cast<char>(offsetWidth) + static_cast<char>(referenceWidth_) +
           big(objects_.size(), 8) + big(top, 8) + big(tableAt, 8);
    return Bytes(out.begin(), out.end());
  }

  static std::string big(std::uint64_t number, std::size_t width) {
    std::string out;
    while (out.size() < width) {
      const std::size_t shift = 8 * (width - 1 - out.size());
      out += static_cast<char>(shift >= 64 ? 0 : number >> shift & 255);
    }
    return out;
  }
  static std::string head(int kind, std::size_t count) {
    if (count < 15) return {static_cast<char>(kind << 4 | static_cast<int>(count))};
    return static_cast<char>(kind << 4 | 15) + std::string(1, 0x12) + big(count, 4);
  }

 private:
  std::string references(const std::vector<Number>& items) const {
    std::string out;
    for (const Number item : items) out += big(item, referenceWidth_);
    return out;
  }

  std::vector<std::string> objects_;
  std::size_t referenceWidth_;
  std::size_t offsetWidth_;
};

}  // namespace moxtel::testing
