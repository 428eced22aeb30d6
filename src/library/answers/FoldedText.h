// Texts without the differences that searching ignores: case and accents. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// "Été" and "ETE" give "ete". Bytes that are no UTF-8 give U+FFFD.
std::string foldedText(std::string_view text);

}  // namespace moxtel
