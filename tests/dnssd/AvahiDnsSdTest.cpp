#include "dnssd/AvahiDnsSd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <system_error>

#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using State = AvahiState::Kind;
using Request = AvahiRequest::Kind;
using Event = AvahiEvent::Kind;

// An engine that does what the test says, as long as the back end keeps it.
struct Script {
  struct Operation {
    explicit Operation(Script& itsScript) : script(itsScript) {}
    ~Operation() { std::erase(script.running, this); }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    Script& script;
    AvahiRequest request;
    AvahiEngine::Happened happened;
  };
  struct Engine final : AvahiEngine {
    explicit Engine(Script& itsScript) : script(itsScript) { ++script.alive; }
    ~Engine() override {
      --script.alive;
      EXPECT_THAT(script.running, IsEmpty()) << "operations are destroyed before their engine";
    }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    AvahiEngine::Operation start(const AvahiRequest& request, Happened happened) override {
      if (request.kind == Request::Service) script.added.push_back(request.name + " " + request.type);
      ++script.started[request.kind];
      auto operation = std::make_shared<Script::Operation>(script);
      operation->request = request;
      operation->happened = std::move(happened);
      script.running.push_back(operation.get());
      return operation;
    }
    Script& script;
  };

  explicit Script(FakeEventLoop& itsLoop) : loop(itsLoop) {}
  AvahiDnsSd::MakeEngine maker() {
    return [this](AvahiEngine::StateChanged function) {
      ++made;
      if (lacking) throw std::system_error(EMFILE, std::generic_category(), "eventfd");
      changed = std::move(function);
      return std::make_unique<Engine>(*this);
    };
  }
  void become(State state, const std::string& reason = "") {
    const auto function = changed;  // the call may make another engine
    function({state, reason});
    loop.advance(0ms);
  }
  std::size_t count(Request kind) const {
    return static_cast<std::size_t>(std::count_if(
        running.begin(), running.end(), [kind](const auto* one) { return one->request.kind == kind; }));
  }
  std::size_t services() const { return count(Request::Service); }
  std::size_t browsers() const { return count(Request::Browser); }
  // To the operation of that kind.
  void deliver(Request kind, const AvahiEvent& event) {
    for (Operation* const operation : running) {
      if (operation->request.kind != kind) continue;
      const auto function = operation->happened;  // the call may destroy the operation
      function(event);
      return loop.advance(0ms);
    }
    FAIL() << "no such operation runs";
  }
  void service(Event kind, const std::string& reason = "") {
    AvahiEvent event;
    event.kind = kind;
    event.reason = reason;
    deliver(Request::Service, event);
  }
  void browser(Event kind, const std::string& name = "", int interface = 1, int protocol = 0) {
    AvahiEvent event;
    event.kind = kind;
    event.name = name;
    event.interface = interface;
    event.protocol = protocol;
    deliver(Request::Browser, event);
  }
  void answer(Request kind, const std::string& address) {
    AvahiEvent event;
    event.kind = Event::Resolved;
    event.hostName = "nas.local";
    event.address = address;
    event.port = 4250;
    deliver(kind, event);
  }
  void noAnswer(Request kind) {
    AvahiEvent event;
    event.reason = "Timeout reached";
    deliver(kind, event);
  }

  FakeEventLoop& loop;
  AvahiEngine::StateChanged changed;
  std::vector<std::string> added;   // services, by name and type
  std::map<Request, int> started;   // ever
  std::vector<Operation*> running;  // oldest first
  int made = 0;
  int alive = 0;
  bool lacking = false;
};

struct AvahiDnsSdTest : testing::Test {
  FakeEventLoop loop;
  Script daemon{loop};
  Script responder{loop};
  std::vector<std::string> reported;
  AvahiDnsSd dnsSd{loop, daemon.maker(), responder.maker()};

  std::unique_ptr<Publication> publish(const std::string& name = "Photos") {
    auto publication = dnsSd.publish({name, "_x._tcp.", 1}, [this](const PublicationState& state) {
      const char* const names[] = {"pending", "published", "renamed", "failed"};
      reported.push_back(std::string(names[static_cast<int>(state.kind)]) + " " + state.name + ", " +
                         state.detail);
    });
    loop.advance(0ms);
    return publication;
  }
  std::unique_ptr<Browser> browse() {
    const auto note = [this](const char* sign) {
      return [this, sign](const std::string& name, bool more) {
        reported.push_back(sign + name + (more ? " more" : ""));
      };
    };
    auto browser = dnsSd.browse("_x._tcp.", {note("+"), note("-")});
    loop.advance(0ms);
    return browser;
  }
  std::unique_ptr<Resolution> resolve(EventLoop::Duration timeout = 5s) {
    auto resolution = dnsSd.resolve("Photos", "_x._tcp.", timeout,
                                    {[this](const ResolvedService& service) {
                                       std::string line =
                                           service.hostName + ":" + std::to_string(service.port);
                                       for (const auto& address : service.addresses) line += " " + address;
                                       reported.push_back(line);
                                     },
                                     [this](const std::string& reason) { reported.push_back(reason); }});
    loop.advance(0ms);
    return resolution;
  }
  void run() { daemon.become(State::Running); }
  void published(Script& script) { script.service(Event::Established); }
};

TEST_F(AvahiDnsSdTest, publishesOnceTheEngineRuns) {
  const auto publication = publish();
  EXPECT_THAT(daemon.added, IsEmpty());
  daemon.become(State::Registering, "the host name is being registered");
  EXPECT_THAT(daemon.added, IsEmpty());
  run();
  EXPECT_THAT(daemon.added, ElementsAre("Photos _x._tcp"));
  published(daemon);
  EXPECT_EQ(reported.back(), "published Photos, Avahi daemon");
}

TEST_F(AvahiDnsSdTest, publishesAgainWhenTheHostNameChanges) {
  const auto publication = publish();
  run();
  published(daemon);
  daemon.become(State::Registering, "the host name is being registered");
  EXPECT_EQ(daemon.services(), 0U);
  EXPECT_EQ(reported.back(), "pending Photos, the host name is being registered");
  run();
  EXPECT_EQ(daemon.added.size(), 2U);
  EXPECT_EQ(daemon.services(), 1U);
}

TEST_F(AvahiDnsSdTest, takesTheNextNameAfterAConflict) {
  const auto publication = publish();
  run();
  daemon.service(Event::Collision);
  daemon.service(Event::Collision);
  published(daemon);
  EXPECT_THAT(daemon.added, ElementsAre("Photos _x._tcp", "Photos #2 _x._tcp", "Photos #3 _x._tcp"));
  EXPECT_THAT(reported.back(), "renamed Photos #3, Avahi daemon");
  EXPECT_EQ(daemon.services(), 1U);
}

TEST_F(AvahiDnsSdTest, slowsDownAgainstANeighborThatClaimsEveryName) {
  const auto publication = publish();
  run();
  for (int i = 0; i < 10; ++i) daemon.service(Event::Collision);
  EXPECT_EQ(daemon.added.size(), 11U);
  daemon.service(Event::Collision);
  loop.advance(4999ms);
  EXPECT_EQ(daemon.added.size(), 11U);
  loop.advance(1ms);
  EXPECT_EQ(daemon.added.size(), 12U);
}

TEST_F(AvahiDnsSdTest, triesAFailedPublicationAgainSilently) {
  const auto publication = publish();
  run();
  daemon.service(Event::Failed, "Invalid service type");
  EXPECT_EQ(reported.back(), "failed Photos, Invalid service type");
  EXPECT_EQ(daemon.services(), 0U);
  const std::size_t before = reported.size();
  loop.advance(30s);
  EXPECT_EQ(daemon.services(), 1U);
  daemon.service(Event::Failed, "Invalid service type");
  EXPECT_EQ(reported.size(), before);
  loop.advance(30s);
  published(daemon);
  EXPECT_EQ(reported.back(), "published Photos, Avahi daemon");
}

TEST_F(AvahiDnsSdTest, reportsAHostNameThatIsNotRegistered) {
  const auto publication = publish();
  for (int i = 0; i < 7; ++i) {
    daemon.become(State::Registering, "the host name is being registered");
    loop.advance(1s);
  }
  EXPECT_THAT(reported, IsEmpty());
  loop.advance(1s);
  EXPECT_THAT(reported,
              ElementsAre("failed Photos, another responder claims the name or the address of this machine; "
                          "restart the Avahi daemon, or give the machine another host name"));
  loop.advance(60s);
  daemon.become(State::Registering, "the host name is being registered");
  EXPECT_EQ(reported.size(), 1U);
  run();
  published(daemon);
  EXPECT_EQ(reported.back(), "published Photos, Avahi daemon");
}

TEST_F(AvahiDnsSdTest, reportsThatNothingPublishes) {
  const auto publication = publish();
  loop.advance(8s);
  EXPECT_THAT(reported,
              ElementsAre("failed Photos, nothing here publishes services; start the Avahi daemon"));
}

TEST_F(AvahiDnsSdTest, reportsEnginesThatFail) {
  const auto publication = publish();
  daemon.become(State::Failed, "no bus");
  for (int i = 0; i < 2; ++i) {
    responder.become(State::Failed, "no interfaces");
    loop.advance(5s);
  }
  EXPECT_THAT(reported, ElementsAre("failed Photos, no interfaces; start the Avahi daemon"));
}

TEST_F(AvahiDnsSdTest, reportsThatEveryNameIsTaken) {
  const auto publication = publish();
  run();
  for (int i = 0; i < 11; ++i) daemon.service(Event::Collision);
  loop.advance(8s);
  ASSERT_EQ(reported.size(), 1U);
  EXPECT_THAT(reported[0],
              testing::HasSubstr("other devices claim this name and those that follow it; give the "));
}

TEST_F(AvahiDnsSdTest, reportsAnEngineThatDoesNotAnswer) {
  const auto publication = publish();
  run();
  loop.advance(8s);
  EXPECT_THAT(reported, ElementsAre("failed Photos, the Avahi daemon does not answer; restart it"));
}

TEST_F(AvahiDnsSdTest, reportsAPublicationThatDoesNotComeBack) {
  const auto publication = publish();
  run();
  published(daemon);
  daemon.become(State::Registering, "the host name is being registered");
  loop.advance(8s);
  EXPECT_THAT(reported.back(), testing::StartsWith("failed Photos, another responder claims"));
  EXPECT_EQ(reported.size(), 3U);
}

TEST_F(AvahiDnsSdTest, makesAResponderAgainAtOnceThatMayThenWork) {
  const auto publication = publish();
  daemon.become(State::Failed, "no bus");
  ASSERT_EQ(responder.made, 1);
  responder.changed({State::Failed, "another responder claims the address of this machine", true});
  loop.advance(200ms);
  EXPECT_EQ(responder.made, 2);
  responder.become(State::Running);
  published(responder);
  EXPECT_THAT(reported, ElementsAre("published Photos, built-in responder"));
}

TEST_F(AvahiDnsSdTest, cutsTheNameItPublishes) {
  const auto publication = publish(std::string(70, 'x'));
  run();
  EXPECT_THAT(daemon.added, ElementsAre(std::string(63, 'x') + " _x._tcp"));
  published(daemon);
  EXPECT_EQ(reported.back(), "published " + std::string(63, 'x') + ", Avahi daemon");
}

TEST_F(AvahiDnsSdTest, findsAServiceOnceHoweverOftenItIsSeen) {
  const auto browser = browse();
  daemon.become(State::Registering);
  ASSERT_EQ(daemon.browsers(), 1U);
  daemon.browser(Event::Seen, "Photos", 1, 0);
  daemon.browser(Event::Seen, "Photos", 1, 1);
  daemon.browser(Event::Seen, "Photos", 2, 0);
  daemon.browser(Event::Seen, "Photos", 2, 0);
  EXPECT_THAT(reported, ElementsAre("+Photos"));
  daemon.browser(Event::Gone, "Photos", 1, 0);
  daemon.browser(Event::Gone, "Photos", 1, 1);
  daemon.browser(Event::Gone, "Photos", 1, 1);
  EXPECT_EQ(reported.size(), 1U);
  daemon.browser(Event::Gone, "Photos", 2, 0);
  EXPECT_THAT(reported, ElementsAre("+Photos", "-Photos"));
  daemon.browser(Event::Gone, "Photos", 2, 0);
  daemon.browser(Event::Gone, "Never seen", 3, 0);
  EXPECT_EQ(reported.size(), 2U);
}

TEST_F(AvahiDnsSdTest, browsesAgainAfterAFailure) {
  run();
  const auto browser = browse();
  daemon.browser(Event::Failed);
  EXPECT_EQ(daemon.browsers(), 0U);
  loop.advance(5s);
  EXPECT_EQ(daemon.browsers(), 1U);
}

TEST_F(AvahiDnsSdTest, removesAfterAFailureWhatIsNotSeenAgain) {
  run();
  const auto browser = browse();
  daemon.browser(Event::Seen, "Photos", 1, 0);
  daemon.browser(Event::Seen, "Old photos", 1, 0);
  daemon.browser(Event::Failed);
  loop.advance(5s);
  daemon.browser(Event::Seen, "Photos", 2, 0);
  daemon.browser(Event::Seen, "New photos", 2, 0);
  EXPECT_THAT(reported, ElementsAre("+Photos", "+Old photos", "+New photos"));
  loop.advance(5s);
  EXPECT_THAT(reported, ElementsAre("+Photos", "+Old photos", "+New photos", "-Old photos"));
  // The interface of before the failure does not count any more.
  daemon.browser(Event::Gone, "Photos", 2, 0);
  EXPECT_EQ(reported.back(), "-Photos");
}

TEST_F(AvahiDnsSdTest, remembersOverSeveralFailuresWhatItFound) {
  run();
  auto browser = browse();
  daemon.browser(Event::Seen, "Photos", 1, 0);
  daemon.browser(Event::Failed);
  for (int i = 0; i < 3; ++i) {
    loop.advance(5s);
    daemon.browser(Event::Failed);
  }
  loop.advance(5s);
  daemon.browser(Event::Failed);
  loop.advance(9s);
  EXPECT_THAT(reported, ElementsAre("+Photos"));
  daemon.browser(Event::Seen, "Photos", 1, 0);
  loop.advance(60s);
  EXPECT_THAT(reported, ElementsAre("+Photos"));
}

TEST_F(AvahiDnsSdTest, letsAFunctionDestroyItsBrowser) {
  run();
  std::unique_ptr<Browser> browser;
  browser = dnsSd.browse("_x._tcp.", {{}, [&](const std::string& name, bool) {
                                        reported.push_back("-" + name);
                                        browser.reset();
                                      }});
  loop.advance(0ms);
  daemon.browser(Event::Seen, "A", 1, 0);
  daemon.browser(Event::Seen, "B", 1, 0);
  daemon.browser(Event::Failed);
  loop.advance(10s);
  EXPECT_THAT(reported, ElementsAre("-A"));
}

TEST_F(AvahiDnsSdTest, answersWithIPv4First) {
  run();
  const auto resolution = resolve();
  EXPECT_EQ(daemon.running.size(), 2U);
  daemon.answer(Request::IPv6Resolver, "fe80::1");
  EXPECT_THAT(reported, IsEmpty());
  daemon.answer(Request::IPv4Resolver, "10.0.0.1");
  EXPECT_THAT(reported, ElementsAre("nas.local:4250 10.0.0.1 fe80::1"));
  EXPECT_THAT(daemon.running, IsEmpty());
  loop.advance(10s);
  EXPECT_EQ(reported.size(), 1U);
}

TEST_F(AvahiDnsSdTest, answersWithIPv6AloneAfterTwoLookUpsForIPv4) {
  run();
  const auto resolution = resolve();
  daemon.answer(Request::IPv6Resolver, "fe80::1");
  daemon.noAnswer(Request::IPv4Resolver);
  EXPECT_THAT(reported, IsEmpty());
  loop.advance(200ms);
  daemon.noAnswer(Request::IPv4Resolver);
  EXPECT_THAT(reported, ElementsAre("nas.local:4250 fe80::1"));
}

TEST_F(AvahiDnsSdTest, asksAgainUntilTheTimeIsUp) {
  run();
  const auto resolution = resolve();
  for (int i = 0; i < 4; ++i) {
    daemon.noAnswer(Request::IPv4Resolver);
    daemon.noAnswer(Request::IPv6Resolver);
    loop.advance(1s);
  }
  EXPECT_EQ(daemon.started[Request::IPv4Resolver], 5);
  EXPECT_EQ(daemon.started[Request::IPv6Resolver], 5);
  EXPECT_THAT(reported, IsEmpty());
  loop.advance(1s);
  EXPECT_THAT(reported, ElementsAre("Timeout reached"));
  EXPECT_THAT(daemon.running, IsEmpty());
}

TEST_F(AvahiDnsSdTest, timesOutWithoutAnEngineToAsk) {
  const auto resolution = resolve(500ms);
  loop.advance(499ms);
  EXPECT_THAT(reported, IsEmpty());
  loop.advance(1ms);
  EXPECT_THAT(reported, ElementsAre("Timeout reached"));
  run();
  EXPECT_THAT(daemon.running, IsEmpty());
}

TEST_F(AvahiDnsSdTest, saysMoreIsComingForAllButTheLastOfABatch) {
  run();
  const auto browser = browse();
  const auto happened = daemon.running.at(0)->happened;
  AvahiEvent event;
  event.kind = Event::Seen;
  for (const char* name : {"One", "Two"}) {
    event.name = name;
    happened(event);
  }
  event.kind = Event::Gone;
  happened(event);
  EXPECT_THAT(reported, IsEmpty());
  loop.advance(0ms);
  EXPECT_THAT(reported, ElementsAre("+One more", "+Two more", "-Two"));
}

TEST_F(AvahiDnsSdTest, usesTheDaemonThatAnswers) {
  const auto publication = publish();
  run();
  EXPECT_EQ(daemon.services(), 1U);
  published(daemon);
  loop.advance(1h);
  EXPECT_EQ(responder.made, 0);
  EXPECT_THAT(reported, ElementsAre("published Photos, Avahi daemon"));
}

TEST_F(AvahiDnsSdTest, usesTheResponderAtOnceWithoutBus) {
  const auto publication = publish();
  daemon.become(State::Failed, "no bus");
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
}

TEST_F(AvahiDnsSdTest, usesTheResponderAtOnceWithoutDaemonOnTheBus) {
  daemon.become(State::Connecting);
  const auto publication = publish();
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
}

TEST_F(AvahiDnsSdTest, usesTheResponderWhenTheDaemonDoesNotAnswer) {
  const auto publication = publish();
  loop.advance(999ms);
  EXPECT_EQ(responder.made, 0);
  loop.advance(1ms);
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
}

TEST_F(AvahiDnsSdTest, publishesAgainOnADaemonThatComesLater) {
  const auto publication = publish();
  daemon.become(State::Connecting);
  responder.become(State::Running);
  published(responder);
  daemon.become(State::Registering, "the host name is being registered");
  EXPECT_EQ(responder.alive, 0);
  EXPECT_EQ(daemon.services(), 0U);
  run();
  published(daemon);
  EXPECT_THAT(reported, ElementsAre("published Photos, built-in responder",
                                    "pending Photos, the host name is being registered",
                                    "published Photos, Avahi daemon"));
}

TEST_F(AvahiDnsSdTest, asksForTheWantedNameOnTheOtherEngine) {
  const auto publication = publish();
  daemon.become(State::Connecting);
  responder.become(State::Running);
  responder.service(Event::Collision);
  published(responder);
  EXPECT_EQ(reported.back(), "renamed Photos #2, built-in responder");
  run();
  EXPECT_THAT(daemon.added, ElementsAre("Photos _x._tcp"));
}

TEST_F(AvahiDnsSdTest, asksForABusAgainEveryFiveSeconds) {
  daemon.become(State::Failed);
  EXPECT_EQ(daemon.alive, 0);
  loop.advance(4999ms);
  EXPECT_EQ(daemon.made, 1);
  loop.advance(1ms);
  EXPECT_EQ(daemon.made, 2);
  daemon.become(State::Failed);
  loop.advance(5s);
  EXPECT_EQ(daemon.made, 3);
  EXPECT_EQ(responder.made, 1);
}

TEST_F(AvahiDnsSdTest, waitsTwoSecondsForADaemonThatWentAway) {
  const auto publication = publish();
  run();
  published(daemon);
  daemon.become(State::Failed, "Daemon connection failed");
  EXPECT_EQ(reported.back(), "pending Photos, Daemon connection failed");
  loop.advance(200ms);
  EXPECT_EQ(daemon.made, 2);
  daemon.become(State::Connecting);
  loop.advance(1799ms);
  EXPECT_EQ(responder.made, 0);
  loop.advance(1ms);
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
  EXPECT_EQ(reported.size(), 2U) << "what is still pending is not reported again";
}

TEST_F(AvahiDnsSdTest, goesBackToADaemonThatReturnsInTime) {
  const auto publication = publish();
  run();
  daemon.become(State::Failed);
  loop.advance(200ms);
  daemon.become(State::Connecting);
  run();
  EXPECT_EQ(daemon.services(), 1U);
  loop.advance(1h);
  EXPECT_EQ(responder.made, 0);
}

TEST_F(AvahiDnsSdTest, waitsForADaemonAgainAfterTheResponderTookOver) {
  const auto publication = publish();
  run();
  daemon.become(State::Failed);
  loop.advance(2s);
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
  run();
  EXPECT_EQ(daemon.services(), 1U);
  EXPECT_EQ(responder.alive, 0);
  daemon.become(State::Failed);
  loop.advance(1999ms);
  EXPECT_EQ(responder.alive, 0);
  loop.advance(1ms);
  EXPECT_EQ(responder.alive, 1);
}

TEST_F(AvahiDnsSdTest, triesTheResponderAgainWhenItCannotWork) {
  const auto publication = publish();
  daemon.become(State::Connecting);
  responder.become(State::Running);
  published(responder);
  responder.become(State::Failed, "no socket");
  EXPECT_EQ(reported.back(), "pending Photos, no socket");
  EXPECT_EQ(responder.alive, 0);
  loop.advance(5s);
  responder.become(State::Running);
  EXPECT_EQ(responder.services(), 1U);
}

TEST_F(AvahiDnsSdTest, triesAgainWhenAnEngineHasNoDescriptor) {
  responder.lacking = true;
  daemon.become(State::Failed);
  EXPECT_EQ(responder.made, 1);
  responder.lacking = false;
  loop.advance(5s);
  EXPECT_EQ(responder.made, 2);
  EXPECT_EQ(responder.alive, 1);
}

TEST_F(AvahiDnsSdTest, findsANameOnceOnBothEngines) {
  const auto browser = browse();
  daemon.become(State::Connecting);
  responder.become(State::Running);
  responder.browser(Event::Seen, "One");
  responder.browser(Event::Seen, "Two");
  run();
  daemon.browser(Event::Seen, "Two");
  daemon.browser(Event::Seen, "Three");
  EXPECT_THAT(reported, ElementsAre("+One", "+Two", "+Three"));
  // What is not seen again within five seconds is gone.
  loop.advance(4999ms);
  EXPECT_EQ(reported.size(), 3U);
  loop.advance(1ms);
  EXPECT_EQ(reported.back(), "-One");
  EXPECT_EQ(reported.size(), 4U);
  daemon.browser(Event::Gone, "Two");
  EXPECT_EQ(reported.back(), "-Two");
}

TEST_F(AvahiDnsSdTest, resolvesOnTheEngineThatIsThere) {
  const auto resolution = resolve();
  run();
  daemon.become(State::Failed);
  loop.advance(2s);
  responder.become(State::Running);
  responder.answer(Request::IPv4Resolver, "10.0.0.1");
  EXPECT_THAT(reported, ElementsAre("nas.local:4250 10.0.0.1"));
  EXPECT_THAT(responder.running, IsEmpty());
}

TEST_F(AvahiDnsSdTest, letsAFunctionDestroyItsPublication) {
  std::unique_ptr<Publication> publication;
  publication =
      dnsSd.publish({"Photos", "_x._tcp.", 1}, [&](const PublicationState&) { publication.reset(); });
  loop.advance(0ms);
  run();
  daemon.service(Event::Failed, "why");
  EXPECT_EQ(publication, nullptr);
  EXPECT_EQ(daemon.services(), 0U);
}

TEST(AvahiDnsSd, mayUseOneEngineAlone) {
  FakeEventLoop loop;
  Script daemon(loop);
  Script responder(loop);
  const AvahiDnsSd withDaemon(loop, daemon.maker(), {});
  const AvahiDnsSd withResponder(loop, {}, responder.maker());
  daemon.become(State::Failed);
  loop.advance(0ms);
  EXPECT_EQ(responder.made, 1);
  loop.advance(5s);
  EXPECT_EQ(daemon.made, 2);
}

}  // namespace
}  // namespace moxtel
