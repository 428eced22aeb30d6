#include "pictures/PsdInks.h"

#include <algorithm>
#include <new>

#include "pictures/PixelBuffer.h"
#include "pictures/properties/ByteSource.h"
#include "pictures/properties/PhotoshopResources.h"

namespace moxtel {
namespace {

using properties::bigEndian;
using properties::FileBytes;

constexpr std::size_t kHeaderSize = 26;
constexpr std::uint32_t kInkMode = 4;
constexpr std::size_t kInks = 4;
constexpr std::uint32_t kPlain = 0;
constexpr std::uint32_t kPacked = 1;
// Two bytes of a packed row stand for at most 128.
constexpr std::uint64_t kBestPacking = 64;

struct Header {
  std::size_t channels;
  std::uint32_t width, height;
  std::size_t sampleBytes;

  std::size_t rowBytes() const { return width * sampleBytes; }
  std::uint64_t inkBytes() const { return std::uint64_t{kInks} * height * rowBytes(); }
};

std::optional<Header> headerOfInks(FileBytes file) {
  if (file.size() < kHeaderSize || !properties::textOf(file).starts_with("8BPS") ||
      bigEndian(file.subspan(4, 2)) != 1 || bigEndian(file.subspan(24, 2)) != kInkMode)
    return std::nullopt;
  const std::uint32_t bits = bigEndian(file.subspan(22, 2));
  const Header header{bigEndian(file.subspan(12, 2)), bigEndian(file.subspan(18, 4)),
                      bigEndian(file.subspan(14, 4)), bits / 8};
  if ((bits != 8 && bits != 16) || header.channels < kInks || !isDecodableSize(header.width, header.height))
    return std::nullopt;
  return header;
}

// Takes what stands behind a length of four bytes.
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

// The rows of one ink after those of the other, in the file's order.
class InkRows {
 public:
  InkRows(const Header& header, FileBytes data) : header_(header), row_(header.rowBytes()), data_(data) {}

  // Before anything is kept for the pixels.
  bool start() {
    if (data_.size() < 2) return false;
    const std::uint32_t compression = bigEndian(data_.first(2));
    data_ = data_.subspan(2);
    if (compression == kPlain) return data_.size() >= header_.inkBytes();
    if (compression != kPacked) return false;
    const std::uint64_t table = std::uint64_t{2} * header_.channels * header_.height;
    if (table > data_.size()) return false;
    lengths_ = data_.first(static_cast<std::size_t>(table));
    data_ = data_.subspan(lengths_.size());
    return data_.size() * kBestPacking >= header_.inkBytes();
  }

  // Nothing when the file ends before the row does.
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
  const Header& header_;
  Bytes row_;
  FileBytes data_;
  FileBytes lengths_;  // two bytes a row that is still to come; empty when plain
};

// In the file 0 is all ink. Of 16 bits the upper 8 come first.
void place(const Bytes& row, std::size_t sampleBytes, std::uint8_t* sample) {
  for (std::size_t at = 0; at < row.size(); at += sampleBytes, sample += kInks)
    *sample = static_cast<std::uint8_t>(255 - row[at]);
}

bool readSamples(const Header& header, InkRows& rows, Bytes& samples) {
  samples.resize(std::size_t{kInks} * header.width * header.height);
  for (std::size_t ink = 0; ink < kInks; ++ink) {
    for (std::size_t y = 0; y < header.height; ++y) {
      const Bytes* row = rows.next();
      if (!row) return false;
      place(*row, header.sampleBytes, samples.data() + y * header.width * kInks + ink);
    }
  }
  return true;
}

}  // namespace

std::optional<Inks> inksOfPsd(std::span<const std::uint8_t> file) {
  const auto header = headerOfInks(file);
  if (!header) return std::nullopt;
  FileBytes rest = file.subspan(kHeaderSize);
  const auto colours = takeBlock(rest);
  const auto resources = colours ? takeBlock(rest) : std::nullopt;
  const auto layers = resources ? takeBlock(rest) : std::nullopt;
  if (!layers) return std::nullopt;
  InkRows rows(*header, rest);
  if (!rows.start()) return std::nullopt;
  Inks inks{header->width, header->height, {}, {}};
  try {
    if (!readSamples(*header, rows, inks.samples)) return std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  properties::PictureFacts facts;
  properties::takeResources(*resources, facts);
  inks.iccProfile = std::move(facts.icc);
  return inks;
}

}  // namespace moxtel
