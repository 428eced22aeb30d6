// A photo's facts as XMP properties. Exiv2 must be set up.
#pragma once

#include <exiv2/xmp_exiv2.hpp>

#include <string>
#include <vector>

#include "export/SidecarWriter.h"

namespace moxtel {

// Appends to lacks what has no place. Texts of at most `mostText` bytes altogether.
Exiv2::XmpData xmpOf(const SidecarInput& input, std::size_t mostText, std::vector<std::string>& lacks);

}  // namespace moxtel
