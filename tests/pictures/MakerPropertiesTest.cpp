#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

// A maker note whose offsets are relative to the whole block, as Canon's are.
std::string withCanonNote(const Directory& note, std::uint32_t program = 0) {
  const std::string hole(note.at(0).size(), '?');
  Directory main, exif;
  main.text(0x010F, "Canon").text(0x0110, "Canon PowerShot G10");
  exif.shorts(0x9207, {5});
  if (program != 0) exif.shorts(0x8822, {program});
  Directory whole = exif;
  exif.undefined(0x927C, hole);
  const auto place = static_cast<std::uint32_t>(tiff(main, exif).find(hole));
  whole.undefined(0x927C, note.at(place));
  return jpeg(exifSegment(tiff(main, whole)));
}

TEST(CanonProperties, comeFromTheMakersNote) {
  std::vector<std::uint32_t> settings(47), shot(34);
  settings[0] = 94, settings[5] = 1, settings[20] = 1;                           // drive, program
  settings[23] = 30500, settings[24] = 6100, settings[25] = 1000;                // lens
  settings[26] = 136, settings[27] = 308;                                        // apertures
  shot[0] = 68, shot[7] = 0, shot[15] = static_cast<std::uint16_t>(-32 - 0x0C);  // white, flash
  Directory note;
  note.shorts(1, settings).shorts(4, shot).text(7, "Firmware Version 1.04").numbers(8, LONG, {1002345});
  note.text(9, "").numbers(0x10, LONG, {0x80000261}).text(0x95, "");
  const Value all = propertiesOf(withCanonNote(note));
  const Value& canon = all["{MakerCanon}"];
  EXPECT_EQ(canon["Firmware"], Value("Firmware Version 1.04"));
  EXPECT_EQ(canon["ContinuousDrive"], Value(1));
  EXPECT_EQ(canon["ImageSerialNumber"], Value(1002345));
  EXPECT_EQ(canon["UniqueModelID"], Value(2147484257));
  EXPECT_EQ(canon["WhiteBalanceIndex"], Value(0));
  EXPECT_DOUBLE_EQ(canon["MaxAperture"].doubleValue(), 4.3620309306610308);
  EXPECT_DOUBLE_EQ(canon["MinAperture"].doubleValue(), 28.508758980490853);
  EXPECT_DOUBLE_EQ(canon["FlashExposureComp"].doubleValue(), -4.0 / 3);
  EXPECT_EQ(all["{Exif}"]["ExposureProgram"], Value(2));
  EXPECT_TRUE(same(all["{ExifAux}"], Dictionary{{"Firmware", "Firmware Version 1.04"},
                                                {"LensModel", "6.1-30.5 mm"},
                                                {"LensInfo", Array{6.1, 30.5, 0.0, 0.0}}}));
}

TEST(CanonProperties, nameTheLensThatIsOnTheCamera) {
  std::vector<std::uint32_t> settings(47);
  settings[23] = 50, settings[24] = 50, settings[25] = 1;
  Directory named, unnamed;
  named.shorts(1, settings).text(0x95, "EF50mm f/1.8 II");
  unnamed.shorts(1, settings);
  EXPECT_EQ(propertiesOf(withCanonNote(named))["{ExifAux}"]["LensModel"], Value("EF50mm f/1.8 II"));
  EXPECT_EQ(propertiesOf(withCanonNote(unnamed))["{ExifAux}"]["LensModel"], Value("50 mm"));
}

TEST(CanonProperties, sayNothingOfALensWithoutOne) {
  Directory note;
  note.shorts(1, std::vector<std::uint32_t>(47)).text(0x95, "");
  EXPECT_TRUE(propertiesOf(withCanonNote(note))["{ExifAux}"].isNil());
}

TEST(CanonProperties, preferTheExposureProgramOfExif) {
  std::vector<std::uint32_t> settings(47);
  settings[20] = 4;
  Directory note;
  note.shorts(1, settings);
  EXPECT_EQ(propertiesOf(withCanonNote(note))["{Exif}"]["ExposureProgram"], Value(1));
  EXPECT_EQ(propertiesOf(withCanonNote(note, 3))["{Exif}"]["ExposureProgram"], Value(3));
}

std::string nikonTiff(const Directory& note) {
  Directory main, exif;
  main.text(0x010F, "NIKON CORPORATION").text(0x0110, "NIKON D800E");
  exif.undefined(0x927C, std::string("Nikon\0\2\x10\0\0", 10) + tiff(note));
  return tiff(main, exif);
}

TEST(NikonProperties, keepTheBlanksOfTheMakersNote) {
  Directory note;
  note.shorts(2, {0, 1600}).text(4, "RAW    ").text(5, "AUTO        ").text(7, "AF-S  ");
  note.numbers(0x83, BYTE, {6}).rationals(0x84, {{24, 1}, {120, 1}, {4, 1}, {4, 1}}).text(0x1D, "6001440");
  note.numbers(0xA7, LONG, {8834}).text(0x82, "OFF         ").undefined(0x12, std::string("\xFC\1\6\0", 4));
  const Dictionary wanted{
      {"ISOSetting", Array{0, 1600}},    {"Quality", "RAW    "}, {"WhiteBalanceMode", "AUTO        "},
      {"FocusMode", "AF-S  "},           {"LensType", 6},        {"LensInfo", Array{24.0, 120.0, 4.0, 4.0}},
      {"CameraSerialNumber", "6001440"}, {"ShutterCount", 8834}, {"LensAdapter", "OFF         "},
      {"FlashExposureComp", -4.0 / 6}};
  const Value all = propertiesOf(jpeg(exifSegment(nikonTiff(note))));
  EXPECT_TRUE(same(all["{MakerNikon}"], wanted));
  EXPECT_TRUE(all["{ExifAux}"].isNil()) << "that is for the camera's own files";
}

TEST(NikonProperties, describeTheLensOfARawFile) {
  const auto auxOf = [](const Directory& note) {
    properties::PictureFacts facts;
    facts.width = facts.height = 1;
    const std::string file = nikonTiff(note);
    return Value(properties::assembled(
        PictureKind::Raw, facts,
        properties::exifGroups(properties::bytesOf(file), properties::ExifOrigin::TiffFile)))["{ExifAux}"];
  };
  Directory zoom, fixed, none;
  zoom.rationals(0x84, {{180, 10}, {55, 1}, {35, 10}, {56, 10}})
      .text(0x1D, "6001440")
      .numbers(0xA7, LONG, {8458});
  EXPECT_TRUE(same(auxOf(zoom), Dictionary{{"LensInfo", Array{18.0, 55.0, 3.5, 5.6}},
                                           {"LensModel", "18.0-55.0 mm f/3.5-5.6"},
                                           {"SerialNumber", "6001440"},
                                           {"ImageNumber", 8458}}));
  fixed.rationals(0x84, {{50, 1}, {50, 1}, {14, 10}, {14, 10}});
  EXPECT_EQ(auxOf(fixed)["LensModel"], Value("50.0 mm f/1.4"));
  none.rationals(0x84, {{0, 0}, {0, 0}, {0, 0}, {0, 0}});
  EXPECT_TRUE(auxOf(none)["LensModel"].isNil());
}

TEST(AppleProperties, areKeyedByTagNumber) {
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

Value appleNote(const std::string& note) {
  Directory main, exif;
  main.text(0x010F, "Apple");
  exif.undefined(0x927C, note);
  return propertiesOf(jpeg(exifSegment(tiff(main, exif))))["{MakerApple}"];
}

// An entry whose data begin at this offset of the note.
std::string appleEntry(int tag, std::size_t size, std::size_t place) {
  return big(tag, 2) + big(7, 2) + big(size, 4) + big(place, 4);
}

TEST(AppleProperties, stayWithinTheSizeOfTheNoteIfItsValuesOverlap) {
  constexpr int kEntries = 500;
  constexpr std::size_t kSize = 10'000;
  std::string note = std::string("Apple iOS\0\0\1MM", 14) + big(kEntries, 2);
  for (int i = 0; i < kEntries; ++i) note += appleEntry(i, kSize, 16 + 12 * kEntries);
  note += std::string(kSize, 'x');
  EXPECT_EQ(appleNote(note).dictionary().size(), 1U);
}

TEST(AppleProperties, limitTheUnfoldingOfAnArray) {
  // An array that refers to the same data 4000 times.
  constexpr std::size_t kTimes = 4000;
  constexpr std::size_t kSize = 500;
  const std::string data = "\x4F\x11" + big(kSize, 2) + std::string(kSize, 'x');
  const std::string list = "\xAF\x11" + big(kTimes, 2) + std::string(kTimes, '\1');
  const std::string plist = "bplist00" + list + data + big(8, 2) + big(8 + list.size(), 2) +
                            std::string(6, '\0') + "\2\1" + big(2, 8) + big(0, 8) +
                            big(8 + list.size() + data.size(), 8);
  const std::string note =
      std::string("Apple iOS\0\0\1MM", 14) + big(1, 2) + appleEntry(3, plist.size(), 28) + plist;
  EXPECT_TRUE(appleNote(note)["3"].isNil());
}

}  // namespace
}  // namespace moxtel::test
