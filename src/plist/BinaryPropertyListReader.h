// Binary property lists, read into a sink or a Value. Any thread; nothing is shared between calls.
//
// Time and memory are bounded by the input's size and by what the sink takes. The sink must have a limit: an
// object that is referenced from many places is passed to it each time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "plist/PropertyListLeaves.h"
#include "plist/PropertyListSink.h"
#include "plist/PropertyListTree.h"

namespace moxtel {

// Returns an empty text, or why the reading ended early, for a log or a user. Lenient: objects that cannot be
// read are left out together with their keys, and counted in oddities.
std::string readBinaryPropertyList(std::span<const std::uint8_t> bytes, PropertyListSink& sink,
                                   Strictness strictness, PropertyListOddities& oddities);

// The value in the bytes, with immutable collections; nothing when they cannot be read or exceed the limits.
std::optional<Value> binaryPropertyListValue(std::span<const std::uint8_t> bytes,
                                             const PropertyListLimits& limits, Strictness strictness);

}  // namespace moxtel
