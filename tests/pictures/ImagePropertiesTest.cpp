#include "pictures/properties/ImageProperties.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

#include "pictures/properties/XmpProperties.h"
#include "platform/process/ChildProcess.h"
#include "plist/KeyedArchive.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/pictures/Fixtures.h"
#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

// ---- the whole ----

// The properties that the platform gave for a photo of a real library; this file has the same tags.
TEST(ImageProperties, matchThePlatformForACameraPhoto) {
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

TEST(ImageProperties, describeOnlyTheFormOfABareJpeg) {
  const Dictionary wanted{{"PixelWidth", 40}, {"PixelHeight", 20}, {"Depth", 8}, {"ColorModel", "RGB"}};
  EXPECT_TRUE(same(propertiesOf(jpeg("")), wanted));
}

TEST(ImageProperties, areImmutableAtEveryLevel) {
  const Value all = propertiesOf(jpeg(jfif(1, 0, 1, 1)));
  EXPECT_FALSE(all.dictionary().isMutable());
  EXPECT_FALSE(all["{JFIF}"].dictionary().isMutable());
  EXPECT_FALSE(all["{JFIF}"]["JFIFVersion"].array().isMutable());
}

TEST(ImageProperties, doNotExistForAFileThatIsNotAPicture) {
  EXPECT_TRUE(propertiesOf("").isNil());
  EXPECT_TRUE(propertiesOf("text").isNil());
  EXPECT_TRUE(propertiesOf("\xFF\xD8\xFF").isNil());
  EXPECT_TRUE(propertiesOf(jpeg("", "")).isNil()) << "no frame";
  EXPECT_TRUE(propertiesOf(jpeg("", frame(0, 20, 3))).isNil());
}

// ---- damaged files ----

TEST(DamagedPictures, neverBlockTheReader) {
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

TEST(ImagePropertyReader, hasNothingIfTheHelperFails) {
  const auto withAnswer = [](ProcessResult answer) {
    FakeProcessRunner runner([&](const ProcessRequest&) { return answer; });
    ImagePropertyReader reader(runner, "/helper");
    return reader.propertiesOf(openRegularFile(fixture("tiff-plain.tif")));
  };
  EXPECT_FALSE(withAnswer(ProcessResult{}));
  EXPECT_FALSE(withAnswer(FakeProcessRunner::printing("nonsense")));
  EXPECT_FALSE(withAnswer(FakeProcessRunner::printing("", 1)));
}

std::string internationalText(const std::string& keyword, const std::string& text) {
  return chunk("iTXt", keyword + std::string(5, '\0') + text);
}

// A PNG with a position and a packet of more than 64 KB in it.
std::string pngWithLargePacket() {
  Directory gps;
  gps.text(1, "N").rationals(2, {{48, 1}, {30, 1}, {0, 1}});
  const std::vector<std::string> words(5'000, "a word of it");
  return png(2, 8,
             chunk("eXIf", tiff({}, {}, gps)) +
                 internationalText("XML:com.adobe.xmp", xmp(bag("dc:subject", words))));
}

TEST(ImagePropertyReader, leavesLargeBlocksToTheOtherProgram) {
  const TemporaryFolder folder;
  const std::string packet = (folder.path() / "packet.png").string();
  std::ofstream(packet, std::ios::binary) << pngWithLargePacket();
  Directory main;
  main.text(0x010E, std::string(70'000, 'x'));
  const std::string exif = (folder.path() / "exif.png").string();
  std::ofstream(exif, std::ios::binary) << png(2, 8, chunk("eXIf", tiff(main)));
  for (const std::string& path : {packet, exif}) {
    const Bytes answer = archivedData(Dictionary{{"PixelWidth", 7}});
    FakeProcessRunner runner([&](const ProcessRequest& request) {
      const std::string input = "/proc/self/fd/" + std::to_string(request.inputDescriptor);
      EXPECT_EQ(std::filesystem::read_symlink(input), path);
      return FakeProcessRunner::printing(std::string(answer.begin(), answer.end()));
    });
    ImagePropertyReader reader(runner, "/helper");
    const auto found = reader.propertiesOf(openRegularFile(path));
    ASSERT_EQ(runner.requests().size(), 1U);
    EXPECT_EQ(runner.requests()[0].program, "/helper");
    EXPECT_THAT(runner.requests()[0].arguments, testing::IsEmpty());
    ASSERT_TRUE(found);
    EXPECT_TRUE(same(Value(*found), Dictionary{{"PixelWidth", 7}}));
  }
}

TEST(ImagePropertyReader, describesTheFormIfLargeBlocksCannotBeParsed) {
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "a.png").string();
  std::ofstream(path, std::ios::binary) << pngWithLargePacket();
  FakeProcessRunner runner;
  const auto found = ImagePropertyReader(runner, "/helper").propertiesOf(openRegularFile(path));
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)["PixelWidth"], Value(40));
  EXPECT_TRUE((*found)["{GPS}"].isNil());
  EXPECT_TRUE((*found)["{IPTC}"].isNil());
}

class WholeFileProperties : public testing::Test {
 protected:
  Value propertiesOfFixture(const char* name) {
    const auto found = reader.propertiesOf(openRegularFile(fixture(name)));
    return found ? Value(*found) : Value();
  }
  SystemProcessRunner processes;
  ImagePropertyReader reader{processes, MOXTEL_PROPERTY_READER};
};

TEST_F(WholeFileProperties, describeTheFormOfATiff) {
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

TEST_F(WholeFileProperties, describeTheDevelopedPictureOfARawFile) {
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

TEST_F(WholeFileProperties, readLargeBlocksLikeSmallOnes) {
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "a.png").string();
  std::ofstream(path, std::ios::binary) << pngWithLargePacket();
  const auto found = reader.propertiesOf(openRegularFile(path));
  ASSERT_TRUE(found);
  EXPECT_EQ((*found)["{IPTC}"]["Keywords"].array().size(), 5'000U);
  EXPECT_EQ((*found)["{GPS}"]["Latitude"], Value(48.5));
  EXPECT_TRUE(same(Value(*found), propertiesOf(pngWithLargePacket())));
}

TEST_F(WholeFileProperties, haveTheSensorsSizeIfTheCropIsInvalid) {
  EXPECT_EQ(propertiesOfFixture("raw-cut-to-nothing.dng")["PixelWidth"], Value(96));
}

TEST_F(WholeFileProperties, includeTheRecordsOfCiff) {
  const Value all = propertiesOfFixture("raw-canon.crw");
  const Dictionary wanted{{"Description", "High definition CCD image"},
                          {"Firmware", "Firmware Version 1.10"},
                          {"OwnerName", "Moxtel"},
                          {"ImageName", "CRW:High definition CCD image"},
                          {"ImageFileName", "CRW_5082.CRW"},
                          {"ReleaseMethod", 0},
                          {"ReleaseTiming", 1},
                          {"RecordID", 0},
                          {"SelfTimingTime", 0},
                          {"ImageSerialNumber", 1505082},
                          {"UniqueModelID", 0x1110000},
                          {"ContinuousDrive", 1},
                          {"FocusMode", 4},
                          {"MeteringMode", 3},
                          {"LensMaxMM", 21.0},
                          {"LensMinMM", 7.0},
                          {"MaxAperture", std::exp2(98.0 / 64)},
                          {"MinAperture", 8.0},
                          {"WhiteBalanceIndex", 1},
                          {"FlashExposureComp", -1.0 / 3},
                          {"MeasuredEV", 0.375}};
  EXPECT_TRUE(same(all["{CIFF}"], wanted));
  EXPECT_EQ(all["{TIFF}"]["Model"], Value("Canon PowerShot G2"));
  EXPECT_TRUE(all["{MakerCanon}"].isNil());
  EXPECT_TRUE(all["{ExifAux}"].isNil());
}

TEST_F(WholeFileProperties, areAbsentIfTheFileIsBroken) {
  EXPECT_TRUE(propertiesOfFixture("broken-tiff-plain-head.tif").isNil());
  EXPECT_TRUE(propertiesOfFixture("no-picture.txt").isNil());
}

TEST_F(WholeFileProperties, areImmutableAfterArchivingToo) {
  const Value all = propertiesOfFixture("raw-orientation-6.dng");
  EXPECT_FALSE(all.dictionary().isMutable());
  EXPECT_FALSE(all["{DNG}"]["WhiteLevel"].array().isMutable());
}

// Every file of the fixtures, whatever it is: an answer, and none of a picture that is none.
TEST_F(WholeFileProperties, describeTheFormOfTheOtherFormats) {
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
  EXPECT_TRUE(propertiesOfFixture("psd-rgb.psd")["DPIWidth"].isNil()) << "1/65536 of a dot means none";
  EXPECT_EQ(propertiesOfFixture("jpeg2000-gray.jp2")["ColorModel"], Value("Gray"));
  EXPECT_EQ(propertiesOfFixture("heic-turned.heic")["ProfileName"], Value("Moxtel test"));
  EXPECT_EQ(propertiesOfFixture("heic.heic")["PrimaryImage"], Value(1));
  EXPECT_EQ(propertiesOfFixture("heic-grid.heic")["PixelWidth"], Value(96)) << "not that of a tile";
  EXPECT_EQ(propertiesOfFixture("heic-grid.heic")["PixelHeight"], Value(64));
}

}  // namespace
}  // namespace moxtel::test
