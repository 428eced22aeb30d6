#include "library/albumdata/AlbumDataFile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
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

std::vector<std::int64_t> numbersIn(const Bytes& bytes) {
  std::vector<std::int64_t> numbers(bytes.size() / sizeof(std::int64_t));
  if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(std::int64_t));
  return numbers;
}

// "29,13,15"; an empty text for none. At most so many.
std::vector<std::int64_t> numbersIn(std::string_view text, std::size_t most) {
  std::vector<std::int64_t> numbers;
  while (!text.empty() && numbers.size() < most) {
    const std::size_t end = std::min(text.find(','), text.size());
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + end, number);
    numbers.push_back(error == std::errc() && rest == text.data() + end ? number : -1);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return numbers;
}

// Moves the lists of photos out of entries. A text takes fewer bytes than its numbers: `bytes` is how many
// these may take.
class PhotoListTaker final {
 public:
  PhotoListTaker(std::vector<SavedPhotoList>& lists, std::size_t bytes)
      : lists_(lists), most_(bytes / sizeof(std::int64_t)) {}

  void takeFrom(Value& entry) {
    const Value numbers = entry["KeyList"];
    if (numbers.isData()) entry.editDictionary().remove("KeyList");
    const Value& text = entry["KeyListString"];
    const Value& uuid = entry[entry["GUID"].isString() ? "GUID" : "ProjectUuid"];
    if ((!numbers.isData() && !text.isString()) || !uuid.isString()) return;
    auto photos = numbers.isData() ? numbersIn(numbers.data()) : numbersIn(text.string(), most_);
    if (!numbers.isData()) most_ -= photos.size();
    lists_.push_back({std::string(uuid.string()), std::move(photos)});
  }

 private:
  std::vector<SavedPhotoList>& lists_;
  std::size_t most_;
};

// A top that is no dictionary holds no lists.
AlbumDataContents contentsOf(AlbumDataTree& tree, const AlbumDataLimits& limits, std::string error,
                             std::string mended) {
  AlbumDataContents contents{tree.takeBeginning(), {}, std::move(error), std::move(mended)};
  if (!contents.lists.isDictionary()) contents.lists = mutableDictionary();
  PhotoListTaker taker(contents.photoLists, limits.kept.bytes);
  for (const std::string_view key : {kListOfAlbums, kListOfRolls}) {
    Value list = contents.lists[key];
    if (!list.isArray()) continue;
    contents.lists.editDictionary().set(Text(key), Value());  // so that the list is changed, and not a copy
    for (Value& entry : list.editArray()) taker.takeFrom(entry);
    contents.lists.editDictionary().set(Text(key), std::move(list));
  }
  return contents;
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
  return contentsOf(tree, limits, reader.failure(), describe(oddities, "line"));
}

AlbumDataContents readBinary(std::istream& file, std::uint64_t size, const AlbumDataLimits& limits) {
  AlbumDataTree tree(limits.kept);
  PropertyListOddities oddities;
  if (size > limits.binaryFileBytes)
    return contentsOf(tree, limits, "it is too long a binary property list", "");
  std::vector<char> bytes(size);
  bytes.resize(readPiece(file, bytes));
  if (file.bad()) return unreadable("it cannot be read");
  std::string failure =
      readBinaryPropertyList(bytesOf({bytes.data(), bytes.size()}), tree, Strictness::Lenient, oddities);
  return contentsOf(tree, limits, std::move(failure), describe(oddities, "object"));
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
