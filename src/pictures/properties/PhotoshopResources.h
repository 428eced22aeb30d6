// Photoshop's image resources, as a PSD, a JPEG (APP13) and a TIFF (tag 34377) carry them: "8BIM", number,
// name, length, data, each padded to an even length. Any thread.
#pragma once

#include <cstdint>
#include <functional>

#include "pictures/properties/ByteSource.h"
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {

// Calls for every resource until one does not fit.
void forEachResource(FileBytes block, const std::function<void(std::uint16_t number, FileBytes data)>& take);
// Puts those that hold metadata into the facts; what is there already stays.
void takeResources(FileBytes block, PictureFacts& facts);

}  // namespace moxtel::properties
