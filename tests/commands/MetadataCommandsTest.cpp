#include "commands/MetadataCommands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "commands/LibraryCommandScope.h"
#include "library/Faces.h"
#include "library/ImageFiles.h"
#include "library/PhotoRecords.h"
#include "library/albumdata/AlbumEntries.h"
#include "pictures/codec/Jpeg.h"
#include "pictures/codec/PictureSource.h"
#include "pictures/properties/ImageProperties.h"
#include "tests/fakes/RecordingPhotoApplication.h"
#include "tests/fakes/RecordingReplyChannel.h"
#include "tests/library/ServedLibrary.h"

namespace moxtel {
namespace {

using testing::Contains;
using testing::IsEmpty;

class NoAlbumFile final : public AlbumEntries {
 public:
  const Value& containerDict(std::string_view) const override { return none_; }

 private:
  Value none_;
};

class MetadataCommandsTest : public testing::Test {
 protected:
  MetadataCommandsTest() {
    master("m", "a.jpg");
    master("film", "a.mov");
    served.library.loadDatabase();
    commands.addTo(handler);
  }
  void master(const char* uuid, const char* path) {
    files.insert("RKMaster", Dictionary{{"uuid", uuid}, {"imagePath", path}});
  }
  std::int64_t still(const char* uuid) {
    return files.insert("RKVersion", Dictionary{{"uuid", uuid}, {"masterUuid", "m"}, {"hasAdjustments", 0}});
  }
  std::int64_t movie(const char* uuid) {
    return files.insert("RKVersion", Dictionary{{"uuid", uuid},
                                                {"masterUuid", "film"},
                                                {"hasAdjustments", 0},
                                                {"videoPosterFramePoint", "0.5"},
                                                {"fileName", "Trip.mov"},
                                                {"masterHeight", 1080},
                                                {"masterWidth", 1920},
                                                {"createDate", 300000000.5}});
  }
  void number(std::int64_t version, const char* key, Value value) {
    files.insert("RKExifNumberProperty",
                 Dictionary{{"versionId", version}, {"propertyKey", key}, {"numberProperty", value}});
  }
  void text(std::int64_t version, const char* key, const char* value) {
    const auto id = files.insert("RKUniqueString", Dictionary{{"stringProperty", value}});
    files.insert("RKOtherProperty",
                 Dictionary{{"versionId", version}, {"propertyKey", key}, {"stringId", id}});
  }
  void file(const std::string& name, const std::string& bytes) {
    const std::filesystem::path path = files.path() + "/Masters/" + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
  }
  std::vector<Value> replies(const char* command, Dictionary request) {
    request.set("command", command);
    channel.envelopes.clear();
    handler.handleCommandDict(request);
    return channel.envelopes;
  }
  std::vector<Value> metadata(const char* key) {
    return replies("Metadata of Photo", Dictionary{{"key", key}});
  }
  Dictionary movieMetadata(const char* key) {
    const auto sent = metadata(key);
    return sent.size() == 1 ? sent[0]["result"].dictionary() : Dictionary();
  }
  static Value error(const char* text) { return Dictionary{{"error", text}}; }
  static std::vector<Value> only(Value reply) { return {std::move(reply)}; }

  test::TestLibrary files;
  test::ServedLibrary served{files.path()};
  NoAlbumFile albumFile;
  test::RecordingPhotoApplication application;
  Faces faces{served.databases};
  ImageFiles images{served.location, served.databases, faces, served.files};
  PhotoRecords photos{served.databases, albumFile, application};
  ImagePropertyReader properties{served.processes};
  MetadataCommands commands{served.databases, images, photos, properties};
  RecordingReplyChannel channel;
  LibraryCommandScope scope{served.databases};
  CommandHandler handler{served.loop, channel, scope, {1, 4}};
};

TEST_F(MetadataCommandsTest, sendsThePhotoDictionaryAsItIs) {
  still("v");
  const auto sent = replies("Infos of Photo", Dictionary{{"key", "v"}});
  EXPECT_EQ(sent, only(Dictionary{{"result", photos.photoDictWithVersionId("v")}}));
  EXPECT_EQ(sent[0]["result"]["PhotoKey"], Value("v"));
  EXPECT_TRUE(sent[0]["result"].dictionary().isMutable());
}

TEST_F(MetadataCommandsTest, continuesAfterTheErrorForInfosWithoutAKey) {
  // The look-up without a key finds nothing, so there is no second reply.
  EXPECT_THROW(replies("Infos of Photo", Dictionary()), NilObjectError);
  EXPECT_EQ(channel.envelopes, only(error("No Image")));
  EXPECT_THROW(replies("Infos of Photo", Dictionary{{"key", ""}}), NilObjectError);
  EXPECT_EQ(channel.envelopes, only(error("No Image")));
}

TEST_F(MetadataCommandsTest, repliesTwiceToInfosWithoutAKeyIfTheLookUpFindsAPhoto) {
  // A missing key is looked up as the text "(null)", an empty key as the empty text.
  const auto unnamed = still("(null)");
  const auto empty = still("");
  std::vector<Value> sent = replies("Infos of Photo", Dictionary());
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], error("No Image"));
  EXPECT_EQ(sent[1]["result"]["ModelId"], Value(unnamed));
  sent = replies("Infos of Photo", Dictionary{{"key", ""}});
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], error("No Image"));
  EXPECT_EQ(sent[1]["result"]["ModelId"], Value(empty));
}

TEST_F(MetadataCommandsTest, repliesNothingToInfosOfAnUnknownPhoto) {
  EXPECT_THROW(replies("Infos of Photo", Dictionary{{"key", "unknown"}}), NilObjectError);
  EXPECT_THAT(channel.envelopes, IsEmpty());
}

TEST_F(MetadataCommandsTest, requiresAKeyForMetadata) {
  EXPECT_EQ(replies("Metadata of Photo", Dictionary()), only(error("No Image with key '(null)'")));
  EXPECT_EQ(metadata(""), only(error("No Image with key ''")));
}

TEST_F(MetadataCommandsTest, hasNoMetadataWithoutAMaster) {
  EXPECT_EQ(metadata("unknown"), only(error("No Master Image")));
  files.insert("RKVersion", Dictionary{{"uuid", "v"}, {"masterUuid", "lost"}, {"hasAdjustments", 0}});
  EXPECT_EQ(metadata("v"), only(error("No Master Image")));
  EXPECT_EQ(metadata("100%d"), only(error("No Master Image")));
}

TEST_F(MetadataCommandsTest, sendsThePropertiesOfAStillImage) {
  still("v");
  PixelBuffer image{40, 20, PixelLayout::Gray, Bytes(800, 30), {}};
  PixelBufferSource source(image);
  const Bytes jpeg = jpegOf(source).value();
  file("a.jpg", std::string(jpeg.begin(), jpeg.end()));
  const auto sent = metadata("v");
  ASSERT_EQ(sent.size(), 1U);
  const Value& result = sent[0]["result"];
  EXPECT_EQ(result["PixelWidth"], Value(40));
  EXPECT_EQ(result["PixelHeight"], Value(20));
  EXPECT_EQ(result["ColorModel"], Value("Gray"));
  EXPECT_FALSE(result.dictionary().isMutable());
  EXPECT_FALSE(result["{JFIF}"].dictionary().isMutable());
}

TEST_F(MetadataCommandsTest, hasNoMetadataOfAFileThatIsNoPicture) {
  still("v");
  EXPECT_EQ(metadata("v"), only(error("No Metadata")));
  file("a.jpg", "no picture");
  EXPECT_EQ(metadata("v"), only(error("No Metadata")));
  file("a.jpg", "");
  EXPECT_EQ(metadata("v"), only(error("No Metadata")));
}

TEST_F(MetadataCommandsTest, sendsTheLibrarysMetadataOfAMovie) {
  const auto id = movie("v");
  file("a.mov", std::string(2048, 'x'));
  number(id, "DataRate", 1500.5);
  number(id, "FPS", 29.97);
  number(id, "MovieDuration", 12);
  number(id, "Width", 1920);
  text(id, "MediaCodecName", "H.264");
  text(id, "AudioTrackSampleRate", "44.1 kHz");
  text(id, "AspectRatio", "16:9");
  text(id, "PixelSize", "1920 x 1080");
  text(id, "ShutterSpeed", "1/60");
  number(id + 1, "FPS", 1);
  text(id + 1, "PixelSize", "of another");
  const Dictionary wanted{{"MediaType", "Movie"},
                          {"Filesize (KB)", 2},
                          {"Filename", "Trip.mov"},
                          {"Pixel Height", 1080},
                          {"Pixel Width", 1920},
                          {"Creation Date", Date{300000000.5}},
                          {"Datarate (kbit/s)", 1500.5},
                          {"Frames per Second", 29.97},
                          {"Duration (s)", 12.0},
                          {"Codec", "H.264"},
                          {"Audio Sample Rate", "44.1 kHz"},
                          {"Aspect Ratio", "16:9"},
                          {"Pixel Size", "1920 x 1080"}};
  const auto sent = metadata("v");
  EXPECT_EQ(sent, only(Dictionary{{"result", wanted}}));
  EXPECT_TRUE(sent[0]["result"].dictionary().isMutable());
  EXPECT_THAT(served.log.lines(), Contains(format("send video metadata: %@", Value(wanted))));
}

TEST_F(MetadataCommandsTest, roundsTheSizeOfAMovieDown) {
  movie("v");
  EXPECT_FALSE(movieMetadata("v").contains("Filesize (KB)")) << "no file";
  file("a.mov", std::string(1023, 'x'));
  EXPECT_FALSE(movieMetadata("v").contains("Filesize (KB)"));
  file("a.mov", std::string(2047, 'x'));
  EXPECT_EQ(movieMetadata("v")["Filesize (KB)"], Value(1));
}

TEST_F(MetadataCommandsTest, sendsTheSizeOfALargeMovieWithoutReadingIt) {
  movie("v");
  file("a.mov", "");
  std::filesystem::resize_file(files.path() + "/Masters/a.mov", std::uintmax_t{5} << 40);  // sparse
  EXPECT_EQ(movieMetadata("v")["Filesize (KB)"], Value(std::int64_t{5} << 30));
}

TEST_F(MetadataCommandsTest, sendsOnlyTheDatabasesDateOfAMovieWithoutItsOwn) {
  movie("v");
  const Dictionary sent = movieMetadata("v");
  EXPECT_FALSE(sent.contains("CreationDate"));
  EXPECT_FALSE(sent.contains("ModificationDate"));
  EXPECT_EQ(sent["Creation Date"], Value(Date{300000000.5}));
}

TEST_F(MetadataCommandsTest, leavesOutNullsOfAMovie) {
  const auto id = files.insert(
      "RKVersion",
      Dictionary{
          {"uuid", "v"}, {"masterUuid", "film"}, {"hasAdjustments", 0}, {"videoPosterFramePoint", "0.5"}});
  number(id, "FPS", nullptr);
  const Dictionary wanted{{"MediaType", "Movie"},
                          {"Pixel Height", 0},
                          {"Pixel Width", 0},
                          {"Creation Date", Date{0}},
                          {"Frames per Second", 0.0}};
  EXPECT_EQ(metadata("v"), only(Dictionary{{"result", wanted}}));
}

TEST_F(MetadataCommandsTest, continuesWhenAQueryCannotBePrepared) {
  const auto id = movie("v");
  number(id, "FPS", 25);
  files.execute(DatabaseFile::Properties, "DROP TABLE RKUniqueString");
  EXPECT_EQ(movieMetadata("v")["Frames per Second"], Value(25.0));
  EXPECT_THAT(served.log.lines(),
              Contains(format("could not prepare query 'SELECT stringProperty,propertyKey FROM "
                              "RKUniqueString,RKOtherProperty WHERE versionId = %d AND stringId = "
                              "RKUniqueString.modelId'",
                              id)));
}

TEST_F(MetadataCommandsTest, sendsMetadataOfAMovieWithoutThePropertiesDatabase) {
  movie("v");
  files.remove(DatabaseFile::Properties);
  EXPECT_EQ(movieMetadata("v")["Filename"], Value("Trip.mov"));
  EXPECT_FALSE(movieMetadata("v").contains("Codec"));
}

TEST_F(MetadataCommandsTest, releasesTheLibraryBeforeItReplies) {
  class Checking final : public ReplyChannel {
   public:
    explicit Checking(test::TestLibrary& library) : library_(library) {}
    bool sendToClientResultObject(Value) override { return check(); }
    bool sendToClientResultData(ReplyData) override { return check(); }
    bool sendToClientErrorString(std::string_view) override { return check(); }
    bool sendToClientSerializedObject(Value) override { return check(); }
    int replies = 0;
    int locked = 0;

   private:
    bool check() {
      ++replies;
      for (const auto file : {DatabaseFile::Library, DatabaseFile::Properties})
        if (!test::OtherProgram(library_.pathOf(file)).canWrite()) ++locked;
      return true;
    }
    test::TestLibrary& library_;
  } checking(files);
  movie("film");
  still("v");
  CommandHandler other(served.loop, checking, scope, {1, 4});
  commands.addTo(other);
  for (const char* command : {"Metadata of Photo", "Infos of Photo"})
    for (const char* key : {"film", "v"})
      other.handleCommandDict(Dictionary{{"command", command}, {"key", key}});
  EXPECT_EQ(checking.replies, 4);
  EXPECT_EQ(checking.locked, 0);
}

TEST_F(MetadataCommandsTest, changesNothingInTheLibrary) {
  movie("film");
  still("v");
  file("a.jpg", "x");
  const auto before = test::stateOf(files.path());
  for (const char* key : {"film", "v"}) {
    metadata(key);
    replies("Infos of Photo", Dictionary{{"key", key}});
  }
  EXPECT_EQ(test::stateOf(files.path()), before);
}

}  // namespace
}  // namespace moxtel
