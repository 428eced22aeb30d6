// The platform's keyed archive format: Value to bytes and back. Any thread; nothing is shared between calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "value/Pages.h"
#include "value/Value.h"

namespace moxtel {

// An archive in pieces to be written one after another. Large data objects are not copied: a piece is the
// archived data's own storage, which stays alive with this object (the value it was made from may change or
// go).
class ArchivePieces final {
 public:
  // Of all pieces together, in bytes.
  std::size_t size() const { return size_; }
  const std::vector<std::span<const std::uint8_t>>& pieces() const { return pieces_; }
  // All of them in one stretch, copied.
  Bytes joined() const;

 private:
  friend class ArchiveWriter;
  std::vector<std::span<const std::uint8_t>> pieces_;
  std::vector<Block> owned_;
  std::vector<Value> lent_;
  std::size_t size_ = 0;
};

// A binary property list whose root is the value. A nil inside a collection is written as the null object, a
// text that is no valid UTF-8 with U+FFFD in the broken places. Equal texts, numbers and dates are stored
// once, and so is a collection or data object that several copies share. A root that is moved in, and that
// nobody else holds, is freed half-way.
Bytes archivedData(const Value& root);
ArchivePieces archivedPieces(Value root);

// An archive without the bytes of its only data object, which may be in a file: they belong between the two
// parts.
struct ArchiveAroundData {
  Bytes before;
  Bytes after;
};
// The archive of a dictionary with one entry: data of `size` bytes under `key`.
ArchiveAroundData archiveAroundData(std::string_view key, std::uint64_t size);

// Why bytes are no keyed archive, in words for a log.
struct DecodingError {
  std::string reason;
};

struct ArchiveLimits {
  std::size_t depth = 128;         // nested collections
  std::size_t values = 64u << 20;  // that the decoded root may unfold into, shared ones counted each time
  // What archives of so many bytes hold goes into few large blocks: quick to make and to free, but one text
  // that is kept keeps up to 2 MB.
  std::size_t slabFrom = 1u << 20;
};

// Reads binary and XML archives. Never throws; time and memory are bounded by the input's size and the
// limits.
std::variant<Value, DecodingError> unarchivedObject(std::span<const std::uint8_t> bytes,
                                                    const ArchiveLimits& limits = {});

}  // namespace moxtel
