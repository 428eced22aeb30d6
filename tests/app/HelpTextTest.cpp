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
}

TEST(HelpText, isNulloptForAMissingFile) { EXPECT_EQ(helpText("No such help"), std::nullopt); }

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
