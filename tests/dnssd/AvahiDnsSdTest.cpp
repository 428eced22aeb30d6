#include "dnssd/AvahiDnsSd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using State = AvahiEngine::State;
using ServiceState = AvahiServiceHandle::State;
using Seen = AvahiEngine::Sighting::Kind;
using Family = AvahiEngine::Family;

// An Avahi that does what the test says. Its lists live in Script, for the engine dies with the back end.
struct Script {
  AvahiEngine::StateChanged changed;
  AvahiEngine::ServiceChanged service;
  AvahiEngine::Sighted sighted;
  std::map<Family, AvahiEngine::Answered> answered;
  std::vector<std::string> added;
  int services = 0;   // alive
  int browsers = 0;   // alive
  int resolvers = 0;  // alive
  int resolved = 0;   // ever
  bool refusing = false;
};

template <class Base>
struct Counted : Base {
  explicit Counted(int& number) : count(number) { ++count; }
  ~Counted() override { --count; }
  int& count;
};

struct ScriptedService : Counted<AvahiServiceHandle> {
  explicit ScriptedService(Script& s) : Counted(s.services), script(s) {}
  void add(const std::string& name, const std::string& type, std::uint16_t) override {
    script.added.push_back(name + " " + type);
  }
  Script& script;
};

struct ScriptedEngine : AvahiEngine {
  explicit ScriptedEngine(Script& s) : script(s) {}
  std::unique_ptr<AvahiServiceHandle> service(ServiceChanged changed, std::string& reason) override {
    if (script.refusing) {
      reason = "Too many objects";
      return nullptr;
    }
    script.service = std::move(changed);
    return std::make_unique<ScriptedService>(script);
  }
  std::unique_ptr<AvahiHandle> browse(const std::string&, Sighted sighted, std::string&) override {
    if (script.refusing) return nullptr;
    script.sighted = std::move(sighted);
    return std::make_unique<Counted<AvahiHandle>>(script.browsers);
  }
  std::unique_ptr<AvahiHandle> resolve(const std::string&, const std::string&, Family family,
                                       Answered answered, std::string&) override {
    script.answered[family] = std::move(answered);
    ++script.resolved;
    return std::make_unique<Counted<AvahiHandle>>(script.resolvers);
  }
  Script& script;
};

struct AvahiDnsSdTest : testing::Test {
  FakeEventLoop loop;
  Script script;
  std::vector<std::string> told;
  std::vector<Availability::Kind> available;
  AvahiDnsSd dnsSd{loop, "fake Avahi",
                   [this](AvahiEngine::StateChanged changed, std::string&) {
                     script.changed = std::move(changed);
                     return std::make_unique<ScriptedEngine>(script);
                   },
                   [this](const Availability& availability) { available.push_back(availability.kind); }};

  std::unique_ptr<Publication> publish(const std::string& name = "Photos") {
    auto publication = dnsSd.publish({name, "_x._tcp.", 1}, [this](const PublicationState& state) {
      const char* const names[] = {"pending", "published", "renamed", "failed"};
      told.push_back(std::string(names[static_cast<int>(state.kind)]) + " " + state.name + ", " +
                     state.detail);
    });
    loop.advance(0ms);
    return publication;
  }
  std::unique_ptr<Browser> browse() {
    auto browser =
        dnsSd.browse("_x._tcp.", {[this](const std::string& name, bool) { told.push_back("+" + name); },
                                  [this](const std::string& name, bool) { told.push_back("-" + name); }});
    loop.advance(0ms);
    return browser;
  }
  std::unique_ptr<Resolution> resolve() {
    auto resolution = dnsSd.resolve("Photos", "_x._tcp.", 5s,
                                    {[this](const ResolvedService& service) {
                                       std::string line =
                                           service.hostName + ":" + std::to_string(service.port);
                                       for (const auto& address : service.addresses) line += " " + address;
                                       told.push_back(line);
                                     },
                                     [this](const std::string& reason) { told.push_back(reason); }});
    loop.advance(0ms);
    return resolution;
  }
  void run() { script.changed(State::Running, ""); }
  void answer(Family family, const std::string& address) {
    script.answered[family]({true, "nas.local", address, 4250, ""});
  }
  void noAnswer(Family family) { script.answered[family]({false, "", "", 0, "Timeout reached"}); }
  void sight(Seen kind, int interface, int protocol, const std::string& name) {
    script.sighted({kind, interface, protocol, name});
  }
};

TEST_F(AvahiDnsSdTest, publishesOnceTheEngineRuns) {
  const auto publication = publish();
  EXPECT_THAT(script.added, IsEmpty());
  script.changed(State::Registering, "the host name is being registered");
  EXPECT_THAT(script.added, IsEmpty());
  run();
  EXPECT_THAT(script.added, ElementsAre("Photos _x._tcp"));
  script.service(ServiceState::Established, "");
  EXPECT_EQ(told.back(), "published Photos, fake Avahi");
}

TEST_F(AvahiDnsSdTest, publishesAnewWhenTheHostNameChanges) {
  const auto publication = publish();
  run();
  script.service(ServiceState::Established, "");
  script.changed(State::Registering, "the host name is being registered");
  EXPECT_EQ(script.services, 0);
  EXPECT_EQ(told.back(), "pending Photos, the host name is being registered");
  run();
  EXPECT_EQ(script.added.size(), 2U);
  EXPECT_EQ(script.services, 1);
}

TEST_F(AvahiDnsSdTest, takesTheNextNameAfterAConflict) {
  const auto publication = publish();
  run();
  script.service(ServiceState::Collision, "");
  script.service(ServiceState::Collision, "");
  script.service(ServiceState::Established, "");
  EXPECT_THAT(script.added, ElementsAre("Photos _x._tcp", "Photos #2 _x._tcp", "Photos #3 _x._tcp"));
  EXPECT_THAT(told.back(), "renamed Photos #3, fake Avahi");
  EXPECT_EQ(script.services, 1);
}

TEST_F(AvahiDnsSdTest, slowsDownAgainstANeighbourThatClaimsEveryName) {
  const auto publication = publish();
  run();
  for (int i = 0; i < 10; ++i) script.service(ServiceState::Collision, "");
  EXPECT_EQ(script.added.size(), 11U);
  script.service(ServiceState::Collision, "");
  loop.advance(4999ms);
  EXPECT_EQ(script.added.size(), 11U);
  loop.advance(1ms);
  EXPECT_EQ(script.added.size(), 12U);
}

TEST_F(AvahiDnsSdTest, triesAFailedPublicationAgainSilently) {
  const auto publication = publish();
  run();
  script.service(ServiceState::Failed, "Invalid service type");
  EXPECT_EQ(told.back(), "failed Photos, Invalid service type");
  EXPECT_EQ(script.services, 0);
  const std::size_t before = told.size();
  loop.advance(30s);
  EXPECT_EQ(script.services, 1);
  script.service(ServiceState::Failed, "Invalid service type");
  EXPECT_EQ(told.size(), before);
  loop.advance(30s);
  script.service(ServiceState::Established, "");
  EXPECT_EQ(told.back(), "published Photos, fake Avahi");
}

TEST_F(AvahiDnsSdTest, tellsThatTheEngineRefuses) {
  script.refusing = true;
  const auto publication = publish();
  run();
  EXPECT_EQ(told.back(), "failed Photos, Too many objects");
}

TEST_F(AvahiDnsSdTest, cutsTheNameItPublishes) {
  const auto publication = publish(std::string(70, 'x'));
  run();
  EXPECT_THAT(script.added, ElementsAre(std::string(63, 'x') + " _x._tcp"));
  script.service(ServiceState::Established, "");
  EXPECT_EQ(told.back(), "published " + std::string(63, 'x') + ", fake Avahi");
}

TEST_F(AvahiDnsSdTest, tellsAServiceOnceHoweverOftenItIsSeen) {
  const auto browser = browse();
  script.changed(State::Registering, "");
  ASSERT_EQ(script.browsers, 1);
  sight(Seen::Seen, 1, 0, "Photos");
  sight(Seen::Seen, 1, 1, "Photos");
  sight(Seen::Seen, 2, 0, "Photos");
  sight(Seen::Seen, 2, 0, "Photos");
  EXPECT_THAT(told, ElementsAre("+Photos"));
  sight(Seen::Gone, 1, 0, "Photos");
  sight(Seen::Gone, 1, 1, "Photos");
  sight(Seen::Gone, 1, 1, "Photos");
  EXPECT_EQ(told.size(), 1U);
  sight(Seen::Gone, 2, 0, "Photos");
  EXPECT_THAT(told, ElementsAre("+Photos", "-Photos"));
  sight(Seen::Gone, 2, 0, "Photos");
  sight(Seen::Gone, 3, 0, "Never seen");
  EXPECT_EQ(told.size(), 2U);
}

TEST_F(AvahiDnsSdTest, browsesAnewAfterAFailure) {
  run();
  const auto browser = browse();
  sight(Seen::Failed, 0, 0, "");
  EXPECT_EQ(script.browsers, 0);
  loop.advance(5s);
  EXPECT_EQ(script.browsers, 1);
}

TEST_F(AvahiDnsSdTest, removesAfterAFailureWhatIsNotSeenAnyMore) {
  run();
  const auto browser = browse();
  sight(Seen::Seen, 1, 0, "Photos");
  sight(Seen::Seen, 1, 0, "Old photos");
  sight(Seen::Failed, 0, 0, "");
  loop.advance(5s);
  sight(Seen::Seen, 2, 0, "Photos");
  sight(Seen::Seen, 2, 0, "New photos");
  EXPECT_THAT(told, ElementsAre("+Photos", "+Old photos", "+New photos"));
  loop.advance(5s);
  EXPECT_THAT(told, ElementsAre("+Photos", "+Old photos", "+New photos", "-Old photos"));
  // On the interface of before it is gone since the failure.
  sight(Seen::Gone, 2, 0, "Photos");
  EXPECT_EQ(told.back(), "-Photos");
}

TEST_F(AvahiDnsSdTest, remembersOverSeveralFailuresWhatItHasTold) {
  run();
  auto browser = browse();
  sight(Seen::Seen, 1, 0, "Photos");
  sight(Seen::Failed, 0, 0, "");
  script.refusing = true;
  loop.advance(60s);
  script.refusing = false;
  loop.advance(5s);
  sight(Seen::Failed, 0, 0, "");
  loop.advance(9s);
  EXPECT_THAT(told, ElementsAre("+Photos"));
  sight(Seen::Seen, 1, 0, "Photos");
  loop.advance(60s);
  EXPECT_THAT(told, ElementsAre("+Photos"));
}

TEST_F(AvahiDnsSdTest, mayBeDestroyedWhenItTellsWhatIsNotSeenAnyMore) {
  run();
  std::unique_ptr<Browser> browser;
  browser = dnsSd.browse("_x._tcp.", {{}, [&](const std::string& name, bool) {
                                        told.push_back("-" + name);
                                        browser.reset();
                                      }});
  loop.advance(0ms);
  sight(Seen::Seen, 1, 0, "A");
  sight(Seen::Seen, 1, 0, "B");
  sight(Seen::Failed, 0, 0, "");
  loop.advance(10s);
  EXPECT_THAT(told, ElementsAre("-A"));
}

TEST_F(AvahiDnsSdTest, answersWithIPv4First) {
  run();
  const auto resolution = resolve();
  EXPECT_EQ(script.resolvers, 2);
  answer(Family::IPv6, "fe80::1");
  EXPECT_THAT(told, IsEmpty());
  answer(Family::IPv4, "10.0.0.1");
  EXPECT_THAT(told, ElementsAre("nas.local:4250 10.0.0.1 fe80::1"));
  EXPECT_EQ(script.resolvers, 0);
  loop.advance(10s);
  EXPECT_EQ(told.size(), 1U);
}

TEST_F(AvahiDnsSdTest, answersWithIPv6AloneAfterTwoLookUpsForIPv4) {
  run();
  const auto resolution = resolve();
  answer(Family::IPv6, "fe80::1");
  noAnswer(Family::IPv4);
  EXPECT_THAT(told, IsEmpty());
  loop.advance(200ms);
  noAnswer(Family::IPv4);
  EXPECT_THAT(told, ElementsAre("nas.local:4250 fe80::1"));
}

TEST_F(AvahiDnsSdTest, asksAgainUntilTheTimeIsUp) {
  run();
  const auto resolution = resolve();
  for (int i = 0; i < 4; ++i) {
    noAnswer(Family::IPv4);
    noAnswer(Family::IPv6);
    loop.advance(1s);
  }
  EXPECT_EQ(script.resolved, 10);
  EXPECT_THAT(told, IsEmpty());
  loop.advance(1s);
  EXPECT_THAT(told, ElementsAre("Timeout reached"));
  EXPECT_EQ(script.resolvers, 0);
}

TEST_F(AvahiDnsSdTest, timesOutWithoutAnEngineToAsk) {
  const auto resolution = resolve();
  loop.advance(5s);
  EXPECT_THAT(told, ElementsAre("Timeout reached"));
}

TEST_F(AvahiDnsSdTest, tellsWhetherItCanServe) {
  script.changed(State::Connecting, "no Avahi daemon runs");
  script.changed(State::Registering, "");
  run();
  script.changed(State::Failed, "Daemon connection failed");
  using K = Availability::Kind;
  EXPECT_THAT(available, ElementsAre(K::Waiting, K::Available, K::Available, K::Gone));
}

TEST(AvahiDnsSd, isGoneAtOnceWithoutAnEngine) {
  FakeEventLoop loop;
  std::vector<std::string> told;
  const AvahiDnsSd dnsSd(
      loop, "fake Avahi",
      [](const AvahiEngine::StateChanged&, std::string& reason) {
        reason = "no bus";
        return std::unique_ptr<AvahiEngine>();
      },
      [&](const Availability& availability) {
        EXPECT_EQ(availability.kind, Availability::Kind::Gone);
        told.push_back(availability.reason);
      });
  EXPECT_THAT(told, IsEmpty());
  loop.runPosted();
  EXPECT_THAT(told, ElementsAre("no bus"));
}

}  // namespace
}  // namespace moxtel
