#include "value/Value.h"

#include <cmath>
#include <limits>
#include <random>
#include <thread>

namespace moxtel {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(Value, isSixteenBytes) { EXPECT_EQ(sizeof(Value), 16u); }

TEST(Value, knowsItsType) {
  EXPECT_EQ(Value().type(), Value::Type::Nil);
  EXPECT_EQ(Value(nullptr).type(), Value::Type::Nil);
  EXPECT_EQ(Value(true).type(), Value::Type::Boolean);
  EXPECT_EQ(Value(1).type(), Value::Type::Integer);
  EXPECT_EQ(Value(UINT64_MAX).type(), Value::Type::Integer);
  EXPECT_EQ(Value(1.0).type(), Value::Type::Real);
  EXPECT_EQ(Value("x").type(), Value::Type::String);
  EXPECT_EQ(Value(Bytes{1}).type(), Value::Type::Data);
  EXPECT_EQ(Value(Date{1}).type(), Value::Type::Date);
  EXPECT_EQ(Value(Array()).type(), Value::Type::Array);
  EXPECT_EQ(Value(Dictionary()).type(), Value::Type::Dictionary);
}

TEST(Value, keepsTheKindsOfNumbersApart) {
  EXPECT_NE(Value(1), Value(1.0));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value(1.0), Value(true));
  EXPECT_NE(Value(0), Value());
  EXPECT_NE(Value(0), Value(false));
  EXPECT_NE(Value("1"), Value(1));
  EXPECT_NE(Value(-1), Value(UINT64_MAX));
}

TEST(Value, countsBooleansIntegersAndRealsAsNumbers) {
  for (const Value& number : {Value(true), Value(1), Value(1.5), Value(UINT64_MAX)})
    EXPECT_TRUE(number.isNumber());
  for (const Value& other : {Value(), Value("1"), Value(Date{1}), Value(Array())})
    EXPECT_FALSE(other.isNumber());
}

TEST(Value, keepsIntegersPast63Bits) {
  const Value large(std::uint64_t{1} << 63);
  EXPECT_TRUE(large.isBeyondSigned());
  EXPECT_EQ(large.unsignedValue(), std::uint64_t{1} << 63);
  EXPECT_EQ(large.integerValue(), INT64_MAX);
  EXPECT_EQ(large.intValue(), INT32_MAX);
  EXPECT_FALSE(Value(static_cast<std::uint64_t>(INT64_MAX)).isBeyondSigned());
  EXPECT_EQ(Value(static_cast<std::uint64_t>(INT64_MAX)), Value(INT64_MAX));
}

TEST(Value, convertsAndSaturatesNumbers) {
  EXPECT_EQ(Value(5000000000).intValue(), INT32_MAX);
  EXPECT_EQ(Value(-5000000000).intValue(), INT32_MIN);
  EXPECT_EQ(Value(1e300).integerValue(), INT64_MAX);
  EXPECT_EQ(Value(-kInfinity).integerValue(), INT64_MIN);
  EXPECT_EQ(Value(kNan).integerValue(), 0);
  EXPECT_EQ(Value(-1.9).integerValue(), -1);
  EXPECT_EQ(Value(true).integerValue(), 1);
  EXPECT_EQ(Value(3).doubleValue(), 3.0);
  EXPECT_EQ(Value(UINT64_MAX).doubleValue(), 18446744073709551616.0);
}

TEST(Value, readsNumbersFromTexts) {
  EXPECT_EQ(Value(" 12abc").intValue(), 12);
  EXPECT_EQ(Value("99999999999").integerValue(), 99999999999);
  EXPECT_EQ(Value("1.5x").doubleValue(), 1.5);
  EXPECT_TRUE(Value("YES").boolValue());
  EXPECT_FALSE(Value("no").boolValue());
}

TEST(Value, readsNothingAsZero) {
  for (const Value& other :
       {Value(), Value(Array({1})), Value(Dictionary({{"a", 1}})), Value(Bytes{1}), Value(Date{9})}) {
    EXPECT_EQ(other.intValue(), 0);
    EXPECT_EQ(other.integerValue(), 0);
    EXPECT_EQ(other.unsignedValue(), 0u);
    EXPECT_EQ(other.doubleValue(), 0.0);
    EXPECT_FALSE(other.boolValue());
  }
}

TEST(Value, tellsTruthOfNumbers) {
  EXPECT_TRUE(Value(0.1).boolValue());
  EXPECT_TRUE(Value(-1).boolValue());
  EXPECT_FALSE(Value(0.0).boolValue());
}

TEST(Value, readsOtherKindsAsEmpty) {
  const Value number(1);
  EXPECT_EQ(number.string(), "");
  EXPECT_TRUE(number.text().empty());
  EXPECT_TRUE(number.data().empty());
  EXPECT_TRUE(number.array().empty());
  EXPECT_TRUE(number.dictionary().empty());
  EXPECT_TRUE(number["key"].isNil());
  EXPECT_EQ(number.date(), Date{0});
}

TEST(Value, doesNotShowACopysChanges) {
  Value a = mutableDictionary({{"list", mutableArray({1})}});
  const Value b = a;
  a.editDictionary().find("list")->editArray().append(2);
  EXPECT_EQ(a["list"], Value(Array({1, 2})));
  EXPECT_EQ(b["list"], Value(Array({1})));
}

TEST(Value, becomesAMutableCollectionToWriteTo) {
  Value array("text");
  array.editArray().append(1);
  EXPECT_TRUE(array.array().isMutable());
  Value dictionary;
  dictionary.editDictionary().set("k", 1);
  EXPECT_EQ(dictionary, Value(Dictionary({{"k", 1}})));
  EXPECT_TRUE(dictionary.dictionary().isMutable());
}

TEST(Value, sharesStorageBetweenCopiesOnly) {
  const Value a = mutableArray({1});
  EXPECT_FALSE(a.isShared());
  const Value b = a;
  EXPECT_TRUE(a.isShared());
  EXPECT_EQ(a.identity(), b.identity());
  EXPECT_NE(a.identity(), Value(mutableArray({1})).identity());
  EXPECT_EQ(Value(5).identity(), nullptr);
  EXPECT_FALSE(Value(5).isShared());
}

TEST(Value, comparesCollectionsByContentsNotMutability) {
  EXPECT_EQ(Value(Array({1, "x"})), Value(mutableArray({1, "x"})));
  EXPECT_NE(Value(Array({1, 2})), Value(Array({2, 1})));
  EXPECT_EQ(Value(Dictionary({{"a", 1}, {"b", 2}})), Value(mutableDictionary({{"b", 2}, {"a", 1}})));
  EXPECT_NE(Value(Dictionary({{"a", 1}})), Value(Dictionary({{"a", nullptr}})));
  EXPECT_NE(Value(Dictionary({{"a", nullptr}})), Value(Dictionary({{"b", nullptr}})));
}

TEST(Value, isUsedFromManyThreadsByCopies) {
  const Value value = mutableDictionary({{"k", mutableArray({"text"})}});
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([value, t] {
      for (int i = 0; i < 1000; ++i) {
        Value copy = value;
        copy.editDictionary().set("t", t);
        ASSERT_EQ(copy["k"].array()[0].string(), "text");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(value.dictionary().size(), 1u);
}

TEST(Text, holdsAnyBytes) {
  const std::string nul("a\0b", 3);
  EXPECT_EQ(Text(nul).view(), nul);
  EXPECT_TRUE(Text("").empty());
  EXPECT_EQ(sizeof(Text), sizeof(void*));
}

TEST(Text, survivesAssignmentToItself) {
  Text text("text");
  const Text& same = text;
  text = same;
  EXPECT_EQ(text, "text");
}

TEST(Dictionary, keepsInsertionOrder) {
  Dictionary d({{"z", 1}, {"a", 2}});
  d.set("m", 3);
  d.set("z", 4);
  std::string keys;
  for (const auto& entry : d) keys += entry.key.str();
  EXPECT_EQ(keys, "zam");
  EXPECT_EQ(d["z"], Value(4));
}

TEST(Dictionary, tellsAbsentFromNil) {
  const Dictionary d({{"nil", nullptr}});
  EXPECT_TRUE(d.contains("nil"));
  EXPECT_FALSE(d.contains("absent"));
  EXPECT_TRUE(d["nil"].isNil());
  EXPECT_TRUE(d["absent"].isNil());
}

TEST(Dictionary, keepsTheFirstPlaceOfAKeyGivenTwice) {
  const Dictionary d({{"a", 1}, {"b", 2}, {"a", 3}});
  EXPECT_EQ(d.size(), 2u);
  EXPECT_EQ(d.begin()->value, Value(3));
}

// Small and indexed dictionaries alike, checked against a plain list.
TEST(Dictionary, agreesWithAPlainListThroughChanges) {
  std::mt19937 random(1);
  Dictionary d;
  std::vector<std::pair<std::string, int>> model;
  for (int step = 0; step < 20000; ++step) {
    const std::string key = "key " + std::to_string(random() % 100);
    const auto found =
        std::find_if(model.begin(), model.end(), [&key](const auto& e) { return e.first == key; });
    if (random() % 3 == 0) {
      ASSERT_EQ(d.remove(key), found != model.end());
      if (found != model.end()) model.erase(found);
    } else {
      d.set(key, step);
      if (found != model.end()) {
        found->second = step;
      } else {
        model.emplace_back(key, step);
      }
    }
    if (step % 50 == 0) {
      const Dictionary copy = d;
      ASSERT_EQ(copy.size(), model.size());
      for (const auto& [name, value] : model) ASSERT_EQ(copy[name], Value(value));
      ASSERT_TRUE(std::equal(copy.begin(), copy.end(), model.begin(), model.end(),
                             [](const auto& e, const auto& m) { return e.key == m.first; }));
    }
  }
}

TEST(Dictionary, staysUsableAfterACopyOrMoveIsChanged) {
  Dictionary d;
  for (int i = 0; i < 100; ++i) d.set(std::to_string(i), i);
  Dictionary copy = d;
  d.clear();
  EXPECT_EQ(copy["77"], Value(77));
  Dictionary moved = std::move(copy);
  EXPECT_EQ(moved["77"], Value(77));
  d = moved;
  EXPECT_EQ(d["99"], Value(99));
  EXPECT_TRUE(d.remove("99"));
  EXPECT_EQ(moved["99"], Value(99));
}

TEST(Dictionary, removesByAViewOfItsOwnKey) {
  for (const int size : {3, 100}) {
    Dictionary d;
    for (int i = 0; i < size; ++i) d.set("a key that is long enough " + std::to_string(i), i);
    EXPECT_TRUE(d.remove(d.begin()->key.view()));
    EXPECT_EQ(d.size(), static_cast<std::size_t>(size - 1));
    EXPECT_EQ(d["a key that is long enough 1"], Value(1));
  }
}

TEST(Dictionary, isLinearToBuild) {
  Dictionary d;
  for (int i = 0; i < 200000; ++i) d.set(std::to_string(i), i);
  EXPECT_EQ(d["199999"], Value(199999));
}

TEST(DeepMutable, makesEveryLevelMutableAndLeavesTheOriginal) {
  const Value original = Dictionary({{"list", Array({Dictionary({{"x", "y"}})})}});
  const Value copy = deepMutable(original);
  EXPECT_EQ(copy, original);
  EXPECT_TRUE(copy.dictionary().isMutable());
  EXPECT_TRUE(copy["list"].array().isMutable());
  EXPECT_TRUE(copy["list"].array()[0].dictionary().isMutable());
  EXPECT_FALSE(original["list"].array().isMutable());
}

}  // namespace
}  // namespace moxtel
