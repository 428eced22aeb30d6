#include "support/MXSVersion.h"

#include <gtest/gtest.h>

#include "tests/StringTable.h"

namespace moxtel {
namespace {

class MXSVersionTest : public testing::Test {
 protected:
  void TearDown() override { setTranslator({}); }
};

TEST_F(MXSVersionTest, hasThreeNumbers) {
  EXPECT_EQ(MXSVersion::majorVersion(), 1);
  EXPECT_EQ(MXSVersion::minorVersion(), 4);
  EXPECT_EQ(MXSVersion::buildVersion(), 402);
}

TEST_F(MXSVersionTest, readsAsItsKeysWithoutTranslations) {
  EXPECT_EQ(MXSVersion::versionString(), "Version 1.4 build 402 released 2016-07-12");
  EXPECT_EQ(MXSVersion::shortVersionString(), "MoxtelServer 1.4 (402)");
}

TEST_F(MXSVersionTest, looksUpBothFormats) {
  test::setStringTable({{"Version %@ released %@", "Fassung %@ vom %@"}, {"%Y-%m-%d", "%d.%m.%Y"}});
  EXPECT_EQ(MXSVersion::versionString(), "Fassung 1.4 build 402 vom 12.07.2016");
  EXPECT_EQ(MXSVersion::shortVersionString(), "MoxtelServer 1.4 (402)");
}

TEST_F(MXSVersionTest, survivesATranslationWithTooManyPlaces) {
  test::setStringTable({{"Version %@ released %@", "%@ %@ %@ %s %d|"}});
  EXPECT_EQ(MXSVersion::versionString().substr(0, 25), "1.4 build 402 2016-07-12 ");
}

TEST_F(MXSVersionTest, takesAnEmptyTranslationForNone) {
  test::setStringTable({{"key", ""}});
  EXPECT_EQ(localizedString("key"), "key");
}

}  // namespace
}  // namespace moxtel
