#include "makelibrary/MakeLibraryOptions.h"

#include <gtest/gtest.h>

using namespace moxtel::makelibrary;

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
                               "--album-data", "--strange", "--big-album", "--faces", "3"});
  EXPECT_EQ(options.folder, "out");
  EXPECT_EQ(options.seed, UINT64_MAX);
  EXPECT_EQ(options.photos, 12U);
  EXPECT_EQ(options.faces, 3U);
  EXPECT_EQ(options.images, Images::Small);
  EXPECT_TRUE(options.albumData && options.strange && options.bigAlbum);
}

TEST(MakeLibraryOptions, answersHelpAndVersionWithStatusZero) {
  EXPECT_EQ(refused({"--help"}).exitStatus, 0);
  EXPECT_EQ(refused({"x", "--version"}).exitStatus, 0);
  EXPECT_TRUE(refused({"--version"}).text.starts_with("moxtel-make-library "));
}

TEST(MakeLibraryOptions, saysWhatItDoesNotUnderstand) {
  EXPECT_NE(refused({"x", "--phots", "1"}).text.find("unknown option '--phots'"), std::string::npos);
  EXPECT_NE(refused({"x", "--photos", "-1"}).text.find("'--photos' cannot be '-1'"), std::string::npos);
  EXPECT_NE(refused({"x", "--photos", "12a"}).text.find("cannot be '12a'"), std::string::npos);
  EXPECT_NE(refused({"x", "--images", "huge"}).text.find("cannot be 'huge'"), std::string::npos);
  EXPECT_NE(refused({"x", "--seed"}).text.find("cannot be ''"), std::string::npos);
  EXPECT_NE(refused({"x", "y"}).text.find("one folder only"), std::string::npos);
  for (const auto& arguments : {std::vector<std::string>{}, {"x", "y"}, {"x", "--nothing"}})
    EXPECT_EQ(refused(arguments).exitStatus, 2);
}
