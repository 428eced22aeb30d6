// The command line of moxtel-make-library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace moxtel::makelibrary {

enum class Images : std::uint8_t { None, Small, Photo };

struct MakeLibraryOptions {
  std::filesystem::path folder;
  std::size_t photos = 60;
  // Containers and persons; 0 of each means as many as suit the number of photos.
  std::size_t projects = 0;
  std::size_t albums = 0;
  std::size_t faces = 0;
  std::uint64_t seed = 1;
  Images images = Images::Photo;
  bool strange = false;
  bool albumData = false;
  bool bigAlbum = false;
};

// What to say and end with: an exit status of 0 goes to standard output, any other to standard error.
struct MakeLibraryMessage {
  int exitStatus = 0;
  std::string text;
};

std::variant<MakeLibraryOptions, MakeLibraryMessage> parseMakeLibraryArguments(
    const std::vector<std::string>& arguments);

}  // namespace moxtel::makelibrary
