#include "platform/system/Shortage.h"

#include <cerrno>

namespace moxtel {

namespace {

thread_local std::uint64_t shortages = 0;

}  // namespace

void noteShortage(int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS || error == EAGAIN)
    ++shortages;
}

ShortageWatch::ShortageWatch() : before_(shortages) {}

bool ShortageWatch::sawOne() const { return shortages != before_; }

}  // namespace moxtel
