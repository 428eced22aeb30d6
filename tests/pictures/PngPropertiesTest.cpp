#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

TEST(PngProperties, describeTheFormByTheColorType) {
  const auto all = [](int type, int depth) { return propertiesOf(png(type, depth, "")); };
  EXPECT_TRUE(same(all(2, 16), Dictionary{{"PixelWidth", 40},
                                          {"PixelHeight", 20},
                                          {"Depth", 16},
                                          {"ColorModel", "RGB"},
                                          {"{PNG}", Dictionary{{"InterlaceType", 0}}}}));
  EXPECT_EQ(all(0, 1)["ColorModel"], Value("Gray"));
  EXPECT_EQ(all(4, 8)["HasAlpha"], Value(true));
  EXPECT_EQ(all(6, 8)["HasAlpha"], Value(true));
  EXPECT_EQ(all(3, 4)["IsIndexed"], Value(true));
  EXPECT_EQ(all(3, 4)["ColorModel"], Value("RGB"));
  EXPECT_EQ(propertiesOf(png(2, 8, "", 1))["{PNG}"]["InterlaceType"], Value(1));
}

TEST(PngProperties, multiplyByAHundredThousandth) {
  std::string places;
  for (const std::uint32_t value : {31270U, 32900U, 63999U, 33000U, 30000U, 60000U, 21000U, 71000U})
    places += big(value, 4);
  const Value png8 = propertiesOf(png(2, 8, chunk("gAMA", big(45455, 4)) + chunk("cHRM", places)))["{PNG}"];
  EXPECT_EQ(png8["Gamma"], Value(0.45455));
  const Array& values = png8["Chromaticities"].array();
  ASSERT_EQ(values.size(), 8U);
  EXPECT_EQ(values[2], Value(0.6399900000000001));
  EXPECT_EQ(values[5], Value(0.6000000000000001));
  EXPECT_EQ(values[6], Value(0.21000000000000002));
  EXPECT_EQ(values[7], Value(0.7100000000000001));
}

TEST(PngProperties, roundTheResolutionToWholeDots) {
  const auto dpi = [](std::uint32_t perMeter, int unit) {
    return propertiesOf(png(2, 8, chunk("pHYs", big(perMeter, 4) + big(perMeter, 4) + big(unit, 1))));
  };
  EXPECT_EQ(dpi(5669, 1)["DPIWidth"], Value(144.0));
  EXPECT_EQ(dpi(11811, 1)["DPIHeight"], Value(300.0));
  EXPECT_EQ(dpi(2835, 1)["DPIWidth"], Value(72.0));
  EXPECT_EQ(dpi(3779, 1)["DPIWidth"], Value(96.0));
  EXPECT_EQ(dpi(3779, 1)["{PNG}"]["XPixelsPerMeter"], Value(3779));
  EXPECT_TRUE(dpi(2835, 0)["DPIWidth"].isNil());
}

TEST(PngProperties, takeTheirOwnResolutionBeforeExifs) {
  Directory main;
  main.rationals(0x011A, {{72, 1}}).rationals(0x011B, {{72, 1}}).shorts(0x0128, {2});
  const std::string exif = chunk("eXIf", tiff(main));
  const std::string own = chunk("pHYs", big(5669, 4) + big(5669, 4) + big(1, 1));
  EXPECT_EQ(propertiesOf(png(2, 8, own + exif))["DPIWidth"], Value(144.0));
  EXPECT_EQ(propertiesOf(png(2, 8, exif))["DPIWidth"], Value(72.0));
}

TEST(PngProperties, nameTheProfileOrTheStandardSpace) {
  EXPECT_EQ(propertiesOf(png(2, 8, chunk("sRGB", std::string(1, '\0'))))["ProfileName"],
            Value("sRGB IEC61966-2.1"));
  const std::string icc = "any" + std::string(2, '\0') + packed(profile(plainDescription("Display P3")));
  EXPECT_EQ(propertiesOf(png(2, 8, chunk("iCCP", icc)))["ProfileName"], Value("Display P3"));
}

TEST(PngProperties, readTextsOfEveryKindAlsoBehindThePicture) {
  const std::string nul(1, '\0');
  const std::string chunks = chunk("tEXt", "Title" + nul + "H\xFCtte") +
                             chunk("zTXt", "Author" + nul + nul + packed("Ann")) + chunk("IDAT", "x") +
                             chunk("iTXt", "Description" + nul + nul + nul + "de" + nul + nul + "Grün") +
                             chunk("iTXt", "Comment" + nul + "\1" + nul + nul + nul + packed("packed")) +
                             chunk("tEXt", "Raw profile" + nul + "hidden");
  const Value all = propertiesOf(png(2, 8, chunks));
  EXPECT_TRUE(same(all["{PNG}"], Dictionary{{"InterlaceType", 0},
                                            {"Title", "Hütte"},
                                            {"Author", "Ann"},
                                            {"Description", "Grün"},
                                            {"Comment", "packed"}}));
  EXPECT_EQ(all["{IPTC}"]["ObjectName"], Value("Hütte"));
}

TEST(PngProperties, readExifAndThePacket) {
  Directory main;
  main.text(0x010F, "Canon").shorts(0x0112, {6});
  const std::string nul(1, '\0');
  const std::string packet = xmp(simple("xmp:CreatorTool", "9.3.1") + bag("dc:subject", {"a"}));
  const Value all = propertiesOf(png(
      2, 8,
      chunk("eXIf", tiff(main)) + chunk("iTXt", "XML:com.adobe.xmp" + nul + nul + nul + nul + nul + packet)));
  EXPECT_EQ(all["Orientation"], Value(6));
  EXPECT_EQ(all["{TIFF}"]["Make"], Value("Canon"));
  EXPECT_EQ(all["{PNG}"]["Software"], Value("9.3.1"));
  EXPECT_TRUE(same(all["{IPTC}"]["Keywords"], Array{"a"}));
}

Value ofPacket(const std::string& properties, const std::string& chunks = {}) {
  const std::string nul(1, '\0');
  return propertiesOf(
      png(2, 8, chunks + chunk("iTXt", "XML:com.adobe.xmp" + nul + nul + nul + nul + nul + xmp(properties))));
}

TEST(PngProperties, readExifFromThePacketToo) {
  const Value all = ofPacket(
      simple("tiff:Orientation", "6") + simple("tiff:Make", "Canon") +
      simple("tiff:XResolution", "1440000/10000") + simple("tiff:ResolutionUnit", "2") +
      simple("tiff:Compression", "5") + simple("tiff:DateTime", "2019-07-08T06:53:48+02:00") +
      simple("exif:ExposureTime", "1/60") + simple("exif:ExifVersion", "0231") +
      simple("exif:PixelXDimension", "640") + simple("exif:DateTimeOriginal", "2019-07-04T16:24:01") +
      simple("exif:DateTimeDigitized", "2019-07-04") + bag("exif:ISOSpeedRatings", {"400"}, "Seq") +
      languages("exif:UserComment", "Screenshot") + simple("exif:FlashpixVersion", "0100") +
      simple("exif:FocalLengthIn35mmFilm", "31") + simple("exif:FNumber", "1/0") +
      simple("exif:MeteringMode", "spot") + bag("exif:SubjectArea", {"1", "x"}, "Seq"));
  EXPECT_EQ(all["Orientation"], Value(6));
  EXPECT_EQ(all["DPIWidth"], Value(144.0));
  EXPECT_TRUE(same(all["{TIFF}"], Dictionary{{"Orientation", 6},
                                             {"Make", "Canon"},
                                             {"XResolution", 144.0},
                                             {"ResolutionUnit", 2},
                                             {"DateTime", "2019:07:08 06:53:48"}}));
  EXPECT_TRUE(same(all["{Exif}"], Dictionary{{"ExposureTime", 1.0 / 60},
                                             {"ExifVersion", Array{2, 3, 1}},
                                             {"PixelXDimension", 640},
                                             {"DateTimeOriginal", "2019:07:04 16:24:01"},
                                             {"ISOSpeedRatings", Array{400}},
                                             {"UserComment", "Screenshot"},
                                             {"FlashPixVersion", Array{1, 0}},
                                             {"FocalLenIn35mmFilm", 31}}));
}

TEST(PngProperties, readThePlaceFromThePacketToo) {
  const Value gps =
      ofPacket(simple("exif:GPSVersionID", "2.3.0.0") + simple("exif:GPSLatitude", "34,55.13S") +
               simple("exif:GPSLongitude", "0,7,54.5W") + simple("exif:GPSAltitude", "26/10") +
               simple("exif:GPSAltitudeRef", "1") + simple("exif:GPSTimeStamp", "2017-01-16T09:02:18Z") +
               simple("exif:GPSDestLatitude", "north") + simple("exif:GPSDestLongitude", ""))["{GPS}"];
  EXPECT_TRUE(same(gps, Dictionary{{"GPSVersion", Array{2, 3, 0, 0}},
                                   {"Latitude", 34 + 55.13 / 60},
                                   {"LatitudeRef", "S"},
                                   {"Longitude", 0.1318055},
                                   {"LongitudeRef", "W"},
                                   {"Altitude", 2.6},
                                   {"AltitudeRef", 1},
                                   {"DateStamp", "2017:01:16"},
                                   {"TimeStamp", "09:02:18"}}));
}

TEST(PngProperties, preferExifToThePacket) {
  Directory main;
  main.text(0x010F, "Canon").shorts(0x0112, {3});
  const Value tiffGroup =
      ofPacket(simple("tiff:Make", "Nikon") + simple("tiff:Orientation", "6") + simple("tiff:Model", "X"),
               chunk("eXIf", tiff(main)))["{TIFF}"];
  EXPECT_TRUE(same(tiffGroup, Dictionary{{"Make", "Canon"}, {"Orientation", 3}, {"Model", "X"}}));
}

TEST(PngProperties, limitDecompression) {
  const std::string nul(1, '\0');
  const std::string bomb = packed(std::string(std::size_t{200} << 20, 'x'));
  const Value all = propertiesOf(png(2, 8, chunk("zTXt", "Comment" + nul + nul + bomb)));
  EXPECT_LE(all["{PNG}"]["Comment"].string().size(), std::size_t{9} << 20);
}

TEST(PngProperties, includeTheTimingOfAnAnimation) {
  const std::string control = chunk("acTL", big(3, 4) + big(4, 4));
  const auto shown = [](int above, int below) {
    return chunk("fcTL",
                 big(0, 4) + big(40, 4) + big(20, 4) + big(0, 8) + big(above, 2) + big(below, 2) + big(0, 2));
  };
  const Value animated =
      propertiesOf(png(2, 8, control + shown(1, 4) + chunk("IDAT", "x") + shown(9, 1)))["{PNG}"];
  EXPECT_TRUE(same(
      animated,
      Dictionary{{"InterlaceType", 0}, {"LoopCount", 4}, {"DelayTime", 0.25}, {"UnclampedDelayTime", 0.25}}));
  const Value fast = propertiesOf(png(2, 8, control + shown(2, 0)))["{PNG}"];
  EXPECT_EQ(fast["UnclampedDelayTime"], Value(0.02)) << "hundredths";
  EXPECT_EQ(fast["DelayTime"], Value(0.1));
}

}  // namespace
}  // namespace moxtel::test
