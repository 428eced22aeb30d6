// The leaves of a binary property list as values. A function returns why it cannot read the object, or null
// when it did. Any thread; nothing here throws but for lack of memory.
#pragma once

#include <bit>

#include "plist/BinaryPropertyList.h"
#include "value/Value.h"

namespace moxtel {

// 1, 2 and 4 bytes are unsigned, 8 are signed; 16 are signed and must fit into 64 bits, signed or not.
const char* readWideInteger(const BinaryPropertyList::Object& object, Value& out);
inline const char* readInteger(const BinaryPropertyList::Object& object, Value& out) {
  if (object.count == 16) return readWideInteger(object, out);
  out = static_cast<std::int64_t>(sizedNumber(object.payload, static_cast<std::size_t>(object.count)));
  return nullptr;
}

// Of a real or a date, which always can be read.
inline double realOf(const BinaryPropertyList::Object& object) noexcept {
  const std::uint64_t bits = sizedNumber(object.payload, static_cast<std::size_t>(object.count));
  return object.count == 8 ? std::bit_cast<double>(bits)
                           : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
}

// A text in ASCII or UTF-16, which must be what it says. Its storage stands in the slab, if there is one.
const char* readText(const BinaryPropertyList::Object& object, Slab* slab, Value& out);

}  // namespace moxtel
