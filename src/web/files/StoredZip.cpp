#include "web/files/StoredZip.h"

#include <zlib.h>

#include <algorithm>
#include <ctime>

#include "library/answers/FoldedText.h"
#include "value/Utf.h"

namespace moxtel {
namespace {

constexpr std::uint64_t kLarge = 0xFFFF'FFFF;  // this number and larger ones need zip64
constexpr std::size_t kMany = 0xFFFF;
constexpr std::uint64_t kFixedHeader = 30;
constexpr std::uint64_t kFixedDirectory = 46;
constexpr std::uint16_t kFlags = 1 << 3 | 1 << 11;  // a data descriptor follows; the name is UTF-8
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kVersionOfZip64 = 45;
constexpr std::uint16_t kMadeOnUnix = 3 << 8;
constexpr std::uint32_t kOrdinaryFile = 0100644u << 16;

bool isLarge(const ZipEntry& entry) { return entry.size >= kLarge; }

// Little-endian numbers.
class Text final {
 public:
  Text& add(std::uint64_t number, int width) {
    for (int i = 0; i < width; ++i, number >>= 8) text_ += static_cast<char>(number & 0xFF);
    return *this;
  }
  Text& two(std::uint64_t number) { return add(number, 2); }
  Text& four(std::uint64_t number) { return add(number, 4); }
  Text& eight(std::uint64_t number) { return add(number, 8); }
  Text& fourAtMost(std::uint64_t number) { return add(std::min(number, kLarge), 4); }
  Text& text(std::string_view text) {
    text_ += text;
    return *this;
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

// The time in the low half and the date in the high half.
std::uint32_t dosTime(std::int64_t date) {
  constexpr std::int64_t kFirst = 315532800;  // 1980-01-01
  constexpr std::int64_t kLast = 4354819198;  // 2107-12-31 23:59:58
  const auto seconds = static_cast<std::time_t>(std::clamp(date, kFirst, kLast));
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  const auto part = [](int value, int shift) { return static_cast<std::uint32_t>(value) << shift; };
  return part(parts.tm_year - 80, 25) | part(parts.tm_mon + 1, 21) | part(parts.tm_mday, 16) |
         part(parts.tm_hour, 11) | part(parts.tm_min, 5) | part(parts.tm_sec / 2, 0);
}

std::string headerOf(const ZipEntry& entry) {
  Text text;
  text.text("PK\3\4").two(isLarge(entry) ? kVersionOfZip64 : kVersion).two(kFlags).two(0);
  text.four(dosTime(entry.date)).four(0).fourAtMost(entry.size).fourAtMost(entry.size);
  text.two(entry.name.size()).two(isLarge(entry) ? 20 : 0).text(entry.name);
  if (isLarge(entry)) text.two(1).two(16).eight(entry.size).eight(entry.size);
  return text.take();
}
std::uint64_t headerSize(const ZipEntry& entry) {
  return kFixedHeader + entry.name.size() + (isLarge(entry) ? 20 : 0);
}

std::string descriptorOf(const ZipEntry& entry, std::uint32_t checksum) {
  const int width = isLarge(entry) ? 8 : 4;
  return Text().text("PK\7\10").four(checksum).add(entry.size, width).add(entry.size, width).take();
}
std::uint64_t descriptorSize(const ZipEntry& entry) { return isLarge(entry) ? 24 : 16; }

std::uint64_t wholeSize(const ZipEntry& entry) {
  return headerSize(entry) + entry.size + descriptorSize(entry);
}

// The numbers of a directory entry that need zip64, without their header of four bytes.
std::uint64_t largeNumbersSize(const ZipEntry& entry, std::uint64_t offset) {
  return (isLarge(entry) ? 16u : 0u) + (offset >= kLarge ? 8u : 0u);
}

std::string directoryOf(const ZipEntry& entry, std::uint32_t checksum, std::uint64_t offset) {
  const std::uint64_t more = largeNumbersSize(entry, offset);
  const std::uint16_t version = more != 0 ? kVersionOfZip64 : kVersion;
  Text text;
  text.text("PK\1\2").two(kMadeOnUnix | kVersionOfZip64).two(version).two(kFlags).two(0);
  text.four(dosTime(entry.date)).four(checksum).fourAtMost(entry.size).fourAtMost(entry.size);
  text.two(entry.name.size()).two(more != 0 ? more + 4 : 0).two(0).two(0).two(0).four(kOrdinaryFile);
  text.fourAtMost(offset).text(entry.name);
  if (more != 0) text.two(1).two(more);
  if (isLarge(entry)) text.eight(entry.size).eight(entry.size);
  if (offset >= kLarge) text.eight(offset);
  return text.take();
}
std::uint64_t directorySize(const ZipEntry& entry, std::uint64_t offset) {
  const std::uint64_t more = largeNumbersSize(entry, offset);
  return kFixedDirectory + entry.name.size() + (more != 0 ? more + 4 : 0);
}

bool endIsLarge(std::size_t count, std::uint64_t directory, std::uint64_t end) {
  return count >= kMany || directory >= kLarge || end - directory >= kLarge;
}

std::string endOf(std::size_t count, std::uint64_t directory, std::uint64_t end) {
  Text text;
  if (endIsLarge(count, directory, end)) {
    text.text("PK\6\6").eight(44).two(kMadeOnUnix | kVersionOfZip64).two(kVersionOfZip64).four(0).four(0);
    text.eight(count).eight(count).eight(end - directory).eight(directory);
    text.text("PK\6\7").four(0).eight(end).four(1);
  }
  const std::size_t few = std::min(count, kMany);
  text.text("PK\5\6").two(0).two(0).two(few).two(few).fourAtMost(end - directory).fourAtMost(directory);
  return text.two(0).take();
}

bool isForbidden(unsigned char c) {
  return c < 0x20 || c == 0x7F ||
         std::string_view("/\\:*?\"<>|").find(static_cast<char>(c)) != std::string::npos;
}

// CON, NUL, COM1, … are devices on Windows, also with an extension.
bool isDevice(std::string_view stem) {
  std::string name(stem.substr(0, stem.find('.')));
  for (char& c : name) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  if (name == "CON" || name == "PRN" || name == "AUX" || name == "NUL") return true;
  return name.size() == 4 && (name.starts_with("COM") || name.starts_with("LPT")) && name[3] >= '0' &&
         name[3] <= '9';
}

// Cut before a character that does not fit.
std::string_view cut(std::string_view text, std::size_t longest) {
  if (text.size() <= longest) return text;
  while (longest > 0 && (static_cast<unsigned char>(text[longest]) & 0xC0) == 0x80) --longest;
  return text.substr(0, longest);
}

std::string legal(std::string_view text, std::size_t longest) {
  std::string name;
  for (const char c : isValidUtf8(text) ? text : std::string_view()) {
    name += isForbidden(static_cast<unsigned char>(c)) ? '_' : c;
  }
  name = cut(name, longest);
  while (!name.empty() && (name.back() == ' ' || name.back() == '.')) name.pop_back();
  name.erase(0, std::min(name.find_first_not_of(" ."), name.size()));
  return name;
}

}  // namespace

std::string ZipNames::unique(std::string_view stem, std::string_view extension) {
  constexpr std::size_t kLongestExtension = 16;
  constexpr std::size_t kRoomForNumber = 12;
  std::string end = legal(extension, kLongestExtension);
  if (!end.empty()) end.insert(0, ".");
  std::string start = legal(stem, kLongest - end.size() - kRoomForNumber);
  if (start.empty()) start = "Photo";
  if (isDevice(start)) start.insert(0, "_");
  std::string name = start + end;
  int& copies = taken_[foldedText(name)];
  while (copies++ > 0) {
    name = start + " (" + std::to_string(copies) + ")" + end;
    if (taken_.try_emplace(foldedText(name), 1).second) break;
  }
  return name;
}

std::uint64_t storedZipSize(const std::vector<ZipEntry>& entries) {
  std::uint64_t size = 0;
  std::uint64_t directory = 0;
  for (const ZipEntry& entry : entries) {
    directory += directorySize(entry, size);
    size += wholeSize(entry);
  }
  return size + directory + (endIsLarge(entries.size(), size, size + directory) ? 56 + 20 : 0) + 22;
}

StoredZip::StoredZip(std::vector<ZipEntry> entries, Opener open)
    : entries_(std::move(entries)),
      open_(std::move(open)),
      checksums_(entries_.size()),
      size_(storedZipSize(entries_)) {}

StoredZip::~StoredZip() = default;

// Makes the text that follows, or opens the file; false if that fails.
bool StoredZip::prepareNext() {
  text_.clear();
  textSent_ = 0;
  switch (part_) {
    case Part::Start:
      break;
    case Part::Header:
      part_ = Part::Data;
      return openEntry();
    case Part::Data:
      part_ = Part::Descriptor;
      file_ = OpenFile();
      text_ = descriptorOf(entries_[index_], checksums_[index_]);
      return true;
    case Part::Descriptor:
    case Part::Directory:
      entryOffset_ += wholeSize(entries_[index_]);
      ++index_;
      break;
    case Part::End:
      part_ = Part::Nothing;
      return true;
    case Part::Nothing:
      return true;
  }
  if (part_ != Part::Directory && index_ == entries_.size()) {
    directory_ = sent_;
    part_ = Part::Directory;
    index_ = 0;
    entryOffset_ = 0;
  } else if (part_ != Part::Directory) {
    part_ = Part::Header;
    text_ = headerOf(entries_[index_]);
    return true;
  }
  if (index_ < entries_.size()) {
    text_ = directoryOf(entries_[index_], checksums_[index_], entryOffset_);
  } else {
    part_ = Part::End;
    text_ = endOf(entries_.size(), directory_, sent_);
  }
  return true;
}

bool StoredZip::openEntry() {
  const ZipEntry& entry = entries_[index_];
  file_ = open_(entry);
  fileSent_ = 0;
  checksums_[index_] = static_cast<std::uint32_t>(::crc32(0, nullptr, 0));
  return file_.state == FileState::Open && file_.size >= entry.size;
}

std::optional<std::size_t> StoredZip::readData(std::span<char> buffer) {
  const std::uint64_t left = entries_[index_].size - fileSent_;
  const std::size_t wanted =
      static_cast<std::size_t>(std::min<std::uint64_t>({left, buffer.size(), 1u << 30}));
  auto* bytes = reinterpret_cast<std::uint8_t*>(buffer.data());
  if (readAt(file_, fileSent_, {bytes, wanted}) != wanted) return std::nullopt;
  checksums_[index_] =
      static_cast<std::uint32_t>(::crc32(checksums_[index_], bytes, static_cast<unsigned>(wanted)));
  fileSent_ += wanted;
  return wanted;
}

std::optional<std::size_t> StoredZip::read(std::uint64_t offset, std::span<char> buffer) {
  if (offset != sent_) return std::nullopt;
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const std::span<char> room = buffer.subspan(filled);
    std::size_t count = 0;
    if (part_ == Part::Data && fileSent_ < entries_[index_].size) {
      const auto read = readData(room);
      if (!read) return std::nullopt;
      count = *read;
    } else if (textSent_ < text_.size()) {
      count = text_.copy(room.data(), room.size(), textSent_);
      textSent_ += count;
    } else if (part_ == Part::Nothing) {
      break;
    } else if (!prepareNext()) {
      return std::nullopt;
    }
    filled += count;
    sent_ += count;
  }
  return filled;
}

}  // namespace moxtel
