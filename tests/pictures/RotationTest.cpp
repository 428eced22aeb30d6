#include "pictures/codec/Rotation.h"

#include <gtest/gtest.h>

#include <numeric>

namespace moxtel {
namespace {

// Each byte is different, in rows from top to bottom.
PixelBuffer numbered(std::uint32_t width, std::uint32_t height, PixelLayout layout) {
  PixelBuffer image{width, height, layout, {}, {7, 8, 9}};
  image.pixels.resize(image.rowBytes() * height);
  std::iota(image.pixels.begin(), image.pixels.end(), std::uint8_t{1});
  return image;
}

PixelBuffer filled(std::uint32_t width, std::uint32_t height, std::uint8_t value) {
  PixelBuffer image{width, height, PixelLayout::Rgb, {}, {}};
  image.pixels.assign(image.rowBytes() * height, value);
  return image;
}

TEST(ImageRotatedBy, turnsAQuarterCounterClockwise) {
  //  1 2 3      3 6
  //  4 5 6  to  2 5
  //             1 4
  const auto turned = imageRotatedBy(numbered(3, 2, PixelLayout::Gray), 90);
  ASSERT_TRUE(turned);
  EXPECT_EQ(turned->width, 2U);
  EXPECT_EQ(turned->height, 3U);
  EXPECT_EQ(turned->pixels, (Bytes{3, 6, 2, 5, 1, 4}));
  EXPECT_EQ(turned->iccProfile, (Bytes{7, 8, 9}));
}

TEST(ImageRotatedBy, turnsHalfAndThreeQuarters) {
  const PixelBuffer image = numbered(3, 2, PixelLayout::Gray);
  EXPECT_EQ(imageRotatedBy(image, 180)->pixels, (Bytes{6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(imageRotatedBy(image, 270)->pixels, (Bytes{4, 1, 5, 2, 6, 3}));
}

TEST(ImageRotatedBy, keepsThePixelsOfColorPicturesWhole) {
  EXPECT_EQ(imageRotatedBy(numbered(2, 1, PixelLayout::Rgb), 90)->pixels, (Bytes{4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(imageRotatedBy(numbered(2, 1, PixelLayout::Rgba), 180)->pixels, (Bytes{5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST(ImageRotatedBy, rotatesNegativeAnglesClockwiseAndIgnoresFullTurns) {
  const PixelBuffer image = numbered(3, 2, PixelLayout::Rgb);
  EXPECT_EQ(imageRotatedBy(image, -90)->pixels, imageRotatedBy(image, 270)->pixels);
  EXPECT_EQ(imageRotatedBy(image, 0)->pixels, image.pixels);
  EXPECT_EQ(imageRotatedBy(image, 720)->pixels, image.pixels);
  EXPECT_EQ(imageRotatedBy(image, 450)->pixels, imageRotatedBy(image, 90)->pixels);
  EXPECT_EQ(imageRotatedBy(image, INT32_MIN)->width, imageRotatedBy(image, INT32_MIN % 360)->width);
}

TEST(ImageRotatedBy, exchangesTheSidesForQuarterTurnsOnly) {
  const PixelBuffer image = filled(400, 300, 9);
  EXPECT_EQ(imageRotatedBy(image, 90)->width, 300U);
  EXPECT_EQ(imageRotatedBy(image, 90)->height, 400U);
  EXPECT_EQ(imageRotatedBy(image, 180)->width, 400U);
  EXPECT_EQ(imageRotatedBy(image, 180)->height, 300U);
}

TEST(ImageRotatedBy, enclosesThePictureForOtherAngles) {
  // 400 cos 30 + 300 sin 30 = 496.4, 400 sin 30 + 300 cos 30 = 459.8
  const auto turned = imageRotatedBy(filled(400, 300, 90), 30);
  ASSERT_TRUE(turned);
  EXPECT_EQ(turned->width, 497U);
  EXPECT_EQ(turned->height, 460U);
  EXPECT_EQ(turned->layout, PixelLayout::Rgba);
}

TEST(ImageRotatedBy, leavesTheCornersTransparentAndTheMiddleAsItWas) {
  const auto turned = imageRotatedBy(filled(40, 40, 90), 45);
  ASSERT_TRUE(turned);
  EXPECT_EQ(turned->pixel(0, 0)[3], 0);
  const std::uint8_t* middle = turned->pixel(turned->width / 2, turned->height / 2);
  EXPECT_EQ(middle[0], 90);
  EXPECT_EQ(middle[3], 255);
}

TEST(ImageRotatedBy, turnsOtherAnglesCounterClockwiseToo) {
  // A picture whose right half is bright: rotated by 45 degrees the bright half is at the upper right, by -45
  // at the lower right.
  PixelBuffer image = filled(40, 40, 0);
  for (std::size_t y = 0; y < 40; ++y)
    for (std::size_t x = 20; x < 40; ++x) image.row(y)[3 * x] = 200;
  const auto up = imageRotatedBy(image, 45);
  const auto down = imageRotatedBy(image, -45);
  ASSERT_TRUE(up && down);
  const std::size_t middle = up->width / 2;
  EXPECT_EQ(up->pixel(middle, middle - 15)[0], 200);
  EXPECT_EQ(up->pixel(middle, middle + 15)[0], 0);
  EXPECT_EQ(down->pixel(middle, middle - 15)[0], 0);
  EXPECT_EQ(down->pixel(middle, middle + 15)[0], 200);
}

TEST(ImageRotatedBy, turnsASinglePixelByAnyAngle) {
  for (int angle = 0; angle < 360; ++angle) {
    const auto turned = imageRotatedBy(filled(1, 1, 50), angle);
    ASSERT_TRUE(turned) << angle;
    EXPECT_LE(turned->width, 2U) << angle;
  }
}

TEST(ImageRotatedBy, hasNothingForAPictureWithoutPixels) {
  EXPECT_FALSE(imageRotatedBy(PixelBuffer{}, 90));
  EXPECT_FALSE(imageRotatedBy(PixelBuffer{}, 45));
}

}  // namespace
}  // namespace moxtel
