// The reader: from a binary property list straight to a Value.
//
// Untrusted bytes may refer to one object from many places, make objects overlap, and nest them. So each
// object of the property list is decoded once and shared; the references and text bytes that are read are
// counted against the input's size, which a valid archive never exceeds; and the number of values in a
// collection and its depth are known before anything else visits it.
#include <algorithm>
#include <array>
#include <deque>

#include "plist/ArchiveNames.h"
#include "plist/BinaryPropertyList.h"
#include "plist/KeyedArchive.h"
#include "plist/PropertyListLeaves.h"
#include "plist/XmlArchive.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

using Fields = ArchiveFields;
using Class = ArchiveClass;

// The keys of a dictionary. Dictionaries whose lists of references are the same bytes share one.
struct Keys {
  std::string_view bytes;  // the references; empty: not shared
  std::size_t count = 0;
  Shared<KeyList> list;     // if all keys are distinct
  std::vector<Text> texts;  // otherwise
};

// Which of an archived object's entries is which field: the same for all objects whose keys are the same
// bytes.
struct FieldLayout {
  static constexpr std::size_t kMost = 8;
  std::string_view bytes;
  std::array<std::uint64_t Fields::*, kMost> fields{};
  bool numbered = false;
};

class ArchiveDecoder final {
 public:
  ArchiveDecoder(const BinaryPropertyList& list, const ArchiveLimits& limits);
  std::variant<Value, DecodingError> root();

 private:
  struct Collection {
    Value value;
    std::uint64_t unfolds = 0;  // values in it, itself included, shared ones counted each time
    std::size_t height = 0;     // collections on the longest way down, itself included
  };
  // The running measures of a collection that is being decoded.
  struct Measure {
    std::uint64_t unfolds = 1;
    std::size_t height = 0;
  };
  // The UIDs of a collection's contents: references in the property list or, in old forms of archives, a part
  // of uids_, which is a stack.
  struct Uids {
    const std::uint8_t* references = nullptr;
    std::size_t first = 0;
    std::size_t count = 0;
  };

  bool fail(const char* reason) {
    if (!reason_) reason_ = reason;
    return false;
  }
  // Whether a reader returned no reason for a failure.
  bool fine(const char* reason) { return !reason || fail(reason); }
  bool spend(std::uint64_t count) {
    if (count > budget_) return fail("the archive's objects overlap");
    budget_ -= count;
    return true;
  }

  bool openFrame(std::uint64_t& rootUid);
  bool uid(std::uint64_t number, std::uint64_t& out) {
    return list_.uid(number, out) || fail("expected a UID, found another object");
  }
  bool uidAt(const Uids& uids, std::size_t index, std::uint64_t& out);
  bool objectNumber(std::uint64_t uid, std::uint64_t& number);
  bool value(std::uint64_t uid, std::size_t depth, Measure& parent, Value& out);
  bool value(std::uint64_t number, const Object& object, std::size_t depth, Measure& parent, Value& out);
  bool recall(std::uint32_t slot, std::size_t depth, Measure& parent, Value& out);
  bool plain(const Object& object, Value& out);
  bool seconds(const Object& object, double& out);
  bool leaf(std::uint64_t number, const Object& object, Value& out);
  std::uint32_t store(const Value& leaf);
  bool text(const Object& object, Value& out);
  bool inlined(std::uint64_t number, Value& out);

  bool archived(std::uint64_t number, const Object& object, std::size_t depth, Measure& parent, Value& out);
  bool collection(Class kind, const Object& object, const Fields& fields, std::size_t depth, Measure& own,
                  Value& out);
  bool readFields(const Object& object, Fields& fields);
  bool readManyFields(const Object& object, Fields& fields);
  bool readField(std::uint64_t key, std::uint64_t Fields::*& field, bool& numbered);
  std::string_view referencesOf(const Object& object, std::uint64_t count) const {
    return {reinterpret_cast<const char*>(object.payload),
            static_cast<std::size_t>(count) * list_.referenceWidth()};
  }
  bool rawText(std::uint64_t number, std::string_view& out);
  bool classOf(std::uint64_t uidNumber, Class& out);
  bool classAt(std::uint64_t number, Class& out);
  bool readClass(const Object& object, Class& out);
  bool hintedClass(std::uint64_t hints, Class& out);
  bool stringObject(const Fields& fields, Value& out);
  bool dataObject(const Fields& fields, Value& out);
  bool dateObject(const Fields& fields, Value& out);
  bool readUids(std::uint64_t number, Uids& out);
  bool numberedUids(const Object& object, std::string_view prefix, Uids& out);
  bool uidsOf(std::uint64_t number, const Object& object, std::string_view prefix, bool numbered, Uids& out);
  bool values(const Uids& uids, std::size_t depth, Measure& own, Value* out);
  bool keysOf(const Fields& fields, const Object& object, std::size_t depth, const Keys*& out);
  bool readKeys(const Fields& fields, const Object& object, std::size_t depth, Keys& out);
  static Value dictionaryOf(const Keys& keys, std::vector<Value> values, Mutability mutability);

  const BinaryPropertyList& list_;
  const ArchiveLimits& limits_;
  const char* reason_ = nullptr;
  Object objects_;
  std::uint64_t budget_ = 0;
  // By number in the property list: kUntouched, kInProgress, a class (kFirstClass), or where a decoded object
  // is in leaves_ or collections_ (kFirstStored, kCollectionBit).
  std::vector<std::uint32_t> slots_;
  std::vector<std::uint64_t> uids_;
  std::vector<Value> leaves_;
  std::vector<Collection> collections_;
  std::deque<Keys> keys_;
  std::array<const Keys*, 16> keyLists_{};  // a cache, by first reference and length
  FieldLayout layout_;
  std::uint64_t lastClassUid_ = Fields::kNone;  // number in the property list
  Class lastClass_ = Class::None;
};

constexpr std::uint32_t kUntouched = 0;
constexpr std::uint32_t kInProgress = 1;
constexpr std::uint32_t kFirstClass = 2;  // plus a Class
constexpr std::uint32_t kFirstStored = 16;
constexpr std::uint32_t kCollectionBit = 1u << 31;

ArchiveDecoder::ArchiveDecoder(const BinaryPropertyList& list, const ArchiveLimits& limits)
    // The input contains each reference and each byte of text once; writers that store equal lists once make
    // the reader read them a second time.
    : list_(list), limits_(limits), budget_(2 * static_cast<std::uint64_t>(list.size()) + 256) {}

std::variant<Value, DecodingError> ArchiveDecoder::root() {
  std::uint64_t rootUid = 0;
  Value value;
  Measure measure{.unfolds = 0};
  if (list_.objectCount() >= kCollectionBit - kFirstStored) {
    fail("the archive has too many objects");
  } else if (openFrame(rootUid)) {
    slots_.resize(static_cast<std::size_t>(list_.objectCount()), kUntouched);
    this->value(rootUid, 0, measure, value);
  }
  if (reason_) return DecodingError{reason_};
  return value;
}

// $objects, and the UID of the root.
bool ArchiveDecoder::openFrame(std::uint64_t& rootUid) {
  const Object frame = list_.object(list_.topNumber());
  if (frame.kind != Kind::Dictionary) return fail("the property list is no dictionary");
  std::uint64_t top = Fields::kNone;
  std::uint64_t objects = Fields::kNone;
  if (!spend(2 * frame.count)) return false;
  for (std::uint64_t i = 0; i < frame.count; ++i) {
    std::string_view key;
    if (!rawText(list_.reference(frame.payload, i), key)) return false;
    if (key == "$top") top = list_.reference(frame.payload, frame.count + i);
    if (key == "$objects") objects = list_.reference(frame.payload, frame.count + i);
  }
  objects_ = list_.object(objects);
  if (objects_.kind != Kind::Array) return fail("the archive has no $objects");
  const Object roots = list_.object(top);
  if (roots.kind != Kind::Dictionary) return fail("the archive has no $top");
  std::uint64_t root = Fields::kNone;
  if (!spend(2 * roots.count)) return false;
  for (std::uint64_t i = 0; i < roots.count; ++i) {
    std::string_view key;
    if (!rawText(list_.reference(roots.payload, i), key)) return false;
    if (key == "root") root = list_.reference(roots.payload, roots.count + i);
  }
  return root == Fields::kNone ? fail("the archive has no root") : uid(root, rootUid);
}

[[gnu::always_inline]] inline bool ArchiveDecoder::uidAt(const Uids& uids, std::size_t index,
                                                         std::uint64_t& out) {
  if (uids.references) return uid(list_.reference(uids.references, index), out);
  out = uids_[uids.first + index];
  return true;
}

[[gnu::always_inline]] inline bool ArchiveDecoder::objectNumber(std::uint64_t uid, std::uint64_t& number) {
  if (uid >= objects_.count) return fail("a UID is past the end of $objects");
  number = list_.reference(objects_.payload, uid);
  return true;
}

// The object that the UID refers to, for a collection that is nested in `depth` others and measures its
// contents. UID 0 is nil.
bool ArchiveDecoder::value(std::uint64_t uid, std::size_t depth, Measure& parent, Value& out) {
  parent.unfolds += 1;
  if (uid == 0) return true;
  std::uint64_t number = 0;
  return objectNumber(uid, number) && value(number, list_.object(number), depth, parent, out);
}

[[gnu::always_inline]] inline bool ArchiveDecoder::value(std::uint64_t number, const Object& object,
                                                         std::size_t depth, Measure& parent, Value& out) {
  if (object.kind == Kind::Dictionary) return archived(number, object, depth, parent, out);
  return leaf(number, object, out);
}

bool ArchiveDecoder::recall(std::uint32_t slot, std::size_t depth, Measure& parent, Value& out) {
  if (slot == kInProgress) return fail("an object contains itself");
  if (slot < kFirstStored) return fail("expected a value, found a class");
  if ((slot & kCollectionBit) == 0) {
    out = leaves_[slot - kFirstStored];
    return true;
  }
  const Collection& known = collections_[(slot & ~kCollectionBit) - kFirstStored];
  if (depth + known.height > limits_.depth) return fail("collections are nested too deep");
  parent.unfolds += known.unfolds - 1;
  parent.height = std::max(parent.height, known.height);
  out = known.value;
  return true;
}

// A number, boolean, date, text or data object. Texts and data are kept for further references to them.
[[gnu::always_inline]] inline bool ArchiveDecoder::leaf(std::uint64_t number, const Object& object,
                                                        Value& out) {
  if (object.kind < Kind::Data) return plain(object, out);
  std::uint32_t& slot = slots_[static_cast<std::size_t>(number)];
  Measure none;
  if (slot != kUntouched) return recall(slot, 0, none, out);
  if (object.kind == Kind::Data) {
    if (!spend(object.count)) return false;
    out = Bytes(object.payload, object.payload + object.count);
  } else if (!text(object, out)) {
    return false;
  }
  slot = store(out);
  return true;
}

std::uint32_t ArchiveDecoder::store(const Value& leaf) {
  leaves_.push_back(leaf);
  return static_cast<std::uint32_t>(leaves_.size() - 1) + kFirstStored;
}

[[gnu::always_inline]] inline bool ArchiveDecoder::plain(const Object& object, Value& out) {
  switch (object.kind) {
    case Kind::Boolean:
      out = object.count != 0;
      return true;
    case Kind::Integer:
      return fine(readInteger(object, out));
    case Kind::Real:
      out = realOf(object);
      return true;
    case Kind::Date:
      out = Date{realOf(object)};
      return true;
    default:
      return fail("an object cannot be read");
  }
}

// Of a date object: any number.
bool ArchiveDecoder::seconds(const Object& object, double& out) {
  if (object.kind == Kind::Real) {
    out = realOf(object);
    return true;
  }
  Value value;
  if (object.kind != Kind::Integer) return fail("a date has no time");
  if (!fine(readInteger(object, value))) return false;
  out = value.doubleValue();
  return true;
}

bool ArchiveDecoder::text(const Object& object, Value& out) {
  if (object.kind != Kind::Ascii && object.kind != Kind::Utf16) return fail("an object cannot be read");
  return spend(object.count) && fine(readText(object, out));
}

// A text or data object that an archived object refers to, directly or by a UID.
bool ArchiveDecoder::inlined(std::uint64_t number, Value& out) {
  Object object = list_.object(number);
  if (object.kind == Kind::Uid) {
    std::uint64_t named = 0;
    if (!uid(number, named) || !objectNumber(named, number)) return false;
    object = list_.object(number);
  }
  if (object.kind == Kind::Dictionary) return fail("expected a text or data, found a dictionary");
  return leaf(number, object, out);
}

bool ArchiveDecoder::archived(std::uint64_t number, const Object& object, std::size_t depth, Measure& parent,
                              Value& out) {
  const auto place = static_cast<std::size_t>(number);
  if (slots_[place] != kUntouched) return recall(slots_[place], depth, parent, out);
  slots_[place] = kInProgress;
  Fields fields;
  Class kind = Class::None;
  if (!readFields(object, fields)) return false;
  if (fields.classUid == Fields::kNone) return fail("an object has no class");
  if (!classOf(fields.classUid, kind)) return false;
  if (kind >= Class::Array) {
    if (depth >= limits_.depth) return fail("collections are nested too deep");
    Measure own;
    const std::size_t bottom = uids_.size();
    if (!collection(kind, object, fields, depth + 1, own, out)) return false;
    uids_.resize(bottom);
    own.height += 1;
    parent.unfolds += own.unfolds - 1;
    parent.height = std::max(parent.height, own.height);
    slots_[place] = (static_cast<std::uint32_t>(collections_.size()) + kFirstStored) | kCollectionBit;
    collections_.push_back({out, own.unfolds, own.height});
    return parent.unfolds <= limits_.values || fail("the archive expands into too many values");
  }
  const bool read = kind == Class::String ? stringObject(fields, out)
                    : kind == Class::Data ? dataObject(fields, out)
                    : kind == Class::Date ? dateObject(fields, out)
                                          : true;
  if (!read) return false;
  slots_[place] = store(out);
  return true;
}

bool ArchiveDecoder::collection(Class kind, const Object& object, const Fields& fields, std::size_t depth,
                                Measure& own, Value& out) {
  const bool isMutable = kind == Class::MutableArray || kind == Class::MutableDictionary;
  const Mutability mutability = isMutable ? Mutability::Mutable : Mutability::Immutable;
  Uids objects;
  if (!uidsOf(fields.objects, object, kNumberedObject, fields.numbered, objects)) return false;
  if (kind == Class::Array || kind == Class::MutableArray) {
    std::vector<Value> items(objects.count);
    if (!values(objects, depth, own, items.data())) return false;
    out = Array(std::move(items), mutability);
    return true;
  }
  const Keys* keys = nullptr;
  if (!keysOf(fields, object, depth, keys)) return false;
  if (keys->count != objects.count) return fail("a dictionary's keys and objects differ in number");
  std::vector<Value> items(objects.count);
  if (!values(objects, depth, own, items.data())) return false;
  out = dictionaryOf(*keys, std::move(items), mutability);
  return true;
}

Value ArchiveDecoder::dictionaryOf(const Keys& keys, std::vector<Value> values, Mutability mutability) {
  if (keys.list) return Dictionary(keys.list, std::move(values), mutability);
  Dictionary entries(mutability);
  for (std::size_t i = 0; i < values.size(); ++i) entries.set(keys.texts[i], std::move(values[i]));
  return entries;
}

bool ArchiveDecoder::readFields(const Object& object, Fields& fields) {
  if (!spend(2 * object.count)) return false;
  if (object.count > FieldLayout::kMost) return readManyFields(object, fields);
  const std::string_view keys = referencesOf(object, object.count);
  if (layout_.bytes != keys) {
    FieldLayout layout{.bytes = keys};
    for (std::size_t i = 0; i < object.count; ++i) {
      if (!readField(list_.reference(object.payload, i), layout.fields[i], layout.numbered)) return false;
    }
    layout_ = layout;
  }
  for (std::size_t i = 0; i < object.count; ++i) {
    if (layout_.fields[i]) fields.*layout_.fields[i] = list_.reference(object.payload, object.count + i);
  }
  fields.numbered = layout_.numbered;
  return true;
}

bool ArchiveDecoder::readManyFields(const Object& object, Fields& fields) {
  for (std::uint64_t i = 0; i < object.count; ++i) {
    std::uint64_t Fields::*field = nullptr;
    if (!readField(list_.reference(object.payload, i), field, fields.numbered)) return false;
    if (field) fields.*field = list_.reference(object.payload, object.count + i);
  }
  return true;
}

bool ArchiveDecoder::readField(std::uint64_t key, std::uint64_t Fields::*& field, bool& numbered) {
  std::string_view name;
  if (!rawText(key, name)) return false;
  field = archiveFieldNamed(name);
  numbered = numbered || name.starts_with(kNumberedObject) || name.starts_with(kNumberedKey);
  return true;
}

// A key of the property list itself. The keys in use are ASCII; any other text reads as an empty one.
bool ArchiveDecoder::rawText(std::uint64_t number, std::string_view& out) {
  const Object object = list_.object(number);
  if (object.kind == Kind::Utf16) return true;
  if (object.kind != Kind::Ascii) return fail("a key of the property list is no text");
  out = {reinterpret_cast<const char*>(object.payload), static_cast<std::size_t>(object.count)};
  return true;
}

// The class that a UID object refers to, nearly always the same as for the object before.
bool ArchiveDecoder::classOf(std::uint64_t uidNumber, Class& out) {
  if (uidNumber != lastClassUid_) {
    std::uint64_t classUid = 0;
    std::uint64_t number = 0;
    if (!uid(uidNumber, classUid) || !objectNumber(classUid, number)) return false;
    if (!classAt(number, lastClass_)) return false;
    lastClassUid_ = uidNumber;
  }
  out = lastClass_;
  return true;
}

bool ArchiveDecoder::classAt(std::uint64_t number, Class& out) {
  if (number >= list_.objectCount()) return fail("a class cannot be read");
  std::uint32_t& slot = slots_[static_cast<std::size_t>(number)];
  if (slot >= kFirstStored || slot == kInProgress) return fail("expected a class, found a value");
  if (slot == kUntouched) {
    if (!readClass(list_.object(number), out)) return false;
    slot = kFirstClass + static_cast<std::uint32_t>(out);
  }
  out = static_cast<Class>(slot - kFirstClass);
  return true;
}

bool ArchiveDecoder::readClass(const Object& object, Class& out) {
  if (object.kind != Kind::Dictionary) return fail("a class is no class");
  if (!spend(2 * object.count)) return false;
  std::string_view name;
  std::uint64_t hints = Fields::kNone;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    std::string_view key;
    const std::uint64_t value = list_.reference(object.payload, object.count + i);
    if (!rawText(list_.reference(object.payload, i), key)) return false;
    if (key == "$classname" && !rawText(value, name)) return false;
    if (key == "$classhints") hints = value;
  }
  if (name.empty()) return fail("a class has no name");
  out = archiveClassNamed(name);
  if (out == Class::None && hints != Fields::kNone && !hintedClass(hints, out)) return false;
  return out != Class::None || fail("an object's class is unknown");
}

bool ArchiveDecoder::hintedClass(std::uint64_t hints, Class& out) {
  const Object names = list_.object(hints);
  if (names.kind != Kind::Array) return fail("a class's hints are no list");
  if (!spend(names.count)) return false;
  for (std::uint64_t i = 0; i < names.count && out == Class::None; ++i) {
    std::string_view name;
    if (!rawText(list_.reference(names.payload, i), name)) return false;
    out = archiveClassNamed(name);
  }
  return true;
}

// NS.string, or UTF-8 in NS.bytes, as old versions of the platform write.
bool ArchiveDecoder::stringObject(const Fields& fields, Value& out) {
  if (fields.string != Fields::kNone) {
    return inlined(fields.string, out) && (out.isString() || fail("a string object holds no text"));
  }
  if (fields.bytes == Fields::kNone) return fail("a string object holds no text");
  Value bytes;
  if (!inlined(fields.bytes, bytes)) return false;
  if (bytes.isString()) {
    out = bytes;
    return true;
  }
  if (!bytes.isData()) return fail("a string object holds no text");
  const std::string_view utf8(reinterpret_cast<const char*>(bytes.data().data()), bytes.data().size());
  if (!spend(utf8.size())) return false;
  if (!isValidUtf8(utf8)) return fail("a text is no valid UTF-8");
  out = utf8;
  return true;
}

bool ArchiveDecoder::dataObject(const Fields& fields, Value& out) {
  const std::uint64_t field = fields.data != Fields::kNone ? fields.data : fields.bytes;
  if (field == Fields::kNone) return fail("a data object holds no data");
  return inlined(field, out) && (out.isData() || fail("a data object holds no data"));
}

bool ArchiveDecoder::dateObject(const Fields& fields, Value& out) {
  double seconds = 0;
  if (!this->seconds(list_.object(fields.time), seconds)) return false;
  out = Date{seconds};
  return true;
}

bool ArchiveDecoder::uidsOf(std::uint64_t number, const Object& object, std::string_view prefix,
                            bool numbered, Uids& out) {
  if (number != Fields::kNone) return readUids(number, out);
  return !numbered || numberedUids(object, prefix, out);
}

bool ArchiveDecoder::readUids(std::uint64_t number, Uids& out) {
  const Object uids = list_.object(number);
  if (uids.kind != Kind::Array) return fail("a collection's contents are no list");
  if (!spend(uids.count)) return false;
  out = {.references = uids.payload, .count = static_cast<std::size_t>(uids.count)};
  return true;
}

// NS.object.0, NS.object.1 …, in any order.
bool ArchiveDecoder::numberedUids(const Object& object, std::string_view prefix, Uids& out) {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> found;
  for (std::uint64_t i = 0; i < object.count; ++i) {
    std::string_view key;
    if (!rawText(list_.reference(object.payload, i), key)) return false;
    const auto position = numberAfter(prefix, key);
    if (!position) continue;
    std::uint64_t named = 0;
    if (!uid(list_.reference(object.payload, object.count + i), named)) return false;
    found.emplace_back(*position, named);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  out.first = uids_.size();
  for (const auto& [position, named] : found) {
    if (out.count > 0 && position == out.count - 1) {
      uids_.back() = named;  // a repeated key: the last one counts
    } else if (position == out.count) {
      uids_.push_back(named);
      ++out.count;
    } else {
      return fail("a collection's numbered contents have a gap");
    }
  }
  return true;
}

// The objects that the UIDs refer to, for a collection that measures its contents; `out` has room for them.
bool ArchiveDecoder::values(const Uids& uids, std::size_t depth, Measure& own, Value* out) {
  for (std::size_t i = 0; i < uids.count; ++i) {
    std::uint64_t named = 0;
    if (!uidAt(uids, i, named) || !value(named, depth, own, out[i])) return false;
  }
  return true;
}

bool ArchiveDecoder::keysOf(const Fields& fields, const Object& object, std::size_t depth, const Keys*& out) {
  const Object list = fields.keys == Fields::kNone ? Object{} : list_.object(fields.keys);
  const bool isList = list.kind == Kind::Array && list.count > 0;
  const std::string_view bytes = isList ? referencesOf(list, list.count) : std::string_view();
  const Keys** kept = nullptr;
  if (isList) {
    kept = &keyLists_[(list_.reference(list.payload, 0) + list.count) % keyLists_.size()];
    out = *kept;
    if (out && out->bytes == bytes) return spend(list.count);
  }
  Keys& read = keys_.emplace_back();
  if (!readKeys(fields, object, depth, read)) return false;
  read.bytes = bytes;
  if (kept) *kept = &read;
  out = &read;
  return true;
}

bool ArchiveDecoder::readKeys(const Fields& fields, const Object& object, std::size_t depth, Keys& out) {
  Uids uids;
  if (!uidsOf(fields.keys, object, kNumberedKey, fields.numbered, uids)) return false;
  out.count = uids.count;
  out.texts.reserve(uids.count);
  KeyList list;
  list.reserve(uids.count);
  Measure none;
  for (std::size_t i = 0; i < uids.count; ++i) {
    std::uint64_t named = 0;
    Value key;
    if (!uidAt(uids, i, named) || !value(named, depth, none, key)) return false;
    if (!key.isString()) return fail("a dictionary's key is no text");
    out.texts.push_back(key.text());
    if (list.position(key.string()) == list.size()) list.append(key.text());
  }
  if (list.size() == uids.count) {
    out.texts = {};
    out.list.reset(std::move(list));
  }
  return true;
}

}  // namespace

std::variant<Value, DecodingError> unarchivedObject(std::span<const std::uint8_t> bytes,
                                                    const ArchiveLimits& limits) {
  if (bytes.empty()) return DecodingError{"there are no bytes"};
  Bytes converted;
  if (!BinaryPropertyList::hasMagic(bytes)) {
    auto binary = binaryPropertyListOfXml(bytes);
    if (auto* error = std::get_if<DecodingError>(&binary)) return std::move(*error);
    converted = std::move(std::get<Bytes>(binary));
    bytes = converted;
  }
  const char* reason = nullptr;
  const auto list = BinaryPropertyList::open(bytes, reason);
  if (!list) return DecodingError{reason};
  return ArchiveDecoder(*list, limits).root();
}

}  // namespace moxtel
