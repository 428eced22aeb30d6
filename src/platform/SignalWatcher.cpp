#include "platform/SignalWatcher.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <thread>
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

constexpr unsigned char kNoSignal = 0;

// Tells signals at once, on its thread, and then hands them on.
class Forerunner final {
 public:
  // Borrows the pipe that the handler writes to.
  Forerunner(const Pipe& from, std::function<void(int)> atOnce)
      : from_(from), atOnce_(std::move(atOnce)), thread_([this] { run(); }) {}
  ~Forerunner() {
    while (::write(from_.writeEnd.get(), &kNoSignal, 1) < 0) std::this_thread::yield();
    thread_.join();
  }
  Forerunner(const Forerunner&) = delete;
  Forerunner& operator=(const Forerunner&) = delete;

  int readDescriptor() const { return to_.readEnd.get(); }

 private:
  void run() {
    for (unsigned char signal = nextSignal(); signal != kNoSignal; signal = nextSignal()) {
      runLogged([&] { atOnce_(signal); });
      static_cast<void>(!::write(to_.writeEnd.get(), &signal, 1));
    }
  }

  unsigned char nextSignal() {
    unsigned char signal = kNoSignal;
    while (::read(from_.readEnd.get(), &signal, 1) != 1) {
      pollfd source{from_.readEnd.get(), POLLIN, 0};
      ::poll(&source, 1, -1);
    }
    return signal;
  }

  const Pipe& from_;
  const Pipe to_ = makePipe(PipeBlocking::NonBlocking);
  const std::function<void(int)> atOnce_;
  std::thread thread_;
};

}  // namespace

class SignalWatcher::Implementation {
 public:
  Implementation(const std::vector<int>& signals, std::function<void(int)> told,
                 std::function<void(int)> atOnce)
      : pipe_(makePipe(PipeBlocking::NonBlocking)),
        told_(std::move(told)),
        forerunner_(atOnce && pipe_.readEnd ? std::make_unique<Forerunner>(pipe_, std::move(atOnce))
                                            : nullptr),
        readDescriptor_(forerunner_ ? forerunner_->readDescriptor() : pipe_.readEnd.get()),
        notifier_(readDescriptor_, QSocketNotifier::Read) {
    if (readDescriptor_ < 0) throw std::runtime_error("no pipe for signals");
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
    const ssize_t count = ::read(readDescriptor_, signals.data(), signals.size());
    const auto told = told_;  // the call may destroy this watcher
    for (ssize_t i = 0; i < count; ++i) runLogged([&] { told(signals[static_cast<std::size_t>(i)]); });
  }

  Pipe pipe_;
  std::function<void(int)> told_;
  std::unique_ptr<Forerunner> forerunner_;  // null when nobody asked for it
  const int readDescriptor_;
  QSocketNotifier notifier_;
  std::vector<std::pair<int, struct sigaction>> before_;
};

std::vector<int> SignalWatcher::usualSignals() { return {SIGTERM, SIGINT, SIGHUP, SIGUSR1}; }

SignalWatcher::SignalWatcher(const std::vector<int>& signals, std::function<void(int)> told,
                             std::function<void(int)> atOnce) {
  prepareQtThread();
  implementation_ = std::make_unique<Implementation>(signals, std::move(told), std::move(atOnce));
}

SignalWatcher::~SignalWatcher() = default;

}  // namespace moxtel
