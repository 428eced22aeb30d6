// The texts of one kind, captions or comments, that Properties.apdb keeps of versions, for a list of photos.
//
// A container's photos mostly come with ascending model ids, and that is the order in which the kind's index
// holds the texts: the two are read in step, which costs a fraction of a query for each photo. Ids that lie
// apart or go back are sought one by one. The answers are those of the query for each photo, which also does
// the whole work, and logs what it finds wrong, where reading in step fails.
//
// For one pass over one list, within one transaction. Core thread.
#pragma once

#include <cstdint>
#include <optional>

#include "library/database/LibraryDatabases.h"

namespace moxtel {

class VersionTexts final {
 public:
  struct Kind {
    SqlText ofOne;   // stringProperty; place: the model id
    SqlText onFrom;  // versionId, stringProperty and the property's row, ascending; place: the first model id
  };
  static const Kind kCaptions;
  static const Kind kComments;

  // Borrows the databases. Properties.apdb is open.
  VersionTexts(LibraryDatabases& databases, const Kind& kind) : databases_(databases), kind_(kind) {}

  // nil when there is none, or an empty one.
  Value textOf(std::int32_t modelId);

 private:
  bool answer(std::int32_t modelId);
  bool reach(double modelId);
  bool seek(double modelId);
  bool collect();
  bool next();
  Value askFor(std::int32_t modelId);

  LibraryDatabases& databases_;
  const Kind& kind_;
  std::optional<Query> rows_;
  // Version ids as doubles, which hold every model id and tell 2 from 2.5. What lies between the last one
  // passed and the one of the row at hand has no text.
  double passed_ = 0;
  double atHand_ = 0;
  Value text_;  // of the last id asked for
  std::optional<std::int32_t> asked_;
  bool oneByOne_ = false;
};

}  // namespace moxtel
