// Names in a sample library, of the kinds that users write: other alphabets, apostrophes, percent signs,
// blanks in odd places.
#pragma once

#include <array>
#include <string_view>

namespace moxtel::makelibrary {

struct Place {
  std::string_view name;
  double latitude;
  double longitude;
};

inline constexpr std::array kPlaces{
    Place{"Lofoten", 68.15, 13.75},           Place{"Été à Annecy", 45.90, 6.13},
    Place{"L'Alpe d'Huez", 45.09, 6.07},      Place{"Bodensee", 47.63, 9.37},
    Place{"富士山", 35.36, 138.73},           Place{"Patagonia", -50.94, -73.40},
    Place{"Байкал", 53.50, 108.10},           Place{"Wānaka", -44.70, 169.13},
    Place{"Yosemite Valley", 37.74, -119.59}, Place{"Þingvellir", 64.26, -21.13},
    Place{"Σαντορίνη", 36.39, 25.46},         Place{"Table Mountain", -33.96, 18.40},
    Place{"100 % Sonne", 46.55, 7.98},        Place{"ים המלח", 31.50, 35.47},
};

inline constexpr std::array<std::string_view, 10> kOccasions{
    "Weekend", "Grandma's 80th", "Hike",          "Wanderung", "Sunday walk",
    "Noël",    "Hanna & Jörg",   "Nach \"oben\"", "旅行",      "Rock 'n' Roll",
};

inline constexpr std::array<std::string_view, 12> kPersonNames{
    "Anna", "Björn", "Chloé", "D'Arcy",     "Эльза", "Fumiko 文子",
    "Gül",  "Håkon", "Ines",  "José María", "Kim",   "Zoë",
};

inline constexpr std::array<std::string_view, 8> kAlbumNames{
    "Favourites", "Best of %d", "For Grandma's frame", "Panoramas ⛰️", "Schwarz/Weiß",
    "50% off",    "Calendar",   "Screensaver",
};

inline constexpr std::array<std::string_view, 8> kCaptionBeginnings{
    "Morning above",   "Evening at", "First snow near", "Looking back to",
    "The long way to", "Rest near",  "Clouds over",     "Licht über",
};

struct BuiltInAlbum {
  std::string_view uuid;
  std::string_view name;
};
// Built-in smart albums, which listings leave out.
inline constexpr std::array kBuiltInAlbums{
    BuiltInAlbum{"libraryFolderImplicitAlbum", "Library"},
    BuiltInAlbum{"allProjectsAlbum", "Projects"},
    BuiltInAlbum{"trashAlbum", "Trash"},
    BuiltInAlbum{"flaggedAlbum", "Flagged"},
    BuiltInAlbum{"lastImportAlbum", "Last Import"},
    BuiltInAlbum{"rejectedAlbum", "Rejected"},
    BuiltInAlbum{"lastNMonthsAlbum", "Last 12 Months"},
    BuiltInAlbum{"eventFilterBarAlbum", "Event Filter"},
    BuiltInAlbum{"allPlacedPhotosAlbum", "Places"},
    BuiltInAlbum{"peopleAlbum", "People"},
    BuiltInAlbum{"peopleFilterBarAlbum", "People Filter"},
    BuiltInAlbum{"placesFilterBarAlbum", "Places Filter"},
    BuiltInAlbum{"rotationAlbum", "Rotation"},
    BuiltInAlbum{"Faces", "Faces"},
};

}  // namespace moxtel::makelibrary
