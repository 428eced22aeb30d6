#include "library/albumdata/AlbumDataFile.h"

#include <fstream>
#include <new>
#include <span>
#include <sstream>
#include <vector>

#include "library/albumdata/AlbumDataTree.h"
#include "platform/files/Files.h"
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

AlbumDataContents unreadable(const char* why) {
  AlbumDataContents contents;
  contents.error = why;
  contents.wasRead = false;
  return contents;
}

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

// A top that is no dictionary holds no lists.
AlbumDataContents contentsOf(AlbumDataTree& tree, std::string error, std::string mended) {
  Value lists = tree.takeBeginning();
  if (!lists.isDictionary()) lists = mutableDictionary();
  return {std::move(lists), std::move(error), std::move(mended)};
}

// Through the mender, if there is one.
AlbumDataContents readXml(std::istream& file, const AlbumDataLimits& limits, XmlMender* mender) {
  AlbumDataTree tree(limits.kept);
  XmlPropertyListReader reader(tree, Strictness::Lenient);
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
  return contentsOf(tree, reader.failure(), describe(oddities, "line"));
}

AlbumDataContents readBinary(std::istream& file, std::uint64_t size, const AlbumDataLimits& limits) {
  AlbumDataTree tree(limits.kept);
  PropertyListOddities oddities;
  if (size > limits.binaryFileBytes) return contentsOf(tree, "it is too long a binary property list", "");
  std::vector<char> bytes(size);
  bytes.resize(readPiece(file, bytes));
  if (file.bad()) return unreadable("it cannot be read");
  std::string failure =
      readBinaryPropertyList(bytesOf({bytes.data(), bytes.size()}), tree, Strictness::Lenient, oddities);
  return contentsOf(tree, std::move(failure), describe(oddities, "object"));
}

// Nearly all files are well-formed, and mending takes longer than reading: an XML file is mended only when it
// cannot be read as it is.
AlbumDataContents read(std::istream& file, std::uint64_t size, const AlbumDataLimits& limits) {
  std::vector<char> magic(8);
  magic.resize(readPiece(file, magic));
  if (!rewind(file)) return unreadable("it cannot be read");
  if (BinaryPropertyList::hasMagic(bytesOf({magic.data(), magic.size()})))
    return readBinary(file, size, limits);
  AlbumDataContents contents = readXml(file, limits, nullptr);
  if (contents.error.empty() || !contents.wasRead) return contents;
  if (!rewind(file)) return unreadable("it cannot be read");
  XmlMender mender;
  return readXml(file, limits, &mender);
}

}  // namespace

AlbumDataContents readAlbumDataFile(const std::string& path, const AlbumDataLimits& limits) {
  // What is kept and a binary file may be larger than the memory that is left.
  try {
    const FileStamp stamp = stampOf(path);
    if (!stamp.isRegular()) return unreadable("it is no file");
    std::ifstream file(path, std::ios::binary);
    return file ? read(file, stamp.size, limits) : unreadable("it cannot be opened");
  } catch (const std::bad_alloc&) {
    return unreadable("there is not enough memory for it");
  }
}

AlbumDataContents parseAlbumData(std::string_view bytes, const AlbumDataLimits& limits) {
  std::istringstream file{std::string(bytes)};
  return read(file, bytes.size(), limits);
}

}  // namespace moxtel
