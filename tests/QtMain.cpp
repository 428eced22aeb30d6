// The main function of tests with windows, which are drawn into memory: no display is needed.
#include <gtest/gtest.h>

#include <QApplication>

#ifdef __SANITIZE_THREAD__
#include <QThreadPool>

// Qt divides large drawing operations among the threads of this pool, unless the drawing thread belongs to
// the pool. The threads synchronize with semaphores that ThreadSanitizer does not see, because Qt is not
// built with it, so every operation would be reported as a race. This replacement of Qt's function makes
// every thread count as one of the pool, so Qt does not divide.
bool QThreadPool::contains(const QThread*) const { return true; }
#endif

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  ::testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
