// The interface through which readers of property lists pass on what they read, in the order of the file, and
// what they report. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// Readers do not descend deeper: collections inside each other, or elements of an XML list.
inline constexpr std::size_t kDeepestPropertyList = 512;

// Takes the contents of one property list. A reader makes well-formed sequences of calls only: one value at
// the top, each value of a dictionary after its key, an end for each begin. A function that returns a text
// returns null, or why the reading must end, as a string literal.
class PropertyListSink {
 public:
  virtual ~PropertyListSink() = default;

  // Whether the next value is wanted. The reader skips an unwanted value without decoding it.
  virtual bool wantsNext() const { return true; }
  // The most bytes that the next key, text or data may have. Readers do not decode a longer one.
  virtual std::size_t room() const = 0;

  virtual const char* begin(bool isDictionary) = 0;
  virtual const char* end() = 0;
  virtual const char* key(std::string_view key) = 0;
  virtual const char* leaf(Value value) = 0;
  // Called in place of a value that is not wanted or was left out.
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
