// For a program that reads one untrusted file for a server: limits what the calling process can use up before
// it reads the file. The limits cannot be raised again. They restrict neither which files the process can
// open nor its use of the network.
#pragma once

#include <cstdint>
#include <span>

#include "platform/files/FileReader.h"

namespace moxtel {

struct ProcessBounds {
  std::uint64_t memory = 0;            // bytes of addresses; ignored in builds with a sanitizer
  std::uint64_t processorSeconds = 0;  // of all threads
  std::uint64_t writtenFile = 0;       // bytes; 0: no file can grow
};

// The process also ends together with its parent, gains no privileges, and leaves no core file.
void confineThisProcess(const ProcessBounds& bounds);

// The file mapped into memory until the process exits. If another program shortens the file, reading the
// missing part ends this process. Empty for an empty file, and when mapping fails.
std::span<const std::uint8_t> mappedUntilExit(const OpenFile& file);

// Writes all bytes to standard output; false when its reader has closed it.
[[nodiscard]] bool writeToStandardOutput(std::span<const std::uint8_t> bytes);

}  // namespace moxtel
