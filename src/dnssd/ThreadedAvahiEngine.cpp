#include "dnssd/ThreadedAvahiEngine.h"

#include <future>
#include <mutex>
#include <utility>

#include "platform/process/ThisProcess.h"

namespace moxtel {

namespace {

// The caller's loop, until the caller leaves.
class Home {
 public:
  explicit Home(EventLoop& loop) : loop_(&loop) {}
  void post(EventLoop::Task task) {
    const std::lock_guard lock(mutex_);
    if (loop_) loop_->post(std::move(task));
  }
  void close() {
    const std::lock_guard lock(mutex_);
    loop_ = nullptr;
  }

 private:
  std::mutex mutex_;
  EventLoop* loop_;
};

}  // namespace

// What the thread uses. The thread holds a reference too, because the caller may not wait for its end.
struct ThreadedAvahiEngine::Inside {
  explicit Inside(EventLoop& loopOfCaller) : home(loopOfCaller) {}

  // A function for the thread that calls the caller's one on the caller's thread. The caller alone owns its
  // function, so it neither outlives the caller's object nor is destroyed on this thread.
  template <class News>
  auto atHome(const std::shared_ptr<std::function<void(const News&)>>& function) {
    return [this, weak = std::weak_ptr(function)](const News& news) {
      home.post([weak, news] {
        if (const auto held = weak.lock()) (*held)(news);
      });
    };
  }

  Home home;
  AvahiLoop loop;
  std::unique_ptr<AvahiEngine> engine;  // used on the thread only
  std::promise<void> ended;
};

// An operation of the engine on the thread; the caller owns this.
class ThreadedAvahiEngine::Remote {
 public:
  Remote(std::shared_ptr<Inside> inside, const AvahiRequest& request, Happened happened,
         EventLoop::Duration patience)
      : patience_(patience),
        isService_(request.kind == AvahiRequest::Kind::Service),
        inside_(std::move(inside)),
        happened_(std::make_shared<Happened>(std::move(happened))) {
    inside_->loop.post(
        [inside = inside_.get(), operation = operation_, request, call = inside_->atHome(happened_)] {
          if (inside->engine) *operation = inside->engine->start(request, call);
        });
  }
  // What ending the operation left to be sent is sent when the second task runs: it does so on a later round
  // of the poll than the first.
  ~Remote() {
    auto sent = std::make_shared<std::promise<void>>();
    const std::future<void> done = sent->get_future();
    inside_->loop.post([loop = &inside_->loop, operation = std::move(operation_), sent = std::move(sent)] {
      operation->reset();
      loop->post([sent] { sent->set_value(); });
    });
    if (isService_) done.wait_for(patience_);
  }
  Remote(const Remote&) = delete;
  Remote& operator=(const Remote&) = delete;

 private:
  const EventLoop::Duration patience_;
  const bool isService_;
  const std::shared_ptr<Inside> inside_;
  const std::shared_ptr<Happened> happened_;
  std::shared_ptr<Operation> operation_ = std::make_shared<Operation>();
};

ThreadedAvahiEngine::ThreadedAvahiEngine(EventLoop& home, Make make, StateChanged changed,
                                         EventLoop::Duration patience)
    : patience_(patience),
      changed_(std::make_shared<StateChanged>(std::move(changed))),
      inside_(std::make_shared<Inside>(home)) {
  inside_->loop.post([inside = inside_.get(), make = std::move(make), call = inside_->atHome(changed_)] {
    inside->engine = make(inside->loop, call);
  });
  thread_ = std::thread([inside = inside_] {
    blockSignals();
    inside->loop.run();
    inside->ended.set_value();
  });
}

ThreadedAvahiEngine::~ThreadedAvahiEngine() {
  inside_->home.close();
  inside_->loop.post([inside = inside_.get()] {
    inside->engine.reset();
    inside->loop.quit();
  });
  if (inside_->ended.get_future().wait_for(patience_) == std::future_status::ready) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

AvahiEngine::Operation ThreadedAvahiEngine::start(const AvahiRequest& request, Happened happened) {
  return std::make_shared<Remote>(inside_, request, std::move(happened), patience_);
}

}  // namespace moxtel
