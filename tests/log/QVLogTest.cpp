#include "log/QVLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "log/Log.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeClock.h"

namespace moxtel {
namespace {

using testing::ElementsAre;

std::string contents(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class QVLogFile : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
  const TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "a.log";
  FakeClock clock_;
};

TEST(NonLossyASCII, keepsSevenBitCharactersAndDoublesTheBackslash) {
  EXPECT_EQ(nonLossyASCII("a b~\t\n\x7f"), "a b~\t\n\x7f");
  EXPECT_EQ(nonLossyASCII("C:\\x"), "C:\\\\x");
}

TEST(NonLossyASCII, writesTheUpperHalfOfLatin1InOctal) {
  EXPECT_EQ(nonLossyASCII("\xc2\x80\xc3\xa4\xc3\xbf"), "\\200\\344\\377");
}

TEST(NonLossyASCII, writesOtherCharactersAsUTF16UnitsInLowerCaseHexadecimal) {
  EXPECT_EQ(nonLossyASCII("\xc4\x80"), "\\u0100");
  EXPECT_EQ(nonLossyASCII("\xe2\x82\xac"), "\\u20ac");
  EXPECT_EQ(nonLossyASCII("\xf0\x9f\x98\x80"), "\\ud83d\\ude00");
}

TEST(NonLossyASCII, replacesMalformedBytes) { EXPECT_EQ(nonLossyASCII("a\xff"), "a\\ufffd"); }

TEST_F(QVLogFile, appendsALineAndFlushesIt) {
  QVLog log(path_, clock_);
  EXPECT_TRUE(log.appendString("one"));
  EXPECT_EQ(contents(path_), "one\n");
  EXPECT_TRUE(log.appendString(""));
  EXPECT_EQ(contents(path_), "one\n\n");
}

TEST_F(QVLogFile, appendsToWhatIsThere) {
  std::ofstream(path_) << "old\n";
  QVLog(path_, clock_).appendString("new");
  EXPECT_EQ(contents(path_), "old\nnew\n");
}

TEST_F(QVLogFile, keepsTheFilePureASCII) {
  QVLog(path_, clock_).appendString("K\xc3\xb6ln");
  EXPECT_EQ(contents(path_), "K\\366ln\n");
}

TEST_F(QVLogFile, escapesControlCharacters) {
  QVLog(path_, clock_).appendString("a\x1b[31m\r\x7f\tb\nc\xc2\x9b\u202e");
  EXPECT_EQ(contents(path_), "a\\033[31m\\015\\177\tb\nc\\233\\u202e\n");
}

TEST_F(QVLogFile, mayBeANamedPipeThatIsNotRead) {
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  const SystemLogCapture system;
  EXPECT_FALSE(QVLog(path_, clock_).appendString("without a reader"));
  EXPECT_THAT(system.lines(), ElementsAre("QVLog initWithPathname '" + path_ + "' failed"));
  const FileDescriptor reader(::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  QVLog log(path_, clock_);
  const std::string text(1000, 'x');
  int written = 0;
  while (log.appendString(text)) ++written;
  EXPECT_GE(written, 60);
}

TEST_F(QVLogFile, doesNotTreatATextAsAFormat) {
  QVLog(path_, clock_).logString("%s%n%@");
  EXPECT_EQ(contents(path_), "2016-07-12 07:05:03.000: %s%n%@\n");
}

TEST_F(QVLogFile, stampsLinesInTwoFormats) {
  clock_.set({489999903.25});
  QVLog log(path_, clock_);
  EXPECT_TRUE(log.logString("x"));
  EXPECT_TRUE(log.nslogString("y"));
  EXPECT_EQ(contents(path_), "2016-07-12 07:05:03.250: x\n2016-07-12 07:05:03.250 Ulmo2[" +
                                 std::to_string(::getpid()) + "]: y\n");
}

TEST_F(QVLogFile, saysOnceThatItCannotBeOpenedAndDropsItsLines) {
  const SystemLogCapture system;
  const std::string path = folder_.path() / "missing/a.log";
  QVLog log(path, clock_);
  EXPECT_FALSE(log.appendString("x"));
  EXPECT_FALSE(log.logString("x"));
  EXPECT_FALSE(log.nslogString("x"));
  EXPECT_THAT(system.lines(), ElementsAre("QVLog initWithPathname '" + path + "' failed"));
}

TEST_F(QVLogFile, cannotBeOpenedWithoutAPathOrUnderOneThatIsNotASCII) {
  const SystemLogCapture system;
  EXPECT_FALSE(QVLog(std::nullopt).appendString("x"));
  const std::string path = folder_.path() / "\xc3\xa4.log";
  EXPECT_FALSE(QVLog(path).appendString("x"));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_THAT(system.lines(), ElementsAre("QVLog initWithPathname '(null)' failed",
                                          "QVLog initWithPathname '" + path + "' failed"));
}

TEST_F(QVLogFile, opensEachSharedLogOnceFromItsOwnKey) {
  UserDefaults defaults;
  for (const char* key : {"Access", "Debug", "Error", "IO"}) {
    defaults.setString(std::string(key) + "LogPath", (folder_.path() / key).string());
  }
  setUpLogging(defaults, clock_);
  EXPECT_EQ(QVLog::accessLog(), QVLog::accessLog());
  QVLog::accessLog()->appendString("a");
  QVLog::debugLog()->appendString("d");
  QVLog::errorLog()->appendString("e");
  QVLog::ioLog()->appendString("i");
  EXPECT_EQ(contents(folder_.path() / "Access"), "a\n");
  EXPECT_EQ(contents(folder_.path() / "Debug"), "d\n");
  EXPECT_EQ(contents(folder_.path() / "Error"), "e\n");
  EXPECT_EQ(contents(folder_.path() / "IO"), "i\n");
}

TEST_F(QVLogFile, isNotInheritedByAProcess) {
  const QVLog log(path_, clock_);
  int inherited = 0;
  int own = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry, error) != path_) continue;
    ++own;
    const int flags = ::fcntl(std::stoi(entry.path().filename()), F_GETFD);
    inherited += (flags & FD_CLOEXEC) == 0;
  }
  EXPECT_EQ(own, 1);
  EXPECT_EQ(inherited, 0);
}

TEST_F(QVLogFile, mixesNoLinesOfTwoThreads) {
  QVLog log(path_, clock_);
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c'}) {
    threads.emplace_back([&log, letter] {
      for (int i = 0; i < 200; ++i) log.appendString(std::string(50, letter));
    });
  }
  for (auto& thread : threads) thread.join();
  std::ifstream in(path_);
  int lines = 0;
  for (std::string line; std::getline(in, line); ++lines) {
    ASSERT_EQ(line, std::string(50, line[0]));
  }
  EXPECT_EQ(lines, 600);
}

}  // namespace
}  // namespace moxtel
