// The rule of a smart album in words, for the console and for the user who wants to know what is in an album.
// Any thread.
#pragma once

#include <string>

#include "library/answers/AlbumRule.h"

namespace moxtel {

// "the rating is at least 3". A clause that has no words is described by its numbers and values.
std::string describeClause(const RuleClause& clause);

// The enabled parts of a rule, one line each, groups indented by two blanks; ends with a line feed.
std::string describeRule(const RuleNode& rule);

}  // namespace moxtel
