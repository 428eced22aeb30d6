// In the place of ffmpeg, after moxtel-movie-converter has limited the process: tries what it should not be
// able to do, and writes into the output what succeeded. The last argument is "file:OUTPUT".
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

bool opens(const char* path, int flags) { return ::open(path, flags, 0600) >= 0; }  // NOLINT

}  // namespace

int main(int count, char** words) {
  const std::string output = std::string(words[count - 1]).substr(5);
  const std::string outside = output.substr(0, output.rfind('/')) + "/../outside";
  std::ofstream out(output);
  out << "tried;";
  if (opens("/etc/passwd", O_RDONLY)) out << "read;";
  if (opens(outside.c_str(), O_WRONLY | O_CREAT)) out << "wrote;";
  if (::socket(AF_INET, SOCK_STREAM, 0) >= 0) out << "socket;";
  if (::getenv("HOME")) out << "environment;";
  if (!opens("/proc/self/fd/0", O_RDONLY)) out << "no movie;";
  if (::fork() >= 0) out << "fork;";
  out.flush();
  ::execl("/bin/true", "true", nullptr);
  return EXIT_SUCCESS;
}
