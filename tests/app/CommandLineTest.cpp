#include "app/CommandLine.h"

#include <gtest/gtest.h>

namespace moxtel {
namespace {

const ProgramDescription kProgram{"moxtelserverd", "Serves.", {}};

TEST(CommandLine, setsKnownKeys) {
  UserDefaults defaults;
  EXPECT_EQ(takeCommandLine(kProgram, {"-LibraryPath", "/photos/Old", "-PreferAperture", "YES"}, defaults),
            std::nullopt);
  EXPECT_EQ(defaults.stringForKey("LibraryPath"), "/photos/Old");
  EXPECT_TRUE(defaults.boolForKey("PreferAperture"));
}

TEST(CommandLine, printsHelpAndVersionWithStatus0) {
  UserDefaults defaults;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(takeCommandLine(kProgram, {"--help"}, defaults), 0);
  EXPECT_NE(::testing::internal::GetCapturedStdout().find("-LibraryPath TEXT"), std::string::npos);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(takeCommandLine(kProgram, {"--version"}, defaults), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "moxtelserverd Version 1.4 build 402 released 2016-07-12\n");
}

TEST(CommandLine, saysWhatEachLogFileGets) {
  UserDefaults defaults;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(takeCommandLine(kProgram, {"--help"}, defaults), 0);
  const std::string help = ::testing::internal::GetCapturedStdout();
  for (const auto& [key, gets] : std::vector<std::pair<std::string, std::string>>{
           {"-DebugLogPath TEXT", "debug messages, written at debug level 1"},
           {"-ErrorLogPath TEXT", "the console's errors"},
           {"-AccessLogPath TEXT", "nothing is written to it"},
           {"-IOLogPath TEXT", "nothing is written to it"}}) {
    const std::size_t at = help.find(key);
    ASSERT_NE(at, std::string::npos) << key;
    EXPECT_NE(help.substr(at, help.find("\n  -", at) - at).find(gets), std::string::npos) << key;
  }
}

TEST(CommandLine, rejectsWrongArgumentsWithStatus2) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"-NoSuchKey", "1"},
                                             {"stray"},
                                             {"-LibraryPath"},
                                             {"-PreferAperture", "maybe"},
                                             {"-Port", "abc"},
                                             {"-Port", "65536"},
                                             {"-Port", "-1"},
                                             {"-ListenAddress", "localhost"},
                                             {"-AllowedClients", "192.168.1.0/33"},
                                             {"-ReferencedFolders", "/mnt/old:pictures"},
                                             {"-WebPort", "65536"},
                                             {"-WebPort", "-1"},
                                             {"-WebAccess", "everyone"},
                                             {"-WebHosts", "photos.example.net, a/b"},
                                             {"-WebProxy", "proxy"},
                                             {"-Port", "4300", "-WebPort", "4300"}}) {
    UserDefaults defaults;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(takeCommandLine(kProgram, arguments, defaults), 2) << arguments.front();
    EXPECT_NE(::testing::internal::GetCapturedStderr(), "") << arguments.front();
  }
}

TEST(CommandLine, acceptsEqualPortsWherePageOrServerHaveNone) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"-Port", "0", "-WebPort", "0"},
                                             {"-Port", "4251"},
                                             {"-Port", "4251", "-WebPort", "4251", "-WebAccess", "off"}}) {
    UserDefaults defaults;
    EXPECT_EQ(takeCommandLine(kProgram, arguments, defaults), std::nullopt);
  }
}

TEST(CommandLine, namesAWrongClientOfTheList) {
  UserDefaults defaults;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(takeCommandLine(kProgram, {"-AllowedClients", "10.0.0.7, phone"}, defaults), 2);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("-AllowedClients: 'phone' is neither"),
            std::string::npos);
}

TEST(CommandLine, namesAFolderThatIsNoAbsolutePath) {
  UserDefaults defaults;
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(takeCommandLine(kProgram, {"-ReferencedFolders", "/mnt/old:Old Disk=pictures"}, defaults), 2);
  EXPECT_NE(
      ::testing::internal::GetCapturedStderr().find("-ReferencedFolders: 'Old Disk=pictures' is neither"),
      std::string::npos);
}

TEST(CommandLine, takesFoldersOfVolumes) {
  UserDefaults defaults;
  EXPECT_EQ(takeCommandLine(kProgram, {"-ReferencedFolders", "/mnt/old:Old Disk=/mnt/disk"}, defaults),
            std::nullopt);
}

}  // namespace
}  // namespace moxtel
