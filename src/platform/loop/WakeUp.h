// A descriptor that becomes readable when another thread signals, for loops that poll descriptors.
#pragma once

#include "platform/files/FileDescriptor.h"

namespace moxtel {

class WakeUp final {
 public:
  WakeUp();  // throws std::system_error without a free descriptor

  // Readable from the first signal() on until clear().
  int descriptor() const { return event_.get(); }
  void signal() const;  // any thread
  void clear() const;

 private:
  FileDescriptor event_;
};

}  // namespace moxtel
