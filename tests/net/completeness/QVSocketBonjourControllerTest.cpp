#include "net/completeness/QVSocketBonjourController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log/Log.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/FakeDnsSd.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct QVSocketBonjourControllerTest : testing::Test {
  QVSocketBonjourControllerTest() {
    setDebugLevel(2);  // to the system log
    center.addObserver("BonjourServicesChanged", [this](const Notification& notification) {
      ++changes;
      changed = notification;
    });
    center.addObserver("Announce", [this](const Notification& notification) {
      EXPECT_EQ(notification.object, nullptr);
      announced.emplace_back(notification.userInfo["announcement"].string());
    });
    QVSocketBonjourController::setUp(dnsSd, center);
  }
  ~QVSocketBonjourControllerTest() override {
    QVSocketBonjourController::stop();
    QVSocketBonjourController::setServiceType("");
    setDebugLevel(0);
  }

  std::shared_ptr<QVSocketBonjourController> start() {
    return QVSocketBonjourController::initForServiceType("_x._tcp.", dnsSd, center);
  }
  void appear(const std::string& name, std::vector<std::string> addresses = {"10.0.0.1"},
              const std::string& host = "nas.local") {
    dnsSd.find(name);
    dnsSd.answer({name, host, std::move(addresses), 4250});
  }

  SystemLogCapture log;
  FakeDnsSd dnsSd;
  NotificationCenter center;
  int changes = 0;
  Notification changed;
  std::vector<std::string> announced;
};

TEST_F(QVSocketBonjourControllerTest, createsTheSharedControllerForTheStoredType) {
  QVSocketBonjourController::setServiceType("_moxtelserver._tcp.");
  const auto controller = QVSocketBonjourController::theController();
  EXPECT_THAT(dnsSd.browsedTypes(), ElementsAre("_moxtelserver._tcp."));
  EXPECT_EQ(QVSocketBonjourController::theController(), controller);
  EXPECT_THAT(log.lines(),
              ElementsAre(HasSubstr("ULMBonjourController::initForServiceType '_moxtelserver._tcp.'")));
}

TEST_F(QVSocketBonjourControllerTest, becomesTheSharedControllerWhenItIsCreated) {
  const auto first = start();
  const auto second = start();
  EXPECT_EQ(QVSocketBonjourController::theController(), second);
}

TEST_F(QVSocketBonjourControllerTest, resolvesFoundServicesWithinFiveSeconds) {
  const auto controller = start();
  dnsSd.find("Photos", true);
  EXPECT_THAT(dnsSd.resolvedNames(), ElementsAre("Photos"));
  EXPECT_EQ(dnsSd.lastTimeout(), 5s);
  EXPECT_THAT(log.lines(), Contains(HasSubstr("ULMBonjourController::netServiceBrowser:didFindService "
                                              "'Photos', port -1, moreComing: 1")));
  EXPECT_EQ(changes, 0);
}

TEST_F(QVSocketBonjourControllerTest, recordsAResolvedServer) {
  const auto controller = start();
  appear("Photos.of.Anna", {"fe80::1", "10.0.0.1", "10.0.0.2"});
  const Value expected = Dictionary{{"Photos", Dictionary{{"serviceName", "Photos"},
                                                          {"hostName", "nas.local"},
                                                          {"name", "nas.local"},
                                                          {"address", "10.0.0.1"},
                                                          {"port", 4250}}}};
  EXPECT_EQ(controller->resolvedServers(), expected);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(changed.object, controller.get());
  EXPECT_TRUE(changed.userInfo.isNil());
}

TEST_F(QVSocketBonjourControllerTest, announcesTheLogLineOfAServer) {
  const auto controller = start();
  appear("Photos");
  ASSERT_EQ(announced.size(), 1U);
  EXPECT_EQ(announced[0],
            "ULMBonjourController::netServiceDidResolveAddress, Found server: {\n"
            "    serviceName = Photos;\n"
            "    hostName = nas.local;\n"
            "    name = nas.local;\n"
            "    address = 10.0.0.1;\n"
            "    port = 4250;\n"
            "}");
  EXPECT_THAT(log.lines(), Contains(HasSubstr(announced[0])));
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("ULMBonjourController::netServiceDidResolveAddress: Photos, port 4250")));
}

TEST_F(QVSocketBonjourControllerTest, recordsNoAddressAndPortForIPv6Only) {
  const auto controller = start();
  appear("Photos", {"fe80::1"});
  const Value expected =
      Dictionary{{"serviceName", "Photos"}, {"hostName", "nas.local"}, {"name", "nas.local"}};
  EXPECT_EQ(controller->resolvedServers()["Photos"], expected);
}

TEST_F(QVSocketBonjourControllerTest, recordsOnlyTheServiceNameWithoutAHostName) {
  const auto controller = start();
  appear("Photos", {"10.0.0.1"}, "");
  EXPECT_EQ(controller->resolvedServers()["Photos"], Value(Dictionary{{"serviceName", "Photos"}}));
}

TEST_F(QVSocketBonjourControllerTest, sharesOneRecordBetweenNamesThatDifferAfterTheFirstDot) {
  const auto controller = start();
  appear("Photos.one", {"10.0.0.1"});
  appear("Photos.two", {"10.0.0.2"});
  EXPECT_EQ(controller->resolvedServers().dictionary().size(), 1U);
  EXPECT_EQ(controller->resolvedServers()["Photos"]["address"], Value("10.0.0.2"));
  dnsSd.lose("Photos.one");
  EXPECT_TRUE(controller->resolvedServers().dictionary().empty());
  EXPECT_EQ(changes, 3);
}

TEST_F(QVSocketBonjourControllerTest, keepsANameThatBeginsWithADotUnderAnEmptyOne) {
  const auto controller = start();
  appear(".hidden");
  EXPECT_EQ(controller->resolvedServers()[""]["serviceName"], Value(""));
}

TEST_F(QVSocketBonjourControllerTest, dropsTheServiceItResolvesWhenItFindsAnother) {
  const auto controller = start();
  dnsSd.find("One");
  dnsSd.find("Two");
  EXPECT_THAT(dnsSd.resolvedNames(), ElementsAre("Two"));
}

TEST_F(QVSocketBonjourControllerTest, logsWhenTheLastServerIsRemoved) {
  const auto controller = start();
  appear("One");
  appear("Two");
  dnsSd.lose("One");
  EXPECT_EQ(announced.back(), "ULMBonjourController::netServiceBrowser:didRemoveService: One");
  EXPECT_THAT(log.lines(), Contains(HasSubstr(announced.back())));
  EXPECT_THAT(log.lines(), testing::Not(Contains(HasSubstr("Have no services connected"))));
  dnsSd.lose("Two");
  EXPECT_THAT(log.lines(), Contains(HasSubstr("Have no services connected")));
  EXPECT_EQ(changes, 4);
}

TEST_F(QVSocketBonjourControllerTest, onlyLogsAServiceThatDoesNotResolve) {
  const auto controller = start();
  dnsSd.find("Photos");
  dnsSd.failToResolve("Photos", "Timeout reached");
  EXPECT_THAT(log.lines(), Contains(HasSubstr("ULMBonjourController::netService:didNotResolve, error: {")));
  EXPECT_EQ(changes, 0);
  EXPECT_THAT(announced, IsEmpty());
}

TEST_F(QVSocketBonjourControllerTest, announcesAText) {
  start()->announce("Hello");
  EXPECT_THAT(announced, ElementsAre("Hello"));
}

TEST_F(QVSocketBonjourControllerTest, keepsBrowsingWhileReferencedAfterSuspend) {
  auto controller = start();
  QVSocketBonjourController::suspend();
  appear("Photos");
  EXPECT_EQ(changes, 1);
  EXPECT_NE(QVSocketBonjourController::theController(), controller);
  QVSocketBonjourController::suspend();
  controller.reset();
  EXPECT_THAT(dnsSd.browsedTypes(), IsEmpty());
}

TEST_F(QVSocketBonjourControllerTest, stopsBrowsingEvenWhileReferenced) {
  const auto controller = start();
  appear("Photos");
  QVSocketBonjourController::stop();
  EXPECT_THAT(dnsSd.browsedTypes(), IsEmpty());
  EXPECT_EQ(controller->resolvedServers().dictionary().size(), 1U);
  EXPECT_NE(QVSocketBonjourController::theController(), controller);
}

TEST_F(QVSocketBonjourControllerTest, mayBeDroppedByItsObserver) {
  start();
  center.addObserver("BonjourServicesChanged",
                     [](const Notification&) { QVSocketBonjourController::suspend(); });
  appear("Photos");
  EXPECT_EQ(changes, 1);
  EXPECT_THAT(dnsSd.browsedTypes(), IsEmpty());
}

}  // namespace
}  // namespace moxtel
