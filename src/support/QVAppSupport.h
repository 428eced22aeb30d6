// QVAppSupport: the machine's name, its system version and the user's folders. Each is determined once and
// cached.
//
// Core thread. The delegate owns the one of the process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/process/ChildProcess.h"

namespace moxtel {

class QVAppSupport final {
 public:
  // Borrows the runner. The folder is the user's folder for application support, the release is the kernel's;
  // tests replace both.
  explicit QVAppSupport(ProcessRunner& runner);
  QVAppSupport(ProcessRunner& runner, std::string supportFolder, std::string kernelRelease);

  // The process's folder in the user's application-support folder, created when nothing is there. The path is
  // returned in every case.
  std::string appSupportDirectory();
  // The user's folder for temporary files. Not cached.
  static std::string temporaryDirectory();
  // What "/usr/bin/uname -n" prints, its newline included; of several chunks the last alone. Nothing if it
  // prints nothing, or something that is not ASCII.
  std::optional<std::string> hostname();
  static bool isRunningOnSimulator() { return false; }
  // 10.6 gives 1060, 10 gives 1000, 10.5.8 gives 1058 and 10.10.1 gives 10101.
  static std::uint32_t OSNumberFromVersionString(std::string_view version);
  // The number of the system's release from that of its kernel: 1050 to 1110, 1111 for every other. Kernels
  // with other numbering give 1111, too.
  std::uint32_t OSVersion();

 private:
  ProcessRunner& runner_;
  const std::string supportFolder_;
  const std::string kernelRelease_;
  std::string appSupportDirectory_;
  std::optional<std::string> hostname_;
  std::uint32_t osVersion_ = 0;  // 0 means not yet found
};

}  // namespace moxtel
