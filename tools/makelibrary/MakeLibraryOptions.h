// The command line of moxtel-make-library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace moxtel::makelibrary {

enum class Images : std::uint8_t { None, Small, Photo };
// Which application keeps the library: iPhoto 9 or Aperture 3, later ones by their version, or an old iPhoto
// of which only AlbumData.xml is left.
enum class LibraryKind : std::uint8_t { IPhoto, Photos4, Photos5, Photos8, Photos11, AlbumDataOnly };

// The lists of members that the photo application saves in AlbumData.xml and iLifeShared/AlbumData2.xml.
// OutOfStep: as before the last photos were added and others were thrown away.
enum class SavedLists : std::uint8_t { None, InStep, OutOfStep };

struct MakeLibraryOptions {
  std::filesystem::path folder;
  LibraryKind kind = LibraryKind::IPhoto;
  std::size_t photos = 60;
  // Numbers of containers and persons; 0: depends on the number of photos.
  std::size_t projects = 0;
  std::size_t albums = 0;
  std::size_t faces = 0;
  std::uint64_t seed = 1;
  Images images = Images::Photo;
  bool strange = false;
  bool albumData = false;
  bool bigAlbum = false;
  bool smartAlbums = false;
  // Facts of every sort: titles, keywords, labels, places, time zones, crops, pairs of RAW and JPEG.
  bool everything = false;
  SavedLists savedLists = SavedLists::None;
};

// A text to print before the program exits: to standard output if the exit status is 0, else to standard
// error.
struct MakeLibraryMessage {
  int exitStatus = 0;
  std::string text;
};

std::variant<MakeLibraryOptions, MakeLibraryMessage> parseMakeLibraryArguments(
    const std::vector<std::string>& arguments);

}  // namespace moxtel::makelibrary
