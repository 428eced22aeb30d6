#include "commands/ImageCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "commands/LibraryCommandScope.h"
#include "library/Faces.h"
#include "library/ImageFiles.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureDecoder.h"
#include "platform/system/SystemLog.h"
#include "tests/fakes/RecordingReplyChannel.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel {
namespace {

using testing::Contains;
using testing::IsEmpty;

// Checks whenever a reply is written that the photo application could write to its library.
class LockCheckingChannel final : public RecordingReplyChannel {
 public:
  explicit LockCheckingChannel(test::TestLibrary& files) : files_(files) {}
  bool sendToClientSerializedObject(Value object) override {
    for (const DatabaseFile file : {DatabaseFile::Library, DatabaseFile::ImageProxies})
      if (!test::OtherProgram(files_.pathOf(file)).canWrite()) ++repliesWithLocks;
    return RecordingReplyChannel::sendToClientSerializedObject(std::move(object));
  }
  int repliesWithLocks = 0;

 private:
  test::TestLibrary& files_;
};

class ImageCommandsTest : public testing::Test {
 protected:
  ImageCommandsTest() {
    version("v", "m", 0, 90);
    files.insert("RKMaster", Dictionary{{"uuid", "m"}, {"imagePath", "a.jpg"}});
    files.insert("RKImageProxyState", Dictionary{{"versionUuid", "v"},
                                                 {"versionId", 29},
                                                 {"thumbnailPath", "large.jpg"},
                                                 {"miniThumbnailPath", "mini.jpg"},
                                                 {"faceTilePath", "tile"}});
    served.library.loadDatabase();
    commands.addTo(handler);
  }
  ~ImageCommandsTest() override { EXPECT_EQ(channel.repliesWithLocks, 0); }

  void version(const char* uuid, const char* master, int hasAdjustments, int rotation) {
    files.insert("RKVersion", Dictionary{{"uuid", uuid},
                                         {"masterUuid", master},
                                         {"hasAdjustments", hasAdjustments},
                                         {"rotation", rotation}});
  }
  std::string file(const std::string& name, const std::string& text) {
    const std::filesystem::path path = files.path() + "/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::vector<Value> replies(const char* command, Dictionary request) {
    request.set("command", command);
    channel.envelopes.clear();
    handler.handleCommandDict(request);
    return channel.envelopes;
  }
  std::vector<Value> repliesFor(const char* command, const char* key) {
    return replies(command, Dictionary{{"key", key}});
  }
  static Value error(const char* text) { return Dictionary{{"error", text}}; }
  static Value data(std::string_view bytes) {
    return Dictionary{{"result", Bytes(bytes.begin(), bytes.end())}};
  }
  static std::vector<Value> only(Value reply) { return {std::move(reply)}; }

  test::TestLibrary files;
  test::ServedLibrary served{files.path()};
  Faces faces{served.databases};
  ImageFiles images{served.location, served.databases, faces, served.files};
  PictureDecoder decoder{served.processes, "/no-helper"};
  ImageCommands commands{images, decoder, served.messages};
  LockCheckingChannel channel{files};
  LibraryCommandScope scope{served.databases};
  CommandHandler handler{served.loop, channel, scope, {1, 4}};
};

TEST_F(ImageCommandsTest, sendsTheThumbnailFile) {
  file("Thumbnails/large.jpg", std::string("large\0", 6));
  EXPECT_EQ(repliesFor("Thumb of Photo", "v"), only(data(std::string_view("large\0", 6))));
  EXPECT_EQ(repliesFor("Thumb of Photo", "29"), only(data(std::string_view("large\0", 6))));
}

TEST_F(ImageCommandsTest, sendsAnEmptyFileAsNoBytes) {
  file("Thumbnails/large.jpg", "");
  EXPECT_EQ(repliesFor("Thumb of Photo", "v"), only(data("")));
}

TEST_F(ImageCommandsTest, answersOnceWhenThereIsNoThumbnail) {
  EXPECT_EQ(repliesFor("Thumb of Photo", "v"), only(error("No Thumbnail")));
  EXPECT_EQ(repliesFor("Thumb of Photo", "unknown"), only(error("No Thumbnail")));
  EXPECT_EQ(replies("Thumb of Photo", Dictionary()), only(error("No Thumbnail")));
  EXPECT_EQ(repliesFor("Thumb of Photo", ""), only(error("No Thumbnail")));
}

TEST_F(ImageCommandsTest, sendsTheMasterFileUnchanged) {
  file("Masters/a.jpg", "master");
  EXPECT_EQ(repliesFor("Data of Photo", "v"), only(data("master")));
  EXPECT_EQ(repliesFor("Data of Photo", "unknown"), only(error("No Image")));
}

TEST_F(ImageCommandsTest, repliesTwiceToDataOfPhotoWithoutAKey) {
  const std::vector<Value> twice{error("No Image"), error("No Image")};
  EXPECT_EQ(replies("Data of Photo", Dictionary()), twice);
  EXPECT_EQ(repliesFor("Data of Photo", ""), twice);
}

TEST_F(ImageCommandsTest, sendsTheSquareThumbnailOrTheFace) {
  file("Thumbnails/mini.jpg", "mini");
  file("Thumbnails/tile_face0.jpg", "face");
  const auto ask = [&](Value isFace) {
    return replies("Square Thumb of Photo", Dictionary{{"key", "v"}, {"isFace", isFace}});
  };
  EXPECT_EQ(repliesFor("Square Thumb of Photo", "v"), only(data("mini")));
  EXPECT_EQ(ask(true), only(data("face")));
  EXPECT_EQ(ask(1), only(data("face")));
  EXPECT_EQ(ask("YES"), only(data("face")));
  EXPECT_EQ(ask(false), only(data("mini")));
}

TEST_F(ImageCommandsTest, logsAMissingSquareThumbnail) {
  EXPECT_EQ(repliesFor("Square Thumb of Photo", "v"), only(error("No Square Thumb")));
  EXPECT_THAT(served.log.lines(),
              Contains("found NO thumbnail at '" + files.path() + "/Thumbnails/mini.jpg' for key 'v'"));
  EXPECT_EQ(repliesFor("Square Thumb of Photo", "100%d"), only(error("No Square Thumb")));
  EXPECT_THAT(served.log.lines(), Contains("found NO thumbnail at '(null)' for key '100%d'"));
}

TEST_F(ImageCommandsTest, requiresAKeyForTheSquareThumbnail) {
  EXPECT_EQ(replies("Square Thumb of Photo", Dictionary()), only(error("No key for Square Thumb")));
  EXPECT_EQ(repliesFor("Square Thumb of Photo", ""), only(error("No key for Square Thumb")));
}

TEST_F(ImageCommandsTest, sendsTheThumbnailForTheFullScreen) {
  file("Thumbnails/large.jpg", "large");
  EXPECT_EQ(repliesFor("Fullscreen 1024 Image of Photo", "v"), repliesFor("Thumb of Photo", "v"));
  EXPECT_EQ(repliesFor("Fullscreen 1024 Image of Photo", "unknown"), only(error("No Image")));
  EXPECT_EQ(replies("Fullscreen 1024 Image of Photo", Dictionary()), only(error("No Image")));
}

TEST_F(ImageCommandsTest, encodesTheMasterAgainInItsStoredOrientation) {
  PixelBuffer image{40, 20, PixelLayout::Gray, Bytes(800, 30), {}};
  for (std::size_t i = 0; i < 20; ++i) std::fill_n(image.row(i), 20, std::uint8_t{220});
  PixelBufferSource source(image);
  const Bytes stored = jpegOf(source).value();
  file("Masters/a.jpg", std::string(stored.begin(), stored.end()));
  const auto sent = repliesFor("Image of Photo", "v");
  ASSERT_EQ(sent.size(), 1U);
  const JpegPixels shown = pixelsOfJpeg(sent[0]["result"].data());
  ASSERT_EQ(shown.outcome, JpegOutcome::Done);
  EXPECT_EQ(shown.image.width, 40U) << "not turned by the 90 degrees of the version";
  EXPECT_NEAR(*shown.image.pixel(5, 10), 220, 5);
  EXPECT_NEAR(*shown.image.pixel(35, 10), 30, 5);
  EXPECT_THAT(served.log.lines(), Contains("rotation of 'v': 90"));
}

TEST_F(ImageCommandsTest, repliesAnErrorForAFileThatIsNoPicture) {
  EXPECT_EQ(repliesFor("Image of Photo", "v"), only(error("No Image")));
  file("Masters/a.jpg", "no picture");
  EXPECT_EQ(repliesFor("Image of Photo", "v"), only(error("No Image")));
  EXPECT_EQ(repliesFor("Image of Photo", "unknown"), only(error("No Image")));
  EXPECT_EQ(replies("Image of Photo", Dictionary()), only(error("No Image")));
}

TEST_F(ImageCommandsTest, doesNotReadAFileWhoseReplyWouldBeTooLong) {
  const std::string path = file("Masters/a.jpg", "");
  ASSERT_EQ(::truncate(path.c_str(), std::int64_t{5} << 30), 0);  // uses no disk space
  EXPECT_EQ(repliesFor("Data of Photo", "v"), only(error("No Image")));
  EXPECT_EQ(served.messages.count("Info", "too large"), 1);
  EXPECT_EQ(served.messages.count("Info", "5368709120 bytes"), 1);
}

TEST_F(ImageCommandsTest, readsALargeFileOnlyWhileItIsSent) {
  const std::string path = file("Masters/a.jpg", "start");
  const auto sizeOfBytes = [&](std::uint64_t size) {
    EXPECT_EQ(::truncate(path.c_str(), static_cast<off_t>(size)), 0);
    const auto sent = repliesFor("Data of Photo", "v");
    return sent.size() == 1 ? sent[0]["result"].data().size() : 0;
  };
  EXPECT_EQ(sizeOfBytes(ImageCommands::kLargestReadWhole), ImageCommands::kLargestReadWhole);
  EXPECT_EQ(channel.openFiles, 0);
  EXPECT_EQ(sizeOfBytes(ImageCommands::kLargestReadWhole + 1), ImageCommands::kLargestReadWhole + 1);
  EXPECT_EQ(channel.openFiles, 1);
}

TEST_F(ImageCommandsTest, doesNotWaitForAFifo) {
  std::filesystem::create_directories(files.path() + "/Masters");
  ASSERT_EQ(::mkfifo((files.path() + "/Masters/a.jpg").c_str(), 0600), 0);
  EXPECT_EQ(repliesFor("Data of Photo", "v"), only(error("No Image")));
  EXPECT_EQ(repliesFor("Image of Photo", "v"), only(error("No Image")));
}

TEST_F(ImageCommandsTest, findsAFileWhoseNameDiffersInCase) {
  file("masters/A.JPG", "found");
  EXPECT_EQ(repliesFor("Data of Photo", "v"), only(data("found")));
}

TEST_F(ImageCommandsTest, changesNothingInTheLibrary) {
  file("Masters/a.jpg", "x");
  const auto before = test::stateOf(files.path());
  for (const char* command : {"Thumb of Photo", "Data of Photo", "Square Thumb of Photo", "Image of Photo",
                              "Fullscreen 1024 Image of Photo"})
    repliesFor(command, "v");
  EXPECT_EQ(test::stateOf(files.path()), before);
}

TEST(ImageCommandsLimit, leavesSpaceForTheArchiveAroundTheData) {
  // The archive's size besides the data, from empty data to sizes whose offsets need more bytes.
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{300}, std::size_t{100'000}, std::size_t{20'000'000}}) {
    const Value envelope = resultEnvelope(Bytes(size));
    EXPECT_LT(archivedPieces(envelope).size() - size, 4096U - 64) << size;
  }
}

TEST(ImageCommandsLimit, borrowsTheBytesOfALargePictureForTheReply) {
  const Value envelope = resultEnvelope(Bytes(50'000'000));
  const ArchivePieces pieces = archivedPieces(envelope);
  const Bytes& bytes = envelope["result"].data();
  const auto borrowed = [&](const auto& piece) {
    return piece.data() == bytes.data() && piece.size() == bytes.size();
  };
  EXPECT_TRUE(std::any_of(pieces.pieces().begin(), pieces.pieces().end(), borrowed));
}

}  // namespace
}  // namespace moxtel
