#include "platform/system/LineOutput.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/system/LineLimiter.h"

namespace moxtel {

namespace {

constexpr int kPatience = 100;  // milliseconds

}  // namespace

// O_NONBLOCK: opening a named pipe would wait for its reader.
FileDescriptor openForAppending(const std::string& path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  return FileDescriptor(::open(path.c_str(), kFlags, 0666));
}

bool LineOutput::isTerminal() const { return ::isatty(descriptor_) == 1; }

bool LineOutput::write(std::string_view lines, const NoteLines& noteLines) {
  const std::lock_guard lock(mutex_);
  findTarget();
  const bool noted = lost_ == 0 || send(noteLines(linesLeftOut(lost_)));
  if (noted) lost_ = 0;
  if (noted && send(lines)) return true;
  ++lost_;
  return false;
}

// The target is looked at each time: tests and shells redirect it.
void LineOutput::findTarget() {
  struct stat status {};
  if (::fstat(descriptor_, &status) != 0) return;
  if (status.st_dev == device_ && status.st_ino == inode_) return;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  isWithinLine_ = false;
  copy_.close();
  kind_ = S_ISSOCK(status.st_mode) ? Kind::Socket : S_ISFIFO(status.st_mode) ? Kind::Pipe : Kind::Other;
  if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode)) return;
  const std::string again = "/proc/self/fd/" + std::to_string(descriptor_);
  copy_ = FileDescriptor(::open(again.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

bool LineOutput::send(std::string_view bytes) {
  const std::string completed = isWithinLine_ ? '\n' + std::string(bytes) : std::string();
  std::string_view rest = isWithinLine_ ? std::string_view(completed) : bytes;
  while (!rest.empty()) {
    const ssize_t written = writeSome(rest);
    if (written > 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
      isWithinLine_ = !rest.empty();
    } else if (written == 0 || (errno != EINTR && (errno != EAGAIN || !waitsForReader()))) {
      return false;
    }
  }
  return true;
}

// Whether the reader takes something soon. One that has missed lines is not waited for.
bool LineOutput::waitsForReader() {
  pollfd target{copy_ ? copy_.get() : descriptor_, POLLOUT, 0};
  return lost_ == 0 && ::poll(&target, 1, kPatience) == 1 && (target.revents & POLLOUT);
}

ssize_t LineOutput::writeSome(std::string_view bytes) {
  if (copy_) return ::write(copy_.get(), bytes.data(), bytes.size());
  if (kind_ == Kind::Socket) {
    return ::send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  if (kind_ == Kind::Pipe) {
    // A pipe that is ready takes this much without blocking.
    bytes = bytes.substr(0, PIPE_BUF);
    pollfd target{descriptor_, POLLOUT, 0};
    if (::poll(&target, 1, 0) == 0) {
      errno = EAGAIN;
      return -1;
    }
  }
  return ::write(descriptor_, bytes.data(), bytes.size());
}

}  // namespace moxtel
