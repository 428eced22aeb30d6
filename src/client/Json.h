// A Value as JSON (RFC 8259), for programs: numbers as numbers (reals with a point or an exponent), dates as
// ISO 8601 texts in UTC, data as base64 texts, nil and numbers that are not finite as null, bytes that are
// not UTF-8 as U+FFFD. Control characters and other unprintable characters are escaped: a terminal can show
// it. Any thread.
#pragma once

#include <ostream>
#include <string>

#include "value/Value.h"

namespace moxtel {

// Indents by two blanks and ends with a line feed. Writes while it walks the value: memory stays small even
// when many values share one.
void writeJson(std::ostream& out, const Value& value);

// "2016-07-12T09:05:03Z", with milliseconds unless they are zero. Empty for a date outside the years 1 to
// 9999.
std::string iso8601(Date date);
// RFC 4648, padded, on one line.
std::string base64(const Bytes& bytes);

}  // namespace moxtel
