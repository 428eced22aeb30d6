#include "makelibrary/Landscape.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "makelibrary/Random.h"
#include "makelibrary/SamplePlan.h"

namespace moxtel::makelibrary {

namespace {

struct Color {
  double r = 0, g = 0, b = 0;
};
Color operator+(Color a, Color b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Color operator*(Color a, double f) { return {a.r * f, a.g * f, a.b * f}; }
Color mix(Color a, Color b, double t) { return a * (1 - t) + b * t; }
double smooth(double low, double high, double x) {
  const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}
Pixel toPixel(Color c) {
  const auto byte = [](double v) { return static_cast<std::uint8_t>(std::clamp(v, 0.0, 1.0) * 255 + 0.5); };
  return {byte(c.r), byte(c.g), byte(c.b)};
}

// Value noise, 0 to 1, a function of the coordinates.
class Noise final {
 public:
  explicit Noise(std::uint64_t seed) : seed_(seed) {}

  double at(double x, double y) const {
    const double fx = std::floor(x), fy = std::floor(y);
    const auto ix = static_cast<std::int64_t>(fx), iy = static_cast<std::int64_t>(fy);
    const double tx = smooth(0, 1, x - fx), ty = smooth(0, 1, y - fy);
    const double top = corner(ix, iy) * (1 - tx) + corner(ix + 1, iy) * tx;
    const double bottom = corner(ix, iy + 1) * (1 - tx) + corner(ix + 1, iy + 1) * tx;
    return top * (1 - ty) + bottom * ty;
  }
  double layered(double x, double y, int layers) const {
    double sum = 0, weight = 0.5, total = 0;
    for (int i = 0; i < layers; ++i, x = x * 2.03 + 17, y = y * 2.03 + 5, weight *= 0.5) {
      sum += weight * at(x, y);
      total += weight;
    }
    return sum / total;
  }

 private:
  double corner(std::int64_t x, std::int64_t y) const {
    auto h = seed_ ^ (static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15ULL) ^
             (static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4FULL);
    h = (h ^ (h >> 29)) * 0xBF58476D1CE4E5B9ULL;
    h ^= h >> 32;
    return static_cast<double>(h >> 11) * 0x1.0p-53;
  }
  std::uint64_t seed_;
};

struct Light {
  Color zenith, horizon, sun, ground;
  double stars = 0;
};

constexpr Light kNight{{.02, .03, .10}, {.10, .14, .28}, {.85, .88, .95}, {.16, .20, .32}, 1};
constexpr Light kDawn{{.28, .38, .62}, {.98, .72, .52}, {1, .85, .60}, {.80, .66, .62}, 0.1};
constexpr Light kDay{{.20, .46, .82}, {.76, .88, .97}, {1, .98, .88}, {1, 1, 1}, 0};
constexpr Light kDusk{{.22, .18, .42}, {.98, .46, .26}, {1, .70, .36}, {.78, .52, .48}, 0.3};

Light mixed(const Light& a, const Light& b, double t) {
  return {mix(a.zenith, b.zenith, t), mix(a.horizon, b.horizon, t), mix(a.sun, b.sun, t),
          mix(a.ground, b.ground, t), a.stars * (1 - t) + b.stars * t};
}

Light lightAt(double hour) {
  struct Moment {
    double hour;
    Light light;
  };
  static const std::array<Moment, 8> kMoments{{{0, kNight},
                                               {4.5, kNight},
                                               {6.5, kDawn},
                                               {9, kDay},
                                               {16.5, kDay},
                                               {19.5, kDusk},
                                               {22, kNight},
                                               {24.01, kNight}}};
  for (std::size_t i = 1; i < kMoments.size(); ++i)
    if (hour < kMoments[i].hour)
      return mixed(kMoments[i - 1].light, kMoments[i].light,
                   (hour - kMoments[i - 1].hour) / (kMoments[i].hour - kMoments[i - 1].hour));
  return kNight;
}

struct Growth {
  Color meadow, wood;
  double snowLine;  // share of a mountain's height above which snow lies
};

Growth growthIn(Season season) {
  switch (season) {
    case Season::Spring:
      return {{.46, .66, .28}, {.20, .38, .18}, 0.62};
    case Season::Summer:
      return {{.34, .54, .22}, {.10, .28, .14}, 0.85};
    case Season::Autumn:
      return {{.66, .50, .22}, {.46, .24, .08}, 0.72};
    case Season::Winter:
      break;
  }
  return {{.90, .93, .97}, {.24, .32, .34}, 0.12};
}

// The scene in coordinates of the picture's height: y from 0 (top) to 1, x from 0 to the aspect ratio.
class Scene final {
 public:
  // Ridges and trees are laid out once, columns to the picture's height.
  Scene(const LandscapeKind& kind, double aspect, int columns)
      : noise_(kind.seed * 7919 + 13), light_(lightAt(kind.hour)), growth_(growthIn(kind.season)) {
    Random random(kind.seed ^ 0x5CE11EULL);
    lake_ = !random.oneIn(3);
    shore_ = lake_ ? random.between(0.66, 0.76) : 2;
    sunX_ = random.between(0.15, 0.85) * aspect;
    sunY_ = 0.62 - 0.5 * std::max(0.0, std::sin((kind.hour - 6) / 12 * 3.14159));
    if (light_.stars > 0.5) sunY_ = random.between(0.12, 0.3);
    clouds_ = random.between(0.35, 0.65);
    roughness_ = random.between(1.4, 2.6);
    columns_ = columns;
    for (int range = 0; range < kRanges; ++range)
      for (int i = 0; i <= aspect * columns; ++i) ridges_[range].push_back(ridge(double(i) / columns, range));
    layOutTrees(aspect, random.between(0.04, 0.09));
  }

  Color at(double x, double y) const {
    if (y < shore_) return withWoods(x, y, land(x, y));
    const double depth = (y - shore_) / (1 - shore_);
    const double ripple = (noise_.layered(x * 14, y * 90, 2) - 0.5) * 0.03 * (0.3 + depth);
    const Color mirrored = land(x + ripple, std::max(0.0, 2 * shore_ - y + ripple * 2));
    const Color deep = mix(light_.zenith, {.04, .12, .14}, 0.5);
    return withWoods(x, y, mix(mirrored * 0.86, deep, 0.15 + 0.4 * depth));
  }

 private:
  static constexpr int kRanges = 4;
  static constexpr double kTreeSpacing = 0.035;
  struct Tree {
    double middle, size;
  };

  void layOutTrees(double aspect, double size) {
    for (double i = -1; i <= aspect / kTreeSpacing + 2; ++i) {
      const double middle = (i + 0.2 + 0.6 * noise_.at(i * 5.1, 77)) * kTreeSpacing;
      trees_.push_back({middle, size * (0.6 + 1.3 * noise_.at(i * 3.7, 55))});
      tallest_ = std::max(tallest_, trees_.back().size);
    }
  }

  Color sky(double x, double y) const {
    Color c = mix(light_.zenith, light_.horizon, smooth(0, 0.72, y));
    const double distance = std::hypot(x - sunX_, y - sunY_);
    c = c + light_.sun * (0.35 * std::exp(-distance * 5));
    c = mix(c, light_.sun, 1 - smooth(0.028, 0.036, distance));
    const double cloud = smooth(clouds_, clouds_ + 0.25, noise_.layered(x * 2.2, y * 6, 5));
    c = mix(c, mix(light_.horizon, light_.ground, 0.7), cloud * 0.75 * (1 - light_.stars * 0.8));
    if (light_.stars > 0.4 && noise_.at(x * 420, y * 420) > 0.985) c = c + Color{.7, .7, .75};
    return c;
  }
  // The height of a range's ridge at x; range 0 is the farthest.
  double ridge(double x, int range) const {
    const double height = 0.34 - 0.06 * range;
    const double base = 0.62 + 0.045 * range;
    const double shape = noise_.layered(x * roughness_ * (1 + 0.3 * range) + 31 * range, 7.0 * range, 6);
    return base - height * (shape * 1.5 - 0.35);
  }
  Color land(double x, double y) const {
    for (int range = kRanges - 1; range >= 0; --range) {
      const auto& tops = ridges_[range];
      const auto column = static_cast<std::ptrdiff_t>(x * columns_ + 0.5);
      const double top = tops[std::clamp<std::ptrdiff_t>(column, 0, std::ssize(tops) - 1)];
      if (y >= top) return slope(x, y, top, range);
    }
    return sky(x, y);
  }
  Color slope(double x, double y, double top, int range) const {
    const double grain = noise_.layered(x * 26, y * 40 + range * 9, 4);
    const double altitude = std::clamp((0.74 - y) / 0.42, 0.0, 1.0);
    const double snow =
        smooth(growth_.snowLine - 0.12, growth_.snowLine + 0.12, altitude + (grain - 0.5) * 0.5);
    const Color rock = Color{.42, .39, .37} * (0.6 + 0.7 * grain);
    const Color green = mix(growth_.meadow, growth_.wood, smooth(0.35, 0.65, grain)) * (0.8 + 0.35 * grain);
    Color c =
        mix(mix(green, rock, smooth(0.3, 0.6, altitude)), Color{.95, .97, 1} * (0.8 + 0.25 * grain), snow);
    const double lit = noise_.layered(x * 9 + 3 * range, (y - top) * 5, 3);
    c = c * (0.7 + 0.6 * lit);
    c = {c.r * light_.ground.r, c.g * light_.ground.g, c.b * light_.ground.b};
    const double haze = 0.62 - 0.2 * range;
    return mix(c, light_.horizon, std::max(0.0, haze));
  }
  // Conifers along the lower edge.
  Color withWoods(double x, double y, Color behind) const {
    if (y < 0.9 - tallest_) return behind;
    const double ground = 0.95 - 0.05 * noise_.layered(x * 1.5 + 90, 3, 3);
    if (y > ground) return woods(x, y);
    const auto number = static_cast<std::ptrdiff_t>(x / kTreeSpacing) + 1;
    for (std::ptrdiff_t i = number - 1; i <= number + 1; ++i) {
      const Tree& tree = trees_[std::clamp<std::ptrdiff_t>(i, 0, std::ssize(trees_) - 1)];
      const double down = (y - (ground - tree.size)) / tree.size;
      const double step = std::fmod(down * 5, 1.0) * 0.15;
      if (down > 0 && std::abs(x - tree.middle) < tree.size * 0.3 * (down * 0.85 + step)) return woods(x, y);
    }
    return behind;
  }
  Color woods(double x, double y) const {
    const Color c = growth_.wood * (0.35 + 0.5 * noise_.layered(x * 60, y * 60, 2));
    return {c.r * light_.ground.r, c.g * light_.ground.g, c.b * light_.ground.b};
  }

  Noise noise_;
  Light light_;
  Growth growth_;
  bool lake_ = false;
  double shore_ = 2, sunX_ = 0, sunY_ = 0, clouds_ = 0, roughness_ = 0, tallest_ = 0;
  int columns_ = 0;
  std::array<std::vector<double>, kRanges> ridges_;
  std::vector<Tree> trees_;
};

bool inEllipse(double x, double y, double cx, double cy, double rx, double ry) {
  return (x - cx) * (x - cx) / (rx * rx) + (y - cy) * (y - cy) / (ry * ry) < 1;
}

struct Looks {
  Color skin, hair, shirt, wall;
  double fringe, width, smile;
};

Looks looksOf(std::uint64_t person) {
  static constexpr std::array<Color, 4> kSkins{
      {{.96, .82, .72}, {.86, .68, .53}, {.62, .44, .32}, {.42, .28, .20}}};
  static constexpr std::array<Color, 5> kHairs{
      {{.14, .10, .08}, {.35, .22, .12}, {.80, .64, .34}, {.62, .26, .12}, {.75, .75, .76}}};
  Random random(person * 977 + 5);
  return {random.pick(kSkins),
          random.pick(kHairs),
          {random.unit(), random.unit(), random.unit()},
          mix({.8, .85, .9}, {random.unit(), random.unit(), random.unit()}, 0.3),
          random.between(0.20, 0.32),
          random.between(0.20, 0.25),
          random.between(0.03, 0.07)};
}

Color portraitAt(const Looks& looks, double x, double y) {
  const double eyeSide = std::abs(x - 0.5);
  if (inEllipse(eyeSide, y, 0.09, 0.46, 0.022, 0.03)) return {.10, .08, .08};
  const double mouth = 0.62 + looks.smile - 4 * looks.smile * eyeSide * eyeSide / 0.04;
  if (eyeSide < 0.09 && std::abs(y - mouth) < 0.012) return {.66, .22, .22};
  const bool face = inEllipse(x, y, 0.5, 0.5, looks.width, 0.28);
  if (face && y > looks.fringe + 0.1) return looks.skin * (1.05 - 0.5 * eyeSide);
  if (inEllipse(x, y, 0.5, 0.44, looks.width + 0.05, 0.30)) return looks.hair;
  if (inEllipse(x, y, 0.5, 1.1, 0.40, 0.32)) return looks.shirt;
  if (eyeSide < 0.08 && y > 0.6) return looks.skin * 0.85;
  return looks.wall * (1.1 - 0.3 * y);
}

Pixel average(const Picture& picture, int left, int top, int right, int bottom) {
  std::uint64_t red = 0, green = 0, blue = 0, count = 0;
  for (int y = top; y < bottom; ++y)
    for (int x = left; x < right; ++x, ++count) {
      const Pixel& p = picture.at(x, y);
      red += p.red, green += p.green, blue += p.blue;
    }
  const auto mean = [count](std::uint64_t sum) {
    return static_cast<std::uint8_t>((sum + count / 2) / count);
  };
  return {mean(red), mean(green), mean(blue)};
}

}  // namespace

Picture landscape(const LandscapeKind& kind, int width, int height) {
  Picture picture(width, height);
  const Scene scene(kind, static_cast<double>(width) / height, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      picture.at(x, y) = toPixel(scene.at((x + 0.5) / height, (y + 0.5) / height));
  return picture;
}

Picture portrait(std::uint64_t person, int side) {
  Picture picture(side, side);
  const Looks looks = looksOf(person);
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x)
      picture.at(x, y) = toPixel(portraitAt(looks, (x + 0.5) / side, (y + 0.5) / side));
  return picture;
}

Picture rotated(const Picture& picture, int degrees) {
  if (degrees == 0) return picture;
  const bool quarter = degrees != 180;
  Picture result(quarter ? picture.height : picture.width, quarter ? picture.width : picture.height);
  for (int y = 0; y < picture.height; ++y)
    for (int x = 0; x < picture.width; ++x) {
      const Pixel& p = picture.at(x, y);
      if (degrees == 90)
        result.at(y, picture.width - 1 - x) = p;
      else if (degrees == 270)
        result.at(picture.height - 1 - y, x) = p;
      else
        result.at(picture.width - 1 - x, picture.height - 1 - y) = p;
    }
  return result;
}

Picture fittedInto(const Picture& picture, int longestSide) {
  const int longest = std::max(picture.width, picture.height);
  if (longest <= longestSide) return picture;
  const auto scaled = [&](int side) {
    return std::max(1, static_cast<int>(std::lround(static_cast<double>(side) * longestSide / longest)));
  };
  Picture result(scaled(picture.width), scaled(picture.height));
  for (int y = 0; y < result.height; ++y)
    for (int x = 0; x < result.width; ++x)
      result.at(x, y) =
          average(picture, x * picture.width / result.width, y * picture.height / result.height,
                  (x + 1) * picture.width / result.width, (y + 1) * picture.height / result.height);
  return result;
}

}  // namespace moxtel::makelibrary
