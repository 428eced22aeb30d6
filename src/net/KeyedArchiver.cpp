// The writer: Value to a binary property list in two passes.
//
// The first walks the value, gives every archived object its index in $objects, writes texts, numbers and
// data (whose bytes depend on nothing else) and notes collections as indexes. Then the number of objects and
// so the width of references is known, and the second pass writes the collections from the notes alone.
//
// Objects of the property list are numbered: the outer dictionary, constants (keys, class names), $top, the
// $objects array, its elements, one UID for each element, and the inner objects of collections and dates.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <stdexcept>

#include "net/ArchiveTables.h"
#include "net/ArchiveWriter.h"
#include "net/KeyedArchive.h"

namespace moxtel {

namespace {

enum Constant : std::uint8_t {
  kVersion,
  kArchiver,
  kTop,
  kObjects,
  kVersionNumber,
  kArchiverName,
  kRoot,
  kClass,
  kKeysKey,
  kObjectsKey,
  kTimeKey,
  kClassName,
  kClasses,
  kObjectClass,
  kArrayClass,
  kMutableArrayClass,
  kDictionaryClass,
  kMutableDictionaryClass,
  kDateClass,
  kNullClass,
  kConstants
};

constexpr std::array<const char*, kConstants> kConstantTexts = {"$version",
                                                                "$archiver",
                                                                "$top",
                                                                "$objects",
                                                                "",
                                                                "NSKeyedArchiver",
                                                                "root",
                                                                "$class",
                                                                "NS.keys",
                                                                "NS.objects",
                                                                "NS.time",
                                                                "$classname",
                                                                "$classes",
                                                                "NSObject",
                                                                "NSArray",
                                                                "NSMutableArray",
                                                                "NSDictionary",
                                                                "NSMutableDictionary",
                                                                "NSDate",
                                                                "NSNull"};

// What the first pass notes, in 32-bit words: a Note, the object's index, then
// Array: count, indexes; Dictionary: count, keys' indexes, values' indexes; Date: two halves of the double;
// ClassObject: the class's Constant.
enum class Note : std::uint32_t {
  Array,
  MutableArray,
  Dictionary,
  MutableDictionary,
  Date,
  Null,
  ClassObject
};

Constant classOf(Note note) {
  switch (note) {
    case Note::Array:
      return kArrayClass;
    case Note::MutableArray:
      return kMutableArrayClass;
    case Note::Dictionary:
      return kDictionaryClass;
    case Note::MutableDictionary:
      return kMutableDictionaryClass;
    case Note::Date:
      return kDateClass;
    case Note::Null:
    case Note::ClassObject:
      break;
  }
  return kNullClass;
}

// The class, its superclasses, and NSObject, which ends every chain.
std::vector<Constant> classChain(Constant name) {
  if (name == kMutableArrayClass) return {name, kArrayClass, kObjectClass};
  if (name == kMutableDictionaryClass) return {name, kDictionaryClass, kObjectClass};
  return {name, kObjectClass};
}

class Archiver final {
 public:
  explicit Archiver(const Value& root) : root_(root) {}
  ArchivePieces archive();

 private:
  // First pass.
  void start();
  std::uint32_t add(const Value& value);
  std::uint32_t addNumber(const Value& value);
  std::uint32_t addReal(double value);
  std::uint32_t addDate(Date date);
  std::uint32_t addNull();
  std::uint32_t addText(std::string_view text);
  std::uint32_t addKey(const Text& key);
  std::uint32_t addShared(const Value& value);
  std::uint32_t addStored(const Value& value, std::uint32_t* known);
  void addArray(const Array& array, std::uint32_t index);
  void addDictionary(const Dictionary& dictionary, std::uint32_t index);
  std::uint32_t newObject();
  std::size_t newNote(Note note, std::uint32_t index, std::size_t words);
  void useClass(Note note);
  void useConstant(Constant constant);

  // Second pass.
  void numberObjects();
  void writeCollections();
  template <class Ref>
  void writeNotes();
  template <class Ref>
  const std::uint32_t* writeNote(const std::uint32_t* note);
  template <class Ref>
  void writeArray(const std::uint32_t* note);
  template <class Ref>
  void writeDictionary(const std::uint32_t* note);
  template <class Ref>
  void writeDate(const std::uint32_t* note);
  template <class Ref>
  void writeClassObject(const std::uint32_t* note);
  template <class Ref>
  void writeUids(const std::uint32_t* indexes, std::size_t count);
  template <class Ref>
  void writeFrame();
  void writeUidObjects();
  void writeOffsets();
  std::uint64_t uidOffset(std::uint64_t index) const;

  template <class Ref>
  static std::uint8_t* put(std::uint8_t* place, std::uint64_t number) {
    const Ref swapped = bigEndian(static_cast<Ref>(number));
    std::memcpy(place, &swapped, sizeof swapped);
    return place + sizeof swapped;
  }
  std::uint64_t constantNumber(Constant constant) const { return constantNumbers_[constant]; }
  std::uint64_t classUid(Note note) const { return uidBase_ + classIndexes_[classOf(note)]; }
  std::uint64_t newInner() {
    innerOffsets_.push_back(out_.offset());
    return innerBase_ + innerOffsets_.size() - 1;
  }

  struct KnownKey {
    const void* identity = nullptr;
    std::uint32_t index = 0;
  };

  const Value& root_;
  ArchiveWriter out_;
  std::vector<std::uint64_t> offsets_;  // by index in $objects
  std::vector<std::uint32_t> notes_;
  TextTable texts_;
  NumberTable integers_;
  NumberTable beyondSigned_;
  NumberTable reals_;
  NumberTable dates_;
  NumberTable shared_;  // by storage
  std::array<std::uint32_t, 2> booleans_{};
  std::uint32_t null_ = 0;
  std::array<KnownKey, 256> knownKeys_{};
  std::array<std::uint64_t, kConstants> constantOffsets_{};
  std::array<std::uint64_t, kConstants> constantNumbers_{};
  std::array<std::uint32_t, kConstants> classIndexes_{};
  std::uint32_t rootIndex_ = 0;
  std::uint64_t inner_ = 0;  // objects inside collections and dates that the notes will take

  std::uint64_t topNumber_ = 0;
  std::uint64_t objectBase_ = 0;
  std::uint64_t firstUid_ = 1;
  std::uint64_t uidBase_ = 0;  // number of the UID that names index 0, whether or not it exists
  std::uint64_t innerBase_ = 0;
  std::uint64_t objectCount_ = 0;
  std::array<std::uint64_t, 3> frameOffsets_{};  // outer dictionary, $top, $objects
  std::uint64_t uidOffset_ = 0;
  std::vector<std::uint64_t> innerOffsets_;
};

ArchivePieces Archiver::archive() {
  start();
  rootIndex_ = root_.isNil() ? 0 : add(root_);
  numberObjects();
  writeCollections();
  writeOffsets();
  return out_.finish(root_);
}

void Archiver::start() {
  out_.bytes("bplist00");
  for (const Constant constant : {kVersion, kArchiver, kTop, kObjects, kArchiverName, kRoot}) {
    useConstant(constant);
  }
  constantOffsets_[kVersionNumber] = out_.offset();
  out_.integer(100000);
  newObject();
  out_.string("$null");
}

std::uint32_t Archiver::add(const Value& value) {
  switch (value.type()) {
    case Value::Type::Nil:
      return addNull();
    case Value::Type::Boolean:
    case Value::Type::Integer:
      return addNumber(value);
    case Value::Type::Real:
      return addReal(value.doubleValue());
    case Value::Type::Date:
      return addDate(value.date());
    case Value::Type::String:
      return addText(value.string());
    case Value::Type::Data:
    case Value::Type::Array:
    case Value::Type::Dictionary:
      break;
  }
  return addShared(value);
}

std::uint32_t Archiver::addNumber(const Value& value) {
  const bool boolean = value.type() == Value::Type::Boolean;
  std::uint32_t& known = boolean                  ? booleans_[value.boolValue() ? 1 : 0]
                         : value.isBeyondSigned() ? beyondSigned_[value.unsignedValue()]
                                                  : integers_[value.unsignedValue()];
  if (known != 0) return known;
  known = newObject();
  if (boolean) {
    out_.byte(value.boolValue() ? 0x09 : 0x08);
  } else if (value.isBeyondSigned()) {
    out_.unsignedBeyondSigned(value.unsignedValue());
  } else {
    out_.integer(value.integerValue());
  }
  return known;
}

std::uint32_t Archiver::addReal(double value) {
  std::uint32_t& known = reals_[std::bit_cast<std::uint64_t>(value)];
  if (known != 0) return known;
  known = newObject();
  out_.real(value);
  return known;
}

std::uint32_t Archiver::addDate(Date date) {
  const auto bits = std::bit_cast<std::uint64_t>(date.seconds);
  std::uint32_t& known = dates_[bits];
  if (known != 0) return known;
  const std::uint32_t index = known = newObject();
  const std::size_t words = newNote(Note::Date, index, 2);
  notes_[words] = static_cast<std::uint32_t>(bits >> 32);
  notes_[words + 1] = static_cast<std::uint32_t>(bits);
  inner_ += 1;
  useConstant(kTimeKey);
  useClass(Note::Date);
  return index;
}

std::uint32_t Archiver::addNull() {
  if (null_ == 0) {
    null_ = newObject();
    newNote(Note::Null, null_, 0);
    useClass(Note::Null);
  }
  return null_;
}

std::uint32_t Archiver::addText(std::string_view text) {
  std::uint32_t& known = texts_[text];
  if (known != 0) return known;
  known = newObject();
  out_.string(text);
  return known;
}

// Dictionaries of one kind share the storage of their keys, which are then known without reading them.
std::uint32_t Archiver::addKey(const Text& key) {
  if (!key.identity()) return addText({});
  KnownKey& known = knownKeys_[mixedBits(reinterpret_cast<std::uintptr_t>(key.identity())) >> 56];
  if (known.identity != key.identity()) known = {key.identity(), addText(key)};
  return known.index;
}

// Copies of one value are one object. That keeps what was read from few bytes as small as it was.
std::uint32_t Archiver::addShared(const Value& value) {
  if (!value.isShared()) return addStored(value, nullptr);
  std::uint32_t& known = shared_[reinterpret_cast<std::uintptr_t>(value.identity())];
  return known != 0 ? known : addStored(value, &known);
}

std::uint32_t Archiver::addStored(const Value& value, std::uint32_t* known) {
  const std::uint32_t index = newObject();
  if (known) *known = index;
  if (value.isData()) {
    out_.data(value.data());
  } else if (value.isArray()) {
    addArray(value.array(), index);
  } else {
    addDictionary(value.dictionary(), index);
  }
  return index;
}

void Archiver::addArray(const Array& array, std::uint32_t index) {
  const Note note = array.isMutable() ? Note::MutableArray : Note::Array;
  std::size_t word = newNote(note, index, 1 + array.size());
  notes_[word++] = static_cast<std::uint32_t>(array.size());
  for (const Value& item : array) {
    const std::uint32_t added = add(item);
    notes_[word++] = added;
  }
  inner_ += 1;
  useConstant(kObjectsKey);
  useClass(note);
}

void Archiver::addDictionary(const Dictionary& dictionary, std::uint32_t index) {
  const Note note = dictionary.isMutable() ? Note::MutableDictionary : Note::Dictionary;
  const std::size_t count = dictionary.size();
  std::size_t word = newNote(note, index, 1 + 2 * count);
  notes_[word++] = static_cast<std::uint32_t>(count);
  for (const auto& entry : dictionary) {
    const std::uint32_t key = addKey(entry.key);
    const std::uint32_t added = add(entry.value);
    notes_[word + count] = added;
    notes_[word++] = key;
  }
  inner_ += 2;
  useConstant(kKeysKey);
  useConstant(kObjectsKey);
  useClass(note);
}

std::uint32_t Archiver::newObject() {
  if (offsets_.size() == UINT32_MAX) throw std::length_error("too many objects for one archive");
  offsets_.push_back(out_.offset());
  return static_cast<std::uint32_t>(offsets_.size() - 1);
}

// Returns where the words after the index stand.
std::size_t Archiver::newNote(Note note, std::uint32_t index, std::size_t words) {
  const std::size_t at = notes_.size();
  notes_.resize(at + 2 + words);
  notes_[at] = static_cast<std::uint32_t>(note);
  notes_[at + 1] = index;
  return at + 2;
}

// The class object comes after its first instance's contents, where the platform puts it.
void Archiver::useClass(Note note) {
  const Constant name = classOf(note);
  if (classIndexes_[name] != 0) return;
  classIndexes_[name] = newObject();
  notes_[newNote(Note::ClassObject, classIndexes_[name], 1)] = name;
  inner_ += 1;
  for (const Constant constant : {kClass, kClassName, kClasses}) useConstant(constant);
  for (const Constant link : classChain(name)) useConstant(link);
}

void Archiver::useConstant(Constant constant) {
  if (constantOffsets_[constant] != 0) return;
  constantOffsets_[constant] = out_.offset();
  out_.string(kConstantTexts[constant]);
}

void Archiver::numberObjects() {
  std::uint64_t number = 1;
  for (int i = 0; i < kConstants; ++i) {
    if (constantOffsets_[i] != 0) constantNumbers_[i] = number++;
  }
  topNumber_ = number;
  objectBase_ = number + 2;
  firstUid_ = root_.isNil() ? 0 : 1;
  uidBase_ = objectBase_ + offsets_.size() - firstUid_;
  innerBase_ = uidBase_ + offsets_.size();
  objectCount_ = innerBase_ + inner_;
}

void Archiver::writeCollections() {
  innerOffsets_.reserve(static_cast<std::size_t>(inner_));
  switch (widthOf(objectCount_)) {
    case 1:
      return writeNotes<std::uint8_t>();
    case 2:
      return writeNotes<std::uint16_t>();
    case 4:
      return writeNotes<std::uint32_t>();
    default:
      return writeNotes<std::uint64_t>();
  }
}

template <class Ref>
void Archiver::writeNotes() {
  writeFrame<Ref>();
  const std::uint32_t* note = notes_.data();
  const std::uint32_t* end = note + notes_.size();
  while (note != end) note = writeNote<Ref>(note);
  writeUidObjects();
}

// Writes one note's object and returns the next note.
template <class Ref>
const std::uint32_t* Archiver::writeNote(const std::uint32_t* note) {
  offsets_[note[1]] = out_.offset();
  switch (static_cast<Note>(note[0])) {
    case Note::Array:
    case Note::MutableArray:
      writeArray<Ref>(note);
      return note + 3 + note[2];
    case Note::Dictionary:
    case Note::MutableDictionary:
      writeDictionary<Ref>(note);
      return note + 3 + 2 * static_cast<std::size_t>(note[2]);
    case Note::Date:
      writeDate<Ref>(note);
      return note + 4;
    case Note::ClassObject:
      writeClassObject<Ref>(note);
      return note + 3;
    case Note::Null:
      break;
  }
  std::uint8_t* place = out_.room(1 + 2 * sizeof(Ref));
  *place++ = 0xD1;
  place = put<Ref>(place, constantNumber(kClass));
  out_.written(put<Ref>(place, classUid(Note::Null)));
  return note + 2;
}

template <class Ref>
void Archiver::writeArray(const std::uint32_t* note) {
  std::uint8_t* place = out_.room(1 + 4 * sizeof(Ref));
  *place++ = 0xD2;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kObjectsKey));
  place = put<Ref>(place, classUid(static_cast<Note>(note[0])));
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size()));
  writeUids<Ref>(note + 3, note[2]);
}

template <class Ref>
void Archiver::writeDictionary(const std::uint32_t* note) {
  std::uint8_t* place = out_.room(1 + 6 * sizeof(Ref));
  *place++ = 0xD3;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kKeysKey));
  place = put<Ref>(place, constantNumber(kObjectsKey));
  place = put<Ref>(place, classUid(static_cast<Note>(note[0])));
  place = put<Ref>(place, innerBase_ + innerOffsets_.size());
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size() + 1));
  writeUids<Ref>(note + 3, note[2]);
  writeUids<Ref>(note + 3 + note[2], note[2]);
}

template <class Ref>
void Archiver::writeDate(const std::uint32_t* note) {
  std::uint8_t* place = out_.room(1 + 4 * sizeof(Ref));
  *place++ = 0xD2;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kTimeKey));
  place = put<Ref>(place, classUid(Note::Date));
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size()));
  newInner();
  out_.real(std::bit_cast<double>(static_cast<std::uint64_t>(note[2]) << 32 | note[3]));
}

template <class Ref>
void Archiver::writeClassObject(const std::uint32_t* note) {
  const auto name = static_cast<Constant>(note[2]);
  std::uint8_t* place = out_.room(1 + 4 * sizeof(Ref));
  *place++ = 0xD2;
  place = put<Ref>(place, constantNumber(kClassName));
  place = put<Ref>(place, constantNumber(kClasses));
  place = put<Ref>(place, constantNumber(name));
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size()));
  newInner();
  const std::vector<Constant> chain = classChain(name);
  place = out_.room(1 + chain.size() * sizeof(Ref));
  *place++ = static_cast<std::uint8_t>(0xA0 | chain.size());
  for (const Constant link : chain) place = put<Ref>(place, constantNumber(link));
  out_.written(place);
}

// An inner array of the UIDs that name these indexes.
template <class Ref>
void Archiver::writeUids(const std::uint32_t* indexes, std::size_t count) {
  std::uint8_t* place = out_.room(ArchiveWriter::kLongestHead + count * sizeof(Ref));
  newInner();
  place = ArchiveWriter::putHead(place, 10, count);
  for (std::size_t i = 0; i < count; ++i) place = put<Ref>(place, uidBase_ + indexes[i]);
  out_.written(place);
}

// The outer dictionary, $top and the $objects array.
template <class Ref>
void Archiver::writeFrame() {
  frameOffsets_[0] = out_.offset();
  std::uint8_t* place = out_.room(1 + 8 * sizeof(Ref));
  *place++ = 0xD4;
  for (const Constant key : {kVersion, kArchiver, kTop, kObjects}) {
    place = put<Ref>(place, constantNumber(key));
  }
  place = put<Ref>(place, constantNumber(kVersionNumber));
  place = put<Ref>(place, constantNumber(kArchiverName));
  place = put<Ref>(place, topNumber_);
  out_.written(put<Ref>(place, topNumber_ + 1));

  frameOffsets_[1] = out_.offset();
  place = out_.room(1 + 2 * sizeof(Ref));
  *place++ = 0xD1;
  place = put<Ref>(place, constantNumber(kRoot));
  out_.written(put<Ref>(place, uidBase_ + rootIndex_));

  place = out_.room(ArchiveWriter::kLongestHead + offsets_.size() * sizeof(Ref));
  frameOffsets_[2] = out_.offset();
  place = ArchiveWriter::putHead(place, 10, offsets_.size());
  for (std::size_t i = 0; i < offsets_.size(); ++i) place = put<Ref>(place, objectBase_ + i);
  out_.written(place);
}

// UIDs take 2, 3 or 5 bytes; they follow one another, so that their offsets need not be kept.
void Archiver::writeUidObjects() {
  uidOffset_ = out_.offset();
  for (std::uint64_t index = firstUid_; index < offsets_.size(); ++index) out_.uid(index);
}

std::uint64_t Archiver::uidOffset(std::uint64_t index) const {
  const auto below = [index, this](std::uint64_t bound) { return std::min(index, bound) - firstUid_; };
  const std::uint64_t wide = index > 0x10000 ? index - 0x10000 : 0;
  const std::uint64_t medium = index > 0x100 ? std::min<std::uint64_t>(index, 0x10000) - 0x100 : 0;
  return uidOffset_ + 2 * below(0x100) + 3 * medium + 5 * wide;
}

void Archiver::writeOffsets() {
  const std::uint64_t table = out_.offset();
  const int width = widthOf(table);
  const auto put = [this, width](std::uint64_t offset) {
    out_.written(putSized(out_.room(8), offset, width));
  };
  put(frameOffsets_[0]);
  for (const std::uint64_t offset : constantOffsets_) {
    if (offset != 0) put(offset);
  }
  put(frameOffsets_[1]);
  put(frameOffsets_[2]);
  for (const std::uint64_t offset : offsets_) put(offset);
  for (std::uint64_t index = firstUid_; index < offsets_.size(); ++index) put(uidOffset(index));
  for (const std::uint64_t offset : innerOffsets_) put(offset);

  out_.trailer(table, widthOf(objectCount_), objectCount_, 0);
}

}  // namespace

ArchivePieces archivedPieces(const Value& root) { return Archiver(root).archive(); }

Bytes archivedData(const Value& root) { return archivedPieces(root).joined(); }

}  // namespace moxtel
