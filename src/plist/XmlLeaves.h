// The leaves of an XML property list as values. Any thread; nothing here throws but for lack of memory. Apart
// from those of the binary form, so that programs that read no XML need not link Qt.
#pragma once

#include <string_view>

#include "value/Value.h"

namespace moxtel {

// Whether an XML element of that name is a leaf.
bool isXmlLeaf(std::string_view element) noexcept;

// The text in a leaf's element, without references and markup, as a value. Returns why it cannot
// be read, as a fixed text, or null when it was. White space around numbers and
// dates does not matter.
// integer: decimal or 0x, with at most one sign, from -2^63 to 2^64 - 1.
// real: decimal, also inf and nan; a number beyond a double's range is none.
// date: YYYY-MM-DDThh:mm:ssZ of an existing day; hours, minutes and seconds count on past their ends.
// data: base64; characters outside its alphabet are skipped, '=' among them.
// true, false: empty elements. string: any text.
const char* readXmlLeaf(std::string_view element, std::string_view text, Value& out);

}  // namespace moxtel
