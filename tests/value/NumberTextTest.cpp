#include "value/NumberText.h"

#include <clocale>
#include <cmath>
#include <limits>

namespace moxtel {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(NumberText, takesAsManyCharactersAsFit) {
  EXPECT_EQ(intValueOf("42"), 42);
  EXPECT_EQ(intValueOf("42.9"), 42);
  EXPECT_EQ(intValueOf("42abc"), 42);
  EXPECT_EQ(intValueOf("-7-"), -7);
  EXPECT_EQ(intValueOf("+7"), 7);
  EXPECT_EQ(intValueOf("0x10"), 0);
  EXPECT_EQ(integerValueOf("007"), 7);
}

TEST(NumberText, skipsLeadingWhiteSpaceOnly) {
  EXPECT_EQ(intValueOf(" \t\r\n\v\f42"), 42);
  EXPECT_EQ(doubleValueOf("\n 1.5"), 1.5);
  EXPECT_EQ(intValueOf("4 2"), 4);
  EXPECT_EQ(intValueOf("- 2"), 0);
}

TEST(NumberText, readsWhatDoesNotFitAsZero) {
  for (const char* text : {"", " ", "abc", "-", "+", "+-3", "-+3", "--3", "++3", ".", "e5", "YES"}) {
    EXPECT_EQ(intValueOf(text), 0) << text;
    EXPECT_EQ(integerValueOf(text), 0) << text;
    EXPECT_EQ(doubleValueOf(text), 0) << text;
  }
}

TEST(NumberText, saturatesOutOfRange) {
  EXPECT_EQ(intValueOf("2147483647"), INT32_MAX);
  EXPECT_EQ(intValueOf("2147483648"), INT32_MAX);
  EXPECT_EQ(intValueOf("-2147483649"), INT32_MIN);
  EXPECT_EQ(intValueOf(" +99999999999999999999"), INT32_MAX);
  EXPECT_EQ(integerValueOf("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(integerValueOf("9223372036854775808"), INT64_MAX);
  EXPECT_EQ(integerValueOf("-99999999999999999999"), INT64_MIN);
  EXPECT_EQ(integerValueOf(std::string(1000, '9')), INT64_MAX);
}

TEST(NumberText, readsReals) {
  EXPECT_EQ(doubleValueOf("1.5"), 1.5);
  EXPECT_EQ(doubleValueOf("-.5"), -0.5);
  EXPECT_EQ(doubleValueOf("5."), 5.0);
  EXPECT_EQ(doubleValueOf("+2"), 2.0);
  EXPECT_EQ(doubleValueOf("1e3x"), 1000.0);
  EXPECT_EQ(doubleValueOf("1e"), 1.0);
  EXPECT_EQ(doubleValueOf("1e+"), 1.0);
  EXPECT_EQ(doubleValueOf("1,5"), 1.0);
  EXPECT_EQ(doubleValueOf("0x10"), 0.0);
  EXPECT_EQ(doubleValueOf("nan"), 0.0);
  EXPECT_EQ(doubleValueOf("inf"), 0.0);
}

TEST(NumberText, saturatesReals) {
  EXPECT_EQ(doubleValueOf("1e999"), kInfinity);
  EXPECT_EQ(doubleValueOf("-1e999"), -kInfinity);
  EXPECT_EQ(doubleValueOf("1e-999"), 0.0);
  EXPECT_EQ(doubleValueOf(std::string(400, '9')), kInfinity);
  EXPECT_EQ(doubleValueOf("0." + std::string(400, '0') + "1"), 0.0);
  EXPECT_EQ(doubleValueOf("0" + std::string(400, '9') + ".5"), kInfinity);
}

TEST(NumberText, readsTruthFromTheFirstSignificantCharacter) {
  for (const char* text : {"Y", "yes", "T", "true", "1", "9", "+1", "-5", " 001", "0y", "  +0Yes"}) {
    EXPECT_TRUE(boolValueOf(text)) << text;
  }
  for (const char* text : {"", "0", "no", "N", "false", "000", "-", "--1", "xY", "+ 1", "0 1"}) {
    EXPECT_FALSE(boolValueOf(text)) << text;
  }
}

TEST(NumberText, truncatesRealsAndSaturates) {
  EXPECT_EQ(saturatedInteger(1.99), 1);
  EXPECT_EQ(saturatedInteger(-1.99), -1);
  EXPECT_EQ(saturatedInteger(9223372036854775807.0), INT64_MAX);
  EXPECT_EQ(saturatedInteger(-9223372036854775808.0), INT64_MIN);
  EXPECT_EQ(saturatedInteger(kInfinity), INT64_MAX);
  EXPECT_EQ(saturatedInteger(-kInfinity), INT64_MIN);
  EXPECT_EQ(saturatedInteger(std::nan("")), 0);
}

TEST(NumberText, writesAPointInEveryLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
    if (!std::setlocale(LC_ALL, locale)) continue;
    EXPECT_EQ(fixedPoint(1.5), "1.500000");
    EXPECT_EQ(shortestReal(0.1), "0.1");
    EXPECT_EQ(doubleValueOf("1.5"), 1.5);
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST(NumberText, writesFixedDecimals) {
  EXPECT_EQ(fixedPoint(0), "0.000000");
  EXPECT_EQ(fixedPoint(-48.123456789), "-48.123457");
  EXPECT_EQ(fixedPoint(2.5, 0), "2");
  EXPECT_EQ(fixedPoint(1, -3), "1");
  EXPECT_EQ(fixedPoint(kInfinity), "inf");
  EXPECT_EQ(fixedPoint(-kInfinity), "-inf");
  EXPECT_EQ(fixedPoint(std::nan("")), "nan");
  EXPECT_EQ(fixedPoint(-std::numeric_limits<double>::max(), 128).size(), 1u + 309u + 1u + 128u);
}

TEST(NumberText, writesTheShortestTextThatReadsBack) {
  EXPECT_EQ(shortestReal(0.1), "0.1");
  EXPECT_EQ(shortestReal(100), "100");
  for (const double value : {1.0 / 3, 1e-300, 5e-324, 1.7976931348623157e308, -2.5}) {
    EXPECT_EQ(doubleValueOf(shortestReal(value)), value);
  }
}

}  // namespace
}  // namespace moxtel
