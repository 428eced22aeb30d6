// What must hold for any bytes that are read as an archive.
#pragma once

#include <span>
#include <variant>

#include "fuzz/FuzzInput.h"
#include "plist/KeyedArchive.h"

namespace moxtel::fuzz {

// What was read is written again in few bytes, however far it unfolds, and read again as the same: compared
// as archives, where NaN equals itself, mutability counts, and what is shared is looked at once. Some are
// read again as a large archive is; that takes fresh pages each time, too long to do it with all.
inline void checkArchive(std::span<const std::uint8_t> bytes) {
  const auto read = unarchivedObject(bytes);
  const Value* value = std::get_if<Value>(&read);
  if (!value) {
    require(!std::get<DecodingError>(read).reason.empty());
    return;
  }
  const Bytes written = archivedData(*value);
  require(written.size() <= 64 * bytes.size() + 4096);
  ArchiveLimits limits;
  if (bytes.size() % 16 == 0) limits.slabFrom = 0;
  const auto again = unarchivedObject(written, limits);
  require(std::holds_alternative<Value>(again));
  require(archivedData(std::get<Value>(again)) == written);
}

}  // namespace moxtel::fuzz
