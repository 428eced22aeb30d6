// Small operations on arrays and dictionaries, most of them kept for completeness: the server itself only
// sets non-nil entries. All are stateless and do not change what they read; any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// The index of an element that was not found: the largest signed value.
inline constexpr std::int64_t NSNotFound = INT64_MAX;

// Whether two values are equal as objects: numbers by their value, whatever their kind (1, 1.0 and true are
// equal), collections by their elements, dictionaries in any order of keys.
bool isEqual(const Value& a, const Value& b);

// Element 0; nil of an empty array.
Value firstObject(const Array& array);
// The first element that is a text and equal; NSNotFound when there is none.
std::int64_t indexOfString(const Array& array, std::string_view text);
bool containsString(const Array& array, std::string_view text);
// For every object the index of its first equal element; objects that are not in the array add nothing.
std::set<std::size_t> indexesOfObjects(const Array& array, const Array& objects);

// A named operation on one element. It returns nothing for an element that it does not apply to, nil for one
// without a result.
struct Selector {
  std::string name;
  std::function<std::optional<Value>(const Value& element)> perform;
};
// The same with one argument.
struct SelectorWithObject {
  std::string name;
  std::function<std::optional<Value>(const Value& element, const Value& object)> perform;
};

// The results that are not nil, in order, as a mutable array. An element that the selector does not apply to
// is skipped with a line in the system log.
Array objectsByPerformingSelector(const Array& array, const Selector& selector);
Array objectsByPerformingSelector(const Array& array, const SelectorWithObject& selector,
                                  const Value& object);
Array objectsPerformedBy(const Array& array, const Selector& selector);

// Copies that are mutable at every level. Only arrays and dictionaries have a mutable form; all other values
// are kept.
Array deepMutableCopy(const Array& array);
Dictionary deepMutableCopy(const Dictionary& dictionary);

// Sets the entry; a nil object leaves the dictionary as it is.
void setNonNilObjectForKey(Dictionary& dictionary, Value object, Text key);
// Copies the entries of these keys, in their order; keys that the source lacks are skipped.
void addNonNilObjectsFromDictionary(Dictionary& dictionary, const Dictionary& source,
                                    const std::vector<Text>& keys);

}  // namespace moxtel
