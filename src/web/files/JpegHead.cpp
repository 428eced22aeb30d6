#include "web/files/JpegHead.h"

#include <string_view>

namespace moxtel {
namespace {

using properties::ByteSource;
using properties::FileBytes;
using std::string_view_literals::operator""sv;

constexpr std::string_view kExifName = "Exif\0\0"sv;
constexpr std::size_t kMostSegments = 4096;
constexpr std::size_t kMostExifSegments = 64;
constexpr std::size_t kEntrySize = 12;  // of a TIFF directory
constexpr std::uint16_t kOrientationTag = 0x0112;
constexpr std::uint16_t kShort = 3;

constexpr std::uint8_t kExifMarker = 0xE1;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kEndOfImage = 0xD9;

bool isFrame(std::uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}
bool standsAlone(std::uint8_t marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }

std::uint32_t number(FileBytes bytes, bool littleEndian) {
  return littleEndian ? properties::littleEndian(bytes) : properties::bigEndian(bytes);
}

// Where in the TIFF structure the only orientation is, as one SHORT; nothing otherwise.
std::optional<std::size_t> orientationPlace(FileBytes tiff, bool littleEndian) {
  const std::size_t directory = number(tiff.subspan(4, 4), littleEndian);
  if (directory > tiff.size() || tiff.size() - directory < 2) return std::nullopt;
  const std::size_t count = number(tiff.subspan(directory, 2), littleEndian);
  std::optional<std::size_t> place;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = directory + 2 + i * kEntrySize;
    if (tiff.size() < entry + kEntrySize) return std::nullopt;
    if (number(tiff.subspan(entry, 2), littleEndian) != kOrientationTag) continue;
    const bool isShort = number(tiff.subspan(entry + 2, 2), littleEndian) == kShort &&
                         number(tiff.subspan(entry + 4, 4), littleEndian) == 1;
    if (place || !isShort) return std::nullopt;
    place = entry + 8;
  }
  return place;
}

// A segment of 36 bytes, marker and length included: a big-endian TIFF structure with this tag alone.
std::string ownExif(int orientation) {
  std::string segment("\xFF\xE1\x00\x22"sv);
  segment += kExifName;
  segment += "MM\x00\x2A\x00\x00\x00\x08\x00\x01\x01\x12\x00\x03\x00\x00\x00\x01\x00"sv;
  segment += static_cast<char>(orientation);
  segment += "\x00\x00\x00\x00\x00\x00"sv;
  return segment;
}

bool append(ByteSource& file, std::uint64_t offset, std::uint64_t end, std::string& out) {
  const FileBytes bytes = file.at(offset, end - offset);
  if (bytes.size() != end - offset) return false;
  out += properties::textOf(bytes);
  return true;
}

}  // namespace

std::optional<JpegHead> JpegHead::of(ByteSource& file) {
  if (file.shortAt(0) != 0xFFD8) return std::nullopt;
  JpegHead head;
  std::uint64_t offset = 2;
  for (std::size_t i = 0; i < kMostSegments; ++i) {
    const auto start = file.shortAt(offset);
    if (!start || *start < 0xFF00) break;
    const auto marker = static_cast<std::uint8_t>(*start & 0xFF);
    if (marker == 0xFF) {
      ++offset;  // padding
      continue;
    }
    if (marker == kStartOfScan || marker == kEndOfImage) break;
    if (standsAlone(marker)) {
      offset += 2;
      continue;
    }
    const auto length = file.shortAt(offset + 2);
    if (!length || *length < 2 || file.size() - offset < 2u + *length) break;
    head.readSegment(file, marker, {offset, offset + 2 + *length});
    offset += 2u + *length;
  }
  if (head.width_ == 0 || head.height_ == 0) return std::nullopt;
  return head;
}

void JpegHead::readSegment(ByteSource& file, std::uint8_t marker, Piece segment) {
  const std::uint64_t data = segment.offset + 4;
  const std::uint64_t size = segment.end - data;
  if (isFrame(marker) && width_ == 0 && size >= 6) {
    const FileBytes frame = file.at(data, 6);
    if (frame.size() != 6) return;
    height_ = properties::bigEndian(frame.subspan(1, 2));
    width_ = properties::bigEndian(frame.subspan(3, 2));
    components_ = frame[5];
  }
  if (marker != kExifMarker || size < kExifName.size()) return;
  if (!properties::textOf(file.at(data, kExifName.size())).starts_with("Exif\0"sv)) return;
  if (exif_.empty()) readExif(file.at(data, size), data);
  if (exif_.size() < kMostExifSegments) exif_.push_back(segment);
}

void JpegHead::readExif(FileBytes segment, std::uint64_t offset) {
  if (segment.size() < kExifName.size() + 8) return;
  const FileBytes tiff = segment.subspan(kExifName.size());
  const std::string_view order = properties::textOf(tiff.first(2));
  if (order != "II" && order != "MM") return;
  const auto place = orientationPlace(tiff, order == "II");
  if (!place) return;
  tag_ = Tag{offset + kExifName.size() + *place, order == "II"};
  const auto value = number(tiff.subspan(*place, 2), order == "II");
  if (value >= 1 && value <= 8) orientation_ = static_cast<int>(value);
}

// The first Exif segment, with the tag.
std::string JpegHead::firstExif(ByteSource& file, int orientation) const {
  std::string segment;
  if (!tag_ || !append(file, exif_.front().offset, exif_.front().end, segment)) return ownExif(orientation);
  const std::size_t place = tag_->place - exif_.front().offset;
  segment[place + (tag_->littleEndian ? 0 : 1)] = static_cast<char>(orientation);
  segment[place + (tag_->littleEndian ? 1 : 0)] = 0;
  return segment;
}

std::optional<JpegHead::Turned> JpegHead::turned(ByteSource& file, int orientation) const {
  if (exif_.empty()) return Turned{"\xFF\xD8" + ownExif(orientation), 2};
  if (exif_.back().end > kLongestHead || exif_.size() == kMostExifSegments) return std::nullopt;
  Turned turned;
  for (const Piece& segment : exif_) {
    if (!append(file, turned.rest, segment.offset, turned.start)) return std::nullopt;
    if (&segment == &exif_.front()) turned.start += firstExif(file, orientation);
    turned.rest = segment.end;
  }
  return turned;
}

int orientationOfDegrees(int degrees) {
  switch ((degrees % 360 + 360) % 360) {
    case 90:
      return 6;
    case 180:
      return 3;
    case 270:
      return 8;
    default:
      return 1;
  }
}

}  // namespace moxtel
