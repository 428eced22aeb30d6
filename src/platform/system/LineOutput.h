// Lines to a descriptor whose reader may be slow, or may not read at all: a pipe, a terminal, the journal's
// socket, a file. A line that cannot be written is dropped and counted, and the next one that can be written
// follows a note about it. Any thread.
//
// A pipe or terminal is opened a second time without blocking (O_NONBLOCK on the descriptor itself would
// change it for every program that shares it). Where that is not permitted, a write waits for poll(2) first.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

// A file for lines, created if it is missing. A named pipe without a reader cannot be opened.
FileDescriptor openForAppending(const std::string& path);

class LineOutput final {
 public:
  // Makes whole lines, each with its newline, of a note's text.
  using NoteLines = std::function<std::string(std::string_view note)>;

  // Borrows the descriptor. It may be redirected (dup2) at any time.
  explicit LineOutput(int descriptor) : descriptor_(descriptor) {}

  // Whether a person reads the lines.
  bool isTerminal() const;
  // Writes whole lines, each with its newline. Waits at most a tenth of a second for the reader, and not at
  // all once the reader has missed lines. False when the lines, or a part of them, were dropped.
  bool write(std::string_view lines, const NoteLines& noteLines);

 private:
  enum class Kind : unsigned char { Other, Socket, Pipe };
  bool send(std::string_view bytes);
  bool waitsForReader();
  ssize_t writeSome(std::string_view bytes);
  void findTarget();

  const int descriptor_;
  std::mutex mutex_;
  FileDescriptor copy_;  // opened without blocking; none for files and sockets
  Kind kind_ = Kind::Other;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  std::uint64_t lost_ = 0;     // calls of write() whose lines were dropped, not reported yet
  bool isWithinLine_ = false;  // a part of a line was written
};

}  // namespace moxtel
