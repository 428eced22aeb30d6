#include "app/windows/Autostart.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

std::string contentsOf(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

class AutostartTest : public testing::Test {
 protected:
  TemporaryFolder folder;
  std::filesystem::path file = folder.path() / "config/autostart/moxtelserver.desktop";
  Autostart autostart{(folder.path() / "config").string(), "/opt/a b/50% $x/Moxtel\"Server"};
};

TEST_F(AutostartTest, writesAFileThatStartsTheProgramInTheBackground) {
  EXPECT_FALSE(autostart.isOn());
  EXPECT_EQ(autostart.set(true), "");
  EXPECT_TRUE(autostart.isOn());
  EXPECT_NE(contentsOf(file).find("\nExec=\"/opt/a b/50%% \\\\$x/Moxtel\\\\\"Server\" --in-background\n"),
            std::string::npos)
      << contentsOf(file);
}

TEST_F(AutostartTest, removesTheFile) {
  EXPECT_EQ(autostart.set(false), "");
  EXPECT_EQ(autostart.set(true), "");
  EXPECT_EQ(autostart.set(false), "");
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(AutostartTest, isOffWhereTheDesktopSwitchedItOff) {
  EXPECT_EQ(autostart.set(true), "");
  std::ofstream(file, std::ios::app) << "Hidden=true\n";
  EXPECT_FALSE(autostart.isOn());
  EXPECT_EQ(autostart.set(true), "");
  EXPECT_TRUE(autostart.isOn());
}

TEST_F(AutostartTest, saysWhyItCannotWrite) {
  std::ofstream(folder.path() / "config") << "a file";
  EXPECT_NE(autostart.set(true), "");
  EXPECT_FALSE(autostart.isOn());
}

TEST(Autostart, startsTheProgramThatRuns) {
  EXPECT_TRUE(Autostart::thisProgram().ends_with("/AutostartTest")) << Autostart::thisProgram();
}

}  // namespace
}  // namespace moxtel
