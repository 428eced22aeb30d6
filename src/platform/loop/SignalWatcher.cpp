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

// What the handler, which may run at any moment, can reach.
std::atomic<int> handlerPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int signal) {
  const int before = errno;
  const auto number = static_cast<unsigned char>(signal);
  // A full pipe holds signals enough. Any other failure, as for want of memory, is worth some more tries:
  // with a signal that is lost a server does not end.
  for (int i = 0; i < kTries && ::write(handlerPipe, &number, 1) < 0 && errno != EAGAIN; ++i) {
  }
  errno = before;
}

constexpr unsigned char kNoSignal = 0;

}  // namespace

class SignalWatcher::Implementation {
 public:
  using Told = std::function<void(int)>;

  Implementation(const std::vector<int>& signals, Hop hop, Told told, Told atOnce)
      : hop_(std::move(hop)), told_(std::make_shared<Told>(std::move(told))), atOnce_(std::move(atOnce)) {
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

  // On the watcher's thread, as is what follows.
  void run() {
    for (unsigned char signal = nextSignal(); signal != kNoSignal; signal = nextSignal()) {
      if (atOnce_) runLogged([&] { atOnce_(signal); });
      hop_([signal, weak = std::weak_ptr(told_)] {
        // Held: the call may destroy this watcher.
        if (const auto told = weak.lock()) runLogged([&] { (*told)(signal); });
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
  const Hop hop_;
  const std::shared_ptr<Told> told_;
  const Told atOnce_;
  std::thread thread_;
  std::vector<std::pair<int, struct sigaction>> before_;
};

std::vector<int> SignalWatcher::usualSignals() { return {SIGTERM, SIGINT, SIGHUP, SIGUSR1}; }

SignalWatcher::SignalWatcher(const std::vector<int>& signals, Hop hop, std::function<void(int)> told,
                             std::function<void(int)> atOnce)
    : implementation_(
          std::make_unique<Implementation>(signals, std::move(hop), std::move(told), std::move(atOnce))) {}

SignalWatcher::~SignalWatcher() = default;

}  // namespace moxtel
