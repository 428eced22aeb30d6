// One line on standard error that shows how far an export is, with rate and remaining time. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace moxtel {

class ExportProgress final {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Now = std::function<Time()>;

  // Without a stream nothing is shown. The line is overwritten on a terminal; elsewhere a line follows every
  // ten seconds.
  explicit ExportProgress(std::ostream* out, bool isTerminal = true,
                          Now now = &std::chrono::steady_clock::now)
      : out_(out), isTerminal_(isTerminal), now_(std::move(now)) {}
  ~ExportProgress() { erase(); }
  ExportProgress(const ExportProgress&) = delete;
  ExportProgress& operator=(const ExportProgress&) = delete;

  // Photos that were looked at so far.
  void planned(std::uint64_t photos);
  // Copying begins.
  void begin(std::uint64_t files, std::uint64_t bytes);
  // Some bytes of a file were copied, or the file is done.
  void addBytes(std::uint64_t bytes);
  void addFile();
  // Another step, such as "Comparing checksums", of this many bytes.
  void beginStep(std::string name, std::uint64_t bytes);
  // Removes the line, before something else is printed.
  void erase();

 private:
  bool isDue();
  void show(const std::string& line);
  void showCopying();

  std::ostream* out_;
  const bool isTerminal_;
  const Now now_;
  Time shown_{};
  Time begun_{};
  std::string step_;
  std::uint64_t files_ = 0, doneFiles_ = 0;
  std::uint64_t bytes_ = 0, doneBytes_ = 0;
  std::size_t width_ = 0;
};

}  // namespace moxtel
