// The text that the platform prints for a value where a format says %@.
//
// A text is printed bare, nil as "(null)"; a dictionary as "{" lines "key = value;" "}", an array as "("
// values separated by commas ")", nested ones indented by four blanks; texts inside collections are quoted
// unless they consist of ASCII letters, digits and _ $ / : . - only; data as {length = N, bytes = 0x…}; dates
// in UTC as "2016-07-12 09:05:03 +0000".
#pragma once

#include <string>

#include "value/Value.h"

namespace moxtel {

std::string describe(const Value& value);

// "2016-07-12 09:05:03 +0000"; moments outside the years 1 to 9999 as seconds since the reference date.
std::string describe(Date date);

}  // namespace moxtel
