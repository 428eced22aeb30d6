#include "plist/KeyedArchive.h"

#include <plist/plist.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>

#include "value/Description.h"

namespace moxtel {
namespace {

// Another reader's view of the archive.
class Peer final {
 public:
  explicit Peer(const Bytes& bytes) {
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                   &list_);
    objects_ = list_ ? plist_dict_get_item(list_, "$objects") : nullptr;
  }
  ~Peer() { plist_free(list_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  plist_t list() const { return list_; }
  std::uint32_t count() const { return objects_ ? plist_array_get_size(objects_) : 0; }
  plist_t object(std::uint64_t index) const {
    return plist_array_get_item(objects_, static_cast<std::uint32_t>(index));
  }
  plist_t root() const { return object(uid(plist_access_path(list_, 2, "$top", "root"))); }
  static std::uint64_t uid(plist_t node) {
    std::uint64_t value = 0;
    EXPECT_EQ(plist_get_node_type(node), PLIST_UID);
    plist_get_uid_val(node, &value);
    return value;
  }
  // What the UID under a key of an object names, or the item of the array of UIDs there.
  plist_t named(plist_t object, const char* key) const {
    return this->object(uid(plist_dict_get_item(object, key)));
  }
  plist_t item(plist_t object, const char* key, std::uint32_t i) const {
    return this->object(uid(plist_array_get_item(plist_dict_get_item(object, key), i)));
  }
  static std::string text(plist_t node) {
    char* held = nullptr;
    plist_get_string_val(node, &held);
    const std::string copy = held ? held : "(no text)";
    std::free(held);
    return copy;
  }
  std::string className(plist_t object) const {
    return text(plist_dict_get_item(named(object, "$class"), "$classname"));
  }
  std::vector<std::string> classChain(plist_t object) const {
    plist_t names = plist_dict_get_item(named(object, "$class"), "$classes");
    std::vector<std::string> chain;
    for (std::uint32_t i = 0; i < plist_array_get_size(names); ++i) {
      chain.push_back(text(plist_array_get_item(names, i)));
    }
    return chain;
  }

 private:
  plist_t list_ = nullptr;
  plist_t objects_ = nullptr;
};

Value readOf(const Bytes& bytes) {
  auto read = unarchivedObject(bytes);
  if (const auto* error = std::get_if<DecodingError>(&read)) {
    ADD_FAILURE() << error->reason;
    return {};
  }
  return std::get<Value>(read);
}

std::size_t occurrences(const Bytes& bytes, const std::string& text) {
  const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::size_t count = 0;
  for (std::size_t at = all.find(text); at != std::string_view::npos; at = all.find(text, at + 1)) ++count;
  return count;
}

// Equal with NaN, and with mutability.
bool same(const Value& a, const Value& b) {
  if (a.type() != b.type()) return false;
  if (a.isArray()) {
    const Array &x = a.array(), &y = b.array();
    return x.isMutable() == y.isMutable() && std::equal(x.begin(), x.end(), y.begin(), y.end(), same);
  }
  if (a.isDictionary()) {
    const Dictionary &x = a.dictionary(), &y = b.dictionary();
    return x.isMutable() == y.isMutable() &&
           std::equal(x.begin(), x.end(), y.begin(), y.end(),
                      [](const auto& p, const auto& q) { return p.key == q.key && same(p.value, q.value); });
  }
  const auto isNan = [](double d) { return d != d; };
  if (a.type() == Value::Type::Real && isNan(a.doubleValue())) return isNan(b.doubleValue());
  if (a.type() == Value::Type::Date && isNan(a.date().seconds)) return isNan(b.date().seconds);
  return a == b;
}

TEST(KeyedArchiver, writesTheFrameInThePlatformsOrder) {
  const Bytes bytes = archivedData("x");
  const Peer peer(bytes);
  ASSERT_NE(peer.list(), nullptr);
  std::vector<std::string> keys;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(peer.list(), &iterator);
  for (;;) {
    char* key = nullptr;
    plist_t node = nullptr;
    plist_dict_next_item(peer.list(), iterator, &key, &node);
    if (!key) break;
    keys.emplace_back(key);
    std::free(key);
  }
  std::free(iterator);
  EXPECT_EQ(keys, (std::vector<std::string>{"$version", "$archiver", "$top", "$objects"}));
  std::uint64_t version = 0;
  plist_get_uint_val(plist_dict_get_item(peer.list(), "$version"), &version);
  EXPECT_EQ(version, 100000u);
  EXPECT_EQ(Peer::text(plist_dict_get_item(peer.list(), "$archiver")), "NSKeyedArchiver");
  EXPECT_EQ(Peer::text(peer.object(0)), "$null");
  EXPECT_EQ(Peer::text(peer.root()), "x");
}

TEST(KeyedArchiver, writesNilAsReferenceZero) {
  const Bytes bytes = archivedData({});
  const Peer peer(bytes);
  EXPECT_EQ(Peer::uid(plist_access_path(peer.list(), 2, "$top", "root")), 0u);
  EXPECT_EQ(peer.count(), 1u);
}

TEST(KeyedArchiver, namesClassesByMutability) {
  const Bytes bytes = archivedData(Array({Dictionary(), mutableDictionary(), mutableArray()}));
  const Peer peer(bytes);
  using Chain = std::vector<std::string>;
  EXPECT_EQ(peer.classChain(peer.root()), (Chain{"NSArray", "NSObject"}));
  EXPECT_EQ(peer.classChain(peer.item(peer.root(), "NS.objects", 0)), (Chain{"NSDictionary", "NSObject"}));
  EXPECT_EQ(peer.classChain(peer.item(peer.root(), "NS.objects", 1)),
            (Chain{"NSMutableDictionary", "NSDictionary", "NSObject"}));
  EXPECT_EQ(peer.classChain(peer.item(peer.root(), "NS.objects", 2)),
            (Chain{"NSMutableArray", "NSArray", "NSObject"}));
}

TEST(KeyedArchiver, writesKeysAndValuesInOrder) {
  const Bytes bytes = archivedData(Dictionary({{"b", "x"}, {"a", 2}}));
  const Peer peer(bytes);
  EXPECT_EQ(Peer::text(peer.item(peer.root(), "NS.keys", 0)), "b");
  EXPECT_EQ(Peer::text(peer.item(peer.root(), "NS.keys", 1)), "a");
  EXPECT_EQ(Peer::text(peer.item(peer.root(), "NS.objects", 0)), "x");
  EXPECT_EQ(plist_get_node_type(peer.item(peer.root(), "NS.objects", 1)), PLIST_UINT);
}

TEST(KeyedArchiver, writesDatesAsObjects) {
  const Bytes bytes = archivedData(Date{1.5});
  const Peer peer(bytes);
  EXPECT_EQ(peer.className(peer.root()), "NSDate");
  double seconds = 0;
  plist_get_real_val(plist_dict_get_item(peer.root(), "NS.time"), &seconds);
  EXPECT_EQ(seconds, 1.5);
}

TEST(KeyedArchiver, writesNilInsideACollectionAsTheNullObject) {
  const Bytes bytes = archivedData(Array({nullptr, nullptr}));
  const Peer peer(bytes);
  EXPECT_EQ(peer.className(peer.item(peer.root(), "NS.objects", 0)), "NSNull");
  EXPECT_EQ(peer.count(), 5u);  // $null, array, null object, two classes
}

TEST(KeyedArchiver, storesEqualTextsNumbersAndDatesOnce) {
  const Bytes bytes = archivedData(Array({"same text", "same text", 123456789, 123456789, 0.25, 0.25, Date{5},
                                          Date{5}, Dictionary({{"same text", "same text"}})}));
  EXPECT_EQ(occurrences(bytes, "same text"), 1u);
  const Peer peer(bytes);
  EXPECT_EQ(peer.count(), 10u);  // $null, two collections, a text, two numbers, a date, three classes
}

TEST(KeyedArchiver, keepsNumbersOfDifferentKindsApart) {
  const Value value = Array({1, 1.0, true, "1", 0, 0.0, -0.0, false, Date{1}});
  const Value read = readOf(archivedData(value));
  EXPECT_EQ(read, value);
  EXPECT_TRUE(std::signbit(read.array()[6].doubleValue()));
  EXPECT_FALSE(std::signbit(read.array()[5].doubleValue()));
}

TEST(KeyedArchiver, storesWhatCopiesShareOnce) {
  const Value shared = mutableDictionary({{"k", "v"}});
  const Value data = Bytes(100, 7);
  const Bytes bytes = archivedData(Array({shared, shared, data, data}));
  const Peer peer(bytes);
  EXPECT_EQ(peer.count(), 8u);  // $null, array, dictionary, key, value, data, two classes
}

TEST(KeyedArchiver, doesNotJoinEqualCollectionsThatMayChangeApart) {
  const Value value = Array({mutableDictionary({{"k", 1}}), mutableDictionary({{"k", 1}})});
  const Value read = readOf(archivedData(value));
  EXPECT_NE(read.array()[0].identity(), read.array()[1].identity());
}

TEST(KeyedArchiver, writesAsciiInOneByteAndOthersInTwo) {
  EXPECT_EQ(occurrences(archivedData("plain"), "plain"), 1u);
  EXPECT_EQ(occurrences(archivedData("pl\u00e4in"), std::string("\x65\0p\0l\0\xE4\0i\0n", 11)), 1u);
  EXPECT_EQ(readOf(archivedData("\U0001F600\u20ac\u00e4a")), Value("\U0001F600\u20ac\u00e4a"));
}

TEST(KeyedArchiver, keepsTextsWithNulsAndOfEveryLength) {
  const std::string nul("a\0b", 3);
  EXPECT_EQ(readOf(archivedData(nul)), Value(nul));
  for (const std::size_t length : {0u, 1u, 14u, 15u, 16u, 255u, 256u, 65535u, 65536u, 3000000u}) {
    const std::string ascii(length, 'x');
    EXPECT_TRUE(readOf(archivedData(ascii)) == Value(ascii)) << length;
    const std::string wide = ascii + "\u00fc";
    EXPECT_TRUE(readOf(archivedData(wide)) == Value(wide)) << length;
  }
}

TEST(KeyedArchiver, replacesBytesThatAreNoUtf8) {
  EXPECT_EQ(readOf(archivedData("a\xFFz")), Value("a\uFFFDz"));
  EXPECT_EQ(readOf(archivedData("\xE2\x82")), Value("\uFFFD"));
  EXPECT_EQ(readOf(archivedData("\xED\xA0\x80")), Value("\uFFFD\uFFFD\uFFFD"));
  EXPECT_EQ(readOf(archivedData(Dictionary({{"k\xC0", 1}}))), Value(Dictionary({{"k\uFFFD", 1}})));
}

// Different as they come, the same as they are written.
TEST(KeyedArchiver, storesTextsOnceThatAreMadeTheSame) {
  const Bytes bytes = archivedData(Array({"some text \xF4", "some text \xE4", "\xF4", "\xE4"}));
  const Peer peer(bytes);
  EXPECT_EQ(peer.count(), 5u);  // $null, an array, two texts, a class
}

TEST(KeyedArchiver, keepsIntegersOfEverySize) {
  for (const std::int64_t number :
       {std::int64_t{0}, std::int64_t{255}, std::int64_t{256}, std::int64_t{65535}, std::int64_t{65536},
        std::int64_t{4294967295}, std::int64_t{4294967296}, INT64_MAX, std::int64_t{-1}, INT64_MIN}) {
    EXPECT_EQ(readOf(archivedData(number)), Value(number));
  }
  EXPECT_EQ(readOf(archivedData(UINT64_MAX)), Value(UINT64_MAX));
  EXPECT_EQ(occurrences(archivedData(UINT64_MAX), "\x14" + std::string(8, 0) + std::string(8, '\xFF')), 1u);
}

TEST(KeyedArchiver, keepsRealsThatAreNoNumbers) {
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(readOf(archivedData(Array({infinity, -infinity}))), Value(Array({infinity, -infinity})));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(same(readOf(archivedData(nan)), Value(nan)));
}

// One archive for each width of references and of offsets.
TEST(KeyedArchiver, widensReferencesWithTheNumberOfObjects) {
  for (const std::size_t count : {10u, 50u, 200u, 5000u, 20000u, 40000u, 120000u}) {
    Array array(Mutability::Mutable);
    for (std::size_t i = 0; i < count; ++i) array.append("text " + std::to_string(i));
    const Value value = array;
    const Bytes bytes = archivedData(value);
    EXPECT_TRUE(readOf(bytes) == value) << count;
    const Peer peer(bytes);
    EXPECT_EQ(Peer::text(peer.item(peer.root(), "NS.objects", static_cast<std::uint32_t>(count - 1))),
              "text " + std::to_string(count - 1));
  }
}

TEST(KeyedArchiver, writesOffsetsPast16Megabytes) {
  Array array;
  for (int i = 0; i < 20; ++i) array.append(Bytes(1u << 20, static_cast<std::uint8_t>(i)));
  array.append("last");
  EXPECT_TRUE(readOf(archivedData(array)) == Value(array));
}

TEST(KeyedArchiver, writesWhatManyListsShareOnce) {
  constexpr int kLists = 100;
  constexpr int kShared = 1000;
  Array array;
  for (int list = 0; list < kLists; ++list) {
    Array inner;
    for (int i = 0; i < kShared; ++i) inner.append(i);
    inner.append(-1 - list);
    array.append(std::move(inner));
  }
  const Bytes bytes = archivedData(array);
  EXPECT_TRUE(readOf(bytes) == Value(array));
  // Each place in a list is a reference of two bytes; a separate number would be three more, and a UID
  // four.
  EXPECT_LT(bytes.size(), std::size_t{kLists} * kShared * 3);
}

// More objects than three bytes can number: references and UIDs take four each.
TEST(KeyedArchiver, countsPast24Bits) {
  if (!std::getenv("MOXTEL_LARGE_TESTS")) GTEST_SKIP() << "takes gigabytes; MOXTEL_LARGE_TESTS=1 runs it";
  constexpr std::int64_t kCount = (1 << 24) + 100;
  Array array;
  for (std::int64_t i = 0; i < kCount; ++i) array.append(i);
  const Value value = std::move(array);
  const Bytes bytes = archivedData(value);
  constexpr std::size_t kReferenceWidthAt = 25;  // from the end
  EXPECT_EQ(bytes.at(bytes.size() - kReferenceWidthAt), 4);
  EXPECT_TRUE(readOf(bytes) == value);
}

TEST(KeyedArchiver, lendsLargeDataInsteadOfCopying) {
  const Value movie = Bytes(1u << 20, 9);
  const ArchivePieces pieces = archivedPieces(Dictionary({{"result", movie}}));
  const auto lent = std::find_if(pieces.pieces().begin(), pieces.pieces().end(),
                                 [&movie](const auto& piece) { return piece.data() == movie.data().data(); });
  ASSERT_NE(lent, pieces.pieces().end());
  EXPECT_EQ(lent->size(), movie.data().size());
  EXPECT_EQ(readOf(pieces.joined())["result"], movie);
}

TEST(KeyedArchiver, keepsWhatItLendsAlive) {
  Value value = Dictionary({{"a", Bytes(100000, 1)}, {"b", Bytes(100000, 2)}});
  const Bytes expected = archivedData(value);
  const ArchivePieces pieces = archivedPieces(value);
  value.editDictionary().clear();
  value = Value();
  EXPECT_TRUE(pieces.joined() == expected);
  EXPECT_EQ(pieces.size(), expected.size());
}

TEST(KeyedArchiver, keepsNothingElseOfAValueThatIsMovedIn) {
  const Value list = Array({"some text"});
  const Value data = Bytes(100000, 1);
  Value value = Array({list, data});
  const ArchivePieces pieces = archivedPieces(std::move(value));
  EXPECT_FALSE(list.isShared());
  EXPECT_TRUE(data.isShared());
}

TEST(KeyedArchiver, writesTextsAfterLentDataOnceToo) {
  const Value value = Array({"before", Bytes(50000, 1), "before", "after", Bytes(50000, 2), "after"});
  const Bytes bytes = archivedData(value);
  EXPECT_EQ(readOf(bytes), value);
  EXPECT_EQ(occurrences(bytes, "before"), 1u);
  EXPECT_EQ(occurrences(bytes, "after"), 1u);
}

TEST(KeyedArchiver, writesTheSameBytesForTheSameValue) {
  Array array;
  for (int i = 0; i < 3000; ++i) array.append(Dictionary({{"k", i % 70}, {"t", std::to_string(i % 90)}}));
  EXPECT_TRUE(archivedData(array) == archivedData(array));
}

class Generator final {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}
  Value value(int depth) {
    switch (below(depth >= 5 ? 9 : 12)) {
      case 0:
        return {};
      case 1:
        return below(2) == 0;
      case 2:
        return static_cast<std::int64_t>(random_() >> below(64));
      case 3:
        return random_();
      case 4:
        return std::bit_cast<double>(random_());
      case 5:
        return static_cast<double>(below(10));
      case 6:
        return Date{static_cast<double>(below(1000000))};
      case 7: {
        Bytes bytes(below(8) == 0 ? 20000 : below(40));
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<std::uint8_t>(random_()); });
        return bytes;
      }
      case 8:
        return text();
      case 9: {
        Array array(mutability());
        for (auto left = below(30); left > 0; --left) array.append(value(depth + 1));
        return array;
      }
      default: {
        Dictionary dictionary(mutability());
        for (auto left = below(40); left > 0; --left) dictionary.set(text(), value(depth + 1));
        return dictionary;
      }
    }
  }

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  Mutability mutability() { return below(2) == 0 ? Mutability::Immutable : Mutability::Mutable; }
  std::string text() {
    static constexpr const char* kParts[] = {"a",      "Photo",      "%",  "'", "\u00e4",
                                             "\u20ac", "\U0001F600", "\n", "0", "key"};
    std::string out;
    for (auto left = below(12); left > 0; --left) out += kParts[below(10)];
    return out;
  }
  std::mt19937_64 random_;
};

TEST(KeyedArchiver, readsBackEveryGeneratedValue) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    const Value value = Generator(seed).value(0);
    const Bytes bytes = archivedData(value);
    const Value read = readOf(bytes);
    ASSERT_TRUE(same(read, value)) << "seed " << seed << "\n" << describe(value) << "\n" << describe(read);
    ASSERT_TRUE(archivedData(read) == bytes) << "seed " << seed;
    plist_t list = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<std::uint32_t>(bytes.size()),
                   &list);
    ASSERT_NE(list, nullptr) << "seed " << seed;
    plist_free(list);
  }
}

TEST(KeyedArchiver, throwsForAnArchiveLargerThanAllowed) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const Value value = Generator(seed).value(0);
    const std::size_t size = archivedData(value).size();
    EXPECT_EQ(archivedPieces(value, size).size(), size) << seed;
    EXPECT_THROW(archivedPieces(value, size - 1), ArchiveTooLargeError) << seed;
  }
  Array many;
  for (int i = 0; i < 100'000; ++i) many.append(Dictionary{{"number", i % 7}, {"text", "t"}});
  const std::size_t size = archivedData(many).size();
  EXPECT_EQ(archivedPieces(many, size).size(), size);
  EXPECT_THROW(archivedPieces(many, size - 1), ArchiveTooLargeError);
}

// Sizes around each width of a count and of an offset, and around the size from which data is not copied.
TEST(KeyedArchiver, archivesAroundDataAsItArchivesTheData) {
  for (const std::size_t size : {0u, 1u, 14u, 15u, 40u, 255u, 256u, 1000u, 16383u, 16384u, 65000u, 65535u,
                                 65536u, 70'000u, 16'777'216u}) {
    const Bytes data(size, std::uint8_t{7});
    const ArchiveAroundData around = archiveAroundData("result", size);
    Bytes whole = around.before;
    whole.insert(whole.end(), data.begin(), data.end());
    whole.insert(whole.end(), around.after.begin(), around.after.end());
    EXPECT_TRUE(whole == archivedData(Dictionary{{"result", data}})) << size;
  }
}

}  // namespace
}  // namespace moxtel
