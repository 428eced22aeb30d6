// The writer: Value to a binary property list in two passes.
//
// The first pass walks the value, gives every archived object its index in $objects, writes texts, numbers
// and data (whose bytes depend on nothing else), and records collections as lists of indexes. The number of
// objects, and with it the width of references, is known only then. The second pass writes the collections
// from what was recorded, without the value.
//
// Objects of the property list are numbered in this order: the outer dictionary, constants (keys, class
// names), $top, the $objects array, its elements, one UID for each element, and the inner objects of
// collections and dates.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <unordered_map>

#include "plist/ArchiveWriter.h"
#include "plist/KeyedArchive.h"
#include "plist/LeafTable.h"

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

// The objects that the second pass writes. The first pass records each in 32-bit words: the kind, the
// object's index, then Array: count, indexes; Dictionary: count, place of the keys' indexes in keys_ (two
// words), the values' indexes; Date: the bits of its seconds (two words); ClassObject: the class's Constant.
enum class Deferred : std::uint32_t {
  Array,
  MutableArray,
  Dictionary,
  MutableDictionary,
  Date,
  Null,
  ClassObject
};

Constant classOf(Deferred kind) {
  switch (kind) {
    case Deferred::Array:
      return kArrayClass;
    case Deferred::MutableArray:
      return kMutableArrayClass;
    case Deferred::Dictionary:
      return kDictionaryClass;
    case Deferred::MutableDictionary:
      return kMutableDictionaryClass;
    case Deferred::Date:
      return kDateClass;
    case Deferred::Null:
    case Deferred::ClassObject:
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

// An estimate from the first item of each list, so that the table rarely grows.
std::size_t expectedLeaves(const Value& value, int depth = 0) {
  constexpr int kDeepest = 4;
  constexpr std::size_t kMost = 1u << 20;
  if (value.isArray()) {
    const Array& items = value.array();
    return items.empty() || depth > kDeepest
               ? 0
               : std::min(kMost, std::min(kMost, items.size()) * expectedLeaves(items[0], depth + 1));
  }
  if (!value.isDictionary() || depth > kDeepest) return 1;
  std::size_t sum = 0;
  for (const auto& entry : value.dictionary()) sum += expectedLeaves(entry.value, depth + 1);
  return std::min(kMost, sum);
}

// Texts and numbers, equal ones of which are found by their bytes.
bool isLeaf(const Value& value) { return value.isString() || value.isNumber(); }

class Archiver final {
 public:
  // Throws ArchiveTooLargeError beyond `largest` bytes. With a size, the bytes of every data object are
  // absent: there is only one, of that size.
  Archiver(Value root, std::uint64_t largest, std::optional<std::uint64_t> absentDataSize = {})
      : root_(std::move(root)),
        absentDataSize_(absentDataSize),
        largest_(largest),
        leaves_(expectedLeaves(root_)) {}
  ArchivePieces archive();
  std::uint64_t absentDataOffset() const { return out_.absentDataOffset(); }

 private:
  // A text or number that was written and is not yet looked up. The table is larger than the processor's
  // cache: its slots are loaded while the next leaves are written.
  struct PendingLeaf {
    std::size_t size;
    std::size_t word;  // in deferred_, receives its index
    std::uint32_t hash;
  };

  // First pass.
  void start();
  std::uint32_t add(const Value& value);
  void addInto(std::size_t word, const Value& value);
  std::uint32_t addLeaf(const Value& value);
  void settle();
  std::uint32_t keepLeaf(const PendingLeaf& leaf, const std::uint8_t* bytes);
  PendingLeaf writeLeaf(const Value& value, std::size_t word);
  void writeBytes(const Value& value);
  std::uint32_t addDate(Date date);
  std::uint32_t addNull();
  std::uint32_t addShared(const Value& value);
  std::uint32_t addStored(const Value& value, std::uint32_t* known);
  void addArray(const Array& array, std::uint32_t index);
  void addDictionary(const Dictionary& dictionary, std::uint32_t index);
  std::uint64_t addKeys(const Dictionary& dictionary);
  std::uint32_t newObject();
  std::size_t defer(Deferred kind, std::uint32_t index, std::size_t words);
  void useClass(Deferred kind);
  void useConstant(Constant constant);

  // Second pass.
  void numberObjects();
  void writeCollections();
  template <class Ref>
  void writeDeferred();
  template <class Ref>
  const std::uint32_t* writeNext(const std::uint32_t* words);
  template <class Ref>
  void writeArray(const std::uint32_t* words);
  template <class Ref>
  void writeDictionary(const std::uint32_t* words);
  template <class Ref>
  void writeDate(const std::uint32_t* words);
  template <class Ref>
  void writeClassObject(const std::uint32_t* words);
  template <class Ref>
  void writeUids(const std::uint32_t* indexes, std::size_t count);
  template <class Ref>
  void writeFrame();
  void writeUidObjects();
  template <class Run>
  void forUidRuns(Run&& run) const;
  void writeOffsets();
  void checkSize() const;
  template <class Offset>
  void writeOffsetsAs();
  template <class Offset>
  void writeOffsetList(const std::vector<std::uint64_t>& offsets);
  template <class Write>
  void writeRun(std::uint64_t first, std::uint64_t end, std::size_t size, Write&& write);

  template <class Ref>
  static std::uint8_t* put(std::uint8_t* place, std::uint64_t number) {
    const Ref swapped = bigEndian(static_cast<Ref>(number));
    std::memcpy(place, &swapped, sizeof swapped);
    return place + sizeof swapped;
  }
  std::uint64_t constantNumber(Constant constant) const { return constantNumbers_[constant]; }
  std::uint64_t classUid(Deferred kind) const { return uidBase_ + classIndexes_[classOf(kind)]; }
  std::uint64_t newInner() {
    innerOffsets_.push_back(out_.offset());
    return innerBase_ + innerOffsets_.size() - 1;
  }

  // A dictionary's list of keys: its identity, the number of them in use, and their place in keys_.
  struct KnownList {
    const void* identity = nullptr;
    std::size_t count = 0;
    std::uint64_t place = 0;
  };

  Value root_;
  std::optional<std::uint64_t> absentDataSize_;
  std::uint64_t largest_;
  ArchiveWriter out_;
  std::vector<std::uint64_t> offsets_;  // by index in $objects
  std::vector<std::uint32_t> deferred_;
  std::vector<std::uint32_t> keys_;  // the dictionaries' lists of keys
  LeafTable leaves_;
  std::array<PendingLeaf, 16> pending_{};
  std::size_t pendingCount_ = 0;
  std::unordered_map<std::uint64_t, std::uint32_t> dates_;  // by the bits of their seconds
  std::unordered_map<const void*, std::uint32_t> shared_;   // by storage
  std::uint32_t null_ = 0;
  std::array<KnownList, 4> knownLists_{};
  std::size_t nextKnownList_ = 0;
  std::array<std::uint64_t, kConstants> constantOffsets_{};
  std::array<std::uint64_t, kConstants> constantNumbers_{};
  std::array<std::uint32_t, kConstants> classIndexes_{};
  std::uint32_t rootIndex_ = 0;
  std::uint64_t inner_ = 0;  // objects inside the collections and dates in deferred_

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
  // A large list takes more memory than its archive: what both passes need together stays small.
  root_ = {};
  numberObjects();
  writeCollections();
  writeOffsets();
  if (out_.offset() > largest_) throw ArchiveTooLargeError();
  return out_.finish();
}

// Each recorded word becomes at least one reference, and each object has a UID and two entries in the table
// of offsets.
void Archiver::checkSize() const {
  const std::uint64_t objects = offsets_.size();
  const std::uint64_t reference = objects > 0xFFFF ? 4 : 1;
  const std::uint64_t least = out_.offset() + reference * (deferred_.size() + 3 * objects);
  if (least > largest_) throw ArchiveTooLargeError();
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
    case Value::Type::Real:
    case Value::Type::String:
      return addLeaf(value);
    case Value::Type::Date:
      return addDate(value.date());
    case Value::Type::Data:
    case Value::Type::Array:
    case Value::Type::Dictionary:
      break;
  }
  return addShared(value);
}

// An item of a collection, whose index goes into deferred_.
void Archiver::addInto(std::size_t word, const Value& value) {
  if (isLeaf(value)) {
    const std::size_t longest = ArchiveWriter::kLongestHead + 17 + 2 * value.string().size();
    if (pendingCount_ == pending_.size() || !out_.hasRoom(longest)) settle();
    pending_[pendingCount_++] = writeLeaf(value, word);
    return;
  }
  settle();
  const std::uint32_t added = add(value);
  deferred_[word] = added;
}

std::uint32_t Archiver::addLeaf(const Value& value) {
  settle();
  const PendingLeaf leaf = writeLeaf(value, 0);
  out_.takeBack(leaf.size);
  return keepLeaf(leaf, out_.next());
}

// Pending leaves are the last bytes written, one after another. Those that are new are kept.
void Archiver::settle() {
  std::size_t size = 0;
  for (std::size_t i = 0; i < pendingCount_; ++i) size += pending_[i].size;
  out_.takeBack(size);
  const std::uint8_t* bytes = out_.next();
  for (std::size_t i = 0; i < pendingCount_; ++i) {
    deferred_[pending_[i].word] = keepLeaf(pending_[i], bytes);
    bytes += pending_[i].size;
  }
  pendingCount_ = 0;
}

std::uint32_t Archiver::keepLeaf(const PendingLeaf& leaf, const std::uint8_t* bytes) {
  const auto next = static_cast<std::uint32_t>(offsets_.size());
  const auto same = [this, bytes, size = leaf.size](std::uint32_t other) {
    const std::string_view written = out_.writtenAt(offsets_[other]);
    return written.size() >= size && std::memcmp(written.data(), bytes, size) == 0;
  };
  const std::uint32_t index = leaves_.findOrStore(leaf.hash, next, same);
  if (index != next) return index;
  newObject();
  if (bytes != out_.next()) std::memmove(out_.next(), bytes, leaf.size);
  out_.written(out_.next() + leaf.size);
  return index;
}

Archiver::PendingLeaf Archiver::writeLeaf(const Value& value, std::size_t word) {
  const std::uint64_t start = out_.offset();
  writeBytes(value);
  const auto size = static_cast<std::size_t>(out_.offset() - start);
  const std::uint32_t hash = leafHash(out_.writtenAt(start));
  leaves_.prefetch(hash);
  return {size, word, hash};
}

void Archiver::writeBytes(const Value& value) {
  switch (value.type()) {
    case Value::Type::String:
      return out_.string(value.string());
    case Value::Type::Real:
      return out_.real(value.doubleValue());
    case Value::Type::Boolean:
      return out_.byte(value.boolValue() ? 0x09 : 0x08);
    default:
      break;
  }
  if (value.isBeyondSigned()) return out_.unsignedBeyondSigned(value.unsignedValue());
  out_.integer(value.integerValue());
}

std::uint32_t Archiver::addDate(Date date) {
  const auto bits = std::bit_cast<std::uint64_t>(date.seconds);
  std::uint32_t& known = dates_[bits];
  if (known != 0) return known;
  const std::uint32_t index = known = newObject();
  const std::size_t words = defer(Deferred::Date, index, 2);
  deferred_[words] = static_cast<std::uint32_t>(bits >> 32);
  deferred_[words + 1] = static_cast<std::uint32_t>(bits);
  inner_ += 1;
  useConstant(kTimeKey);
  useClass(Deferred::Date);
  return index;
}

std::uint32_t Archiver::addNull() {
  if (null_ == 0) {
    null_ = newObject();
    defer(Deferred::Null, null_, 0);
    useClass(Deferred::Null);
  }
  return null_;
}

// Copies of one value are one object: what was read from a small input stays small when it is written again.
std::uint32_t Archiver::addShared(const Value& value) {
  if (!value.isShared()) return addStored(value, nullptr);
  std::uint32_t& known = shared_[value.identity()];
  return known != 0 ? known : addStored(value, &known);
}

std::uint32_t Archiver::addStored(const Value& value, std::uint32_t* known) {
  const std::uint32_t index = newObject();
  if (known) *known = index;
  if (value.isData() && absentDataSize_) {
    out_.absentData(*absentDataSize_);
  } else if (value.isData()) {
    out_.data(value);
  } else if (value.isArray()) {
    addArray(value.array(), index);
  } else {
    addDictionary(value.dictionary(), index);
  }
  return index;
}

void Archiver::addArray(const Array& array, std::uint32_t index) {
  const Deferred kind = array.isMutable() ? Deferred::MutableArray : Deferred::Array;
  std::size_t word = defer(kind, index, 1 + array.size());
  deferred_[word++] = static_cast<std::uint32_t>(array.size());
  for (const Value& item : array) addInto(word++, item);
  settle();
  inner_ += 1;
  useConstant(kObjectsKey);
  useClass(kind);
}

void Archiver::addDictionary(const Dictionary& dictionary, std::uint32_t index) {
  const Deferred kind = dictionary.isMutable() ? Deferred::MutableDictionary : Deferred::Dictionary;
  const std::size_t count = dictionary.size();
  std::size_t word = defer(kind, index, 3 + count);
  const std::uint64_t keys = addKeys(dictionary);
  deferred_[word++] = static_cast<std::uint32_t>(count);
  deferred_[word++] = static_cast<std::uint32_t>(keys >> 32);
  deferred_[word++] = static_cast<std::uint32_t>(keys);
  for (const auto& entry : dictionary) addInto(word++, entry.value);
  settle();
  inner_ += 2;
  useConstant(kKeysKey);
  useConstant(kObjectsKey);
  useClass(kind);
}

// The place of the dictionary's list of keys in keys_. A list that equals one of the last four is not stored
// again, and one that is shared with them is not even read again.
std::uint64_t Archiver::addKeys(const Dictionary& dictionary) {
  const std::size_t count = dictionary.size();
  for (const KnownList& known : knownLists_) {
    if (known.identity == dictionary.keysIdentity() && known.count == count) return known.place;
  }
  const std::size_t place = keys_.size();
  for (const auto& entry : dictionary) keys_.push_back(addLeaf(entry.key));
  KnownList& added = knownLists_[nextKnownList_++ % knownLists_.size()];
  for (const KnownList& known : knownLists_) {
    if (known.count != count ||
        !std::equal(keys_.data() + place, keys_.data() + keys_.size(), keys_.data() + known.place)) {
      continue;
    }
    keys_.resize(place);
    return (added = {dictionary.keysIdentity(), count, known.place}).place;
  }
  return (added = {dictionary.keysIdentity(), count, place}).place;
}

std::uint32_t Archiver::newObject() {
  if (offsets_.size() == UINT32_MAX) throw std::length_error("too many objects for one archive");
  offsets_.push_back(out_.offset());
  return static_cast<std::uint32_t>(offsets_.size() - 1);
}

// Returns the position of the words after the index.
std::size_t Archiver::defer(Deferred kind, std::uint32_t index, std::size_t words) {
  deferred_.push_back(static_cast<std::uint32_t>(kind));
  deferred_.push_back(index);
  deferred_.resize(deferred_.size() + words);
  checkSize();
  return deferred_.size() - words;
}

// The platform writes a class object after the contents of the first instance.
void Archiver::useClass(Deferred kind) {
  const Constant name = classOf(kind);
  if (classIndexes_[name] != 0) return;
  classIndexes_[name] = newObject();
  deferred_[defer(Deferred::ClassObject, classIndexes_[name], 1)] = name;
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
  firstUid_ = rootIndex_ == 0 ? 0 : 1;
  uidBase_ = objectBase_ + offsets_.size() - firstUid_;
  innerBase_ = uidBase_ + offsets_.size();
  objectCount_ = innerBase_ + inner_;
}

void Archiver::writeCollections() {
  switch (widthOf(objectCount_)) {
    case 1:
      return writeDeferred<std::uint8_t>();
    case 2:
      return writeDeferred<std::uint16_t>();
    case 4:
      return writeDeferred<std::uint32_t>();
    default:
      return writeDeferred<std::uint64_t>();
  }
}

template <class Ref>
void Archiver::writeDeferred() {
  writeFrame<Ref>();
  const std::uint32_t* next = deferred_.data();
  const std::uint32_t* const end = next + deferred_.size();
  while (next != end) next = writeNext<Ref>(next);
  writeUidObjects();
}

// Writes one object and returns the words of the next.
template <class Ref>
const std::uint32_t* Archiver::writeNext(const std::uint32_t* words) {
  offsets_[words[1]] = out_.offset();
  switch (static_cast<Deferred>(words[0])) {
    case Deferred::Array:
    case Deferred::MutableArray:
      writeArray<Ref>(words);
      return words + 3 + words[2];
    case Deferred::Dictionary:
    case Deferred::MutableDictionary:
      writeDictionary<Ref>(words);
      return words + 5 + words[2];
    case Deferred::Date:
      writeDate<Ref>(words);
      return words + 4;
    case Deferred::ClassObject:
      writeClassObject<Ref>(words);
      return words + 3;
    case Deferred::Null:
      break;
  }
  std::uint8_t* place = out_.room(1 + 2 * sizeof(Ref));
  *place++ = 0xD1;
  place = put<Ref>(place, constantNumber(kClass));
  out_.written(put<Ref>(place, classUid(Deferred::Null)));
  return words + 2;
}

template <class Ref>
void Archiver::writeArray(const std::uint32_t* words) {
  std::uint8_t* place = out_.room(1 + 4 * sizeof(Ref));
  *place++ = 0xD2;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kObjectsKey));
  place = put<Ref>(place, classUid(static_cast<Deferred>(words[0])));
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size()));
  writeUids<Ref>(words + 3, words[2]);
}

template <class Ref>
void Archiver::writeDictionary(const std::uint32_t* words) {
  std::uint8_t* place = out_.room(1 + 6 * sizeof(Ref));
  *place++ = 0xD3;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kKeysKey));
  place = put<Ref>(place, constantNumber(kObjectsKey));
  place = put<Ref>(place, classUid(static_cast<Deferred>(words[0])));
  place = put<Ref>(place, innerBase_ + innerOffsets_.size());
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size() + 1));
  writeUids<Ref>(keys_.data() + (static_cast<std::uint64_t>(words[3]) << 32 | words[4]), words[2]);
  writeUids<Ref>(words + 5, words[2]);
}

template <class Ref>
void Archiver::writeDate(const std::uint32_t* words) {
  std::uint8_t* place = out_.room(1 + 4 * sizeof(Ref));
  *place++ = 0xD2;
  place = put<Ref>(place, constantNumber(kClass));
  place = put<Ref>(place, constantNumber(kTimeKey));
  place = put<Ref>(place, classUid(Deferred::Date));
  out_.written(put<Ref>(place, innerBase_ + innerOffsets_.size()));
  newInner();
  out_.real(std::bit_cast<double>(static_cast<std::uint64_t>(words[2]) << 32 | words[3]));
}

template <class Ref>
void Archiver::writeClassObject(const std::uint32_t* words) {
  const auto name = static_cast<Constant>(words[2]);
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
  const std::uint64_t base = uidBase_;
  for (std::size_t i = 0; i < count; ++i) place = put<Ref>(place, base + indexes[i]);
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

  place = out_.room(ArchiveWriter::kLongestHead);
  frameOffsets_[2] = out_.offset();
  out_.written(ArchiveWriter::putHead(place, 10, offsets_.size()));
  writeRun(objectBase_, objectBase_ + offsets_.size(), sizeof(Ref),
           [](std::uint8_t* next, std::uint64_t number) { return put<Ref>(next, number); });
}

// The UIDs are written one after another, so their offsets are computed, not stored.
void Archiver::writeUidObjects() {
  uidOffset_ = out_.offset();
  forUidRuns([this]<class Int>(Int, std::uint64_t first, std::uint64_t end) {
    this->writeRun(first, end, 1 + sizeof(Int), [](std::uint8_t* place, std::uint64_t index) {
      *place = static_cast<std::uint8_t>(0x80 | (sizeof(Int) - 1));
      return put<Int>(place + 1, index);
    });
  });
}

// Calls `run` for the UIDs whose numbers take one, two and four bytes, with a number of that width, the first
// index and the end.
template <class Run>
void Archiver::forUidRuns(Run&& run) const {
  const std::uint64_t end = offsets_.size();
  run(std::uint8_t{}, firstUid_, std::min<std::uint64_t>(end, 0x100));
  run(std::uint16_t{}, 0x100, std::min<std::uint64_t>(end, 0x10000));
  run(std::uint32_t{}, 0x10000, end);
}

void Archiver::writeOffsets() {
  const std::uint64_t table = out_.offset();
  switch (widthOf(table)) {
    case 1:
      writeOffsetsAs<std::uint8_t>();
      break;
    case 2:
      writeOffsetsAs<std::uint16_t>();
      break;
    case 4:
      writeOffsetsAs<std::uint32_t>();
      break;
    default:
      writeOffsetsAs<std::uint64_t>();
  }
  out_.trailer(table, widthOf(objectCount_), objectCount_, 0);
}

template <class Offset>
void Archiver::writeOffsetsAs() {
  std::uint8_t* place = out_.room((kConstants + frameOffsets_.size()) * sizeof(Offset));
  place = put<Offset>(place, frameOffsets_[0]);
  for (const std::uint64_t offset : constantOffsets_) {
    if (offset != 0) place = put<Offset>(place, offset);
  }
  place = put<Offset>(place, frameOffsets_[1]);
  out_.written(put<Offset>(place, frameOffsets_[2]));
  writeOffsetList<Offset>(offsets_);
  std::uint64_t uid = uidOffset_;
  forUidRuns([this, &uid]<class Int>(Int, std::uint64_t first, std::uint64_t end) {
    this->writeRun(first, end, sizeof(Offset), [&uid](std::uint8_t* next, std::uint64_t) {
      const std::uint64_t offset = uid;
      uid += 1 + sizeof(Int);
      return put<Offset>(next, offset);
    });
  });
  writeOffsetList<Offset>(innerOffsets_);
}

template <class Offset>
void Archiver::writeOffsetList(const std::vector<std::uint64_t>& offsets) {
  writeRun(0, offsets.size(), sizeof(Offset),
           [&offsets](std::uint8_t* place, std::uint64_t i) { return put<Offset>(place, offsets[i]); });
}

// For each number the bytes that `write` puts, `size` of them.
template <class Write>
void Archiver::writeRun(std::uint64_t first, std::uint64_t end, std::size_t size, Write&& write) {
  constexpr std::uint64_t kBatch = 256;
  while (first < end) {
    const std::uint64_t stop = std::min(end, first + kBatch);
    std::uint8_t* place = out_.room((stop - first) * size);
    for (; first < stop; ++first) place = write(place, first);
    out_.written(place);
  }
}

}  // namespace

ArchivePieces archivedPieces(Value root, std::uint64_t largest) {
  return Archiver(std::move(root), largest).archive();
}

ArchiveAroundData archiveAroundData(std::string_view key, std::uint64_t size) {
  Archiver archiver(Dictionary{{key, Bytes()}}, UINT64_MAX, size);
  const Bytes joined = archiver.archive().joined();
  const auto gap = joined.begin() + static_cast<std::ptrdiff_t>(archiver.absentDataOffset());
  return {Bytes(joined.begin(), gap), Bytes(gap, joined.end())};
}

Bytes archivedData(const Value& root) { return archivedPieces(root).joined(); }

}  // namespace moxtel
