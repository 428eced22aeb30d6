#include "platform/system/LineOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <iterator>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

std::string noteLine(std::string_view note) { return std::string(note) + "\n"; }

// Two connected descriptors; what is written to one is read from the other.
struct Ends {
  FileDescriptor reader;
  FileDescriptor writer;

  std::string readAll() const {
    ::fcntl(reader.get(), F_SETFL, O_NONBLOCK);
    std::string text;
    std::array<char, 65536> buffer{};
    for (;;) {
      const ssize_t count = ::read(reader.get(), buffer.data(), buffer.size());
      if (count <= 0) return text;
      text.append(buffer.data(), static_cast<std::size_t>(count));
    }
  }
};

Ends makePipeEnds() {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends makeSocketEnds() {
  std::array<int, 2> ends{};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Ends makeTerminalEnds() {
  int master = -1;
  int slave = -1;
  EXPECT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  return {FileDescriptor(master), FileDescriptor(slave)};
}

class LineOutputTo : public testing::TestWithParam<Ends (*)()> {
 protected:
  const Ends ends = GetParam()();
  LineOutput output{ends.writer.get()};

  // Writes lines until the reader has missed one. Returns how many it got.
  int fill() {
    int written = 0;
    while (output.write(kLine, noteLine)) ++written;
    return written;
  }

  static constexpr const char* kLine =
      "0123456789 0123456789 0123456789 0123456789 0123456789 0123456789 0123456789\n";
};

TEST_P(LineOutputTo, writesLines) {
  EXPECT_TRUE(output.write("one\n", noteLine));
  EXPECT_TRUE(output.write("two\n", noteLine));
  EXPECT_EQ(ends.readAll().substr(0, 3), "one");
}

TEST_P(LineOutputTo, dropsAndCountsLinesOfAReaderThatDoesNotRead) {
  fill();
  for (int i = 0; i < 1233; ++i) EXPECT_FALSE(output.write(kLine, noteLine));
  ends.readAll();
  EXPECT_TRUE(output.write("again\n", noteLine));
  std::string text = ends.readAll();
  std::erase(text, '\r');
  EXPECT_NE(text.find("… 1,234 lines left out\nagain\n"), std::string::npos) << text;
}

TEST_P(LineOutputTo, leavesTheDescriptorBlockingForOthers) {
  output.write("one\n", noteLine);
  EXPECT_EQ(::fcntl(ends.writer.get(), F_GETFL) & O_NONBLOCK, 0);
}

INSTANTIATE_TEST_SUITE_P(Any, LineOutputTo,
                         testing::Values(&makePipeEnds, &makeSocketEnds, &makeTerminalEnds));

TEST(LineOutput, writesALineThatIsLargerThanThePipeOnlyInPart) {
  const Ends ends = makePipeEnds();
  LineOutput output(ends.writer.get());
  EXPECT_FALSE(output.write(std::string(1 << 20, 'x') + "\n", noteLine));
  const std::string part = ends.readAll();
  EXPECT_EQ(part, std::string(part.size(), 'x'));
  EXPECT_TRUE(output.write("next\n", noteLine));
  EXPECT_EQ(ends.readAll(), "\n… 1 line left out\nnext\n");
}

TEST(LineOutput, followsARedirectedDescriptor) {
  const Ends first = makePipeEnds();
  const Ends second = makePipeEnds();
  const FileDescriptor descriptor(::dup(first.writer.get()));
  LineOutput output(descriptor.get());
  EXPECT_TRUE(output.write("one\n", noteLine));
  ASSERT_EQ(::dup2(second.writer.get(), descriptor.get()), descriptor.get());
  EXPECT_TRUE(output.write("two\n", noteLine));
  EXPECT_EQ(first.readAll(), "one\n");
  EXPECT_EQ(second.readAll(), "two\n");
}

TEST(LineOutput, countsLinesBeyondTheLimitOfAFilesSize) {
  const TemporaryFolder folder;
  const std::string path = folder.path() / "log";
  const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  LineOutput output(file.get());
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  struct rlimit small = before;
  small.rlim_cur = 4;
  const auto action = ::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_TRUE(output.write("one\n", noteLine));
  EXPECT_FALSE(output.write("two\n", noteLine));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  ::signal(SIGXFSZ, action);
  EXPECT_TRUE(output.write("three\n", noteLine));
  std::ifstream in(path);
  EXPECT_EQ((std::string{std::istreambuf_iterator<char>(in), {}}), "one\n… 1 line left out\nthree\n");
}

}  // namespace
}  // namespace moxtel
