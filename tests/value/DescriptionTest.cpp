#include "value/Description.h"

#include <cmath>
#include <limits>

namespace moxtel {
namespace {

TEST(Description, printsBareValuesBare) {
  EXPECT_EQ(describe(Value()), "(null)");
  EXPECT_EQ(describe("a text, bare \"as it is\"\n"), "a text, bare \"as it is\"\n");
  EXPECT_EQ(describe(42), "42");
  EXPECT_EQ(describe(-42), "-42");
  EXPECT_EQ(describe(UINT64_MAX), "18446744073709551615");
  EXPECT_EQ(describe(true), "1");
  EXPECT_EQ(describe(false), "0");
  EXPECT_EQ(describe(1.5), "1.5");
}

TEST(Description, printsDictionariesInBraces) {
  EXPECT_EQ(describe(Dictionary({{"command", "Get Albums"}, {"id", "a/b:c.d-e_f$1"}})),
            "{\n    command = \"Get Albums\";\n    id = a/b:c.d-e_f$1;\n}");
  EXPECT_EQ(describe(Dictionary()), "{\n}");
}

TEST(Description, printsArraysInParentheses) {
  EXPECT_EQ(describe(Array({1, "x", "y z"})), "(\n    1,\n    x,\n    \"y z\"\n)");
  EXPECT_EQ(describe(Array()), "(\n)");
}

TEST(Description, indentsNestedCollectionsByFour) {
  EXPECT_EQ(describe(Dictionary({{"list", Array({Dictionary({{"k", 1}})})}})),
            "{\n    list = (\n        {\n            k = 1;\n        }\n    );\n}");
}

TEST(Description, quotesWhatIsNotPlain) {
  EXPECT_EQ(describe(Array({""})), "(\n    \"\"\n)");
  EXPECT_EQ(describe(Array({"a\"b\\c"})), "(\n    \"a\\\"b\\\\c\"\n)");
  EXPECT_EQ(describe(Array({"a%b"})), "(\n    \"a%b\"\n)");
  EXPECT_EQ(describe(Dictionary({{"two words", nullptr}})), "{\n    \"two words\" = \"<null>\";\n}");
}

TEST(Description, printsDataByLengthAndBytes) {
  EXPECT_EQ(describe(Bytes()), "{length = 0, bytes = 0x}");
  EXPECT_EQ(describe(Bytes{0, 255}), "{length = 2, bytes = 0x00ff}");
  EXPECT_EQ(describe(Bytes(24, 0xAA)), "{length = 24, bytes = 0x" + std::string(48, 'a') + "}");
  Bytes longer(100, 0x11);
  longer.back() = 0x22;
  EXPECT_EQ(describe(longer),
            "{length = 100, bytes = 0x11111111 11111111 11111111 11111111 ... 11111111 11111122}");
}

TEST(Description, printsDatesInUtc) {
  EXPECT_EQ(describe(Date{0}), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(describe(Value(Date{490007103})), "2016-07-12 09:05:03 +0000");
  EXPECT_EQ(describe(Date{-0.5}), "2000-12-31 23:59:59 +0000");
  EXPECT_EQ(describe(Date{-978307200}), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(describe(Array({Date{0}})), "(\n    \"2001-01-01 00:00:00 +0000\"\n)");
}

TEST(Description, printsMomentsOutsideTheCalendarAsSeconds) {
  EXPECT_EQ(describe(Date{1e300}), "1e+300");
  EXPECT_EQ(describe(Date{std::numeric_limits<double>::infinity()}), "inf");
  EXPECT_EQ(describe(Date{std::nan("")}), "nan");
  EXPECT_EQ(describe(Date{-1e18}), "-1e+18");
}

TEST(Description, endsSomewhereInDeepNesting) {
  Value deep = 1;
  for (int i = 0; i < 1000; ++i) deep = Array({deep});
  EXPECT_NE(describe(deep).find("..."), std::string::npos);
}

}  // namespace
}  // namespace moxtel
