// For a program that reads one strange file for a server: gives away, before the file is looked at, what it
// does not need. The calling process; there is no way back.
#pragma once

#include <cstdint>
#include <span>

#include "platform/files/FileReader.h"

namespace moxtel {

struct ProcessBounds {
  std::uint64_t memory = 0;            // bytes of addresses; not heeded in builds with a sanitizer
  std::uint64_t processorSeconds = 0;  // of all threads
  std::uint64_t writtenFile = 0;       // bytes; 0: no file can be written
};

// The process also ends with the one that started it, gains no privileges, and leaves no core file.
void confineThisProcess(const ProcessBounds& bounds);

// A file mapped into memory for the rest of the process's life; a shrinking file ends the process and nothing
// else. Empty when there is nothing to map.
std::span<const std::uint8_t> mappedForEver(const OpenFile& file);

// All of it to standard output; false when nobody reads it any more.
[[nodiscard]] bool writeToStandardOutput(std::span<const std::uint8_t> bytes);

}  // namespace moxtel
