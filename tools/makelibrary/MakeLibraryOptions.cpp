#include "makelibrary/MakeLibraryOptions.h"

#include <CLI/CLI.hpp>
#include <map>

namespace moxtel::makelibrary {

namespace {

constexpr std::size_t kMostPhotos = 20'000'000;

const std::map<std::string, Images> kImages{
    {"none", Images::None}, {"small", Images::Small}, {"photo", Images::Photo}};

const std::map<std::string, LibraryKind> kKinds{
    {"iphoto", LibraryKind::IPhoto},     {"photos4", LibraryKind::Photos4},
    {"photos5", LibraryKind::Photos5},   {"photos8", LibraryKind::Photos8},
    {"photos11", LibraryKind::Photos11}, {"xml", LibraryKind::AlbumDataOnly}};

const std::map<std::string, SavedLists> kSavedLists{
    {"none", SavedLists::None}, {"in-step", SavedLists::InStep}, {"out-of-step", SavedLists::OutOfStep}};

void addCount(CLI::App& app, const char* name, std::size_t& count, const char* help) {
  app.add_option(name, count, help)
      ->type_name("N")
      ->check(CLI::Range(std::size_t{0}, kMostPhotos).description(""));
}

void addOptions(CLI::App& app, MakeLibraryOptions& options) {
  app.set_help_flag("-h,--help", "show this help");
  app.set_version_flag("--version", "moxtel-make-library " MOXTEL_VERSION, "show the version");
  app.add_option("DIR", options.folder, "the folder of the library")->required()->option_text(" ");
  app.add_option_function<std::string>(
         "--kind", [&options](const std::string& name) { options.kind = kKinds.at(name); },
         "iphoto    iPhoto 9 and Aperture 3 (default)\n"
         "photos4, photos5, photos8, photos11\n"
         "          a library of that version of Photos\n"
         "xml       only AlbumData.xml and pictures")
      ->type_name("KIND")
      ->check(CLI::IsMember(kKinds).description(""));
  addCount(app, "--photos", options.photos, "number of photos (60; at most 20000000)");
  // Compared as a real: CLI11 takes -1 for a number without sign, too.
  app.add_option("--seed", options.seed, "seed of the random numbers (1)")
      ->type_name("S")
      ->check(CLI::Range(0.0, 0x1p64).description(""));
  app.add_option_function<std::string>(
         "--images", [&options](const std::string& name) { options.images = kImages.at(name); },
         "none   databases only, for tests and measurements\n"
         "small  tiny pictures\n"
         "photo  landscapes of 1 to 2 megapixels (default)")
      ->type_name("WHAT")
      ->check(CLI::IsMember(kImages).description(""));
  addCount(app, "--projects", options.projects, "number of projects (events); 0: depends on --photos");
  addCount(app, "--albums", options.albums, "number of regular albums; 0: depends on --photos");
  addCount(app, "--faces", options.faces, "number of named persons; 0: depends on --photos");
  app.add_flag("--big-album", options.bigAlbum, "add an album that contains every photo");
  app.add_flag("--album-data", options.albumData, "write an AlbumData.xml beside the databases");
  app.add_flag("--smart-albums", options.smartAlbums,
               "add smart albums with rules of every kind,\n"
               "hidden photos, and albums behind the projects");
  app.add_flag("--everything", options.everything,
               "add facts of every sort to an iphoto library:\n"
               "titles, keywords, labels, places, time zones,\n"
               "rejected, hidden and cropped photos, RAW and\n"
               "JPEG pairs");
  app.add_option_function<std::string>(
         "--saved-lists", [&options](const std::string& name) { options.savedLists = kSavedLists.at(name); },
         "none         no lists of members (default)\n"
         "in-step      in AlbumData.xml and AlbumData2.xml,\n"
         "             as the databases have them\n"
         "out-of-step  older than the databases")
      ->type_name("WHAT")
      ->check(CLI::IsMember(kSavedLists).description(""));
  app.add_flag("--strange", options.strange,
               "write data that no photo application should\n"
               "write: missing values, ties, duplicates, odd\n"
               "texts and numbers (without pictures)");
}

}  // namespace

std::variant<MakeLibraryOptions, MakeLibraryMessage> parseMakeLibraryArguments(
    const std::vector<std::string>& arguments) {
  MakeLibraryOptions options;
  CLI::App app(
      "Writes a sample photo library into DIR, which must not exist or be empty.\n"
      "The same options give the same library, bit for bit.\n",
      "moxtel-make-library");
  app.get_formatter()->column_width(20);
  app.get_formatter()->label("Positionals", "Arguments");
  app.footer("Example: moxtel-make-library ~/Sample --photos 200 --images photo");
  addOptions(app, options);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    return MakeLibraryMessage{0, app.help()};
  } catch (const CLI::CallForVersion& version) {
    return MakeLibraryMessage{0, version.what() + std::string("\n")};
  } catch (const CLI::ParseError& error) {
    return MakeLibraryMessage{
        2, "moxtel-make-library: " + std::string(error.what()) + "\nTry 'moxtel-make-library --help'.\n"};
  }
  return options;
}

}  // namespace moxtel::makelibrary
