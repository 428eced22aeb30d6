// The platform's keyed archive format: Value to bytes and back. Any thread; calls share nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// An archive in pieces, to be written one after another. Large data objects are not copied: their piece is
// the archived data's own storage, which this object keeps alive even when the value it was made from
// changes or is destroyed.
class ArchivePieces final {
 public:
  // Of all pieces together, in bytes.
  std::size_t size() const { return size_; }
  const std::vector<std::span<const std::uint8_t>>& pieces() const { return pieces_; }
  // A copy of all pieces, one after another.
  Bytes joined() const;

 private:
  friend class ArchiveWriter;
  std::vector<std::span<const std::uint8_t>> pieces_;
  std::vector<std::unique_ptr<std::uint8_t[]>> owned_;
  std::vector<Value> borrowed_;
  std::size_t size_ = 0;
};

// The largest archive, in bytes, that a client is sent, except for the data of a photo. A whole library of
// 1,000,000 photos has a fifth of it.
inline constexpr std::uint64_t kLargestReplyArchive = std::uint64_t{1} << 30;

// Thrown for an archive that would be larger than its reader takes. Nothing was written.
class ArchiveTooLargeError : public std::length_error {
 public:
  ArchiveTooLargeError() : std::length_error("the archive is too large") {}
};

// A binary property list whose root is the value. A nil inside a collection is written as the null object,
// invalid UTF-8 in a text as U+FFFD. Equal texts, numbers and dates are stored once, and so is a collection
// or data object that several copies share. A root that is moved in, and that has no other holder, is freed
// between the two passes of the writer, which halves the memory that a large one needs. Throws
// ArchiveTooLargeError for more than `largest` bytes, as soon as that is certain.
Bytes archivedData(const Value& root);
ArchivePieces archivedPieces(Value root, std::uint64_t largest = UINT64_MAX);

// An archive without the bytes of its only data object, which may be in a file: they belong between the two
// parts.
struct ArchiveAroundData {
  Bytes before;
  Bytes after;
};
// The archive of a dictionary with one entry: data of `size` bytes under `key`.
ArchiveAroundData archiveAroundData(std::string_view key, std::uint64_t size);

// Why bytes are not a keyed archive, in words for a log.
struct DecodingError {
  std::string reason;
};

struct ArchiveLimits {
  std::size_t depth = 128;         // of nested collections
  std::size_t values = 64u << 20;  // in the decoded root, a shared one counted at each of its places
};

// Reads binary and XML archives. Never throws; time and memory are bounded by the input's size and the
// limits.
std::variant<Value, DecodingError> unarchivedObject(std::span<const std::uint8_t> bytes,
                                                    const ArchiveLimits& limits = {});

}  // namespace moxtel
