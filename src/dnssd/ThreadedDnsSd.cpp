#include "dnssd/ThreadedDnsSd.h"

#include <csignal>
#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace moxtel {

// What the thread uses. It keeps this alive by itself, should the owner not wait for it.
struct ThreadedDnsSd::Inside {
  AvahiLoop loop;
  std::unique_ptr<DnsSd> backEnd;  // on the thread only
  std::promise<void> ended;
};

// The way back to the caller's loop, until the caller closes it.
class ThreadedDnsSd::WayBack {
 public:
  explicit WayBack(EventLoop& loop) : loop_(&loop) {}
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

namespace {

void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

// An object of the back end: made, and destroyed, by posting to its thread.
template <class Object>
class ThreadedDnsSd::Remote {
 public:
  explicit Remote(std::shared_ptr<Inside> inside) : inside_(std::move(inside)) {}
  ~Remote() {
    inside_->loop.post([object = std::move(object_)] { object->reset(); });
  }
  Remote(const Remote&) = delete;
  Remote& operator=(const Remote&) = delete;

  template <class Make>
  void make(Make make) {
    inside_->loop.post([inside = inside_.get(), object = object_, make = std::move(make)] {
      if (inside->backEnd) *object = make(*inside->backEnd);
    });
  }

  // Destroys the object, and waits until what it left to be sent is sent: the second task runs on a later
  // round of the poll than the first, after the timers that were due.
  void destroyAndWait(EventLoop::Duration patience) {
    auto sent = std::make_shared<std::promise<void>>();
    const std::future<void> done = sent->get_future();
    inside_->loop.post([loop = &inside_->loop, object = object_, sent = std::move(sent)] {
      object->reset();
      loop->post([sent] { sent->set_value(); });
    });
    done.wait_for(patience);
  }

 private:
  std::shared_ptr<Inside> inside_;
  std::shared_ptr<std::unique_ptr<Object>> object_ = std::make_shared<std::unique_ptr<Object>>();
};

class ThreadedDnsSd::ThreadedPublication final : public Publication {
 public:
  ThreadedPublication(const std::shared_ptr<Inside>& inside, std::shared_ptr<WayBack> wayBack,
                      EventLoop::Duration patience, const ServiceDescription& service,
                      PublicationChanged changed)
      : changed_(std::make_shared<PublicationChanged>(std::move(changed))),
        patience_(patience),
        remote_(inside) {
    const auto told = [wayBack = std::move(wayBack),
                       weak = std::weak_ptr(changed_)](const PublicationState& state) {
      wayBack->post([weak, state] {
        const auto function = weak.lock();
        if (function && *function) (*function)(state);
      });
    };
    remote_.make([service, told](DnsSd& backEnd) { return backEnd.publish(service, told); });
  }
  ~ThreadedPublication() override {
    changed_.reset();
    remote_.destroyAndWait(patience_);
  }
  ThreadedPublication(const ThreadedPublication&) = delete;
  ThreadedPublication& operator=(const ThreadedPublication&) = delete;

 private:
  std::shared_ptr<PublicationChanged> changed_;
  const EventLoop::Duration patience_;
  Remote<Publication> remote_;
};

// News wait in one list, so that each but the last of a batch can say that more is coming.
class ThreadedDnsSd::ThreadedBrowser final : public Browser {
 public:
  ThreadedBrowser(const std::shared_ptr<Inside>& inside, const std::shared_ptr<WayBack>& wayBack,
                  const std::string& type, BrowserEvents events)
      : events_(std::make_shared<BrowserEvents>(std::move(events))), remote_(inside) {
    const auto inbox = std::make_shared<Inbox>();
    const auto teller = [wayBack, inbox, weak = std::weak_ptr(events_)](bool found) {
      return [wayBack, inbox, weak, found](const std::string& name, bool moreComing) {
        if (inbox->put({name, found, moreComing})) wayBack->post([inbox, weak] { deliver(*inbox, weak); });
      };
    };
    const BrowserEvents told{teller(true), teller(false)};
    remote_.make([type, told](DnsSd& backEnd) { return backEnd.browse(type, told); });
  }

 private:
  struct News {
    std::string name;
    bool found;
    bool moreComing;
  };
  class Inbox {
   public:
    // Whether the box was empty, and a delivery is to be posted.
    bool put(News item) {
      const std::lock_guard lock(mutex_);
      news_.push_back(std::move(item));
      return news_.size() == 1;
    }
    std::vector<News> take() {
      const std::lock_guard lock(mutex_);
      return std::exchange(news_, {});
    }

   private:
    std::mutex mutex_;
    std::vector<News> news_;
  };

  static void deliver(Inbox& inbox, const std::weak_ptr<BrowserEvents>& weak) {
    const std::vector<News> news = inbox.take();
    for (std::size_t i = 0; i < news.size(); ++i) {
      const auto events = weak.lock();
      if (!events) return;
      const auto& function = news[i].found ? events->found : events->removed;
      if (function) function(news[i].name, news[i].moreComing || i + 1 < news.size());
    }
  }

  std::shared_ptr<BrowserEvents> events_;
  Remote<Browser> remote_;
};

class ThreadedDnsSd::ThreadedResolution final : public Resolution {
 public:
  ThreadedResolution(const std::shared_ptr<Inside>& inside, const std::shared_ptr<WayBack>& wayBack,
                     const std::string& name, const std::string& type, EventLoop::Duration timeout,
                     ResolveEvents events)
      : events_(std::make_shared<ResolveEvents>(std::move(events))), remote_(inside) {
    const ResolveEvents told{[wayBack, weak = std::weak_ptr(events_)](const ResolvedService& service) {
                               wayBack->post([weak, service] {
                                 const auto target = weak.lock();
                                 if (target && target->resolved) target->resolved(service);
                               });
                             },
                             [wayBack, weak = std::weak_ptr(events_)](const std::string& reason) {
                               wayBack->post([weak, reason] {
                                 const auto target = weak.lock();
                                 if (target && target->notResolved) target->notResolved(reason);
                               });
                             }};
    remote_.make(
        [name, type, timeout, told](DnsSd& backEnd) { return backEnd.resolve(name, type, timeout, told); });
  }

 private:
  std::shared_ptr<ResolveEvents> events_;
  Remote<Resolution> remote_;
};

ThreadedDnsSd::ThreadedDnsSd(EventLoop& loop, MakeBackEnd makeBackEnd, AvailabilityChanged changed,
                             EventLoop::Duration patience)
    : patience_(patience),
      changed_(std::make_shared<AvailabilityChanged>(std::move(changed))),
      wayBack_(std::make_shared<WayBack>(loop)),
      inside_(std::make_shared<Inside>()) {
  const AvailabilityChanged told = [wayBack = wayBack_,
                                    weak = std::weak_ptr(changed_)](const Availability& availability) {
    wayBack->post([weak, availability] {
      const auto function = weak.lock();
      if (function && *function) (*function)(availability);
    });
  };
  inside_->loop.post([inside = inside_.get(), makeBackEnd = std::move(makeBackEnd), told] {
    inside->backEnd = makeBackEnd(inside->loop, told);
  });
  thread_ = std::thread([inside = inside_] {
    blockSignals();
    inside->loop.run();
    inside->ended.set_value();
  });
}

ThreadedDnsSd::~ThreadedDnsSd() {
  wayBack_->close();
  inside_->loop.post([inside = inside_.get()] {
    inside->backEnd.reset();
    inside->loop.quit();
  });
  if (inside_->ended.get_future().wait_for(patience_) == std::future_status::ready) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

std::unique_ptr<Publication> ThreadedDnsSd::publish(const ServiceDescription& service,
                                                    PublicationChanged changed) {
  return std::make_unique<ThreadedPublication>(inside_, wayBack_, patience_, service, std::move(changed));
}

std::unique_ptr<Browser> ThreadedDnsSd::browse(const std::string& type, BrowserEvents events) {
  return std::make_unique<ThreadedBrowser>(inside_, wayBack_, type, std::move(events));
}

std::unique_ptr<Resolution> ThreadedDnsSd::resolve(const std::string& name, const std::string& type,
                                                   EventLoop::Duration timeout, ResolveEvents events) {
  return std::make_unique<ThreadedResolution>(inside_, wayBack_, name, type, timeout, std::move(events));
}

}  // namespace moxtel
