// The leaves of a property list as values: of the objects of a binary list, and of the elements of an XML
// one. A function returns why it cannot read a leaf, as a fixed text, or null when it did. Any thread;
// nothing here throws but for lack of memory.
#pragma once

#include <bit>

#include "plist/BinaryPropertyList.h"
#include "value/Value.h"

namespace moxtel {

// What becomes of a leaf that makes no sense: Strict ends the reading with an error, which is how untrusted
// peers are read; Lenient reads it as far as possible, or else leaves it out.
enum class Strictness : std::uint8_t { Strict, Lenient };

// 1, 2 and 4 bytes are unsigned, 8 are signed; 16 keep their low 64 bits where the high ones are all zero, or
// all the sign of the low ones.
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

// A text in ASCII or UTF-16. Strict: it must be what it says. Lenient: a text that is marked as ASCII and is
// not is read as UTF-8, or else as Latin-1; half of a surrogate pair becomes U+FFFD.
const char* readText(const BinaryPropertyList::Object& object, Value& out,
                     Strictness strictness = Strictness::Strict);

// Any leaf of a binary list. A UID is none: it has a meaning in keyed archives only.
const char* readLeaf(const BinaryPropertyList::Object& object, Value& out,
                     Strictness strictness = Strictness::Strict);

}  // namespace moxtel
