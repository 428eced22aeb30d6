// A rule as a test of photos with three results: a clause that is not understood is perhaps true. Core
// thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "library/answers/AlbumRule.h"
#include "library/answers/RuleTests.h"

namespace moxtel {

enum class Truth : std::uint8_t { False, Perhaps, True };

class RuleExpression final {
 public:
  // The clauses that are not understood are described in notUnderstood, each once.
  RuleExpression(const RuleNode& rule, RuleTests& tests, std::vector<std::string>& notUnderstood);
  // One test, or a clause that is not understood.
  explicit RuleExpression(std::optional<PhotoTest> test) : test_(std::move(test)) {}
  // True for what both admit.
  RuleExpression(RuleExpression a, RuleExpression b);

  // Of rows in the order of RuleTests.h, once each.
  Truth of(const Query& row) const;

 private:
  enum class Kind : std::uint8_t { Test, All, Any };

  Kind kind_ = Kind::Test;
  std::optional<PhotoTest> test_;      // nothing: perhaps
  std::vector<RuleExpression> parts_;  // of All and Any; without any, true
};

}  // namespace moxtel
