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

constexpr std::size_t kLongestText = 4000;  // code points

using Row = Table::Row;

// One line for a value that is not a collection. Cuts long texts: an untrusted server may repeat one in each
// row.
std::string cell(const Value& value, std::size_t longest = kLongestText) {
  switch (value.type()) {
    case Value::Type::Nil:
      return "";
    case Value::Type::String:
      return printableCut(value.string(), longest);
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
  std::string kind = tableCell(container["AlbumType"]);
  if (container["IPAlbumType"] == Value("Smart")) kind = "Smart " + kind;
  return kind;
}

Row containerRow(const Value& container) {
  return {tableCell(container["AlbumId"]), kindOf(container), tableCell(container["PhotoCount"]),
          tableCell(container["AlbumName"])};
}

Row photoRow(const Value& photo) {
  return {tableCell(photo["PhotoKey"]), tableCell(photo["MediaType"]), positionOf(photo),
          tableCell(photo["Caption"])};
}

void writeTable(std::ostream& out, Row headings, const Array& items, Row (*rowOf)(const Value&)) {
  Table table(out, std::move(headings));
  for (const Value& item : items) table.measure(rowOf(item));
  table.writeHeadings();
  for (const Value& item : items) table.write(rowOf(item));
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

std::string tableCell(const Value& value) { return cell(value, Table::kWidestColumn); }

std::string positionOf(const Value& photo) {
  if (photo["latitude"].isNil() || photo["longitude"].isNil()) return "";
  return fixedPoint(photo["latitude"].doubleValue(), 5) + ", " +
         fixedPoint(photo["longitude"].doubleValue(), 5);
}

Table::Table(std::ostream& out, Row headings) : out_(out), headings_(std::move(headings)) {
  for (const std::string& heading : headings_) widths_.push_back(lengthOf(heading));
}

void Table::measure(const Row& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    widths_[i] = std::min(kWidestColumn, std::max(widths_[i], lengthOf(row[i])));
  }
}

void Table::write(const Row& row) {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    line += row[i];
    const std::size_t length = lengthOf(row[i]);
    if (length < widths_[i]) line.append(widths_[i] - length, ' ');
    line += "  ";
  }
  line.erase(line.find_last_not_of(' ') + 1);
  out_ << line << '\n';
}

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
