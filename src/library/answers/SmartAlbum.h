// A smart album as the library stores it, and its rule evaluated. Core thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "library/answers/AlbumRule.h"
#include "library/answers/PhotoOrder.h"

namespace moxtel {

class LibraryDatabases;

struct SmartAlbum {
  Value uuid;
  Value name;
  std::variant<RuleNode, RuleError> rule;
  std::string scope;  // the uuid of the folder or project that limits the album
  PhotoOrder order;
};

// The album if it is a smart one. Nothing for others, and when the database cannot be read.
std::optional<SmartAlbum> readSmartAlbum(LibraryDatabases& databases, const Value& uuid);

struct RuleMembers {
  std::vector<SortedPhoto> certain;   // in the photo application's order
  std::vector<std::int64_t> perhaps;  // model ids, ascending: depend on what is not understood
  std::vector<std::string> notUnderstood;
  bool followsTheDay = false;
  // False when the rule could not be evaluated at all: then any photo may be a member.
  bool wasEvaluated = false;

  bool areComplete() const { return wasEvaluated && perhaps.empty(); }
};

// The photos that the album's rule admits: out of those that are shown in the library and not in the trash
// (of "trashAlbum", in the trash), themselves or by a folder above them. One statement reads the photos;
// clauses over other tables take one more each.
RuleMembers evaluateRule(LibraryDatabases& databases, const SmartAlbum& album, Date now, bool hidesHidden);

}  // namespace moxtel
