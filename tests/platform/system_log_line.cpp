#include <stdexcept>

#include "platform/system/SystemLog.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) moxtel::writeSystemLog(argv[i]);
  moxtel::writePendingNotesOfSystemLog(moxtel::AtEnd::Yes);
  if (argc > 1) return 0;
  moxtel::NSLog("changedConnection: %d", 1);
  moxtel::runLogged([] { throw std::runtime_error("broken"); });
}
