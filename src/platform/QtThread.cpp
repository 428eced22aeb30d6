#include "platform/QtThread.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEventLoop>
#include <mutex>

namespace moxtel {

namespace {

// For the life of the process: never destroyed, for other static objects may outlive main().
void makeCoreApplicationIfMissing() {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  if (QCoreApplication::instance()) return;
  static int count = 1;
  static char name[] = "moxtel";
  static char* arguments[] = {name, nullptr};
  static QCoreApplication* application = new QCoreApplication(count, arguments);
  static_cast<void>(application);
}

}  // namespace

void prepareQtThread() {
  makeCoreApplicationIfMissing();
  // A thread that Qt did not start gets its dispatcher with its first loop, and keeps it.
  if (!QAbstractEventDispatcher::instance()) QEventLoop();
}

}  // namespace moxtel
