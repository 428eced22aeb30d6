#include "net/ReplyPace.h"

namespace moxtel {

namespace {

// Bounds the number of samples, whatever the period and however often the pace is asked for.
constexpr int kSamplesPerPeriod = 32;

}  // namespace

bool ReplyPace::isTooSlow(Moment now, std::uint64_t taken) {
  if (now - samples_.back().at >= limits_.period / kSamplesPerPeriod) samples_.push_back({now, taken});
  while (samples_.size() > 1 && now - samples_[1].at >= limits_.period) samples_.pop_front();
  const Sample& first = samples_.front();
  if (now - first.at < limits_.period) return false;
  const double seconds = std::chrono::duration<double>(now - first.at).count();
  return static_cast<double>(taken - first.taken) < seconds * static_cast<double>(limits_.bytesPerSecond);
}

}  // namespace moxtel
