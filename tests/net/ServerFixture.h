// A running server on a free port of this machine. Records its notifications; tests can wait for them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "log/Log.h"
#include "net/QVSocketServer.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/FakeDnsSd.h"
#include "tests/net/RawClient.h"

namespace moxtel {

// Events in their order, added by any thread.
template <class Event>
class Happenings {
 public:
  void add(Event event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }
  // Waits until there are `count` events; false after 20 seconds.
  bool waitFor(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return events_.size() >= count; });
  }
  std::vector<Event> all() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }
  std::size_t count() const { return all().size(); }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
};

// pass() waits until any thread calls open(); false after 20 seconds.
class Gate {
 public:
  void open() { happened_.add(true); }
  bool pass() { return happened_.waitFor(1); }

 private:
  Happenings<bool> happened_;
};

class ServerFixture : public testing::Test {
 protected:
  ServerFixture() {
    setDebugLevel(2);
    center.addObserver("ChangedConnection", [this](const Notification& n) {
      events.add(n.userInfo.isNil() ? "gone" : "came");
      changes.add(n);
    });
    center.addObserver("GotData", [this](const Notification& n) {
      // Copied before the chunk is recorded: a test that waits for the chunk may set the next handler.
      const auto handler = handlerOfData();
      events.add("data");
      chunks.add(n.userInfo["data"].data());
      if (handler) handler(n);
    });
  }
  ~ServerFixture() override {
    if (server) server->stop();
    server.reset();
    setDebugLevel(0);
  }

  // Sets the handler of the next chunks; it runs on the accept thread.
  void onData(std::function<void(const Notification&)> handler) {
    const std::lock_guard lock(handlerMutex_);
    handler_ = std::move(handler);
  }
  void start(SocketServerLimits limits = {}) {
    server = std::make_unique<QVSocketServer>(center, &publisher, limits);
    ASSERT_TRUE(server->startServerOnPort(0, "My Mac", "_moxtelserver._tcp."));
  }
  RawClient connected(int receiveBuffer = 0) {
    const std::size_t before = changes.count();
    RawClient client = RawClient::to(server->port(), receiveBuffer);
    EXPECT_TRUE(changes.waitFor(before + 1));
    return client;
  }
  // Expects that a new client gets a reply to its request.
  void expectServesTheNext() {
    onData([this](const Notification&) { server->sendToClientResultObject("next"); });
    RawClient next = RawClient::to(server->port());
    ASSERT_TRUE(next.send("?"));
    EXPECT_EQ(next.readEnvelope()["result"], Value("next"));
  }
  // The index of the first log line with this beginning; the number of lines if there is none.
  std::size_t logPlace(std::string_view beginning) const {
    const auto lines = log.lines();
    const auto found = std::find_if(lines.begin(), lines.end(),
                                    [&](const std::string& line) { return line.starts_with(beginning); });
    return static_cast<std::size_t>(found - lines.begin());
  }
  bool logged(std::string_view beginning) const { return logPlace(beginning) < log.lines().size(); }

  SystemLogCapture log;
  NotificationCenter center;
  FakeDnsSd publisher;
  Happenings<Notification> changes;
  Happenings<Bytes> chunks;
  Happenings<std::string> events;
  Happenings<bool> sent;  // what sending a reply returned
  Gate go;                // holds a handler until the test opens it
  std::unique_ptr<QVSocketServer> server;

 private:
  std::function<void(const Notification&)> handlerOfData() {
    const std::lock_guard lock(handlerMutex_);
    return handler_;
  }
  std::mutex handlerMutex_;
  std::function<void(const Notification&)> handler_;
};

}  // namespace moxtel
