#include "dnssd/SwitchingDnsSd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/fakes/FakeDnsSd.h"
#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = PublicationState::Kind;

// The back end that the switch made last on one side, while it lives.
struct Side {
  FakeDnsSd* backEnd = nullptr;
  AvailabilityChanged changed;
  int made = 0;

  struct Owned final : DnsSd {
    explicit Owned(Side& owner) : side(owner) { side.backEnd = &fake; }
    ~Owned() override { side.backEnd = nullptr; }
    std::unique_ptr<Publication> publish(const ServiceDescription& service, PublicationChanged f) override {
      return fake.publish(service, std::move(f));
    }
    std::unique_ptr<Browser> browse(const std::string& type, BrowserEvents events) override {
      return fake.browse(type, std::move(events));
    }
    std::unique_ptr<Resolution> resolve(const std::string& name, const std::string& type,
                                        EventLoop::Duration timeout, ResolveEvents events) override {
      return fake.resolve(name, type, timeout, std::move(events));
    }
    Side& side;
    FakeDnsSd fake;
  };

  SwitchingDnsSd::MakeBackEnd maker() {
    return [this](AvailabilityChanged function) {
      changed = std::move(function);
      ++made;
      return std::make_unique<Owned>(*this);
    };
  }
  void tell(Availability::Kind kind, const std::string& reason = "gone") {
    const AvailabilityChanged function = changed;  // may be replaced by its own call
    function({kind, reason});
  }
  void available() { tell(Availability::Kind::Available, ""); }
  std::size_t published() const { return backEnd ? backEnd->published().size() : 0; }
};

struct SwitchingDnsSdTest : testing::Test {
  FakeEventLoop loop;
  Side daemon;
  Side embedded;
  std::vector<std::string> told;
  SwitchingDnsSd dnsSd{loop, daemon.maker(), embedded.maker(), SwitchingDnsSd::Bounds()};

  std::unique_ptr<Publication> publish() {
    return dnsSd.publish({"Photos", "_x._tcp.", 1}, [this](const PublicationState& state) {
      const char* const names[] = {"pending", "published", "renamed", "failed"};
      told.push_back(std::string(names[static_cast<int>(state.kind)]) + " " + state.name + ", " +
                     state.detail);
    });
  }
  std::unique_ptr<Browser> browse() {
    return dnsSd.browse("_x._tcp.", {[this](const std::string& name, bool) { told.push_back("+" + name); },
                                     [this](const std::string& name, bool) { told.push_back("-" + name); }});
  }
};

TEST_F(SwitchingDnsSdTest, usesTheDaemonThatAnswers) {
  const auto publication = publish();
  EXPECT_EQ(daemon.published(), 0U);
  daemon.available();
  EXPECT_EQ(daemon.published(), 1U);
  daemon.backEnd->tell({Kind::Published, "Photos", "Avahi daemon"});
  loop.advance(1h);
  EXPECT_EQ(embedded.made, 0);
  EXPECT_THAT(told, ElementsAre("published Photos, Avahi daemon"));
}

TEST_F(SwitchingDnsSdTest, usesTheResponderAtOnceWithoutBus) {
  const auto publication = publish();
  daemon.tell(Availability::Kind::Gone);
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, usesTheResponderAtOnceWithoutDaemonOnTheBus) {
  daemon.tell(Availability::Kind::Waiting);
  const auto publication = publish();
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, usesTheResponderWhenTheDaemonDoesNotSayAWord) {
  const auto publication = publish();
  loop.advance(999ms);
  EXPECT_EQ(embedded.made, 0);
  loop.advance(1ms);
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, movesToADaemonThatComesLater) {
  const auto publication = publish();
  daemon.tell(Availability::Kind::Waiting);
  embedded.backEnd->tell({Kind::Published, "Photos", "built-in responder"});
  daemon.available();
  EXPECT_EQ(embedded.backEnd, nullptr);
  EXPECT_EQ(daemon.published(), 1U);
  daemon.backEnd->tell({Kind::Published, "Photos", "Avahi daemon"});
  EXPECT_THAT(told, ElementsAre("published Photos, built-in responder", "published Photos, Avahi daemon"));
}

TEST_F(SwitchingDnsSdTest, asksForABusAgainEveryFiveSeconds) {
  daemon.tell(Availability::Kind::Gone);
  EXPECT_EQ(daemon.backEnd, nullptr);
  loop.advance(4999ms);
  EXPECT_EQ(daemon.made, 1);
  loop.advance(1ms);
  EXPECT_EQ(daemon.made, 2);
  daemon.tell(Availability::Kind::Gone);
  loop.advance(5s);
  EXPECT_EQ(daemon.made, 3);
  EXPECT_EQ(embedded.made, 1);
}

TEST_F(SwitchingDnsSdTest, waitsTwoSecondsForADaemonThatWentAway) {
  const auto publication = publish();
  daemon.available();
  daemon.backEnd->tell({Kind::Published, "Photos", "Avahi daemon"});
  daemon.tell(Availability::Kind::Gone, "Daemon connection failed");
  EXPECT_EQ(told.back(), "pending Photos, the Avahi daemon went away (Daemon connection failed)");
  loop.advance(200ms);
  EXPECT_EQ(daemon.made, 2);
  daemon.tell(Availability::Kind::Waiting);
  loop.advance(1799ms);
  EXPECT_EQ(embedded.made, 0);
  loop.advance(1ms);
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, goesBackToADaemonThatReturnsInTime) {
  const auto publication = publish();
  daemon.available();
  daemon.tell(Availability::Kind::Gone);
  loop.advance(200ms);
  daemon.tell(Availability::Kind::Waiting);
  daemon.available();
  EXPECT_EQ(daemon.published(), 1U);
  loop.advance(1h);
  EXPECT_EQ(embedded.made, 0);
}

TEST_F(SwitchingDnsSdTest, waitsForADaemonAgainAfterTheResponderTookOver) {
  const auto publication = publish();
  daemon.available();
  daemon.tell(Availability::Kind::Gone);
  loop.advance(2s);
  EXPECT_EQ(embedded.published(), 1U);
  daemon.available();
  EXPECT_EQ(daemon.published(), 1U);
  EXPECT_EQ(embedded.backEnd, nullptr);
  daemon.tell(Availability::Kind::Gone);
  loop.advance(1999ms);
  EXPECT_EQ(embedded.backEnd, nullptr);
  loop.advance(1ms);
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, triesTheResponderAgainWhenItCannotWork) {
  const auto publication = publish();
  daemon.tell(Availability::Kind::Waiting);
  embedded.backEnd->tell({Kind::Published, "Photos", "built-in responder"});
  embedded.tell(Availability::Kind::Gone, "no socket");
  EXPECT_EQ(told.back(), "pending Photos, the built-in responder cannot work (no socket)");
  EXPECT_EQ(embedded.backEnd, nullptr);
  loop.advance(5s);
  EXPECT_EQ(embedded.published(), 1U);
}

TEST_F(SwitchingDnsSdTest, tellsOncePerNameAcrossAMove) {
  const auto browser = browse();
  daemon.tell(Availability::Kind::Waiting);
  embedded.backEnd->find("One");
  embedded.backEnd->find("Two");
  daemon.available();
  daemon.backEnd->find("Two");
  daemon.backEnd->find("Three");
  EXPECT_THAT(told, ElementsAre("+One", "+Two", "+Three"));
  // What was not seen again within five seconds has gone.
  loop.advance(4999ms);
  EXPECT_EQ(told.size(), 3U);
  loop.advance(1ms);
  EXPECT_EQ(told.back(), "-One");
  EXPECT_EQ(told.size(), 4U);
  daemon.backEnd->lose("Two");
  EXPECT_EQ(told.back(), "-Two");
}

TEST_F(SwitchingDnsSdTest, resolvesThroughWhoeverIsThere) {
  std::optional<std::string> host;
  const auto resolution = dnsSd.resolve(
      "Photos", "_x._tcp.", 5s, {[&](const ResolvedService& service) { host = service.hostName; }, {}});
  daemon.available();
  daemon.tell(Availability::Kind::Gone);
  loop.advance(2s);
  EXPECT_THAT(embedded.backEnd->resolvedNames(), ElementsAre("Photos"));
  embedded.backEnd->answer({"Photos", "a.local", {"10.0.0.1"}, 1});
  EXPECT_EQ(host, "a.local");
  EXPECT_THAT(embedded.backEnd->resolvedNames(), IsEmpty());
}

TEST_F(SwitchingDnsSdTest, timesOutWhenNobodyIsThere) {
  std::optional<std::string> reason;
  const auto resolution =
      dnsSd.resolve("Photos", "_x._tcp.", 500ms, {{}, [&](const std::string& text) { reason = text; }});
  loop.advance(499ms);
  EXPECT_FALSE(reason);
  loop.advance(1ms);
  EXPECT_EQ(reason, "Timeout reached");
  daemon.available();
  EXPECT_THAT(daemon.backEnd->resolvedNames(), IsEmpty());
}

TEST_F(SwitchingDnsSdTest, letsAFunctionDestroyItsPublication) {
  std::unique_ptr<Publication> publication;
  publication =
      dnsSd.publish({"Photos", "_x._tcp.", 1}, [&](const PublicationState&) { publication.reset(); });
  daemon.available();
  daemon.backEnd->tell({Kind::Failed, "Photos", "why"});
  EXPECT_EQ(daemon.published(), 0U);
}

TEST_F(SwitchingDnsSdTest, letsAFunctionDestroyItsBrowser) {
  std::unique_ptr<Browser> browser;
  int removed = 0;
  browser = dnsSd.browse("_x._tcp.", {{}, [&](const std::string&, bool) {
                                        ++removed;
                                        browser.reset();
                                      }});
  daemon.tell(Availability::Kind::Waiting);
  embedded.backEnd->find("One");
  embedded.backEnd->find("Two");
  daemon.available();
  loop.advance(5s);
  EXPECT_EQ(removed, 1);
}

}  // namespace
}  // namespace moxtel
