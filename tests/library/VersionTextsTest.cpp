#include "library/VersionTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "platform/system/SystemLog.h"
#include "tests/library/TestLibrary.h"

namespace moxtel {
namespace {

using test::OpenedLibrary;
using test::TestLibrary;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class VersionTextsTest : public testing::Test {
 protected:
  void SetUp() override {
    setSystemLogSink([this](std::string_view line) { log.emplace_back(line); });
  }
  void TearDown() override { setSystemLogSink({}); }

  void properties(const std::string& sql) { files.execute(DatabaseFile::Properties, sql); }
  void caption(const std::string& versionId, const std::string& text) {
    properties("INSERT INTO RKUniqueString(stringProperty) VALUES(" + text +
               "); INSERT INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES('Caption/Abstract'," +
               versionId + ",last_insert_rowid())");
  }
  std::vector<Value> captionsOf(OpenedLibrary& opened, const std::vector<std::int32_t>& ids) {
    VersionTexts texts(opened.databases, VersionTexts::kCaptions);
    std::vector<Value> found;
    for (const std::int32_t id : ids) found.push_back(texts.textOf(id));
    return found;
  }
  std::vector<Value> captionsOf(const std::vector<std::int32_t>& ids) {
    OpenedLibrary opened(files);
    return captionsOf(opened, ids);
  }
  // What a query for each of them gives.
  std::vector<Value> oneByOne(const std::vector<std::int32_t>& ids) {
    OpenedLibrary opened(files);
    std::vector<Value> found;
    for (const std::int32_t id : ids) {
      Query query = opened.databases.run(DatabaseFile::Properties, VersionTexts::kCaptions.ofOne, {id});
      Value last;
      while (query.step()) {
        if (!query.stringColumn(0).string().empty()) last = query.stringColumn(0);
      }
      found.push_back(last);
    }
    return found;
  }

  TestLibrary files;
  std::vector<std::string> log;
};

TEST_F(VersionTextsTest, readsInStepWithAscendingIds) {
  caption("2", "'two'");
  caption("3", "'three'");
  caption("9", "'nine'");
  EXPECT_THAT(captionsOf({1, 2, 2, 3, 4, 8, 9, 10, 11}),
              ElementsAre(Value(), "two", "two", "three", Value(), Value(), "nine", Value(), Value()));
}

TEST_F(VersionTextsTest, goesBackAndFarAhead) {
  caption("-5", "'minus five'");
  caption("1", "'one'");
  caption("2000000000", "'far'");
  EXPECT_THAT(captionsOf({2000000000, 1, 2147483647, 0, -5, -2147483647 - 1, 1, 2000000000}),
              ElementsAre("far", "one", Value(), Value(), "minus five", Value(), "one", "far"));
}

TEST_F(VersionTextsTest, emptyAndMissingTextsAreNone) {
  caption("1", "''");
  caption("2", "NULL");
  properties("INSERT INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES('Caption/Abstract',3,12345)");
  properties("INSERT INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES('Caption/Abstract',4,NULL)");
  properties("INSERT INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES('Headline',5,1)");
  EXPECT_THAT(captionsOf({1, 2, 3, 4, 5}), testing::Each(Value()));
}

TEST_F(VersionTextsTest, ignoresRowsWhoseIdIsNoWholeNumber) {
  caption("2.5", "'between'");
  caption("'text'", "'text'");
  caption("x'32'", "'bytes'");
  caption("NULL", "'nothing'");
  caption("4294967298", "'wide'");
  caption("'3'", "'digits'");
  EXPECT_THAT(captionsOf({0, 2, 3, 4, 2147483647}),
              ElementsAre(Value(), Value(), "digits", Value(), Value()));
}

TEST_F(VersionTextsTest, agreesWithOneQueryForEach) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](unsigned bound) { return static_cast<int>(random() % bound); };
    properties("DELETE FROM RKIptcProperty; DELETE FROM RKUniqueString");
    const unsigned range = 1U << (2 + seed % 7);
    for (unsigned i = 0; i < 60; ++i) {
      const std::string id = std::to_string(below(range) - 2);
      properties("INSERT OR IGNORE INTO RKUniqueString(modelId,stringProperty) VALUES(" + std::to_string(i) +
                 ",'text " + std::to_string(i) + "')");
      properties(
          "INSERT OR IGNORE INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES("
          "'Caption/Abstract'," +
          id + (below(9) ? "" : ".5") + "," + std::to_string(below(70)) + ")");
    }
    std::vector<std::int32_t> ids(range);
    std::iota(ids.begin(), ids.end(), -2);
    if (seed % 3 == 0) std::shuffle(ids.begin(), ids.end(), random);
    if (seed % 3 == 1) std::erase_if(ids, [&below](std::int32_t) { return below(3) > 0; });
    EXPECT_EQ(captionsOf(ids), oneByOne(ids)) << "seed " << seed;
  }
  EXPECT_THAT(log, Not(testing::Contains(testing::HasSubstr("could not"))));
}

TEST_F(VersionTextsTest, withoutTheTableEveryIdIsLogged) {
  properties("DROP TABLE RKIptcProperty");
  OpenedLibrary opened(files);
  log.clear();
  EXPECT_THAT(captionsOf(opened, {1, 2, 3}), testing::Each(Value()));
  const std::string query =
      "could not prepare query 'SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId "
      "FROM RKIptcProperty WHERE propertyKey = 'Caption/Abstract' AND versionId = ";
  EXPECT_THAT(log, ElementsAre(query + "1)'", query + "2)'", query + "3)'"));
  EXPECT_TRUE(opened.databases.sawFailure());
}

class LooserTextsTest : public VersionTextsTest, public testing::WithParamInterface<const char*> {};

// Tables other than those of known libraries: what a query for each photo gives counts.
TEST_P(LooserTextsTest, agreesWithOneQueryForEach) {
  properties("DROP TABLE RKIptcProperty; DROP TABLE RKUniqueString");
  properties(GetParam());
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&random](unsigned bound) { return std::to_string(random() % bound); };
    properties("DELETE FROM RKIptcProperty; DELETE FROM RKUniqueString");
    for (unsigned i = 0; i < 80; ++i) {
      properties("INSERT OR IGNORE INTO RKUniqueString(modelId,stringProperty) VALUES(" + below(30) +
                 ",'text " + std::to_string(i) + "')");
      properties("INSERT OR IGNORE INTO RKIptcProperty(propertyKey,versionId,stringId) VALUES('" +
                 std::string(i % 3 ? "Caption/Abstract" : "caption/abstract") + "'," + below(25) + "," +
                 below(30) + ")");
    }
    std::vector<std::int32_t> ids(25);
    std::iota(ids.begin(), ids.end(), 0);
    const auto expected = oneByOne(ids);
    EXPECT_THAT(expected, testing::Contains(Not(Value())));
    EXPECT_EQ(captionsOf(ids), expected) << "seed " << seed;
  }
}

constexpr const char* kLooserTables[] = {
    // Ids as text, which are in another order than numbers.
    "CREATE TABLE RKIptcProperty(modelId integer primary key, versionId varchar, propertyKey varchar, "
    "stringId "
    "integer);"
    "CREATE UNIQUE INDEX u on RKIptcProperty(propertyKey,versionId);"
    "CREATE TABLE RKUniqueString(modelId integer primary key, stringProperty varchar)",
    // Several properties of one version.
    "CREATE TABLE RKIptcProperty(modelId integer primary key, versionId integer, propertyKey varchar, "
    "stringId "
    "integer);"
    "CREATE INDEX u on RKIptcProperty(propertyKey,versionId,stringId);"
    "CREATE TABLE RKUniqueString(modelId integer primary key, stringProperty varchar)",
    // Several texts with one id, found by an index that sorts them by text.
    "CREATE TABLE RKIptcProperty(modelId integer primary key, versionId integer, propertyKey varchar, "
    "stringId "
    "integer);"
    "CREATE UNIQUE INDEX u on RKIptcProperty(propertyKey,versionId);"
    "CREATE TABLE RKUniqueString(modelId integer, stringProperty varchar);"
    "CREATE INDEX v on RKUniqueString(modelId,stringProperty DESC)",
    // No index at all, and a key that ignores case.
    "CREATE TABLE RKIptcProperty(modelId, versionId, propertyKey varchar COLLATE NOCASE, stringId);"
    "CREATE TABLE RKUniqueString(modelId, stringProperty varchar)"};
INSTANTIATE_TEST_SUITE_P(Tables, LooserTextsTest, testing::ValuesIn(kLooserTables));

// Here caused by the end of the transaction; damage in the file has the same effect.
TEST_F(VersionTextsTest, continuesWithSingleQueriesAfterAFailedPass) {
  caption("1", "'one'");
  caption("2", "'two'");
  OpenedLibrary opened(files);
  VersionTexts texts(opened.databases, VersionTexts::kCaptions);
  EXPECT_EQ(texts.textOf(1), "one");
  opened.databases.releaseLocks();
  EXPECT_EQ(texts.textOf(2), "two");
}

}  // namespace
}  // namespace moxtel
