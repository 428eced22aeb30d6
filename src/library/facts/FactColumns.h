// Reads columns of libraries as facts: bounded, and without what makes no sense. On the thread of the query.
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "library/database/Query.h"
#include "library/facts/PhotoFacts.h"

namespace moxtel {

// Valid UTF-8 of at most kLongestFactText bytes; empty for NULL and for other bytes.
inline std::string textOf(const Query& row, int column) {
  const Value value = row.stringColumn(column);
  std::string_view text = value.string();
  if (text.size() <= kLongestFactText) return std::string(text);
  std::size_t end = kLongestFactText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

// A finite number.
inline std::optional<double> realOf(const Query& row, int column) {
  const Value value = row.realNumberColumn(column);
  if (value.isNil() || !std::isfinite(value.doubleValue())) return std::nullopt;
  return value.doubleValue();
}

inline bool isNull(const Query& row, int column) { return row.realNumberColumn(column).isNil(); }

// -1 rejected, 0 none, 1 to 5.
inline std::int32_t ratingOf(const Query& row, int column) {
  return std::clamp(row.integerColumn(column), -1, 5);
}

// -1 none.
inline std::int32_t colorLabelOf(const Query& row, int column) {
  if (!realOf(row, column)) return -1;
  const std::int32_t label = row.integerColumn(column);
  return label < -1 || label > 100 ? -1 : label;
}

}  // namespace moxtel
