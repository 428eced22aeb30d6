// The picture in all files of make_fixtures.py: 96 by 64 pixels in four quarters, red and green above blue
// and yellow.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PixelBuffer.h"
#include "platform/files/FileReader.h"

namespace moxtel::test {

using Color = std::array<int, 3>;
struct Quarters {
  Color topLeft{220, 30, 30}, topRight{30, 180, 40}, bottomLeft{40, 60, 200}, bottomRight{240, 220, 60};
};

inline std::string fixture(const std::string& name) { return std::string(FIXTURES) + "/" + name; }
inline Bytes fixtureBytes(const std::string& name) { return readWholeFile(fixture(name), UINT64_MAX).bytes; }

inline Color colorAt(const PixelBuffer& image, std::size_t x, std::size_t y) {
  const std::uint8_t* p = image.pixel(x, y);
  return image.layout == PixelLayout::Gray ? Color{p[0], p[0], p[0]} : Color{p[0], p[1], p[2]};
}

inline void expectNear(const Color& seen, const Color& wanted, int tolerance, const char* where) {
  for (std::size_t c = 0; c < 3; ++c)
    EXPECT_LE(std::abs(seen[c] - wanted[c]), tolerance)
        << where << ": " << testing::PrintToString(seen) << " for " << testing::PrintToString(wanted);
}

// The middle of each quarter has its color.
inline void expectQuarters(const PixelBuffer& image, int tolerance, const Quarters& wanted = {}) {
  ASSERT_GT(image.width, 3U);
  ASSERT_GT(image.height, 3U);
  const std::size_t left = image.width / 4, right = image.width * 3 / 4;
  const std::size_t top = image.height / 4, bottom = image.height * 3 / 4;
  expectNear(colorAt(image, left, top), wanted.topLeft, tolerance, "top left");
  expectNear(colorAt(image, right, top), wanted.topRight, tolerance, "top right");
  expectNear(colorAt(image, left, bottom), wanted.bottomLeft, tolerance, "bottom left");
  expectNear(colorAt(image, right, bottom), wanted.bottomRight, tolerance, "bottom right");
}

// Luma of the colors in gray pictures (ITU-R BT.601 and BT.709 differ by less than the tolerance).
inline Quarters grayQuarters() { return {{70, 70, 70}, {138, 138, 138}, {66, 66, 66}, {213, 213, 213}}; }

}  // namespace moxtel::test
