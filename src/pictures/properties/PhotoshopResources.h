// Photoshop's image resources, in a PSD, a JPEG (APP13) and a TIFF (tag 34377): "8BIM", number, name, length,
// data, each padded to an even length. Any thread.
#pragma once

#include <cstdint>
#include <functional>

#include "pictures/properties/ByteSource.h"
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {

// Calls take for each resource, up to the first that exceeds the block.
void forEachResource(FileBytes block, const std::function<void(std::uint16_t number, FileBytes data)>& take);
// Adds the metadata blocks to the facts; does not replace any.
void takeResources(FileBytes block, PictureFacts& facts);

}  // namespace moxtel::properties
