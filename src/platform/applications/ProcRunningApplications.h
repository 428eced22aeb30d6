// The processes of a Linux machine, from /proc: a process is the application of its name (comm, which the
// kernel cuts at 15 bytes), else of the base name of its executable, where that may be read. Zombies and
// threads of the kernel are no applications.
#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/applications/RunningApplications.h"
#include "platform/files/FileDescriptor.h"

namespace moxtel {

// Remembers the processes from one question to the next, which then costs one system call a process, and
// keeps their "comm" open for it: at most half of the descriptors that this program may have, and 512. A
// start, an end and a new name are seen at the next question. An executable that changes while the name stays
// is seen within ten, and so is the new name of one of more processes than that. Core thread.
class ProcRunningApplications final : public RunningApplications {
 public:
  explicit ProcRunningApplications(std::vector<std::string> wanted, std::string folder = "/proc");

  std::vector<std::string> names() override;

 private:
  struct Process {
    std::uint64_t identity = 0;   // inode of its folder: another one when the number was given anew
    std::uint64_t seen = 0;       // the last question at which it was there
    std::uint64_t readAgain = 0;  // the question at which its executable is read again
    bool isProgram = false;       // neither a zombie nor a thread of the kernel
    FileDescriptor comm;
    std::string name;
    const std::string* application = nullptr;  // of wanted_, null for one that nobody wants
    const std::string* executable = nullptr;   // the same for the base name of its executable
  };
  struct FolderCloser {
    void operator()(DIR* folder) const { ::closedir(folder); }
  };

  bool rewindFolder();
  void look(const dirent& entry);
  bool readName(const char* number, Process& process);
  void readExecutable(const char* number, Process& process);
  void forgetTheGone();
  const std::string* wanted(std::string_view name) const;

  const std::vector<std::string> wanted_;
  const std::string folder_;
  const std::size_t mostHeld_;
  std::unique_ptr<DIR, FolderCloser> open_;
  std::unordered_map<pid_t, Process> processes_;
  std::uint64_t question_ = 0;
  std::size_t held_ = 0;
  std::vector<std::string> running_;  // the answer, while it is gathered
};

}  // namespace moxtel
