// The leaves of an XML property list as values. Any thread; throws nothing but std::bad_alloc. Separate from
// the leaves of the binary form, so that programs that read no XML need not link Qt.
#pragma once

#include <string_view>

#include "value/Value.h"

namespace moxtel {

// Whether an XML element of that name is a leaf.
bool isXmlLeaf(std::string_view element) noexcept;

// Converts the text of a leaf's element, with its references replaced, to a value. Returns null, or why it
// cannot be read, as a string literal. White space around numbers and dates is ignored.
// integer: decimal or 0x, with at most one sign, from -2^63 to 2^64 - 1.
// real: decimal, also inf and nan; a number beyond a double's range is an error.
// date: YYYY-MM-DDThh:mm:ssZ of an existing day; hours, minutes and seconds have two digits each and may
// exceed their ranges: 99 hours are four days and three hours. data: base64; characters outside its alphabet
// are skipped, '=' among them. true, false: empty elements. string: any text.
const char* readXmlLeaf(std::string_view element, std::string_view text, Value& out);

}  // namespace moxtel
