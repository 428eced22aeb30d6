#include "pictures/codec/PictureDecoder.h"

#include <chrono>
#include <filesystem>
#include <fstream>

#include "pictures/codec/PictureKind.h"
#include "platform/process/ChildProcess.h"
#include "platform/system/SystemLog.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeProcessRunner.h"
#include "tests/pictures/Fixtures.h"

namespace moxtel {
namespace {

using test::expectQuarters;
using test::fixture;
using test::fixtureBytes;
using test::Quarters;

class PictureDecoderTest : public testing::Test {
 protected:
  // The picture in the JPEG of a file; without pixels if there is no JPEG.
  PixelBuffer shown(const std::string& name) {
    const auto jpeg = decoder.jpegOf(openRegularFile(fixture(name)));
    if (!jpeg) return {};
    JpegPixels result = pixelsOfJpeg(*jpeg);
    EXPECT_EQ(result.outcome, JpegOutcome::Done) << name;
    return result.image;
  }
  void expectNothing(const std::string& name) {
    EXPECT_FALSE(decoder.jpegOf(openRegularFile(fixture(name)))) << name;
    EXPECT_FALSE(decoder.pixelsOf(openRegularFile(fixture(name)))) << name;
  }

  SystemProcessRunner processes;
  PictureDecoder decoder{processes, MOXTEL_DECODER};
};

class EveryFormat : public PictureDecoderTest, public testing::WithParamInterface<const char*> {};

TEST_P(EveryFormat, showsItsPictureInItsStoredOrientation) {
  const PixelBuffer image = shown(GetParam());
  ASSERT_EQ(image.width, 96U);
  EXPECT_EQ(image.height, 64U);
  EXPECT_EQ(image.layout, PixelLayout::Rgb);
  expectQuarters(image, 8);
}

INSTANTIATE_TEST_SUITE_P(InColor, EveryFormat,
                         testing::Values("jpeg-420.jpg", "jpeg-orientation-6.jpg", "png-rgb.png",
                                         "png-rgb16.png", "png-palette.png", "png-interlaced.png",
                                         "png-interlaced16.png", "tiff-plain.tif", "tiff-lzw.tif",
                                         "tiff-zip.tif", "tiff-jpeg.tif", "tiff-big-endian.tif",
                                         "tiff-rgb16.tif", "tiff-zip16.tif", "tiff-palette.tif",
                                         "tiff-tiled.tif", "tiff-float.tif", "tiff-orientation-6.tif",
                                         "gif.gif", "gif-interlaced.gif", "gif-animated.gif", "bmp-24.bmp",
                                         "bmp-palette.bmp", "bmp-rle.bmp", "psd-rgb.psd", "psd-rgb16.psd",
                                         "psd-palette.psd", "psd-layers.psd", "heic.heic", "heic-turned.heic",
                                         "heic-grid.heic", "jpeg2000.jp2", "jpeg2000-12-bits.jp2",
                                         "jpeg2000-stream.j2k", "webp.webp", "webp-lossless.webp"));

TEST_F(PictureDecoderTest, readsGrayAsGray) {
  for (const char* name : {"jpeg-gray.jpg", "png-gray8.png", "png-gray16.png", "tiff-gray.tif",
                           "tiff-gray16.tif", "jpeg2000-gray.jp2"}) {
    const PixelBuffer image = shown(name);
    ASSERT_EQ(image.layout, PixelLayout::Gray) << name;
    expectQuarters(image, 6, test::grayQuarters());
  }
}

TEST_F(PictureDecoderTest, readsGrayOfFewBits) {
  // Each quarter's gray is at most one step of four, or sixteen, away.
  for (const auto& [name, step] : {std::pair("png-gray2.png", 85), std::pair("png-gray4.png", 17)}) {
    const PixelBuffer image = shown(name);
    ASSERT_EQ(image.layout, PixelLayout::Gray) << name;
    expectQuarters(image, step, test::grayQuarters());
  }
  EXPECT_EQ(shown("png-gray1.png").layout, PixelLayout::Gray);
}

TEST_F(PictureDecoderTest, flattensAlphaOnWhite) {
  Quarters wanted;
  wanted.topRight = {255, 255, 255};
  for (const char* name :
       {"png-alpha.png", "png-alpha16.png", "tiff-alpha.tif", "gif-transparent.gif", "webp-alpha.webp"})
    expectQuarters(shown(name), 8, wanted);
  wanted = test::grayQuarters();
  wanted.topRight = {255, 255, 255};
  expectQuarters(shown("png-gray-alpha.png"), 8, wanted);
}

TEST_F(PictureDecoderTest, convertsCmykToColors) {
  // Red must be mostly red, and so on; the profile determines the exact color.
  for (const char* name : {"jpeg-cmyk.jpg", "tiff-cmyk.tif", "tiff-cmyk16.tif", "psd-cmyk.psd"})
    expectQuarters(shown(name), 85);
}

TEST_F(PictureDecoderTest, convertsTheCmykOfAPsdLikeThatOfATiff) {
  const PixelBuffer tiff = shown("tiff-cmyk.tif");
  ASSERT_EQ(tiff.layout, PixelLayout::Rgb);
  Quarters same;
  same.topLeft = test::colorAt(tiff, 24, 16);
  same.topRight = test::colorAt(tiff, 72, 16);
  same.bottomLeft = test::colorAt(tiff, 24, 48);
  same.bottomRight = test::colorAt(tiff, 72, 48);
  for (const char* name : {"psd-cmyk.psd", "psd-cmyk8-plain.psd", "psd-cmyk8-packed.psd",
                           "psd-cmyk16-plain.psd", "psd-cmyk16-packed.psd"}) {
    const PixelBuffer image = shown(name);
    ASSERT_EQ(image.layout, PixelLayout::Rgb) << name;
    EXPECT_EQ(image.width, 96U);
    EXPECT_EQ(image.height, 64U);
    expectQuarters(image, 3, same);
  }
}

// ImageMagick gives gray as three equal channels, with a profile for one.
TEST_F(PictureDecoderTest, readsAGrayPsdAsGrayWhenItsProfileIs) {
  expectQuarters(shown("psd-gray.psd"), 6, test::grayQuarters());
  const PixelBuffer image = shown("psd-gray-profile.psd");
  EXPECT_EQ(image.layout, PixelLayout::Gray);
  ASSERT_GE(image.iccProfile.size(), 20U);
  EXPECT_EQ(std::string(image.iccProfile.begin() + 16, image.iccProfile.begin() + 20), "GRAY");
  expectQuarters(image, 6, test::grayQuarters());
}

TEST_F(PictureDecoderTest, convertsLabToColors) {
  expectQuarters(shown("tiff-lab.tif"), 32);
  expectQuarters(shown("psd-lab.psd"), 12);
}

TEST_F(PictureDecoderTest, developsRawAsTheSensorSawIt) {
  for (const char* name : {"raw-orientation-1.dng", "raw-orientation-6.dng"}) {
    const PixelBuffer image = shown(name);
    ASSERT_EQ(image.width, 96U) << name;
    expectQuarters(image, 35);
  }
}

TEST_F(PictureDecoderTest, doesNotTakeAFilmScanForARawFile) {
  const PixelBuffer image = shown("tiff-scan-of-a-camera-maker.tif");
  ASSERT_EQ(image.layout, PixelLayout::Gray);
  const auto mean = [](int r, int g, int b) {
    return test::Color{(r + g + b) / 3, (r + g + b) / 3, (r + g + b) / 3};
  };
  expectQuarters(image, 4, {mean(220, 30, 30), mean(30, 180, 40), mean(40, 60, 200), mean(240, 220, 60)});
}

TEST_F(PictureDecoderTest, doesNotTakeA16BitScanForARawFile) {
  const PixelBuffer image = shown("tiff-scan-of-16-bits.tif");
  ASSERT_EQ(image.layout, PixelLayout::Gray);
  const PixelBuffer plain = shown("tiff-gray16.tif");
  EXPECT_EQ(image.pixels, plain.pixels);
}

TEST_F(PictureDecoderTest, keepsTheColorProfile) {
  for (const char* name : {"jpeg-profile.jpg", "png-profile.png", "tiff-profile.tif", "heic-turned.heic"})
    EXPECT_EQ(shown(name).iccProfile, fixtureBytes("test.icc")) << name;
}

// A decoder with several threads may lose a tile.
TEST_F(PictureDecoderTest, findsEveryTileEveryTime) {
  for (int i = 0; i < 10; ++i) {
    const auto image = decoder.pixelsOf(openRegularFile(fixture("heic-grid.heic")));
    ASSERT_TRUE(image);
    expectQuarters(*image, 8);
  }
}

TEST_F(PictureDecoderTest, givesPixelsWithTheirAlpha) {
  const auto image = decoder.pixelsOf(openRegularFile(fixture("png-alpha.png")));
  ASSERT_TRUE(image);
  ASSERT_EQ(image->layout, PixelLayout::Rgba);
  EXPECT_EQ(image->pixel(70, 10)[3], 0);
  EXPECT_EQ(image->pixel(10, 10)[3], 255);
  const auto jpeg = decoder.pixelsOf(openRegularFile(fixture("jpeg-444.jpg")));
  ASSERT_TRUE(jpeg);
  expectQuarters(*jpeg, 6);
}

TEST_F(PictureDecoderTest, hasNothingForBrokenFiles) {
  for (const auto& entry : std::filesystem::directory_iterator(FIXTURES)) {
    const std::string name = entry.path().filename();
    if (name.starts_with("broken-")) expectNothing(name);
  }
}

TEST_F(PictureDecoderTest, hasNothingForBombs) {
  int bombs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(FIXTURES)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with("bomb-") || name == "bomb-png-long.png") continue;
    expectNothing(name);
    ++bombs;
  }
  EXPECT_GE(bombs, 9);
}

TEST_F(PictureDecoderTest, makesNoJpegOfAPictureThatIsTooLong) {
  EXPECT_FALSE(decoder.jpegOf(openRegularFile(fixture("bomb-png-long.png"))));
}

TEST_F(PictureDecoderTest, makesPreviewsOfEveryFormatInOneSize) {
  for (const char* name : {"jpeg-420.jpg", "png-rgb.png", "tiff-plain.tif", "heic.heic", "psd-rgb.psd"}) {
    const auto jpeg = decoder.previewOf(openRegularFile(fixture(name)), 48, 0);
    ASSERT_TRUE(jpeg) << name;
    const PixelBuffer image = pixelsOfJpeg(*jpeg).image;
    EXPECT_EQ(image.width, 48U) << name;
    EXPECT_EQ(image.height, 32U) << name;
    expectQuarters(image, 12);
  }
}

TEST_F(PictureDecoderTest, turnsPreviewsClockwise) {
  const Quarters stored;
  const auto preview = [&](int degrees) {
    return pixelsOfJpeg(*decoder.previewOf(openRegularFile(fixture("png-rgb.png")), 1000, degrees)).image;
  };
  const PixelBuffer right = preview(90);
  EXPECT_EQ(right.width, 64U);
  EXPECT_EQ(right.height, 96U);
  expectQuarters(right, 8, {stored.bottomLeft, stored.topLeft, stored.bottomRight, stored.topRight});
  expectQuarters(preview(180), 8, {stored.bottomRight, stored.bottomLeft, stored.topRight, stored.topLeft});
  expectQuarters(preview(270), 8, {stored.topRight, stored.bottomRight, stored.topLeft, stored.bottomLeft});
}

TEST_F(PictureDecoderTest, makesPreviewsOfRawFilesWithTheirProfile) {
  const auto raw = decoder.previewOf(openRegularFile(fixture("raw-orientation-6.dng")), 32, 0);
  ASSERT_TRUE(raw);
  const PixelBuffer image = pixelsOfJpeg(*raw).image;
  EXPECT_EQ(std::max(image.width, image.height), 32U);
  expectQuarters(image, 35);
}

TEST_F(PictureDecoderTest, makesPreviewsOfJpegsWithoutItsHelper) {
  PictureDecoder alone(processes, "/not/there");
  const auto jpeg = alone.previewOf(openRegularFile(fixture("jpeg-420.jpg")), 48, 90);
  ASSERT_TRUE(jpeg);
  EXPECT_EQ(pixelsOfJpeg(*jpeg).image.height, 48U);
  EXPECT_FALSE(alone.previewOf(openRegularFile(fixture("png-rgb.png")), 48, 0));
  EXPECT_FALSE(alone.previewOf(openRegularFile(fixture("broken-jpeg-half.jpg")), 48, 0));
}

TEST_F(PictureDecoderTest, hasNoPreviewOfBrokenFilesAndBombs) {
  for (const auto& file : std::filesystem::directory_iterator(FIXTURES)) {
    const std::string name = file.path().filename();
    const bool isBomb = name.starts_with("bomb-") && name != "bomb-png-long.png";
    if (!isBomb && !name.starts_with("broken-")) continue;
    EXPECT_FALSE(decoder.previewOf(openRegularFile(fixture(name)), 64, 0)) << name;
  }
}

TEST_F(PictureDecoderTest, leavesNothingInTheTemporaryFolder) {
  const TemporaryFolder temporary;
  const char* before = std::getenv("TMPDIR");
  const std::string was = before ? before : "";
  setenv("TMPDIR", temporary.path().c_str(), 1);
  shown("psd-rgb.psd");
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
  if (before) {
    setenv("TMPDIR", was.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
}

// ---- without the real helper ----

class FakeHelper : public testing::Test {
 protected:
  std::optional<Bytes> jpegFrom(FakeProcessRunner& runner, const char* name) {
    PictureDecoder decoder(runner, "/helper");
    return decoder.jpegOf(openRegularFile(fixture(name)));
  }
};

const std::string kAnswer = "MXB1" + std::string(16, '\0') + "JPEG";

TEST_F(FakeHelper, isUsedOnlyForFilesThatAreNotJpegs) {
  FakeProcessRunner runner;
  EXPECT_TRUE(jpegFrom(runner, "jpeg-420.jpg"));
  EXPECT_FALSE(jpegFrom(runner, "no-picture.txt"));
  EXPECT_FALSE(jpegFrom(runner, "no-picture-empty.jpg"));
  EXPECT_FALSE(jpegFrom(runner, "no-picture-movie.mov"));
  EXPECT_FALSE(jpegFrom(runner, "broken-jpeg-half.jpg"));
  EXPECT_TRUE(runner.requests().empty());
}

TEST_F(FakeHelper, getsTheFormTheFileAndAnEmptyFolder) {
  FakeProcessRunner runner([](const ProcessRequest& request) {
    EXPECT_EQ(request.arguments.size(), 2U);
    EXPECT_TRUE(std::filesystem::is_empty(request.arguments[1]));
    const std::string input = "/proc/self/fd/" + std::to_string(request.inputDescriptor);
    EXPECT_EQ(std::filesystem::read_symlink(input), fixture("png-rgb.png"));
    return FakeProcessRunner::printing(kAnswer);
  });
  const auto jpeg = jpegFrom(runner, "png-rgb.png");
  ASSERT_TRUE(jpeg);
  EXPECT_EQ(std::string(jpeg->begin(), jpeg->end()), "JPEG");
  const ProcessRequest& request = runner.requests().at(0);
  EXPECT_EQ(request.program, "/helper");
  EXPECT_EQ(request.arguments[0], "jpeg");
  EXPECT_EQ(request.timeout, PictureDecoder::kDecodingTime);
  EXPECT_FALSE(std::filesystem::exists(request.arguments[1]));
}

TEST_F(FakeHelper, isIgnoredWhenItFails) {
  FakeProcessRunner failing([](const ProcessRequest&) { return FakeProcessRunner::printing(kAnswer, 1); });
  EXPECT_FALSE(jpegFrom(failing, "png-rgb.png"));
  FakeProcessRunner crashing([](const ProcessRequest&) {
    return ProcessResult{ProcessResult::Ending::Killed, -1, kAnswer, {}};
  });
  EXPECT_FALSE(jpegFrom(crashing, "png-rgb.png"));
  FakeProcessRunner slow([](const ProcessRequest&) {
    return ProcessResult{ProcessResult::Ending::TimedOut, -1, kAnswer, {}};
  });
  EXPECT_FALSE(jpegFrom(slow, "png-rgb.png"));
  FakeProcessRunner babbling([](const ProcessRequest&) { return FakeProcessRunner::printing("hello"); });
  EXPECT_FALSE(jpegFrom(babbling, "png-rgb.png"));
}

TEST_F(FakeHelper, isLoggedWhenItIsMissing) {
  SystemLogCapture log;
  FakeProcessRunner runner([](const ProcessRequest&) {
    return ProcessResult{ProcessResult::Ending::NotStarted, -1, {}, "not there"};
  });
  EXPECT_FALSE(jpegFrom(runner, "png-rgb.png"));
  EXPECT_TRUE(log.contains("could not start '/helper': not there"));
}

// ---- with programs that are no decoders ----

class MisbehavingHelper : public testing::Test {
 protected:
  // Runs programs with a short time limit.
  class Impatient final : public ProcessRunner {
   public:
    ProcessResult run(const ProcessRequest& request) override {
      ProcessRequest hurried = request;
      hurried.timeout = std::chrono::milliseconds(500);
      scratch = request.arguments.at(1);
      return result = processes.run(hurried);
    }
    SystemProcessRunner processes;
    std::string scratch;
    ProcessResult result;
  };

  ProcessResult::Ending endingOf(const std::string& script) {
    const std::filesystem::path helper = folder.path() / "helper";
    std::ofstream(helper) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(helper, std::filesystem::perms::owner_all);
    PictureDecoder decoder(runner, helper);
    EXPECT_FALSE(decoder.jpegOf(openRegularFile(fixture("png-rgb.png"))));
    EXPECT_FALSE(decoder.pixelsOf(openRegularFile(fixture("png-rgb.png"))));
    EXPECT_FALSE(std::filesystem::exists(runner.scratch)) << "what a decoder left behind is removed";
    return runner.result.ending;
  }

  TemporaryFolder folder;
  Impatient runner;
};

TEST_F(MisbehavingHelper, isKilledWhenItHangs) {
  EXPECT_EQ(endingOf("touch \"$2/left\"; exec sleep 1000"), ProcessResult::Ending::TimedOut);
}

TEST_F(MisbehavingHelper, isKilledWhenItHangsDuringItsOutput) {
  EXPECT_EQ(endingOf("printf MXB1; touch \"$2/left\"; exec sleep 1000"), ProcessResult::Ending::TimedOut);
}

TEST_F(MisbehavingHelper, mayCrash) {
  EXPECT_EQ(endingOf("printf MXB1; kill -SEGV $$"), ProcessResult::Ending::Killed);
}

TEST(PictureKind, isRecognizedByTheFirstBytes) {
  const auto kind = [](const char* name) { return kindOfPicture(fixtureBytes(name)); };
  EXPECT_EQ(kind("jpeg-420.jpg"), PictureKind::Jpeg);
  EXPECT_EQ(kind("bmp-24.bmp"), PictureKind::Bmp);
  EXPECT_EQ(kind("no-picture.txt"), PictureKind::None);
  EXPECT_EQ(kind("no-picture-movie.mov"), PictureKind::None);
  EXPECT_EQ(kind("heic.heic"), PictureKind::Heif);
  EXPECT_EQ(kindOfPicture({}), PictureKind::None);
}

}  // namespace
}  // namespace moxtel
