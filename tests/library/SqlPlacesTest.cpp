#include "library/database/SqlPlaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

TEST(SqlPlaces, putAParameterInEachPlaceAndLeaveOtherLiteralsAlone) {
  const SqlTemplate parsed = parseSqlPlaces(
      "SELECT a FROM t WHERE k = 'Caption/Abstract' AND b = '%@' AND c = '%d' AND d = %d AND e = %ld AND f = "
      "%lld");
  EXPECT_EQ(parsed.parameterized,
            "SELECT a FROM t WHERE k = 'Caption/Abstract' AND b = ? AND c = ? AND d = ? AND e = ? AND f = ?");
  EXPECT_THAT(parsed.places, ElementsAre(SqlPlace::Text, SqlPlace::NumberText, SqlPlace::Integer32,
                                         SqlPlace::Integer64, SqlPlace::Integer64));
}

TEST(SqlPlaces, areFilledInForMessages) {
  const Value values[] = {"a%d'b", 4294967297LL, 4294967297LL, nullptr};
  EXPECT_EQ(filledIn("x = '%@' AND y = %d AND z = %lld AND n = '%@'", values),
            "x = 'a%d'b' AND y = 1 AND z = 4294967297 AND n = '(null)'");
}

TEST(SqlPlaces, treatQuotesAndNulsAsEndsOfALiteral) {
  EXPECT_TRUE(breaksOutOfLiteral("a'b"));
  EXPECT_TRUE(breaksOutOfLiteral("a''b"));
  EXPECT_TRUE(breaksOutOfLiteral("a\0b"s));
  EXPECT_FALSE(breaksOutOfLiteral("Tn%h%CuhQru\"`;--D8VQ5zVgy8g"));
  EXPECT_FALSE(breaksOutOfLiteral(""));
}

// What SQLite reads from a bound value, and what it reads from the text with the value formatted in.
class BoundValuesTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK); }
  void TearDown() override { sqlite3_close(database_); }

  std::string row(sqlite3_stmt* statement) {
    std::string text = sqlite3_step(statement) == SQLITE_ROW
                           ? std::string(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)))
                           : "no row";
    sqlite3_finalize(statement);
    return text;
  }
  std::string bound(std::string_view sql, const Value& value) {
    const SqlTemplate parsed = parseSqlPlaces(sql);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(database_, parsed.parameterized.c_str(), -1, &statement, nullptr),
              SQLITE_OK);
    EXPECT_TRUE(bindValues(statement, parsed.places, std::span(&value, 1)));
    return row(statement);
  }
  std::string formatted(std::string_view sql, const Value& value) {
    sqlite3_stmt* statement = nullptr;
    const std::string text = filledIn(sql, std::span(&value, 1));
    EXPECT_EQ(sqlite3_prepare_v2(database_, text.c_str(), -1, &statement, nullptr), SQLITE_OK) << text;
    return row(statement);
  }

  sqlite3* database_ = nullptr;
};

TEST_F(BoundValuesTest, valuesAreWhatTheFormattedTextGives) {
  const Value values[] = {nullptr,
                          "",
                          "5",
                          "x y%",
                          5,
                          -1,
                          4294967297LL,
                          9223372036854775807LL,
                          INT64_MIN,
                          2.5,
                          1e300,
                          true,
                          "12abc",
                          Value(18446744073709551615ULL)};
  for (const char* place : {"'%@'", "'%d'", "%d", "%ld", "%lld"}) {
    for (const Value& value : values) {
      const std::string sql = "SELECT typeof(" + std::string(place) + ") || quote(" + place + ")";
      const SqlTemplate parsed = parseSqlPlaces(sql);
      // Both places get the one value.
      const Value twice[] = {value, value};
      sqlite3_stmt* statement = nullptr;
      ASSERT_EQ(sqlite3_prepare_v2(database_, parsed.parameterized.c_str(), -1, &statement, nullptr),
                SQLITE_OK);
      ASSERT_TRUE(bindValues(statement, parsed.places, twice));
      sqlite3_stmt* other = nullptr;
      const std::string text = filledIn(sql, twice);
      ASSERT_EQ(sqlite3_prepare_v2(database_, text.c_str(), -1, &other, nullptr), SQLITE_OK) << text;
      EXPECT_EQ(row(statement), row(other)) << text;
    }
  }
}

TEST_F(BoundValuesTest, aNumberTextEqualsAnIntegerColumnAsTheLiteralDoes) {
  sqlite3_exec(database_, "CREATE TABLE t(id integer primary key, n integer); INSERT INTO t VALUES(7, 70)",
               nullptr, nullptr, nullptr);
  EXPECT_EQ(bound("SELECT n FROM t WHERE id = '%d'", 7), "70");
  EXPECT_EQ(formatted("SELECT n FROM t WHERE id = '%d'", 7), "70");
}

TEST_F(BoundValuesTest, aMissingValueCountsAsNil) {
  sqlite3_stmt* statement = nullptr;
  const SqlTemplate parsed = parseSqlPlaces("SELECT '%@'");
  ASSERT_EQ(sqlite3_prepare_v2(database_, parsed.parameterized.c_str(), -1, &statement, nullptr), SQLITE_OK);
  EXPECT_TRUE(bindValues(statement, parsed.places, {}));
  EXPECT_EQ(row(statement), "(null)");
}

}  // namespace
}  // namespace moxtel
