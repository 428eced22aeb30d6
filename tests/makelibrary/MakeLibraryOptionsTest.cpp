#include "makelibrary/MakeLibraryOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using namespace moxtel::makelibrary;
using testing::HasSubstr;

namespace {

MakeLibraryOptions parsed(const std::vector<std::string>& arguments) {
  return std::get<MakeLibraryOptions>(parseMakeLibraryArguments(arguments));
}

MakeLibraryMessage refused(const std::vector<std::string>& arguments) {
  return std::get<MakeLibraryMessage>(parseMakeLibraryArguments(arguments));
}

}  // namespace

TEST(MakeLibraryOptions, takesEveryOptionInAnyPlace) {
  const auto options = parsed({"--seed", "18446744073709551615", "out", "--photos", "12", "--images", "small",
                               "--album-data", "--strange", "--big-album", "--faces", "3", "--smart-albums",
                               "--saved-lists", "out-of-step", "--kind", "photos8"});
  EXPECT_EQ(options.folder, "out");
  EXPECT_EQ(options.seed, UINT64_MAX);
  EXPECT_EQ(options.photos, 12U);
  EXPECT_EQ(options.faces, 3U);
  EXPECT_EQ(options.images, Images::Small);
  EXPECT_TRUE(options.albumData && options.strange && options.bigAlbum && options.smartAlbums);
  EXPECT_EQ(options.kind, LibraryKind::Photos8);
  EXPECT_EQ(options.savedLists, SavedLists::OutOfStep);
}

TEST(MakeLibraryOptions, answersHelpAndVersionWithStatusZero) {
  EXPECT_EQ(refused({"--help"}).exitStatus, 0);
  EXPECT_EQ(refused({"x", "--version"}).exitStatus, 0);
  EXPECT_TRUE(refused({"--version"}).text.starts_with("moxtel-make-library "));
}

TEST(MakeLibraryOptions, namesWhatItDoesNotAccept) {
  const auto rejection = [](const std::vector<std::string>& arguments) {
    const MakeLibraryMessage message = refused(arguments);
    EXPECT_EQ(message.exitStatus, 2);
    EXPECT_TRUE(message.text.starts_with("moxtel-make-library: "));
    EXPECT_TRUE(message.text.ends_with("\nTry 'moxtel-make-library --help'.\n"));
    return message.text;
  };
  EXPECT_THAT(rejection({"x", "--phots", "1"}), HasSubstr("--phots"));
  EXPECT_THAT(rejection({"x", "--photos", "-1"}), HasSubstr("--photos: Value -1 not in range 0 to 20000000"));
  EXPECT_THAT(rejection({"x", "--photos", "12a"}), HasSubstr("12a"));
  EXPECT_THAT(rejection({"x", "--faces", "20000001"}), HasSubstr("20000001"));
  EXPECT_THAT(rejection({"x", "--images", "huge"}), HasSubstr("--images: huge not in {none,photo,small}"));
  EXPECT_THAT(rejection({"x", "--seed"}), HasSubstr("--seed"));
  EXPECT_THAT(rejection({"x", "--seed", "-1"}), HasSubstr("--seed"));
  EXPECT_THAT(rejection({"x", "y"}), HasSubstr(" y\n"));
  EXPECT_THAT(rejection({}), HasSubstr("DIR is required"));
}

TEST(MakeLibraryOptions, explainsEveryOptionWithin80Columns) {
  std::istringstream help(refused({"--help"}).text);
  for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
  for (const char* option : {"--photos N ", "--seed S ", "--kind KIND ", "--images WHAT ", "--projects N ",
                             "--albums N ", "--faces N ", "--big-album ", "--album-data ", "--smart-albums ",
                             "--everything ", "--saved-lists WHAT", "--strange ", "--version "})
    EXPECT_THAT(help.str(), HasSubstr(std::string("  ") + option));
}
