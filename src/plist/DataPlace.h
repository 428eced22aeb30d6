// Finds a data object in an archive without decoding or copying it, for archives that do not fit into memory.
// Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace moxtel {

struct DataPlace {
  std::uint64_t offset = 0;  // of the first byte, in the archive
  std::uint64_t size = 0;    // in bytes
};

// Where the data under `key` is in a binary keyed archive of a dictionary. Nothing if the value is no data,
// or if the archive has another form (XML, or numbered entries as old writers store them). Reads only the
// objects on the way to the data, in constant time.
std::optional<DataPlace> dataPlaceIn(std::span<const std::uint8_t> archive, std::string_view key);

}  // namespace moxtel
