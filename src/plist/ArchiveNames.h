// The names of classes and fields that the reader of keyed archives knows. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace moxtel {

// The classes that an archive's objects may have; the collections come last.
enum class ArchiveClass : std::uint8_t {
  None,
  String,
  Data,
  Date,
  Null,
  Array,
  MutableArray,
  Dictionary,
  MutableDictionary
};

ArchiveClass archiveClassNamed(std::string_view name) noexcept;

// The entries of an archived object's dictionary that are read, as numbers of objects in the property list.
struct ArchiveFields {
  static constexpr std::uint64_t kNone = UINT64_MAX;
  std::uint64_t classUid = kNone;
  std::uint64_t keys = kNone;
  std::uint64_t objects = kNone;
  std::uint64_t string = kNone;
  std::uint64_t bytes = kNone;
  std::uint64_t data = kNone;
  std::uint64_t time = kNone;
  bool numbered = false;  // has keys like NS.object.0
};

// Null for any other name.
std::uint64_t ArchiveFields::*archiveFieldNamed(std::string_view name) noexcept;

// What the keys of old writers' collections begin with.
inline constexpr std::string_view kNumberedObject = "NS.object.";
inline constexpr std::string_view kNumberedKey = "NS.key.";

// The number at the end of "NS.object.12"; nothing for another text.
std::optional<std::uint64_t> numberAfter(std::string_view prefix, std::string_view text) noexcept;

}  // namespace moxtel
