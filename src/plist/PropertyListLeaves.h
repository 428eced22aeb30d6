// The leaves of a binary property list as values. A function returns null, or why it cannot read a leaf, as a
// string literal. Any thread; throws nothing but std::bad_alloc.
#pragma once

#include <bit>

#include "plist/BinaryPropertyList.h"
#include "value/Value.h"

namespace moxtel {

// How invalid leaves are treated. Strict, for untrusted peers: reading ends with an error. Lenient: a leaf is
// read as far as possible, or left out.
enum class Strictness : std::uint8_t { Strict, Lenient };

// Integers of 1, 2 and 4 bytes are unsigned, those of 8 are signed. Of 16 bytes the low 64 bits are kept if
// the high ones are all zero or all equal to the sign of the low ones; otherwise this is an error.
const char* readWideInteger(const BinaryPropertyList::Object& object, Value& out);
inline const char* readInteger(const BinaryPropertyList::Object& object, Value& out) {
  if (object.count == 16) return readWideInteger(object, out);
  out = static_cast<std::int64_t>(sizedNumber(object.payload, static_cast<std::size_t>(object.count)));
  return nullptr;
}

// The number of a real or a date, which can always be read.
inline double realOf(const BinaryPropertyList::Object& object) noexcept {
  const std::uint64_t bits = sizedNumber(object.payload, static_cast<std::size_t>(object.count));
  return object.count == 8 ? std::bit_cast<double>(bits)
                           : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
}

// A text in ASCII or UTF-16. Strict: it must be valid. Lenient: a text that is marked as ASCII but is not
// ASCII is read as UTF-8, or else as Latin-1; half of a surrogate pair becomes U+FFFD.
const char* readText(const BinaryPropertyList::Object& object, Value& out,
                     Strictness strictness = Strictness::Strict);

// Any leaf of a binary list. A UID is an error: it has a meaning in keyed archives only.
const char* readLeaf(const BinaryPropertyList::Object& object, Value& out,
                     Strictness strictness = Strictness::Strict);

}  // namespace moxtel
