#include "library/answers/RuleTexts.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "library/answers/FoldedText.h"
#include "library/answers/RuleQualifiers.h"
#include "library/database/LibraryDatabases.h"

namespace moxtel {

namespace {

constexpr SqlText kAllTexts = "SELECT modelId,stringProperty FROM RKUniqueString ORDER BY modelId";
constexpr SqlText kHasOther = "SELECT versionId FROM RKOtherProperty WHERE propertyKey = '%@' LIMIT 1";
constexpr SqlText kExif =
    "SELECT versionId,stringId,searchStringId FROM RKExifStringProperty WHERE propertyKey = '%@'";
constexpr SqlText kIptc =
    "SELECT versionId,stringId,searchStringId FROM RKIptcProperty WHERE propertyKey = '%@'";
constexpr SqlText kOther =
    "SELECT versionId,stringId,searchStringId FROM RKOtherProperty WHERE propertyKey = '%@'";
constexpr SqlText kEveryExif = "SELECT versionId,stringId,searchStringId FROM RKExifStringProperty";
constexpr SqlText kEveryIptc = "SELECT versionId,stringId,searchStringId FROM RKIptcProperty";
constexpr SqlText kEveryOther = "SELECT versionId,stringId,searchStringId FROM RKOtherProperty";
constexpr SqlText kHasKeywords = "SELECT name FROM sqlite_master WHERE name = 'RKKeywordForVersion'";
constexpr SqlText kKeywords = "SELECT modelId,searchName FROM RKKeyword";
constexpr SqlText kKeywordsOfPhotos = "SELECT versionId,keywordId FROM RKKeywordForVersion";

}  // namespace

std::optional<std::function<bool(std::string_view)>> textComparison(const RuleClause& clause) {
  if (clause.qualifier == qualifier::kHasValue) return [](std::string_view text) { return !text.empty(); };
  std::string wanted = foldedText(clause.first.string());
  if (wanted.empty()) return std::nullopt;
  switch (clause.qualifier) {
    case qualifier::kEqual:
      return [wanted = std::move(wanted)](std::string_view text) { return text == wanted; };
    case qualifier::kNotEqual:
      return [wanted = std::move(wanted)](std::string_view text) { return text != wanted; };
    case qualifier::kContains:
      return [wanted = std::move(wanted)](std::string_view text) {
        return text.find(wanted) != std::string_view::npos;
      };
    default:
      return std::nullopt;
  }
}

bool RuleTexts::hasOtherProperty(const std::string& property) {
  return databases_.runUnlogged(DatabaseFile::Properties, kHasOther, {property}).step();
}

std::optional<PhotoTest> RuleTexts::testOf(Table table, const std::string& property,
                                           const RuleClause& clause) {
  // A photo without the text is not equal either. Which of all its texts should differ is not known.
  const bool negated = clause.qualifier == qualifier::kNotEqual;
  if (negated && table == Table::Any) return std::nullopt;
  RuleClause admitted = clause;
  if (negated) admitted.qualifier = qualifier::kEqual;
  auto meets = textComparison(admitted);
  if (!meets) return std::nullopt;
  auto photos = std::make_shared<std::vector<std::int64_t>>();
  searches_.push_back({table, property, std::move(*meets), {}, photos});
  return [photos = std::move(photos), negated, next = std::size_t{0}](const Query& row) mutable {
    const std::int64_t id = row.integer64Column(photo_column::kModelId);
    while (next < photos->size() && (*photos)[next] < id) ++next;
    const bool found = next < photos->size() && (*photos)[next] == id;
    return found != negated;
  };
}

bool RuleTexts::read() {
  if (searches_.empty()) return true;
  return readTexts() && std::all_of(searches_.begin(), searches_.end(), [this](Search& search) {
           const bool complete = readPhotos(search);
           std::sort(search.photos->begin(), search.photos->end());
           return complete;
         });
}

bool RuleTexts::readTexts() {
  Query texts = databases_.runUnlogged(DatabaseFile::Properties, kAllTexts, {});
  while (texts.step()) {
    const std::string folded = foldedText(texts.stringColumn(1).string());
    for (Search& search : searches_) {
      if (search.meets(folded)) search.texts.push_back(texts.integer64Column(0));
    }
  }
  return !texts.failed();
}

bool RuleTexts::readPhotos(Search& search) {
  const auto isFound = [&search](std::int64_t text) {
    return std::binary_search(search.texts.begin(), search.texts.end(), text);
  };
  const auto add = [&](Query rows) {
    while (rows.step()) {
      if (isFound(rows.integer64Column(1)) || isFound(rows.integer64Column(2)))
        search.photos->push_back(rows.integer64Column(0));
    }
    return !rows.failed();
  };
  const auto run = [this, &search](SqlText sql) {
    return databases_.runUnlogged(DatabaseFile::Properties, sql, {search.property});
  };
  switch (search.table) {
    case Table::Exif:
      return add(run(kExif));
    case Table::Iptc:
      return add(run(kIptc));
    case Table::Other:
      return add(run(kOther));
    case Table::Any:
      return add(run(kEveryExif)) && add(run(kEveryIptc)) && add(run(kEveryOther)) && readKeywords(search);
  }
  return false;
}

// Some libraries have no such tables, and so no keywords.
bool RuleTexts::readKeywords(Search& search) {
  if (!databases_.runUnlogged(DatabaseFile::Library, kHasKeywords, {}).step()) return true;
  std::unordered_set<std::int64_t> found;
  Query keywords = databases_.runUnlogged(DatabaseFile::Library, kKeywords, {});
  while (keywords.step()) {
    if (search.meets(foldedText(keywords.stringColumn(1).string())))
      found.insert(keywords.integer64Column(0));
  }
  Query photos = databases_.runUnlogged(DatabaseFile::Library, kKeywordsOfPhotos, {});
  while (photos.step()) {
    if (found.contains(photos.integer64Column(1))) search.photos->push_back(photos.integer64Column(0));
  }
  return !keywords.failed() && !photos.failed();
}

}  // namespace moxtel
