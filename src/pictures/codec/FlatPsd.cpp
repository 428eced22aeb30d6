#include "pictures/codec/FlatPsd.h"

#include <algorithm>
#include <new>

#include "pictures/codec/PixelBuffer.h"
#include "pictures/properties/ByteSource.h"
#include "pictures/properties/PhotoshopResources.h"

namespace moxtel {
namespace {

using properties::bigEndian;
using properties::FileBytes;

constexpr std::size_t kHeaderSize = 26;
constexpr std::uint32_t kIndexedMode = 2;
constexpr std::uint32_t kInkMode = 4;
constexpr std::uint32_t kLabMode = 9;
constexpr std::size_t kPaletteSize = 768;  // all reds, all greens, all blues
constexpr std::uint32_t kPlain = 0;
constexpr std::uint32_t kPacked = 1;
// Two bytes of a packed row encode at most 128 bytes.
constexpr std::uint64_t kBestPacking = 64;

struct Header {
  std::uint32_t mode;
  std::size_t channels;
  std::uint32_t width, height;
  std::size_t sampleBytes;

  // The channels of the picture come first.
  std::size_t planes() const { return mode == kInkMode ? 4 : mode == kLabMode ? 3 : 1; }
  std::size_t rowBytes() const { return width * sampleBytes; }
  std::uint64_t planeBytes() const { return std::uint64_t{planes()} * height * rowBytes(); }
};

bool isReadable(const Header& header) {
  const bool isKnown = header.mode == kIndexedMode || header.mode == kInkMode || header.mode == kLabMode;
  const bool has8Bits = header.sampleBytes == 1;
  const bool has16Bits = header.sampleBytes == 2 && header.mode != kIndexedMode;
  return isKnown && (has8Bits || has16Bits) && header.channels >= header.planes() &&
         isDecodableSize(header.width, header.height);
}

std::optional<Header> headerOf(FileBytes file) {
  if (file.size() < kHeaderSize || !properties::textOf(file).starts_with("8BPS") ||
      bigEndian(file.subspan(4, 2)) != 1)
    return std::nullopt;
  const std::uint32_t bits = bigEndian(file.subspan(22, 2));
  const Header header{bigEndian(file.subspan(24, 2)), bigEndian(file.subspan(12, 2)),
                      bigEndian(file.subspan(18, 4)), bigEndian(file.subspan(14, 4)), bits / 8};
  return bits % 8 == 0 && isReadable(header) ? std::optional(header) : std::nullopt;
}

// Takes a section with its length of four bytes in front.
std::optional<FileBytes> takeBlock(FileBytes& rest) {
  if (rest.size() < 4) return std::nullopt;
  const std::size_t length = bigEndian(rest.first(4));
  if (length > rest.size() - 4) return std::nullopt;
  const FileBytes block = rest.subspan(4, length);
  rest = rest.subspan(4 + length);
  return block;
}

bool unpack(FileBytes packed, Bytes& row) {
  std::size_t filled = 0;
  for (std::size_t at = 0; at < packed.size();) {
    const std::uint8_t head = packed[at++];
    if (head == 128) continue;
    const bool repeats = head > 128;
    const std::size_t count = repeats ? 257U - head : head + 1U;
    const std::size_t taken = repeats ? 1 : count;
    if (taken > packed.size() - at || count > row.size() - filled) return false;
    for (std::size_t i = 0; i < count; ++i) row[filled++] = packed[at + (repeats ? 0 : i)];
    at += taken;
  }
  return filled == row.size();
}

// Reads the rows of the planes, one plane after the other, in file order.
class PlaneRows {
 public:
  PlaneRows(const Header& header, FileBytes data) : header_(header), data_(data) {}

  // False if the file is too short for its stated size. Checked before any allocation: a single row may be
  // stated as hundreds of megabytes.
  bool start() {
    if (!holdsThePlanes()) return false;
    row_.resize(header_.rowBytes());
    return true;
  }

  // Nothing if the file ends within the row.
  const Bytes* next() {
    const std::size_t length = lengths_.empty() ? row_.size() : bigEndian(lengths_.first(2));
    if (length > data_.size()) return nullptr;
    const FileBytes bytes = data_.first(length);
    data_ = data_.subspan(length);
    if (lengths_.empty()) {
      std::copy(bytes.begin(), bytes.end(), row_.begin());
      return &row_;
    }
    lengths_ = lengths_.subspan(2);
    return unpack(bytes, row_) ? &row_ : nullptr;
  }

 private:
  bool holdsThePlanes() {
    if (data_.size() < 2) return false;
    const std::uint32_t compression = bigEndian(data_.first(2));
    data_ = data_.subspan(2);
    if (compression == kPlain) return data_.size() >= header_.planeBytes();
    if (compression != kPacked) return false;
    const std::uint64_t table = std::uint64_t{2} * header_.channels * header_.height;
    if (table > data_.size()) return false;
    lengths_ = data_.first(static_cast<std::size_t>(table));
    data_ = data_.subspan(lengths_.size());
    return data_.size() * kBestPacking >= header_.planeBytes();
  }

  const Header& header_;
  Bytes row_;
  FileBytes data_;
  FileBytes lengths_;  // two bytes for each remaining row; empty if not packed
};

// The upper 8 of 16 bits come first. In the file, 0 is full ink.
void place(const Bytes& row, const Header& header, std::uint8_t* sample) {
  const std::uint8_t inverted = header.mode == kInkMode ? 255 : 0;
  for (std::size_t at = 0; at < row.size(); at += header.sampleBytes, sample += header.planes())
    *sample = row[at] ^ inverted;
}

void placeFromPalette(const Bytes& row, FileBytes palette, std::uint8_t* sample) {
  for (const std::uint8_t index : row)
    for (std::size_t color = 0; color < 3; ++color) *sample++ = palette[color * 256 + index];
}

bool readSamples(const Header& header, FileBytes palette, PlaneRows& rows, FlatPsd& picture) {
  const std::size_t rowSamples = header.width * picture.samplesPerPixel();
  picture.samples.resize(rowSamples * header.height);
  for (std::size_t plane = 0; plane < header.planes(); ++plane) {
    for (std::size_t y = 0; y < header.height; ++y) {
      const Bytes* row = rows.next();
      if (!row) return false;
      std::uint8_t* sample = picture.samples.data() + y * rowSamples + plane;
      if (header.mode == kIndexedMode) {
        placeFromPalette(*row, palette, sample);
      } else {
        place(*row, header, sample);
      }
    }
  }
  return true;
}

FlatPsd::Colors colorsOf(const Header& header) {
  if (header.mode == kInkMode) return FlatPsd::Colors::Inks;
  return header.mode == kLabMode ? FlatPsd::Colors::Lab : FlatPsd::Colors::Rgb;
}

}  // namespace

std::optional<FlatPsd> flatPsd(std::span<const std::uint8_t> file) {
  const auto header = headerOf(file);
  if (!header) return std::nullopt;
  FileBytes rest = file.subspan(kHeaderSize);
  const auto palette = takeBlock(rest);
  const auto resources = palette ? takeBlock(rest) : std::nullopt;
  const auto layers = resources ? takeBlock(rest) : std::nullopt;
  if (!layers || (header->mode == kIndexedMode && palette->size() < kPaletteSize)) return std::nullopt;
  FlatPsd picture{colorsOf(*header), header->width, header->height, {}, {}};
  try {
    PlaneRows rows(*header, rest);
    if (!rows.start() || !readSamples(*header, *palette, rows, picture)) return std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  properties::PictureFacts facts;
  properties::takeResources(*resources, facts);
  picture.iccProfile = std::move(facts.icc);
  return picture;
}

}  // namespace moxtel
