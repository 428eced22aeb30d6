// SQL texts with places for values, as the queries are written in this program ('%@', '%d', %d, %ld, %lld),
// and what becomes of them: a text with parameters to prepare once, and the text with its values filled in
// for messages. Any thread.
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

// Whether a text value holds what would end its literal or the whole SQL text early: a quote or a NUL. Such a
// text is never handed to SQLite.
bool breaksOutOfLiteral(std::string_view text);

// Binds the values; a missing one counts as nil. Text is borrowed from the values: they must outlive the
// binding. False when a text breaks out of its literal or SQLite refuses.
[[nodiscard]] bool bindValues(sqlite3_stmt* statement, const std::vector<SqlPlace>& places,
                              std::span<const Value> values);

}  // namespace moxtel
