#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

TEST(JpegProperties, nameTheColorModelByTheComponents) {
  const auto model = [](int components) {
    return propertiesOf(jpeg("", frame(40, 20, components)))["ColorModel"];
  };
  EXPECT_EQ(model(1), Value("Gray"));
  EXPECT_EQ(model(3), Value("RGB"));
  EXPECT_EQ(model(4), Value("CMYK"));
}

TEST(JpegProperties, knowAProgressivePictureEvenWithoutAnIntroduction) {
  EXPECT_TRUE(
      same(propertiesOf(jpeg("", frame(40, 20, 3, 0xC2)))["{JFIF}"], Dictionary{{"IsProgressive", true}}));
  const Value both = propertiesOf(jpeg(jfif(1, 1, 72, 72), frame(40, 20, 3, 0xC2)))["{JFIF}"];
  EXPECT_TRUE(same(both, Dictionary{{"JFIFVersion", Array{1, 0, 1}},
                                    {"DensityUnit", 1},
                                    {"XDensity", 72},
                                    {"YDensity", 72},
                                    {"IsProgressive", true}}));
}

TEST(JpegProperties, takeTheDensityWithItsUnit) {
  const auto dpi = [](std::uint8_t unit) { return propertiesOf(jpeg(jfif(1, unit, 100, 50))); };
  EXPECT_TRUE(dpi(0)["DPIWidth"].isNil());
  EXPECT_EQ(dpi(1)["DPIWidth"], Value(100.0));
  EXPECT_EQ(dpi(1)["DPIHeight"], Value(50.0));
  EXPECT_EQ(dpi(2)["DPIWidth"], Value(254.0));
}

TEST(JpegProperties, preferExifsResolutionToTheIntroductions) {
  const auto dpi = [](std::uint32_t unit) {
    Directory main;
    main.rationals(0x011A, {{300, 1}}).rationals(0x011B, {{300, 1}}).shorts(0x0128, {unit});
    return propertiesOf(jpeg(jfif(1, 1, 72, 72) + exifSegment(tiff(main))))["DPIWidth"];
  };
  EXPECT_EQ(dpi(2), Value(300.0));
  EXPECT_EQ(dpi(3), Value(762.0)) << "a centimeter's";
  EXPECT_EQ(dpi(1), Value(72.0)) << "no unit at all";
}

TEST(JpegProperties, takeNoResolutionFromNothing) {
  Directory main;
  main.rationals(0x011A, {{0, 1}}).rationals(0x011B, {{0, 1}}).shorts(0x0128, {2});
  const Value all = propertiesOf(jpeg(exifSegment(tiff(main))));
  EXPECT_EQ(all["{TIFF}"]["XResolution"], Value(0.0));
  EXPECT_TRUE(all["DPIWidth"].isNil());
}

TEST(JpegProperties, joinAProfileInItsOrder) {
  const std::string whole = profile(plainDescription("Display P3"));
  const auto part = [&](int number, const std::string& bytes) {
    return segment(0xE2, std::string("ICC_PROFILE\0", 12) + big(number, 1) + big(2, 1) + bytes);
  };
  const std::string file = jpeg(part(2, whole.substr(50)) + part(1, whole.substr(0, 50)));
  EXPECT_EQ(propertiesOf(file)["ProfileName"], Value("Display P3"));
}

TEST(JpegProperties, readTheLocalizedNameOfAProfile) {
  const auto entry = [](const char* language, std::size_t length, std::size_t at) {
    return language + big(length, 4) + big(at, 4);
  };
  const std::string german("\0F\0a\0r\0b\0e", 10), english("\0C\0o\0l\0o\0r", 10);
  const std::string tag = "mluc" + big(0, 4) + big(2, 4) + big(12, 4) + entry("deDE", 10, 40) +
                          entry("enUS", 10, 50) + german + english;
  const std::string file = jpeg(segment(0xE2, std::string("ICC_PROFILE\0\1\1", 14) + profile(tag)));
  EXPECT_EQ(propertiesOf(file)["ProfileName"], Value("Color"));
}

TEST(JpegProperties, takeAPictureThatNamesASpaceForTheUsualOne) {
  const auto name = [](std::uint32_t space, int components) {
    Directory exif;
    exif.shorts(0xA001, {space});
    return propertiesOf(jpeg(exifSegment(tiff({}, exif)), frame(40, 20, components)))["ProfileName"];
  };
  EXPECT_EQ(name(1, 3), Value("sRGB IEC61966-2.1"));
  EXPECT_EQ(name(65535, 3), Value("sRGB IEC61966-2.1"));
  EXPECT_TRUE(name(1, 1).isNil());
  EXPECT_TRUE(name(2, 3).isNil()) << "another space";
  EXPECT_TRUE(propertiesOf(jpeg(jfif(1, 0, 1, 1)))["ProfileName"].isNil());
}

TEST(JpegProperties, haveEveryOrientationTwiceAndTheStoredSize) {
  for (std::uint32_t orientation = 1; orientation <= 8; ++orientation) {
    Directory main;
    main.shorts(0x0112, {orientation});
    const Value all = propertiesOf(jpeg(exifSegment(tiff(main))));
    EXPECT_EQ(all["Orientation"], Value(orientation));
    EXPECT_EQ(all["{TIFF}"]["Orientation"], Value(orientation));
    EXPECT_EQ(all["PixelWidth"], Value(40));
  }
  Directory main;
  main.shorts(0x0112, {9});
  EXPECT_TRUE(propertiesOf(jpeg(exifSegment(tiff(main))))["Orientation"].isNil());
}

TEST(JpegProperties, passOverFillAndStrayBytesBetweenSegments) {
  const std::string file =
      jpeg(std::string("\xFF\xFF\xFF\x01", 4) + std::string("\0\7", 2) + jfif(1, 0, 1, 1));
  EXPECT_EQ(propertiesOf(file)["PixelWidth"], Value(40));
  EXPECT_FALSE(propertiesOf(file)["{JFIF}"].isNil());
}

}  // namespace
}  // namespace moxtel::test
