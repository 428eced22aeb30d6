// The maker note of iPhones and iPads: a directory whose keys are plain numbers. Any thread.
#pragma once

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// The "{MakerApple}" group: tag numbers as decimal texts. Empty for the note of another maker.
Dictionary appleMakerNote(FileBytes note);

}  // namespace moxtel::properties
