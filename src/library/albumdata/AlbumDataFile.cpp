#include "library/albumdata/AlbumDataFile.h"

#include <fstream>
#include <new>
#include <span>
#include <vector>

#include "library/albumdata/AlbumDataBinary.h"
#include "library/albumdata/AlbumDataXml.h"
#include "platform/files/Files.h"
#include "plist/BinaryPropertyList.h"

namespace moxtel {

namespace {

constexpr std::size_t kPiece = 1 << 16;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

AlbumDataContents unreadable(const char* why) { return {{}, why, false}; }

std::size_t readPiece(std::ifstream& file, std::vector<char>& buffer) {
  file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  return static_cast<std::size_t>(file.gcount());
}

AlbumDataContents readXml(std::ifstream& file, const AlbumDataLimits& limits) {
  AlbumDataXml xml(limits);
  std::vector<char> buffer(kPiece);
  while (const std::size_t count = readPiece(file, buffer)) {
    if (!xml.feed({buffer.data(), count})) break;
  }
  if (file.bad()) return unreadable("it cannot be read");
  return xml.finish();
}

AlbumDataContents readBinary(std::ifstream& file, std::uint64_t size, const AlbumDataLimits& limits) {
  if (size > limits.binaryFileBytes) return {{}, "it is too long a binary property list"};
  std::vector<char> bytes(size);
  bytes.resize(readPiece(file, bytes));
  if (file.bad()) return unreadable("it cannot be read");
  return parseBinaryAlbumData(bytesOf({bytes.data(), bytes.size()}), limits);
}

AlbumDataContents read(const std::string& path, const AlbumDataLimits& limits) {
  const FileStamp stamp = stampOf(path);
  if (!stamp.isRegular()) return unreadable("it is no file");
  std::ifstream file(path, std::ios::binary);
  std::vector<char> magic(8);
  if (!file) return unreadable("it cannot be opened");
  magic.resize(readPiece(file, magic));
  file.clear();
  file.seekg(0);
  if (!file) return unreadable("it cannot be read");
  if (BinaryPropertyList::hasMagic(bytesOf({magic.data(), magic.size()})))
    return readBinary(file, stamp.size, limits);
  return readXml(file, limits);
}

}  // namespace

AlbumDataContents readAlbumDataFile(const std::string& path, const AlbumDataLimits& limits) {
  // A binary file is as large as somebody made it, and nobody above reckons with its not fitting.
  try {
    return read(path, limits);
  } catch (const std::bad_alloc&) {
    return unreadable("there is not enough memory for it");
  }
}

AlbumDataContents parseAlbumData(std::string_view bytes, const AlbumDataLimits& limits) {
  if (BinaryPropertyList::hasMagic(bytesOf(bytes))) return parseBinaryAlbumData(bytesOf(bytes), limits);
  AlbumDataXml xml(limits);
  (void)xml.feed(bytes);
  return xml.finish();
}

}  // namespace moxtel
