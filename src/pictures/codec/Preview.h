// A small upright JPEG of a picture that is read row by row. Any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "pictures/codec/PictureSource.h"
#include "value/Value.h"

namespace moxtel {

// At most side by side pixels, turned clockwise by a multiple of 90 degrees. Nothing if the source fails.
// Takes little memory: the picture is shrunk while it is read, and turned then.
std::optional<Bytes> previewJpegOf(PictureSource& source, std::uint32_t side, int degrees);

}  // namespace moxtel
