// The description of a color profile (ICC.1:2001-04 and ICC.1:2022). Any thread.
//
// Not Little CMS: its version 2.14 allocates whatever number of languages a profile states, so that 224 bytes
// cost the server 270 MB and 0.4 s of processor time.
#pragma once

#include <optional>
#include <string>

#include "pictures/properties/ByteSource.h"

namespace moxtel::properties {

// In English if the profile has several languages; nothing when there is no description. Reads each byte of
// the profile at most once and allocates no more than its size.
std::optional<std::string> profileDescription(FileBytes profile);

}  // namespace moxtel::properties
