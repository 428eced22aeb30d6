#include "export/ExportProgress.h"

#include <algorithm>

#include "export/ExportText.h"

namespace moxtel {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::chrono::milliseconds kOnTerminal{500};
constexpr std::chrono::seconds kElsewhere{10};
// A rate of the first moments says nothing.
constexpr Seconds kFirstRate{2};

}  // namespace

bool ExportProgress::isDue() {
  if (!out_) return false;
  const Time now = now_();
  if (now - shown_ < (isTerminal_ ? Time::duration(kOnTerminal) : Time::duration(kElsewhere))) return false;
  shown_ = now;
  return true;
}

void ExportProgress::show(const std::string& line) {
  if (!isTerminal_) {
    *out_ << line << '\n' << std::flush;
    return;
  }
  // Characters of several bytes only make the blanks too many.
  width_ = std::max(width_, line.size());
  *out_ << '\r' << line << std::string(width_ - line.size(), ' ') << std::flush;
}

void ExportProgress::planned(std::uint64_t photos) {
  if (isDue()) show("Looking at the library: " + groupedNumber(photos) + " photos");
}

void ExportProgress::begin(std::uint64_t files, std::uint64_t bytes) {
  files_ = files;
  doneFiles_ = 0;
  beginStep("Copying", bytes);
}

void ExportProgress::beginStep(std::string name, std::uint64_t bytes) {
  step_ = std::move(name);
  bytes_ = bytes;
  doneBytes_ = 0;
  begun_ = now_();
}

void ExportProgress::addBytes(std::uint64_t bytes) {
  doneBytes_ += bytes;
  if (isDue()) showCopying();
}

void ExportProgress::addFile() {
  ++doneFiles_;
  if (isDue()) showCopying();
}

void ExportProgress::showCopying() {
  std::string line = step_ + ": ";
  if (files_ > 0) line += groupedNumber(doneFiles_) + " of " + groupedNumber(files_) + " files, ";
  line += sizeText(doneBytes_) + " of " + sizeText(bytes_);
  const Seconds passed = now_() - begun_;
  if (passed >= kFirstRate && doneBytes_ > 0) {
    const double rate = static_cast<double>(doneBytes_) / passed.count();
    const double left = static_cast<double>(bytes_ - std::min(bytes_, doneBytes_)) / rate;
    line += ", " + sizeText(static_cast<std::uint64_t>(rate)) + "/s, " + durationText(left) + " left";
  }
  show(line);
}

void ExportProgress::erase() {
  if (out_ && isTerminal_ && width_ > 0) *out_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
  width_ = 0;
}

}  // namespace moxtel
