#include "library/VersionTexts.h"

#include <limits>

namespace moxtel {

namespace {

// Stepping over this many ids at most costs less than seeking.
constexpr double kNear = 4;

Value unlessEmpty(const Value& text) { return text.string().empty() ? Value() : text; }

}  // namespace

// Model ids have 32 bits; the upper bound leaves out what is no number, which SQLite sorts after all numbers.
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
  return reach(modelId) && (atHand_ != modelId || collect());
}

// Goes on until the id or what comes after it is at hand.
bool VersionTexts::reach(double modelId) {
  const bool near = rows_ && modelId > passed_ && modelId - atHand_ <= kNear;
  if (!near && !seek(modelId)) return false;
  while (atHand_ < modelId) {
    if (!next()) return false;
  }
  return true;
}

bool VersionTexts::seek(double modelId) {
  rows_.reset();  // hands its statement back, for the next one to use
  rows_ =
      databases_.runUnlogged(DatabaseFile::Properties, kind_.onFrom, {static_cast<std::int32_t>(modelId)});
  atHand_ = modelId - 1;
  return rows_->prepared() && next();
}

// Of the rows at hand of one version: the first property's last text that is not empty.
bool VersionTexts::collect() {
  const double version = atHand_;
  const std::int64_t property = rows_->integer64Column(2);
  while (atHand_ == version) {
    Value text = rows_->integer64Column(2) == property ? unlessEmpty(rows_->stringColumn(1)) : Value();
    if (!text.isNil()) text_ = std::move(text);
    if (!next()) return false;
  }
  return true;
}

bool VersionTexts::next() {
  passed_ = atHand_;
  const bool found = rows_->step();
  atHand_ = found ? rows_->realColumn(0) : std::numeric_limits<double>::infinity();
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
