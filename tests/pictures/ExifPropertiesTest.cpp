#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pictures/properties/ExifValues.h"
#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

TEST(ExifProperties, keepQuotientsUnrounded) {
  Directory exif;
  exif.rationals(0x829A, {{1, 2700}}).rationals(0x829D, {{11, 5}}).rationals(0x9204, {{0, 6}}, SRATIONAL);
  exif.rationals(0x9201, {{-2, 1}}, SRATIONAL)
      .rationals(0x9206, {{4294967295, 1}})
      .rationals(0xA404, {{0, 10}});
  const Dictionary wanted{{"ExposureTime", 1.0 / 2700},      {"FNumber", 2.2},
                          {"ExposureBiasValue", 0.0},        {"ShutterSpeedValue", -2.0},
                          {"SubjectDistance", 4294967295.0}, {"DigitalZoomRatio", 0.0}};
  EXPECT_TRUE(same(ofExif(exif), wanted));
}

TEST(ExifProperties, leaveOutWhatIsDividedByZero) {
  Directory exif;
  exif.rationals(0x829A, {{1, 0}}).rationals(0x829D, {{0, 0}}).shorts(0x9207, {5});
  exif.rationals(0xA432, {{10, 1}, {18, 1}, {0, 0}, {0, 0}});
  const Dictionary wanted{{"MeteringMode", 5}, {"LensSpecification", Array{10.0, 18.0, 0.0, 0.0}}};
  EXPECT_TRUE(same(ofExif(exif), wanted));
  Directory infinite;
  infinite.rationals(0xA432, {{10, 1}, {18, 0}, {0, 0}, {0, 0}}).shorts(0x9207, {5});
  EXPECT_TRUE(same(ofExif(infinite), Dictionary{{"MeteringMode", 5}}));
}

TEST(ExifProperties, writeVersionsInParts) {
  const auto version = [](const char* digits) {
    Directory exif;
    exif.undefined(0x9000, digits);
    return ofExif(exif)["ExifVersion"];
  };
  EXPECT_TRUE(same(version("0220"), Array{2, 2}));
  EXPECT_TRUE(same(version("0221"), Array{2, 2, 1}));
  EXPECT_TRUE(same(version("0230"), Array{2, 3}));
  EXPECT_TRUE(same(version("0232"), Array{2, 3, 2}));
  EXPECT_TRUE(same(version("0210"), Array{2, 1}));
}

TEST(ExifProperties, shortenTheirNames) {
  Directory exif;
  exif.text(0x9290, "12").text(0x9291, "08").text(0x9292, "00").shorts(0xA405, {24}).shorts(0xA40C, {1});
  const Dictionary wanted{{"SubsecTime", "12"},
                          {"SubsecTimeOriginal", "08"},
                          {"SubsecTimeDigitized", "00"},
                          {"FocalLenIn35mmFilm", 24},
                          {"SubjectDistRange", 1}};
  EXPECT_TRUE(same(ofExif(exif), wanted));
}

TEST(ExifProperties, readTheCommentBehindItsCharacterSet) {
  const auto comment = [](const std::string& bytes) {
    Directory exif;
    exif.undefined(0x9286, bytes).shorts(0x9207, {5});
    return ofExif(exif)["UserComment"];
  };
  EXPECT_EQ(comment(std::string("ASCII\0\0\0a walk\0xx", 17)), Value("a walk"));
  EXPECT_EQ(comment(std::string("UNICODE\0G\0r\0\xFC\0n\0", 16)), Value("Grün"));
  EXPECT_TRUE(comment(std::string("ASCII\0\0\0\0\0\0\0", 12)).isNil());
  EXPECT_TRUE(comment(std::string(16, '\0')).isNil());
}

TEST(ExifProperties, showNoOpaqueTags) {
  Directory exif;
  exif.undefined(0x927C, "maker's secret").undefined(0xA302, "pattern").undefined(0x8828, "oecf");
  exif.shorts(0x9207, {5});
  EXPECT_TRUE(same(ofExif(exif), Dictionary{{"MeteringMode", 5}}));
}

TEST(ExifProperties, keepBlanksAndEmptyTexts) {
  Directory main;
  main.text(0x010E, std::string(31, ' ')).text(0x0110, "DSC-TX100V   ").text(0x013B, "").text(0x8298, "");
  const Dictionary wanted{{"ImageDescription", std::string(31, ' ')},
                          {"Model", "DSC-TX100V   "},
                          {"Artist", ""},
                          {"Copyright", ""}};
  EXPECT_TRUE(same(ofMain(main), wanted));
}

TEST(ExifProperties, readTextsAsUtf8OrElseLatin1) {
  Directory main;
  main.text(0x8298, "\xC2\xA9 2007").text(0x013B, "Jos\xE9").text(0x0131, std::string("cut\0here", 8));
  const Dictionary wanted{{"Copyright", "© 2007"}, {"Artist", "José"}, {"Software", "cut"}};
  EXPECT_TRUE(same(ofMain(main), wanted));
}

TEST(ExifProperties, omitTagsThatClientsDoNotShow) {
  Directory main;
  main.shorts(0x0213, {1}).shorts(0x0100, {5}).shorts(0x4746, {3}).shorts(0x0106, {2}).shorts(0x0103, {6});
  EXPECT_TRUE(same(ofMain(main), Dictionary{{"PhotometricInterpretation", 2}}));
}

TEST(ExifProperties, listEveryNumberOfATable) {
  Directory main;
  main.shorts(0x012D, {0, 1000, 65535}).rationals(0x011E, {{5, 2}}).rationals(0x011F, {{1, 1}});
  main.rationals(0x013E, {{313, 1000}, {329, 1000}});
  const Dictionary wanted{{"TransferFunction", Array{0, 1000, 65535}},
                          {"XPosition", 2.5},
                          {"YPosition", 1.0},
                          {"WhitePoint", Array{0.313, 0.329}}};
  EXPECT_TRUE(same(ofMain(main), wanted));
}

TEST(ExifProperties, keepTheOtherTagsOfADamagedBlock) {
  Directory main;
  main.text(0x010F, "Canon").raw(0x0110, ASCII, 0x7FFFFFFF, "far away").raw(0x0131, 99, 4, "what");
  EXPECT_EQ(ofMain(main)["Make"], Value("Canon"));
  EXPECT_TRUE(ofMain(main)["Model"].isNil());
  const std::string cut = tiff(main).substr(0, 11);
  EXPECT_EQ(propertiesOf(jpeg(exifSegment(cut)))["PixelWidth"], Value(40));
}

// ---- DNG ----

TEST(DngProperties, keepRealsInSinglePrecisionAndCutVersions) {
  Directory main;
  main.numbers(0xC612, BYTE, {1, 4, 0, 0}).numbers(0xC613, BYTE, {1, 1, 0, 0}).shorts(0xC617, {1});
  main.rationals(0xC628, {{9672, 10000}, {1, 1}, {5, 10}}).rationals(0xC62A, {{35, 100}}, SRATIONAL);
  main.shorts(0xC61A, {512, 513}).rationals(0xC630, {{24, 1}, {105, 1}, {4, 1}, {4, 1}});
  main.undefined(0xC65D, "0123456789abcdef")
      .text(0xC6F8, "Adobe Standard")
      .numbers(0xC68D, LONG, {0, 0, 20, 40});
  main.undefined(0xC740, "a list of operations");
  const Dictionary wanted{{"DNGVersion", Array{1, 4}},
                          {"DNGBackwardVersion", Array{1, 1}},
                          {"CFALayout", 1},
                          {"AsShotNeutral", Array{0.96719998121261597, 1.0, 0.5}},
                          {"BaselineExposure", 0.34999999403953552},
                          {"BlackLevel", Array{512, 513}},
                          {"LensInfo", Array{24.0, 105.0, 4.0, 4.0}},
                          {"DNGRawDataUniqueID", properties::copyOf(properties::bytesOf("0123456789abcdef"))},
                          {"DNGProfileName", "Adobe Standard"},
                          {"ActiveArea", Array{0, 0, 20, 40}}};
  const std::string file = tiff(main);
  const auto groups = properties::exifGroups(properties::bytesOf(file), properties::ExifOrigin::TiffFile);
  EXPECT_TRUE(same(groups.dng, wanted));
}

// ---- GPS ----

TEST(GpsProperties, keepSixDigitsOfTheMinutes) {
  EXPECT_DOUBLE_EQ(properties::roundedCoordinate(14, 26, 17.23), 14.43812);
  EXPECT_NEAR(properties::roundedCoordinate(51, 30, 12.86), 51.503571667, 1e-9);
  EXPECT_DOUBLE_EQ(properties::roundedCoordinate(0, 7, 54.5), 0.1318055);
  EXPECT_NEAR(properties::roundedCoordinate(138, 35, 48.70), 138.59686167, 1e-8);
  EXPECT_EQ(properties::roundedCoordinate(0, 0, 0), 0.0);
}

TEST(GpsProperties, arePositiveWithASeparateReference) {
  Directory gps;
  gps.numbers(0x00, BYTE, {2, 3, 0, 0}).text(0x01, "S").rationals(0x02, {{34, 1}, {5513, 100}, {0, 1}});
  gps.text(0x03, "W").rationals(0x04, {{0, 1}, {7, 1}, {545, 10}}).numbers(0x05, BYTE, {1});
  gps.rationals(0x06, {{26, 10}}).rationals(0x07, {{9, 1}, {2, 1}, {1802, 100}}).text(0x1D, "2017:01:16");
  gps.shorts(0x1E, {0}).rationals(0x11, {{3024, 10}}).text(0x10, "T").text(0x12, "WGS-84");
  const Dictionary wanted{{"GPSVersion", Array{2, 3, 0, 0}},
                          {"LatitudeRef", "S"},
                          {"Latitude", 34 + 55.13 / 60},
                          {"LongitudeRef", "W"},
                          {"Longitude", 0.1318055},
                          {"AltitudeRef", 1},
                          {"Altitude", 2.6},
                          {"TimeStamp", "09:02:18"},
                          {"DateStamp", "2017:01:16"},
                          {"Differential", 0},
                          {"ImgDirection", 302.4},
                          {"ImgDirectionRef", "T"},
                          {"MapDatum", "WGS-84"}};
  EXPECT_TRUE(same(ofGps(gps), wanted));
}

TEST(GpsProperties, readTextsBehindTheirCharacterSet) {
  Directory gps;
  gps.undefined(0x1B, std::string("ASCII\0\0\0CELLID\0", 15)).undefined(0x1C, std::string(12, '\0'));
  EXPECT_TRUE(same(ofGps(gps), Dictionary{{"ProcessingMethod", "CELLID"}}));
  Directory wide;
  wide.undefined(0x1C, std::string("UNICODE\0D\0\xFC\0n\0e\0", 16)).text(0x1B, "GPS");
  EXPECT_TRUE(same(ofGps(wide), Dictionary{{"AreaInformation", "Düne"}, {"ProcessingMethod", "GPS"}}));
  Directory cut;
  cut.undefined(0x1B, "ASCII").text(0x1D, "2017:01:16");
  EXPECT_TRUE(same(ofGps(cut), Dictionary{{"DateStamp", "2017:01:16"}}));
}

TEST(GpsProperties, leaveOutAnInvalidCoordinate) {
  Directory gps;
  gps.text(0x01, "N").rationals(0x02, {{0, 0}, {0, 0}, {0, 0}}).rationals(0x04, {{5, 0}, {1, 1}, {1, 1}});
  gps.rationals(0x07, {{9, 1}, {0, 0}, {1, 1}});
  EXPECT_TRUE(same(ofGps(gps), Dictionary{{"LatitudeRef", "N"}}));
}

}  // namespace
}  // namespace moxtel::test
