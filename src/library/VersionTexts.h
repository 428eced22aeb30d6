// The texts of one kind, captions or comments, that Properties.apdb stores for versions, for a list of
// photos.
//
// A container's photos mostly come with ascending model ids, which is also the order of the index on the
// texts. Both are therefore read in parallel, at a fraction of the cost of a query for each photo. For an id
// that is far ahead or lower than the last one, the reading starts again there. The results are those of a
// query for each photo; if reading in parallel fails, those queries run instead, and log what they find. They
// also run where the tables are looser than those of known libraries: only integer ids and at most one text
// for each version make both ways equal.
//
// For one pass over one list, within one transaction. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "library/database/LibraryDatabases.h"

namespace moxtel {

class VersionTexts final {
 public:
  struct Kind {
    SqlText ofOne;   // stringProperty; place: the model id
    SqlText onFrom;  // versionId and stringProperty, ascending; place: the first model id
    SqlText schema;  // the statements that made the table of properties and its indexes
  };
  static const Kind kCaptions;
  static const Kind kComments;

  // Borrows the databases. Properties.apdb is open.
  VersionTexts(LibraryDatabases& databases, const Kind& kind);

  // nil when there is none, or an empty one.
  Value textOf(std::int32_t modelId);

 private:
  bool schemaIsStrict();
  std::vector<std::string> statementsOf(SqlText table);
  bool answer(std::int32_t modelId);
  bool reach(double modelId);
  bool seek(double modelId);
  bool next();
  Value askFor(std::int32_t modelId);

  LibraryDatabases& databases_;
  const Kind& kind_;
  std::optional<Query> rows_;
  // Version ids as doubles, which represent every model id and distinguish 2 from 2.5. No id between passed_
  // and current_ has a text.
  double passed_ = 0;
  double current_ = 0;  // of the current row
  Value text_;          // of the last id asked for
  std::optional<std::int32_t> asked_;
  bool oneByOne_;
};

}  // namespace moxtel
