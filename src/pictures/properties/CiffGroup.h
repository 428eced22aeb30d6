// Canon's RAW files of the years before CR2: heaps of records, one within another (Canon's Camera Image File
// Format 1.0). One thread.
#pragma once

#include "pictures/properties/ByteSource.h"
#include "value/Value.h"

namespace moxtel::properties {

// Whether the file begins as one.
bool isCiff(ByteSource& file);

// The "{CIFF}" group; empty for a file that is none.
Dictionary ciffGroup(ByteSource& file);

}  // namespace moxtel::properties
