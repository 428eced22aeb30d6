#include "platform/settings/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/files/UserFolders.h"
#include "platform/settings/SettingsFile.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::HasSubstr;
using testing::Optional;

const std::vector<DefaultKey>& keys() {
  static const std::vector<DefaultKey> kKeys{{"LibraryPath", DefaultKind::Text, "the library"},
                                             {"PreferAperture", DefaultKind::Boolean, "which library"},
                                             {"DebugLevel", DefaultKind::Integer, "how much is logged"}};
  return kKeys;
}

std::string contents(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class SettingsFileTest : public testing::Test {
 protected:
  void writeByHand(std::string_view text) { std::ofstream(path_, std::ios::binary) << text; }
  UserDefaults defaults() const { return UserDefaults(makeSettingsFile(path_)); }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "settings.ini";
};

TEST(UserDefaults, readsAnAbsentKeyAsNothing) {
  const UserDefaults defaults;
  EXPECT_EQ(defaults.stringForKey("LibraryPath"), std::nullopt);
  EXPECT_FALSE(defaults.boolForKey("PreferAperture"));
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 0);
}

TEST(UserDefaults, prefersTheCommandLineToTheFileToTheRegisteredValue) {
  UserDefaults defaults;
  defaults.registerDefaults({{"LibraryPath", "registered"}});
  EXPECT_THAT(defaults.stringForKey("LibraryPath"), Optional(std::string("registered")));
  defaults.setString("LibraryPath", "file");
  EXPECT_THAT(defaults.stringForKey("LibraryPath"), Optional(std::string("file")));
  EXPECT_EQ(defaults.parseArguments({"-LibraryPath", "line"}, keys()), "");
  EXPECT_THAT(defaults.stringForKey("LibraryPath"), Optional(std::string("line")));
}

TEST(UserDefaults, usesAValueSetWhileRunning) {
  UserDefaults defaults;
  ASSERT_EQ(defaults.parseArguments({"-PreferAperture", "YES", "-DebugLevel", "2"}, keys()), "");
  defaults.setBool("PreferAperture", false);
  EXPECT_FALSE(defaults.boolForKey("PreferAperture"));
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 2);
  defaults.remove("DebugLevel");
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 0);
}

TEST(UserDefaults, readsTypesLikeThePlatform) {
  UserDefaults defaults;
  defaults.setString("a", " 12abc");
  defaults.setString("b", "many");
  defaults.setString("c", "99999999999999999999");
  EXPECT_EQ(defaults.integerForKey("a"), 12);
  EXPECT_EQ(defaults.integerForKey("b"), 0);
  EXPECT_EQ(defaults.integerForKey("c"), INT64_MAX);
  EXPECT_TRUE(defaults.boolForKey("a"));
  EXPECT_FALSE(defaults.boolForKey("b"));
}

TEST(UserDefaults, givesRegisteredValuesInEveryType) {
  UserDefaults defaults;
  defaults.registerDefaults({{"RevealPhoto", true}, {"Port", 4250}, {"Half", 0.5}, {"List", Array{1}}});
  EXPECT_TRUE(defaults.boolForKey("RevealPhoto"));
  EXPECT_EQ(defaults.integerForKey("Port"), 4250);
  EXPECT_THAT(defaults.stringForKey("Port"), Optional(std::string("4250")));
  EXPECT_THAT(defaults.stringForKey("RevealPhoto"), Optional(std::string("1")));
  EXPECT_THAT(defaults.stringForKey("Half"), Optional(std::string("0.5")));
  EXPECT_EQ(defaults.stringForKey("List"), std::nullopt);
}

TEST(UserDefaults, takesBooleansInAllTheirSpellings) {
  for (const char* yes : {"YES", "yes", "true", "TRUE", "1"}) {
    UserDefaults defaults;
    EXPECT_EQ(defaults.parseArguments({"-PreferAperture", yes}, keys()), "");
    EXPECT_TRUE(defaults.boolForKey("PreferAperture")) << yes;
  }
  for (const char* no : {"NO", "no", "false", "0"}) {
    UserDefaults defaults;
    EXPECT_EQ(defaults.parseArguments({"-PreferAperture", no}, keys()), "");
    EXPECT_FALSE(defaults.boolForKey("PreferAperture")) << no;
  }
}

TEST(UserDefaults, takesSignedIntegers) {
  UserDefaults defaults;
  EXPECT_EQ(defaults.parseArguments({"-DebugLevel", "-1"}, keys()), "");
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), -1);
  EXPECT_EQ(defaults.parseArguments({"-DebugLevel", "+2"}, keys()), "");
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 2);
}

TEST(UserDefaults, takesTheLastOfARepeatedOption) {
  UserDefaults defaults;
  EXPECT_EQ(defaults.parseArguments({"-DebugLevel", "1", "-DebugLevel", "2"}, keys()), "");
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 2);
}

TEST(UserDefaults, describesErrorsOfACommandLine) {
  UserDefaults defaults;
  EXPECT_EQ(defaults.parseArguments({"-Library", "/x"}, keys()), "unknown option '-Library'");
  EXPECT_EQ(defaults.parseArguments({""}, keys()), "unexpected argument ''");
  EXPECT_EQ(defaults.parseArguments({"-"}, keys()), "unknown option '-'");
  EXPECT_EQ(defaults.parseArguments({"-LibraryPath"}, keys()), "-LibraryPath lacks its value");
  EXPECT_EQ(defaults.parseArguments({"-LibraryPath", "-DebugLevel", "1"}, keys()),
            "-LibraryPath lacks its value");
  EXPECT_EQ(defaults.parseArguments({"-PreferAperture", "maybe"}, keys()),
            "-PreferAperture takes YES or NO, not 'maybe'");
  for (const char* bad : {"", "two", "2x", " 2", "0x2", "1.5", "+-2", "99999999999999999999"}) {
    EXPECT_EQ(defaults.parseArguments({"-DebugLevel", bad}, keys()),
              "-DebugLevel takes a whole number, not '" + std::string(bad) + "'");
  }
}

TEST(UserDefaults, namesTheRightFormOfAnOption) {
  const std::string advice = ". An option has one dash, and a blank before its value: ";
  for (const auto& [arguments, right] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"--LibraryPath", "/x"}, "-LibraryPath /x"},
           {{"-librarypath", "/x"}, "-LibraryPath /x"},
           {{"-LibraryPath=/x"}, "-LibraryPath /x"},
           {{"--LibraryPath=/iPhoto", "Library", "-DebugLevel", "1"}, "-LibraryPath '/iPhoto Library'"},
           {{"–LibraryPath", "/Lisa's"}, "-LibraryPath '/Lisa'\\''s'"},
           {{"--debuglevel"}, "-DebugLevel VALUE"}}) {
    UserDefaults defaults;
    EXPECT_EQ(defaults.parseArguments(arguments, keys()),
              "unknown option '" + arguments.front() + "'" + advice + right);
  }
}

TEST(UserDefaults, namesTheRightFormOfAPathWithBlanks) {
  UserDefaults defaults;
  EXPECT_EQ(
      defaults.parseArguments({"-LibraryPath", "/my", "iPhoto", "Library", "-DebugLevel", "1"}, keys()),
      "unexpected argument 'iPhoto'. A value with blanks needs quotes: -LibraryPath '/my iPhoto Library'");
  EXPECT_EQ(defaults.parseArguments({"/photos/iPhoto", "Library"}, keys()),
            "unexpected argument '/photos/iPhoto'. A library is served with -LibraryPath '/photos/iPhoto "
            "Library'");
  EXPECT_EQ(defaults.parseArguments({"photos"}, keys()), "unexpected argument 'photos'");
}

TEST(UserDefaults, takesNothingFromACommandLineThatIsWrongAtItsEnd) {
  UserDefaults defaults;
  EXPECT_NE(defaults.parseArguments({"-DebugLevel", "1", "-Foo"}, keys()), "");
  EXPECT_EQ(defaults.integerForKey("DebugLevel"), 0);
}

TEST_F(SettingsFileTest, readsAHandWrittenPathAsOneText) {
  writeByHand("LibraryPath=/photos/Old, Library\n");
  EXPECT_THAT(defaults().stringForKey("LibraryPath"), Optional(std::string("/photos/Old, Library")));
}

TEST_F(SettingsFileTest, readsSectionsCommentsBlanksAndCarriageReturns) {
  writeByHand(
      "\xef\xbb\xbf# mine\r\n[General]\r\n  DebugLevel =  2 "
      "\r\n;x=1\r\n\r\nnonsense\r\n[Other]\r\nDebugLevel=3");
  EXPECT_EQ(defaults().integerForKey("DebugLevel"), 2);
  EXPECT_EQ(defaults().integerForKey("Other/DebugLevel"), 3);
  EXPECT_EQ(defaults().stringForKey(";x"), std::nullopt);
}

TEST_F(SettingsFileTest, readsAnUnreadableNumberAsZero) {
  writeByHand("DebugLevel=lots\n");
  EXPECT_EQ(defaults().integerForKey("DebugLevel"), 0);
}

TEST_F(SettingsFileTest, readsAnEmptyValueAsAnEmptyText) {
  writeByHand("SUFeedURL=\n");
  EXPECT_THAT(defaults().stringForKey("SUFeedURL"), Optional(std::string()));
}

TEST_F(SettingsFileTest, distinguishesLetterCase) {
  writeByHand("debuglevel=1\n");
  EXPECT_EQ(defaults().integerForKey("DebugLevel"), 0);
}

TEST_F(SettingsFileTest, keepsAwkwardValues) {
  using namespace std::string_literals;
  const std::vector<std::string> values{"/photos/Old, Library",
                                        "a,b",
                                        "C:\\new\\table",
                                        "100%",
                                        "%41%",
                                        "Fotos \xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80",
                                        "no utf-8: \xff\xfe",
                                        "",
                                        " blanks ",
                                        "\"quoted\"",
                                        "\"",
                                        "line\nbreak\r\ttab",
                                        "nul\0inside"s,
                                        "=x",
                                        "[General]",
                                        "#hash",
                                        "\\",
                                        "@Invalid()",
                                        "\x7f\x01"};
  for (const auto& value : values) {
    defaults().setString("Key", value);
    EXPECT_THAT(defaults().stringForKey("Key"), Optional(value));
  }
}

TEST_F(SettingsFileTest, writesPlainValuesWithoutQuotes) {
  defaults().setString("LibraryPath", "/photos/Old, 100% L\xc3\xa4ngs\\x");
  defaults().setBool("PreferAperture", true);
  EXPECT_EQ(contents(path_),
            "[General]\nLibraryPath=/photos/Old, 100% L\xc3\xa4ngs\\x\nPreferAperture=YES\n");
}

TEST_F(SettingsFileTest, readsWhatAnotherProcessWrote) {
  const UserDefaults reader = defaults();
  EXPECT_EQ(reader.integerForKey("DebugLevel"), 0);
  defaults().setString("DebugLevel", "2");
  EXPECT_EQ(reader.integerForKey("DebugLevel"), 2);
}

TEST_F(SettingsFileTest, keepsTheOtherKeysOfAFileThatAnotherProcessChanged) {
  UserDefaults one = defaults();
  one.setString("A", "1");
  defaults().setString("B", "2");
  one.setString("A", "3");
  EXPECT_THAT(defaults().stringForKey("B"), Optional(std::string("2")));
  EXPECT_THAT(defaults().stringForKey("A"), Optional(std::string("3")));
}

TEST_F(SettingsFileTest, removesAKey) {
  defaults().setString("A", "1");
  defaults().remove("A");
  EXPECT_EQ(defaults().stringForKey("A"), std::nullopt);
}

TEST_F(SettingsFileTest, readingCreatesNothing) {
  EXPECT_EQ(defaults().stringForKey("A"), std::nullopt);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(SettingsFileTest, createsMissingFolders) {
  const std::string deep = folder_.path() / "a/b/settings.ini";
  UserDefaults(makeSettingsFile(deep)).setString("A", "1");
  EXPECT_TRUE(std::filesystem::exists(deep));
}

TEST_F(SettingsFileTest, saysOnceWhenItCannotBeWrittenAndKeepsTheValue) {
  std::ofstream(folder_.path() / "file") << "x";
  UserDefaults defaults(makeSettingsFile(folder_.path() / "file/settings.ini"));
  const SystemLogCapture log;
  defaults.setString("A", "1");
  defaults.setString("A", "2");
  EXPECT_THAT(log.lines(), testing::ElementsAre("could not write the settings file '" +
                                                (folder_.path() / "file/settings.ini").string() + "'"));
  EXPECT_THAT(defaults.stringForKey("A"), Optional(std::string("2")));
}

TEST_F(SettingsFileTest, liesInTheConfigurationFolderOrInTheStateFolderOfAService) {
  ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
  ::unsetenv("STATE_DIRECTORY");
  EXPECT_EQ(makeUserSettingsStore()->where(), folder_.path() / "MoxtelServer/settings.ini");
  ::setenv("STATE_DIRECTORY", "/var/lib/moxtel:/var/lib/other", 1);
  EXPECT_EQ(makeUserSettingsStore()->where(), "/var/lib/moxtel/MoxtelServer/settings.ini");
  ::unsetenv("STATE_DIRECTORY");
  ::unsetenv("XDG_CONFIG_HOME");
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(makeUserSettingsStore()->where(), "/home/someone/.config/MoxtelServer/settings.ini");
}

TEST_F(SettingsFileTest, cachesInTheCacheFolderOrInThatOfAService) {
  ::setenv("XDG_CACHE_HOME", folder_.path().c_str(), 1);
  ::unsetenv("CACHE_DIRECTORY");
  EXPECT_EQ(cacheFolder(), folder_.path());
  ::setenv("CACHE_DIRECTORY", "/var/cache/moxtel:/var/cache/other", 1);
  EXPECT_EQ(cacheFolder(), "/var/cache/moxtel");
  ::setenv("CACHE_DIRECTORY", "relative", 1);
  EXPECT_EQ(cacheFolder(), folder_.path());
  ::unsetenv("CACHE_DIRECTORY");
  ::unsetenv("XDG_CACHE_HOME");
}

}  // namespace
}  // namespace moxtel
