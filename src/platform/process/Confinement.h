// For a program that reads one untrusted file for a server: limits what the calling process can use up and
// reach, before it reads the file. The limits cannot be raised again.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/files/FileReader.h"
#include "platform/process/Landlock.h"

namespace moxtel {

inline constexpr std::uint64_t kUnlimited = UINT64_MAX;

struct ProcessBounds {
  std::uint64_t memory = 0;            // bytes of addresses; ignored in builds with a sanitizer
  std::uint64_t processorSeconds = 0;  // of all threads
  std::uint64_t writtenFile = 0;       // bytes; 0: no file can grow
};

// What the kernel restricts besides the bounds.
struct Confinement {
  int landlock = 0;           // the version in force; 0: the process can open every file of its user
  bool filtersCalls = false;  // see CallFilter.h
};

// The process also ends together with its parent, gains no privileges, and leaves no core file. Where the
// kernel permits it, the process opens only these files, and makes no calls but those of CallFilter.h. Only
// while there is one thread. Files that the process has open stay open.
Confinement confineThisProcess(const ProcessBounds& bounds, const FileRights& rights,
                               int newestLandlock = kNewestLandlock);

// Replaces this process by a program, which keeps its limits: words are its absolute path and its arguments.
// It has no environment. Returns only if that fails.
void becomeProgram(const std::vector<std::string>& words);

// The file mapped into memory until the process exits. If another program shortens the file, reading the
// missing part ends this process. Empty for an empty file, and when mapping fails.
std::span<const std::uint8_t> mappedUntilExit(const OpenFile& file);

// Writes all bytes to standard output; false when its reader has closed it.
[[nodiscard]] bool writeToStandardOutput(std::span<const std::uint8_t> bytes);

}  // namespace moxtel
