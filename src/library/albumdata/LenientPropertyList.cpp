#include "library/albumdata/LenientPropertyList.h"

#include <fstream>
#include <span>
#include <string_view>
#include <vector>

#include "platform/files/Files.h"
#include "platform/files/LockedFiles.h"
#include "plist/BinaryPropertyList.h"
#include "plist/BinaryPropertyListReader.h"
#include "plist/XmlMender.h"
#include "plist/XmlPropertyListReader.h"

namespace moxtel {

namespace {

constexpr std::size_t kPiece = 1 << 16;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

LenientReading unreadable(const char* why) { return {why, {}, false}; }

std::size_t readPiece(std::istream& file, std::vector<char>& buffer) {
  file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  return static_cast<std::size_t>(file.gcount());
}

bool rewind(std::istream& file) {
  file.clear();
  return static_cast<bool>(file.seekg(0));
}

std::string describe(const PropertyListOddities& oddities, const char* unit) {
  if (oddities.count == 0) return {};
  const bool one = oddities.count == 1;
  return std::to_string(oddities.count) + (one ? " place was" : " places were") + " mended or left out, " +
         (one ? "in " : "the first in ") + unit + " " + std::to_string(oddities.first);
}

// Through the mender, if there is one.
LenientReading readXml(std::istream& file, PropertyListSink& sink, XmlMender* mender) {
  XmlPropertyListReader reader(sink, Strictness::Lenient);
  std::vector<char> buffer(kPiece);
  std::string mended;
  bool goesOn = true;
  while (goesOn) {
    const std::size_t count = readPiece(file, buffer);
    std::string_view piece(buffer.data(), count);
    if (mender) {
      mended.clear();
      count > 0 ? mender->feed(piece, mended) : mender->finish(mended);
      piece = mended;
    }
    goesOn = reader.feed(piece) && count > 0;
  }
  if (file.bad()) return unreadable("it cannot be read");
  static_cast<void>(reader.finish());
  PropertyListOddities oddities = reader.oddities();
  if (mender) oddities.add(mender->oddities());
  return {reader.failure(), describe(oddities, "line")};
}

LenientReading readBinary(std::istream& file, std::uint64_t size, std::size_t mostBytes,
                          PropertyListSink& sink) {
  if (size > mostBytes) return {"it is too long a binary property list", {}};
  std::vector<char> bytes(size);
  bytes.resize(readPiece(file, bytes));
  if (file.bad()) return unreadable("it cannot be read");
  PropertyListOddities oddities;
  std::string failure =
      readBinaryPropertyList(bytesOf({bytes.data(), bytes.size()}), sink, Strictness::Lenient, oddities);
  return {std::move(failure), describe(oddities, "object")};
}

}  // namespace

// Nearly all files are well-formed, and mending takes longer than reading: an XML file is mended only when it
// cannot be read as it is.
LenientReading readLenientPropertyList(std::istream& file, std::uint64_t size, std::size_t mostBinaryBytes,
                                       const FreshSink& freshSink) {
  PropertyListSink& sink = freshSink();
  std::vector<char> magic(8);
  magic.resize(readPiece(file, magic));
  if (!rewind(file)) return unreadable("it cannot be read");
  if (BinaryPropertyList::hasMagic(bytesOf({magic.data(), magic.size()})))
    return readBinary(file, size, mostBinaryBytes, sink);
  LenientReading reading = readXml(file, sink, nullptr);
  if (reading.error.empty() || !reading.wasRead) return reading;
  if (!rewind(file)) return unreadable("it cannot be read");
  XmlMender mender;
  return readXml(file, freshSink(), &mender);
}

LenientReading readLenientPropertyListFile(const std::string& path, std::size_t mostBinaryBytes,
                                           const FreshSink& freshSink) {
  const FileStamp stamp = stampOf(path);
  if (!stamp.isRegular()) return unreadable("it is no file");
  if (isLockedFile(stamp)) return unreadable("it is a database");
  std::ifstream file(path, std::ios::binary);
  if (!file) return unreadable("it cannot be opened");
  return readLenientPropertyList(file, stamp.size, mostBinaryBytes, freshSink);
}

}  // namespace moxtel
