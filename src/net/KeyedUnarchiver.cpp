// The reader: from a binary property list straight to a Value.
//
// A stranger's bytes may name one object from many places, lay objects over one another, and nest them. So
// each object of the property list is decoded once and shared; the references and text bytes that are read
// are counted against the input's size, which an honest archive never passes; and what a collection unfolds
// into and how deep it is nested is known before anyone walks it.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <memory>
#include <optional>

#include "net/BinaryPropertyList.h"
#include "net/KeyedArchive.h"
#include "net/XmlPropertyList.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

// The classes that an archive's objects may have.
enum class Class : std::uint8_t {
  None,
  String,
  Data,
  Date,
  Null,
  Array,
  MutableArray,
  Dictionary,
  MutableDictionary
};

Class classNamed(std::string_view name) {
  struct Named {
    std::string_view name;
    Class kind;
  };
  static constexpr Named kClasses[] = {{"NSMutableDictionary", Class::MutableDictionary},
                                       {"NSMutableArray", Class::MutableArray},
                                       {"NSDictionary", Class::Dictionary},
                                       {"NSArray", Class::Array},
                                       {"NSString", Class::String},
                                       {"NSMutableString", Class::String},
                                       {"NSData", Class::Data},
                                       {"NSMutableData", Class::Data},
                                       {"NSDate", Class::Date},
                                       {"NSNull", Class::Null},
                                       {"NSSet", Class::Array},
                                       {"NSMutableSet", Class::MutableArray}};
  for (const Named& known : kClasses) {
    if (known.name == name) return known.kind;
  }
  return Class::None;
}

// The entries of an archived object's dictionary that matter: numbers of the property list's objects.
struct Fields {
  static constexpr std::uint64_t kNone = UINT64_MAX;
  std::uint64_t classUid = kNone;
  std::uint64_t keys = kNone;
  std::uint64_t objects = kNone;
  std::uint64_t string = kNone;
  std::uint64_t bytes = kNone;
  std::uint64_t data = kNone;
  std::uint64_t time = kNone;
  bool numbered = false;  // has keys like NS.object.0
};

std::uint64_t Fields::*fieldNamed(std::string_view name) {
  struct Named {
    std::string_view name;
    std::uint64_t Fields::*field;
  };
  static constexpr Named kFields[] = {{"$class", &Fields::classUid},    {"NS.keys", &Fields::keys},
                                      {"NS.objects", &Fields::objects}, {"NS.string", &Fields::string},
                                      {"NS.bytes", &Fields::bytes},     {"NS.data", &Fields::data},
                                      {"NS.time", &Fields::time}};
  for (const Named& known : kFields) {
    if (known.name == name) return known.field;
  }
  return nullptr;
}

constexpr std::string_view kNumberedObject = "NS.object.";
constexpr std::string_view kNumberedKey = "NS.key.";

// The number at the end of "NS.object.12"; nothing for another text.
std::optional<std::uint64_t> numberAfter(std::string_view prefix, std::string_view text) {
  if (!text.starts_with(prefix) || text.size() == prefix.size()) return std::nullopt;
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + prefix.size(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

// The keys of a dictionary. Dictionaries of one kind have lists of the same bytes, and share what they mean.
struct KeyList {
  std::string_view bytes;  // the references as they stand; empty: known to nobody else
  std::vector<Text> texts;
  bool distinct = false;
};

// Which of an archived object's entries is which field: the same for all objects whose keys are the same
// bytes.
struct FieldLayout {
  static constexpr std::size_t kMost = 8;
  std::string_view bytes;
  std::array<std::uint64_t Fields::*, kMost> fields{};
  bool numbered = false;
};

class Decoder final {
 public:
  Decoder(const BinaryPropertyList& list, const ArchiveLimits& limits);
  std::variant<Value, DecodingError> root();

 private:
  struct Collection {
    Value value;
    std::uint64_t unfolds = 0;  // values in it, itself included, shared ones counted each time
    std::size_t height = 0;     // collections on the longest way down, itself included
  };
  // What is being put together: its UIDs and the running measures.
  struct Measure {
    std::uint64_t unfolds = 1;
    std::size_t height = 0;
  };
  // A stretch of uids_, which grows and shrinks as a stack: no memory is asked for each collection.
  struct Uids {
    std::size_t first = 0;
    std::size_t count = 0;
  };

  bool fail(const char* reason) {
    if (!reason_) reason_ = reason;
    return false;
  }
  bool spend(std::uint64_t count) {
    if (count > budget_) return fail("the archive's objects lie over one another");
    budget_ -= count;
    return true;
  }

  bool openFrame(std::uint64_t& rootUid);
  bool uid(std::uint64_t number, std::uint64_t& out);
  bool objectNumber(std::uint64_t uid, std::uint64_t& number);
  bool value(std::uint64_t uid, std::size_t depth, Measure& parent, Value& out);
  bool recall(std::uint32_t slot, std::size_t depth, Measure& parent, Value& out);
  bool plain(const Object& object, Value& out);
  bool integer(const Object& object, Value& out);
  bool number(const Object& object, double& out);
  bool leaf(std::uint64_t number, const Object& object, Value& out);
  bool text(const Object& object, Value& out);
  bool utf16(const Object& object, std::string& out);
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
  bool classOf(std::uint64_t number, Class& out);
  bool readClass(const Object& object, Class& out);
  bool hintedClass(std::uint64_t hints, Class& out);
  bool stringObject(const Fields& fields, Value& out);
  bool dataObject(const Fields& fields, Value& out);
  bool dateObject(const Fields& fields, Value& out);
  bool readUids(std::uint64_t number, Uids& out);
  bool numberedUids(const Object& object, std::string_view prefix, Uids& out);
  bool uidsOf(std::uint64_t number, const Object& object, std::string_view prefix, bool numbered, Uids& out);
  bool array(const Uids& uids, Mutability mutability, std::size_t depth, Measure& own, Value& out);
  bool dictionary(KeyList& keys, const Uids& objects, Mutability mutability, std::size_t depth, Measure& own,
                  Value& out);
  bool keysOf(const Fields& fields, const Object& object, std::size_t depth, std::shared_ptr<KeyList>& out);
  bool readKeys(const Fields& fields, const Object& object, std::size_t depth, std::shared_ptr<KeyList>& out);

  const BinaryPropertyList& list_;
  const ArchiveLimits& limits_;
  const char* reason_ = nullptr;
  Object objects_;
  std::uint64_t budget_ = 0;
  // By number in the property list: what became of the object.
  std::vector<std::uint32_t> slots_;
  std::vector<std::uint64_t> uids_;
  std::vector<Value> leaves_;
  std::vector<Collection> collections_;
  std::array<std::shared_ptr<KeyList>, 16> keyLists_;  // by what their references begin with
  FieldLayout layout_;
};

constexpr std::uint32_t kUntouched = 0;
constexpr std::uint32_t kInProgress = 1;
constexpr std::uint32_t kFirstClass = 2;  // plus a Class
constexpr std::uint32_t kFirstStored = 16;
constexpr std::uint32_t kCollectionBit = 1u << 31;

Decoder::Decoder(const BinaryPropertyList& list, const ArchiveLimits& limits)
    // Each reference and each byte of text stands in the input once; those of objects that may be shared are
    // read a second time by writers that save room.
    : list_(list), limits_(limits), budget_(2 * static_cast<std::uint64_t>(list.size()) + 256) {}

std::variant<Value, DecodingError> Decoder::root() {
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
bool Decoder::openFrame(std::uint64_t& rootUid) {
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

bool Decoder::uid(std::uint64_t number, std::uint64_t& out) {
  return list_.uid(number, out) || fail("something else stands where a UID belongs");
}

bool Decoder::objectNumber(std::uint64_t uid, std::uint64_t& number) {
  if (uid >= objects_.count) return fail("a UID lies past the end of $objects");
  number = list_.reference(objects_.payload, uid);
  return true;
}

// The object that the UID names, for a collection that is nested in `depth` others and measures its contents.
bool Decoder::value(std::uint64_t uid, std::size_t depth, Measure& parent, Value& out) {
  parent.unfolds += 1;
  if (uid == 0) return true;
  std::uint64_t number = 0;
  if (!objectNumber(uid, number)) return false;
  const Object object = list_.object(number);
  if (object.kind == Kind::Dictionary) return archived(number, object, depth, parent, out);
  return leaf(number, object, out);
}

bool Decoder::recall(std::uint32_t slot, std::size_t depth, Measure& parent, Value& out) {
  if (slot == kInProgress) return fail("an object contains itself");
  if (slot < kFirstStored) return fail("a class stands where a value belongs");
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

// A number, boolean, date, text or data object itself; texts and data are kept for whoever names them next.
bool Decoder::leaf(std::uint64_t number, const Object& object, Value& out) {
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
  slot = static_cast<std::uint32_t>(leaves_.size()) + kFirstStored;
  leaves_.push_back(out);
  return true;
}

bool Decoder::plain(const Object& object, Value& out) {
  double real = 0;
  switch (object.kind) {
    case Kind::Boolean:
      out = object.count != 0;
      return true;
    case Kind::Integer:
      return integer(object, out);
    case Kind::Real:
      if (!number(object, real)) return false;
      out = real;
      return true;
    case Kind::Date:
      out = Date{std::bit_cast<double>(sizedNumber(object.payload, 8))};
      return true;
    default:
      return fail("an object cannot be read");
  }
}

// 1, 2 and 4 bytes are unsigned, 8 are signed; 16 are signed and must fit into 64 bits, signed or not.
bool Decoder::integer(const Object& object, Value& out) {
  if (object.count < 16) {
    out = static_cast<std::int64_t>(sizedNumber(object.payload, static_cast<std::size_t>(object.count)));
    return true;
  }
  const std::uint64_t high = sizedNumber(object.payload, 8);
  const std::uint64_t low = sizedNumber(object.payload + 8, 8);
  if (high == 0) {
    out = low;
  } else if (high == UINT64_MAX && low >> 63 != 0) {
    out = static_cast<std::int64_t>(low);
  } else {
    return fail("an integer has more than 64 bits");
  }
  return true;
}

bool Decoder::number(const Object& object, double& out) {
  if (object.kind == Kind::Real) {
    const std::uint64_t bits = sizedNumber(object.payload, static_cast<std::size_t>(object.count));
    out = object.count == 8 ? std::bit_cast<double>(bits)
                            : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return true;
  }
  Value value;
  if (object.kind != Kind::Integer || !integer(object, value)) return fail("a date has no time");
  out = value.doubleValue();
  return true;
}

bool Decoder::text(const Object& object, Value& out) {
  if (object.kind != Kind::Ascii && object.kind != Kind::Utf16) return fail("an object cannot be read");
  if (!spend(object.count)) return false;
  if (object.kind == Kind::Ascii) {
    const std::string_view ascii(reinterpret_cast<const char*>(object.payload),
                                 static_cast<std::size_t>(object.count));
    if (!isAscii(ascii)) return fail("a text marked as ASCII is none");
    out = ascii;
    return true;
  }
  std::string utf8;
  if (!utf16(object, utf8)) return false;
  out = utf8;
  return true;
}

bool Decoder::utf16(const Object& object, std::string& out) {
  out.reserve(static_cast<std::size_t>(object.count));
  for (std::uint64_t i = 0; i < object.count; ++i) {
    auto unit = static_cast<char32_t>(sizedNumber(object.payload + 2 * i, 2));
    if (unit >= 0xD800 && unit < 0xE000) {
      if (unit >= 0xDC00 || ++i == object.count) return fail("a text is no valid UTF-16");
      const auto low = static_cast<char32_t>(sizedNumber(object.payload + 2 * i, 2));
      if (low < 0xDC00 || low > 0xDFFF) return fail("a text is no valid UTF-16");
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    appendUtf8(out, unit);
  }
  return true;
}

// A text or data that stands in an object's own dictionary, or that a UID there names.
bool Decoder::inlined(std::uint64_t number, Value& out) {
  Object object = list_.object(number);
  if (object.kind == Kind::Uid) {
    std::uint64_t named = 0;
    if (!uid(number, named) || !objectNumber(named, number)) return false;
    object = list_.object(number);
  }
  if (object.kind == Kind::Dictionary) return fail("something else stands where a text or data belongs");
  return leaf(number, object, out);
}

bool Decoder::archived(std::uint64_t number, const Object& object, std::size_t depth, Measure& parent,
                       Value& out) {
  const auto place = static_cast<std::size_t>(number);
  if (slots_[place] != kUntouched) return recall(slots_[place], depth, parent, out);
  slots_[place] = kInProgress;
  Fields fields;
  Class kind = Class::None;
  if (!readFields(object, fields)) return false;
  if (fields.classUid == Fields::kNone) return fail("an object has no class");
  std::uint64_t classUid = 0;
  std::uint64_t classNumber = 0;
  if (!uid(fields.classUid, classUid) || !objectNumber(classUid, classNumber)) return false;
  if (!classOf(classNumber, kind)) return false;
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
    return parent.unfolds <= limits_.values || fail("the archive unfolds into too many values");
  }
  const bool read = kind == Class::String ? stringObject(fields, out)
                    : kind == Class::Data ? dataObject(fields, out)
                    : kind == Class::Date ? dateObject(fields, out)
                                          : true;
  if (!read) return false;
  slots_[place] = static_cast<std::uint32_t>(leaves_.size()) + kFirstStored;
  leaves_.push_back(out);
  return true;
}

bool Decoder::collection(Class kind, const Object& object, const Fields& fields, std::size_t depth,
                         Measure& own, Value& out) {
  const bool isMutable = kind == Class::MutableArray || kind == Class::MutableDictionary;
  const Mutability mutability = isMutable ? Mutability::Mutable : Mutability::Immutable;
  Uids objects;
  if (!uidsOf(fields.objects, object, kNumberedObject, fields.numbered, objects)) return false;
  if (kind == Class::Array || kind == Class::MutableArray) return array(objects, mutability, depth, own, out);
  std::shared_ptr<KeyList> keys;
  if (!keysOf(fields, object, depth, keys)) return false;
  if (keys->texts.size() != objects.count) return fail("a dictionary's keys and objects differ in number");
  return dictionary(*keys, objects, mutability, depth, own, out);
}

bool Decoder::readFields(const Object& object, Fields& fields) {
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

bool Decoder::readManyFields(const Object& object, Fields& fields) {
  for (std::uint64_t i = 0; i < object.count; ++i) {
    std::uint64_t Fields::*field = nullptr;
    if (!readField(list_.reference(object.payload, i), field, fields.numbered)) return false;
    if (field) fields.*field = list_.reference(object.payload, object.count + i);
  }
  return true;
}

bool Decoder::readField(std::uint64_t key, std::uint64_t Fields::*& field, bool& numbered) {
  std::string_view name;
  if (!rawText(key, name)) return false;
  field = fieldNamed(name);
  numbered = numbered || name.starts_with(kNumberedObject) || name.starts_with(kNumberedKey);
  return true;
}

// A key of the property list itself. Those that matter are ASCII; another text reads as an empty one.
bool Decoder::rawText(std::uint64_t number, std::string_view& out) {
  const Object object = list_.object(number);
  if (object.kind == Kind::Utf16) return true;
  if (object.kind != Kind::Ascii) return fail("a key of the property list is no text");
  out = {reinterpret_cast<const char*>(object.payload), static_cast<std::size_t>(object.count)};
  return true;
}

bool Decoder::classOf(std::uint64_t number, Class& out) {
  if (number >= slots_.size()) return fail("a class cannot be read");
  std::uint32_t& slot = slots_[static_cast<std::size_t>(number)];
  if (slot >= kFirstStored || slot == kInProgress) return fail("a value stands where a class belongs");
  if (slot == kUntouched) {
    if (!readClass(list_.object(number), out)) return false;
    slot = kFirstClass + static_cast<std::uint32_t>(out);
  }
  out = static_cast<Class>(slot - kFirstClass);
  return true;
}

bool Decoder::readClass(const Object& object, Class& out) {
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
  out = classNamed(name);
  if (out == Class::None && hints != Fields::kNone && !hintedClass(hints, out)) return false;
  return out != Class::None || fail("an object's class is unknown");
}

bool Decoder::hintedClass(std::uint64_t hints, Class& out) {
  const Object names = list_.object(hints);
  if (names.kind != Kind::Array) return fail("a class's hints are no list");
  if (!spend(names.count)) return false;
  for (std::uint64_t i = 0; i < names.count && out == Class::None; ++i) {
    std::string_view name;
    if (!rawText(list_.reference(names.payload, i), name)) return false;
    out = classNamed(name);
  }
  return true;
}

// NS.string, or what old writers wrote: UTF-8 in NS.bytes.
bool Decoder::stringObject(const Fields& fields, Value& out) {
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

bool Decoder::dataObject(const Fields& fields, Value& out) {
  const std::uint64_t field = fields.data != Fields::kNone ? fields.data : fields.bytes;
  if (field == Fields::kNone) return fail("a data object holds no data");
  return inlined(field, out) && (out.isData() || fail("a data object holds no data"));
}

bool Decoder::dateObject(const Fields& fields, Value& out) {
  double seconds = 0;
  if (!number(list_.object(fields.time), seconds)) return false;
  out = Date{seconds};
  return true;
}

bool Decoder::uidsOf(std::uint64_t number, const Object& object, std::string_view prefix, bool numbered,
                     Uids& out) {
  if (number != Fields::kNone) return readUids(number, out);
  return !numbered || numberedUids(object, prefix, out);
}

bool Decoder::readUids(std::uint64_t number, Uids& out) {
  const Object uids = list_.object(number);
  if (uids.kind != Kind::Array) return fail("a collection's contents are no list");
  if (!spend(uids.count)) return false;
  out = {uids_.size(), static_cast<std::size_t>(uids.count)};
  uids_.resize(out.first + out.count);
  for (std::size_t i = 0; i < out.count; ++i) {
    if (!uid(list_.reference(uids.payload, i), uids_[out.first + i])) return false;
  }
  return true;
}

// NS.object.0, NS.object.1 … in whatever order they stand.
bool Decoder::numberedUids(const Object& object, std::string_view prefix, Uids& out) {
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
      uids_.back() = named;  // the same key again: the last one counts
    } else if (position == out.count) {
      uids_.push_back(named);
      ++out.count;
    } else {
      return fail("a collection's numbered contents have a gap");
    }
  }
  return true;
}

bool Decoder::array(const Uids& uids, Mutability mutability, std::size_t depth, Measure& own, Value& out) {
  std::vector<Value> items(uids.count);
  for (std::size_t i = 0; i < uids.count; ++i) {
    if (!value(uids_[uids.first + i], depth, own, items[i])) return false;
  }
  out = Array(std::move(items), mutability);
  return true;
}

bool Decoder::dictionary(KeyList& keys, const Uids& objects, Mutability mutability, std::size_t depth,
                         Measure& own, Value& out) {
  Dictionary entries(mutability);
  entries.reserve(objects.count);
  for (std::size_t i = 0; i < objects.count; ++i) {
    if (keys.distinct) {
      if (!value(uids_[objects.first + i], depth, own, entries.append(keys.texts[i]))) return false;
      continue;
    }
    Value item;
    if (!value(uids_[objects.first + i], depth, own, item)) return false;
    entries.set(keys.texts[i], std::move(item));
  }
  keys.distinct = entries.size() == objects.count;
  out = std::move(entries);
  return true;
}

bool Decoder::keysOf(const Fields& fields, const Object& object, std::size_t depth,
                     std::shared_ptr<KeyList>& out) {
  const Object list = fields.keys == Fields::kNone ? Object{} : list_.object(fields.keys);
  if (list.kind != Kind::Array || list.count == 0) return readKeys(fields, object, depth, out);
  std::shared_ptr<KeyList>& kept =
      keyLists_[(list_.reference(list.payload, 0) + list.count) % keyLists_.size()];
  const std::string_view bytes = referencesOf(list, list.count);
  if (kept && kept->bytes == bytes) {
    out = kept;
    return spend(list.count);
  }
  if (!readKeys(fields, object, depth, out)) return false;
  out->bytes = bytes;
  kept = out;
  return true;
}

bool Decoder::readKeys(const Fields& fields, const Object& object, std::size_t depth,
                       std::shared_ptr<KeyList>& out) {
  Uids uids;
  if (!uidsOf(fields.keys, object, kNumberedKey, fields.numbered, uids)) return false;
  out = std::make_shared<KeyList>();
  out->texts.reserve(uids.count);
  Measure none;
  for (std::size_t i = 0; i < uids.count; ++i) {
    Value key;
    if (!value(uids_[uids.first + i], depth, none, key)) return false;
    if (!key.isString()) return fail("a dictionary's key is no text");
    out->texts.push_back(key.text());
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
  return Decoder(*list, limits).root();
}

}  // namespace moxtel
