// JPEG: markers and segments up to the first scan (ITU-T T.81, annex B; JFIF 1.02; Exif 2.3).
#include <map>

#include "pictures/properties/PhotoshopResources.h"
#include "pictures/properties/PictureFacts.h"

namespace moxtel::properties {
namespace {

using std::string_view_literals::operator""sv;

constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kEndOfImage = 0xD9;
constexpr std::size_t kMostBlockBytes = std::size_t{16} << 20;  // of the blocks that come in several segments

bool isFrame(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}
bool isProgressive(std::uint8_t marker) {
  return marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE;
}
bool standsAlone(std::uint8_t marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }

std::string_view modelOf(std::uint8_t components) {
  if (components == 4) return color_model::kCmyk;
  return components >= 3 ? color_model::kRgb : color_model::kGray;
}

// Collects facts from the segments, one after the other.
class Segments final {
 public:
  void take(std::uint8_t marker, FileBytes data);
  std::optional<PictureFacts> finish();

 private:
  void takeFrame(std::uint8_t marker, FileBytes data);
  void takeJfif(FileBytes data);
  void takeProfilePart(FileBytes data);

  PictureFacts facts_;
  std::map<std::uint8_t, Bytes> profile_;  // by sequence number: they may come in any order
  Bytes resources_;
  std::size_t gathered_ = 0;
  bool progressive_ = false;
};

// Whether the data begin with the text; rest is what follows it.
bool beginsWith(FileBytes data, std::string_view name, FileBytes& rest) {
  if (!textOf(data).starts_with(name)) return false;
  rest = data.subspan(name.size());
  return true;
}

void Segments::take(std::uint8_t marker, FileBytes data) {
  FileBytes rest;
  if (isFrame(marker)) takeFrame(marker, data);
  if (marker == 0xE0 && beginsWith(data, "JFIF\0"sv, rest)) takeJfif(rest);
  if (marker == 0xE1 && facts_.exif.empty() && beginsWith(data, "Exif\0"sv, rest) && !rest.empty())
    facts_.exif = copyOf(rest.subspan(1));
  if (marker == 0xE1 && facts_.xmp.empty() && beginsWith(data, "http://ns.adobe.com/xap/1.0/\0"sv, rest))
    facts_.xmp = textOf(rest);
  if (gathered_ + data.size() > kMostBlockBytes) return;
  if (marker == 0xE2 && beginsWith(data, "ICC_PROFILE\0"sv, rest)) takeProfilePart(rest);
  if (marker == 0xED && beginsWith(data, "Photoshop 3.0\0"sv, rest)) {
    resources_.insert(resources_.end(), rest.begin(), rest.end());
    gathered_ += rest.size();
  }
}

void Segments::takeFrame(std::uint8_t marker, FileBytes data) {
  if (facts_.width != 0 || data.size() < 6) return;
  facts_.depth = data[0];
  facts_.height = bigEndian(data.subspan(1, 2));
  facts_.width = bigEndian(data.subspan(3, 2));
  facts_.colorModel = modelOf(data[5]);
  progressive_ = isProgressive(marker);
}

void Segments::takeJfif(FileBytes data) {
  if (!facts_.jfif.empty() || data.size() < 7) return;
  Array version{data[0], data[1] / 10};
  if (data[1] % 10 != 0) version.append(data[1] % 10);
  const std::uint8_t unit = data[2];
  const std::uint32_t x = bigEndian(data.subspan(3, 2));
  const std::uint32_t y = bigEndian(data.subspan(5, 2));
  facts_.jfif = Dictionary{{"JFIFVersion", version}, {"DensityUnit", unit}, {"XDensity", x}, {"YDensity", y}};
  if (unit != 1 && unit != 2) return;
  const double perInch = unit == 2 ? 2.54 : 1.0;
  facts_.resolution = Resolution{x * perInch, y * perInch};
}

void Segments::takeProfilePart(FileBytes data) {
  if (data.size() < 2) return;
  gathered_ += data.size();
  profile_.try_emplace(data[0], copyOf(data.subspan(2)));
}

std::optional<PictureFacts> Segments::finish() {
  if (facts_.width == 0 || facts_.height == 0) return std::nullopt;
  for (const auto& [number, part] : profile_) facts_.icc.insert(facts_.icc.end(), part.begin(), part.end());
  // Other resources apply only to a PSD.
  PictureFacts embedded;
  takeResources(resources_, embedded);
  facts_.iim = std::move(embedded.iim);
  if (progressive_) facts_.jfif.set("IsProgressive", true);
  return std::move(facts_);
}

}  // namespace

std::optional<PictureFacts> jpegFacts(ByteSource& file) {
  Segments segments;
  std::uint64_t place = 2;
  while (const auto first = file.byteAt(place)) {
    const auto marker = *first == 0xFF ? file.byteAt(place + 1) : std::nullopt;
    // Skips bytes between segments, as all decoders do; 0xFF before a marker is padding.
    if (!marker || *marker == 0 || *marker == 0xFF) {
      ++place;
      continue;
    }
    if (*marker == kStartOfScan || *marker == kEndOfImage) break;
    place += 2;
    if (standsAlone(*marker)) continue;
    const auto length = file.shortAt(place);
    if (!length || *length < 2) break;
    if (*length > 2) {
      const FileBytes data = file.at(place + 2, *length - 2U);
      if (data.empty()) break;
      segments.take(*marker, data);
    }
    place += *length;
  }
  return segments.finish();
}

}  // namespace moxtel::properties
