#include "export/ExportProgress.h"

#include <algorithm>
#include <array>

#include "export/ExportText.h"
#include "export/JsonText.h"

namespace moxtel {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::chrono::milliseconds kOften{500};
constexpr std::chrono::seconds kElsewhere{10};
constexpr Seconds kFirstRate{2};

struct StepNames {
  const char* forPeople;
  const char* word;
};
// By Step.
constexpr std::array<StepNames, 3> kSteps{
    {{"Copying", "copying"}, {"Finishing", "finishing"}, {"Comparing checksums", "verifying"}}};

std::string progressLine(const JsonObject& progress) {
  return JsonObject().addRaw("progress", progress.text()).text();
}

}  // namespace

bool ExportProgress::isDue() {
  if (!out_) return false;
  const Time now = now_();
  if (now - shown_ < (style_ == Style::Lines ? Time::duration(kElsewhere) : Time::duration(kOften)))
    return false;
  shown_ = now;
  return true;
}

void ExportProgress::show(const std::string& line) {
  if (style_ != Style::Terminal) {
    *out_ << line << '\n' << std::flush;
    return;
  }
  // Characters of several bytes only make the blanks too many.
  width_ = std::max(width_, line.size());
  *out_ << '\r' << line << std::string(width_ - line.size(), ' ') << std::flush;
}

void ExportProgress::planned(std::uint64_t photos) {
  if (!isDue()) return;
  show(style_ == Style::Json ? progressLine(JsonObject().add("step", "planning").add("photos", photos))
                             : "Looking at the library: " + groupedNumber(photos) + " photos");
}

void ExportProgress::planIsReady(std::uint64_t files, std::uint64_t bytes, std::uint64_t sidecars,
                                 std::uint64_t free) {
  if (!out_ || style_ != Style::Json) return;
  JsonObject line;
  line.add("step", "planned").add("ofFiles", files).add("ofBytes", bytes).add("sidecars", sidecars);
  if (free > 0) line.add("freeBytes", free);
  show(progressLine(line));
}

void ExportProgress::begin(std::uint64_t files, std::uint64_t bytes) {
  files_ = files;
  doneFiles_ = 0;
  beginStep(Step::Copying, bytes);
}

void ExportProgress::beginStep(Step step, std::uint64_t bytes) {
  step_ = step;
  bytes_ = bytes;
  doneBytes_ = 0;
  begun_ = now_();
  if (out_ && style_ == Style::Json) showStep();
}

void ExportProgress::addBytes(std::uint64_t bytes) {
  doneBytes_ += bytes;
  if (isDue()) showStep();
}

void ExportProgress::addFile() {
  ++doneFiles_;
  if (isDue()) showStep();
}

std::optional<double> ExportProgress::rate() const {
  const Seconds passed = now_() - begun_;
  if (passed < kFirstRate || doneBytes_ == 0) return std::nullopt;
  return static_cast<double>(doneBytes_) / passed.count();
}

double ExportProgress::secondsLeft(double rate) const {
  return static_cast<double>(bytes_ - std::min(bytes_, doneBytes_)) / rate;
}

std::string ExportProgress::stepText() const {
  std::string line = kSteps[static_cast<std::size_t>(step_)].forPeople;
  if (step_ == Step::Finishing) return line;
  line += ": ";
  if (step_ == Step::Copying && files_ > 0)
    line += groupedNumber(doneFiles_) + " of " + groupedNumber(files_) + " files, ";
  line += sizeText(doneBytes_) + " of " + sizeText(bytes_);
  if (const auto each = rate())
    line += ", " + sizeText(static_cast<std::uint64_t>(*each)) + "/s, " + durationText(secondsLeft(*each)) +
            " left";
  return line;
}

std::string ExportProgress::stepJson() const {
  JsonObject line;
  line.add("step", kSteps[static_cast<std::size_t>(step_)].word);
  if (step_ == Step::Finishing) return progressLine(line);
  if (step_ == Step::Copying) line.add("files", doneFiles_).add("ofFiles", files_);
  line.add("bytes", doneBytes_).add("ofBytes", bytes_);
  if (const auto each = rate())
    line.add("bytesPerSecond", static_cast<std::uint64_t>(*each))
        .add("secondsLeft", static_cast<std::uint64_t>(secondsLeft(*each)));
  return progressLine(line);
}

void ExportProgress::showStep() { show(style_ == Style::Json ? stepJson() : stepText()); }

void ExportProgress::erase() {
  if (out_ && style_ == Style::Terminal && width_ > 0)
    *out_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
  width_ = 0;
}

}  // namespace moxtel
