// Rules of smart albums as the photo application stores them, for tests to write into a library.
#pragma once

#include <initializer_list>
#include <string>

#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel::test {

inline Dictionary clause(int type, const char* key, int qualifier, Value first = {}, bool enabled = true) {
  Dictionary made = mutableDictionary({{"queryClassName", "RKSingleItemQuery"},
                                       {"queryIsEnabled", enabled},
                                       {"queryType", type},
                                       {"queryPropertyKey", key},
                                       {"queryQualifier", qualifier},
                                       {"queryTimeValue", 1}});
  if (!first.isNil()) made.set("queryFirstValue", std::move(first));
  return made;
}

inline Dictionary group(int match, std::initializer_list<Value> parts, bool enabled = true) {
  return mutableDictionary({{"queryClassName", "RKMultiItemQuery"},
                            {"queryIsEnabled", enabled},
                            {"queryMatchType", match},
                            {"queryType", 1},
                            {"querySubqueries", Array(parts, Mutability::Mutable)},
                            {"queryStackPicksOnly", false},
                            {"queryPredicateComponents", 1}});
}
inline Dictionary all(std::initializer_list<Value> parts) { return group(1, parts); }
inline Dictionary any(std::initializer_list<Value> parts) { return group(0, parts); }

inline Dictionary with(Dictionary query, const char* key, Value value) {
  query.set(Text(key), std::move(value));
  return query;
}

inline Dictionary flagged() { return clause(22, "isFlagged", 5, 1); }
inline Dictionary ratedAtLeast(int stars) { return clause(5, "basicProperties.MainRating", 8, stars); }
inline Dictionary notUnderstood() { return clause(35, "album", 40, "some album"); }
inline Dictionary between(const char* first, const char* last) {
  return with(clause(6, "exifProperties.ImageDate", 20, first), "querySecondValue", last);
}
inline Dictionary inTheLast(int count, const char* unit) {
  return with(with(clause(6, "exifProperties.ImageDate", 18), "queryTimeValue", count), "queryTimeUnit",
              unit);
}

inline Bytes stored(const Dictionary& rule) { return archivedData(rule); }

}  // namespace moxtel::test
