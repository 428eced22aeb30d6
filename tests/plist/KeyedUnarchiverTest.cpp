#include "plist/KeyedArchive.h"
#include "tests/plist/PropertyListBuilder.h"
#include "value/Description.h"

namespace moxtel {
namespace {

using testing::PropertyListBuilder;
using Builder = PropertyListBuilder;

Value readOf(const Bytes& bytes) {
  auto read = unarchivedObject(bytes);
  if (const auto* error = std::get_if<DecodingError>(&read)) {
    ADD_FAILURE() << error->reason;
    return {};
  }
  return std::get<Value>(read);
}

std::string errorOf(std::span<const std::uint8_t> bytes, ArchiveLimits limits = {}) {
  const auto read = unarchivedObject(bytes, limits);
  const auto* error = std::get_if<DecodingError>(&read);
  return error ? error->reason : "read: " + describe(std::get<Value>(read));
}

// An archive whose root is index 1: one object {$class → index 2, field: …}, and its class.
Bytes objectOf(Builder& b, const std::string& className,
               std::vector<std::pair<std::string, Builder::Number>> fields,
               std::vector<Builder::Number> others = {}) {
  fields.insert(fields.begin(), {"$class", b.uid(2)});
  std::vector<Builder::Number> objects = {b.dictionary(fields), b.classObject(className)};
  objects.insert(objects.end(), others.begin(), others.end());
  return b.archive(objects);
}

Value plainOf(const std::string& raw) {
  Builder b;
  return readOf(b.archive({b.raw(raw)}));
}

std::string plainErrorOf(const std::string& raw) {
  Builder b;
  return errorOf(b.archive({b.raw(raw)}));
}

// --- what an archive may hold

TEST(KeyedUnarchiver, readsIntegersOfEveryWidth) {
  EXPECT_EQ(plainOf("\x10\xFF"), Value(255));
  EXPECT_EQ(plainOf("\x11\xFF\xFE"), Value(65534));
  EXPECT_EQ(plainOf("\x12" + Builder::big(0xFFFFFFFE, 4)), Value(4294967294));
  EXPECT_EQ(plainOf("\x13" + Builder::big(UINT64_MAX, 8)), Value(-1));
  EXPECT_EQ(plainOf("\x13" + Builder::big(std::uint64_t{1} << 63, 8)), Value(INT64_MIN));
}

TEST(KeyedUnarchiver, readsSixteenByteIntegersThatFitInto64Bits) {
  EXPECT_EQ(plainOf("\x14" + Builder::big(5, 16)), Value(5));
  EXPECT_EQ(plainOf("\x14" + Builder::big(0, 8) + Builder::big(UINT64_MAX, 8)), Value(UINT64_MAX));
  EXPECT_EQ(plainOf("\x14" + Builder::big(UINT64_MAX, 8) + Builder::big(UINT64_MAX, 8)), Value(-1));
  EXPECT_EQ(plainErrorOf("\x14" + Builder::big(1, 8) + Builder::big(0, 8)),
            "an integer has more than 64 bits");
  EXPECT_EQ(plainErrorOf("\x14" + Builder::big(UINT64_MAX, 8) + Builder::big(1, 8)),
            "an integer has more than 64 bits");
}

TEST(KeyedUnarchiver, keepsTheKindsOfNumbersApart) {
  EXPECT_EQ(plainOf("\x10\x01"), Value(1));
  EXPECT_EQ(plainOf("\x09"), Value(true));
  EXPECT_EQ(plainOf(std::string("\x08")), Value(false));
  EXPECT_EQ(plainOf("\x23" + Builder::big(0x3FF0000000000000, 8)), Value(1.0));
  EXPECT_EQ(plainOf("\x22" + Builder::big(0x3F800000, 4)), Value(1.0));
}

TEST(KeyedUnarchiver, readsABarePropertyListDate) {
  EXPECT_EQ(plainOf("\x33" + Builder::big(0x4008000000000000, 8)), Value(Date{3.0}));
}

TEST(KeyedUnarchiver, readsUtf16WithSurrogatePairs) {
  Builder b;
  EXPECT_EQ(readOf(b.archive({b.utf16(u"z\u00fcrich \U0001F600")})), Value("z\u00fcrich \U0001F600"));
}

TEST(KeyedUnarchiver, readsRootNilAsNil) {
  Builder b;
  EXPECT_TRUE(readOf(b.archive({}, 0)).isNil());
}

TEST(KeyedUnarchiver, readsStringObjectsNewAndOld) {
  for (const char* name : {"NSString", "NSMutableString"}) {
    Builder b;
    EXPECT_EQ(readOf(objectOf(b, name, {{"NS.string", b.string("abc")}})), Value("abc"));
    Builder old;
    EXPECT_EQ(readOf(objectOf(old, name, {{"NS.bytes", old.data("z\xC3\xBC")}})), Value("zü"));
  }
}

TEST(KeyedUnarchiver, readsDataObjectsNewAndOld) {
  for (const char* name : {"NSData", "NSMutableData"}) {
    Builder b;
    EXPECT_EQ(readOf(objectOf(b, name, {{"NS.data", b.data("abc")}})), Value(Bytes{'a', 'b', 'c'}));
    Builder old;
    EXPECT_EQ(readOf(objectOf(old, name, {{"NS.bytes", old.data("")}})), Value(Bytes()));
  }
}

TEST(KeyedUnarchiver, readsDateObjects) {
  Builder b;
  EXPECT_EQ(readOf(objectOf(b, "NSDate", {{"NS.time", b.real(0x4008000000000000)}})), Value(Date{3.0}));
  Builder whole;
  EXPECT_EQ(readOf(objectOf(whole, "NSDate", {{"NS.time", whole.integer(7, 1)}})), Value(Date{7.0}));
}

TEST(KeyedUnarchiver, readsMutabilityFromTheClass) {
  for (const auto& [name, isMutable] :
       {std::pair("NSArray", false), {"NSMutableArray", true}, {"NSSet", false}, {"NSMutableSet", true}}) {
    Builder b;
    const Value value = readOf(objectOf(b, name, {{"NS.objects", b.uids({3, 0})}}, {b.string("x")}));
    EXPECT_EQ(value, Value(Array({"x", nullptr}))) << name;
    EXPECT_EQ(value.array().isMutable(), isMutable) << name;
  }
  for (const auto& [name, isMutable] : {std::pair("NSDictionary", false), {"NSMutableDictionary", true}}) {
    Builder b;
    const Value value = readOf(objectOf(b, name, {{"NS.keys", b.uids({3})}, {"NS.objects", b.uids({4})}},
                                        {b.string("k"), b.integer(9)}));
    EXPECT_EQ(value, Value(Dictionary({{"k", 9}}))) << name;
    EXPECT_EQ(value.dictionary().isMutable(), isMutable) << name;
  }
}

TEST(KeyedUnarchiver, readsTheNullObjectAsNil) {
  Builder b;
  const auto null = b.dictionary({{"$class", b.uid(4)}});
  EXPECT_EQ(readOf(objectOf(b, "NSArray", {{"NS.objects", b.uids({3})}}, {null, b.classObject("NSNull")})),
            Value(Array({nullptr})));
}

TEST(KeyedUnarchiver, readsNumberedContentsInAnyOrder) {
  Builder b;
  const Value array = readOf(objectOf(b, "NSArray", {{"NS.object.1", b.uid(4)}, {"NS.object.0", b.uid(3)}},
                                      {b.string("first"), b.string("second")}));
  EXPECT_EQ(array, Value(Array({"first", "second"})));
  Builder d;
  const Value dictionary = readOf(objectOf(
      d, "NSMutableDictionary",
      {{"NS.key.0", d.uid(3)}, {"NS.object.0", d.uid(4)}, {"NS.key.1", d.uid(4)}, {"NS.object.1", d.uid(3)}},
      {d.string("a"), d.string("b")}));
  EXPECT_EQ(dictionary, Value(Dictionary({{"a", "b"}, {"b", "a"}})));
}

TEST(KeyedUnarchiver, readsMoreThanTenNumberedItems) {
  Builder b;
  std::vector<std::pair<std::string, Builder::Number>> fields;
  Array expected;
  for (int i = 0; i < 12; ++i) {
    fields.emplace_back("NS.object." + std::to_string(i), b.uid(3 + static_cast<std::uint64_t>(i)));
    expected.append(i);
  }
  std::vector<Builder::Number> numbers;
  for (int i = 0; i < 12; ++i) numbers.push_back(b.integer(static_cast<std::uint64_t>(i), 1));
  EXPECT_EQ(readOf(objectOf(b, "NSArray", fields, numbers)), Value(expected));
}

TEST(KeyedUnarchiver, readsACollectionWithoutContentsAsEmpty) {
  Builder b;
  EXPECT_EQ(readOf(objectOf(b, "NSArray", {})), Value(Array()));
  Builder d;
  EXPECT_EQ(readOf(objectOf(d, "NSDictionary", {})), Value(Dictionary()));
}

TEST(KeyedUnarchiver, fallsBackOnClassHints) {
  Builder b;
  const auto object = b.dictionary({{"$class", b.uid(2)}, {"NS.objects", b.uids({})}});
  const Value value = readOf(b.archive({object, b.classObject("Odd", {"AlsoOdd", "NSMutableArray"})}));
  EXPECT_TRUE(value.isArray());
  EXPECT_TRUE(value.array().isMutable());
}

TEST(KeyedUnarchiver, letsTheLastOfEqualKeysWin) {
  Builder b;
  const Value value =
      readOf(objectOf(b, "NSDictionary", {{"NS.keys", b.uids({3, 4})}, {"NS.objects", b.uids({5, 6})}},
                      {b.string("k"), b.string("k"), b.integer(1), b.integer(2)}));
  EXPECT_EQ(value, Value(Dictionary({{"k", 2}})));
}

TEST(KeyedUnarchiver, takesEqualKeysAgainFromAListThatItKnows) {
  // Two dictionaries with one list of keys, in which a key occurs twice.
  Builder b;
  const auto one =
      b.dictionary({{"$class", b.uid(4)}, {"NS.keys", b.uids({5, 5})}, {"NS.objects", b.uids({6, 7})}});
  const auto two =
      b.dictionary({{"$class", b.uid(4)}, {"NS.keys", b.uids({5, 5})}, {"NS.objects", b.uids({7, 6})}});
  const auto root = b.dictionary({{"$class", b.uid(8)}, {"NS.objects", b.uids({2, 3})}});
  const Value value = readOf(b.archive({root, one, two, b.classObject("NSDictionary"), b.string("k"),
                                        b.integer(1), b.integer(2), b.classObject("NSArray")}));
  EXPECT_EQ(value, Value(Array({Dictionary({{"k", 2}}), Dictionary({{"k", 1}})})));
}

TEST(KeyedUnarchiver, knowsWhatWasReplacedAndIsNamedAgain) {
  Builder b;
  // The first entry is replaced by the second, and then named by the list around.
  const auto twice =
      b.dictionary({{"$class", b.uid(3)}, {"NS.keys", b.uids({4, 4})}, {"NS.objects", b.uids({5, 6})}});
  const auto root = b.dictionary({{"$class", b.uid(8)}, {"NS.objects", b.uids({2, 7, 5})}});
  const Value value =
      readOf(b.archive({root, twice, b.classObject("NSDictionary"), b.string("k"), b.string("replaced"),
                        b.string("kept one"), b.string("another!"), b.classObject("NSArray")}));
  EXPECT_EQ(value, Value(Array({Dictionary({{"k", "kept one"}}), "another!", "replaced"})));
}

TEST(KeyedUnarchiver, knowsACollectionThatWasReplacedAndIsNamedAgain) {
  Builder b;
  const auto twice =
      b.dictionary({{"$class", b.uid(3)}, {"NS.keys", b.uids({4, 4})}, {"NS.objects", b.uids({5, 6})}});
  const auto inner =
      b.dictionary({{"$class", b.uid(3)}, {"NS.keys", b.uids({4})}, {"NS.objects", b.uids({6})}});
  const auto root = b.dictionary({{"$class", b.uid(7)}, {"NS.objects", b.uids({2, 5})}});
  const Value value = readOf(b.archive({root, twice, b.classObject("NSDictionary"), b.string("k"), inner,
                                        b.string("text"), b.classObject("NSArray")}));
  EXPECT_EQ(value, Value(Array({Dictionary({{"k", "text"}}), Dictionary({{"k", "text"}})})));
}

TEST(KeyedUnarchiver, knowsTheBytesOfATextThatAreNamedAgain) {
  Builder b;
  const auto text = b.dictionary({{"$class", b.uid(3)}, {"NS.bytes", b.uid(4)}});
  const auto root = b.dictionary({{"$class", b.uid(5)}, {"NS.objects", b.uids({2, 4})}});
  const Value value =
      readOf(b.archive({root, text, b.classObject("NSString"), b.data("bytes"), b.classObject("NSArray")}));
  EXPECT_EQ(value, Value(Array({"bytes", Bytes{'b', 'y', 't', 'e', 's'}})));
}

TEST(KeyedUnarchiver, sharesWhatIsNamedTwice) {
  Builder b;
  const auto inner = b.dictionary({{"$class", b.uid(2)}, {"NS.objects", b.uids({})}});
  const Value value = readOf(objectOf(b, "NSArray", {{"NS.objects", b.uids({3, 3})}}, {inner}));
  ASSERT_EQ(value.array().size(), 2u);
  EXPECT_EQ(value.array()[0].identity(), value.array()[1].identity());
}

TEST(KeyedUnarchiver, readsEveryWidthOfReferencesAndOffsets) {
  for (std::size_t references = 1; references <= 8; ++references) {
    for (std::size_t offsets = 2; offsets <= 8; ++offsets) {
      Builder b(references, offsets);
      EXPECT_EQ(readOf(objectOf(b, "NSArray", {{"NS.objects", b.uids({3})}}, {b.string("x")})),
                Value(Array({"x"})));
    }
  }
}

TEST(KeyedUnarchiver, readsEveryWidthOfUids) {
  for (std::size_t width = 1; width <= 8; ++width) {
    Builder b;
    const auto list = b.array({b.uid(3, width)});
    EXPECT_EQ(readOf(objectOf(b, "NSArray", {{"NS.objects", list}}, {b.string("x")})), Value(Array({"x"})));
  }
}

TEST(KeyedUnarchiver, doesNotRelyOnTheOrderOfTheTopKeys) {
  Builder b;
  const auto objects = b.array({b.string("$null"), b.string("x")});
  const auto top = b.dictionary({{"root", b.uid(1)}});
  EXPECT_EQ(readOf(b.finish(b.dictionary({{"$objects", objects}, {"$top", top}}))), Value("x"));
}

// --- archives of untrusted peers

TEST(KeyedUnarchiver, refusesBytesThatAreNoPropertyList) {
  EXPECT_EQ(errorOf({}), "there are no bytes");
  const std::string text = "bplist00";
  EXPECT_EQ(errorOf(std::as_bytes(std::span(text)).size() ? Bytes(text.begin(), text.end()) : Bytes()),
            "the property list is cut short");
  const std::string other = "hello";
  EXPECT_EQ(errorOf(Bytes(other.begin(), other.end())), "the bytes are no property list");
}

TEST(KeyedUnarchiver, refusesEveryBeginningOfAnArchive) {
  Builder b;
  const Bytes whole = objectOf(b, "NSArray", {{"NS.objects", b.uids({3})}}, {b.string("x")});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(errorOf(std::span(whole).first(size)).starts_with("read:")) << size;
  }
}

TEST(KeyedUnarchiver, refusesTrailingBytes) {
  Builder b;
  Bytes bytes = objectOf(b, "NSArray", {{"NS.objects", b.uids({})}});
  bytes.push_back(0);
  EXPECT_EQ(errorOf(bytes), "the property list's trailer is damaged");
}

TEST(KeyedUnarchiver, refusesATrailerThatOverflows) {
  Builder b;
  const Bytes good = objectOf(b, "NSArray", {{"NS.objects", b.uids({})}});
  const std::size_t trailer = good.size() - 32;
  for (std::size_t field = 8; field < 32; field += 8) {
    Bytes bytes = good;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(trailer + field), 8, std::uint8_t{0xFF});
    EXPECT_EQ(errorOf(bytes), "the property list's trailer is damaged") << field;
  }
  for (const std::size_t width : {6u, 7u}) {
    for (const int value : {0, 9, 255}) {
      Bytes bytes = good;
      bytes[trailer + width] = static_cast<std::uint8_t>(value);
      EXPECT_EQ(errorOf(bytes), "the property list's trailer is damaged");
    }
  }
}

TEST(KeyedUnarchiver, refusesLengthsThatOverflow) {
  for (const int kind : {0x4, 0x5, 0x6, 0xA, 0xD}) {
    for (const std::uint64_t length : {UINT64_MAX, std::uint64_t{1} << 63, std::uint64_t{1000}}) {
      const std::string raw =
          static_cast<char>(kind << 4 | 15) + std::string("\x13") + Builder::big(length, 8);
      EXPECT_FALSE(plainErrorOf(raw).starts_with("read:"));
    }
  }
  EXPECT_FALSE(plainErrorOf("\x5F").starts_with("read:"));
  EXPECT_FALSE(plainErrorOf("\x5F\x23").starts_with("read:"));
}

TEST(KeyedUnarchiver, refusesMarkersThatMeanNothing) {
  for (int marker = 0; marker < 256; ++marker) {
    const bool known = marker == 0x08 || marker == 0x09 || (marker >= 0x10 && marker <= 0x14) ||
                       marker == 0x22 || marker == 0x23 || marker == 0x33 ||
                       (marker >= 0x40 && marker <= 0x6F);
    if (known) continue;
    EXPECT_FALSE(
        plainErrorOf(std::string(1, static_cast<char>(marker)) + std::string(64, 0)).starts_with("read:"))
        << marker;
  }
}

TEST(KeyedUnarchiver, refusesAUidPastTheEnd) {
  Builder b;
  EXPECT_EQ(errorOf(objectOf(b, "NSArray", {{"NS.objects", b.uids({3})}})),
            "a UID is past the end of $objects");
  Builder root;
  EXPECT_EQ(errorOf(root.archive({}, 1)), "a UID is past the end of $objects");
  Builder wide;
  EXPECT_EQ(errorOf(objectOf(wide, "NSArray", {{"NS.objects", wide.array({wide.uid(UINT64_MAX, 8)})}})),
            "a UID is past the end of $objects");
}

TEST(KeyedUnarchiver, refusesObjectsWithoutAKnownClass) {
  Builder missing;
  EXPECT_EQ(errorOf(missing.archive({missing.dictionary({{"NS.objects", missing.uids({})}})})),
            "an object has no class");
  Builder noClass;
  EXPECT_EQ(
      errorOf(noClass.archive({noClass.dictionary({{"$class", noClass.uid(2)}}), noClass.string("NSArray")})),
      "a class is no class");
  Builder unknown;
  EXPECT_EQ(errorOf(objectOf(unknown, "NSWindow", {})), "an object's class is unknown");
  Builder hints;
  EXPECT_EQ(
      errorOf(hints.archive({hints.dictionary({{"$class", hints.uid(2)}}), hints.classObject("A", {"B"})})),
      "an object's class is unknown");
  Builder itself;
  EXPECT_EQ(errorOf(itself.archive({itself.dictionary({{"$class", itself.uid(1)}})})),
            "expected a class, found a value");
  Builder nil;
  EXPECT_EQ(errorOf(nil.archive({nil.dictionary({{"$class", nil.uid(0)}})})), "a class is no class");
  Builder inlined;
  EXPECT_EQ(errorOf(inlined.archive({inlined.dictionary({{"$class", inlined.string("NSArray")}})})),
            "expected a UID, found another object");
}

TEST(KeyedUnarchiver, refusesAClassAsAValue) {
  Builder b;
  EXPECT_EQ(errorOf(b.archive({b.classObject("NSArray")})), "an object has no class");
  Builder used;
  EXPECT_EQ(errorOf(objectOf(used, "NSArray", {{"NS.objects", used.uids({2})}})),
            "expected a value, found a class");
}

TEST(KeyedUnarchiver, refusesKeysAndObjectsOfDifferentLengths) {
  Builder b;
  EXPECT_EQ(errorOf(objectOf(b, "NSDictionary", {{"NS.keys", b.uids({3})}, {"NS.objects", b.uids({})}},
                             {b.string("k")})),
            "a dictionary's keys and objects differ in number");
  Builder old;
  EXPECT_EQ(errorOf(objectOf(old, "NSDictionary", {{"NS.key.0", old.uid(3)}}, {old.string("k")})),
            "a dictionary's keys and objects differ in number");
}

TEST(KeyedUnarchiver, refusesKeysThatAreNoTexts) {
  for (const char* raw : {"\x10\x05", "\x09"}) {
    Builder b;
    EXPECT_EQ(errorOf(objectOf(b, "NSDictionary", {{"NS.keys", b.uids({3})}, {"NS.objects", b.uids({3})}},
                               {b.raw(raw)})),
              "a dictionary's key is no text");
  }
  Builder nil;
  EXPECT_EQ(
      errorOf(objectOf(nil, "NSDictionary", {{"NS.keys", nil.uids({0})}, {"NS.objects", nil.uids({0})}})),
      "a dictionary's key is no text");
}

TEST(KeyedUnarchiver, refusesGapsInNumberedContents) {
  Builder b;
  EXPECT_EQ(errorOf(objectOf(b, "NSArray", {{"NS.object.1", b.uid(3)}}, {b.string("x")})),
            "a collection's numbered contents have a gap");
  Builder huge;
  EXPECT_EQ(errorOf(objectOf(huge, "NSArray", {{"NS.object.18446744073709551615", huge.uid(3)}},
                             {huge.string("x")})),
            "a collection's numbered contents have a gap");
}

TEST(KeyedUnarchiver, refusesAnObjectThatContainsItself) {
  Builder b;
  EXPECT_EQ(errorOf(objectOf(b, "NSArray", {{"NS.objects", b.uids({1})}})), "an object contains itself");
  Builder far;
  const auto inner = far.dictionary({{"$class", far.uid(2)}, {"NS.objects", far.uids({1})}});
  EXPECT_EQ(errorOf(objectOf(far, "NSArray", {{"NS.objects", far.uids({3})}}, {inner})),
            "an object contains itself");
  Builder key;
  EXPECT_EQ(
      errorOf(objectOf(key, "NSDictionary", {{"NS.keys", key.uids({1})}, {"NS.objects", key.uids({1})}})),
      "an object contains itself");
}

// Arrays at 1, 3, 4, … (the class is 2), each naming the next one `fan` times.
Bytes tower(std::size_t levels, std::size_t fan) {
  Builder b;
  std::vector<Builder::Number> objects;
  for (std::size_t level = 0; level < levels; ++level) {
    const std::uint64_t next = level == 0 ? 3 : level + 3;
    const bool last = level + 1 == levels;
    objects.push_back(b.dictionary(
        {{"$class", b.uid(2)}, {"NS.objects", b.uids(std::vector<std::uint64_t>(last ? 0 : fan, next))}}));
    if (level == 0) objects.push_back(b.classObject("NSArray"));
  }
  return b.archive(objects);
}

TEST(KeyedUnarchiver, refusesFewBytesThatUnfoldIntoBillions) {
  EXPECT_EQ(errorOf(tower(12, 10)), "the archive expands into too many values");
  EXPECT_EQ(errorOf(tower(100, 10)), "the archive expands into too many values");
}

TEST(KeyedUnarchiver, countsSharedValuesEachTime) {
  // 1 + 10 + 100
  EXPECT_TRUE(std::holds_alternative<Value>(unarchivedObject(tower(3, 10), {.values = 111})));
  EXPECT_EQ(errorOf(tower(3, 10), {.values = 110}), "the archive expands into too many values");
}

TEST(KeyedUnarchiver, writesWhatWasSharedInAsFewBytesAgain) {
  const Bytes bytes = tower(7, 10);
  EXPECT_LT(archivedData(readOf(bytes)).size(), 2 * bytes.size());
}

TEST(KeyedUnarchiver, boundsTheDepthOfCollections) {
  EXPECT_TRUE(std::holds_alternative<Value>(unarchivedObject(tower(128, 1))));
  EXPECT_EQ(errorOf(tower(129, 1)), "collections are nested too deep");
  EXPECT_EQ(errorOf(tower(5000, 1)), "collections are nested too deep");
}

TEST(KeyedUnarchiver, boundsTheDepthOfWhatItReadBefore) {
  // Index 1 is [4, 3]: 4 has height 2 and is met at depth 1; 3 is [5], 5 is [4], where 4 is two deeper.
  Builder b;
  const auto list = [&b](const std::vector<std::uint64_t>& uids) {
    return b.dictionary({{"$class", b.uid(2)}, {"NS.objects", b.uids(uids)}});
  };
  const Bytes bytes =
      b.archive({list({4, 3}), b.classObject("NSArray"), list({5}), list({6}), list({4}), list({})});
  EXPECT_TRUE(std::holds_alternative<Value>(unarchivedObject(bytes, {.depth = 5})));
  EXPECT_EQ(errorOf(bytes, {.depth = 4}), "collections are nested too deep");
}

TEST(KeyedUnarchiver, refusesOneLongListInManyCollections) {
  // 2,000 arrays, all with the same list of 2,000 UIDs.
  Builder b;
  const auto list = b.array(std::vector<Builder::Number>(2000, b.uid(0)));
  std::vector<std::uint64_t> indexes;
  for (std::uint64_t i = 3; i < 2003; ++i) indexes.push_back(i);
  std::vector<Builder::Number> others;
  for (int i = 0; i < 2000; ++i) others.push_back(b.dictionary({{"$class", b.uid(2)}, {"NS.objects", list}}));
  EXPECT_EQ(errorOf(objectOf(b, "NSArray", {{"NS.objects", b.uids(indexes)}}, others)),
            "the archive's objects overlap");
}

TEST(KeyedUnarchiver, refusesTextsThatLieOverOneAnother) {
  // 1,000 objects at one offset: a text of 100,000 characters.
  Builder b;
  std::vector<std::uint64_t> indexes;
  std::vector<Builder::Number> others;
  for (std::uint64_t i = 0; i < 1000; ++i) {
    indexes.push_back(3 + i);
    others.push_back(b.string(i == 0 ? std::string(100000, 'x') : ""));
  }
  Bytes bytes = objectOf(b, "NSArray", {{"NS.objects", b.uids(indexes)}}, others);
  const std::size_t table = static_cast<std::size_t>(bytes[bytes.size() - 3]) << 16 |
                            static_cast<std::size_t>(bytes[bytes.size() - 2]) << 8 | bytes.back();
  for (std::size_t i = 1; i < 1000; ++i) {
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(table + 4 * others[0]), 4,
                bytes.begin() + static_cast<std::ptrdiff_t>(table + 4 * others[i]));
  }
  EXPECT_EQ(errorOf(bytes), "the archive's objects overlap");
}

TEST(KeyedUnarchiver, refusesTextsThatAreNoUtf16) {
  for (const std::u16string& text : {std::u16string(1, 0xD800), std::u16string(1, 0xDC00),
                                     std::u16string{0xD800, 'x'}, std::u16string{0xDC00, 0xD800}}) {
    Builder b;
    EXPECT_EQ(errorOf(b.archive({b.utf16(text)})), "a text is no valid UTF-16");
  }
}

TEST(KeyedUnarchiver, refusesTextsThatAreNoAsciiOrUtf8) {
  EXPECT_EQ(plainErrorOf("\x51\x80"), "a text marked as ASCII is none");
  Builder b;
  EXPECT_EQ(errorOf(objectOf(b, "NSString", {{"NS.bytes", b.data("\xC3")}})), "a text is no valid UTF-8");
}

TEST(KeyedUnarchiver, refusesObjectsOfTheWrongKind) {
  Builder text;
  EXPECT_EQ(errorOf(objectOf(text, "NSString", {{"NS.string", text.data("x")}})),
            "a string object holds no text");
  Builder none;
  EXPECT_EQ(errorOf(objectOf(none, "NSString", {})), "a string object holds no text");
  Builder data;
  EXPECT_EQ(errorOf(objectOf(data, "NSData", {{"NS.data", data.string("x")}})),
            "a data object holds no data");
  Builder date;
  EXPECT_EQ(errorOf(objectOf(date, "NSDate", {{"NS.time", date.string("x")}})), "a date has no time");
  Builder timeless;
  EXPECT_EQ(errorOf(objectOf(timeless, "NSDate", {})), "a date has no time");
  Builder list;
  EXPECT_EQ(errorOf(objectOf(list, "NSArray", {{"NS.objects", list.string("x")}})),
            "a collection's contents are no list");
  Builder bare;
  EXPECT_EQ(errorOf(bare.archive({bare.array({})})), "an object cannot be read");
}

TEST(KeyedUnarchiver, refusesAFrameWithoutItsParts) {
  Builder array;
  EXPECT_EQ(errorOf(array.finish(array.array({}))), "the property list is no dictionary");
  Builder objects;
  EXPECT_EQ(
      errorOf(objects.finish(objects.dictionary({{"$top", objects.dictionary({{"root", objects.uid(0)}})}}))),
      "the archive has no $objects");
  Builder top;
  EXPECT_EQ(errorOf(top.finish(top.dictionary({{"$objects", top.array({})}}))), "the archive has no $top");
  Builder root;
  EXPECT_EQ(
      errorOf(root.finish(root.dictionary({{"$objects", root.array({})}, {"$top", root.dictionary({})}}))),
      "the archive has no root");
}

}  // namespace
}  // namespace moxtel
