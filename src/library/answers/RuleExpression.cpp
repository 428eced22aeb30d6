#include "library/answers/RuleExpression.h"

#include <algorithm>
#include <utility>

#include "library/answers/RuleText.h"

namespace moxtel {

namespace {

void note(std::string what, std::vector<std::string>& notUnderstood) {
  if (std::find(notUnderstood.begin(), notUnderstood.end(), what) == notUnderstood.end())
    notUnderstood.push_back(std::move(what));
}

// The first line: how the group joins its parts.
std::string describeGroup(const RuleNode& group) {
  const std::string text = describeRule(group);
  return "a group: " + text.substr(0, text.find('\n'));
}

}  // namespace

RuleExpression::RuleExpression(const RuleNode& rule, RuleTests& tests,
                               std::vector<std::string>& notUnderstood) {
  if (rule.kind == RuleNode::Kind::Clause) {
    test_ = tests.testOf(rule.clause);
    if (!test_) note(describeClause(rule.clause), notUnderstood);
    return;
  }
  if (rule.kind == RuleNode::Kind::Unknown || rule.match == RuleNode::Match::Unknown) {
    note(rule.kind == RuleNode::Kind::Unknown ? "a part of an unknown kind" : describeGroup(rule),
         notUnderstood);
    return;
  }
  kind_ = rule.match == RuleNode::Match::All ? Kind::All : Kind::Any;
  for (const RuleNode& part : rule.parts) {
    if (part.enabled) parts_.emplace_back(part, tests, notUnderstood);
  }
  if (!rule.stackPicksOnly) return;
  note("only the picks of stacks", notUnderstood);
  *this = RuleExpression(std::move(*this), RuleExpression(std::nullopt));
}

RuleExpression::RuleExpression(RuleExpression a, RuleExpression b) : kind_(Kind::All) {
  parts_.push_back(std::move(a));
  parts_.push_back(std::move(b));
}

Truth RuleExpression::of(const Query& row) const {
  if (kind_ == Kind::Test) return !test_ ? Truth::Perhaps : (*test_)(row) ? Truth::True : Truth::False;
  if (parts_.empty()) return Truth::True;
  const bool all = kind_ == Kind::All;
  Truth result = all ? Truth::True : Truth::False;
  const Truth decided = all ? Truth::False : Truth::True;
  for (const RuleExpression& part : parts_) {
    const Truth truth = part.of(row);
    if (truth == decided) return decided;
    if (truth == Truth::Perhaps) result = Truth::Perhaps;
  }
  return result;
}

}  // namespace moxtel
