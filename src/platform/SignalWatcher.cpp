#include "platform/SignalWatcher.h"

#include <signal.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "platform/Pipe.h"
#include "platform/QtThread.h"
#include "platform/SystemLog.h"

namespace moxtel {

namespace {

// What the handler, which may run at any moment, can reach.
std::atomic<int> handlerPipe{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int signal) {
  const int before = errno;
  const auto number = static_cast<unsigned char>(signal);
  // A full pipe holds signals enough.
  static_cast<void>(!::write(handlerPipe, &number, 1));
  errno = before;
}

}  // namespace

class SignalWatcher::Implementation {
 public:
  Implementation(const std::vector<int>& signals, std::function<void(int)> told)
      : pipe_(makePipe(PipeBlocking::NonBlocking)),
        told_(std::move(told)),
        notifier_(pipe_.readEnd.get(), QSocketNotifier::Read) {
    if (!pipe_.readEnd) throw std::runtime_error("no pipe for signals");
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] { read(); });
    handlerPipe = pipe_.writeEnd.get();
    for (const int signal : signals) watch(signal);
  }
  ~Implementation() {
    for (const auto& [signal, action] : before_) ::sigaction(signal, &action, nullptr);
    handlerPipe = -1;
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

  void read() {
    std::array<unsigned char, 64> signals{};
    const ssize_t count = ::read(pipe_.readEnd.get(), signals.data(), signals.size());
    const auto told = told_;  // the call may destroy this watcher
    for (ssize_t i = 0; i < count; ++i) runLogged([&] { told(signals[static_cast<std::size_t>(i)]); });
  }

  Pipe pipe_;
  std::function<void(int)> told_;
  QSocketNotifier notifier_;
  std::vector<std::pair<int, struct sigaction>> before_;
};

std::vector<int> SignalWatcher::usualSignals() { return {SIGTERM, SIGINT, SIGHUP, SIGUSR1}; }

SignalWatcher::SignalWatcher(const std::vector<int>& signals, std::function<void(int)> told) {
  prepareQtThread();
  implementation_ = std::make_unique<Implementation>(signals, std::move(told));
}

SignalWatcher::~SignalWatcher() = default;

}  // namespace moxtel
