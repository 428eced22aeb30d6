#include "platform/files/SecretFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "platform/files/FileDescriptor.h"

namespace moxtel {

namespace {

std::string reasonOf(int error) { return std::generic_category().message(error); }

// The folder and those above it.
bool makeFolders(const std::string& folder) {
  if (folder.empty() || ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) return true;
  if (errno != ENOENT) return false;
  return makeFolders(folder.substr(0, folder.rfind('/'))) && ::mkdir(folder.c_str(), 0700) == 0;
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return ::fsync(descriptor) == 0;
}

}  // namespace

std::string writeSecretFile(const std::string& path, std::string_view text) {
  if (!makeFolders(path.substr(0, path.rfind('/')))) return reasonOf(errno);
  const std::string part = path + ".new";
  // One that an interrupted process left; a link is removed, never followed.
  ::unlink(part.c_str());
  FileDescriptor file(::open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) return reasonOf(errno);
  if (writeAll(file.get(), text) && ::rename(part.c_str(), path.c_str()) == 0) return {};
  const std::string reason = reasonOf(errno);
  ::unlink(part.c_str());
  return reason;
}

void fillWithRandomBytes(std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::getrandom(bytes.data(), bytes.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw std::system_error(errno, std::generic_category(), "getrandom");
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

}  // namespace moxtel
