// Downloads a reply's data: into a file, or to a stream as it is or as JSON. Memory stays small, whatever the
// size: the reply is kept in a file until its data is found, because an archive has its table of contents at
// the end.
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "client/ServerSession.h"
#include "platform/files/PartialFile.h"

namespace moxtel {

// Shows on one line of a terminal how much of a large reply has arrived; erases the line at the end.
class ProgressLine final {
 public:
  // Borrows the stream; null shows nothing.
  explicit ProgressLine(std::ostream* out) : out_(out) {}
  ~ProgressLine() { erase(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  // In bytes, or in whatever is counted. Writes at most once for each percent.
  void show(std::uint64_t done, std::uint64_t total, std::uint64_t unit, const char* unitName);
  void erase();

 private:
  std::ostream* const out_;
  std::size_t width_ = 0;  // of the line that is shown
  std::uint64_t percent_ = 0;
};

class Download final {
 public:
  // Borrows the session and the progress line.
  Download(ServerSession& session, ProgressLine& progress) : session_(session), progress_(progress) {}
  Download(const Download&) = delete;
  Download& operator=(const Download&) = delete;

  // Each sends the command and returns an empty text, or why it failed, for the user. An answer that breaks
  // off is requested again, from its start: the protocol has no ranges.
  //
  // The file appears, or replaces an older one, when it is complete; until then the bytes are in "FILE.part".
  // Data for a device or a pipe is written to it.
  [[nodiscard]] std::string toFile(const Dictionary& command, const std::string& path);
  [[nodiscard]] std::string toStream(const Dictionary& command, std::ostream& out);
  // One line: a text of base64.
  [[nodiscard]] std::string toJson(const Dictionary& command, std::ostream& out);

 private:
  using ByteSpan = std::span<const std::uint8_t>;

  std::string fetch(const Dictionary& command);
  bool take(ByteSpan piece, std::uint32_t length);
  std::string findData();
  std::string findDataIn(ByteSpan reply);
  std::string eachPiece(const std::function<std::string(ByteSpan piece, std::uint64_t at)>& write);
  std::string writeTo(std::ostream& out, bool asBase64);

  ServerSession& session_;
  ProgressLine& progress_;
  PartialFile file_;
  std::string writeProblem_;
  std::uint64_t size_ = 0;
  std::uint64_t dataOffset_ = 0;
  std::uint64_t dataSize_ = 0;
};

}  // namespace moxtel
