#include "app/ServiceOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::Optional;

TEST(ServiceOptions, readsAssignmentsAsTheServiceManagerDoes) {
  const auto value = [](std::string_view text) { return valueInEnvironmentFile(text, "X"); };
  EXPECT_EQ(value(""), std::nullopt);
  EXPECT_EQ(value("# X=1\n;X=2\nY=3\nnothing\n"), std::nullopt);
  EXPECT_THAT(value("X=1\nX=2\n"), Optional(std::string("2")));
  EXPECT_THAT(value("  X = a b  \n"), Optional(std::string("a b")));
  EXPECT_THAT(value("X=\"-a 'b c'\" \n"), Optional(std::string("-a 'b c'")));
  EXPECT_THAT(value("X='-a \"b\"'"), Optional(std::string("-a \"b\"")));
  EXPECT_THAT(value("X=-a 'b c'"), Optional(std::string("-a 'b c'")));
  EXPECT_THAT(value("X=\"a \\\"b\\\" \\x\""), Optional(std::string("a \"b\" \\x")));
  EXPECT_THAT(value("X=\"a\nb\"\nY=1"), Optional(std::string("a\nb")));
  EXPECT_THAT(value("X=a\\\nb"), Optional(std::string("ab")));
  EXPECT_THAT(value("X="), Optional(std::string()));
  EXPECT_THAT(value("X=\"open"), Optional(std::string("open")));
}

TEST(ServiceOptions, splitsTheOptions) {
  const TemporaryFolder folder;
  const std::string file = folder.path() / "options";
  EXPECT_EQ(serviceOptions(file), std::nullopt);
  std::ofstream(file) << "#MOXTEL_OPTIONS=\"-Port 1\"\n";
  EXPECT_EQ(serviceOptions(file), std::nullopt);
  std::ofstream(file) << "MOXTEL_OPTIONS=\"-LibraryPath '/srv/iPhoto Library' -Port 4260\"\n";
  EXPECT_THAT(serviceOptions(file),
              Optional(ElementsAre("-LibraryPath", "/srv/iPhoto Library", "-Port", "4260")));
}

}  // namespace
}  // namespace moxtel
