// Qt's per-thread ground, for the classes here that use its timers and notifiers.
#pragma once

namespace moxtel {

// Makes what Qt's timers and notifiers need on the calling thread, where it is missing: an application object
// (one for the process, of the core kind) and an event dispatcher.
void prepareQtThread();

}  // namespace moxtel
