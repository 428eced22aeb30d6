// main of the tests of windows: they are drawn into memory, on whatever machine.
#include <gtest/gtest.h>

#include <QApplication>

#ifdef __SANITIZE_THREAD__
#include <QThreadPool>

// Qt divides wide drawing among the threads of this pool, unless it draws on one of them already. It hands
// them their work by semaphores that ThreadSanitizer does not see, Qt not being built with it, and would be
// taken to race at every step. So Qt is told here, in place of its own answer, that it need not divide.
bool QThreadPool::contains(const QThread*) const { return true; }
#endif

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  ::testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
