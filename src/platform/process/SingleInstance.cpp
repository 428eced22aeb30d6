#include "platform/process/SingleInstance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/files/UserFolders.h"

namespace moxtel {

namespace {

// The first one may have the lock and not listen yet.
constexpr int kTries = 20;
constexpr useconds_t kBetweenTries = 100'000;  // microseconds

// Only this user may enter it: no other user can put a socket or a link there.
bool isPrivate(const std::string& folder) {
  struct stat info {};
  return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() &&
         (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

FileDescriptor newSocket() {
  return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// False for a path that is too long.
bool setAddress(sockaddr_un& address, const std::string& path) {
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

std::string SingleInstance::usualFolder() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime && *runtime == '/' && isPrivate(runtime)) return runtime;
  const std::string folder = settingsFolder() + "/MoxtelServer/window";
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!error) std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
  return folder;
}

SingleInstance::SingleInstance(const std::string& name, const std::string& folder) {
  if (!isPrivate(folder)) return;
  path_ = folder + "/" + name;
  lock_ = FileDescriptor(::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (lock_.get() < 0) return;
  isSecond_ = ::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0;
  if (!isSecond_) listen();
}

void SingleInstance::listen() {
  const std::string path = path_ + ".socket";
  sockaddr_un address{};
  if (!setAddress(address, path)) return;
  ::unlink(path.c_str());  // of one that was killed
  FileDescriptor socket = newSocket();
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return;
  if (::listen(socket.get(), 4) == 0) socket_ = std::move(socket);
}

bool SingleInstance::raiseFirst() const {
  sockaddr_un address{};
  if (!setAddress(address, path_ + ".socket")) return false;
  for (int i = 0; i < kTries; ++i) {
    const FileDescriptor socket = newSocket();
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
      return true;
    ::usleep(kBetweenTries);
  }
  return false;
}

// To connect is the whole request.
bool SingleInstance::takeStart() const {
  const FileDescriptor other(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (other.get() < 0) return false;
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(other.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

}  // namespace moxtel
