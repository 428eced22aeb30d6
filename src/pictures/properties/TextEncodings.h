// Converts texts in picture files to UTF-8. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel::properties {

// Up to the first NUL.
std::string_view untilNul(std::string_view text);
// A valid UTF-8 text unchanged; any other as Latin-1.
std::string utf8OrLatin1(std::string_view text);
std::string latin1(std::string_view text);
std::string utf16BigEndian(std::string_view bytes);

}  // namespace moxtel::properties
