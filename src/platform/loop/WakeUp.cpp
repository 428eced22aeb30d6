#include "platform/loop/WakeUp.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace moxtel {

WakeUp::WakeUp() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_) throw std::system_error(errno, std::generic_category(), "eventfd");
}

// Fails only when the counter is full, and then the descriptor is readable already.
void WakeUp::signal() const { ::eventfd_write(event_.get(), 1); }

void WakeUp::clear() const {
  eventfd_t count = 0;
  ::eventfd_read(event_.get(), &count);
}

}  // namespace moxtel
