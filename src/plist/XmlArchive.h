// Converts a keyed archive in XML to the binary form, so that one reader of archives serves both. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <variant>

#include "plist/KeyedArchive.h"

namespace moxtel {

// A dictionary {"CF$UID": integer} becomes a UID. Every error is reported: archives come from untrusted
// peers. Time and memory are bounded by a constant times the input's size.
std::variant<Bytes, DecodingError> binaryPropertyListOfXml(std::span<const std::uint8_t> xml);

}  // namespace moxtel
