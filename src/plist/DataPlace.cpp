#include "plist/DataPlace.h"

#include <algorithm>

#include "plist/BinaryPropertyList.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

// Entries of a dictionary that are looked at. An envelope has one, and an archived object three.
constexpr std::uint64_t kMostEntries = 64;

class DataFinder final {
 public:
  explicit DataFinder(const BinaryPropertyList& list) : list_(list) {}

  // The data object; of another kind if there is none.
  Object find(std::string_view key) {
    const Object frame = list_.object(list_.topNumber());
    objects_ = entry(frame, "$objects");
    const Object envelope = referred(entry(frame, "$top"), "root");
    const Object keys = entry(envelope, "NS.keys");
    const Object values = entry(envelope, "NS.objects");
    if (keys.kind != Kind::Array || values.kind != Kind::Array) return {};
    for (std::uint64_t i = 0; i < std::min({keys.count, values.count, kMostEntries}); ++i) {
      if (isText(objectOfUid(list_.reference(keys.payload, i)), key)) {
        return dataOf(objectOfUid(list_.reference(values.payload, i)));
      }
    }
    return {};
  }

 private:
  static bool isText(const Object& object, std::string_view text) {
    return object.kind == Kind::Ascii && object.count == text.size() &&
           std::equal(text.begin(), text.end(), object.payload);
  }

  // The number of the entry's value; that of no object if there is none.
  std::uint64_t entryNumber(const Object& dictionary, std::string_view key) const {
    if (dictionary.kind != Kind::Dictionary) return list_.objectCount();
    for (std::uint64_t i = 0; i < std::min(dictionary.count, kMostEntries); ++i) {
      if (isText(list_.object(list_.reference(dictionary.payload, i)), key)) {
        return list_.reference(dictionary.payload, dictionary.count + i);
      }
    }
    return list_.objectCount();
  }
  Object entry(const Object& dictionary, std::string_view key) const {
    return list_.object(entryNumber(dictionary, key));
  }
  Object referred(const Object& dictionary, std::string_view key) const {
    return objectOfUid(entryNumber(dictionary, key));
  }

  Object objectOfUid(std::uint64_t number) const {
    std::uint64_t uid = 0;
    if (objects_.kind != Kind::Array || !list_.uid(number, uid) || uid >= objects_.count) return {};
    return list_.object(list_.reference(objects_.payload, uid));
  }

  // A data object has its bytes in itself or in another object.
  Object dataOf(const Object& object) const {
    if (object.kind != Kind::Dictionary) return object;
    const Object inside = entry(object, "NS.data");
    return inside.kind == Kind::Uid ? referred(object, "NS.data") : inside;
  }

  const BinaryPropertyList& list_;
  Object objects_;
};

}  // namespace

std::optional<DataPlace> dataPlaceIn(std::span<const std::uint8_t> archive, std::string_view key) {
  const char* reason = nullptr;
  if (!BinaryPropertyList::hasMagic(archive)) return std::nullopt;
  const auto list = BinaryPropertyList::open(archive, reason);
  if (!list) return std::nullopt;
  const Object data = DataFinder(*list).find(key);
  if (data.kind != Kind::Data) return std::nullopt;
  return DataPlace{static_cast<std::uint64_t>(data.payload - archive.data()), data.count};
}

}  // namespace moxtel
