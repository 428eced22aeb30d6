// A Value as JSON (RFC 8259), for programs: numbers as numbers (reals with a point or an exponent), dates as
// ISO 8601 texts in UTC, data as base64 texts, nil and numbers that are not finite as null, bytes that are
// not UTF-8 as U+FFFD. Control characters and other unprintable characters are escaped: a terminal can show
// it. Any thread.
#pragma once

#include <cstdint>
#include <ostream>
#include <span>
#include <string>

#include "value/Value.h"

namespace moxtel {

// Indents by two blanks and ends with a line feed. Writes while it walks the value: memory stays small even
// when many values share one, or when data is large.
void writeJson(std::ostream& out, const Value& value);

// An array whose items come one by one. Writes the same text as writeJson() of the whole array.
class JsonArrayWriter final {
 public:
  explicit JsonArrayWriter(std::ostream& out) : out_(out) {}
  void add(const Value& item);
  void finish();

 private:
  std::ostream& out_;
  bool isEmpty_ = true;
};

// The bytes that writeJson() writes for the value, about, as far as they are below the limit: the texts at
// all their places, and the indentation. Ends at the limit.
std::uint64_t jsonSize(const Value& value, std::uint64_t limit);

// "2016-07-12T09:05:03Z", with milliseconds unless they are zero. Empty for a date outside the years 1 to
// 9999.
std::string iso8601(Date date);
// RFC 4648, padded, on one line. The text of a multiple of three bytes can be continued.
std::string base64(std::span<const std::uint8_t> bytes);

}  // namespace moxtel
