// Generated landscapes, each determined by its seed: sky with clouds or stars, sun or moon, mountain ranges,
// a lake that reflects them, trees in front.
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
  std::vector<Pixel> pixels;  // rows from top to bottom

  Picture() = default;
  Picture(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * h) {}
  Pixel& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
  const Pixel& at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
};

struct LandscapeKind {
  std::uint64_t seed = 0;
  Season season{};
  // Local time, 0 to 24: determines the light.
  double hour = 12;
};

Picture landscape(const LandscapeKind& kind, int width, int height);
// A portrait for a face tile; a person always looks the same.
Picture portrait(std::uint64_t person, int side);

// degrees: 0, 90, 180 or 270, counterclockwise.
Picture rotated(const Picture& picture, int degrees);
// Scales down by averaging until no side is longer than this. A smaller picture is unchanged.
Picture fittedInto(const Picture& picture, int longestSide);

}  // namespace moxtel::makelibrary
