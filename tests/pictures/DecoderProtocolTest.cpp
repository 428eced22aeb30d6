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

TEST(DecoderProtocol, namesAPreviewByItsSideAndItsTurn) {
  EXPECT_EQ(previewForm({2048, 270}), "preview:2048:270");
  const auto preview = previewIn("preview:2048:270");
  ASSERT_TRUE(preview);
  EXPECT_EQ(preview->side, 2048U);
  EXPECT_EQ(preview->degrees, 270);
  for (const char* form : {"jpeg", "preview:", "preview:0:0", "preview:1", "preview:1:", "preview:1:45",
                           "preview:1:90x", "preview:99999999999:0", "preview:-1:0"})
    EXPECT_FALSE(previewIn(form)) << form;
}

}  // namespace
}  // namespace moxtel::decoder
