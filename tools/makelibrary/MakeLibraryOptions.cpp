#include "makelibrary/MakeLibraryOptions.h"

#include <charconv>
#include <optional>
#include <string_view>

namespace moxtel::makelibrary {

namespace {

constexpr std::string_view kHelp =
    R"(Usage: moxtel-make-library DIR [options]

Writes a sample photo library into DIR, which must not exist or be empty.
The same options give the same library, bit for bit.

  --photos N       how many photos (default 60; at most 20000000)
  --seed S         which library of that kind (default 1)
  --images WHAT    none   databases only, for tests and measurements
                   small  tiny pictures
                   photo  landscapes of 1 to 2 megapixels (default)
  --projects N     how many projects (events); as many as suit the photos
  --albums N       how many regular albums; as many as suit the photos
  --faces N        how many named persons; as many as suit the photos
  --big-album      an album that holds every photo
  --album-data     an AlbumData.xml beside the databases
  --strange        what no photo application should write: missing values,
                   ties, duplicates, odd texts and numbers (without pictures)
  --help           this text
  --version        the version

Example: moxtel-make-library ~/Sample --photos 200 --images photo
)";

constexpr std::size_t kMostPhotos = 20'000'000;

MakeLibraryMessage problem(std::string text) {
  return {2, "moxtel-make-library: " + std::move(text) + "\nTry 'moxtel-make-library --help'.\n"};
}

template <class Number>
bool readNumber(const std::string& text, Number& number, Number most) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number <= most;
}

bool readImages(const std::string& text, Images& images) {
  if (text == "none")
    images = Images::None;
  else if (text == "small")
    images = Images::Small;
  else if (text == "photo")
    images = Images::Photo;
  else
    return false;
  return true;
}

std::size_t* countNamed(MakeLibraryOptions& options, std::string_view name) {
  if (name == "--photos") return &options.photos;
  if (name == "--projects") return &options.projects;
  if (name == "--albums") return &options.albums;
  if (name == "--faces") return &options.faces;
  return nullptr;
}

bool takeSwitch(MakeLibraryOptions& options, std::string_view name) {
  if (name == "--strange") return options.strange = true;
  if (name == "--album-data") return options.albumData = true;
  if (name == "--big-album") return options.bigAlbum = true;
  return false;
}

// Whether the option takes a value at all; fits tells whether this one is readable.
bool takeValue(MakeLibraryOptions& options, std::string_view name, const std::string& value, bool& fits) {
  if (std::size_t* count = countNamed(options, name))
    fits = readNumber(value, *count, kMostPhotos);
  else if (name == "--seed")
    fits = readNumber(value, options.seed, UINT64_MAX);
  else if (name == "--images")
    fits = readImages(value, options.images);
  else
    return false;
  return true;
}

}  // namespace

std::variant<MakeLibraryOptions, MakeLibraryMessage> parseMakeLibraryArguments(
    const std::vector<std::string>& arguments) {
  MakeLibraryOptions options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (name == "--help") return MakeLibraryMessage{0, std::string(kHelp)};
    if (name == "--version") return MakeLibraryMessage{0, "moxtel-make-library " MOXTEL_VERSION "\n"};
    if (takeSwitch(options, name)) continue;
    if (!name.starts_with("-")) {
      if (!options.folder.empty()) return problem("one folder only, not also '" + name + "'");
      options.folder = name;
      continue;
    }
    bool fits = false;
    const std::string value = i + 1 < arguments.size() ? arguments[i + 1] : std::string();
    if (!takeValue(options, name, value, fits)) return problem("unknown option '" + name + "'");
    if (!fits) return problem("option '" + name + "' cannot be '" + value + "'");
    ++i;
  }
  if (options.folder.empty()) return problem("which folder?");
  return options;
}

}  // namespace moxtel::makelibrary
