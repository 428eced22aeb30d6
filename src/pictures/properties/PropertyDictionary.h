// From what a file holds to the dictionary that clients get. One thread at a time.
#pragma once

#include <optional>

#include "pictures/codec/PictureKind.h"
#include "pictures/properties/ByteSource.h"
#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/PictureFacts.h"
#include "value/Value.h"

namespace moxtel::properties {

// Of a picture whose format this program reads itself, that is of every kind but Tiff and Raw; nothing for
// those, and for a damaged file.
std::optional<PictureFacts> factsOf(PictureKind kind, ByteSource& file);

// What understanding the blocks of metadata may take grows with the square of their size: their parts may lie
// over one another, and each property of a packet is compared with all before it.
Dictionary propertyDictionary(PictureKind kind, const PictureFacts& facts);

// Both in one.
std::optional<Dictionary> propertyDictionary(PictureKind kind, ByteSource& file);

// What was read of a picture of this kind, put together.
Dictionary assembled(PictureKind kind, const PictureFacts& facts, ExifGroups exif);

}  // namespace moxtel::properties
