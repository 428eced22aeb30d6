#include "platform/process/Confinement.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/process/CallFilter.h"

namespace moxtel {
namespace {

void limit(__rlimit_resource resource, std::uint64_t value) {
  const rlimit both{value, value};
  setrlimit(resource, &both);
}

// Address sanitizers need terabytes of addresses.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCanLimitMemory = false;
#else
constexpr bool kCanLimitMemory = true;
#endif

constexpr int kNice = 10;  // of programs

}  // namespace

Confinement confineThisProcess(const ProcessBounds& bounds, const FileRights& rights, int newestLandlock) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  signal(SIGXFSZ, SIG_IGN);
  if (!rights.runnable.empty()) setpriority(PRIO_PROCESS, 0, kNice);
  if (kCanLimitMemory) limit(RLIMIT_AS, bounds.memory);
  limit(RLIMIT_CPU, bounds.processorSeconds);
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, bounds.writtenFile);
  Confinement confinement;
  confinement.landlock = restrictFiles(rights, newestLandlock);
  confinement.filtersCalls = restrictCalls(rights.runnable.empty() ? Programs::None : Programs::One);
  return confinement;
}

void becomeProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  char* noEnvironment[] = {nullptr};
  ::execve(arguments.front(), arguments.data(), noEnvironment);
}

std::span<const std::uint8_t> mappedUntilExit(const OpenFile& file) {
  if (file.state != FileState::Open || file.size == 0) return {};
  void* bytes = mmap(nullptr, file.size, PROT_READ, MAP_PRIVATE, file.descriptor.get(), 0);
  if (bytes == MAP_FAILED) return {};
  return {static_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(file.size)};
}

bool writeToStandardOutput(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace moxtel
