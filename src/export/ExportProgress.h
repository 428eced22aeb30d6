// Shows how far an export is, with rate and remaining time: as one line for people, or as lines of JSON for
// another program (docs/export-json.md). One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace moxtel {

class ExportProgress final {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Now = std::function<Time()>;

  enum class Style : std::uint8_t {
    Terminal,  // one line, which is overwritten
    Lines,     // a line every ten seconds
    Json,      // a line twice a second
  };

  // Without a stream nothing is shown.
  explicit ExportProgress(std::ostream* out, Style style = Style::Terminal,
                          Now now = &std::chrono::steady_clock::now)
      : out_(out), style_(style), now_(std::move(now)) {}
  ~ExportProgress() { erase(); }
  ExportProgress(const ExportProgress&) = delete;
  ExportProgress& operator=(const ExportProgress&) = delete;

  // Photos that were looked at so far.
  void planned(std::uint64_t photos);
  // What is to be copied is known, and how many bytes the target has free; 0 unknown.
  void planIsReady(std::uint64_t files, std::uint64_t bytes, std::uint64_t sidecars, std::uint64_t free);
  // Copying begins.
  void begin(std::uint64_t files, std::uint64_t bytes);
  // Some bytes of a file were copied, or the file is done.
  void addBytes(std::uint64_t bytes);
  void addFile();
  // Another step, of this many bytes, or of an unknown number.
  enum class Step : std::uint8_t { Copying, Finishing, Verifying };
  void beginStep(Step step, std::uint64_t bytes = 0);
  // Removes the line, before something else is printed.
  void erase();

 private:
  bool isDue();
  void show(const std::string& line);
  void showStep();
  std::string stepText() const;
  std::string stepJson() const;
  // Bytes a second; nothing in the first moments, which say nothing.
  std::optional<double> rate() const;
  double secondsLeft(double rate) const;

  std::ostream* out_;
  const Style style_;
  const Now now_;
  Time shown_{};
  Time begun_{};
  Step step_ = Step::Copying;
  std::uint64_t files_ = 0, doneFiles_ = 0;
  std::uint64_t bytes_ = 0, doneBytes_ = 0;
  std::size_t width_ = 0;
};

}  // namespace moxtel
