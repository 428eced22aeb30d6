// Turns the clauses of a rule into tests of photos. Core thread.
//
// Clauses over RKVersion are tested while its rows are read. Every other clause is one statement, which gives
// the set of photos that it admits; text clauses share one reading of all texts.
//
// Known are clauses over the flag, the rating, the date, the name and the file name, the numbers and texts of
// Properties.apdb ("exifProperties.X", "iptcProperties.X", "basicProperties.X", "Latitude", "Longitude",
// "properties.any"), and named faces. Every other clause, such as one over keywords, events, places or
// cameras, has no test. A text is compared without case and accents.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "library/answers/AlbumRule.h"

namespace moxtel {

class LibraryDatabases;
class Query;
class RuleTexts;

// The columns of the rows that are tested, in ascending order of their model ids.
namespace photo_column {
inline constexpr int kModelId = 0;
inline constexpr int kUuid = 1;
inline constexpr int kDate = 2;
inline constexpr int kRating = 3;
inline constexpr int kName = 4;
inline constexpr int kProject = 5;
inline constexpr int kFlagged = 6;
inline constexpr int kFileName = 7;
inline constexpr int kHidden = 8;
}  // namespace photo_column

// Whether a photo meets a clause. Called with rows in the order above, once each.
using PhotoTest = std::function<bool(const Query& row)>;

// Model ids, ascending and each once, as a test.
PhotoTest isOneOf(std::vector<std::int64_t> ids);

class RuleTests final {
 public:
  // Borrows the databases. Relative dates count from now.
  RuleTests(LibraryDatabases& databases, Date now);
  ~RuleTests();
  RuleTests(const RuleTests&) = delete;
  RuleTests& operator=(const RuleTests&) = delete;

  // Nothing for a clause that is not understood, or whose data is missing. The test of a text clause is
  // complete only after readTexts().
  std::optional<PhotoTest> testOf(const RuleClause& clause);
  // Call once, after the last testOf(). False when the texts cannot be read: then no test may be used.
  [[nodiscard]] bool readTexts();
  // Whether a clause had a relative date.
  bool followsTheDay() const { return followsTheDay_; }

 private:
  std::optional<PhotoTest> dateTest(const RuleClause& clause);
  std::optional<PhotoTest> numberTest(const std::string& key, const RuleClause& clause);
  std::optional<PhotoTest> faceTest();
  std::optional<PhotoTest> propertyTest(const RuleClause& clause);

  LibraryDatabases& databases_;
  const Date now_;
  bool followsTheDay_ = false;
  std::unique_ptr<RuleTexts> texts_;
};

}  // namespace moxtel
