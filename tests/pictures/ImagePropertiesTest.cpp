#include "pictures/ImageProperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "pictures/PictureKind.h"
#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/PropertyDictionary.h"
#include "pictures/properties/XmpProperties.h"
#include "platform/ChildProcess.h"
#include "platform/FakeProcessRunner.h"
#include "tests/TemporaryFolder.h"
#include "tests/pictures/Fixtures.h"
#include "tests/pictures/MadePictures.h"
#include "value/Description.h"

namespace moxtel::test {
namespace {

// Same contents in any order of keys; kinds of numbers count.
bool isSame(const Value& a, const Value& b) {
  if (a.isDictionary() && b.isDictionary()) {
    const auto& entries = a.dictionary();
    return entries.size() == b.dictionary().size() &&
           std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
             const Value* other = b.dictionary().find(entry.key);
             return other && isSame(entry.value, *other);
           });
  }
  if (a.isArray() && b.isArray())
    return std::equal(a.array().begin(), a.array().end(), b.array().begin(), b.array().end(), isSame);
  return a == b;
}

testing::AssertionResult same(const Value& seen, const Value& wanted) {
  if (isSame(seen, wanted)) return testing::AssertionSuccess();
  return testing::AssertionFailure() << describe(seen) << "\n  where this was wanted:\n" << describe(wanted);
}

Value propertiesOf(const std::string& file) {
  const auto bytes = properties::bytesOf(file);
  properties::ByteSource source(bytes);
  const auto found = properties::propertyDictionary(kindOfPicture(bytes), source);
  return found ? Value(*found) : Value();
}
Value ofExif(const Directory& exif) { return propertiesOf(jpeg(exifSegment(tiff({}, exif))))["{Exif}"]; }
Value ofMain(const Directory& main) { return propertiesOf(jpeg(exifSegment(tiff(main))))["{TIFF}"]; }
Value ofGps(const Directory& gps) { return propertiesOf(jpeg(exifSegment(tiff({}, {}, gps))))["{GPS}"]; }

// ---- the whole ----

// What the platform told of a photo of a real library, whose tags this file has again.
TEST(ImageProperties, tellOfACameraPhotoWhatThePlatformTold) {
  Directory main, exif;
  main.text(0x010E, "Wedding tulips").text(0x010F, "FUJIFILM").text(0x0110, "X-T1");
  main.rationals(0x011A, {{72, 1}}).rationals(0x011B, {{72, 1}}).shorts(0x0128, {2});
  main.text(0x0131, "Adobe Photoshop Lightroom Classic 8.2 (Macintosh)").text(0x0132, "2019:07:08 06:53:48");
  exif.rationals(0x829A, {{1, 60}}).shorts(0x8822, {1}).shorts(0x8827, {400}).undefined(0x9000, "0231");
  exif.text(0x9003, "2019:07:04 16:24:01").text(0x9004, "2019:07:04 16:24:01");
  exif.undefined(0x9101, std::string("\1\2\3\0", 4)).rationals(0x9202, {{28692, 7763}}).shorts(0x9207, {3});
  exif.shorts(0x9208, {0}).shorts(0x9209, {0}).rationals(0x920A, {{205, 10}}).undefined(0xA000, "0100");
  exif.shorts(0xA001, {65535}).shorts(0xA217, {2}).shorts(0xA402, {1}).shorts(0xA403, {0});
  exif.shorts(0xA406, {0}).shorts(0xA40A, {2}).shorts(0xA40C, {0});
  exif.text(0xA434, "XF18-55mmF2.8-4 R LM OIS").text(0xA435, "52M10920");
  const std::string packet = xmp(languages("dc:title", "Tulips tied together at a flower shop") +
                                 bag("dc:subject", {"Top Shot", "flowers"}) +
                                 simple("photoshop:DateCreated", "2019-07-04T16:24:01-07:00") +
                                 simple("xmp:CreateDate", "2019-07-04T16:24:01"));
  const std::string sets = iimSet(1, 90, "\x1B%G") + iimSet(2, 0, std::string("\0\4", 2)) +
                           iimSet(2, 25, "cut") + iimSet(2, 120, "Wedding tulips");
  const std::string file =
      jpeg(jfif(2, 0, 1, 1) + exifSegment(tiff(main, exif)) + iimSegment(sets) + xmpSegment(packet) +
               segment(0xE2,
                       std::string("ICC_PROFILE\0\1\1", 14) + profile(plainDescription("sRGB IEC61966-2.1"))),
           frame(2047, 1365, 3));
  const Dictionary exifGroup{{"ApertureValue", 3.695993816823393},
                             {"ColorSpace", 65535},
                             {"ComponentsConfiguration", Array{1, 2, 3, 0}},
                             {"DateTimeDigitized", "2019:07:04 16:24:01"},
                             {"DateTimeOriginal", "2019:07:04 16:24:01"},
                             {"ExifVersion", Array{2, 3, 1}},
                             {"ExposureMode", 1},
                             {"ExposureProgram", 1},
                             {"ExposureTime", 0.016666666666666666},
                             {"Flash", 0},
                             {"FlashPixVersion", Array{1, 0}},
                             {"FocalLength", 20.5},
                             {"ISOSpeedRatings", Array{400}},
                             {"LensModel", "XF18-55mmF2.8-4 R LM OIS"},
                             {"LensSerialNumber", "52M10920"},
                             {"LightSource", 0},
                             {"MeteringMode", 3},
                             {"SceneCaptureType", 0},
                             {"SensingMethod", 2},
                             {"Sharpness", 2},
                             {"SubjectDistRange", 0},
                             {"WhiteBalance", 0}};
  const Dictionary iptcGroup{{"Caption/Abstract", "Wedding tulips"},
                             {"DateCreated", "20190704"},
                             {"DigitalCreationDate", "20190704"},
                             {"DigitalCreationTime", "162401"},
                             {"Keywords", Array{"Top Shot", "flowers"}},
                             {"ObjectName", "Tulips tied together at a flower shop"},
                             {"TimeCreated", "162401-0700"}};
  const Dictionary jfifGroup{
      {"DensityUnit", 0}, {"JFIFVersion", Array{1, 0, 2}}, {"XDensity", 1}, {"YDensity", 1}};
  const Dictionary tiffGroup{{"DateTime", "2019:07:08 06:53:48"},
                             {"ImageDescription", "Wedding tulips"},
                             {"Make", "FUJIFILM"},
                             {"Model", "X-T1"},
                             {"ResolutionUnit", 2},
                             {"Software", "Adobe Photoshop Lightroom Classic 8.2 (Macintosh)"},
                             {"XResolution", 72.0},
                             {"YResolution", 72.0}};
  const Dictionary wanted{{"ColorModel", "RGB"},
                          {"DPIHeight", 72.0},
                          {"DPIWidth", 72.0},
                          {"Depth", 8},
                          {"PixelHeight", 1365},
                          {"PixelWidth", 2047},
                          {"ProfileName", "sRGB IEC61966-2.1"},
                          {"{Exif}", exifGroup},
                          {"{IPTC}", iptcGroup},
                          {"{JFIF}", jfifGroup},
                          {"{TIFF}", tiffGroup}};
  EXPECT_TRUE(same(propertiesOf(file), wanted));
}

TEST(ImageProperties, tellOnlyTheFormOfABareJpeg) {
  const Dictionary wanted{{"PixelWidth", 40}, {"PixelHeight", 20}, {"Depth", 8}, {"ColorModel", "RGB"}};
  EXPECT_TRUE(same(propertiesOf(jpeg("")), wanted));
}

TEST(ImageProperties, areImmutableAtEveryLevel) {
  const Value all = propertiesOf(jpeg(jfif(1, 0, 1, 1)));
  EXPECT_FALSE(all.dictionary().isMutable());
  EXPECT_FALSE(all["{JFIF}"].dictionary().isMutable());
  EXPECT_FALSE(all["{JFIF}"]["JFIFVersion"].array().isMutable());
}

TEST(ImageProperties, doNotExistForWhatIsNoPicture) {
  EXPECT_TRUE(propertiesOf("").isNil());
  EXPECT_TRUE(propertiesOf("text").isNil());
  EXPECT_TRUE(propertiesOf("\xFF\xD8\xFF").isNil());
  EXPECT_TRUE(propertiesOf(jpeg("", "")).isNil()) << "no frame";
  EXPECT_TRUE(propertiesOf(jpeg("", frame(0, 20, 3))).isNil());
}

// ---- JPEG ----

TEST(JpegProperties, nameTheColourModelByTheComponents) {
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
  EXPECT_EQ(dpi(3), Value(762.0)) << "a centimetre's";
  EXPECT_EQ(dpi(1), Value(72.0)) << "no unit at all";
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

// ---- Exif ----

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

TEST(ExifProperties, leaveTagsOutThatNobodyShows) {
  Directory main;
  main.shorts(0x0213, {1}).shorts(0x0100, {5}).shorts(0x4746, {3}).shorts(0x0106, {2}).shorts(0x0103, {6});
  EXPECT_TRUE(same(ofMain(main), Dictionary{{"PhotometricInterpretation", 2}}));
}

TEST(ExifProperties, keepTheOtherTagsOfADamagedBlock) {
  Directory main;
  main.text(0x010F, "Canon").raw(0x0110, ASCII, 0x7FFFFFFF, "far away").raw(0x0131, 99, 4, "what");
  EXPECT_EQ(ofMain(main)["Make"], Value("Canon"));
  EXPECT_TRUE(ofMain(main)["Model"].isNil());
  const std::string cut = tiff(main).substr(0, 11);
  EXPECT_EQ(propertiesOf(jpeg(exifSegment(cut)))["PixelWidth"], Value(40));
}

// ---- GPS ----

TEST(GpsProperties, keepSixDigitsOfTheMinutes) {
  EXPECT_DOUBLE_EQ(properties::roundedCoordinate(14, 26, 17.23), 14.43812);
  EXPECT_NEAR(properties::roundedCoordinate(51, 30, 12.86), 51.503571667, 1e-9);
  EXPECT_DOUBLE_EQ(properties::roundedCoordinate(0, 7, 54.5), 0.1318055);
  EXPECT_NEAR(properties::roundedCoordinate(138, 35, 48.70), 138.59686167, 1e-8);
  EXPECT_EQ(properties::roundedCoordinate(0, 0, 0), 0.0);
}

TEST(GpsProperties, arePositiveAndTellTheSideApart) {
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

TEST(GpsProperties, leaveOutACoordinateThatIsNone) {
  Directory gps;
  gps.text(0x01, "N").rationals(0x02, {{0, 0}, {0, 0}, {0, 0}}).rationals(0x04, {{5, 0}, {1, 1}, {1, 1}});
  gps.rationals(0x07, {{9, 1}, {0, 0}, {1, 1}});
  EXPECT_TRUE(same(ofGps(gps), Dictionary{{"LatitudeRef", "N"}}));
}

// ---- IPTC ----

TEST(IptcProperties, doNotExistWithoutABlockOrAPacket) {
  Directory main;
  main.text(0x013B, "Ann").text(0x8298, "hers");
  EXPECT_TRUE(propertiesOf(jpeg(exifSegment(tiff(main))))["{IPTC}"].isNil());
}

TEST(IptcProperties, readDataSetsAsTheyAre) {
  const std::string sets = iimSet(1, 90, "\x1B%G") + iimSet(2, 0, std::string("\0\2", 2)) +
                           iimSet(2, 5, "Name") + iimSet(2, 25, "one") + iimSet(2, 25, "two") +
                           iimSet(2, 55, "20190704") + iimSet(2, 60, "153549+0000") +
                           iimSet(2, 63, "171856") + iimSet(2, 80, "Ann") + iimSet(2, 90, "Z\xC3\xBCrich") +
                           iimSet(2, 95, "ZH") + iimSet(2, 101, "Schweiz") + iimSet(2, 230, "unknown");
  const Dictionary wanted{{"ObjectName", "Name"},
                          {"Keywords", Array{"one", "two"}},
                          {"DateCreated", "20190704"},
                          {"TimeCreated", "153549+0000"},
                          {"DigitalCreationTime", "171856"},
                          {"Byline", Array{"Ann"}},
                          {"City", "Zürich"},
                          {"Province/State", "ZH"},
                          {"Country/PrimaryLocationName", "Schweiz"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(iimSegment(sets)))["{IPTC}"], wanted));
}

TEST(IptcProperties, readTextsWithoutACharacterSetAsLatin1) {
  EXPECT_EQ(propertiesOf(jpeg(iimSegment(iimSet(2, 90, "Z\xFCrich"))))["{IPTC}"]["City"], Value("Zürich"));
}

TEST(IptcProperties, preferThePacketAndReplaceWholeLists) {
  const std::string packet =
      xmp(bag("dc:subject", {"Katie", "Suzy"}) + simple("photoshop:Credit", "in full"));
  const std::string sets = iimSet(2, 25, "Kids") + iimSet(2, 110, "in fu") + iimSet(2, 90, "Ulm");
  const Dictionary wanted{{"Keywords", Array{"Katie", "Suzy"}}, {"Credit", "in full"}, {"City", "Ulm"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(iimSegment(sets) + xmpSegment(packet)))["{IPTC}"], wanted));
}

TEST(IptcProperties, areFilledUpFromExifOnceTheyExist) {
  Directory main, exif;
  main.text(0x013B, "").text(0x8298, "").text(0x010E, "Caption");
  exif.text(0x9003, "2018:09:28 15:35:49").text(0x9004, "2018:09:28 15:35:50");
  const std::string file = jpeg(exifSegment(tiff(main, exif)) + xmpSegment(xmp(simple("xmp:Rating", "0"))));
  const Dictionary wanted{{"StarRating", 0},
                          {"Byline", Array{""}},
                          {"CopyrightNotice", ""},
                          {"Caption/Abstract", "Caption"},
                          {"DateCreated", "20180928"},
                          {"TimeCreated", "153549"},
                          {"DigitalCreationDate", "20180928"},
                          {"DigitalCreationTime", "153550"}};
  EXPECT_TRUE(same(propertiesOf(file)["{IPTC}"], wanted));
}

TEST(IptcProperties, doNotComeFromAPacketThatSaysNothingOfTheirs) {
  Directory main;
  main.text(0x013B, "Ann");
  const std::string file = jpeg(exifSegment(tiff(main)) + xmpSegment(xmp(simple("aux:Lens", "EF"))));
  EXPECT_TRUE(propertiesOf(file)["{IPTC}"].isNil());
  EXPECT_EQ(propertiesOf(file)["{ExifAux}"]["LensModel"], Value("EF"));
}

TEST(IptcProperties, writeThePacketsDatesTheirWay) {
  const auto created = [](const char* date) {
    return propertiesOf(jpeg(xmpSegment(xmp(simple("photoshop:DateCreated", date)))))["{IPTC}"];
  };
  EXPECT_TRUE(same(created("2007-06-09T07:56:13.16"),
                   Dictionary{{"DateCreated", "20070609"}, {"TimeCreated", "075613"}}));
  EXPECT_TRUE(same(created("2011-05-25T09:22:07+12:00"),
                   Dictionary{{"DateCreated", "20110525"}, {"TimeCreated", "092207+1200"}}));
  EXPECT_TRUE(same(created("2011-05-25"), Dictionary{{"DateCreated", "20110525"}}));
  EXPECT_TRUE(created("yesterday").isNil());
}

TEST(IptcProperties, unfoldTheCreatorsContact) {
  const std::string packet =
      xmp("<Iptc4xmpCore:CreatorContactInfo rdf:parseType='Resource'><Iptc4xmpCore:CiAdrCity>Bonn"
          "</Iptc4xmpCore:CiAdrCity><Iptc4xmpCore:CiUrlWork>http://x.example/</Iptc4xmpCore:CiUrlWork>"
          "</Iptc4xmpCore:CreatorContactInfo>" +
          bag("Iptc4xmpExt:PersonInImage", {"Ann"}) + languages("xmpRights:UsageTerms", "none") +
          bag("photoshop:SupplementalCategories", {"a", "b"}) + simple("Iptc4xmpCore:CountryCode", "DE") +
          bag("dc:creator", {"Ann", "Bob"}, "Seq"));
  const Dictionary wanted{
      {"CreatorContactInfo", Dictionary{{"CiAdrCity", "Bonn"}, {"CiUrlWork", "http://x.example/"}}},
      {"PersonInImage", Array{"Ann"}},
      {"UsageTerms", "none"},
      {"SupplementalCategory", Array{"a", "b"}},
      {"Country/PrimaryLocationCode", "DE"},
      {"Byline", Array{"Ann", "Bob"}}};
  EXPECT_TRUE(same(propertiesOf(jpeg(xmpSegment(packet)))["{IPTC}"], wanted));
}

// ---- other groups ----

TEST(AuxProperties, comeFromThePacket) {
  const std::string packet =
      xmp(simple("aux:SerialNumber", "6001440") + simple("aux:Lens", "24.0-120.0 mm f/4.0") +
          simple("aux:LensInfo", "24/1 120/1 0/0 0/0") + simple("aux:LensID", "170") +
          simple("aux:ImageNumber", "8458") + simple("aux:FlashCompensation", "0/1") +
          simple("aux:Firmware", "1.0.0") + simple("aux:ApproximateFocusDistance", "5/1"));
  const Dictionary wanted{{"SerialNumber", "6001440"},
                          {"LensModel", "24.0-120.0 mm f/4.0"},
                          {"LensInfo", Array{24.0, 120.0, 0.0, 0.0}},
                          {"LensID", 170},
                          {"ImageNumber", 8458},
                          {"FlashCompensation", 0.0},
                          {"Firmware", "1.0.0"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(xmpSegment(packet)))["{ExifAux}"], wanted));
}

TEST(AuxProperties, tellWhereFacesAre) {
  const std::string packet = xmp(
      "<mwg-rs:Regions rdf:parseType='Resource'><mwg-rs:AppliedToDimensions rdf:parseType='Resource'>"
      "<stDim:h>2448</stDim:h><stDim:w>3264</stDim:w><stDim:unit>pixel</stDim:unit></"
      "mwg-rs:AppliedToDimensions>"
      "<mwg-rs:RegionList><rdf:Seq><rdf:li rdf:parseType='Resource'><mwg-rs:Area rdf:parseType='Resource'>"
      "<stArea:x>0.25</stArea:x><stArea:y>0.5</stArea:y><stArea:w>0.125</stArea:w><stArea:h>0.1875</stArea:h>"
      "<stArea:unit>normalized</stArea:unit></mwg-rs:Area><mwg-rs:Type>Face</mwg-rs:Type>"
      "<mwg-rs:Extensions rdf:parseType='Resource'><apple-fi:FaceID>8</apple-fi:FaceID>"
      "<apple-fi:ConfidenceLevel>250</apple-fi:ConfidenceLevel></mwg-rs:Extensions></rdf:li></rdf:Seq>"
      "</mwg-rs:RegionList></mwg-rs:Regions>");
  const Dictionary face{{"Type", "Face"},        {"X", 0.25},        {"Y", 0.5},
                        {"Width", 0.125},        {"Height", 0.1875}, {"FaceID", 8},
                        {"ConfidenceLevel", 250}};
  const Dictionary wanted{
      {"Regions",
       Dictionary{{"HeightAppliedTo", 2448}, {"WidthAppliedTo", 3264}, {"RegionList", Array{face}}}}};
  const Value all = propertiesOf(jpeg(xmpSegment(packet)));
  EXPECT_TRUE(same(all["{ExifAux}"], wanted));
  EXPECT_TRUE(all["{IPTC}"].isNil());
}

TEST(AppleProperties, areTheNotesEntriesByNumber) {
  const auto entry = [](int tag, int type, int count, const std::string& field) {
    return big(tag, 2) + big(type, 2) + big(count, 4) + field;
  };
  const std::size_t at = 16 + 5 * 12 + 4;
  const std::string vector = big(1, 4) + big(3, 4) + big(static_cast<std::uint32_t>(-1), 4) + big(4, 4);
  // {"epoch": "1"}: three objects at 8, 11 and 17, a table of their places, and the trailer.
  const std::string plist = std::string("bplist00", 8) + "\xD1\1\2" +
                            "\x55"
                            "epoch" +
                            "\x51"
                            "1" +
                            std::string("\x08\x0B\x11", 3) + std::string(6, '\0') + "\1\1" + big(3, 8) +
                            big(0, 8) + big(19, 8);
  const std::string note = std::string("Apple iOS\0\0\1MM", 14) + big(5, 2) + entry(1, 9, 1, big(14, 4)) +
                           entry(3, 7, static_cast<int>(plist.size()), big(at + 16, 4)) +
                           entry(8, 10, 2, big(at, 4)) + entry(17, 2, 4, std::string("id\0\0", 4)) +
                           entry(20, 10, 1, big(0x7FFFFFFF, 4)) + big(0, 4) + vector + plist;
  Directory exif;
  exif.undefined(0x927C, note);
  const Dictionary wanted{{"1", 14},
                          {"3", Dictionary{{"epoch", "1"}}},
                          {"8", Array{static_cast<double>(1.0F / 3.0F), -0.25}},
                          {"17", "id"}};
  Directory main;
  main.text(0x010F, "Apple");
  EXPECT_TRUE(same(propertiesOf(jpeg(exifSegment(tiff(main, exif))))["{MakerApple}"], wanted));
}

// ---- PNG ----

TEST(PngProperties, tellTheFormByTheColourType) {
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
  const auto dpi = [](std::uint32_t perMetre, int unit) {
    return propertiesOf(png(2, 8, chunk("pHYs", big(perMetre, 4) + big(perMetre, 4) + big(unit, 1))));
  };
  EXPECT_EQ(dpi(5669, 1)["DPIWidth"], Value(144.0));
  EXPECT_EQ(dpi(11811, 1)["DPIHeight"], Value(300.0));
  EXPECT_EQ(dpi(2835, 1)["DPIWidth"], Value(72.0));
  EXPECT_EQ(dpi(3779, 1)["DPIWidth"], Value(96.0));
  EXPECT_EQ(dpi(3779, 1)["{PNG}"]["XPixelsPerMeter"], Value(3779));
  EXPECT_TRUE(dpi(2835, 0)["DPIWidth"].isNil());
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

TEST(PngProperties, unpackNoMoreThanIsSensible) {
  const std::string nul(1, '\0');
  const std::string bomb = packed(std::string(std::size_t{200} << 20, 'x'));
  const Value all = propertiesOf(png(2, 8, chunk("zTXt", "Comment" + nul + nul + bomb)));
  EXPECT_LE(all["{PNG}"]["Comment"].string().size(), std::size_t{9} << 20);
}

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

// ---- damaged files ----

TEST(DamagedPictures, neverHoldTheReaderUp) {
  // A chunk of no length at every eight bytes, a marker at every second: as many steps as a file can ask for.
  std::string chunks = png(2, 8, "");
  chunks.resize(chunks.size() - 12);
  for (int i = 0; i < 500'000; ++i) chunks += big(0, 4) + "abcd" + big(0, 4);
  EXPECT_EQ(propertiesOf(chunks)["PixelWidth"], Value(40));
  EXPECT_TRUE(propertiesOf("\xFF\xD8" + std::string(8'000'000, '\xFF')).isNil());
}

TEST(DamagedPictures, areNotFollowedWhereverTheyAreCut) {
  Directory main, exif;
  main.text(0x010F, "Canon").rationals(0x011A, {{72, 1}});
  exif.shorts(0x8827, {100}).text(0x9003, "2018:09:28 15:35:49");
  const std::string whole = jpeg(jfif(1, 1, 72, 72) + exifSegment(tiff(main, exif)) +
                                 iimSegment(iimSet(2, 5, "x")) + xmpSegment(xmp(bag("dc:subject", {"a"}))));
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Value all = propertiesOf(whole.substr(0, length));
    EXPECT_TRUE(all.isNil() || all["PixelWidth"] == Value(40)) << length;
  }
}

TEST(DamagedPictures, areNotReadWhenTheirPacketIsNestedTooDeep) {
  std::string deep;
  for (int i = 0; i < 10'000; ++i) deep += "<a>";
  EXPECT_FALSE(properties::isShallow(deep));
  EXPECT_TRUE(properties::isShallow("<?x?><!-- --><a><b/><b/></a>"));
  EXPECT_EQ(propertiesOf(jpeg(xmpSegment(xmp(deep))))["PixelWidth"], Value(40));
}

// ---- files and the other program ----

TEST(ImagePropertyReader, readsAFileByItsParts) {
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "a.jpg").string();
  std::ofstream(path, std::ios::binary) << jpeg(jfif(1, 0, 1, 1) + segment(0xEF, std::string(60'000, 'x')));
  FakeProcessRunner runner;
  ImagePropertyReader reader(runner);
  const auto found = reader.propertiesOf(openRegularFile(path));
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)["PixelWidth"], Value(40));
  EXPECT_TRUE(runner.requests().empty());
  EXPECT_FALSE(reader.propertiesOf(openRegularFile((folder.path() / "missing.jpg").string())));
}

TEST(ImagePropertyReader, hasNothingToTellWhenTheOtherProgramFails) {
  const auto withAnswer = [](ProcessResult answer) {
    FakeProcessRunner runner([&](const ProcessRequest&) { return answer; });
    ImagePropertyReader reader(runner, "/helper");
    return reader.propertiesOf(openRegularFile(fixture("tiff-plain.tif")));
  };
  EXPECT_FALSE(withAnswer(ProcessResult{}));
  EXPECT_FALSE(withAnswer(FakeProcessRunner::printing("nonsense")));
  EXPECT_FALSE(withAnswer(FakeProcessRunner::printing("", 1)));
}

class WholeFiles : public testing::Test {
 protected:
  Value propertiesOfFixture(const char* name) {
    const auto found = reader.propertiesOf(openRegularFile(fixture(name)));
    return found ? Value(*found) : Value();
  }
  SystemProcessRunner processes;
  ImagePropertyReader reader{processes, MOXTEL_PROPERTY_READER};
};

TEST_F(WholeFiles, tellTheFormOfATiff) {
  const Value cmyk = propertiesOfFixture("tiff-cmyk16.tif");
  EXPECT_EQ(cmyk["ColorModel"], Value("CMYK"));
  EXPECT_EQ(cmyk["Depth"], Value(16));
  EXPECT_EQ(propertiesOfFixture("tiff-lab.tif")["ColorModel"], Value("Lab"));
  EXPECT_EQ(propertiesOfFixture("tiff-gray.tif")["ColorModel"], Value("Gray"));
  EXPECT_EQ(propertiesOfFixture("tiff-palette.tif")["IsIndexed"], Value(true));
  EXPECT_EQ(propertiesOfFixture("tiff-alpha.tif")["HasAlpha"], Value(true));
  EXPECT_EQ(propertiesOfFixture("tiff-float.tif")["IsFloat"], Value(true));
  EXPECT_EQ(propertiesOfFixture("tiff-profile.tif")["ProfileName"], Value("Moxtel test"));
  EXPECT_EQ(propertiesOfFixture("tiff-big-endian.tif")["PixelWidth"], Value(96));
  const Value turned = propertiesOfFixture("tiff-orientation-6.tif");
  EXPECT_EQ(turned["Orientation"], Value(6));
  EXPECT_EQ(turned["PixelHeight"], Value(64));
  const Value tiled = propertiesOfFixture("tiff-tiled.tif")["{TIFF}"];
  EXPECT_EQ(tiled["TileWidth"], Value(32));
  EXPECT_EQ(tiled["Compression"], Value(1));
}

TEST_F(WholeFiles, tellOfACamerasFileItsDevelopedPicture) {
  const Value all = propertiesOfFixture("raw-orientation-6.dng");
  EXPECT_EQ(all["PixelWidth"], Value(96));
  EXPECT_EQ(all["Depth"], Value(16));
  EXPECT_EQ(all["ColorModel"], Value("RGB"));
  EXPECT_EQ(all["ProfileName"], Value("Display P3"));
  EXPECT_EQ(all["Orientation"], Value(6));
  EXPECT_TRUE(same(all["{DNG}"]["DNGVersion"], Array{1, 4}));
  EXPECT_EQ(all["{DNG}"]["UniqueCameraModel"], Value("Moxtel Test Camera"));
  EXPECT_TRUE(same(all["{DNG}"]["WhiteLevel"], Array{65535}));
  EXPECT_EQ(all["{DNG}"]["ColorMatrix1"].array()[0], Value(static_cast<double>(3.2406F)));
}

TEST_F(WholeFiles, areNothingWhenTheyAreBroken) {
  EXPECT_TRUE(propertiesOfFixture("broken-tiff-plain-head.tif").isNil());
  EXPECT_TRUE(propertiesOfFixture("no-picture.txt").isNil());
}

TEST_F(WholeFiles, areImmutableBehindTheArchiveToo) {
  const Value all = propertiesOfFixture("raw-orientation-6.dng");
  EXPECT_FALSE(all.dictionary().isMutable());
  EXPECT_FALSE(all["{DNG}"]["WhiteLevel"].array().isMutable());
}

// Every file of the fixtures, whatever it is: an answer, and none of a picture that is none.
TEST_F(WholeFiles, tellTheFormOfTheOtherFormats) {
  for (const char* name : {"heic.heic", "webp.webp", "webp-lossless.webp", "webp-alpha.webp", "bmp-24.bmp",
                           "bmp-rle.bmp", "jpeg2000.jp2", "jpeg2000-stream.j2k", "psd-rgb.psd", "gif.gif"}) {
    const Value all = propertiesOfFixture(name);
    EXPECT_EQ(all["PixelWidth"], Value(96)) << name;
    EXPECT_EQ(all["PixelHeight"], Value(64)) << name;
    EXPECT_EQ(all["ColorModel"], Value("RGB")) << name;
    EXPECT_EQ(all["Depth"], Value(8)) << name;
  }
  EXPECT_EQ(propertiesOfFixture("webp-alpha.webp")["HasAlpha"], Value(true));
  EXPECT_EQ(propertiesOfFixture("psd-cmyk.psd")["ColorModel"], Value("CMYK"));
  EXPECT_EQ(propertiesOfFixture("psd-rgb16.psd")["Depth"], Value(16));
  EXPECT_EQ(propertiesOfFixture("psd-rgb.psd")["{8BIM}"]["Version"], Value(1));
  EXPECT_EQ(propertiesOfFixture("jpeg2000-gray.jp2")["ColorModel"], Value("Gray"));
  EXPECT_EQ(propertiesOfFixture("heic-turned.heic")["ProfileName"], Value("Moxtel test"));
}

}  // namespace
}  // namespace moxtel::test
