// The clauses of a rule over texts that lie in Properties.apdb, and keywords. Core thread.
//
// All clauses share one reading of the table of texts; then each is one statement for each table that it
// searches.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "library/answers/RuleTests.h"

namespace moxtel {

// Whether a folded text meets a clause: it equals the clause's text, does not, contains it, or is not empty.
// Nothing for another comparison, and for an empty text.
std::optional<std::function<bool(std::string_view)>> textComparison(const RuleClause& clause);

class RuleTexts final {
 public:
  enum class Table : std::uint8_t { Exif, Iptc, Other, Any };

  // Borrows it.
  explicit RuleTexts(LibraryDatabases& databases) : databases_(databases) {}

  // Whether RKOtherProperty has such a property: others of its kind are not in it.
  bool hasOtherProperty(const std::string& property);
  // The property is ignored for Any. Nothing for a comparison of another kind. Use the test after read().
  std::optional<PhotoTest> testOf(Table table, const std::string& property, const RuleClause& clause);
  // False when a table cannot be read.
  [[nodiscard]] bool read();

 private:
  // One clause.
  struct Search {
    Table table;
    std::string property;
    std::function<bool(std::string_view)> meets;
    std::vector<std::int64_t> texts;                    // that meet it, ascending
    std::shared_ptr<std::vector<std::int64_t>> photos;  // that have one of these, ascending
  };
  bool readTexts();
  bool readPhotos(Search& search);
  bool readKeywords(Search& search);

  LibraryDatabases& databases_;
  std::vector<Search> searches_;
};

}  // namespace moxtel
