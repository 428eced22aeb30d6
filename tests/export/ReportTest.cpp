#include "export/Report.h"

#include <nlohmann/json.hpp>

namespace moxtel {
namespace {

TEST(Report, isCompleteWithNotesOnly) {
  Report report;
  report.add(Finding::Renamed, "L", "a.jpg");
  EXPECT_TRUE(report.isComplete());
  report.add(Finding::Unreadable, "L", "b.jpg", "no permission");
  EXPECT_FALSE(report.isComplete());
}

TEST(Report, namesAbsentDisksWithTheirNumbers) {
  Report report;
  for (int i = 0; i < 3112; ++i) report.add(Finding::AbsentDisk, "L", "x.jpg", "Photos 2011");
  report.add(Finding::AbsentDisk, "L", "y.jpg", "Old");
  const std::string text = reportText(report);
  EXPECT_NE(text.find("3,112 photos lie on 'Photos 2011': attach it"), std::string::npos) << text;
  EXPECT_NE(text.find("1 photo lies on 'Old': attach it"), std::string::npos) << text;
}

TEST(Report, listsSomeFilesOfEachKind) {
  Report report;
  for (int i = 0; i < 12; ++i) report.add(Finding::Unreadable, "L", "f" + std::to_string(i), "why");
  const std::string text = reportText(report, 10);
  EXPECT_NE(text.find("Files that could not be read: 12\n  f0 (why)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("f9 (why)\n  … and 2 more, in report.html\n"), std::string::npos) << text;
}

TEST(Report, showsNoControlCharacters) {
  Report report;
  report.add(Finding::Unreadable, "L", "a\x1B[2J\nb", "\xC2\x9B");
  EXPECT_EQ(reportText(report).find('\x1B'), std::string::npos);
  EXPECT_EQ(reportText(report).find("\xC2\x9B"), std::string::npos);
}

TEST(Report, isOneJsonObject) {
  Report report;
  report.target = "/to";
  report.libraries.push_back({"/disk/L", "Photos 5 library", "L/"});
  report.counts.photos = 3;
  report.add(Finding::NoDate, "L", "a\"b.jpg");
  report.add(Finding::MissingOriginal, "L", "c.jpg", "why");
  std::string text;
  writeReportJson(report, [&](std::string_view part) { text += part; });
  const auto json = nlohmann::json::parse(text);
  EXPECT_EQ(json["complete"], false);
  EXPECT_EQ(json["counts"]["photos"], 3);
  EXPECT_EQ(json["libraries"][0]["folder"], "L/");
  ASSERT_EQ(json["findings"].size(), 2u);
  EXPECT_EQ(json["findings"][0]["finding"], "missingOriginal");
  EXPECT_EQ(json["findings"][1]["file"], "a\"b.jpg");
}

TEST(Report, hasATextForEveryFinding) {
  for (std::size_t i = 0; i < kFindings; ++i) {
    EXPECT_FALSE(wordOf(static_cast<Finding>(i)).empty());
    EXPECT_FALSE(headingOf(static_cast<Finding>(i)).empty());
  }
}

}  // namespace
}  // namespace moxtel
