// Texts in the user's language. Any thread.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace moxtel {

using StringTable = std::map<std::string, std::string, std::less<>>;

// The table in which texts are looked up from now on; empty at the start.
void setStringTable(StringTable table);

// The translation of a text; the text itself where there is none, or an empty one.
std::string localizedString(std::string_view key);

}  // namespace moxtel
