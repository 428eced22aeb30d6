// The platform's keyed archive format: Value to bytes and back. Any thread; nothing is shared between calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// An archive in pieces to be written one after another: large data objects are borrowed from the archived
// value, not copied. Lives no longer than the value that it was made from.
class ArchivePieces final {
 public:
  std::size_t size() const { return size_; }
  const std::vector<std::span<const std::uint8_t>>& pieces() const { return pieces_; }

 private:
  friend class KeyedArchiver;
  std::vector<std::span<const std::uint8_t>> pieces_;
  std::vector<Bytes> owned_;
  std::vector<Value> held_;
  std::size_t size_ = 0;
};

// A binary property list whose root is the value. A nil inside a collection is written as the null object.
Bytes archivedData(const Value& root);
ArchivePieces archivedPieces(const Value& root);

// Why bytes are no keyed archive, in words for a log.
struct DecodingError {
  std::string reason;
};

struct ArchiveLimits {
  std::size_t depth = 128;         // nested collections
  std::size_t values = 64u << 20;  // that the decoded root may unfold into, shared ones counted each time
};

// Reads binary and XML archives. Never throws; time and memory are bounded by the input's size and the
// limits.
std::variant<Value, DecodingError> unarchivedObject(std::span<const std::uint8_t> bytes,
                                                    const ArchiveLimits& limits = {});

}  // namespace moxtel
