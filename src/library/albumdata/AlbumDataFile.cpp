#include "library/albumdata/AlbumDataFile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>
#include <optional>
#include <sstream>

#include "library/albumdata/AlbumDataTree.h"
#include "library/albumdata/LenientPropertyList.h"

namespace moxtel {

namespace {

AlbumDataContents unreadable(const char* why) {
  AlbumDataContents contents;
  contents.error = why;
  contents.wasRead = false;
  return contents;
}

std::vector<std::int64_t> numbersIn(const Bytes& bytes) {
  std::vector<std::int64_t> numbers(bytes.size() / sizeof(std::int64_t));
  if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(std::int64_t));
  return numbers;
}

// "29,13,15"; an empty text for none. At most `most` numbers.
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

// reads: into the sink that its argument makes.
template <class Reads>
AlbumDataContents readWith(const AlbumDataLimits& limits, const Reads& reads) {
  std::optional<AlbumDataTree> tree;
  LenientReading reading = reads([&]() -> PropertyListSink& { return tree.emplace(limits.kept); });
  if (!reading.wasRead) return unreadable(reading.error.c_str());
  return contentsOf(*tree, limits, std::move(reading.error), std::move(reading.mended));
}

}  // namespace

AlbumDataContents readAlbumDataFile(const std::string& path, const AlbumDataLimits& limits) {
  // What is kept and a binary file may be larger than the memory that is left.
  try {
    return readWith(limits, [&](const FreshSink& freshSink) {
      return readLenientPropertyListFile(path, limits.binaryFileBytes, freshSink);
    });
  } catch (const std::bad_alloc&) {
    return unreadable("there is not enough memory for it");
  }
}

AlbumDataContents parseAlbumData(std::string_view bytes, const AlbumDataLimits& limits) {
  std::istringstream file{std::string(bytes)};
  return readWith(limits, [&](const FreshSink& freshSink) {
    return readLenientPropertyList(file, bytes.size(), limits.binaryFileBytes, freshSink);
  });
}

}  // namespace moxtel
