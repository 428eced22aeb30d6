#include "platform/loop/SignalWatcher.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/process/Pipe.h"
#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

constexpr int kTries = 1000;

// The signal handler, which may run at any moment, writes to this descriptor.
std::atomic<int> handlerPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int signal) {
  const int before = errno;
  const auto number = static_cast<unsigned char>(signal);
  // A full pipe holds enough signals. After any other failure, such as lack of memory, the write is repeated:
  // a server whose signal is lost would not end.
  for (int i = 0; i < kTries && ::write(handlerPipe, &number, 1) < 0 && errno != EAGAIN; ++i) {
  }
  errno = before;
}

constexpr unsigned char kNoSignal = 0;

}  // namespace

class SignalWatcher::Implementation {
 public:
  using Handler = std::function<void(int)>;

  Implementation(const std::vector<int>& signals, Post post, Handler handle, Handler handleAtOnce)
      : post_(std::move(post)),
        handle_(std::make_shared<Handler>(std::move(handle))),
        handleAtOnce_(std::move(handleAtOnce)) {
    if (!pipe_.readEnd) throw std::runtime_error("no pipe for signals");
    thread_ = std::thread([this] { run(); });
    handlerPipe = pipe_.writeEnd.get();
    for (const int signal : signals) watch(signal);
  }
  ~Implementation() {
    for (const auto& [signal, action] : before_) ::sigaction(signal, &action, nullptr);
    handlerPipe = -1;
    while (::write(pipe_.writeEnd.get(), &kNoSignal, 1) < 0) std::this_thread::yield();
    thread_.join();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

 private:
  void watch(int signal) {
    struct sigaction action {};
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART;
    ::sigemptyset(&action.sa_mask);
    struct sigaction before {};
    if (::sigaction(signal, &action, &before) == 0) before_.emplace_back(signal, before);
  }

  // This and the following run on the watcher's thread.
  void run() {
    for (unsigned char signal = nextSignal(); signal != kNoSignal; signal = nextSignal()) {
      if (handleAtOnce_) runLogged([&] { handleAtOnce_(signal); });
      post_([signal, weak = std::weak_ptr(handle_)] {
        // A reference is held: the call may destroy this watcher.
        if (const auto handle = weak.lock()) runLogged([&] { (*handle)(signal); });
      });
    }
  }

  unsigned char nextSignal() {
    unsigned char signal = kNoSignal;
    while (::read(pipe_.readEnd.get(), &signal, 1) != 1) {
      pollfd source{pipe_.readEnd.get(), POLLIN, 0};
      ::poll(&source, 1, -1);
    }
    return signal;
  }

  const Pipe pipe_ = makePipe(PipeBlocking::NonBlocking);
  const Post post_;
  const std::shared_ptr<Handler> handle_;
  const Handler handleAtOnce_;
  std::thread thread_;
  std::vector<std::pair<int, struct sigaction>> before_;
};

std::vector<int> SignalWatcher::usualSignals() { return {SIGTERM, SIGINT, SIGHUP, SIGUSR1}; }

SignalWatcher::SignalWatcher(const std::vector<int>& signals, Post post, std::function<void(int)> handle,
                             std::function<void(int)> handleAtOnce)
    : implementation_(std::make_unique<Implementation>(signals, std::move(post), std::move(handle),
                                                       std::move(handleAtOnce))) {}

SignalWatcher::~SignalWatcher() = default;

}  // namespace moxtel
