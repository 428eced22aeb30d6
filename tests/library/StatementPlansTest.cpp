// The plans of all statements in the program's sources over the views of each kind of library: none may read
// a table once for each row, nor build an index for itself. One such join took a minute in a library of
// 100,000 photos. Small libraries show it, because no library of Photos has statistics about its tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"
#include "tests/library/AdaptedDatabase.h"

namespace moxtel::test {
namespace {

namespace fs = std::filesystem;

// Texts in C++ sources that begin with SELECT, each with its adjacent literals.
class Literals final {
 public:
  explicit Literals(std::string source) : source_(std::move(source)) {}
  std::vector<std::string> selects() {
    std::vector<std::string> found;
    while ((at_ = source_.find("\"SELECT ", at_)) != std::string::npos) found.push_back(takeText());
    return found;
  }

 private:
  std::string takeText() {
    std::string text;
    while (at_ < source_.size() && source_[at_] == '"') {
      for (++at_; at_ < source_.size() && source_[at_] != '"'; ++at_) {
        if (source_[at_] == '\\') ++at_;
        text += source_[at_];
      }
      at_ = source_.find_first_not_of(" \n", at_ + 1);
    }
    return text;
  }

  std::string source_;
  std::size_t at_ = 0;
};

// Rooms whose statements ask other databases, or the library's own tables before the views are there.
bool asksViews(const std::string& path) {
  for (const char* other : {"/kinds/", "/search/", "/completeness/", "/web/"})
    if (path.find(other) != std::string::npos) return false;
  return true;
}

const std::set<std::string>& statements() {
  static const std::set<std::string> all = [] {
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(MOXTEL_SOURCES)) {
      const std::string path = entry.path().string();
      if (!entry.is_regular_file() || !asksViews(path)) continue;
      std::ifstream file(path);
      Literals literals(std::string(std::istreambuf_iterator<char>(file), {}));
      for (std::string& each : literals.selects()) found.insert(std::move(each));
    }
    return found;
  }();
  return all;
}

// What is wrong with a plan; empty for nothing.
class PlanCheck final {
 public:
  PlanCheck(const AdaptedDatabase& database, std::string_view sql)
      : database_(database), plan_(database.planOf(sql)) {}

  bool isForThisKind() const { return !plan_.empty(); }

  // Loops follow one another at a level: the first one may read a whole table, an inner one, and those of a
  // subquery that runs for each row, may not.
  std::string slowJoins() const { return slowJoinsBelow(0, false); }
  std::string searchesByCommonValues() const {
    static const std::regex kCommon(
        "\\((ZTRASHEDSTATE|ZHIDDEN|ZVISIBILITYSTATE|isInTrash|isHidden|showInLibrary)=");
    std::string found;
    for (const AdaptedDatabase::Step& step : plan_)
      if (std::regex_search(step.text, kCommon)) found += step.text + "; ";
    return found;
  }
  // Tables that are read as a whole.
  std::string scans() const {
    std::string found;
    for (const AdaptedDatabase::Step& step : plan_)
      if (isScan(step)) found += step.text + "; ";
    return found;
  }

 private:
  std::string slowJoinsBelow(int parent, bool isInner) const {
    std::string found;
    bool isFirst = true;
    for (const AdaptedDatabase::Step& step : plan_) {
      if (step.parent != parent) continue;
      if (step.text.find("AUTOMATIC") != std::string::npos) found += step.text + "; ";
      if (isScan(step) && (isInner || !isFirst)) found += step.text + "; ";
      if (step.text.starts_with("SCAN") || step.text.starts_with("SEARCH")) isFirst = false;
      found += slowJoinsBelow(step.id, isInner || step.text.starts_with("CORRELATED"));
    }
    return found;
  }
  bool isScan(const AdaptedDatabase::Step& step) const {
    return step.text.starts_with("SCAN ") && step.text != "SCAN CONSTANT ROW" && !isOfNothing(step.text);
  }
  // A table or view for which a kind of library has nothing.
  bool isOfNothing(std::string_view scan) const {
    const std::string_view name = scan.substr(5, scan.find(' ', 5) - 5);
    return name.starts_with("RK") && database_.isEmpty(name);
  }

  const AdaptedDatabase& database_;
  std::vector<AdaptedDatabase::Step> plan_;
};

// Whether a statement asks for what belongs to one photo, album, event or person.
bool looksSomethingUp(const std::string& sql) {
  static const std::regex kOne(
      "\\b(uuid|modelId|versionId|versionUuid|albumId|projectUuid|masterUuid|faceKey|attachedToUuid) = '?%");
  return std::regex_search(sql, kOne);
}

// Only folders of Aperture have a path.
bool isOfAperture(const std::string& sql) { return sql.find("f.folderPath >=") != std::string::npos; }

class StatementPlansTest : public testing::TestWithParam<makelibrary::LibraryKind> {
 protected:
  StatementPlansTest() {
    makelibrary::MakeLibraryOptions options;
    options.kind = GetParam();
    options.photos = 60;
    options.images = makelibrary::Images::None;
    options.folder = folder.path() / "library";
    makelibrary::makeLibrary(options);
    database = std::make_unique<AdaptedDatabase>(options.folder.string(), 0);
  }

  TemporaryFolder folder;
  std::unique_ptr<AdaptedDatabase> database;
};

TEST_P(StatementPlansTest, readNoTableForEachRow) {
  int checked = 0;
  for (const std::string& sql : statements()) {
    if (isOfAperture(sql)) continue;
    const PlanCheck plan(*database, sql);
    checked += plan.isForThisKind() ? 1 : 0;
    EXPECT_EQ(plan.slowJoins(), "") << sql;
  }
  EXPECT_GT(checked, 70);
}

// Nearly all photos are in no trash and not hidden: an index on that finds all of them.
TEST_P(StatementPlansTest, useNoIndexOnWhatPhotosHaveInCommon) {
  for (const std::string& sql : statements()) {
    if (isOfAperture(sql)) continue;
    EXPECT_EQ(PlanCheck(*database, sql).searchesByCommonValues(), "") << sql;
  }
}

TEST_P(StatementPlansTest, lookThingsUpByIndexes) {
  int checked = 0;
  for (const std::string& sql : statements()) {
    // The last row is where the table ends.
    const bool isOfLastRow = sql.find("ORDER BY rowid DESC LIMIT 1)") != std::string::npos;
    if (!looksSomethingUp(sql) || isOfLastRow) continue;
    const PlanCheck plan(*database, sql);
    checked += plan.isForThisKind() ? 1 : 0;
    EXPECT_EQ(plan.scans(), "") << sql;
  }
  EXPECT_GT(checked, 30);
}

INSTANTIATE_TEST_SUITE_P(Kinds, StatementPlansTest,
                         testing::Values(makelibrary::LibraryKind::Photos4, makelibrary::LibraryKind::Photos5,
                                         makelibrary::LibraryKind::Photos8,
                                         makelibrary::LibraryKind::Photos11,
                                         makelibrary::LibraryKind::AlbumDataOnly));

}  // namespace
}  // namespace moxtel::test
