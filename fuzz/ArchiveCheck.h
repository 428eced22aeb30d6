// What must hold for any bytes that are read as an archive.
#pragma once

#include <span>
#include <variant>

#include "fuzz/FuzzInput.h"
#include "net/KeyedArchive.h"

namespace moxtel::fuzz {

// What was read is written again in few bytes, however far it unfolds, and read again as the same, then as a
// large archive is: compared as archives, where NaN equals itself, mutability counts, and what is shared is
// looked at once.
inline void checkArchive(std::span<const std::uint8_t> bytes) {
  const auto read = unarchivedObject(bytes);
  const Value* value = std::get_if<Value>(&read);
  if (!value) {
    require(!std::get<DecodingError>(read).reason.empty());
    return;
  }
  const Bytes written = archivedData(*value);
  require(written.size() <= 64 * bytes.size() + 4096);
  const auto again = unarchivedObject(written, {.slabFrom = 0});
  require(std::holds_alternative<Value>(again));
  require(archivedData(std::get<Value>(again)) == written);
}

}  // namespace moxtel::fuzz
