#include "app/ConnectionLines.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/system/HostNames.h"
#include "platform/system/LogText.h"
#include "value/Format.h"

namespace moxtel {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::string shortHostName(const std::optional<std::string>& hostName, const std::string& address) {
  if (!hostName) return address.empty() ? "<unknown>" : address;
  const std::size_t dot = hostName->find('.');
  return dot != std::string::npos && dot > 0 ? hostName->substr(0, dot) : *hostName;
}

struct Event {
  enum class Kind : unsigned char { Connected, Disconnected, Forget };
  Kind kind = Kind::Forget;
  std::string address;
  std::optional<std::string> hostName;
  bool isNameKnown = true;  // as far as it ever will be
  SteadyClock::time_point deadline;
};

}  // namespace

struct ConnectionLines::State {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::shared_ptr<Event>> events;
  std::map<std::string, std::string> clientDict;  // address → short name
  bool isEnding = false;

  void add(std::shared_ptr<Event> event);
  void setName(Event& event, std::optional<std::string> hostName);
  std::shared_ptr<Event> next();
  std::optional<std::string> apply(const Event& event);
};

void ConnectionLines::State::add(std::shared_ptr<Event> event) {
  const std::lock_guard lock(mutex);
  events.push_back(std::move(event));
  changed.notify_one();
}

void ConnectionLines::State::setName(Event& event, std::optional<std::string> hostName) {
  const std::lock_guard lock(mutex);
  event.hostName = std::move(hostName);
  event.isNameKnown = true;
  changed.notify_one();
}

// The next event, once its name is known or its time is over. Null at the end.
std::shared_ptr<Event> ConnectionLines::State::next() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return !events.empty() || isEnding; });
  if (events.empty()) return nullptr;
  auto event = std::move(events.front());
  events.pop_front();
  changed.wait_until(lock, event->deadline, [&] { return event->isNameKnown || isEnding; });
  return event;
}

// The line to show, if any.
std::optional<std::string> ConnectionLines::State::apply(const Event& event) {
  const std::lock_guard lock(mutex);
  if (event.kind == Event::Kind::Forget) {
    clientDict.clear();
    return std::nullopt;
  }
  if (event.kind == Event::Kind::Connected) {
    const std::string name = clientDict[event.address] = shortHostName(event.hostName, event.address);
    return format("Connected to Moxtel on '%@'", loggedText(name));
  }
  // The name is certain only if exactly one client is known.
  if (clientDict.size() != 1) return "Lost connection to Moxtel";
  const std::string name = clientDict.begin()->second;
  clientDict.clear();
  return format("Lost connection to Moxtel on '%@'", loggedText(name));
}

ConnectionLines::ConnectionLines(Show show, HostLookup lookUp, std::chrono::milliseconds limit)
    : show_(std::move(show)),
      lookUp_(std::move(lookUp)),
      limit_(limit),
      state_(std::make_shared<State>()),
      thread_([this] { run(); }) {}

ConnectionLines::~ConnectionLines() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->isEnding = true;
    state_->changed.notify_one();
  }
  thread_.join();
}

void ConnectionLines::run() {
  while (const auto event = state_->next()) {
    if (const auto line = state_->apply(*event)) show_(*line);
  }
}

void ConnectionLines::connected(const std::string& address, std::optional<std::string> hostName) {
  const auto event = std::make_shared<Event>(
      Event{Event::Kind::Connected, address, std::move(hostName), true, SteadyClock::now() + limit_});
  if (!event->hostName) {
    event->isNameKnown = false;
    const bool isAsked = ask([lookUp = lookUp_, address] { return lookUp(address); },
                             [state = state_, event](std::optional<std::string> answer) {
                               state->setName(*event, std::move(answer));
                             });
    if (!isAsked) state_->setName(*event, std::nullopt);
  }
  state_->add(event);
}

void ConnectionLines::disconnected() {
  state_->add(std::make_shared<Event>(Event{Event::Kind::Disconnected, {}, {}, true, {}}));
}

void ConnectionLines::forgetClients() {
  state_->add(std::make_shared<Event>(Event{Event::Kind::Forget, {}, {}, true, {}}));
}

std::optional<std::string> ConnectionLines::client() const {
  const std::lock_guard lock(state_->mutex);
  if (state_->clientDict.empty()) return std::nullopt;
  return state_->clientDict.begin()->second;
}

}  // namespace moxtel
