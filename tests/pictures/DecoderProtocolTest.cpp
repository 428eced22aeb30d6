#include "pictures/codec/DecoderProtocol.h"

#include <gtest/gtest.h>

namespace moxtel::decoder {
namespace {

Bytes answerOf(const PixelBuffer& image) {
  const auto header = headerOf(image);
  Bytes answer(header.begin(), header.end());
  answer.insert(answer.end(), image.iccProfile.begin(), image.iccProfile.end());
  answer.insert(answer.end(), image.pixels.begin(), image.pixels.end());
  return answer;
}

const PixelBuffer kImage{2, 1, PixelLayout::Rgb, {1, 2, 3, 4, 5, 6}, {9, 8}};

TEST(DecoderProtocol, bringsAPictureBack) {
  const auto image = pictureIn(answerOf(kImage));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->width, 2U);
  EXPECT_EQ(image->height, 1U);
  EXPECT_EQ(image->layout, PixelLayout::Rgb);
  EXPECT_EQ(image->pixels, kImage.pixels);
  EXPECT_EQ(image->iccProfile, kImage.iccProfile);
}

TEST(DecoderProtocol, rejectsAnOutputOfAnotherLength) {
  Bytes answer = answerOf(kImage);
  for (std::size_t size = 0; size < answer.size(); ++size)
    EXPECT_FALSE(pictureIn(std::span(answer).first(size))) << size;
  answer.push_back(0);
  EXPECT_FALSE(pictureIn(answer));
}

TEST(DecoderProtocol, rejectsInvalidLayoutsAndSizes) {
  Bytes answer = answerOf(kImage);
  answer[12] = 2;
  EXPECT_FALSE(pictureIn(answer));
  answer = answerOf(kImage);
  answer[7] = answer[11] = 0xFF;  // sizes whose product passes 64 bits with the header's
  EXPECT_FALSE(pictureIn(answer));
  answer = answerOf(kImage);
  answer[0] ^= 1;
  EXPECT_FALSE(isAnswer(answer));
}

}  // namespace
}  // namespace moxtel::decoder
