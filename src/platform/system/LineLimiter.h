// Bounds what the lines of one destination (standard error, console) cost, whoever causes them: equal lines
// in a row are counted instead of repeated, and lines beyond a rate are left out and counted.
//
// Notes report both counts: "… 1,203 more like this", "… 5,301 lines left out". Takes the time as an
// argument, and is used by one thread at a time. A text with line feeds counts as that number of lines and
// one.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace moxtel {

// "5,301"
std::string withCommas(std::uint64_t number);
// "… 5,301 lines left out"
std::string linesLeftOut(std::uint64_t count);

// Whether no line follows.
enum class AtEnd : bool { No, Yes };

class LineLimiter final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::size_t kLinesPerSecond = 100;  // notes included
  static constexpr std::uint64_t kBytesPerHour = 10'000'000;
  // What a line may have besides its text: date, process name, title.
  static constexpr std::uint64_t kBytesAroundText = 100;
  // So many equal lines in a row are shown. A line later than kRunEnds after an equal one is shown again.
  static constexpr std::uint64_t kEqualShown = 3;
  static constexpr std::chrono::seconds kRunEnds{10};

  // What to show now, in order.
  struct Shown {
    std::vector<std::string> notes;
    bool line = false;  // the line itself, after the notes
  };

  Shown add(std::string_view text, Time now);

  // The notes that no later line has brought yet. To be called from time to time, and at the end, when the
  // limits do not count.
  std::vector<std::string> pendingNotes(Time now, AtEnd atEnd = AtEnd::No);

 private:
  bool isRepeated(std::string_view text, Time now);
  void addNotes(std::vector<std::string>& notes, Time now);
  bool take(std::string_view text, Time now);
  bool haveLinesPassed(std::size_t lines, Time now) const;
  void count(Time now);

  std::string previous_;
  std::uint64_t equal_ = 0;  // lines like previous_ in a row, itself included
  Time lastEqual_;
  std::uint64_t repeated_ = 0;  // of these, not shown and not reported yet
  std::uint64_t leftOut_ = 0;   // not reported yet

  // When the last lines were shown; a ring that begins at oldest_.
  std::array<Time, kLinesPerSecond> shown_{};
  std::size_t count_ = 0;
  std::size_t oldest_ = 0;
  // Half of an hour's bytes may be used at once, and half comes back in the course of an hour.
  double bytes_ = static_cast<double>(kBytesPerHour) / 2;
  Time bytesCounted_{};
};

}  // namespace moxtel
