#include "makelibrary/TiffDirectoryWriter.h"

#include "makelibrary/ByteWriter.h"

namespace moxtel::makelibrary {

namespace {
enum Type : std::uint16_t { kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7 };
std::size_t evened(std::size_t size) { return size + size % 2; }
}  // namespace

void TiffDirectoryWriter::addText(std::uint16_t tag, const std::string& text) {
  entries_.push_back({tag, kAscii, static_cast<std::uint32_t>(text.size() + 1), text + '\0'});
}

void TiffDirectoryWriter::addShort(std::uint16_t tag, std::vector<std::uint16_t> values) {
  std::string bytes;
  for (const std::uint16_t value : values) bytes += littleEndian(value, 2);
  entries_.push_back({tag, kShort, static_cast<std::uint32_t>(values.size()), bytes});
}

void TiffDirectoryWriter::addLong(std::uint16_t tag, std::uint32_t value) {
  entries_.push_back({tag, kLong, 1, littleEndian(value, 4)});
}

void TiffDirectoryWriter::addRationals(std::uint16_t tag, const std::vector<std::uint32_t>& parts) {
  std::string bytes;
  for (const std::uint32_t part : parts) bytes += littleEndian(part, 4);
  entries_.push_back({tag, kRational, static_cast<std::uint32_t>(parts.size() / 2), bytes});
}

void TiffDirectoryWriter::addUndefined(std::uint16_t tag, const std::string& bytes) {
  entries_.push_back({tag, kUndefined, static_cast<std::uint32_t>(bytes.size()), bytes});
}

void TiffDirectoryWriter::setLong(std::uint16_t tag, std::uint32_t value) {
  for (Entry& entry : entries_)
    if (entry.tag == tag) entry.value = littleEndian(value, 4);
}

std::size_t TiffDirectoryWriter::size() const {
  std::size_t size = 2 + 12 * entries_.size() + 4;
  for (const Entry& entry : entries_)
    if (entry.value.size() > 4) size += evened(entry.value.size());
  return size;
}

std::string TiffDirectoryWriter::bytes(std::size_t offset) const {
  std::string head = littleEndian(entries_.size(), 2);
  std::string tail;
  const std::size_t tailOffset = offset + 2 + 12 * entries_.size() + 4;
  for (const Entry& entry : entries_) {
    head += littleEndian(entry.tag, 2) + littleEndian(entry.type, 2) + littleEndian(entry.count, 4);
    if (entry.value.size() <= 4) {
      head += entry.value + std::string(4 - entry.value.size(), '\0');
      continue;
    }
    head += littleEndian(tailOffset + tail.size(), 4);
    tail += entry.value + std::string(entry.value.size() % 2, '\0');
  }
  return head + littleEndian(0, 4) + tail;
}

}  // namespace moxtel::makelibrary
