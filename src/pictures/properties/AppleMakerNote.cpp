// Layout: "Apple iOS\0\0\1" and the byte order "MM", then a TIFF directory whose offsets count from the
// note's first byte.
#include "pictures/properties/AppleMakerNote.h"

#include <cmath>
#include <string>

#include "pictures/properties/TextEncodings.h"
#include "plist/BinaryPropertyListReader.h"

namespace moxtel::properties {
namespace {

using std::string_view_literals::operator""sv;

constexpr std::string_view kStart = "Apple iOS\0\0\1MM"sv;
constexpr std::size_t kEntrySize = 12;
constexpr std::size_t kMostElements = 1024;
constexpr PropertyListLimits kListLimits{.depth = 16, .bytes = std::size_t{1} << 20};

enum Type : std::uint16_t { Ascii = 2, Long = 4, Undefined = 7, SignedLong = 9, SignedRational = 10 };

std::size_t sizeOf(std::uint16_t type) {
  if (type == SignedRational) return 8;
  return type == Long || type == SignedLong ? 4 : 1;
}

std::int32_t signedAt(FileBytes data, std::size_t place) {
  return static_cast<std::int32_t>(bigEndian(data.subspan(place, 4)));
}

// One value is a scalar, several are an array.
template <class Read>
Value oneOrMore(std::size_t count, const Read& read) {
  if (count == 1) return read(0);
  Array all;
  for (std::size_t i = 0; i < count && i < kMostElements; ++i) {
    Value one = read(i);
    if (one.isNil()) return {};
    all.append(std::move(one));
  }
  return all;
}

Value realAt(FileBytes data, std::size_t index) {
  const auto above = static_cast<double>(signedAt(data, 8 * index));
  const auto below = static_cast<double>(signedAt(data, 8 * index + 4));
  // These are rounded to single precision.
  return below == 0 ? Value() : Value(static_cast<double>(static_cast<float>(above / below)));
}

Value valueOf(std::uint16_t type, std::size_t count, FileBytes data) {
  switch (type) {
    case Ascii:
      return utf8OrLatin1(untilNul(textOf(data)));
    case Long:
      return oneOrMore(count, [&](std::size_t i) { return Value(bigEndian(data.subspan(4 * i, 4))); });
    case SignedLong:
      return oneOrMore(count, [&](std::size_t i) { return Value(signedAt(data, 4 * i)); });
    case SignedRational:
      return oneOrMore(count, [&](std::size_t i) { return realAt(data, i); });
    case Undefined:
      if (!textOf(data).starts_with("bplist00")) return copyOf(data);
      return binaryPropertyListValue(data, kListLimits, Strictness::Lenient).value_or(Value());
    default:
      return {};
  }
}

// The entry's bytes, inline or not; empty if they exceed the note.
FileBytes dataOf(FileBytes note, FileBytes entry, std::size_t size) {
  if (size <= 4) return entry.subspan(8, size);
  const std::size_t offset = bigEndian(entry.subspan(8, 4));
  return offset <= note.size() && size <= note.size() - offset ? note.subspan(offset, size) : FileBytes();
}

}  // namespace

Dictionary appleMakerNote(FileBytes note) {
  Dictionary group;
  if (!textOf(note).starts_with(kStart) || note.size() < kStart.size() + 2) return group;
  const std::size_t count = bigEndian(note.subspan(kStart.size(), 2));
  FileBytes entries = note.subspan(kStart.size() + 2);
  // Overlapping values could add up to thousands of times the size of the note.
  std::size_t left = note.size();
  for (std::size_t i = 0; i < count && entries.size() >= kEntrySize; ++i) {
    const FileBytes entry = entries.first(kEntrySize);
    entries = entries.subspan(kEntrySize);
    const auto type = static_cast<std::uint16_t>(bigEndian(entry.subspan(2, 2)));
    const std::size_t elements = bigEndian(entry.subspan(4, 4));
    if (elements == 0 || elements > note.size()) continue;
    const FileBytes data = dataOf(note, entry, elements * sizeOf(type));
    if (data.empty() || data.size() > left) continue;
    left -= data.size();
    Value value = valueOf(type, elements, data);
    if (!value.isNil()) group.set(std::to_string(bigEndian(entry.first(2))), std::move(value));
  }
  return group;
}

}  // namespace moxtel::properties
