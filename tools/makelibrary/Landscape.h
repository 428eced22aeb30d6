// Made-up landscapes, each after its seed: sky with clouds or stars, a sun or a moon, ranges of mountains, a
// lake that mirrors them, woods in front.
#pragma once

#include <cstdint>
#include <vector>

namespace moxtel::makelibrary {

enum class Season : std::uint8_t;

struct Pixel {
  std::uint8_t red, green, blue;
};

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<Pixel> pixels;  // rows from the top

  Picture() = default;
  Picture(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * h) {}
  Pixel& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
  const Pixel& at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

struct LandscapeKind {
  std::uint64_t seed = 0;
  Season season{};
  // 0 to 24, local time: decides about the light.
  double hour = 12;
};

Picture landscape(const LandscapeKind& kind, int width, int height);
// A portrait as the tiles of faces show it; the same person always looks the same.
Picture portrait(std::uint64_t person, int side);

// degrees: 0, 90, 180 or 270, counter-clockwise.
Picture rotated(const Picture& picture, int degrees);
// No side longer than this; by averaging. A smaller picture stays as it is.
Picture fittedInto(const Picture& picture, int longestSide);

}  // namespace moxtel::makelibrary
