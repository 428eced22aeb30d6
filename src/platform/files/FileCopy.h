// Copies regular files. Any thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/files/FileReader.h"

namespace moxtel {

enum class CopyResult : std::uint8_t {
  Done,
  TooLarge,  // more data than there was room for
  Failed,    // errno says why
};

// Copies the file into a new file that only this user can read. Holes stay holes. Writes at most `room` bytes
// of data and subtracts what it wrote. After a failure there may be a partial copy.
[[nodiscard]] CopyResult copyPrivately(const OpenFile& from, const std::string& to, std::uint64_t& room);

}  // namespace moxtel
