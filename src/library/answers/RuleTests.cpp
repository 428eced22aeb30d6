#include "library/answers/RuleTests.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "library/answers/FoldedText.h"
#include "library/answers/RuleDates.h"
#include "library/answers/RuleQualifiers.h"
#include "library/answers/RuleTexts.h"
#include "library/database/LibraryDatabases.h"
#include "library/database/SqlPlaces.h"
#include "platform/files/Files.h"

namespace moxtel {

namespace {

constexpr SqlText kNumbers =
    "SELECT versionId,numberProperty FROM RKExifNumberProperty WHERE propertyKey = '%@' ORDER BY versionId";
// Or a view, in a library of Photos.
constexpr SqlText kHasFaceTable =
    "SELECT name FROM sqlite_master WHERE name = 'RKVersionFaceContent' UNION ALL SELECT name FROM "
    "sqlite_temp_master WHERE name = 'RKVersionFaceContent'";
constexpr SqlText kNamedFaces = "SELECT versionId FROM RKVersionFaceContent WHERE isNamed = 1";

// Whether a number meets a clause; nothing for a comparison that is not one of numbers.
std::optional<std::function<bool(double)>> comparison(const RuleClause& clause) {
  if (!clause.first.isNumber()) return std::nullopt;
  const double wanted = clause.first.doubleValue();
  switch (clause.qualifier) {
    case qualifier::kEqual:
      return [wanted](double value) { return value == wanted; };
    case qualifier::kNotEqual:
      return [wanted](double value) { return value != wanted; };
    case qualifier::kAtLeast:
      return [wanted](double value) { return value >= wanted; };
    default:
      return std::nullopt;
  }
}

// A column that every photo has, such as the flag. An enumeration has comparisons of its own.
std::optional<PhotoTest> columnTest(int column, RuleClause clause) {
  if (clause.qualifier == qualifier::kIs) clause.qualifier = qualifier::kEqual;
  if (clause.qualifier == qualifier::kIsNot) clause.qualifier = qualifier::kNotEqual;
  auto meets = comparison(clause);
  if (!meets) return std::nullopt;
  return [column, meets = std::move(*meets)](const Query& row) { return meets(row.integerColumn(column)); };
}

std::optional<PhotoTest> textColumnTest(int column, const RuleClause& clause) {
  auto meets = textComparison(clause);
  if (!meets) return std::nullopt;
  return [column, meets = std::move(*meets)](const Query& row) {
    const Value text = row.stringColumn(column);
    return meets(foldedText(text.string()));
  };
}

PhotoTest inSpan(TimeSpan span) {
  return [span](const Query& row) {
    const Value date = row.realNumberColumn(photo_column::kDate);
    return !date.isNil() && span.contains(date.doubleValue());
  };
}

PhotoTest isNot(PhotoTest test) {
  return [test = std::move(test)](const Query& row) { return !test(row); };
}

}  // namespace

PhotoTest isOneOf(std::vector<std::int64_t> ids) {
  return [ids = std::move(ids), next = std::size_t{0}](const Query& row) mutable {
    const std::int64_t id = row.integer64Column(photo_column::kModelId);
    while (next < ids.size() && ids[next] < id) ++next;
    return next < ids.size() && ids[next] == id;
  };
}

RuleTests::RuleTests(LibraryDatabases& databases, Date now)
    : databases_(databases), now_(now), texts_(std::make_unique<RuleTexts>(databases)) {}
RuleTests::~RuleTests() = default;

bool RuleTests::readTexts() { return texts_->read(); }

std::optional<PhotoTest> RuleTests::testOf(const RuleClause& clause) {
  // No key of a property has a quote, and no query could contain it.
  if (breaksOutOfLiteral(clause.key)) return std::nullopt;
  if (clause.key == "isFlagged") return columnTest(photo_column::kFlagged, clause);
  if (clause.key == "basicProperties.MainRating") return columnTest(photo_column::kRating, clause);
  if (clause.key == "basicProperties.VersionName") return textColumnTest(photo_column::kName, clause);
  if (clause.key == "basicProperties.FileName") return textColumnTest(photo_column::kFileName, clause);
  if (clause.key == "exifProperties.ImageDate") return dateTest(clause);
  if (clause.type == kFaceType && clause.key == "name" && clause.qualifier == qualifier::kIsNamed)
    return faceTest();
  return propertyTest(clause);
}

std::optional<PhotoTest> RuleTests::dateTest(const RuleClause& clause) {
  if (clause.qualifier == qualifier::kHasValue)
    return [](const Query& row) { return !row.realNumberColumn(photo_column::kDate).isNil(); };
  if (clause.qualifier == qualifier::kInLast) {
    const auto days = lastDays(now_, clause.timeValue, clause.timeUnit);
    if (!days) return std::nullopt;
    followsTheDay_ = true;
    return inSpan(*days);
  }
  auto first = dayNamed(clause.first.string());
  if (!first) return std::nullopt;
  switch (clause.qualifier) {
    case qualifier::kEqual:
      return inSpan(*first);
    case qualifier::kNotEqual:
      return isNot(inSpan(*first));
    case qualifier::kAtLeast:
      first->end = std::numeric_limits<double>::infinity();
      return inSpan(*first);
    case qualifier::kFromThrough: {
      const auto second = dayNamed(clause.second.string());
      return second ? std::optional(inSpan({first->begin, second->end})) : std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

std::optional<PhotoTest> RuleTests::numberTest(const std::string& key, const RuleClause& clause) {
  RuleClause admitted = clause;
  const bool negated = clause.qualifier == qualifier::kNotEqual;
  if (negated) admitted.qualifier = qualifier::kEqual;  // a photo without the number is not equal either
  std::optional<std::function<bool(double)>> meets;
  if (clause.qualifier == qualifier::kHasValue) {
    meets = [](double) { return true; };
  } else {
    meets = comparison(admitted);
  }
  if (!meets) return std::nullopt;
  Query numbers = databases_.runUnlogged(DatabaseFile::Properties, kNumbers, {key});
  std::vector<std::int64_t> ids;
  while (numbers.step()) {
    const Value number = numbers.realNumberColumn(1);
    if (!number.isNil() && (*meets)(number.doubleValue())) ids.push_back(numbers.integer64Column(0));
  }
  if (numbers.failed()) return std::nullopt;
  PhotoTest test = isOneOf(std::move(ids));
  return negated ? isNot(std::move(test)) : std::move(test);
}

// The table is in one database or in the other; some libraries have none.
std::optional<PhotoTest> RuleTests::faceTest() {
  const auto hasTable = [this](DatabaseFile file) {
    const auto path = databases_.pathOf(file);
    return path && stampOf(*path).isRegular() && databases_.runUnlogged(file, kHasFaceTable, {}).step();
  };
  const auto file = hasTable(DatabaseFile::Library) ? DatabaseFile::Library : DatabaseFile::Faces;
  if (!hasTable(file)) return std::nullopt;
  Query faces = databases_.runUnlogged(file, kNamedFaces, {});
  std::vector<std::int64_t> ids;
  while (faces.step()) ids.push_back(faces.integer64Column(0));
  if (faces.failed()) return std::nullopt;
  std::sort(ids.begin(), ids.end());
  return isOneOf(std::move(ids));
}

std::optional<PhotoTest> RuleTests::propertyTest(const RuleClause& clause) {
  if (clause.key == "Latitude" || clause.key == "Longitude") return numberTest(clause.key, clause);
  if (clause.key == "properties.any") return texts_->testOf(RuleTexts::Table::Any, {}, clause);
  const std::size_t point = clause.key.find('.');
  if (point == std::string::npos) return std::nullopt;
  const std::string kind = clause.key.substr(0, point);
  const std::string property = clause.key.substr(point + 1);
  if (kind == "exifProperties") {
    // The form of a rule over cameras is not known.
    if (property == "Make" || property == "Model") return std::nullopt;
    if (!clause.first.isString()) return numberTest(property, clause);
    return texts_->testOf(RuleTexts::Table::Exif, property, clause);
  }
  if (kind == "iptcProperties" && property != "Keywords")
    return texts_->testOf(RuleTexts::Table::Iptc, property, clause);
  if (kind == "basicProperties" && texts_->hasOtherProperty(property))
    return texts_->testOf(RuleTexts::Table::Other, property, clause);
  return std::nullopt;
}

}  // namespace moxtel
