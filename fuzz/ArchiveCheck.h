// What must hold for any bytes that are read as an archive.
#pragma once

#include <span>
#include <variant>

#include "fuzz/FuzzInput.h"
#include "plist/KeyedArchive.h"

namespace moxtel::fuzz {

// A value that was read is written again in few bytes, however many values shared ones expand to, and read
// again as the same value. Archives are compared, not values: there NaN equals itself, mutability counts, and
// what is shared is compared once.
inline void checkArchive(std::span<const std::uint8_t> bytes) {
  const auto read = unarchivedObject(bytes);
  const Value* value = std::get_if<Value>(&read);
  if (!value) {
    require(!std::get<DecodingError>(read).reason.empty());
    return;
  }
  const Bytes written = archivedData(*value);
  require(written.size() <= 64 * bytes.size() + 4096);
  const auto again = unarchivedObject(written);
  require(std::holds_alternative<Value>(again));
  require(archivedData(std::get<Value>(again)) == written);
}

}  // namespace moxtel::fuzz
