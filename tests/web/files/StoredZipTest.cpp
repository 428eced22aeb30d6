#include "web/files/StoredZip.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/process/ChildProcess.h"
#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::Eq;
using testing::Optional;

class StoredZipTest : public testing::Test {
 protected:
  ZipEntry file(const std::string& name, const std::string& content, std::int64_t date = 1'246'713'730) {
    const std::string path = folder_.path() / ("f" + std::to_string(count_++));
    std::ofstream(path, std::ios::binary) << content;
    return {name, path, {}, content.size(), date};
  }
  static OpenFile open(const ZipEntry& entry) { return openRegularFile(entry.path); }

  // Read with buffers of these sizes, in turn; nothing after a failure.
  static std::optional<std::string> read(StoredZip& zip, std::vector<std::size_t> sizes) {
    std::string all;
    std::string buffer;
    for (std::size_t i = 0;; ++i) {
      buffer.resize(sizes[i % sizes.size()]);
      const auto count = zip.read(all.size(), buffer);
      if (!count) return std::nullopt;
      if (*count == 0) return all;
      all += buffer.substr(0, *count);
    }
  }
  std::string write(const std::vector<ZipEntry>& entries) {
    StoredZip zip(entries, &open);
    const auto all = read(zip, {1, 7, 1000, 100'000});
    EXPECT_TRUE(all);
    EXPECT_EQ(all->size(), zip.size());
    const std::string path = folder_.path() / "made.zip";
    std::ofstream(path, std::ios::binary) << *all;
    return path;
  }
  static std::string run(const std::string& program, const std::vector<std::string>& arguments,
                         int input = -1) {
    SystemProcessRunner runner;
    ProcessRequest request;
    request.program = program;
    request.arguments = arguments;
    request.inputDescriptor = input;
    request.timeout = std::chrono::minutes(5);
    const ProcessResult result = runner.run(request);
    EXPECT_EQ(result.exitStatus, 0) << program << ": " << result.output << result.error;
    return result.output;
  }

  TemporaryFolder folder_;
  int count_ = 0;
};

TEST_F(StoredZipTest, isReadByThreeOtherPrograms) {
  const std::string large(300'000, 'x');
  const std::string path =
      write({file("Été am Meer.jpg", "one"), file("empty.txt", ""), file("large.mov", large)});
  run("unzip", {"-t", path});
  run("python3", {"-m", "zipfile", "-t", path});
  EXPECT_EQ(run("bsdtar", {"-tf", path}), "Été am Meer.jpg\nempty.txt\nlarge.mov\n");
  EXPECT_EQ(run("bsdtar", {"-xOf", path, "large.mov"}), large);
  EXPECT_EQ(run("unzip", {"-p", path, "Été am Meer.jpg"}), "one");
}

TEST_F(StoredZipTest, isReadFromAPipeFromItsStart) {
  const std::string path = write({file("a.jpg", "PK\7\10 one"), file("b.jpg", std::string(200'000, 'b'))});
  EXPECT_EQ(run("sh", {"-c", "cat '" + path + "' | bsdtar -xOf - b.jpg"}), std::string(200'000, 'b'));
}

TEST_F(StoredZipTest, hasTheDateOfThePhotosOwnClock) {
  const std::string path = write({file("a.jpg", "1", 1'246'713'730), file("old.jpg", "2", -5'000'000'000),
                                  file("late.jpg", "3", 99'999'999'999)});
  const std::string script =
      "import sys,zipfile\nfor i in zipfile.ZipFile(sys.argv[1]).infolist(): print(*i.date_time, "
      "i.external_attr >> 16)";
  EXPECT_EQ(run("python3", {"-c", script, path}),
            "2009 7 4 13 22 10 33188\n1980 1 1 0 0 0 33188\n2107 12 31 23 59 58 33188\n");
}

TEST_F(StoredZipTest, ofNothingIsAnEmptyArchive) {
  EXPECT_EQ(run("python3", {"-m", "zipfile", "-l", write({})}).substr(0, 9), "File Name");
}

TEST_F(StoredZipTest, hasMoreThan65535Files) {
  const ZipEntry one = file("x", "content");
  std::vector<ZipEntry> entries;
  for (int i = 0; i < 66'000; ++i) {
    entries.push_back(one);
    entries.back().name = std::to_string(i);
  }
  const std::string path = write(entries);
  const std::string script = "import sys,zipfile\nprint(len(zipfile.ZipFile(sys.argv[1]).namelist()))";
  EXPECT_EQ(run("python3", {"-c", script, path}), "66000\n");
  run("unzip", {"-tqq", path});
}

TEST_F(StoredZipTest, failsWhenAFileIsMissingOrShorter) {
  ZipEntry longer = file("a", "abc");
  longer.size = 4;
  StoredZip tooLong({longer}, &open);
  EXPECT_FALSE(read(tooLong, {10}));
  ZipEntry missing = file("b", "abc");
  missing.path += "-not-there";
  StoredZip notThere({missing}, &open);
  EXPECT_FALSE(read(notThere, {10}));
}

TEST_F(StoredZipTest, sendsTheFirstBytesOfAFileThatGrew) {
  ZipEntry shorter = file("a", "abcdef");
  shorter.size = 3;
  EXPECT_EQ(run("unzip", {"-p", write({shorter})}), "abc");
}

TEST_F(StoredZipTest, isReadFromTheStartToTheEndOnly) {
  StoredZip zip({file("a", "abc")}, &open);
  EXPECT_FALSE(zip.offersRanges());
  std::string buffer(10, ' ');
  EXPECT_FALSE(zip.read(1, buffer));
  EXPECT_THAT(zip.read(0, buffer), Optional(Eq(10u)));
  EXPECT_FALSE(zip.read(0, buffer));
}

// The zeros of a large archive become holes of the file.
TEST_F(StoredZipTest, exceedsFourGigabytes) {
  if (!std::getenv("MOXTEL_LARGE_TESTS")) GTEST_SKIP() << "takes a minute; ./test slow runs it";
  ZipEntry large = file("large.mov", "");
  large.size = (std::uint64_t{9} << 29) + 5;  // 4.5 GiB
  std::filesystem::resize_file(large.path, large.size);
  StoredZip zip({large, file("behind.jpg", "behind")}, &open);
  const std::string path = folder_.path() / "large.zip";
  std::ofstream out(path, std::ios::binary);
  std::string buffer(1 << 20, ' ');
  std::uint64_t offset = 0;
  while (const auto count = zip.read(offset, buffer)) {
    if (*count == 0) break;
    const std::string_view piece(buffer.data(), *count);
    offset += *count;
    if (piece.find_first_not_of('\0') == std::string_view::npos) {
      out.seekp(static_cast<std::streamoff>(offset));
    } else {
      out << piece;
    }
  }
  out.close();
  EXPECT_EQ(offset, zip.size());
  EXPECT_EQ(std::filesystem::file_size(path), zip.size());
  run("unzip", {"-tqq", path});
  EXPECT_EQ(run("unzip", {"-p", path, "behind.jpg"}), "behind");
  EXPECT_EQ(run("bsdtar", {"-xOf", path, "behind.jpg"}), "behind");
  const std::string script =
      "import sys,zipfile\nprint([i.file_size for i in zipfile.ZipFile(sys.argv[1]).infolist()])";
  EXPECT_EQ(run("python3", {"-c", script, path}), "[4831838213, 6]\n");
}

TEST(ZipNamesTest, areLegalEverywhere) {
  ZipNames names;
  EXPECT_EQ(names.unique("Strand: \"1/2\"?", "jpg"), "Strand_ _1_2__.jpg");
  EXPECT_EQ(names.unique("../../etc/passwd", ""), "_.._etc_passwd");
  EXPECT_EQ(names.unique(" . ", "jpg"), "Photo.jpg");
  EXPECT_EQ(names.unique("\xFF", "jpg"), "Photo (2).jpg");
  EXPECT_EQ(names.unique("con", "txt"), "_con.txt");
  EXPECT_EQ(names.unique("LPT1.old", "txt"), "_LPT1.old.txt");
  EXPECT_EQ(names.unique("a\nb\x7F", "j/g"), "a_b_.j_g");
  EXPECT_EQ(names.unique("Été", ""), "Été");
}

TEST(ZipNamesTest, differAlsoWithoutLetterCase) {
  ZipNames names;
  EXPECT_EQ(names.unique("IMG_1", "jpg"), "IMG_1.jpg");
  EXPECT_EQ(names.unique("img_1", "JPG"), "img_1 (2).JPG");
  EXPECT_EQ(names.unique("IMG_1 (3)", "jpg"), "IMG_1 (3).jpg");
  EXPECT_EQ(names.unique("IMG_1", "jpg"), "IMG_1 (4).jpg");
  EXPECT_EQ(names.unique("IMG_1", "jpg"), "IMG_1 (5).jpg");
}

TEST(ZipNamesTest, areCutBetweenCharacters) {
  ZipNames names;
  std::string umlauts;
  for (int i = 0; i < 200; ++i) umlauts += "ü";
  const std::string name = names.unique(umlauts, "jpg");
  EXPECT_LE(name.size(), ZipNames::kLongest);
  EXPECT_TRUE(name.ends_with("ü.jpg"));
  EXPECT_LE(names.unique(umlauts, "jpg").size(), ZipNames::kLongest);
}

}  // namespace
}  // namespace moxtel
