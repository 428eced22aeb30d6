// The program's rich texts, kept as files beside it. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxtel {

// The HTML resource of this name, in the user's language where there is one ("Help.de.html"), otherwise in
// English, from ../share/moxtelserver of the running program. Nothing when it is missing or unreadable.
std::optional<std::string> helpText(std::string_view name, std::string_view language = {});

}  // namespace moxtel
