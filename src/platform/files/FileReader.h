// Reads whole regular files into memory, once. Any thread.
//
// Only regular files are read (symbolic links are followed): a FIFO, a device or a folder is rejected without
// waiting for it. Nothing here changes a file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/files/FileDescriptor.h"
#include "value/Value.h"

namespace moxtel {

enum class FileState : std::uint8_t {
  Open,
  Missing,     // nothing exists at this path
  Unreadable,  // no permission, no regular file, a read error, or a file that shrank while it was read
  TooLarge,    // larger than the maximum size; nothing was read
};

struct OpenFile {
  FileState state = FileState::Missing;
  FileDescriptor descriptor;
  std::uint64_t size = 0;  // bytes, at the moment of opening
  std::string path;        // as given
};

// Opens a regular file for reading. A path that contains a NUL is Missing.
OpenFile openRegularFile(const std::string& path);

// Standard input, if it is a regular file. Its descriptor is closed with the object.
OpenFile standardInputFile();

struct FileContents {
  FileState state = FileState::Missing;  // Open when bytes holds the whole file
  Bytes bytes;
  std::uint64_t size = 0;  // of the file, also when it is TooLarge
};

// The file's bytes, up to its size at opening. A file that ends earlier or cannot be read so far is
// Unreadable; bytes added since then are left out.
FileContents readWholeFile(const std::string& path, std::uint64_t maximumSize);
FileContents readAll(const OpenFile& file, std::uint64_t maximumSize);

// Reads the file's bytes from the offset into `place` and returns their number, which is smaller than the
// place at the file's end and after an error.
std::size_t readAt(const OpenFile& file, std::uint64_t offset, std::span<std::uint8_t> place);
// Up to `count` bytes from the start of the file; fewer when it is shorter or cannot be read.
Bytes readStart(const OpenFile& file, std::size_t count);

}  // namespace moxtel
