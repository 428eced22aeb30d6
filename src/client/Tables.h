// Results as tables and lines for people. All text from the server is made printable first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// How a command's result is shown.
enum class Layout : std::uint8_t { Plain, Containers, Photos };

void writeForPeople(std::ostream& out, const Value& result, Layout layout);

// One line for a value that is not a collection, cut to the widest column of a table.
std::string tableCell(const Value& value);
// "47.37000, -8.50000"; empty for a photo without a position.
std::string positionOf(const Value& photo);

// Rows in columns. Keeps no rows: they are made twice, first to measure the columns and then to be written.
class Table final {
 public:
  using Row = std::vector<std::string>;
  static constexpr std::size_t kWidestColumn = 60;  // code points; longer cells are cut

  // Borrows the stream. The columns are at least as wide as the headings.
  Table(std::ostream& out, Row headings);
  void measure(const Row& row);
  void setWidth(std::size_t column, std::size_t width) { widths_[column] = width; }
  void writeHeadings() { write(headings_); }
  void write(const Row& row);

 private:
  std::ostream& out_;
  const Row headings_;
  std::vector<std::size_t> widths_;
};

}  // namespace moxtel
