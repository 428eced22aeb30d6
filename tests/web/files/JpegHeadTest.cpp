#include "web/files/JpegHead.h"

#include "library/facts/PictureShape.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/properties/PropertyDictionary.h"

namespace moxtel {
namespace {

using properties::ByteSource;
using properties::FileBytes;
using std::string_literals::operator""s;
using testing::Eq;
using testing::Optional;

std::string segment(std::uint8_t marker, const std::string& data) {
  const std::size_t length = data.size() + 2;
  return std::string{'\xFF', static_cast<char>(marker), static_cast<char>(length >> 8),
                     static_cast<char>(length)} +
         data;
}

// An Exif segment whose directory has the tag 0x0131 before, and the orientation as given.
std::string exif(bool little, int orientation, int type = 3, int copies = 1) {
  const auto word = [&](unsigned value) {
    return little ? std::string{static_cast<char>(value), static_cast<char>(value >> 8)}
                  : std::string{static_cast<char>(value >> 8), static_cast<char>(value)};
  };
  const auto longWord = [&](unsigned value) {
    return little ? word(value) + word(0) : word(0) + word(value);
  };
  std::string tiff =
      (little ? "II" : "MM") + word(42) + longWord(8) + word(static_cast<unsigned>(copies + 1));
  tiff += word(0x0131) + word(2) + longWord(4) + "abc\0"s;
  for (int i = 0; i < copies; ++i)
    tiff += word(0x0112) + word(static_cast<unsigned>(type)) + longWord(1) +
            word(static_cast<unsigned>(orientation)) + word(0);
  return segment(0xE1, "Exif\0\0"s + tiff + longWord(0));
}

// A picture of 40 × 24 pixels as our encoder writes it, less its first two bytes.
std::string pictureData() {
  PixelBuffer image{40, 24, PixelLayout::Rgb, Bytes(40 * 24 * 3, 77), {}};
  PixelBufferSource source(image);
  const auto jpeg = jpegOf(source);
  return {jpeg->begin() + 2, jpeg->end()};
}

std::string jpegWith(const std::string& segments) { return "\xFF\xD8" + segments + pictureData(); }

std::optional<JpegHead> headOf(const std::string& file) {
  ByteSource source(properties::bytesOf(file));
  return JpegHead::of(source);
}

std::string turnedFile(const std::string& file, int orientation) {
  ByteSource source(properties::bytesOf(file));
  const auto head = JpegHead::of(source);
  const auto turned = head ? head->turned(source, orientation) : std::nullopt;
  return turned ? turned->start + file.substr(turned->rest) : std::string();
}

// What another reader finds.
std::optional<std::int64_t> orientationByProperties(const std::string& file) {
  ByteSource source(properties::bytesOf(file));
  const auto found = properties::propertyDictionary(PictureKind::Jpeg, source);
  return found ? std::optional((*found)["Orientation"].integerValue()) : std::nullopt;
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

TEST(JpegHeadTest, readsTheSizeAndTheOrientation) {
  for (const bool little : {true, false}) {
    const auto head = headOf(jpegWith(exif(little, 6)));
    ASSERT_TRUE(head);
    EXPECT_EQ(head->width(), 40u);
    EXPECT_EQ(head->height(), 24u);
    EXPECT_EQ(head->orientation(), 6);
    EXPECT_FALSE(head->hasOtherInks());
  }
  EXPECT_EQ(headOf(jpegWith(""))->orientation(), 1);
  EXPECT_EQ(headOf(jpegWith(exif(true, 9)))->orientation(), 1);
}

TEST(JpegHeadTest, changesTwoBytesOfAFileWithTheTag) {
  for (const bool little : {true, false}) {
    const std::string file = jpegWith(exif(little, 6));
    const std::string turned = turnedFile(file, 8);
    ASSERT_EQ(turned.size(), file.size());
    std::size_t changed = 0;
    for (std::size_t i = 0; i < file.size(); ++i) changed += file[i] != turned[i];
    EXPECT_EQ(changed, 1u);
    EXPECT_THAT(orientationByProperties(turned), Optional(8));
  }
}

TEST(JpegHeadTest, inserts36BytesIntoAFileWithoutExif) {
  const std::string file = jpegWith("");
  const std::string turned = turnedFile(file, 3);
  ASSERT_EQ(turned.size(), file.size() + 36);
  EXPECT_EQ(turned.substr(38), file.substr(2));
  EXPECT_THAT(orientationByProperties(turned), Optional(3));
  EXPECT_EQ(headOf(turned)->orientation(), 3);
}

TEST(JpegHeadTest, replacesASegmentThatHasNoSingleTagOfTheRightType) {
  for (const std::string& odd : {exif(true, 1, 3, 0), exif(true, 6, 4), exif(false, 6, 3, 2),
                                 segment(0xE1, "Exif\0\0II"s), segment(0xE1, "Exif\0\0XX*\0\0\0\0\0\0\0"s)}) {
    const std::string turned = turnedFile(jpegWith(odd), 6);
    EXPECT_EQ(turned.size(), jpegWith("").size() + 36);
    EXPECT_EQ(headOf(turned)->orientation(), 6);
  }
}

TEST(JpegHeadTest, leavesOnlyOneExifSegment) {
  const std::string between = segment(0xE2, "between");
  const std::string file = jpegWith(exif(true, 6) + between + exif(false, 3) + exif(true, 8));
  EXPECT_EQ(headOf(file)->orientation(), 6);
  const std::string turned = turnedFile(file, 8);
  EXPECT_EQ(count(turned, "Exif"), 1u);
  EXPECT_EQ(count(turned, "between"), 1u);
  EXPECT_EQ(turned, jpegWith(exif(true, 8) + between));
}

TEST(JpegHeadTest, leavesTheFileAsItIsForItsOwnOrientation) {
  const std::string file = jpegWith(exif(true, 6));
  EXPECT_EQ(turnedFile(file, 6), file);
}

TEST(JpegHeadTest, rejectsWhatIsNoJpegOrHasNoSize) {
  for (const std::string& file : {""s, "\xFF"s, "\xFF\xD8"s, "\x89PNG\r\n"s, "\xFF\xD8"s + exif(true, 6),
                                  "\xFF\xD8\xFF\xE1\xFF\xFF"s, jpegWith(exif(true, 6)).substr(0, 60)}) {
    EXPECT_FALSE(headOf(file));
  }
}

TEST(JpegHeadTest, doesNotTurnAFileWhoseExifSegmentComesTooLate) {
  std::string filler;
  for (std::size_t i = 0; i < 17; ++i) filler += segment(0xEF, std::string(65000, 'x'));
  const std::string file = jpegWith(filler + exif(true, 6));
  EXPECT_EQ(headOf(file)->orientation(), 6);
  EXPECT_EQ(turnedFile(file, 8), "");
}

TEST(JpegHeadTest, mapsDegreesToOrientations) {
  for (const int degrees : {0, 90, 180, 270})
    EXPECT_EQ(degreesOfOrientation(orientationOfDegrees(degrees)), degrees);
  EXPECT_EQ(orientationOfDegrees(-90), 8);
  EXPECT_EQ(orientationOfDegrees(450), 6);
  EXPECT_EQ(orientationOfDegrees(45), 1);
}

}  // namespace
}  // namespace moxtel
