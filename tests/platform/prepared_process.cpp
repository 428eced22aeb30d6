// Usage: prepared_process [FILE]. Without a file, ends by exitWithin(). Writes to the file which of the
// descriptors 0 to 2 are open after the first call of a main, and which descriptor the file got; exits with 3
// after having written to a broken pipe and beyond a file's limit, and read how a child ended.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/process/ThisProcess.h"

namespace {

bool isToldHowAChildEnds() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(5);
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 5;
}

}  // namespace

int main(int argc, char** argv) {
  while (argc == 1) moxtel::exitWithin(std::chrono::milliseconds(100));
  if (argc != 2) return 2;
  moxtel::prepareProcess();
  const int file = ::open(argv[1], O_WRONLY | O_CREAT | O_TRUNC, 0600);  // NOLINT
  std::string text = "file " + std::to_string(file) + ", open";
  for (int fd = 0; fd <= 2; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1) text += ' ' + std::to_string(fd);
  }
  if (::write(file, text.data(), text.size()) < 0) return 2;
  int ends[2];
  if (::pipe(ends) != 0 || !isToldHowAChildEnds()) return 2;
  ::close(ends[0]);
  // Beyond the limit of a file's size: the signal would end the process.
  const struct rlimit limit { 4096, 4096 };
  if (::setrlimit(RLIMIT_FSIZE, &limit) != 0 || ::pwrite(file, "x", 1, 4096) >= 0 || errno != EFBIG) return 2;
  return ::write(ends[1], "x", 1) < 0 && errno == EPIPE ? 3 : 2;
}
