#include "value/Format.h"

#include <cmath>

namespace moxtel {
namespace {

TEST(Format, fillsInTheKindsOfPlaces) {
  EXPECT_EQ(format("isConnected ..., %p, %d", nullptr, -1), "isConnected ..., 0x0, -1");
  EXPECT_EQ(format("%d %i %ld %lld %u %lu %llu", -1, 2, 3, 4, 5u, 6u, 7u), "-1 2 3 4 5 6 7");
  EXPECT_EQ(format("%f %lf", 1.5, -0.25), "1.500000 -0.250000");
  EXPECT_EQ(format("%x %X %lx", 255, 255, 4294967296), "ff FF 100000000");
  EXPECT_EQ(format("%s", "text"), "text");
  EXPECT_EQ(format("100 %%"), "100 %");
}

TEST(Format, printsObjectsByTheirDescription) {
  EXPECT_EQ(format("'%@'", "a b"), "'a b'");
  EXPECT_EQ(format("%@", Value()), "(null)");
  EXPECT_EQ(format("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(format("%@", 5), "5");
  EXPECT_EQ(format("%@", Value(Array({"x"}))), "(\n    x\n)");
}

TEST(Format, neverReadsAnArgumentAsAFormat) {
  EXPECT_EQ(format("%@ %s", "%@ %d %n", "100%"), "%@ %d %n 100%");
}

TEST(Format, honorsWidthsPrecisionsAndFlags) {
  EXPECT_EQ(format("%5d|%-5d|%05d|%+d|% d", 42, 42, 42, 42, 42), "   42|42   |00042|+42| 42");
  EXPECT_EQ(format("%05d|%.3d", -42, 7), "-0042|007");
  EXPECT_EQ(format("%.2f|%8.3f|%-8.1f|%08.2f", 1.005, 3.14159, 2.0, -1.5), "1.00|   3.142|2.0     |-0001.50");
  EXPECT_EQ(format("%10@|%-6@|", "right", "left"), "     right|left  |");
  EXPECT_EQ(format("%#x", 255), "0xff");
  EXPECT_EQ(format("%.2s", "text"), "te");
}

TEST(Format, takes32BitsWhereNoLengthIsGiven) {
  EXPECT_EQ(format("%d", 4294967297), "1");
  EXPECT_EQ(format("%d", 2147483648), "-2147483648");
  EXPECT_EQ(format("%u", -1), "4294967295");
  EXPECT_EQ(format("%ld", 4294967297), "4294967297");
  EXPECT_EQ(format("%lu", UINT64_MAX), "18446744073709551615");
  EXPECT_EQ(format("%lld", INT64_MIN), "-9223372036854775808");
}

TEST(Format, printsRealsThatAreNoNumbers) { EXPECT_EQ(format("%f %f", std::nan(""), -INFINITY), "nan -inf"); }

TEST(FormatRuntime, leavesAPlaceWithoutArgumentEmpty) {
  EXPECT_EQ(formatRuntime("a %@ b %d c", "x"), "a x b  c");
  EXPECT_EQ(formatRuntime("%d"), "");
}

TEST(FormatRuntime, ignoresArgumentsTooMany) { EXPECT_EQ(formatRuntime("x", 1, 2), "x"); }

TEST(FormatRuntime, survivesBrokenPlaces) {
  for (const char* text :
       {"%", "%5", "%-", "%.", "%l", "%99999999999d", "%.99999999999f", "%q", "%y", "%\xC3"}) {
    EXPECT_LT(formatRuntime(text, 1.5).size(), 5000u) << text;
  }
}

TEST(FormatRuntime, readsAWrongArgumentAsItsValue) {
  EXPECT_EQ(formatRuntime("%d", "42x"), "42");
  EXPECT_EQ(formatRuntime("%f", 2), "2.000000");
  EXPECT_EQ(formatRuntime("%d", 2.9), "2");
  EXPECT_EQ(formatRuntime("%d", Value(Array())), "0");
}

TEST(PlacesIn, countsPlaces) {
  // format() checks its arguments with it at compile time.
  static_assert(placesIn("%@") == 1);
  EXPECT_EQ(placesIn("%@ %% %-5.2lf"), 2);
  EXPECT_EQ(placesIn(""), 0);
  EXPECT_EQ(placesIn("%"), -1);
  EXPECT_EQ(placesIn("%5"), -1);
  EXPECT_EQ(placesIn("%y"), -1);
}

}  // namespace
}  // namespace moxtel
