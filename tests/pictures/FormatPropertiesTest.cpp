#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

// ---- Photoshop ----

TEST(PhotoshopProperties, includeLayersResolutionAndBlocks) {
  const auto layer = [](const std::string& name, const std::string& blocks = {}) {
    const std::string extra =
        big(0, 4) + big(0, 4) + big(name.size(), 1) + name + std::string(3 - name.size() % 4, '\0') + blocks;
    return big(0, 8) + big(0, 8) + big(1, 2) + big(0, 6) + "8BIMnorm" + big(0, 4) + big(extra.size(), 4) +
           extra;
  };
  const std::string unicode = "8BIMlyid" + big(4, 4) + big(7, 4) + "8BIMluni" + big(12, 4) + big(4, 4) +
                              std::string("\0H\0\xF6\0h\0e", 8);
  const std::string layers =
      big(static_cast<std::uint16_t>(-2), 2) + layer("ground") + layer("Hohe", unicode);
  Directory main;
  main.shorts(0x0112, {3});
  const std::string resources =
      resource(0x0422, tiff(main)) + resource(0x0404, iimSet(2, 90, "Ulm")) +
      resource(0x03ED, big(300 << 16, 4) + big(1, 2) + big(1, 2) + big(150 << 16, 4) + big(1, 2) + big(1, 2));
  const std::string file = "8BPS" + big(1, 2) + big(0, 6) + big(3, 2) + big(20, 4) + big(40, 4) + big(8, 2) +
                           big(3, 2) + big(0, 4) + big(resources.size(), 4) + resources +
                           big(layers.size() + 4, 4) + big(layers.size(), 4) + layers;
  const Dictionary wanted{{"PixelWidth", 40},
                          {"PixelHeight", 20},
                          {"Depth", 8},
                          {"ColorModel", "RGB"},
                          {"Orientation", 3},
                          {"DPIWidth", 300.0},
                          {"DPIHeight", 150.0},
                          {"{TIFF}", Dictionary{{"Orientation", 3}}},
                          {"{IPTC}", Dictionary{{"City", "Ulm"}}},
                          {"{8BIM}", Dictionary{{"Version", 1}, {"LayerNames", Array{"ground", "Höhe"}}}}};
  EXPECT_TRUE(same(propertiesOf(file), wanted));
}

// ---- GIF ----

std::string gif(int delay, bool transparent, const std::string& before = {}) {
  return "GIF89a" + little(22, 2) + little(11, 2) + std::string("\x80\0\0", 3) + std::string(6, '\0') +
         before + "\x21\xF9\x04" + big(transparent ? 1 : 0, 1) + little(delay, 2) + std::string(2, '\0') +
         "," + std::string(8, '\0') + ";";
}

TEST(GifProperties, makeShortDelaysLonger) {
  EXPECT_TRUE(same(propertiesOf(gif(5, true)),
                   Dictionary{{"PixelWidth", 22},
                              {"PixelHeight", 11},
                              {"Depth", 8},
                              {"ColorModel", "RGB"},
                              {"HasAlpha", true},
                              {"{GIF}", Dictionary{{"DelayTime", 0.1}, {"UnclampedDelayTime", 0.05}}}}));
  EXPECT_EQ(propertiesOf(gif(6, false))["{GIF}"]["DelayTime"], Value(0.06));
  EXPECT_TRUE(propertiesOf(gif(6, false))["HasAlpha"].isNil());
}

TEST(GifProperties, passOverOtherExtensions) {
  const std::string comment = std::string(
                                  "\x21\xFE\x03"
                                  "abc\x02xy",
                                  9) +
                              std::string(1, '\0');
  EXPECT_EQ(propertiesOf(gif(10, false, comment))["{GIF}"]["DelayTime"], Value(0.1));
}

// ---- WebP ----

TEST(WebpProperties, includeTheTimingOfAnAnimation) {
  const auto block = [](const std::string& type, const std::string& data) {
    return type + little(data.size(), 4) + data + std::string(data.size() % 2, '\0');
  };
  const auto shown = [&](int milliseconds) {
    return block("ANMF", little(0, 12) + little(static_cast<std::uint64_t>(milliseconds), 3) + little(0, 1) +
                             "VP8 ...");
  };
  const auto webp = [&](const std::string& frames) {
    const std::string body = "WEBP" + block("VP8X", little(2, 4) + little(39, 3) + little(19, 3)) +
                             block("ANIM", little(0, 4) + little(3, 2)) + frames;
    return propertiesOf("RIFF" + little(body.size(), 4) + body);
  };
  EXPECT_TRUE(
      same(webp(shown(250) + shown(9)),
           Dictionary{
               {"PixelWidth", 40},
               {"PixelHeight", 20},
               {"Depth", 8},
               {"ColorModel", "RGB"},
               {"{WebP}", Dictionary{{"LoopCount", 3}, {"DelayTime", 0.25}, {"UnclampedDelayTime", 0.25}}}}));
  EXPECT_EQ(webp(shown(20))["{WebP}"]["DelayTime"], Value(0.1));
}

// ---- Windows bitmaps ----

TEST(BitmapProperties, includeDotsPerInch) {
  const auto bitmap = [](std::uint32_t dots) {
    return propertiesOf("BM" + little(0, 12) + little(40, 4) + little(40, 4) +
                        little(static_cast<std::uint32_t>(-20), 4) + little(1, 2) + little(24, 2) +
                        little(0, 8) + little(dots, 4) + little(dots, 4) + little(0, 8));
  };
  EXPECT_EQ(bitmap(2835)["PixelHeight"], Value(20));
  EXPECT_EQ(bitmap(2835)["DPIWidth"], Value(72.0));
  EXPECT_TRUE(bitmap(0)["DPIHeight"].isNil());
}

// ---- HEIC ----

std::string box(const std::string& type, const std::string& contents) {
  return big(8 + contents.size(), 4) + type + contents;
}

std::string fullBox(const std::string& type, int version, const std::string& contents) {
  return box(type, big(static_cast<std::uint64_t>(version), 1) + big(0, 3) + contents);
}

// An item that holds metadata of item 1, and how often the file says so.
struct HeicExif {
  std::string data;
  int times;
};

std::string heicWith(const std::vector<HeicExif>& exifs) {
  const std::string start = box("ftyp", "heic" + big(0, 4) + "mif1heic");
  const auto withDataAt = [&](std::size_t place) {
    std::string items = fullBox("infe", 2, big(1, 2) + big(0, 2) + "hvc1");
    std::string places, references, data;
    for (std::size_t i = 0; i < exifs.size(); ++i) {
      const std::string id = big(i + 2, 2);
      items += fullBox("infe", 2, id + big(0, 2) + "Exif");
      places += id + big(0, 2) + big(1, 2) + big(place + data.size(), 4) + big(exifs[i].data.size(), 4);
      for (int time = 0; time < exifs[i].times; ++time) references += box("cdsc", id + big(1, 2) + big(1, 2));
      data += exifs[i].data;
    }
    const std::string size = box("ipco", fullBox("ispe", 0, big(40, 4) + big(20, 4)));
    const std::string meta =
        fullBox("meta", 0,
                fullBox("pitm", 0, big(1, 2)) + fullBox("iinf", 0, big(exifs.size() + 1, 2) + items) +
                    fullBox("iloc", 0, big(0x4400, 2) + big(exifs.size(), 2) + places) +
                    box("iprp", size + fullBox("ipma", 0, big(1, 4) + big(1, 2) + big(1, 1) + big(1, 1))) +
                    fullBox("iref", 0, references));
    return start + meta + box("mdat", data);
  };
  std::size_t dataSize = 0;
  for (const HeicExif& exif : exifs) dataSize += exif.data.size();
  return withDataAt(withDataAt(0).size() - dataSize);
}

std::string exifWithArtist(const std::string& artist) {
  Directory main;
  main.text(0x013B, artist);
  return big(0, 4) + tiff(main);
}

TEST(HeicProperties, comeFromTheItemThatDescribesThePicture) {
  const Value all = propertiesOf(heicWith({{exifWithArtist("Erika"), 1}}));
  EXPECT_EQ(all["PixelWidth"], Value(40));
  EXPECT_EQ(all["{TIFF}"]["Artist"], Value("Erika"));
}

// Reading the first item as often as the file names it would use up all that may be read of a file.
TEST(HeicProperties, readAnItemOnceHoweverOftenItIsNamed) {
  const std::string broken(std::size_t{1} << 20, '\xFF');
  const Value all = propertiesOf(heicWith({{broken, 200}, {exifWithArtist("Erika"), 1}}));
  EXPECT_EQ(all["PixelWidth"], Value(40));
  EXPECT_EQ(all["{TIFF}"]["Artist"], Value("Erika"));
}

}  // namespace
}  // namespace moxtel::test
