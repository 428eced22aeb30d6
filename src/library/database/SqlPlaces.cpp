#include "library/database/SqlPlaces.h"

#include "value/Description.h"
#include "value/Format.h"

namespace moxtel {

namespace {

struct PlaceText {
  std::string_view text;
  SqlPlace place;
};

// Quoted ones first: '%d' is a text for SQLite, %d a number.
constexpr PlaceText kPlaces[] = {{"'%@'", SqlPlace::Text},
                                 {"'%d'", SqlPlace::NumberText},
                                 {"%d", SqlPlace::Integer32},
                                 {"%lld", SqlPlace::Integer64},
                                 {"%ld", SqlPlace::Integer64}};

const PlaceText* placeAt(std::string_view rest) {
  for (const PlaceText& place : kPlaces) {
    if (rest.starts_with(place.text)) return &place;
  }
  return nullptr;
}

// As formatting with %d does.
std::int64_t low32(const Value& value) {
  if (value.type() == Value::Type::Integer) return static_cast<std::int32_t>(value.unsignedValue());
  return value.integerValue();
}

bool bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  if (breaksOutOfLiteral(text)) return false;
  return sqlite3_bind_text64(statement, index, text.data() ? text.data() : "", text.size(), SQLITE_STATIC,
                             SQLITE_UTF8) == SQLITE_OK;
}

// A text that exists only for the binding.
bool bindOwnText(sqlite3_stmt* statement, int index, const std::string& text) {
  if (breaksOutOfLiteral(text)) return false;
  return sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8) ==
         SQLITE_OK;
}

bool bindValue(sqlite3_stmt* statement, int index, SqlPlace place, const Value& value) {
  switch (place) {
    case SqlPlace::Text:
      if (value.isString()) return bindText(statement, index, value.string());
      return bindOwnText(statement, index, describe(value));
    case SqlPlace::NumberText:
      return bindOwnText(statement, index, std::to_string(low32(value)));
    case SqlPlace::Integer32:
      return sqlite3_bind_int64(statement, index, low32(value)) == SQLITE_OK;
    case SqlPlace::Integer64:
      return sqlite3_bind_int64(statement, index, value.integerValue()) == SQLITE_OK;
  }
  return false;
}

}  // namespace

SqlTemplate parseSqlPlaces(std::string_view sql) {
  SqlTemplate result;
  for (std::size_t i = 0; i < sql.size();) {
    if (const PlaceText* place = placeAt(sql.substr(i))) {
      result.parameterized += '?';
      result.places.push_back(place->place);
      i += place->text.size();
    } else {
      result.parameterized += sql[i++];
    }
  }
  return result;
}

std::string filledIn(std::string_view sql, std::span<const Value> values) {
  const std::vector<FormatArgument> arguments(values.begin(), values.end());
  return formatRuntime(sql, std::span<const FormatArgument>(arguments));
}

bool breaksOutOfLiteral(std::string_view text) {
  // Two searches for one character each: done for every value of every query, and many times faster than one
  // search for two characters.
  return text.find('\'') != std::string_view::npos || text.find('\0') != std::string_view::npos;
}

bool bindValues(sqlite3_stmt* statement, const std::vector<SqlPlace>& places, std::span<const Value> values) {
  static const Value kNil;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const Value& value = i < values.size() ? values[i] : kNil;
    if (!bindValue(statement, static_cast<int>(i) + 1, places[i], value)) return false;
  }
  return true;
}

}  // namespace moxtel
