#include "library/VersionTexts.h"

#include <limits>

namespace moxtel {

namespace {

// Up to this distance, stepping costs less than seeking.
constexpr double kNear = 4;

Value unlessEmpty(const Value& text) { return text.string().empty() ? Value() : text; }

}  // namespace

// Model ids have 32 bits; the upper bound excludes what is not a number, which SQLite sorts after all
// numbers.
constexpr VersionTexts::Kind VersionTexts::kCaptions{
    "SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId FROM RKIptcProperty WHERE "
    "propertyKey = 'Caption/Abstract' AND versionId = %d)",
    "SELECT p.versionId,s.stringProperty,p.rowid FROM RKIptcProperty p LEFT JOIN RKUniqueString s "
    "ON s.modelId = p.stringId WHERE p.propertyKey = 'Caption/Abstract' AND p.versionId >= %d "
    "AND p.versionId <= 2147483647 ORDER BY p.versionId"};

constexpr VersionTexts::Kind VersionTexts::kComments{
    "SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId FROM RKExifStringProperty "
    "WHERE propertyKey = 'ImageDescription' AND versionId = %d)",
    "SELECT p.versionId,s.stringProperty,p.rowid FROM RKExifStringProperty p LEFT JOIN RKUniqueString s "
    "ON s.modelId = p.stringId WHERE p.propertyKey = 'ImageDescription' AND p.versionId >= %d "
    "AND p.versionId <= 2147483647 ORDER BY p.versionId"};

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
  return reach(modelId) && (current_ != modelId || collect());
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

// From the rows of the current version: the last text of the first property that is not empty.
bool VersionTexts::collect() {
  const double version = current_;
  const std::int64_t property = rows_->integer64Column(2);
  while (current_ == version) {
    Value text = rows_->integer64Column(2) == property ? unlessEmpty(rows_->stringColumn(1)) : Value();
    if (!text.isNil()) text_ = std::move(text);
    if (!next()) return false;
  }
  return true;
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
