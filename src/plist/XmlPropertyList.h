// The XML form of a property list, turned into the binary form, so that one reader serves both.
//
// Reads what the platform writes: UTF-8, a document type without declarations of its own, plist, dict, key,
// array, string, integer (decimal or 0x), real, true, false, date, data, comments, CDATA, the five entities
// and character references. A dictionary {"CF$UID": integer} becomes a UID. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>

#include "plist/KeyedArchive.h"

namespace moxtel {

// Time and memory are bounded by a constant times the input's size, however deep it is nested.
std::variant<Bytes, DecodingError> binaryPropertyListOfXml(std::span<const std::uint8_t> xml);

}  // namespace moxtel
