#include "platform/system/Translations.h"

#include <gtest/gtest.h>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

TEST(Translations, areReadFromAFileForEachLanguage) {
  const auto esperanto = translationsFrom(MOXTEL_TRANSLATIONS, "eo");
  ASSERT_TRUE(esperanto);
  EXPECT_EQ(esperanto("Photos"), "Fotoj");
  EXPECT_EQ(esperanto("There is no such folder."), "Tia dosierujo ne ekzistas.");
  EXPECT_EQ(esperanto("Ready"), "") << "not translated yet";
  EXPECT_EQ(esperanto("unknown"), "");
}

TEST(Translations, ofALanguageCountInAllItsCountries) {
  const auto esperanto = translationsFrom(MOXTEL_TRANSLATIONS, "eo_DE");
  ASSERT_TRUE(esperanto);
  EXPECT_EQ(esperanto("Photos"), "Fotoj");
}

TEST(Translations, areNoneWithoutAFile) {
  EXPECT_FALSE(translationsFrom(MOXTEL_TRANSLATIONS, "fr"));
  EXPECT_FALSE(translationsFrom(MOXTEL_TRANSLATIONS, ""));
  EXPECT_FALSE(translationsFrom("/no/such/folder", "eo"));
}

}  // namespace
}  // namespace moxtel
