// What --everything adds to a sample library: facts that not every library has, for the tests of the page and
// of exporting.
#pragma once

#include <array>
#include <string_view>

#include "makelibrary/Landscape.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

// Names with their parents, which come first. One has the separators that other programs use for paths.
struct SampleKeyword {
  std::string_view name;
  int parent;  // index; -1 at the top
};
inline constexpr std::array kSampleKeywords{
    SampleKeyword{"Family", -1},  SampleKeyword{"Children", 0},   SampleKeyword{"Été", 1},
    SampleKeyword{"Travel", -1},  SampleKeyword{"Japan/日本", 3}, SampleKeyword{"a|b, c", -1},
    SampleKeyword{"Mountain", 3},
};

// The piece that is left of a cropped picture: fractions of the upright one, from its top left corner.
struct Crop {
  double x, y, width, height;
};
inline constexpr Crop kCrop{0.125, 0.25, 0.75, 0.5};

// Sets the fields of a photo that only such libraries have.
void describeEverything(Photo& photo, const MakeLibraryOptions& options);
Picture cropped(const Picture& picture);

void writeLibraryFacts(const SamplePlan& plan, SqliteWriter& writer);
// The first of the texts that it adds has this number in RKUniqueString.
void writePropertyFacts(const SamplePlan& plan, SqliteWriter& writer);

}  // namespace moxtel::makelibrary
