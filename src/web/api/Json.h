// Texts of a library in JSON. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// In quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonText(std::string_view text);

}  // namespace moxtel
