// SQL texts with places for values, as the queries are written in this program ('%@', '%d', %d, %ld, %lld):
// turned into a text with parameters, which is prepared once, and filled in with the values for messages. Any
// thread.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// How a value enters its place.
enum class SqlPlace : std::uint8_t {
  Text,        // '%@': the value's text
  NumberText,  // '%d': a signed 32-bit number, as a text
  Integer32,   // %d: the low 32 bits, signed
  Integer64,   // %ld, %lld
};

struct SqlTemplate {
  std::string parameterized;  // a ? in each place
  std::vector<SqlPlace> places;
};

SqlTemplate parseSqlPlaces(std::string_view sql);

// The text with the values formatted in.
std::string filledIn(std::string_view sql, std::span<const Value> values);

// Whether a text value contains what would end its literal or the whole SQL text early: a quote or a NUL.
// Such a text never reaches SQLite.
bool breaksOutOfLiteral(std::string_view text);

// Binds the values; a missing one counts as nil. Text is borrowed from the values: they must outlive the
// binding. False when a text breaks out of its literal or SQLite refuses.
[[nodiscard]] bool bindValues(sqlite3_stmt* statement, const std::vector<SqlPlace>& places,
                              std::span<const Value> values);

}  // namespace moxtel
