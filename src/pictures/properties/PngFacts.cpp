// PNG: its chunks (PNG 1.2, the eXIf extension 1.5.0, and APNG 1.0).
#include <zlib.h>

#include <algorithm>

#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

constexpr double kHundredThousandth = 0.00001;
constexpr std::size_t kLongestUnpacked = std::size_t{8} << 20;
constexpr std::string_view kXmpKeyword = "XML:com.adobe.xmp";
constexpr std::string_view kTextKeys[] = {"Title",         "Author",   "Description", "Copyright",
                                          "Creation Time", "Software", "Disclaimer",  "Warning",
                                          "Source",        "Comment"};

// Decompresses up to the first damage.
std::string unpacked(FileBytes packed) {
  std::string out;
  z_stream stream = {};
  if (packed.empty() || inflateInit(&stream) != Z_OK) return out;
  stream.next_in = const_cast<Bytef*>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  int state = Z_OK;
  while (state == Z_OK && out.size() < kLongestUnpacked) {
    char piece[16384];
    stream.next_out = reinterpret_cast<Bytef*>(piece);
    stream.avail_out = sizeof piece;
    state = inflate(&stream, Z_NO_FLUSH);
    out.append(piece, sizeof piece - stream.avail_out);
  }
  inflateEnd(&stream);
  return out;
}

// Removes the text up to the next NUL from the front; false if there is no NUL.
bool takeField(std::string_view& data, std::string_view& field) {
  const std::size_t end = data.find('\0');
  if (end == std::string_view::npos) return false;
  field = data.substr(0, end);
  data.remove_prefix(end + 1);
  return true;
}

class Chunks final {
 public:
  void take(std::string_view type, FileBytes data);
  std::optional<PictureFacts> finish();

 private:
  void takeHeader(FileBytes data);
  void takeChromaticities(FileBytes data);
  void takeResolution(FileBytes data);
  void takeFrame(FileBytes data);
  void takeProfile(std::string_view data);
  void takeText(std::string_view type, std::string_view data);
  void takeInternationalText(std::string_view data);
  bool isWanted(std::string_view keyword) const;
  void addText(std::string_view keyword, std::string text);

  PictureFacts facts_;
};

void Chunks::take(std::string_view type, FileBytes data) {
  if (type == "IHDR" && data.size() >= 13) takeHeader(data);
  if (type == "gAMA" && data.size() >= 4)
    facts_.png.set("Gamma", bigEndian(data.first(4)) * kHundredThousandth);
  if (type == "cHRM" && data.size() >= 32) takeChromaticities(data);
  if (type == "pHYs" && data.size() >= 9) takeResolution(data);
  if (type == "iCCP" && facts_.icc.empty()) takeProfile(textOf(data));
  if (type == "tEXt" || type == "zTXt") takeText(type, textOf(data));
  if (type == "iTXt") takeInternationalText(textOf(data));
  if (type == "eXIf" && facts_.exif.empty()) facts_.exif = copyOf(data);
  if (type == "acTL" && data.size() >= 8) facts_.png.set("LoopCount", bigEndian(data.subspan(4, 4)));
  if (type == "fcTL" && data.size() >= 26) takeFrame(data);
  if (type == "sRGB" && !data.empty()) {
    facts_.png.set("sRGBIntent", data[0]);
    facts_.isStandardRgb = true;
  }
}

void Chunks::takeHeader(FileBytes data) {
  if (facts_.width != 0) return;
  facts_.width = bigEndian(data.first(4));
  facts_.height = bigEndian(data.subspan(4, 4));
  facts_.depth = data[8];
  const std::uint8_t type = data[9];
  facts_.isIndexed = type == 3;
  facts_.hasAlpha = type == 4 || type == 6;
  facts_.colorModel = type == 0 || type == 4 ? color_model::kGray : color_model::kRgb;
  facts_.png.set("InterlaceType", data[12]);
}

void Chunks::takeChromaticities(FileBytes data) {
  Array values;
  for (std::size_t i = 0; i < 8; ++i) values.append(bigEndian(data.subspan(4 * i, 4)) * kHundredThousandth);
  facts_.png.set("Chromaticities", std::move(values));
}

void Chunks::takeResolution(FileBytes data) {
  const std::uint32_t x = bigEndian(data.first(4));
  const std::uint32_t y = bigEndian(data.subspan(4, 4));
  facts_.png.set("XPixelsPerMeter", x);
  facts_.png.set("YPixelsPerMeter", y);
  if (data[8] == 1) facts_.resolution = perMeter(x, y);
}

// The first frame's delay, as a fraction of seconds; a denominator of 0 means 100.
void Chunks::takeFrame(FileBytes data) {
  if (facts_.png.contains("DelayTime")) return;
  const std::uint32_t divisor = bigEndian(data.subspan(22, 2));
  const double seconds = bigEndian(data.subspan(20, 2)) / (divisor == 0 ? 100.0 : divisor);
  facts_.png.set("DelayTime", shownDelay(seconds));
  facts_.png.set("UnclampedDelayTime", seconds);
}

void Chunks::takeProfile(std::string_view data) {
  std::string_view name;
  if (!takeField(data, name) || data.empty()) return;
  facts_.icc = copyOf(bytesOf(unpacked(bytesOf(data.substr(1)))));
}

void Chunks::takeText(std::string_view type, std::string_view data) {
  std::string_view keyword;
  if (!takeField(data, keyword) || !isWanted(keyword)) return;
  if (type == "tEXt") addText(keyword, latin1(data));
  if (type == "zTXt" && !data.empty() && data[0] == 0)
    addText(keyword, latin1(unpacked(bytesOf(data.substr(1)))));
}

void Chunks::takeInternationalText(std::string_view data) {
  std::string_view keyword, language, translated;
  if (!takeField(data, keyword) || !isWanted(keyword) || data.size() < 2) return;
  const bool isPacked = data[0] == 1;
  data.remove_prefix(2);
  if (!takeField(data, language) || !takeField(data, translated)) return;
  addText(keyword, isPacked ? unpacked(bytesOf(data)) : std::string(data));
}

// Checked before a text is decompressed: a file may contain thousands of texts of a few KB that become
// megabytes each.
bool Chunks::isWanted(std::string_view keyword) const {
  if (keyword == kXmpKeyword) return facts_.xmp.empty();
  const bool isKey = std::find(std::begin(kTextKeys), std::end(kTextKeys), keyword) != std::end(kTextKeys);
  return isKey && !facts_.png.contains(keyword);
}

void Chunks::addText(std::string_view keyword, std::string text) {
  if (keyword == kXmpKeyword) {
    facts_.xmp = std::move(text);
  } else {
    facts_.png.set(keyword, utf8OrLatin1(untilNul(text)));
  }
}

std::optional<PictureFacts> Chunks::finish() {
  if (facts_.width == 0 || facts_.height == 0) return std::nullopt;
  return std::move(facts_);
}

}  // namespace

std::optional<PictureFacts> pngFacts(ByteSource& file) {
  Chunks chunks;
  std::uint64_t place = 8;
  while (true) {
    const FileBytes head = file.at(place, 8);
    if (head.empty()) break;
    const std::uint32_t length = bigEndian(head.first(4));
    const std::string type(textOf(head.subspan(4, 4)));
    if (type == "IEND") break;
    if (type != "IDAT") {
      const FileBytes data = file.at(place + 8, length);
      if (!data.empty()) chunks.take(type, data);
    }
    place += 12U + std::uint64_t{length};
  }
  return chunks.finish();
}

}  // namespace moxtel::properties
