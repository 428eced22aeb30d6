#include "support/CollectionHelpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/system/SystemLog.h"
#include "value/Description.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// "length" applies to texts, and has no result for an empty one.
std::optional<Value> lengthOf(const Value& element) {
  if (!element.isString()) return std::nullopt;
  return element.string().empty() ? Value() : Value(element.string().size());
}

TEST(CollectionHelpers, givesTheFirstObjectOrNil) {
  EXPECT_EQ(firstObject({"a", "b"}), Value("a"));
  EXPECT_TRUE(firstObject(Array()).isNil());
}

TEST(CollectionHelpers, findsTheFirstEqualTextOnly) {
  EXPECT_EQ(indexOfString({1, "b", "a", "a"}, "a"), 2);
  EXPECT_EQ(indexOfString({1, 2}, "1"), NSNotFound);
  EXPECT_EQ(indexOfString(Array(), ""), NSNotFound);
  EXPECT_EQ(indexOfString({"A", "a "}, "a"), NSNotFound);
  EXPECT_EQ(indexOfString({""}, ""), 0);
  EXPECT_TRUE(containsString({"x", "y"}, "y"));
  EXPECT_FALSE(containsString({1, Value()}, "1"));
}

TEST(CollectionHelpers, findsTheFirstIndexOfEachObject) {
  EXPECT_THAT(indexesOfObjects({"a", "b", "a", "c"}, {"a", "a", "c", "x"}), ElementsAre(0u, 3u));
  EXPECT_THAT(indexesOfObjects(Array(), {"a"}), IsEmpty());
  EXPECT_THAT(indexesOfObjects({"a"}, Array()), IsEmpty());
}

TEST(CollectionHelpers, comparesNumbersByTheirValue) {
  EXPECT_THAT(indexesOfObjects({1.0, 2}, {1}), ElementsAre(0u));
  EXPECT_TRUE(isEqual(true, 1));
  EXPECT_TRUE(isEqual(UINT64_MAX, UINT64_MAX));
  EXPECT_TRUE(isEqual(UINT64_C(1) << 63, 9223372036854775808.0));
  EXPECT_TRUE(isEqual(INT64_MIN, -9223372036854775808.0));
  EXPECT_FALSE(isEqual(INT64_MAX, 9223372036854775808.0));
  EXPECT_FALSE(isEqual((INT64_C(1) << 53) + 1, 9007199254740992.0));
  EXPECT_FALSE(isEqual(UINT64_MAX, -1));
  EXPECT_FALSE(isEqual(UINT64_MAX, INT64_MAX));
  EXPECT_FALSE(isEqual(1, 1.5));
  EXPECT_FALSE(isEqual(1, "1"));
  EXPECT_FALSE(isEqual(0, Value()));
}

TEST(CollectionHelpers, comparesCollectionsByTheirContents) {
  EXPECT_TRUE(isEqual(Array{1, Array{2.0}}, mutableArray({1.0, Array{2}})));
  EXPECT_FALSE(isEqual(Array{1}, Array{1, 2}));
  EXPECT_TRUE(isEqual(Dictionary{{"a", 1}, {"b", 2}}, Dictionary{{"b", 2.0}, {"a", true}}));
  EXPECT_FALSE(isEqual(Dictionary{{"a", 1}}, Dictionary{{"b", 1}}));
  EXPECT_FALSE(isEqual(Dictionary{{"a", 1}}, Dictionary{{"a", 1}, {"b", 1}}));
}

TEST(CollectionHelpers, performsOnEveryElementThatResponds) {
  const SystemLogCapture log;
  const Array results = objectsByPerformingSelector({"one", 2, "three"}, Selector{"length", lengthOf});
  EXPECT_EQ(Value(results), Value(Array{3, 5}));
  EXPECT_TRUE(results.isMutable());
  EXPECT_THAT(log.lines(), ElementsAre("NSArray+quor::objectsByPerformingSelector, object '2' does not "
                                       "respond to 'length'"));
}

TEST(CollectionHelpers, leavesOutNilResultsSilently) {
  const SystemLogCapture log;
  EXPECT_EQ(Value(objectsPerformedBy({"", "a"}, {"length", lengthOf})), Value(Array{1}));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CollectionHelpers, performsWithAnObject) {
  const SystemLogCapture log;
  const SelectorWithObject append{
      "stringByAppendingString:", [](const Value& element, const Value& object) -> std::optional<Value> {
        if (!element.isString()) return std::nullopt;
        return std::string(element.string()) + std::string(object.string());
      }};
  EXPECT_EQ(Value(objectsByPerformingSelector({"a", Array{"b"}, "c%@"}, append, "!")),
            Value(Array{"a!", "c%@!"}));
  EXPECT_THAT(log.lines(),
              ElementsAre("NSArray+quor::objectsByPerformingSelector:withObject:, object '(\n    b\n)' does "
                          "not respond to 'stringByAppendingString:'"));
}

TEST(CollectionHelpers, setsNoNilObject) {
  Dictionary dictionary{{"kept", 1}};
  setNonNilObjectForKey(dictionary, Value(), "kept");
  setNonNilObjectForKey(dictionary, Value(), "new");
  setNonNilObjectForKey(dictionary, "text", "other");
  EXPECT_EQ(Value(dictionary), Value(Dictionary{{"kept", 1}, {"other", "text"}}));
}

TEST(CollectionHelpers, copiesTheEntriesOfSomeKeysInTheirOrder) {
  Dictionary dictionary{{"b", 0}};
  addNonNilObjectsFromDictionary(dictionary, {{"a", 1}, {"b", 2}, {"c", 3}}, {"c", "missing", "b", "a"});
  std::vector<std::string> keys;
  for (const auto& entry : dictionary) keys.push_back(entry.key.str());
  EXPECT_THAT(keys, ElementsAre("b", "c", "a"));
  EXPECT_EQ(dictionary["b"], Value(2));
}

TEST(CollectionHelpers, copiesDeeplyIntoMutableCollections) {
  const Dictionary source{{"list", Array{Dictionary{{"a", 1}}}}, {"text", "t"}};
  Dictionary copy = deepMutableCopy(source);
  EXPECT_TRUE(copy.isMutable());
  EXPECT_TRUE(copy["list"].array().isMutable());
  EXPECT_TRUE(copy["list"].array()[0].dictionary().isMutable());
  copy.find("list")->editArray()[0].editDictionary().set("a", 2);
  EXPECT_EQ(source["list"].array()[0]["a"], Value(1));
  EXPECT_FALSE(source["list"].array().isMutable());
}

// Values of every kind and shape, the same for the same seed.
class RandomValues {
 public:
  explicit RandomValues(unsigned seed) : random_(seed) {}
  Value value(int depth) {
    switch (random_() % (depth > 0 ? 8u : 6u)) {
      case 0:
        return Value();
      case 1:
        return random_() % 2 == 0;
      case 2:
        return static_cast<std::int64_t>(random_() % 4);
      case 3:
        return static_cast<double>(random_() % 4) / 2;
      case 4:
        return std::string(random_() % 3, 'x');
      case 5:
        return Date{static_cast<double>(random_() % 3)};
      case 6:
        return array(depth - 1);
      default:
        return dictionary(depth - 1);
    }
  }
  Array array(int depth) {
    Array result(random_() % 2 ? Mutability::Mutable : Mutability::Immutable);
    for (auto left = random_() % 6; left > 0; --left) result.append(value(depth));
    return result;
  }
  Dictionary dictionary(int depth) {
    Dictionary result(random_() % 2 ? Mutability::Mutable : Mutability::Immutable);
    for (auto left = random_() % 6; left > 0; --left)
      result.set(std::string(1, "abcd"[random_() % 4]), value(depth));
    return result;
  }

 private:
  std::mt19937 random_;
};

bool isMutableThroughout(const Value& value) {
  if (value.isArray()) {
    const Array& array = value.array();
    return array.isMutable() && std::all_of(array.begin(), array.end(), isMutableThroughout);
  }
  if (!value.isDictionary()) return true;
  const Dictionary& dictionary = value.dictionary();
  return dictionary.isMutable() && std::all_of(dictionary.begin(), dictionary.end(), [](const auto& entry) {
           return isMutableThroughout(entry.value);
         });
}

TEST(CollectionHelpers, equalityIsReflexiveSymmetricAndWiderThanSameness) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomValues random(seed);
    for (int i = 0; i < 5; ++i) {
      const Value a = random.value(3);
      const Value b = random.value(3);
      EXPECT_TRUE(isEqual(a, a)) << describe(a);
      EXPECT_EQ(isEqual(a, b), isEqual(b, a));
      EXPECT_TRUE(!(a == b) || isEqual(a, b));
    }
  }
}

TEST(CollectionHelpers, aDeepCopyIsEqualAndMutableThroughout) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomValues random(seed);
    const Array array = random.array(4);
    EXPECT_EQ(Value(deepMutableCopy(array)), Value(array));
    EXPECT_TRUE(isMutableThroughout(deepMutableCopy(array)));
    const Dictionary dictionary = random.dictionary(4);
    EXPECT_EQ(Value(deepMutableCopy(dictionary)), Value(dictionary));
    EXPECT_TRUE(isMutableThroughout(deepMutableCopy(dictionary)));
  }
}

TEST(CollectionHelpers, everyIndexIsTheFirstOfAnAskedObject) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomValues random(seed);
    const Array array = random.array(1);
    const Array objects = random.array(1);
    const auto indexes = indexesOfObjects(array, objects);
    for (std::size_t i = 0; i < array.size(); ++i) {
      const auto equalsThis = [&](const Value& other) { return isEqual(array[i], other); };
      const bool isAsked = std::any_of(objects.begin(), objects.end(), equalsThis);
      const auto here = array.begin() + static_cast<std::ptrdiff_t>(i);
      const bool isFirst = std::none_of(array.begin(), here, equalsThis);
      EXPECT_EQ(indexes.count(i) == 1, isAsked && isFirst);
    }
  }
}

TEST(CollectionHelpers, aTextIsContainedIfAndOnlyIfItHasAnIndex) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomValues random(seed);
    const Array array = random.array(0);
    for (const char* text : {"", "x", "xx", "y"}) {
      const auto index = indexOfString(array, text);
      EXPECT_EQ(containsString(array, text), index != NSNotFound);
      EXPECT_TRUE(index == NSNotFound || array[static_cast<std::size_t>(index)] == Value(text));
    }
  }
}

TEST(CollectionHelpers, addingEntriesNeverRemovesOne) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomValues random(seed);
    Dictionary target = random.dictionary(1);
    const Dictionary before = target;
    const Dictionary source = random.dictionary(1);
    addNonNilObjectsFromDictionary(target, source, {"a", "b", "z"});
    for (const char* key : {"a", "b", "c", "d", "z"}) {
      const bool isCopied =
          std::string_view("abz").find(key) != std::string_view::npos && !source[key].isNil();
      EXPECT_EQ(target[key], isCopied ? source[key] : before[key]) << key;
    }
  }
}

}  // namespace
}  // namespace moxtel
