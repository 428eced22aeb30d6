// Binary property lists, read into a sink or a Value. Any thread; nothing is shared between calls.
//
// Time and memory are bounded by the input's size and by what the sink takes: the sink must refuse to take
// without end, for an object may be named from many places and is handed over each time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "plist/PropertyListLeaves.h"
#include "plist/PropertyListSink.h"
#include "plist/PropertyListTree.h"

namespace moxtel {

// Returns why the reading ended early, for a log or a user, or an empty text. Lenient: objects that cannot be
// read are left out, with their keys.
std::string readBinaryPropertyList(std::span<const std::uint8_t> bytes, PropertyListSink& sink,
                                   Strictness strictness, PropertyListOddities& oddities);

// The value that the bytes hold, its collections immutable; nothing when they cannot be read or go beyond the
// limits.
std::optional<Value> binaryPropertyListValue(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits, Strictness strictness);

}  // namespace moxtel
