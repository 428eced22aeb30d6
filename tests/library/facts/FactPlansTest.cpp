// The queries for facts find their rows along indexes, in libraries of every kind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "library/facts/FactQueries.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"
#include "tests/library/AdaptedDatabase.h"

namespace moxtel {
namespace {

namespace make = makelibrary;

struct PlanCase {
  const char* name;
  std::size_t file;  // index into LibraryLayout::databaseFiles
  SqlText sql;
  bool isOfIPhoto = false;  // Photos has nothing for it
};

const PlanCase kCases[] = {
    {"versions", 0, fact_query::kVersions},     {"keywords", 0, fact_query::kKeywords},
    {"places", 0, fact_query::kPlaces, true},   {"master", 0, fact_query::kMaster},
    {"previews", 1, fact_query::kPreviews},     {"iptc", 2, fact_query::kIptc},
    {"texts", 2, fact_query::kExifTexts, true}, {"numbers", 2, fact_query::kExifNumbers, true}};

class FactPlansTest : public testing::TestWithParam<make::LibraryKind> {
 protected:
  static const std::string& library() {
    static TemporaryFolder folder;
    static std::map<make::LibraryKind, std::string> libraries;
    std::string& path = libraries[GetParam()];
    if (path.empty()) {
      make::MakeLibraryOptions options;
      options.kind = GetParam();
      options.photos = 20;
      options.images = make::Images::None;
      options.everything = GetParam() == make::LibraryKind::IPhoto;
      options.folder = path = folder.path().string() + "/" + std::to_string(static_cast<int>(GetParam()));
      make::makeLibrary(options);
    }
    return path;
  }
  // The steps of a query that read a whole table, one a line.
  std::string scansOf(std::size_t file, SqlText sql) {
    std::string scans;
    const auto plan = test::AdaptedDatabase(library(), file).planOf(sql.view());
    EXPECT_FALSE(plan.empty()) << sql.view();
    for (const auto& [id, parent, step] : plan) {
      if (step.starts_with("SCAN") && !step.starts_with("SCAN CONSTANT ROW")) scans += step + "\n";
      if (step.find("AUTOMATIC") != std::string::npos) scans += step + "\n";
    }
    return scans;
  }
};

TEST_P(FactPlansTest, readNoWholeTable) {
  for (const PlanCase& each : kCases) {
    if (each.isOfIPhoto && GetParam() != make::LibraryKind::IPhoto) continue;
    EXPECT_EQ(scansOf(each.file, each.sql), "") << each.name;
  }
}

TEST_P(FactPlansTest, findTheFacesOfAMaster) {
  const bool isIPhoto = GetParam() == make::LibraryKind::IPhoto;
  EXPECT_EQ(scansOf(3, isIPhoto ? fact_query::kCorners : fact_query::kSquares), "");
  if (isIPhoto) {
    EXPECT_EQ(scansOf(0, fact_query::kInEdited), "");
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, FactPlansTest,
                         testing::Values(make::LibraryKind::IPhoto, make::LibraryKind::Photos4,
                                         make::LibraryKind::Photos5, make::LibraryKind::Photos8,
                                         make::LibraryKind::Photos11));

}  // namespace
}  // namespace moxtel
