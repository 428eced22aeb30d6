#include "net/PublicationReporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/StringTable.h"
#include "tests/fakes/FakeEventLoop.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = PublicationState::Kind;

struct PublicationReporterTest : testing::Test {
  FakeEventLoop loop;
  std::vector<std::string> addresses{"192.168.1.5"};
  std::vector<std::string> lines;
  PublicationReporter reporter{loop, "Photos", 4250, [this] { return addresses; },
                               [this](std::string_view title, std::string_view text) {
                                 lines.push_back(std::string(title) + ": " + std::string(text));
                               }};
};

TEST_F(PublicationReporterTest, reportsNameAddressAndPortInOneLine) {
  reporter.changed({Kind::Pending, "Photos", ""});
  EXPECT_THAT(lines, IsEmpty());
  reporter.changed({Kind::Published, "Photos", "Avahi daemon"});
  reporter.changed({Kind::Published, "Photos", "Avahi daemon"});
  EXPECT_THAT(lines, ElementsAre("Info: Published as \"Photos\" at 192.168.1.5, port 4250 (Avahi daemon)"));
}

TEST_F(PublicationReporterTest, speaksTheUsersLanguage) {
  test::setStringTable(
      {{"Published as \"%@\" at %@ (%@)", "Bekannt als %@ unter %@ (%@)"}, {"%@, port %d", "%@, Port %d"}});
  reporter.changed({Kind::Published, "Photos", "Avahi daemon"});
  setTranslator({});
  EXPECT_THAT(lines, ElementsAre("Info: Bekannt als Photos unter 192.168.1.5, Port 4250 (Avahi daemon)"));
}

TEST_F(PublicationReporterTest, reportsThatTheNameIsTaken) {
  reporter.changed({Kind::Renamed, "Photos #2", "Avahi daemon"});
  EXPECT_THAT(lines, ElementsAre("Info: The name \"Photos\" is taken. Published as \"Photos #2\" at "
                                 "192.168.1.5, port 4250 (Avahi daemon)"));
}

TEST_F(PublicationReporterTest, reportsAFailureAndTheServersAddress) {
  addresses = {"192.168.1.5", "10.0.0.1"};
  reporter.changed({Kind::Failed, "Photos", "Too many objects"});
  EXPECT_THAT(lines, ElementsAre("Error: Could not publish \"Photos\" on the network: Too many objects. The "
                                 "server can still be reached at 192.168.1.5, 10.0.0.1, port 4250"));
}

TEST_F(PublicationReporterTest, reportsThatThePublicationWasLostAndRestored) {
  reporter.changed({Kind::Published, "Photos", "Avahi daemon"});
  reporter.changed({Kind::Pending, "Photos", "the Avahi daemon went away"});
  reporter.changed({Kind::Pending, "Photos", "the host name is being registered"});
  reporter.changed({Kind::Published, "Photos", "built-in responder"});
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], "Info: No longer published as \"Photos\": the Avahi daemon went away");
  EXPECT_EQ(lines[2], "Info: Published as \"Photos\" at 192.168.1.5, port 4250 (built-in responder)");
}

TEST_F(PublicationReporterTest, reportsAChangedAddress) {
  addresses.clear();
  reporter.changed({Kind::Published, "Photos", "built-in responder"});
  EXPECT_THAT(lines, ElementsAre("Info: Published as \"Photos\" at no network address yet, port 4250 "
                                 "(built-in responder)"));
  loop.advance(1h);
  EXPECT_EQ(lines.size(), 1U);
  addresses = {"10.0.0.1"};
  loop.advance(5s);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1], "Info: Published as \"Photos\" at 10.0.0.1, port 4250 (built-in responder)");
}

TEST_F(PublicationReporterTest, reportsNoAddressesWhileNothingIsPublished) {
  reporter.changed({Kind::Pending, "Photos", ""});
  addresses = {"10.0.0.1"};
  loop.advance(1min);
  EXPECT_THAT(lines, IsEmpty());
}

}  // namespace
}  // namespace moxtel
