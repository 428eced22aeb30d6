#include "pictures/codec/Cropping.h"

#include <gtest/gtest.h>

using namespace moxtel;

namespace {

// Each pixel has its column and row.
PixelBuffer numbered(std::uint32_t width, std::uint32_t height) {
  PixelBuffer image;
  image.width = width;
  image.height = height;
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x)
      image.pixels.insert(image.pixels.end(),
                          {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 0});
  return image;
}

struct Part {
  int left, top, width, height;
  bool operator==(const Part&) const = default;
};
Part partOf(std::uint32_t width, std::uint32_t height, SquareInPicture square) {
  const PixelBuffer part = cutOut(numbered(width, height), square);
  EXPECT_EQ(part.pixels.size(), part.height * part.rowBytes());
  const std::uint8_t* last = part.pixel(part.width - 1, part.height - 1);
  EXPECT_EQ(last[0] - part.pixel(0, 0)[0] + 1, static_cast<int>(part.width)) << "columns in a row";
  EXPECT_EQ(last[1] - part.pixel(0, 0)[1] + 1, static_cast<int>(part.height)) << "rows in a row";
  return {part.pixel(0, 0)[0], part.pixel(0, 0)[1], static_cast<int>(part.width),
          static_cast<int>(part.height)};
}

}  // namespace

TEST(Cropping, cutsASquareAroundItsCenter) {
  EXPECT_EQ(partOf(200, 100, {0.5, 0.5, 0.2}), (Part{80, 30, 40, 40}));
  EXPECT_EQ(partOf(100, 200, {0.5, 0.5, 0.2}), (Part{30, 80, 40, 40}));
}

TEST(Cropping, countsFromTheLowerEdge) {
  EXPECT_EQ(partOf(100, 100, {0.5, 0.8, 0.2}), (Part{40, 10, 20, 20}));
}

TEST(Cropping, staysInThePicture) {
  EXPECT_EQ(partOf(100, 100, {0, 0, 0.2}), (Part{0, 80, 20, 20}));
  EXPECT_EQ(partOf(100, 100, {1, 1, 0.2}), (Part{80, 0, 20, 20}));
  EXPECT_EQ(partOf(200, 100, {0.5, 0.5, 1}), (Part{50, 0, 100, 100}));
  EXPECT_EQ(partOf(3, 3, {0.5, 0.5, 0.0001}).width, 1);
}

TEST(Cropping, leavesThePictureWholeForNonsense) {
  for (const SquareInPicture square : {SquareInPicture{0.5, 0.5, 0},
                                       {-0.1, 0.5, 0.2},
                                       {0.5, 1.1, 0.2},
                                       {0.5, 0.5, 1e300},
                                       {0.5, __builtin_nan(""), 1}})
    EXPECT_EQ(partOf(20, 10, square), (Part{0, 0, 20, 10}));
}
