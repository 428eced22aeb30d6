// The binary form of the album file. Any thread.
#pragma once

#include <cstdint>
#include <span>

#include "library/albumdata/AlbumDataFile.h"

namespace moxtel {

AlbumDataContents parseBinaryAlbumData(std::span<const std::uint8_t> bytes, const AlbumDataLimits& limits);

}  // namespace moxtel
