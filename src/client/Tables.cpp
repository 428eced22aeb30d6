#include "client/Tables.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "client/Json.h"
#include "client/SafeText.h"
#include "value/Description.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

constexpr std::size_t kWidestColumn = 60;   // code points
constexpr std::size_t kLongestText = 4000;  // bytes

using Row = std::vector<std::string>;

// One line for a value that is not a collection. Cuts long texts: an untrusted server may repeat one in each
// row.
std::string cell(const Value& value) {
  switch (value.type()) {
    case Value::Type::Nil:
      return "";
    case Value::Type::String:
      return printable(value.string().substr(0, kLongestText));
    case Value::Type::Data:
      return "(" + std::to_string(value.data().size()) + " bytes)";
    case Value::Type::Date:
      return iso8601(value.date());
    case Value::Type::Boolean:
      return value.boolValue() ? "yes" : "no";
    case Value::Type::Array:
    case Value::Type::Dictionary:
      return "…";
    default:
      return describe(value);
  }
}

std::string kindOf(const Value& container) {
  std::string kind = cell(container["AlbumType"]);
  if (container["IPAlbumType"] == Value("Smart")) kind = "Smart " + kind;
  return kind;
}

Row containerRow(const Value& container) {
  return {cell(container["AlbumId"]), kindOf(container), cell(container["PhotoCount"]),
          cell(container["AlbumName"])};
}

std::string positionOf(const Value& photo) {
  if (photo["latitude"].isNil() || photo["longitude"].isNil()) return "";
  return fixedPoint(photo["latitude"].doubleValue(), 5) + ", " +
         fixedPoint(photo["longitude"].doubleValue(), 5);
}

Row photoRow(const Value& photo) {
  return {cell(photo["PhotoKey"]), cell(photo["MediaType"]), positionOf(photo), cell(photo["Caption"])};
}

void writeRow(std::ostream& out, const Row& row, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    line += row[i];
    const std::size_t length = lengthOf(row[i]);
    if (length < widths[i]) line.append(widths[i] - length, ' ');
    line += "  ";
  }
  line.erase(line.find_last_not_of(' ') + 1);
  out << line << '\n';
}

std::vector<std::size_t> widthsOf(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::min(kWidestColumn, std::max(widths[i], lengthOf(row[i])));
    }
  }
  return widths;
}

void writeTable(std::ostream& out, Row heading, const Array& items, Row (*rowOf)(const Value&)) {
  std::vector<Row> rows{std::move(heading)};
  for (const Value& item : items) rows.push_back(rowOf(item));
  const auto widths = widthsOf(rows);
  for (const Row& row : rows) writeRow(out, row, widths);
}

void writeLines(std::ostream& out, const Value& value, std::size_t depth);

void writeLabeled(std::ostream& out, const std::string& label, const Value& value, std::size_t depth) {
  out << std::string(2 * depth, ' ') << label;
  if (value.isArray() || value.isDictionary()) {
    out << '\n';
    writeLines(out, value, depth + 1);
  } else {
    out << ' ' << cell(value) << '\n';
  }
}

// Dictionaries as "key: value", arrays as "- value"; nested collections are indented.
void writeLines(std::ostream& out, const Value& value, std::size_t depth) {
  if (value.isDictionary()) {
    for (const auto& entry : value.dictionary()) {
      writeLabeled(out, cell(Value(entry.key)) + ":", entry.value, depth);
    }
  } else if (value.isArray()) {
    for (const Value& item : value.array()) writeLabeled(out, "-", item, depth);
  } else if (value.isString()) {
    out << printable(value.string(), Lines::Many) << '\n';
  } else {
    out << cell(value) << '\n';
  }
}

}  // namespace

void writeForPeople(std::ostream& out, const Value& result, Layout layout) {
  if (layout == Layout::Plain || !result.isArray()) {
    writeLines(out, result, 0);
  } else if (layout == Layout::Containers) {
    writeTable(out, {"ID", "KIND", "PHOTOS", "NAME"}, result.array(), containerRow);
  } else {
    writeTable(out, {"KEY", "KIND", "POSITION", "CAPTION"}, result.array(), photoRow);
  }
}

}  // namespace moxtel
