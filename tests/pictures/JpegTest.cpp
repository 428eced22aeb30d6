#include "pictures/codec/Jpeg.h"

#include <algorithm>
#include <fstream>

#include "pictures/codec/Rotation.h"
#include "tests/pictures/Fixtures.h"

namespace moxtel {
namespace {

using test::expectQuarters;
using test::fixtureBytes;

PixelBuffer pixels(const Bytes& jpeg) {
  JpegPixels result = pixelsOfJpeg(jpeg);
  EXPECT_EQ(result.outcome, JpegOutcome::Done);
  return result.image;
}

Bytes reencoded(const std::string& name) {
  JpegResult result = reencodedJpeg(fixtureBytes(name));
  EXPECT_EQ(result.outcome, JpegOutcome::Done) << name;
  return result.jpeg;
}

// The sampling factors in the frame header: one byte a component.
std::vector<int> factors(const Bytes& jpeg) {
  std::size_t at = 2;
  while (at + 4 < jpeg.size() && (jpeg[at + 1] < 0xC0 || jpeg[at + 1] > 0xC2))
    at += 2 + (std::size_t{jpeg[at + 2]} << 8 | jpeg[at + 3]);
  std::vector<int> found;
  for (int c = 0; c < jpeg[at + 9]; ++c) found.push_back(jpeg[at + 11 + 3 * static_cast<std::size_t>(c)]);
  return found;
}

bool holds(const Bytes& bytes, std::string_view text) {
  return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).find(text) !=
         std::string_view::npos;
}

class ReencodedJpeg : public testing::TestWithParam<const char*> {};

TEST_P(ReencodedJpeg, showsTheSamePicture) {
  const PixelBuffer image = pixels(reencoded(GetParam()));
  EXPECT_EQ(image.width, 96U);
  EXPECT_EQ(image.height, 64U);
  EXPECT_EQ(image.layout, PixelLayout::Rgb);
  expectQuarters(image, 8);
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, ReencodedJpeg,
                         testing::Values("jpeg-420.jpg", "jpeg-422.jpg", "jpeg-440.jpg", "jpeg-444.jpg",
                                         "jpeg-411.jpg", "jpeg-twelve-blocks.jpg", "jpeg-progressive.jpg",
                                         "jpeg-rgb.jpg", "jpeg-arithmetic.jpg", "jpeg-restarts.jpg",
                                         "jpeg-profile.jpg", "jpeg-without-end.jpg", "jpeg-orientation-1.jpg",
                                         "jpeg-orientation-2.jpg", "jpeg-orientation-3.jpg",
                                         "jpeg-orientation-4.jpg", "jpeg-orientation-5.jpg",
                                         "jpeg-orientation-6.jpg", "jpeg-orientation-7.jpg",
                                         "jpeg-orientation-8.jpg"));

TEST(JpegReencoding, keepsGrayGray) {
  const PixelBuffer image = pixels(reencoded("jpeg-gray.jpg"));
  EXPECT_EQ(image.layout, PixelLayout::Gray);
  expectQuarters(image, 6, test::grayQuarters());
}

TEST(JpegReencoding, keepsTheSubsampling) {
  EXPECT_EQ(factors(reencoded("jpeg-420.jpg")), (std::vector<int>{0x22, 0x11, 0x11}));
  EXPECT_EQ(factors(reencoded("jpeg-422.jpg")), (std::vector<int>{0x21, 0x11, 0x11}));
  EXPECT_EQ(factors(reencoded("jpeg-440.jpg")), (std::vector<int>{0x12, 0x11, 0x11}));
  EXPECT_EQ(factors(reencoded("jpeg-444.jpg")), (std::vector<int>{0x11, 0x11, 0x11}));
}

TEST(JpegReencoding, keepsSizesThatAreNoWholeBlocks) {
  const PixelBuffer image = pixels(reencoded("jpeg-odd-size.jpg"));
  EXPECT_EQ(image.width, 95U);
  EXPECT_EQ(image.height, 61U);
  expectQuarters(image, 8);
  EXPECT_EQ(pixels(reencoded("jpeg-one-pixel.jpg")).width, 1U);
}

TEST(JpegReencoding, agreesWithThePixelsEverywhere) {
  for (const char* name : {"jpeg-odd-size.jpg", "jpeg-progressive.jpg", "jpeg-411.jpg"}) {
    const PixelBuffer before = pixels(fixtureBytes(name));
    const PixelBuffer after = pixels(reencoded(name));
    ASSERT_EQ(before.pixels.size(), after.pixels.size());
    double difference = 0;
    for (std::size_t i = 0; i < before.pixels.size(); ++i)
      difference += std::abs(before.pixels[i] - after.pixels[i]);
    EXPECT_LT(difference / static_cast<double>(before.pixels.size()), 4) << name;
  }
}

TEST(JpegReencoding, keepsTheColorProfile) {
  EXPECT_EQ(pixels(reencoded("jpeg-profile.jpg")).iccProfile, fixtureBytes("test.icc"));
}

TEST(JpegReencoding, leavesOutTheOrientationTag) {
  ASSERT_TRUE(holds(fixtureBytes("jpeg-orientation-6.jpg"), "Exif"));
  EXPECT_FALSE(holds(reencoded("jpeg-orientation-6.jpg"), "Exif"));
}

TEST(JpegReencoding, reportsCmyk) {
  EXPECT_EQ(reencodedJpeg(fixtureBytes("jpeg-cmyk.jpg")).outcome, JpegOutcome::OtherInks);
}

TEST(JpegReencoding, rejectsATruncatedFile) {
  const Bytes whole = fixtureBytes("jpeg-444.jpg");
  EXPECT_EQ(reencodedJpeg(fixtureBytes("broken-jpeg-half.jpg")).outcome, JpegOutcome::Broken);
  for (std::size_t size = 0; size + 40 < whole.size(); size += 7)
    EXPECT_EQ(reencodedJpeg({whole.data(), size}).outcome, JpegOutcome::Broken) << size;
}

TEST(JpegReencoding, survivesEveryDamagedByte) {
  for (const char* name : {"jpeg-420.jpg", "jpeg-progressive.jpg", "jpeg-profile.jpg"}) {
    Bytes file = fixtureBytes(name);
    for (std::size_t at = 0; at < file.size(); ++at) {
      const std::uint8_t was = file[at];
      file[at] = static_cast<std::uint8_t>(was ^ 0x55);
      const JpegResult result = reencodedJpeg(file);
      EXPECT_TRUE(result.outcome != JpegOutcome::Done || holds(result.jpeg, "\xFF\xD9"));
      file[at] = was;
    }
  }
}

TEST(JpegReencoding, rejectsDecompressionBombs) {
  for (const char* name :
       {"bomb-jpeg-size.jpg", "bomb-jpeg-cut.jpg", "bomb-jpeg-progressive.jpg", "bomb-jpeg-scans.jpg"})
    EXPECT_EQ(reencodedJpeg(fixtureBytes(name)).outcome, JpegOutcome::Broken) << name;
}

// Complete, within the limit of pixels, a few bits per block: only the number of coefficients is too large.
TEST(JpegReencoding, rejectsMoreCoefficientsThanFitIntoItsMemory) {
  const Bytes file = fixtureBytes("bomb-jpeg-coefficients.jpg");
  static_assert(12000L * 12000 * 3 * 2 > kMaximumCoefficientMemory);
  static_assert(isDecodableSize(12000, 12000));
  EXPECT_EQ(reencodedJpeg(file).outcome, JpegOutcome::Broken);
  EXPECT_EQ(pixelsOfJpeg(file).outcome, JpegOutcome::Broken);
  const JpegPixels small = pixelsOfJpeg(fixtureBytes("jpeg-progressive-flat.jpg"));
  ASSERT_EQ(small.outcome, JpegOutcome::Done);
  EXPECT_EQ(small.image.width, 96U);
  test::expectNear(test::colorAt(small.image, 50, 30), {128, 128, 128}, 1, "the middle");
}

TEST(JpegPixels, rejectsWhatReencodingRejects) {
  for (const char* name :
       {"bomb-jpeg-size.jpg", "bomb-jpeg-scans.jpg", "broken-jpeg-half.jpg", "png-rgb.png"})
    EXPECT_EQ(pixelsOfJpeg(fixtureBytes(name)).outcome, JpegOutcome::Broken) << name;
  EXPECT_EQ(pixelsOfJpeg(fixtureBytes("jpeg-cmyk.jpg")).outcome, JpegOutcome::OtherInks);
}

Bytes encoded(const PixelBuffer& image) {
  PixelBufferSource source(image);
  return jpegOf(source).value_or(Bytes());
}

TEST(JpegOfRows, showsThePictureAndKeepsItsProfile) {
  PixelBuffer image = pixels(fixtureBytes("jpeg-444.jpg"));
  image.iccProfile = fixtureBytes("test.icc");
  const PixelBuffer after = pixels(encoded(image));
  expectQuarters(after, 8);
  EXPECT_EQ(after.iccProfile, image.iccProfile);
}

TEST(JpegOfRows, flattensAlphaOnWhite) {
  PixelBuffer image{16, 16, PixelLayout::Rgba, {}, {}};
  for (int i = 0; i < 16 * 16; ++i)
    for (const int v : {0, 0, 200, i % 16 < 8 ? 0 : 128})
      image.pixels.push_back(static_cast<std::uint8_t>(v));
  const PixelBuffer after = pixels(encoded(image));
  test::expectNear(test::colorAt(after, 2, 8), {255, 255, 255}, 6, "transparent");
  test::expectNear(test::colorAt(after, 13, 8), {127, 127, 227}, 6, "half transparent");
}

TEST(JpegOfRows, growsItsOutputForNoise) {
  PixelBuffer image{300, 300, PixelLayout::Gray, {}, {}};
  std::uint32_t state = 1;
  for (int i = 0; i < 300 * 300; ++i)
    image.pixels.push_back(static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24));
  EXPECT_EQ(pixels(encoded(image)).width, 300U);
}

class BreakingSource final : public PictureSource {
 public:
  const PixelBuffer& description() const override { return image_; }
  bool readRows(std::uint32_t, std::uint8_t*) noexcept override { return ++asked < 2; }
  int asked = 0;

 private:
  PixelBuffer image_{100, 100, PixelLayout::Gray, {}, {}};
};

TEST(JpegOfRows, hasNothingWhenTheRowsBreakOff) {
  BreakingSource source;
  EXPECT_FALSE(jpegOf(source));
  EXPECT_EQ(source.asked, 2);
  BreakingSource again;
  EXPECT_FALSE(pixelsOf(again));
}

TEST(JpegOfRows, hasNothingForSizesThatTheFormatDoesNotTake) {
  PixelBuffer image{70000, 1, PixelLayout::Gray, Bytes(70000), {}};
  PixelBufferSource wide(image);
  EXPECT_FALSE(jpegOf(wide));
  PixelBuffer none;
  PixelBufferSource empty(none);
  EXPECT_FALSE(jpegOf(empty));
}

}  // namespace
}  // namespace moxtel
