#include "platform/system/ServiceManager.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

bool hasServiceManager() {
  const char* path = std::getenv("NOTIFY_SOCKET");
  return path && *path;
}

bool notifyServiceManager(std::string_view state) {
  if (!hasServiceManager()) return true;
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(path);
  if (length >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path, length);
  // "@name" is an abstract socket address, outside the file system.
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM, 0));
  if (!socket) return false;
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
  return ::sendto(socket.get(), state.data(), state.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                  size) == static_cast<ssize_t>(state.size());
}

OutputKind kindOfOutput(std::FILE* stream) {
  const char* const journal = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (!journal || ::fstat(::fileno(stream), &status) != 0) return OutputKind::Plain;
  const std::string ours = std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino);
  return ours == journal ? OutputKind::Journal : OutputKind::Plain;
}

std::string prefixedLines(std::string_view firstPrefix, std::string_view nextPrefix, std::string_view text) {
  std::string out(firstPrefix);
  for (const char c : text) {
    out += c;
    if (c == '\n') out += nextPrefix;
  }
  out += '\n';
  return out;
}

std::string journalLines(JournalPriority priority, std::string_view text) {
  const std::string prefix = '<' + std::to_string(static_cast<int>(priority)) + '>';
  return prefixedLines(prefix, prefix + "    ", text);
}

}  // namespace moxtel
