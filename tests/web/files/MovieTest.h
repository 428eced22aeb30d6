// Movies made by ffmpeg, for the tests that read or convert them.
#pragma once

#include <string>
#include <vector>

#include "platform/process/ChildProcess.h"
#include "tests/TemporaryFolder.h"
#include "web/files/MovieKind.h"

namespace moxtel {

class MovieTest : public testing::Test {
 protected:
  // Two seconds of 320 × 240 with a sound, encoded by these arguments.
  std::string movie(const std::string& name, const std::vector<std::string>& encoding) {
    const std::string path = folder_.path() / name;
    ProcessRequest request;
    request.program = "ffmpeg";
    request.arguments = {"-nostdin", "-v",    "error", "-y",
                         "-f",       "lavfi", "-i",    "testsrc=d=2:s=320x240:r=10",
                         "-f",       "lavfi", "-i",    "sine=d=2:r=44100"};
    request.arguments.insert(request.arguments.end(), encoding.begin(), encoding.end());
    request.arguments.push_back(path);
    request.timeout = std::chrono::minutes(2);
    const ProcessResult result = SystemProcessRunner().run(request);
    EXPECT_EQ(result.exitStatus, 0) << result.error;
    return path;
  }
  static MovieKind kindOf(const std::string& path) {
    const OpenFile file = openRegularFile(path);
    properties::ByteSource source(file);
    return movieKindOf(source);
  }

  TemporaryFolder folder_;
};

}  // namespace moxtel
