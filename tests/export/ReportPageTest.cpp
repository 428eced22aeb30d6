#include "export/ReportPage.h"

namespace moxtel {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string pageOf(Report& report, PageLanguage language = PageLanguage::English) {
  std::string page;
  writeReportPage(report, language, [&](std::string_view part) { page += part; });
  return page;
}

TEST(ReportPage, saysThatEverythingIsThere) {
  Report report;
  report.add(Finding::Renamed, "L", "a.jpg", "b.jpg");
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("Complete: everything that the library has is here."));
  EXPECT_THAT(page, HasSubstr("<h2>Good to know</h2>"));
  EXPECT_THAT(page, Not(HasSubstr("What is missing")));
}

TEST(ReportPage, listsEveryFileWithItsReason) {
  Report report;
  for (int i = 0; i < 60; ++i) report.add(Finding::Unreadable, "L", "f" + std::to_string(i), "no permission");
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("Not complete. Missing or uncertain: 60."));
  EXPECT_THAT(page, HasSubstr("<details><summary>Files that could not be read: 60</summary>"));
  for (const char* file : {"f0", "f59"})
    EXPECT_THAT(page,
                HasSubstr(std::string("<td><bdi>") + file + "</bdi></td><td><bdi>no permission</bdi></td>"));
}

TEST(ReportPage, opensShortListsOfWhatIsMissing) {
  Report report;
  report.add(Finding::MissingOriginal, "L", "a.jpg");
  EXPECT_THAT(pageOf(report),
              HasSubstr("<details open><summary>Originals that the library does not have: 1<"));
}

TEST(ReportPage, namesAbsentDisks) {
  Report report;
  for (int i = 0; i < 3112; ++i) report.add(Finding::AbsentDisk, "L", "x.jpg", "Photos 2011");
  EXPECT_THAT(pageOf(report), HasSubstr("3,112 photos lie on “<bdi>Photos 2011</bdi>”: attach it"));
  EXPECT_THAT(pageOf(report, PageLanguage::German),
              HasSubstr("3.112 Fotos liegen auf „<bdi>Photos 2011</bdi>“"));
}

TEST(ReportPage, isWholeInGerman) {
  Report report;
  for (std::size_t i = 0; i < kFindings; ++i)
    report.add(static_cast<Finding>(i), "L", "a.jpg", "a smart album without a known rule");
  const std::string page = pageOf(report, PageLanguage::German);
  EXPECT_THAT(page, HasSubstr("<html lang=\"de\">"));
  EXPECT_THAT(page, HasSubstr("ein intelligentes Album ohne bekannte Regel"));
  for (std::size_t i = 0; i < kFindings; ++i)
    EXPECT_THAT(page, Not(HasSubstr(std::string(headingOf(static_cast<Finding>(i))))));
}

TEST(ReportPage, saysWhichLibraryAFileIsOf) {
  Report report;
  report.libraries = {{"/disk/A", "iPhoto library", "A"}, {"/disk/B", "iPhoto library", "B"}};
  report.add(Finding::Unreadable, "B", "a.jpg");
  EXPECT_THAT(pageOf(report), HasSubstr("<tr><td><bdi>B</bdi></td><td><bdi>a.jpg</bdi></td>"));
}

TEST(ReportPage, runsNothingThatALibrarySays) {
  Report report;
  report.add(Finding::Unreadable, "L", "<script>alert(1)</script>", "a\x01&\"\n\u202E");
  const std::string page = pageOf(report);
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;"));
  EXPECT_THAT(page, HasSubstr("a\\x01&amp;&quot;\\x0a"));
  EXPECT_THAT(page, Not(HasSubstr("\u202E")));
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
}

TEST(ReportPage, takesTheLanguageOfTheLocale) {
  EXPECT_EQ(languageOf("de_CH.UTF-8"), PageLanguage::German);
  EXPECT_EQ(languageOf("de"), PageLanguage::German);
  EXPECT_EQ(languageOf("den_CA"), PageLanguage::English);
  EXPECT_EQ(languageOf("C.UTF-8"), PageLanguage::English);
  EXPECT_EQ(languageOf(""), PageLanguage::English);
}

}  // namespace
}  // namespace moxtel
