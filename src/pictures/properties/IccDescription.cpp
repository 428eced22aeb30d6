#include "pictures/properties/IccDescription.h"

#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

constexpr std::size_t kHeader = 128;
constexpr std::size_t kTagSize = 12;
constexpr std::size_t kRecordSize = 12;

// count bytes from the offset on; empty unless all of them exist.
FileBytes part(FileBytes bytes, std::size_t offset, std::size_t count) {
  return offset <= bytes.size() && count <= bytes.size() - offset ? bytes.subspan(offset, count)
                                                                  : FileBytes();
}

FileBytes descriptionTag(FileBytes profile) {
  const FileBytes counted = part(profile, kHeader, 4);
  const std::size_t count = counted.empty() ? 0 : bigEndian(counted);
  for (std::size_t i = 0; i < count; ++i) {
    const FileBytes tag = part(profile, kHeader + 4 + i * kTagSize, kTagSize);
    if (tag.empty()) break;
    if (textOf(tag.first(4)) == "desc")
      return part(profile, bigEndian(tag.subspan(4, 4)), bigEndian(tag.subspan(8, 4)));
  }
  return {};
}

std::string plainDescription(FileBytes tag) {
  const FileBytes counted = part(tag, 8, 4);
  if (counted.empty()) return {};
  const FileBytes text = part(tag, 12, bigEndian(counted));
  return utf8OrLatin1(untilNul(textOf(text)));
}

std::string localizedDescription(FileBytes tag) {
  const FileBytes head = part(tag, 8, 8);
  if (head.empty() || bigEndian(head.subspan(4, 4)) != kRecordSize) return {};
  FileBytes chosen;
  for (std::size_t i = 0; i < bigEndian(head.first(4)); ++i) {
    const FileBytes record = part(tag, 16 + i * kRecordSize, kRecordSize);
    if (record.empty()) break;
    const bool english = textOf(record.first(2)) == "en";
    if (english || chosen.empty())
      chosen = part(tag, bigEndian(record.subspan(8, 4)), bigEndian(record.subspan(4, 4)));
    if (english) break;
  }
  const std::string text = utf16BigEndian(textOf(chosen));
  return std::string(untilNul(text));
}

}  // namespace

std::optional<std::string> profileDescription(FileBytes profile) {
  const FileBytes tag = descriptionTag(profile);
  if (tag.size() < 12) return std::nullopt;
  const std::string_view type = textOf(tag.first(4));
  std::string text;
  if (type == "desc") text = plainDescription(tag);
  if (type == "mluc") text = localizedDescription(tag);
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace moxtel::properties
