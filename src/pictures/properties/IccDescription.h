// The name of a colour profile (ICC.1:2001-04 and ICC.1:2022). Any thread.
#pragma once

#include <optional>
#include <string>

#include "pictures/properties/ByteSource.h"

namespace moxtel::properties {

// The profile's description, in English where there are several; nothing when it has none.
std::optional<std::string> profileDescription(FileBytes profile);

}  // namespace moxtel::properties
