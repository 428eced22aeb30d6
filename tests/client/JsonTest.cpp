#include "client/Json.h"

#include <cmath>
#include <sstream>

#include "client/SafeText.h"

namespace moxtel {
namespace {

std::string jsonOf(const Value& value) {
  std::ostringstream out;
  writeJson(out, value);
  return out.str();
}

TEST(Json, writesRealsSoThatTheyStayReals) {
  EXPECT_EQ(jsonOf(Array{{2.0, -0.0, 0.1, 1e22, 5e-324, HUGE_VAL, -HUGE_VAL, std::nan("")}}),
            "[\n  2.0,\n  -0.0,\n  0.1,\n  1e+22,\n  5e-324,\n  null,\n  null,\n  null\n]\n");
}

TEST(Json, writesDatesOfOtherYearsAsSeconds) {
  EXPECT_EQ(jsonOf(Date{1e300}), "1e+300\n");
  EXPECT_EQ(jsonOf(Date{0}), "\"2001-01-01T00:00:00Z\"\n");
}

TEST(Json, escapesWhatATerminalActsOn) {
  EXPECT_EQ(jsonOf("\x1b[2J\t\"\\/"), "\"\\u001b[2J\\t\\\"\\\\/\"\n");
  EXPECT_EQ(jsonOf("\x7f"), "\"\\u007f\"\n");
  // One such character beyond ASCII: the whole text is written in ASCII.
  EXPECT_EQ(jsonOf("é\xc2\x9b😀"), "\"\\u00e9\\u009b\\ud83d\\ude00\"\n");
  EXPECT_EQ(jsonOf("\xe2\x80\xae"), "\"\\u202e\"\n");
  EXPECT_EQ(jsonOf("é😀"), "\"é😀\"\n");
  EXPECT_EQ(jsonOf(Dictionary{{"\x07", 1}}), "{\n  \"\\u0007\": 1\n}\n");
}

TEST(Json, replacesBytesThatAreNotUtf8) {
  EXPECT_EQ(jsonOf(Value(std::string("a\xff z"))), "\"a� z\"\n");
  EXPECT_EQ(jsonOf(Value(std::string("\xe2\x82"))), "\"�\"\n");
}

TEST(Json, indentsNestedCollections) {
  EXPECT_EQ(jsonOf(Array{{Array(), Dictionary{{"a", Array{{true, Value()}}}}}}),
            "[\n  [],\n  {\n    \"a\": [\n      true,\n      null\n    ]\n  }\n]\n");
}

TEST(Iso8601, writesMomentsInUtc) {
  EXPECT_EQ(iso8601(Date{0}), "2001-01-01T00:00:00Z");
  EXPECT_EQ(iso8601(Date{0.25}), "2001-01-01T00:00:00.250Z");
  EXPECT_EQ(iso8601(Date{-0.001}), "2000-12-31T23:59:59.999Z");
  EXPECT_EQ(iso8601(Date{-63113904000.0}), "0001-01-01T00:00:00Z");
  EXPECT_EQ(iso8601(Date{252423993599.0}), "9999-12-31T23:59:59Z");
}

TEST(Iso8601, hasNoTextForOtherYears) {
  for (const double seconds : {-63113904001.0, 252423993600.0, 1e300, -1e300}) {
    EXPECT_EQ(iso8601(Date{seconds}), "");
  }
  EXPECT_EQ(iso8601(Date{std::numeric_limits<double>::quiet_NaN()}), "");
}

// The examples of RFC 4648, section 10.
TEST(Base64, padsToGroupsOfFour) {
  const auto encoded = [](std::string_view text) { return base64(Bytes(text.begin(), text.end())); };
  EXPECT_EQ(encoded(""), "");
  EXPECT_EQ(encoded("f"), "Zg==");
  EXPECT_EQ(encoded("fo"), "Zm8=");
  EXPECT_EQ(encoded("foo"), "Zm9v");
  EXPECT_EQ(encoded("foob"), "Zm9vYg==");
  EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
  EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
  EXPECT_EQ(base64(Bytes{0xFF, 0xFE, 0xFD}), "//79");
}

TEST(SafeText, replacesWhatIsNoUtf8) {
  EXPECT_EQ(printable("\xc0\xaf"), "��");            // a slash in two bytes
  EXPECT_EQ(printable("\xed\xa0\x80"), "���");       // a surrogate
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "����");  // beyond U+10FFFF
  EXPECT_EQ(printable("\xe2\x82"), "�");             // cut off: one mark for what began well
  EXPECT_EQ(printable("\xe2\x82z"), "�z");
  EXPECT_EQ(printable("€😀é"), "€😀é");
  EXPECT_EQ(lengthOf("€😀é"), 3u);
}

TEST(SafeText, keepsLinesWhereTheyAreWanted) {
  EXPECT_EQ(printable("a\nb\tc\r", Lines::Many), "a\nb\tc\\u000d");
  EXPECT_EQ(printable("a\nb\tc\r", Lines::One), "a b c\\u000d");
}

TEST(SafeText, escapesMarksOfDirectionAndCharactersWithoutWidth) {
  EXPECT_EQ(printable("a\u061c\u200b\u200c\u200d\u200e\u202eb"),
            "a\\u061c\\u200b\\u200c\\u200d\\u200e\\u202eb");
  EXPECT_EQ(jsonOf("\u061c\u200b\u200c\u200d"), "\"\\u061c\\u200b\\u200c\\u200d\"\n");
}

TEST(SafeText, cutsBetweenCharacters) {
  EXPECT_EQ(printableCut("ééééé", 5), "ééééé");
  EXPECT_EQ(printableCut("éééééé", 5), "éééé…");
  EXPECT_EQ(printableCut("\x1b\x1b", 12), "\\u001b\\u001b");
  EXPECT_EQ(printableCut("\x1b\x1b", 11), "\\u001b…");
  EXPECT_EQ(printableCut(std::string(1 << 20, 'x'), 3), "xx…");
}

TEST(Json, measuresWhatItWouldWrite) {
  const Value value = Dictionary{{"a", Array{{"text", 1.5, true}}}, {"b", Bytes(300)}};
  const auto size = jsonOf(value).size();
  EXPECT_GE(jsonSize(value, 1 << 20), size - 20);
  EXPECT_LE(jsonSize(value, 1 << 20), size + 100);
  EXPECT_GT(jsonSize(Array(std::vector<Value>(1000, std::string(1000, 'x')), Mutability::Immutable), 5000),
            5000u);
}

TEST(JsonArrayWriter, writesTheSameAsTheWholeArray) {
  const Array items{{1, Dictionary{{"a", "b"}}, Array()}};
  for (const Array& array : {items, Array()}) {
    std::ostringstream out;
    JsonArrayWriter writer(out);
    for (const Value& item : array) writer.add(item);
    writer.finish();
    EXPECT_EQ(out.str(), jsonOf(array));
  }
}

}  // namespace
}  // namespace moxtel
