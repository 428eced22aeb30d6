#include "makelibrary/SmartAlbums.h"

#include <utility>

#include "plist/KeyedArchive.h"
#include "value/Value.h"

namespace moxtel::makelibrary {

namespace {

// Numbers of the photo application.
enum QueryType : std::uint8_t {
  kAnyOf = 1,
  kGroupInside = 4,
  kRating = 5,
  kDate = 6,
  kNumber = 9,
  kAnyText = 14,
  kLabel = 20,
  kFlag = 22,
  kEnumeration = 40
};
enum Qualifier : std::uint8_t {
  kHasValue = 1,
  kIs = 5,
  kIsNot = 6,
  kAtLeast = 8,
  kInTheLast = 18,
  kBetween = 20,
  kContains = 23,
  kIsNamed = 61
};
enum class Match : std::uint8_t { Any = 0, All = 1 };

Value clause(QueryType type, const char* key, Qualifier qualifier, Value first = {}, bool enabled = true) {
  Dictionary made = mutableDictionary({{"queryClassName", "RKSingleItemQuery"},
                                       {"queryIsEnabled", enabled},
                                       {"queryType", static_cast<int>(type)},
                                       {"queryPropertyKey", key},
                                       {"queryQualifier", static_cast<int>(qualifier)},
                                       {"queryTimeValue", 1}});
  if (!first.isNil()) made.set("queryFirstValue", std::move(first));
  return made;
}

Value between(const char* first, const char* last) {
  Value made = clause(kDate, "exifProperties.ImageDate", kBetween, first);
  made.editDictionary().set("querySecondValue", last);
  return made;
}

Value inTheLastDays(int days) {
  Value made = clause(kDate, "exifProperties.ImageDate", kInTheLast);
  made.editDictionary().set("queryTimeValue", days);
  made.editDictionary().set("queryTimeUnit", "days");
  return made;
}

Value group(QueryType type, Match match, bool enabled, Array members) {
  return mutableDictionary({{"queryClassName", "RKMultiItemQuery"},
                            {"queryIsEnabled", enabled},
                            {"queryMatchType", static_cast<int>(match)},
                            {"queryType", static_cast<int>(type)},
                            {"querySubqueries", std::move(members)},
                            {"queryStackPicksOnly", false},
                            {"queryPredicateComponents", 1}});
}

Value inside(Match match, Array members) { return group(kGroupInside, match, true, std::move(members)); }

Value rating(Qualifier qualifier, int stars, bool enabled = true) {
  return clause(kRating, "basicProperties.MainRating", qualifier, stars, enabled);
}
Value flagged(bool enabled = true) { return clause(kFlag, "isFlagged", kIs, 1, enabled); }

// Each rule of a user begins with these disabled members.
Array membersOfEveryRule() {
  return mutableArray({rating(kAtLeast, 0, false), flagged(false),
                       clause(kLabel, "basicProperties.ColorLabel", kIs, {}, false),
                       clause(kAnyText, "properties.any", kContains, {}, false),
                       group(kGroupInside, Match::Any, false, mutableArray())});
}

std::string rule(Match match, std::initializer_list<Value> members) {
  Array all = membersOfEveryRule();
  for (const Value& member : members) all.append(member);
  const Bytes bytes = archivedData(group(kAnyOf, match, true, std::move(all)));
  return {bytes.begin(), bytes.end()};
}

// Seconds since 2001-01-01 00:00:00 UTC of midnight in Zurich.
constexpr double kStartOf2010 = 283993200;
constexpr double kEndOf2012 = 378687600;

bool showsNamedFace(const Photo& photo) {
  for (const DetectedFace& face : photo.faces)
    if (face.named) return true;
  return false;
}

// What only the photo application knows of a rule that no other program understands: here every third photo.
bool everyThird(const Photo& photo) { return photo.index % 3 == 0; }

std::vector<SmartAlbum> withKnownClauses() {
  const auto isFlagged = [](const Photo& p) { return p.flagged; };
  return {
      {"Flagged", rule(Match::All, {flagged()}), isFlagged},
      {"Four stars and more", rule(Match::All, {rating(kAtLeast, 4)}),
       [](const Photo& p) { return p.rating >= 4; }, SmartScope::Library, SmartOrder::Rating},
      {"Three stars", rule(Match::All, {rating(kIs, 3)}), [](const Photo& p) { return p.rating == 3; }},
      {"Rated", rule(Match::All, {rating(kIsNot, 0)}), [](const Photo& p) { return p.rating != 0; }},
      {"2010 to 2012", rule(Match::All, {between("1/1/2010 Europe/Zurich", "12/31/2012 Europe/Zurich")}),
       [](const Photo& p) { return p.date >= kStartOf2010 && p.date < kEndOf2012; }, SmartScope::Library,
       SmartOrder::NewestFirst},
      {"With a place",
       rule(Match::All, {clause(kNumber, "Longitude", kHasValue), clause(kNumber, "Latitude", kHasValue)}),
       [](const Photo& p) { return p.position && p.kind != MasterKind::Movie; }},
      {"With people", rule(Match::All, {clause(kEnumeration, "name", kIsNamed)}), showsNamedFace},
      {"Flagged in the first project", rule(Match::All, {flagged()}), isFlagged, SmartScope::FirstProject},
  };
}

std::vector<SmartAlbum> withGroups() {
  return {
      {"Flagged or five stars", rule(Match::Any, {flagged(), rating(kIs, 5)}),
       [](const Photo& p) { return p.flagged || p.rating == 5; }},
      {"Flagged, one or five stars",
       rule(Match::All, {flagged(), inside(Match::Any, mutableArray({rating(kIs, 5), rating(kIs, 1)}))}),
       [](const Photo& p) { return p.flagged && (p.rating == 5 || p.rating == 1); }},
      {"Only disabled clauses", rule(Match::All, {}), [](const Photo&) { return true; }},
      {"In the last 36500 days", rule(Match::All, {inTheLastDays(36500)}), [](const Photo&) { return true; }},
      {"In the last day", rule(Match::All, {inTheLastDays(1)}), [](const Photo&) { return false; }},
  };
}

std::vector<SmartAlbum> withUnknownClauses() {
  const Value unknown = clause(kLabel, "basicProperties.UnknownProperty", kIs, 3);
  return {
      {"Unknown", rule(Match::All, {unknown}), everyThird},
      {"Flagged and unknown", rule(Match::All, {flagged(), unknown}),
       [](const Photo& p) { return p.flagged && everyThird(p); }},
      {"Flagged or unknown", rule(Match::Any, {flagged(), unknown}),
       [](const Photo& p) { return p.flagged || everyThird(p); }},
  };
}

}  // namespace

const std::vector<SmartAlbum>& smartAlbums() {
  static const std::vector<SmartAlbum> kAlbums = [] {
    std::vector<SmartAlbum> all = withKnownClauses();
    for (const auto& more : {withGroups(), withUnknownClauses()})
      all.insert(all.end(), more.begin(), more.end());
    return all;
  }();
  return kAlbums;
}

}  // namespace moxtel::makelibrary
