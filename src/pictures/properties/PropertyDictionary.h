// Turns the facts of a file into the dictionary for clients. One thread at a time.
#pragma once

#include <optional>

#include "pictures/codec/PictureKind.h"
#include "pictures/properties/ByteSource.h"
#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/PictureFacts.h"
#include "value/Value.h"

namespace moxtel::properties {

// The facts of any kind but Tiff and Raw; nothing for these and for a damaged file.
std::optional<PictureFacts> factsOf(PictureKind kind, ByteSource& file);

// Time and memory may grow with the square of the size of the metadata blocks: their parts may overlap, and
// each property of an XMP packet is compared with all before it.
Dictionary propertyDictionary(PictureKind kind, const PictureFacts& facts);

// Both steps.
std::optional<Dictionary> propertyDictionary(PictureKind kind, ByteSource& file);

// Combines the facts and the Exif groups of a picture of this kind.
Dictionary assembled(PictureKind kind, const PictureFacts& facts, ExifGroups exif);

}  // namespace moxtel::properties
