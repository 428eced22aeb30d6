#include "scripting/ScriptText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace moxtel {
namespace {

constexpr ScriptTemplate kReveal = "reveal image version id \"%@\"";
constexpr ScriptTemplate kPlace = "set latitude of photo id %ld to %lf";

TEST(ScriptText, fillsInTextsAndNumbers) {
  EXPECT_EQ(filledScript(kReveal, {"Tn%h%CuhQruD8VQ5zVgy8g"}),
            "reveal image version id \"Tn%h%CuhQruD8VQ5zVgy8g\"");
  EXPECT_EQ(filledScript(kPlace, {std::int64_t{4294967303}, 45.5}),
            "set latitude of photo id 4294967303 to 45.500000");
  EXPECT_EQ(filledScript(kReveal, {Value()}), "reveal image version id \"(null)\"");
}

TEST(ScriptText, writesTheNumberThatStandsForNoPosition) {
  EXPECT_EQ(filledScript(kPlace, {1, 3.4028234663852886e+38}),
            "set latitude of photo id 1 to 340282346638528859811704183484516925440.000000");
}

TEST(ScriptText, refusesWhatCouldLeaveItsQuotes) {
  for (const std::string_view hostile :
       {std::string_view("x\" of me\ndo shell script \"id"), std::string_view("\""), std::string_view("\\"),
        std::string_view("a\nb"), std::string_view("a\rb"), std::string_view("a\0b", 3),
        std::string_view("a\xC2\x85z"), std::string_view("a\xE2\x80\xA8z"),
        std::string_view("a\xE2\x80\xA9z")}) {
    EXPECT_FALSE(filledScript(kReveal, {hostile})) << hostile;
  }
}

// A collection prints with line breaks and quotes.
TEST(ScriptText, refusesCollections) {
  EXPECT_FALSE(filledScript(kReveal, {Value(Array{"a"})}));
  EXPECT_FALSE(filledScript(kReveal, {Value(Dictionary{{"a", 1}})}));
}

TEST(ScriptText, strangeNumbersStayOneWord) {
  for (const double number :
       {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN(), 1e308, -1e308}) {
    const auto script = filledScript(kPlace, {1, number});
    ASSERT_TRUE(script);
    EXPECT_EQ(script->find_first_of("\n\"", 0), std::string::npos);
    EXPECT_EQ(script->find(' ', std::string_view("set latitude of photo id 1 to ").size()),
              std::string::npos);
  }
}

}  // namespace
}  // namespace moxtel
