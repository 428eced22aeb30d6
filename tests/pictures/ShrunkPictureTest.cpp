#include "pictures/codec/ShrunkPicture.h"

namespace moxtel {
namespace {

PixelBuffer gray(std::uint32_t width, std::uint32_t height, Bytes pixels) {
  return {width, height, PixelLayout::Gray, std::move(pixels), {1, 2, 3}};
}

PixelBuffer shrunk(const PixelBuffer& image, std::uint32_t side) {
  PixelBufferSource source(image);
  ShrunkPicture small(source, side);
  auto pixels = pixelsOf(small);
  return pixels ? *pixels : PixelBuffer{};
}

TEST(ShrunkPictureTest, isTheMeanOfEachArea) {
  const PixelBuffer half = shrunk(gray(4, 2, {0, 100, 10, 20, 200, 100, 30, 40}), 2);
  EXPECT_EQ(half.width, 2u);
  EXPECT_EQ(half.height, 1u);
  EXPECT_EQ(half.pixels, (Bytes{100, 25}));
  EXPECT_EQ(half.iccProfile, (Bytes{1, 2, 3}));
}

TEST(ShrunkPictureTest, dividesPixelsThatLieOnABoundary) {
  EXPECT_EQ(shrunk(gray(3, 1, {30, 60, 90}), 2).pixels, (Bytes{40, 80}));
  EXPECT_EQ(shrunk(gray(1, 3, {30, 60, 90}), 2).pixels, (Bytes{40, 80}));
}

TEST(ShrunkPictureTest, keepsAnEvenColorAndTheShape) {
  PixelBuffer image{1000, 333, PixelLayout::Rgb, Bytes(1000 * 333 * 3, 201), {}};
  const PixelBuffer small = shrunk(image, 77);
  EXPECT_EQ(small.width, 77u);
  EXPECT_EQ(small.height, 26u);
  EXPECT_EQ(small.pixels, Bytes(77 * 26 * 3, 201));
}

TEST(ShrunkPictureTest, leavesASmallerPictureAsItIs) {
  const PixelBuffer image = gray(2, 2, {1, 2, 3, 4});
  EXPECT_EQ(shrunk(image, 2).pixels, image.pixels);
  EXPECT_EQ(shrunk(image, 100).pixels, image.pixels);
}

TEST(ShrunkPictureTest, hasAtLeastOnePixel) {
  const PixelBuffer thin = shrunk(gray(1, 1000, Bytes(1000, 9)), 10);
  EXPECT_EQ(thin.width, 1u);
  EXPECT_EQ(thin.height, 10u);
  EXPECT_EQ(shrunk(gray(5, 5, Bytes(25, 7)), 1).pixels, (Bytes{7}));
}

TEST(ShrunkPictureTest, failsWhereTheSourceFails) {
  class Broken final : public PictureSource {
   public:
    const PixelBuffer& description() const override { return image_; }
    bool readRows(std::uint32_t, std::uint8_t* place) noexcept override {
      std::fill_n(place, 10, std::uint8_t{1});
      return ++rows_ < 5;
    }

   private:
    PixelBuffer image_{10, 10, PixelLayout::Gray, {}, {}};
    int rows_ = 0;
  } source;
  ShrunkPicture small(source, 5);
  EXPECT_FALSE(pixelsOf(small));
}

}  // namespace
}  // namespace moxtel
