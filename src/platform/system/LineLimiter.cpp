#include "platform/system/LineLimiter.h"

#include <algorithm>
#include <utility>

namespace moxtel {

std::string withCommas(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, 1, ',');
  return text;
}

namespace {

std::string moreLikeThis(std::uint64_t count) { return "… " + withCommas(count) + " more like this"; }

}  // namespace

std::string linesLeftOut(std::uint64_t count) {
  return "… " + withCommas(count) + (count == 1 ? " line left out" : " lines left out");
}

LineLimiter::Shown LineLimiter::add(std::string_view text, Time now) {
  Shown shown;
  if (isRepeated(text, now)) {
    ++repeated_;
    return shown;
  }
  addNotes(shown.notes, now);
  // A note about them after this line would be about this line.
  leftOut_ += std::exchange(repeated_, 0);
  shown.line = take(text, now);
  if (shown.line) return shown;
  ++leftOut_;
  // The next line like this one is not "more" of a line that was shown.
  equal_ = 0;
  return shown;
}

// Counts the line as part of its run.
bool LineLimiter::isRepeated(std::string_view text, Time now) {
  const bool isSameRun = equal_ > 0 && text == previous_ && now - lastEqual_ <= kRunEnds;
  lastEqual_ = now;
  if (isSameRun) return ++equal_ > kEqualShown;
  previous_ = text;
  equal_ = 1;
  return false;
}

std::vector<std::string> LineLimiter::pendingNotes(Time now, AtEnd atEnd) {
  std::vector<std::string> notes;
  addNotes(notes, now);
  const std::uint64_t rest = repeated_ + leftOut_;
  if (atEnd == AtEnd::Yes && rest > 0) {
    notes.push_back(linesLeftOut(rest));
    repeated_ = leftOut_ = 0;
  }
  return notes;
}

void LineLimiter::addNotes(std::vector<std::string>& notes, Time now) {
  const auto report = [&](std::uint64_t& count, std::string note) {
    if (count == 0 || !take(note, now)) return;
    notes.push_back(std::move(note));
    count = 0;
  };
  report(repeated_, moreLikeThis(repeated_));
  report(leftOut_, linesLeftOut(leftOut_));
}

// Whether a text may be shown, which has one line or more; counts its lines.
bool LineLimiter::take(std::string_view text, Time now) {
  const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  const std::size_t lines = std::min(feeds + 1, kLinesPerSecond);
  if (!haveLinesPassed(lines, now)) return false;
  constexpr double kPerSecond = static_cast<double>(kBytesPerHour) / 2 / 3600;
  if (bytesCounted_ != Time()) {
    const std::chrono::duration<double> passed = now - bytesCounted_;
    bytes_ = std::min(static_cast<double>(kBytesPerHour) / 2, bytes_ + passed.count() * kPerSecond);
  }
  bytesCounted_ = now;
  const auto size = static_cast<double>(text.size() + kBytesAroundText);
  if (size > bytes_) return false;
  bytes_ -= size;
  for (std::size_t i = 0; i < lines; ++i) count(now);
  return true;
}

// Whether the lines that this number of new ones would replace in the ring are old enough.
bool LineLimiter::haveLinesPassed(std::size_t lines, Time now) const {
  const std::size_t afterwards = count_ + lines;
  if (afterwards <= shown_.size()) return true;
  const Time newestReplaced = shown_[(oldest_ + afterwards - shown_.size() - 1) % shown_.size()];
  return now - newestReplaced >= std::chrono::seconds(1);
}

void LineLimiter::count(Time now) {
  shown_[(oldest_ + count_) % shown_.size()] = now;
  if (count_ < shown_.size()) {
    ++count_;
  } else {
    oldest_ = (oldest_ + 1) % shown_.size();
  }
}

}  // namespace moxtel
