// Usage: confined_process memory | time | file | end. Confines itself to 512 MB, one second and files of 4096
// bytes, then exceeds one of them, or waits for its parent's end.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "platform/process/Confinement.h"

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// Writes to all of it, because the kernel allocates memory at the first write.
int eatMemory() {
  std::vector<char*> eaten;
  try {
    for (;;) eaten.push_back(static_cast<char*>(std::memset(new char[kMegabyte], 1, kMegabyte)));
  } catch (const std::bad_alloc&) {
    return eaten.size() > 100 && eaten.size() < 512 ? 3 : 1;
  }
}

int eatTime() {
  volatile bool goesOn = true;
  while (goesOn) {
  }
  return 1;
}

int writeMuch() {
  const int file = ::open("written", O_WRONLY | O_CREAT | O_TRUNC, 0600);  // NOLINT
  const std::vector<char> bytes(5000, 'x');
  if (::write(file, bytes.data(), bytes.size()) != 4096) return 1;
  return ::write(file, bytes.data(), bytes.size()) < 0 && errno == EFBIG ? 3 : 1;
}

int waitForEver() {
  for (;;) ::pause();
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  moxtel::confineThisProcess({512 * kMegabyte, 1, 4096});
  if (std::strcmp(words[1], "memory") == 0) return eatMemory();
  if (std::strcmp(words[1], "time") == 0) return eatTime();
  if (std::strcmp(words[1], "file") == 0) return writeMuch();
  return ::write(STDOUT_FILENO, "confined\n", 9) == 9 ? waitForEver() : 2;
}
