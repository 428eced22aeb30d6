#include "platform/files/FileReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kAny = UINT64_MAX;

class FileReaderTest : public testing::Test {
 protected:
  std::string file(const std::string& name, const std::string& text) {
    const std::string path = folder_.path() / name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::string at(const std::string& name) { return folder_.path() / name; }

 private:
  TemporaryFolder folder_;
};

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST_F(FileReaderTest, readsAFileWhole) {
  const FileContents contents = readWholeFile(file("a", std::string("one\0two", 7)), kAny);
  EXPECT_EQ(contents.state, FileState::Open);
  EXPECT_EQ(contents.size, 7U);
  EXPECT_EQ(textOf(contents.bytes), std::string("one\0two", 7));
}

TEST_F(FileReaderTest, readsAnEmptyFileAsNoBytes) {
  const FileContents contents = readWholeFile(file("a", ""), kAny);
  EXPECT_EQ(contents.state, FileState::Open);
  EXPECT_TRUE(contents.bytes.empty());
}

TEST_F(FileReaderTest, distinguishesAMissingFileFromAnUnreadableOne) {
  EXPECT_EQ(readWholeFile(at("none"), kAny).state, FileState::Missing);
  EXPECT_EQ(readWholeFile(file("a", "x") + "/below", kAny).state, FileState::Missing);
  EXPECT_EQ(readWholeFile(at(std::string(300, 'n')), kAny).state, FileState::Missing);
  fs::create_directory(at("folder"));
  EXPECT_EQ(readWholeFile(at("folder"), kAny).state, FileState::Unreadable);
}

TEST_F(FileReaderTest, doesNotCutAPathAtANul) {
  const std::string path = file("a", "x");
  EXPECT_EQ(readWholeFile(path + std::string("\0.jpg", 5), kAny).state, FileState::Missing);
}

TEST_F(FileReaderTest, doesNotWaitForAFifo) {
  ASSERT_EQ(::mkfifo(at("fifo").c_str(), 0600), 0);
  EXPECT_EQ(readWholeFile(at("fifo"), kAny).state, FileState::Unreadable);
}

TEST_F(FileReaderTest, readsNoDevice) {
  EXPECT_EQ(readWholeFile("/dev/zero", kAny).state, FileState::Unreadable);
}

TEST_F(FileReaderTest, followsASymbolicLink) {
  fs::create_symlink(file("a", "through"), at("link"));
  EXPECT_EQ(textOf(readWholeFile(at("link"), kAny).bytes), "through");
  fs::create_symlink(at("loop"), at("loop"));
  EXPECT_EQ(readWholeFile(at("loop"), kAny).state, FileState::Unreadable);
}

TEST_F(FileReaderTest, readsNothingOfAFileAboveTheLimit) {
  const std::string path = file("large", "");
  ASSERT_EQ(::truncate(path.c_str(), std::int64_t{5} << 30), 0);  // takes no room on the disk
  const FileContents contents = readWholeFile(path, 0xFFFFFFFF);
  EXPECT_EQ(contents.state, FileState::TooLarge);
  EXPECT_EQ(contents.size, std::uint64_t{5} << 30);
  EXPECT_EQ(contents.bytes.capacity(), 0U);
}

TEST_F(FileReaderTest, readsAFileOfExactlyTheLimit) {
  const std::string path = file("a", "12345");
  EXPECT_EQ(readWholeFile(path, 5).state, FileState::Open);
  EXPECT_EQ(readWholeFile(path, 4).state, FileState::TooLarge);
}

TEST_F(FileReaderTest, reportsAFileThatShrankAsUnreadable) {
  const std::string path = file("a", "1234567890");
  const OpenFile open = openRegularFile(path);
  ASSERT_EQ(::truncate(path.c_str(), 6), 0);
  const FileContents contents = readAll(open, kAny);
  EXPECT_EQ(contents.state, FileState::Unreadable);
  EXPECT_TRUE(contents.bytes.empty());
}

TEST_F(FileReaderTest, leavesOutWhatWasAddedAfterOpening) {
  const std::string path = file("a", "12345");
  const OpenFile open = openRegularFile(path);
  std::ofstream(path, std::ios::app) << "678";
  EXPECT_EQ(textOf(readAll(open, kAny).bytes), "12345");
}

TEST_F(FileReaderTest, readsTheStartAndThenTheWhole) {
  const OpenFile open = openRegularFile(file("a", "1234567890"));
  EXPECT_EQ(textOf(readStart(open, 4)), "1234");
  EXPECT_EQ(textOf(readStart(open, 99)), "1234567890");
  EXPECT_EQ(textOf(readAll(open, kAny).bytes), "1234567890");
  EXPECT_TRUE(readStart(openRegularFile(at("none")), 4).empty());
}

TEST_F(FileReaderTest, readsAPartFromAnOffset) {
  const OpenFile open = openRegularFile(file("a", "1234567890"));
  Bytes part(4);
  EXPECT_EQ(readAt(open, 3, part), 4U);
  EXPECT_EQ(textOf(part), "4567");
  EXPECT_EQ(readAt(open, 8, part), 2U);
  EXPECT_EQ(textOf(part), "9067");
  EXPECT_EQ(readAt(open, 11, part), 0U);
}

TEST_F(FileReaderTest, letsNoChildInheritTheFile) {
  const OpenFile open = openRegularFile(file("a", "x"));
  EXPECT_NE(::fcntl(open.descriptor.get(), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace moxtel
