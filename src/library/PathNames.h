// Path texts: joining, the user's home folder, and which paths can be opened. Nothing here accesses the file
// system. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxtel {

// Joined by exactly one slash; an empty base gives the component alone.
std::string appendingPathComponent(std::string_view base, std::string_view component);

// A leading ~ or ~user replaced by that home folder; unchanged where there is no such user.
std::string expandingTilde(std::string_view path);

// Whether the path is valid UTF-8 without a NUL: the only paths that databases are opened by.
bool isUtf8Path(std::string_view path);

}  // namespace moxtel
