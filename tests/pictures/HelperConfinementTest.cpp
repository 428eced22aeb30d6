// The real helpers, taken over by HelperAttack.cpp while they read a picture.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/files/FileDescriptor.h"
#include "platform/process/ChildProcess.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

class HelperConfinementTest : public testing::Test {
 protected:
  HelperConfinementTest() {
    fs::create_directory(scratch);
    std::ofstream(folder.path() / "file") << "secret";
    setenv("MOXTEL_ATTACKED", folder.path().c_str(), 1);
    setenv("LD_PRELOAD", HELPER_ATTACK, 1);
  }
  ~HelperConfinementTest() override {
    unsetenv("MOXTEL_ATTACKED");
    unsetenv("LD_PRELOAD");
  }
  std::string answerOf(const char* helper, std::vector<std::string> words, const std::string& picture) {
    const FileDescriptor file(::open((std::string(FIXTURES "/") + picture).c_str(), O_RDONLY | O_CLOEXEC));
    ProcessRequest request;
    request.program = helper;
    request.arguments = std::move(words);
    request.timeout = std::chrono::minutes(1);
    request.inputDescriptor = file.get();
    return SystemProcessRunner().run(request).output;
  }

  TemporaryFolder folder;
  const fs::path scratch = folder.path() / "scratch";
};

TEST_F(HelperConfinementTest, aDecoderThatWasTakenOverReachesNothing) {
  for (const char* picture : {"png-rgb.png", "heic-grid.heic", "raw-orientation-6.dng", "psd-rgb.psd"})
    EXPECT_EQ(answerOf(MOXTEL_DECODER, {"jpeg", scratch}, picture), "tried;") << picture;
  EXPECT_EQ(fs::file_size(folder.path() / "file"), 6U);
}

TEST_F(HelperConfinementTest, aPropertyReaderThatWasTakenOverReachesNothing) {
  for (const char* picture : {"tiff-plain.tif", "raw-orientation-6.dng"})
    EXPECT_EQ(answerOf(MOXTEL_PROPERTY_READER, {}, picture), "tried;") << picture;
  EXPECT_EQ(fs::file_size(folder.path() / "file"), 6U);
}

}  // namespace
}  // namespace moxtel
