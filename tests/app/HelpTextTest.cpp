#include "app/HelpText.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

TEST(HelpText, isEnglishForAnUnknownLanguage) {
  const auto english = helpText("Help");
  ASSERT_TRUE(english);
  EXPECT_NE(english->find("lang=\"en\""), std::string::npos);
  EXPECT_EQ(helpText("Help", "xx"), english);
}

TEST(HelpText, isGermanForGerman) {
  const auto german = helpText("Help", "de");
  ASSERT_TRUE(german);
  EXPECT_NE(german->find("lang=\"de\""), std::string::npos);
  EXPECT_EQ(helpText("Help", "de_AT"), german);
}

TEST(HelpText, isNulloptForAMissingFile) { EXPECT_EQ(helpText("No such help"), std::nullopt); }

TEST(HelpText, asksForNoPlainPathAndNoRunningPhotoApplication) {
  for (const char* language : {"", "de"}) {
    const std::string help = helpText("Help", language).value_or("");
    EXPECT_EQ(help.find("&eacute;"), std::string::npos) << language;
    EXPECT_EQ(help.find("\xC3\xA9"), std::string::npos) << language;
    EXPECT_EQ(help.find("stay empty unless"), std::string::npos) << language;
    EXPECT_EQ(help.find("bleiben leer"), std::string::npos) << language;
  }
  EXPECT_NE(helpText("Help")->find("any letters"), std::string::npos);
  EXPECT_NE(helpText("Help", "de")->find("beliebige Buchstaben"), std::string::npos);
}

TEST(HelpText, coversTheSameSymptomsInBothLanguages) {
  const char* english[] = {"does not find the server", "Albums are empty", "A picture is rotated",
                           "on another disk", "Privacy"};
  for (const char* symptom : english)
    EXPECT_NE(helpText("Help")->find(symptom), std::string::npos) << symptom;
  const auto count = [](const std::string& text, std::string_view what) {
    int times = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++times;
    return times;
  };
  for (const char* tag : {"<h3>", "<p>", "<p><b>", "<li>"}) {
    EXPECT_EQ(count(*helpText("Help"), tag), count(*helpText("Help", "de"), tag)) << tag;
  }
}

}  // namespace
}  // namespace moxtel
