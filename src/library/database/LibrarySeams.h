// What the databases ask of the machine besides SQLite. Tests replace the answers. Core thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace moxtel {

// The defaults are the machine's own answers.
struct LibrarySeams {
  LibrarySeams();
  // Where private copies are made, and the bytes that may still be written there.
  std::string temporaryFolder;
  std::function<std::uint64_t(const std::string& folder)> freeBytesIn;
  // Whether the file's file system grants locks.
  std::function<bool(const std::string& path)> grantsLocks;
  // Waits for a busy database.
  std::function<void(std::chrono::milliseconds)> sleep;
};

}  // namespace moxtel
