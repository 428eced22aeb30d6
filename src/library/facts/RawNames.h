// Which files are RAWs, by their names. Any thread.
#pragma once

#include <string_view>

namespace moxtel {

// Whether the extension is one of camera makers' own formats, or "dng".
bool isRawName(std::string_view fileName);

}  // namespace moxtel
