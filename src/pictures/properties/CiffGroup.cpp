#include "pictures/properties/CiffGroup.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "pictures/properties/MakerNotes.h"
#include "pictures/properties/TextEncodings.h"

namespace moxtel::properties {
namespace {

constexpr int kDeepest = 8;  // cameras nest up to three
constexpr std::uint64_t kEntrySize = 10;
constexpr std::uint32_t kLongestValue = 4096;  // bytes
constexpr std::uint16_t kAnyHeap = 0;
constexpr std::uint16_t kDescriptionHeap = 0x2804;
constexpr std::uint16_t kSettings = 0x102D, kShot = 0x102A;

enum class Form : std::uint8_t { Text, Short, Long, Float };

struct CiffKey {
  std::uint16_t tag;
  std::uint16_t heap;  // the only heap where the tag has this meaning
  const char* key;
  Form form;
};

constexpr CiffKey kKeys[] = {
    {0x0805, kDescriptionHeap, "Description", Form::Text},
    {0x080B, kAnyHeap, "Firmware", Form::Text},
    {0x0810, kAnyHeap, "OwnerName", Form::Text},
    {0x0815, kAnyHeap, "ImageName", Form::Text},
    {0x0816, kAnyHeap, "ImageFileName", Form::Text},
    {0x1010, kAnyHeap, "ReleaseMethod", Form::Short},
    {0x1011, kAnyHeap, "ReleaseTiming", Form::Short},
    {0x1804, kAnyHeap, "RecordID", Form::Long},
    {0x1806, kAnyHeap, "SelfTimingTime", Form::Long},
    {0x180B, kAnyHeap, "CameraSerialNumber", Form::Long},
    {0x1814, kAnyHeap, "MeasuredEV", Form::Float},
    {0x1817, kAnyHeap, "ImageSerialNumber", Form::Long},
    {0x1834, kAnyHeap, "UniqueModelID", Form::Long},
};

class Heaps final {
 public:
  explicit Heaps(ByteSource& file) : file_(file), littleEndian_(file.byteAt(0) == 'I') {}
  Dictionary read();

 private:
  std::uint32_t number(FileBytes bytes, std::size_t offset, std::size_t width) const;
  std::uint32_t numberAt(std::uint64_t place, std::size_t width);
  void readHeap(std::uint16_t tag, std::uint64_t start, std::uint64_t size, int depth);
  void readEntry(std::uint16_t heap, std::uint64_t start, std::uint64_t place, int depth);
  void take(std::uint16_t tag, std::uint16_t heap, FileBytes data);
  Value valueIn(Form form, FileBytes data) const;
  void takeSettings(FileBytes data);
  void takeShot(FileBytes data);

  ByteSource& file_;
  const bool littleEndian_;
  Dictionary group_;
};

Dictionary Heaps::read() {
  const std::uint32_t start = numberAt(2, 4);
  if (start < file_.size()) readHeap(kAnyHeap, start, file_.size() - start, 0);
  return std::move(group_);
}

// 0 if the bytes are missing.
std::uint32_t Heaps::number(FileBytes bytes, std::size_t offset, std::size_t width) const {
  if (offset + width > bytes.size()) return 0;
  const FileBytes own = bytes.subspan(offset, width);
  return littleEndian_ ? littleEndian(own) : bigEndian(own);
}

std::uint32_t Heaps::numberAt(std::uint64_t place, std::size_t width) {
  return number(file_.at(place, width), 0, width);
}

// A heap's last four bytes are the offset of its directory within the heap.
void Heaps::readHeap(std::uint16_t tag, std::uint64_t start, std::uint64_t size, int depth) {
  if (size < 4 || depth > kDeepest) return;
  const std::uint64_t directory = start + numberAt(start + size - 4, 4);
  const std::uint32_t count = numberAt(directory, 2);
  for (std::uint32_t i = 0; i < count; ++i) readEntry(tag, start, directory + 2 + i * kEntrySize, depth);
}

// Two bytes of tag, then size and offset within the heap, or the value itself.
void Heaps::readEntry(std::uint16_t heap, std::uint64_t start, std::uint64_t place, int depth) {
  const FileBytes entry = file_.at(place, kEntrySize);
  if (entry.empty()) return;
  const auto code = static_cast<std::uint16_t>(number(entry, 0, 2));
  const auto tag = static_cast<std::uint16_t>(code & 0x3FFF);
  const std::uint32_t size = number(entry, 2, 4);
  const std::uint64_t at = start + number(entry, 6, 4);
  const bool isInEntry = (code & 0x4000) != 0;
  const std::uint16_t type = code & 0x3800;
  if (isInEntry) {
    take(tag, heap, entry.subspan(2, 8));
  } else if (type == 0x2800 || type == 0x3000) {
    readHeap(tag, at, size, depth + 1);
  } else if (size <= kLongestValue) {
    take(tag, heap, file_.at(at, size));
  }
}

void Heaps::take(std::uint16_t tag, std::uint16_t heap, FileBytes data) {
  if (tag == kSettings) takeSettings(data);
  if (tag == kShot) takeShot(data);
  for (const CiffKey& key : kKeys) {
    if (key.tag != tag || (key.heap != kAnyHeap && key.heap != heap) || group_.contains(key.key)) continue;
    Value value = valueIn(key.form, data);
    if (!value.isNil()) group_.set(key.key, std::move(value));
  }
}

Value Heaps::valueIn(Form form, FileBytes data) const {
  if (form == Form::Text) return data.empty() ? Value() : Value(utf8OrLatin1(untilNul(textOf(data))));
  if (data.size() < (form == Form::Short ? 2U : 4U)) return {};
  if (form == Form::Short) return number(data, 0, 2);
  if (form == Form::Long) return number(data, 0, 4);
  const auto real = static_cast<double>(std::bit_cast<float>(number(data, 0, 4)));
  return std::isfinite(real) ? Value(real) : Value();
}

// The same lists of numbers as in Canon's maker notes.
void Heaps::takeSettings(FileBytes data) {
  const auto at = [&](std::size_t i) { return static_cast<std::int16_t>(number(data, 2 * i, 2)); };
  constexpr std::size_t kCount = 28;
  if (data.size() < 2 * kCount) return;
  group_.set("ContinuousDrive", at(5));
  group_.set("FocusMode", at(7));
  group_.set("MeteringMode", at(17));
  const auto units = static_cast<double>(number(data, 50, 2));
  if (units > 0) {
    group_.set("LensMaxMM", number(data, 46, 2) / units);
    group_.set("LensMinMM", number(data, 48, 2) / units);
  }
  const auto setAperture = [&](const char* key, std::int32_t steps) {
    Value fNumber = canonFNumber(steps);
    if (!fNumber.isNil()) group_.set(key, std::move(fNumber));
  };
  setAperture("MaxAperture", at(26));
  setAperture("MinAperture", at(27));
}

void Heaps::takeShot(FileBytes data) {
  const auto at = [&](std::size_t i) { return static_cast<std::int16_t>(number(data, 2 * i, 2)); };
  constexpr std::size_t kCount = 16;
  if (data.size() < 2 * kCount) return;
  group_.set("WhiteBalanceIndex", at(7));
  group_.set("FlashExposureComp", canonStops(at(15)));
}

}  // namespace

bool isCiff(ByteSource& file) { return textOf(file.at(6, 8)) == "HEAPCCDR"; }

Dictionary ciffGroup(ByteSource& file) { return isCiff(file) ? Heaps(file).read() : Dictionary(); }

}  // namespace moxtel::properties
