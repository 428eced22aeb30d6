#include "support/CollectionHelpers.h"

#include <algorithm>
#include <cmath>

#include "platform/system/SystemLog.h"

namespace moxtel {

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;

// Exact: no integer is rounded to a double to be compared.
bool isEqualReal(double real, const Value& integer) {
  if (std::trunc(real) != real) return false;
  if (integer.isBeyondSigned()) {
    return real >= kTwoTo63 && real < 2 * kTwoTo63 &&
           static_cast<std::uint64_t>(real) == integer.unsignedValue();
  }
  return real >= -kTwoTo63 && real < kTwoTo63 && static_cast<std::int64_t>(real) == integer.integerValue();
}

bool isEqualNumber(const Value& a, const Value& b) {
  const bool aIsReal = a.type() == Value::Type::Real;
  const bool bIsReal = b.type() == Value::Type::Real;
  if (aIsReal && bIsReal) return a.doubleValue() == b.doubleValue();
  if (aIsReal) return isEqualReal(a.doubleValue(), b);
  if (bIsReal) return isEqualReal(b.doubleValue(), a);
  return a.isBeyondSigned() == b.isBeyondSigned() && a.unsignedValue() == b.unsignedValue() &&
         a.integerValue() == b.integerValue();
}

bool isEqualArray(const Array& a, const Array& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), isEqual);
}

bool isEqualDictionary(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  return std::all_of(a.begin(), a.end(), [&](const auto& entry) {
    const Value* other = b.find(entry.key);
    return other && isEqual(entry.value, *other);
  });
}

template <class Perform, class Complain>
Array resultsOf(const Array& array, const Perform& perform, const Complain& doesNotRespond) {
  Array results(Mutability::Mutable);
  for (const Value& element : array) {
    std::optional<Value> result = perform(element);
    if (!result) {
      doesNotRespond(element);
    } else if (!result->isNil()) {
      results.append(std::move(*result));
    }
  }
  return results;
}

}  // namespace

bool isEqual(const Value& a, const Value& b) {
  if (a.isNumber() && b.isNumber()) return isEqualNumber(a, b);
  if (a.isArray() && b.isArray()) return isEqualArray(a.array(), b.array());
  if (a.isDictionary() && b.isDictionary()) return isEqualDictionary(a.dictionary(), b.dictionary());
  return a == b;
}

Value firstObject(const Array& array) { return array.empty() ? Value() : array[0]; }

std::int64_t indexOfString(const Array& array, std::string_view text) {
  const auto found = std::find_if(array.begin(), array.end(), [&](const Value& element) {
    return element.isString() && element.string() == text;
  });
  return found == array.end() ? NSNotFound : found - array.begin();
}

bool containsString(const Array& array, std::string_view text) {
  return indexOfString(array, text) != NSNotFound;
}

std::set<std::size_t> indexesOfObjects(const Array& array, const Array& objects) {
  std::set<std::size_t> indexes;
  for (const Value& object : objects) {
    const auto found = std::find_if(array.begin(), array.end(),
                                    [&](const Value& element) { return isEqual(element, object); });
    if (found != array.end()) indexes.insert(static_cast<std::size_t>(found - array.begin()));
  }
  return indexes;
}

Array objectsByPerformingSelector(const Array& array, const Selector& selector) {
  return resultsOf(array, selector.perform, [&](const Value& element) {
    NSLog("NSArray+quor::objectsByPerformingSelector, object '%@' does not respond to '%@'", element,
          selector.name);
  });
}

Array objectsByPerformingSelector(const Array& array, const SelectorWithObject& selector,
                                  const Value& object) {
  const auto perform = [&](const Value& element) { return selector.perform(element, object); };
  return resultsOf(array, perform, [&](const Value& element) {
    NSLog("NSArray+quor::objectsByPerformingSelector:withObject:, object '%@' does not respond to '%@'",
          element, selector.name);
  });
}

Array objectsPerformedBy(const Array& array, const Selector& selector) {
  return objectsByPerformingSelector(array, selector);
}

Array deepMutableCopy(const Array& array) { return deepMutable(array).array(); }

Dictionary deepMutableCopy(const Dictionary& dictionary) { return deepMutable(dictionary).dictionary(); }

void setNonNilObjectForKey(Dictionary& dictionary, Value object, Text key) {
  if (!object.isNil()) dictionary.set(std::move(key), std::move(object));
}

void addNonNilObjectsFromDictionary(Dictionary& dictionary, const Dictionary& source,
                                    const std::vector<Text>& keys) {
  for (const Text& key : keys) setNonNilObjectForKey(dictionary, source[key], key);
}

}  // namespace moxtel
