// Reads whole regular files into memory, once. Any thread.
//
// Only regular files are read (symbolic links are followed): a FIFO, a device or a folder is refused without
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
  Missing,     // there is nothing under this path
  Unreadable,  // no permission, no regular file, a disk that does not answer, a file that shrank while read
  TooLarge,    // more bytes than asked for; nothing was read
};

struct OpenFile {
  FileState state = FileState::Missing;
  FileDescriptor descriptor;
  std::uint64_t size = 0;  // bytes, at the moment of opening
  std::string path;        // as it was given
};

// Opens a regular file for reading. A path with a NUL in it names no file.
OpenFile openRegularFile(const std::string& path);

struct FileContents {
  FileState state = FileState::Missing;  // Open when bytes holds the whole file
  Bytes bytes;
  std::uint64_t size = 0;  // of the file, also when it is TooLarge
};

// The file's bytes from its start. A file that ends before its size at opening, or cannot be read to there,
// is Unreadable; bytes added meanwhile are left out.
FileContents readWholeFile(const std::string& path, std::uint64_t maximumSize);
FileContents readAll(const OpenFile& file, std::uint64_t maximumSize);

// Fills the place with the file's bytes from the offset on and returns how many there were: fewer at the
// file's end or after an error.
std::size_t readAt(const OpenFile& file, std::uint64_t offset, std::span<std::uint8_t> place);
// Up to count bytes from the start of the file; fewer when it is shorter or cannot be read.
Bytes readStart(const OpenFile& file, std::size_t count);

}  // namespace moxtel
