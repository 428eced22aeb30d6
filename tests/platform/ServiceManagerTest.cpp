#include "platform/system/ServiceManager.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/system/Watchdog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

// The socket on which a service manager listens; "@name" is an abstract one, outside the file system.
class Manager final {
 public:
  explicit Manager(const std::string& name) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + name);
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), size) != 0)
      throw std::runtime_error("cannot bind " + name);
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~Manager() {
    ::unsetenv("NOTIFY_SOCKET");
    ::close(socket_);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  // The next datagram; "nothing" when there is none.
  std::string received() {
    std::array<char, 256> text{};
    const ssize_t size = ::recv(socket_, text.data(), text.size(), 0);
    return size < 0 ? "nothing" : std::string(text.data(), static_cast<std::size_t>(size));
  }

 private:
  int socket_;
};

class ServiceManagerTest : public testing::Test {
 public:
  ~ServiceManagerTest() override { ::unsetenv("NOTIFY_SOCKET"); }

 protected:
  std::string path(const std::string& name) const { return (folder.path() / name).string(); }
  const TemporaryFolder folder;
};

TEST_F(ServiceManagerTest, getsEachStateInItsOwnDatagram) {
  Manager manager(path("notify"));
  EXPECT_TRUE(notifyServiceManager("READY=1"));
  EXPECT_TRUE(notifyServiceManager("STOPPING=1"));
  EXPECT_EQ(manager.received(), "READY=1");
  EXPECT_EQ(manager.received(), "STOPPING=1");
  EXPECT_EQ(manager.received(), "nothing");
}

TEST_F(ServiceManagerTest, mayHaveAnAbstractSocketName) {
  Manager manager("@moxtel-service-manager-test-" + std::to_string(::getpid()));
  EXPECT_TRUE(notifyServiceManager("READY=1"));
  EXPECT_EQ(manager.received(), "READY=1");
}

TEST_F(ServiceManagerTest, mayBeMissing) {
  ::unsetenv("NOTIFY_SOCKET");
  EXPECT_TRUE(notifyServiceManager("READY=1"));
  ::setenv("NOTIFY_SOCKET", "", 1);
  EXPECT_TRUE(notifyServiceManager("READY=1"));
}

TEST_F(ServiceManagerTest, mayHaveEnded) {
  ::setenv("NOTIFY_SOCKET", path("nobody").c_str(), 1);
  EXPECT_FALSE(notifyServiceManager("READY=1"));
}

TEST_F(ServiceManagerTest, mustHaveANameThatFitsAnAddress) {
  ::setenv("NOTIFY_SOCKET", ("/" + std::string(sizeof(sockaddr_un::sun_path), 'x')).c_str(), 1);
  EXPECT_FALSE(notifyServiceManager("READY=1"));
  // The longest that does.
  ::setenv("NOTIFY_SOCKET", "", 1);
  const std::string longest =
      "@" + std::string(sizeof(sockaddr_un::sun_path) - 2 - std::to_string(::getpid()).size(), 'x') +
      std::to_string(::getpid());
  Manager manager(longest);
  EXPECT_TRUE(notifyServiceManager("READY=1"));
  EXPECT_EQ(manager.received(), "READY=1");
}

class WatchdogTest : public ServiceManagerTest {
 protected:
  WatchdogTest() { ::setenv("WATCHDOG_USEC", "100000000", 1); }
  ~WatchdogTest() override {
    ::unsetenv("WATCHDOG_USEC");
    ::unsetenv("WATCHDOG_PID");
  }
  FakeEventLoop loop;
};

TEST_F(WatchdogTest, getsTenSignsOfLifeInItsTime) {
  Manager manager(path("notify"));
  const Watchdog watchdog(loop);
  EXPECT_EQ(manager.received(), "nothing") << "before the loop runs";
  for (int i = 0; i < 10; ++i) {
    loop.advance(std::chrono::seconds(10));
    EXPECT_EQ(manager.received(), "WATCHDOG=1");
    EXPECT_EQ(manager.received(), "nothing");
  }
}

TEST_F(WatchdogTest, getsNothingFromALoopThatHangs) {
  Manager manager(path("notify"));
  const Watchdog watchdog(loop);
  EXPECT_EQ(loop.timers(), 1u) << "its only source";
  EXPECT_EQ(manager.received(), "nothing");
}

TEST_F(WatchdogTest, isThatOfThisProcess) {
  EXPECT_EQ(watchdogLimit(), std::chrono::seconds(100));
  ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
  EXPECT_EQ(watchdogLimit(), std::chrono::seconds(100));
  ::setenv("WATCHDOG_PID", std::to_string(::getpid() + 1).c_str(), 1);
  EXPECT_EQ(watchdogLimit(), std::nullopt);
  const Watchdog watchdog(loop);
  EXPECT_EQ(loop.timers(), 0u);
}

TEST_F(WatchdogTest, mayBeMissing) {
  for (const char* text : {"", "0", "-5", "x"}) {
    ::setenv("WATCHDOG_USEC", text, 1);
    EXPECT_EQ(watchdogLimit(), std::nullopt) << text;
  }
  ::unsetenv("WATCHDOG_USEC");
  EXPECT_EQ(watchdogLimit(), std::nullopt);
}

TEST_F(WatchdogTest, countsProgressAsASignOfLifeButNotEachTime) {
  Manager manager(path("notify"));
  for (int i = 0; i < 1000; ++i) reportProgress();
  EXPECT_EQ(manager.received(), "WATCHDOG=1");
  EXPECT_EQ(manager.received(), "nothing");
}

TEST(KindOfOutput, knowsTheJournalByItsStream) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
  struct stat status {};
  ASSERT_EQ(::fstat(::fileno(file.get()), &status), 0);
  ::unsetenv("JOURNAL_STREAM");
  EXPECT_EQ(kindOfOutput(file.get()), OutputKind::Plain);
  ::setenv("JOURNAL_STREAM", "1:1", 1);
  EXPECT_EQ(kindOfOutput(file.get()), OutputKind::Plain);
  ::setenv("JOURNAL_STREAM", (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(),
           1);
  EXPECT_EQ(kindOfOutput(file.get()), OutputKind::Journal);
}

}  // namespace
}  // namespace moxtel
