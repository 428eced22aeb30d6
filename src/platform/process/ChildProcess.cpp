#include "platform/process/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/process/Pipe.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/Shortage.h"

// posix_spawn, because QProcess passes every descriptor without close-on-exec to the child and is bound to
// one thread.

extern char** environ;

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A killed child ends at once, unless it is blocked inside the kernel.
constexpr milliseconds kPatienceAfterKill{2000};
// How often it is checked whether the run is canceled, and whether the child has ended where no descriptor
// reports that.
constexpr milliseconds kLookInterval{20};

// Makes writing to a child that does not read give an error instead of SIGPIPE, however the program handles
// that signal.
class SigpipeBlocker final {
 public:
  SigpipeBlocker() {
    ::sigemptyset(&pipeOnly_);
    ::sigaddset(&pipeOnly_, SIGPIPE);
    wasPending_ = isPending();
    ::pthread_sigmask(SIG_BLOCK, &pipeOnly_, &before_);
  }
  ~SigpipeBlocker() {
    int taken = 0;
    if (!wasPending_ && isPending()) ::sigwait(&pipeOnly_, &taken);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SigpipeBlocker(const SigpipeBlocker&) = delete;
  SigpipeBlocker& operator=(const SigpipeBlocker&) = delete;

 private:
  static bool isPending() {
    sigset_t pending;
    ::sigemptyset(&pending);
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t pipeOnly_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

class FileActions final {
 public:
  FileActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// Puts the child into its own process group, so that a kill also reaches its children, with no signal blocked
// or ignored.
class Attributes final {
 public:
  Attributes() {
    ::posix_spawnattr_init(&attributes_);
    sigset_t none;
    ::sigemptyset(&none);
    sigset_t all;
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setsigdefault(&attributes_, &all);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
#ifdef POSIX_SPAWN_CLOEXEC_DEFAULT
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
    ::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
  }
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

// One run, from the start of the child to its end.
class Run final {
 public:
  Run(const ProcessRequest& request, const std::atomic<bool>& ended)
      : request_(request), runnerEnded_(ended), deadline_(SteadyClock::now() + request.timeout) {}

  ProcessResult perform() {
    if (!start()) return std::move(result_);
    while (!isReaped_ && !ending_) step();
    if (ending_) {
      kill();
    } else {
      // Reads what a dead child left in its pipes. Its own children may keep them open.
      readAll(output_, Stream::Output);
      readAll(error_, Stream::Error);
    }
    finish();
    return std::move(result_);
  }

 private:
  enum class Stream : unsigned char { Output, Error };

  bool start() {
    Pipe input = request_.input.empty() ? Pipe() : makePipe(PipeBlocking::Blocking);
    Pipe output = makePipe(PipeBlocking::Blocking);
    Pipe error = makePipe(PipeBlocking::Blocking);
    if (!output.readEnd || !error.readEnd || (!request_.input.empty() && !input.readEnd)) {
      return notStarted(errno);
    }
    if (const int failure = spawn(input, output, error); failure != 0) return notStarted(failure);
    restoreDescriptorLimit(child_);
    input_ = std::move(input.writeEnd);
    output_ = std::move(output.readEnd);
    error_ = std::move(error.readEnd);
    for (const FileDescriptor* ours : {&input_, &output_, &error_}) {
      if (*ours) setNonBlocking(ours->get());
    }
    // By number, because the C library's header for it cannot be used from C++.
    end_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child_, 0)));
    return true;
  }

  bool notStarted(int failure) {
    noteShortage(failure);
    result_.ending = ProcessResult::Ending::NotStarted;
    result_.error = std::generic_category().message(failure);
    return false;
  }

  int spawn(const Pipe& input, const Pipe& output, const Pipe& error) {
    FileActions actions;
    if (request_.inputDescriptor >= 0) {
      ::posix_spawn_file_actions_adddup2(actions.get(), request_.inputDescriptor, STDIN_FILENO);
    } else if (input.readEnd) {
      ::posix_spawn_file_actions_adddup2(actions.get(), input.readEnd.get(), STDIN_FILENO);
    } else {
      ::posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    ::posix_spawn_file_actions_adddup2(actions.get(), output.writeEnd.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(actions.get(), error.writeEnd.get(), STDERR_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(actions.get(), STDERR_FILENO + 1);
    std::vector<char*> words{const_cast<char*>(request_.program.c_str())};
    for (const auto& word : request_.arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const Attributes attributes;
    return ::posix_spawnp(&child_, request_.program.c_str(), actions.get(), attributes.get(), words.data(),
                          environ);
  }

  // Polls the child's pipes and services those that are ready.
  void step() {
    std::array<pollfd, 4> waited{pollfd{input_.get(), POLLOUT, 0}, pollfd{output_.get(), POLLIN, 0},
                                 pollfd{error_.get(), POLLIN, 0}, pollfd{end_.get(), POLLIN, 0}};
    ::poll(waited.data(), waited.size(), waitTime());
    if (waited[0].revents != 0) writeSome();
    if (waited[1].revents != 0) readSome(output_, Stream::Output);
    if (waited[2].revents != 0) readSome(error_, Stream::Error);
    if (!ending_) reap();
    if (isReaped_ || ending_) return;
    if (SteadyClock::now() >= deadline_) ending_ = ProcessResult::Ending::TimedOut;
    if (isCanceled()) ending_ = ProcessResult::Ending::Killed;
  }

  bool isCanceled() const { return runnerEnded_ || (request_.canceled && request_.canceled()); }

  int waitTime() const {
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - SteadyClock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), kLookInterval).count());
  }

  void writeSome() {
    const std::string_view rest = std::string_view(request_.input).substr(written_);
    const ssize_t count = ::write(input_.get(), rest.data(), rest.size());
    if (count > 0) written_ += static_cast<std::size_t>(count);
    // A child that does not read all of its input is no error: it may not need the rest.
    const bool failed = count < 0 && errno != EAGAIN && errno != EINTR;
    if (failed || written_ == request_.input.size()) input_.close();
  }

  // False when no data is available now.
  bool readSome(FileDescriptor& from, Stream stream) {
    std::array<char, 65536> buffer;  // NOLINT: not set before it is read into
    const ssize_t count = ::read(from.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) return true;
    if (count < 0 && errno == EAGAIN) return false;
    if (count <= 0) {
      from.close();
      return false;
    }
    take(std::string_view(buffer.data(), static_cast<std::size_t>(count)), stream);
    return !ending_;
  }

  void readAll(FileDescriptor& from, Stream stream) {
    while (from && !ending_ && readSome(from, stream)) {
    }
  }

  void take(std::string_view chunk, Stream stream) {
    std::size_t& count = stream == Stream::Output ? outputCount_ : errorCount_;
    const std::string_view within = chunk.substr(0, request_.outputLimit - count);
    count += within.size();
    if (stream == Stream::Error) {
      result_.error += within;
    } else if (!request_.onOutput) {
      result_.output += within;
    } else if (!isReadingStopped_ && !within.empty()) {
      isReadingStopped_ = !request_.onOutput(within);
    }
    // Discards further output, so that the child can run to its end.
    const bool isWanted = stream == Stream::Error || !isReadingStopped_;
    if (within.size() < chunk.size() && isWanted) ending_ = ProcessResult::Ending::TooMuchOutput;
  }

  void reap() {
    int status = 0;
    const pid_t ended = ::waitpid(child_, &status, WNOHANG);
    if (ended == 0 || (ended < 0 && errno == EINTR)) return;
    isReaped_ = true;
    if (ended == child_) status_ = status;
  }

  void kill() {
    // The number of a child that was reaped may belong to another process.
    if (isReaped_) return;
    ::kill(-child_, SIGKILL);
    ::kill(child_, SIGKILL);
    const auto patience = SteadyClock::now() + kPatienceAfterKill;
    for (reap(); !isReaped_ && SteadyClock::now() < patience; reap()) {
      pollfd end{end_.get(), POLLIN, 0};
      ::poll(&end, 1, static_cast<int>(kLookInterval.count()));
    }
  }

  void finish() {
    if (ending_) {
      result_.ending = *ending_;
    } else if (status_ && WIFEXITED(*status_)) {
      result_.ending = ProcessResult::Ending::Exited;
      result_.exitStatus = WEXITSTATUS(*status_);
    } else {
      result_.ending = ProcessResult::Ending::Killed;
    }
  }

  const ProcessRequest& request_;
  const std::atomic<bool>& runnerEnded_;
  const SteadyClock::time_point deadline_;
  const SigpipeBlocker noSigpipe_;
  ProcessResult result_;
  pid_t child_ = -1;
  FileDescriptor input_;
  FileDescriptor output_;
  FileDescriptor error_;
  FileDescriptor end_;  // readable once the child has ended; empty where the system has no such descriptor
  std::size_t written_ = 0;
  std::size_t outputCount_ = 0;
  std::size_t errorCount_ = 0;
  bool isReadingStopped_ = false;
  bool isReaped_ = false;
  std::optional<int> status_;
  std::optional<ProcessResult::Ending> ending_;  // why it must be killed
};

}  // namespace

ProcessResult SystemProcessRunner::run(const ProcessRequest& request) {
  return Run(request, ended_).perform();
}

}  // namespace moxtel
