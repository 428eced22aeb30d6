#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

// ---- GIF ----

std::string gif(int delay, bool transparent, const std::string& before = {}) {
  return "GIF89a" + little(22, 2) + little(11, 2) + std::string("\x80\0\0", 3) + std::string(6, '\0') +
         before + "\x21\xF9\x04" + big(transparent ? 1 : 0, 1) + little(delay, 2) + std::string(2, '\0') +
         "," + std::string(8, '\0') + ";";
}

TEST(GifProperties, makeShortDelaysLonger) {
  EXPECT_TRUE(same(propertiesOf(gif(5, true)),
                   Dictionary{{"PixelWidth", 22},
                              {"PixelHeight", 11},
                              {"Depth", 8},
                              {"ColorModel", "RGB"},
                              {"HasAlpha", true},
                              {"{GIF}", Dictionary{{"DelayTime", 0.1}, {"UnclampedDelayTime", 0.05}}}}));
  EXPECT_EQ(propertiesOf(gif(6, false))["{GIF}"]["DelayTime"], Value(0.06));
  EXPECT_TRUE(propertiesOf(gif(6, false))["HasAlpha"].isNil());
}

TEST(GifProperties, passOverOtherExtensions) {
  const std::string comment = std::string(
                                  "\x21\xFE\x03"
                                  "abc\x02xy",
                                  9) +
                              std::string(1, '\0');
  EXPECT_EQ(propertiesOf(gif(10, false, comment))["{GIF}"]["DelayTime"], Value(0.1));
}

}  // namespace
}  // namespace moxtel::test
