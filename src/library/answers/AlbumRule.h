// The rule of a smart album as the photo application stores it in RKAlbum.queryData. Any thread.
//
// A rule is a tree of clauses. Whether a clause is switched off, what it compares and with what are read as
// they are stored; RuleTests.h says which clauses have a known meaning.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "value/Value.h"

namespace moxtel {

// A condition for one property of a photo ("RKSingleItemQuery", in Photos "RDSingleItemQuery").
struct RuleClause {
  std::int32_t type = 0;  // the kind of property
  std::string key;        // which one, "basicProperties.MainRating"
  std::int32_t qualifier = 0;
  Value first;  // what is compared with; nil without
  Value second;
  std::int32_t timeValue = 0;  // of relative dates, "in the last 30 days"
  std::string timeUnit;        // "days"; empty without
};

// A clause, or a group ("RKMultiItemQuery", "RDMultiItemQuery") of clauses and groups.
struct RuleNode {
  enum class Kind : std::uint8_t { Clause, Group, Unknown };
  // How a group joins its enabled parts. Without any it admits everything.
  enum class Match : std::uint8_t { All, Any, Unknown };

  Kind kind = Kind::Unknown;
  bool enabled = true;
  RuleClause clause;             // of a clause
  Match match = Match::Unknown;  // from here on of a group
  bool stackPicksOnly = false;
  std::vector<RuleNode> parts;
};

struct RuleLimits {
  std::size_t bytes = 1 << 20;  // of the archive
  std::size_t depth = 16;       // of groups
  std::size_t nodes = 1000;
};

// Why bytes are no rule, in words for a user.
struct RuleError {
  std::string reason;
};

// Reads the keyed archive of a rule. Never throws; time and memory are bounded by the limits.
std::variant<RuleNode, RuleError> decodeAlbumRule(std::span<const std::uint8_t> bytes,
                                                  const RuleLimits& limits = {});

}  // namespace moxtel
