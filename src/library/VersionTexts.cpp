#include "library/VersionTexts.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace moxtel {

namespace {

// Up to this distance, stepping costs less than seeking.
constexpr double kNear = 4;

constexpr SqlText kSchemaOfStrings = "SELECT sql FROM sqlite_master WHERE tbl_name = 'RKUniqueString'";

// A statement of the schema without blanks and quotes, in lower case.
std::string plainStatement(std::string_view sql) {
  std::string plain;
  for (const char c : sql) {
    if (std::string_view(" \t\r\n\"'`[]").find(c) != std::string_view::npos) continue;
    plain += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return plain;
}

Value unlessEmpty(const Value& text) { return text.string().empty() ? Value() : text; }

}  // namespace

// Model ids have 32 bits; the upper bound excludes what is not a number, which SQLite sorts after all
// numbers.
constexpr VersionTexts::Kind VersionTexts::kCaptions{
    "SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId FROM RKIptcProperty WHERE "
    "propertyKey = 'Caption/Abstract' AND versionId = %d)",
    "SELECT p.versionId,s.stringProperty FROM RKIptcProperty p LEFT JOIN RKUniqueString s "
    "ON s.modelId = p.stringId WHERE p.propertyKey = 'Caption/Abstract' AND p.versionId >= %d "
    "AND p.versionId <= 2147483647 ORDER BY p.versionId",
    "SELECT sql FROM sqlite_master WHERE tbl_name = 'RKIptcProperty'"};

constexpr VersionTexts::Kind VersionTexts::kComments{
    "SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId FROM RKExifStringProperty "
    "WHERE propertyKey = 'ImageDescription' AND versionId = %d)",
    "SELECT p.versionId,s.stringProperty FROM RKExifStringProperty p LEFT JOIN RKUniqueString s "
    "ON s.modelId = p.stringId WHERE p.propertyKey = 'ImageDescription' AND p.versionId >= %d "
    "AND p.versionId <= 2147483647 ORDER BY p.versionId",
    "SELECT sql FROM sqlite_master WHERE tbl_name = 'RKExifStringProperty'"};

VersionTexts::VersionTexts(LibraryDatabases& databases, const Kind& kind)
    : databases_(databases), kind_(kind), oneByOne_(!databases.layout().rowsAreUnique && !schemaIsStrict()) {}

bool VersionTexts::schemaIsStrict() {
  const auto properties = statementsOf(kind_.schema);
  const auto strings = statementsOf(kSchemaOfStrings);
  const auto idsAreIntegers = [](const std::string& statement) {
    return statement.starts_with("createtable") && statement.find(",versionidinteger,") != std::string::npos;
  };
  const auto oneForEachId = [](const std::string& statement) {
    return statement.starts_with("createuniqueindex") && statement.ends_with("(propertykey,versionid)");
  };
  const auto idsAreUnique = [](const std::string& statement) {
    return statement.find("(modelidintegerprimarykey,") != std::string::npos;
  };
  return std::any_of(properties.begin(), properties.end(), idsAreIntegers) &&
         std::any_of(properties.begin(), properties.end(), oneForEachId) &&
         std::any_of(strings.begin(), strings.end(), idsAreUnique);
}

std::vector<std::string> VersionTexts::statementsOf(SqlText table) {
  std::vector<std::string> statements;
  Query query = databases_.runUnlogged(DatabaseFile::Properties, table, {});
  while (query.step()) statements.push_back(plainStatement(query.stringColumn(0).string()));
  return statements;
}

Value VersionTexts::textOf(std::int32_t modelId) {
  if (!oneByOne_ && (modelId == asked_ || answer(modelId))) return text_;
  oneByOne_ = true;
  rows_.reset();
  return askFor(modelId);
}

// False when something cannot be read.
bool VersionTexts::answer(std::int32_t modelId) {
  asked_ = modelId;
  text_ = {};
  if (!reach(modelId)) return false;
  if (current_ == modelId) text_ = unlessEmpty(rows_->stringColumn(1));
  return true;
}

// Reads on until the current row is the one of this id, or a later one.
bool VersionTexts::reach(double modelId) {
  const bool near = rows_ && modelId > passed_ && modelId - current_ <= kNear;
  if (!near && !seek(modelId)) return false;
  while (current_ < modelId) {
    if (!next()) return false;
  }
  return true;
}

bool VersionTexts::seek(double modelId) {
  rows_.reset();  // frees its statement for the next query
  rows_ =
      databases_.runUnlogged(DatabaseFile::Properties, kind_.onFrom, {static_cast<std::int32_t>(modelId)});
  current_ = modelId - 1;
  return rows_->prepared() && next();
}

bool VersionTexts::next() {
  passed_ = current_;
  const bool found = rows_->step();
  current_ = found ? rows_->realColumn(0) : std::numeric_limits<double>::infinity();
  return found || !rows_->failed();
}

// The last text of the rows that is not empty.
Value VersionTexts::askFor(std::int32_t modelId) {
  Query query = databases_.run(DatabaseFile::Properties, kind_.ofOne, {modelId});
  Value last;
  while (query.step()) {
    Value text = unlessEmpty(query.stringColumn(0));
    if (!text.isNil()) last = std::move(text);
  }
  return last;
}

}  // namespace moxtel
