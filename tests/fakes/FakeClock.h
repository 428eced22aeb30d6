// A clock that a test sets.
#pragma once

#include "platform/loop/Clock.h"

namespace moxtel {

class FakeClock : public Clock {
 public:
  Date now() const override { return now_; }
  void set(Date moment) { now_ = moment; }
  void advance(double seconds) { now_.seconds += seconds; }

 private:
  Date now_{489999903.0};
};

}  // namespace moxtel
