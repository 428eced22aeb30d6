// What readers of property lists hand over, in the order of the file, and what they report. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// Collections inside each other, and elements of an XML list, that readers descend into.
inline constexpr std::size_t kDeepestPropertyList = 512;

// Takes the contents of one property list. A reader calls in a sensible order only: each value of a
// dictionary after its key, one value at the top, an end for each begin. Functions that return a text return
// why the reading must end, or null; texts are fixed ones.
class PropertyListSink {
 public:
  virtual ~PropertyListSink() = default;

  // Whether the value that comes next is wanted. One that is not is passed over without being looked at.
  virtual bool wantsNext() const { return true; }
  // The most bytes that a key, text or data may have. A reader makes none that is longer.
  virtual std::size_t room() const = 0;

  virtual const char* begin(bool isDictionary) = 0;
  virtual const char* end() = 0;
  virtual const char* key(std::string_view key) = 0;
  virtual const char* leaf(Value value) = 0;
  // In place of a value that is not wanted or was left out.
  virtual const char* skip() = 0;

 protected:
  PropertyListSink() = default;
  PropertyListSink(const PropertyListSink&) = default;
  PropertyListSink& operator=(const PropertyListSink&) = default;
};

// What a lenient reader mended or left out.
struct PropertyListOddities {
  std::uint64_t count = 0;
  // Where the first one is: the line of an XML file, from 1; the number of a binary list's object, from 0.
  std::uint64_t first = 0;

  void add(std::uint64_t place) {
    if (count++ == 0) first = place;
  }
  void add(const PropertyListOddities& others) {
    if (others.count > 0 && (count == 0 || others.first < first)) first = others.first;
    count += others.count;
  }
};

}  // namespace moxtel
