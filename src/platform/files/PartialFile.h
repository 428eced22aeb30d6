// A file that is being written, at any place in it, and that has its name only when it is complete. One
// thread at a time.
//
// Each function that returns a text returns an empty one, or why it failed, for the user.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

class PartialFile final {
 public:
  PartialFile() = default;
  // Removes the file unless it was published.
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  // As "PATH.part", in place of an older one.
  [[nodiscard]] std::string openFor(const std::string& path);
  // A file without a name in TMPDIR or in /var/tmp, which is never published.
  [[nodiscard]] std::string openUnnamed();

  [[nodiscard]] std::string write(std::span<const std::uint8_t> bytes, std::uint64_t offset);
  // All of these bytes, or a failure.
  [[nodiscard]] std::string read(std::span<std::uint8_t> into, std::uint64_t offset) const;
  [[nodiscard]] std::string truncate(std::uint64_t size);
  // Calls with the first bytes of the file, which are not copied into memory; with none if that fails.
  void look(std::size_t size, const std::function<void(std::span<const std::uint8_t>)>& at) const;
  // Gives the file its name; replaces an older one.
  [[nodiscard]] std::string publish();

 private:
  FileDescriptor file_;
  std::string path_;
  std::string part_;  // empty if the file has no name
};

// Whether the path is that of a device, pipe or socket.
bool isDeviceOrPipe(const std::string& path);

// Whether standard error is a terminal.
bool isErrorTerminal();

}  // namespace moxtel
