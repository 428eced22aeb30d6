#include "support/QVAppSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "log/Log.h"
#include "platform/process/ThisProcess.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class QVAppSupportTest : public testing::Test {
 protected:
  void SetUp() override {
    setUpLogging(defaults_);
    setDebugLevel(2);
  }
  void TearDown() override { setDebugLevel(0); }
  QVAppSupport withRelease(std::string release) { return {runner_, folder_.path(), std::move(release)}; }

  const TemporaryFolder folder_;
  UserDefaults defaults_;
  FakeProcessRunner runner_{[](const ProcessRequest&) { return FakeProcessRunner::printing("box\n"); }};
  const SystemLogCapture log_;
};

struct Kernel {
  const char* release;
  std::uint32_t number;
  const char* text;
};

TEST_F(QVAppSupportTest, readsTheSystemFromTheKernelsRelease) {
  const std::vector<Kernel> kernels{{"9.0.0", 1050, "Found OS X 10.5.0 running"},
                                    {"9.1.0", 1051, "Found OS X 10.5.1 running"},
                                    {"9.2.0", 1052, "Found OS X 10.5.2 running"},
                                    {"9.3.0", 1053, "Found OS X 10.5.3 running"},
                                    {"9.4.0", 1054, "Found OS X 10.5.4 running"},
                                    {"9.5.0", 1055, "Found OS X 10.5.5 running"},
                                    {"9.6.0", 1056, "Found OS X >= 10.5.6 running"},
                                    {"9.8.0", 1056, "Found OS X >= 10.5.6 running"},
                                    {"9.10.0", 1051, "Found OS X 10.5.1 running"},
                                    {"8.1.0", 1040, "Found OS X 10.4.1x running"},
                                    {"8.11.1", 1040, "Found OS X 10.4.1x running"},
                                    {"8.0.0", 1111, "Found unhandled OS X '8.0.0' running"},
                                    {"8.2.0", 1111, "Found unhandled OS X '8.2.0' running"},
                                    {"10.8.0", 1060, "Found OS X >= 10.6 running"},
                                    {"11.4.2", 1070, "Found OS X >= 10.7 running"},
                                    {"12.6.0", 1080, "Found OS X >= 10.8 running"},
                                    {"13.4.0", 1090, "Found OS X >= 10.9 running"},
                                    {"14.5.0", 1100, "Found OS X >= 10.10 running"},
                                    {"15.6.0", 1110, "Found OS X >= 10.11 running"},
                                    {"16.0.0", 1111, "Found unhandled OS X '16.0.0' running"},
                                    {"6.1.0-18-amd64", 1111, "Found unhandled OS X '6.1.0-18-amd64' running"},
                                    {"9", 1111, "Found unhandled OS X '9' running"},
                                    {"", 1111, "Found unhandled OS X '' running"}};
  for (const auto& kernel : kernels) {
    const std::size_t before = log_.lines().size();
    EXPECT_EQ(withRelease(kernel.release).OSVersion(), kernel.number) << kernel.release;
    ASSERT_EQ(log_.lines().size(), before + 1);
    EXPECT_EQ(log_.lines().back(), kernel.text);
  }
}

TEST_F(QVAppSupportTest, logsTheSystemOnce) {
  auto support = withRelease("15.6.0");
  EXPECT_EQ(support.OSVersion(), 1110u);
  EXPECT_EQ(support.OSVersion(), 1110u);
  EXPECT_EQ(log_.lines().size(), 1u);
}

TEST_F(QVAppSupportTest, readsThisMachinesKernel) {
  EXPECT_GE(QVAppSupport(runner_).OSVersion(), 1040u);
  EXPECT_NE(kernelRelease(), "");
}

TEST(QVAppSupport, makesNumbersOfVersionStrings) {
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10.6"), 1060u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10"), 1000u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10.5.8"), 1058u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10.10.1"), 10101u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString(""), 0u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("x.y"), 0u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10.6beta"), 1060u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("1.2.3.4"), 1234u);
  EXPECT_EQ(QVAppSupport::OSNumberFromVersionString("10."), 100u);
}

TEST_F(QVAppSupportTest, asksUnameOnceAndKeepsItsNewline) {
  auto support = withRelease("");
  EXPECT_THAT(support.hostname(), Optional(std::string("box\n")));
  EXPECT_THAT(support.hostname(), Optional(std::string("box\n")));
  ASSERT_EQ(runner_.requests().size(), 1u);
  EXPECT_EQ(runner_.requests()[0].program, "/usr/bin/uname");
  EXPECT_THAT(runner_.requests()[0].arguments, ElementsAre("-n"));
  EXPECT_THAT(log_.lines(), ElementsAre("hostname: box\\x0a"));
}

TEST_F(QVAppSupportTest, keepsTheLastChunkOnly) {
  runner_.setChunks({"first", "second\n"});
  EXPECT_THAT(withRelease("").hostname(), Optional(std::string("second\n")));
}

TEST_F(QVAppSupportTest, hasNoHostnameWithoutAnAnswerAndAsksAgain) {
  FakeProcessRunner silent;
  QVAppSupport support(silent, folder_.path(), "");
  EXPECT_EQ(support.hostname(), std::nullopt);
  EXPECT_EQ(support.hostname(), std::nullopt);
  EXPECT_EQ(silent.requests().size(), 2u);
  EXPECT_THAT(log_.lines(), ElementsAre("hostname: (null)", "hostname: (null)"));
}

TEST_F(QVAppSupportTest, takesNoHostnameThatIsNotASCII) {
  runner_.setChunks({"k\xc3\xb6ln\n"});
  EXPECT_EQ(withRelease("").hostname(), std::nullopt);
}

TEST_F(QVAppSupportTest, asksTheRealProgram) {
  SystemProcessRunner runner;
  const auto name = QVAppSupport(runner).hostname();
  ASSERT_TRUE(name);
  EXPECT_EQ(name->find('\n'), name->size() - 1);
}

TEST_F(QVAppSupportTest, makesItsFolderOnce) {
  QVAppSupport support(runner_, folder_.path() / "a/b", "");
  const std::string path = folder_.path() / "a/b" / processName();
  EXPECT_EQ(support.appSupportDirectory(), path);
  EXPECT_TRUE(std::filesystem::is_directory(path));
  std::filesystem::remove(path);
  EXPECT_EQ(support.appSupportDirectory(), path);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_THAT(log_.lines(), ElementsAre("QVAppSupport: created appSupportDirectory: '" + path + "'"));
}

TEST_F(QVAppSupportTest, doesNothingWhereAFileStandsInTheWay) {
  std::ofstream(folder_.path() / processName()) << "x";
  EXPECT_EQ(withRelease("").appSupportDirectory(), folder_.path() / processName());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(QVAppSupportTest, saysWhyItsFolderCannotBeMade) {
  setDebugLevel(0);
  std::ofstream(folder_.path() / "file") << "x";
  QVAppSupport support(runner_, folder_.path() / "file", "");
  EXPECT_EQ(support.appSupportDirectory(), folder_.path() / "file" / processName());
  EXPECT_THAT(log_.lines(),
              ElementsAre("QVAppSupport: error creating app support directory: Not a directory"));
}

TEST_F(QVAppSupportTest, findsTheFoldersOfTheUser) {
  ::setenv("XDG_DATA_HOME", folder_.path().c_str(), 1);
  EXPECT_EQ(QVAppSupport(runner_).appSupportDirectory(), folder_.path() / processName());
  ::setenv("TMPDIR", folder_.path().c_str(), 1);
  EXPECT_EQ(QVAppSupport::temporaryDirectory(), folder_.path());
  ::unsetenv("TMPDIR");
  EXPECT_EQ(QVAppSupport::temporaryDirectory(), "/tmp");
  ::unsetenv("XDG_DATA_HOME");
}

TEST(QVAppSupport, runsOnNoSimulator) { EXPECT_FALSE(QVAppSupport::isRunningOnSimulator()); }

}  // namespace
}  // namespace moxtel
