#include "web/files/MovieKind.h"

#include "tests/web/files/MovieTest.h"

namespace moxtel {
namespace {

using std::string_literals::operator""s;
using Plays = MovieKind::Plays;

class MovieKindTest : public MovieTest {};

MovieKind kindOfBytes(const std::string& bytes) {
  properties::ByteSource source(properties::bytesOf(bytes));
  return movieKindOf(source);
}

TEST_F(MovieKindTest, knowsWhatBrowsersPlay) {
  const std::vector<std::string> h264{"-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a"};
  auto with = [&](const std::string& audio) {
    auto words = h264;
    words.push_back(audio);
    return words;
  };
  const MovieKind mp4 = kindOf(movie("a.mp4", with("aac")));
  EXPECT_EQ(mp4.plays, Plays::Everywhere);
  EXPECT_FALSE(mp4.isQuickTime);
  EXPECT_EQ(mp4.video, "avc1");
  EXPECT_EQ(mp4.audio, "mp4a");
  EXPECT_NEAR(mp4.seconds, 2.0, 0.1);
  const MovieKind mov = kindOf(movie("a.mov", with("pcm_s16le")));
  EXPECT_EQ(mov.plays, Plays::Everywhere);
  EXPECT_TRUE(mov.isQuickTime);
  EXPECT_STREQ(mov.extension(), ".mov");
  EXPECT_STREQ(mov.mediaType(), "video/quicktime");
  EXPECT_EQ(
      kindOf(movie("fast.mp4", {"-c:v", "libx264", "-pix_fmt", "yuv420p", "-an", "-movflags", "+faststart"}))
          .plays,
      Plays::Everywhere);
  EXPECT_EQ(kindOf(movie("h.mov", {"-c:v", "libx265", "-x265-params", "log-level=none", "-tag:v", "hvc1",
                                   "-pix_fmt", "yuv420p", "-c:a", "aac"}))
                .plays,
            Plays::InSome);
}

TEST_F(MovieKindTest, knowsWhatNoBrowserPlays) {
  for (const auto& [name, encoding] : std::vector<std::pair<std::string, std::vector<std::string>>>{
           {"a.mov", {"-c:v", "mjpeg", "-c:a", "pcm_s16le"}},
           {"b.mov", {"-c:v", "svq1", "-c:a", "pcm_s16le"}},
           {"c.mp4", {"-c:v", "mpeg4", "-c:a", "aac"}},
           {"d.mp4", {"-c:v", "libx264", "-pix_fmt", "yuv420p10le", "-c:a", "aac"}},
           {"e.mov", {"-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "adpcm_ima_qt"}},
           {"f.3gp", {"-c:v", "h263", "-s", "176x144", "-c:a", "aac"}}}) {
    const MovieKind kind = kindOf(movie(name, encoding));
    EXPECT_EQ(kind.plays, Plays::Nowhere) << name;
    EXPECT_EQ(kind.format, "mov") << name;
    EXPECT_NEAR(kind.seconds, 2.0, 0.2) << name;
  }
}

TEST_F(MovieKindTest, recognizesOtherContainers) {
  const MovieKind avi = kindOf(movie("a.avi", {"-c:v", "mjpeg", "-c:a", "pcm_u8"}));
  EXPECT_EQ(avi.format, "avi");
  EXPECT_EQ(avi.plays, Plays::Nowhere);
  EXPECT_NEAR(avi.seconds, 2.0, 0.2);
  EXPECT_EQ(kindOf(movie("a.mpg", {"-c:v", "mpeg1video", "-r", "25", "-c:a", "mp2"})).format, "mpeg");
  EXPECT_EQ(kindOf(movie("a.wmv", {"-c:v", "wmv2", "-c:a", "wmav2"})).format, "asf");
  EXPECT_EQ(kindOf(movie("a.mkv", {"-c:v", "mpeg4", "-c:a", "aac"})).format, "matroska");
  EXPECT_EQ(kindOf(movie("a.mts", {"-c:v", "mpeg2video", "-c:a", "mp2"})).format, "mpegts");
}

TEST_F(MovieKindTest, isNothingForOtherFiles) {
  for (const std::string& bytes : {""s, "x"s, "\xFF\xD8\xFF\xE0 a picture"s, "RIFF\0\0\0\0WAVEfmt "s})
    EXPECT_EQ(kindOfBytes(bytes).format, "") << bytes;
}

TEST_F(MovieKindTest, readsDamagedBoxesWithoutEnd) {
  for (const std::string& bytes :
       {"\0\0\0\0moov\0\0\0\0trak"s, "\0\0\0\x01moov\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF...."s,
        "\0\0\0\x08moov\0\0\0\x07trak\0\0\0\0"s,
        "\0\0\0\x08"
        "free\0\0\0\x08"
        "free\0\0\0\x08"
        "free"s}) {
    const MovieKind kind = kindOfBytes(bytes);
    EXPECT_EQ(kind.format, "mov");
    EXPECT_EQ(kind.plays, Plays::Nowhere);
    EXPECT_EQ(kind.seconds, 0);
  }
}

}  // namespace
}  // namespace moxtel
