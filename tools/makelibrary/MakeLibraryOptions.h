// The command line of moxtel-make-library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace moxtel::makelibrary {

enum class Images : std::uint8_t { None, Small, Photo };
// The lists of members that the photo application saves in AlbumData.xml and iLifeShared/AlbumData2.xml.
// OutOfStep: as before the last photos were added and others were thrown away.
enum class SavedLists : std::uint8_t { None, InStep, OutOfStep };

struct MakeLibraryOptions {
  std::filesystem::path folder;
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
