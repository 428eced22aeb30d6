// A Value as JSON, for programs: numbers as numbers, dates as ISO 8601 texts in UTC, data as base64 texts,
// nil and what is no number as null. ASCII control characters and what is not printable are escaped, so that
// it may go to a terminal.
#pragma once

#include <ostream>
#include <string>

#include "value/Value.h"

namespace moxtel {

// Writes as it goes: however often a value shares another one, memory stays small.
void writeJson(std::ostream& out, const Value& value);

// "2016-07-12T09:05:03Z", with milliseconds where there are some. A moment outside the years 1 to 9999 has no
// such text: empty.
std::string iso8601(Date date);
std::string base64(const Bytes& bytes);

}  // namespace moxtel
