#include "plist/ArchiveWriter.h"

#include <algorithm>

#include "value/Utf.h"

namespace moxtel {

namespace {

// Below this size a separate piece costs more than the copy.
constexpr std::size_t kBorrowedFrom = 1u << 14;

std::size_t utf16Units(std::string_view text) {
  std::size_t units = 0;
  for (std::size_t i = 0; i < text.size();) units += nextCodePoint(text, i) > 0xFFFF ? 2 : 1;
  return units;
}

std::uint8_t* putUnit(std::uint8_t* place, char32_t unit) { return putSized(place, unit, 2); }

}  // namespace

void ArchiveWriter::startChunk(std::size_t atLeast) {
  sealPiece();
  const std::size_t size = std::max(atLeast, chunkSize_);
  chunkSize_ = std::min(kLargestChunk, chunkSize_ * 4);
  out_.owned_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(size));
  next_ = pieceStart_ = out_.owned_.back().get();
  end_ = next_ + size;
}

void ArchiveWriter::seal(std::span<const std::uint8_t> piece) {
  out_.pieces_.push_back(piece);
  pieceOffsets_.push_back(sealed_);
  sealed_ += piece.size();
}

void ArchiveWriter::sealPiece() {
  if (next_ == pieceStart_) return;
  seal({pieceStart_, next_});
  pieceStart_ = next_;
}

std::string_view ArchiveWriter::writtenAt(std::uint64_t offset) const noexcept {
  const auto between = [](const std::uint8_t* start, const std::uint8_t* end) {
    return std::string_view(reinterpret_cast<const char*>(start), static_cast<std::size_t>(end - start));
  };
  if (offset >= sealed_) return between(pieceStart_ + (offset - sealed_), next_);
  const auto after = std::upper_bound(pieceOffsets_.begin(), pieceOffsets_.end(), offset);
  const auto index = static_cast<std::size_t>(after - pieceOffsets_.begin() - 1);
  const auto& piece = out_.pieces_[index];
  return between(piece.data() + (offset - pieceOffsets_[index]), piece.data() + piece.size());
}

void ArchiveWriter::bytes(std::string_view text) {
  std::uint8_t* place = room(text.size());
  if (!text.empty()) std::memcpy(place, text.data(), text.size());
  next_ += text.size();
}

std::uint8_t* ArchiveWriter::putLongHead(std::uint8_t* place, int kind, std::uint64_t count) noexcept {
  const int width = widthOf(count);
  *place++ = static_cast<std::uint8_t>(kind << 4 | 15);
  *place++ = static_cast<std::uint8_t>(0x10 | std::countr_zero(static_cast<unsigned>(width)));
  return putSized(place, count, width);
}

void ArchiveWriter::integer(std::int64_t value) {
  // Only eight bytes are signed.
  const int width = value < 0 ? 8 : widthOf(static_cast<std::uint64_t>(value));
  std::uint8_t* place = room(kLongestHead);
  *place++ = static_cast<std::uint8_t>(0x10 | std::countr_zero(static_cast<unsigned>(width)));
  next_ = putSized(place, static_cast<std::uint64_t>(value), width);
}

void ArchiveWriter::unsignedBeyondSigned(std::uint64_t value) {
  std::uint8_t* place = room(17);
  *place++ = 0x14;
  place = putSized(place, 0, 8);
  next_ = putSized(place, value, 8);
}

void ArchiveWriter::real(double value) {
  std::uint8_t* place = room(9);
  *place++ = 0x23;
  next_ = putSized(place, std::bit_cast<std::uint64_t>(value), 8);
}

void ArchiveWriter::string(std::string_view text) {
  if (!isAscii(text)) {
    utf16(text);
    return;
  }
  std::uint8_t* place = putHead(room(kLongestHead + text.size()), 5, text.size());
  if (!text.empty()) std::memcpy(place, text.data(), text.size());
  next_ = place + text.size();
}

void ArchiveWriter::utf16(std::string_view text) {
  const std::size_t units = utf16Units(text);
  std::uint8_t* place = putHead(room(kLongestHead + 2 * units), 6, units);
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = nextCodePoint(text, i);
    if (c > 0xFFFF) {
      place = putUnit(place, 0xD800 + ((c - 0x10000) >> 10));
      place = putUnit(place, 0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      place = putUnit(place, c);
    }
  }
  next_ = place;
}

void ArchiveWriter::date(Date value) {
  std::uint8_t* place = room(9);
  *place++ = 0x33;
  next_ = putSized(place, std::bit_cast<std::uint64_t>(value.seconds), 8);
}

void ArchiveWriter::uid(std::uint64_t index) {
  const int width = widthOf(index);
  std::uint8_t* place = room(9);
  *place++ = static_cast<std::uint8_t>(0x80 | (width - 1));
  next_ = putSized(place, index, width);
}

void ArchiveWriter::data(const Value& data) {
  const Bytes& bytes = data.data();
  if (bytes.size() < kBorrowedFrom) {
    copiedData(bytes);
    return;
  }
  next_ = putHead(room(kLongestHead), 4, bytes.size());
  sealPiece();
  seal(bytes);
  out_.borrowed_.push_back(data);
}

void ArchiveWriter::copiedData(const Bytes& bytes) {
  next_ = putHead(room(kLongestHead), 4, bytes.size());
  this->bytes({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void ArchiveWriter::absentData(std::uint64_t size) {
  next_ = putHead(room(kLongestHead), 4, size);
  sealPiece();
  absentOffset_ = sealed_;
  absentSize_ = size;
  sealed_ += size;
}

void ArchiveWriter::trailer(std::uint64_t table, int referenceWidth, std::uint64_t objects,
                            std::uint64_t top) {
  std::uint8_t* place = putSized(room(32), 0, 6);
  *place++ = static_cast<std::uint8_t>(widthOf(table));
  *place++ = static_cast<std::uint8_t>(referenceWidth);
  place = putSized(place, objects, 8);
  place = putSized(place, top, 8);
  next_ = putSized(place, table, 8);
}

ArchivePieces ArchiveWriter::finish() {
  sealPiece();
  out_.size_ = static_cast<std::size_t>(sealed_ - absentSize_);
  return std::move(out_);
}

Bytes ArchivePieces::joined() const {
  Bytes bytes;
  bytes.reserve(size_);
  for (const auto piece : pieces_) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

}  // namespace moxtel
