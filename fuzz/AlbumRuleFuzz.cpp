// Reads arbitrary bytes as the rule of a smart album. A rule that is read is within the limits, and has words
// of bounded length.
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "fuzz/FuzzInput.h"
#include "library/answers/AlbumRule.h"
#include "library/answers/RuleDates.h"
#include "library/answers/RuleText.h"
#include "value/Utf.h"

namespace {

using namespace moxtel;
using fuzz::require;

constexpr RuleLimits kLimits{.bytes = 1 << 16, .depth = 8, .nodes = 100};

struct Size {
  std::size_t depth = 0;
  std::size_t nodes = 0;
};

Size sizeOf(const RuleNode& node) {
  Size size{1, 1};
  for (const RuleNode& part : node.parts) {
    const Size inner = sizeOf(part);
    size.depth = std::max(size.depth, inner.depth + 1);
    size.nodes += inner.nodes;
  }
  return size;
}

void checkClauses(const RuleNode& node) {
  require(node.kind == RuleNode::Kind::Group || node.parts.empty());
  const std::string text = describeClause(node.clause);
  require(!text.empty() && text.size() < 1000 && text.find('\n') == std::string::npos);
  for (const Value* value : {&node.clause.first, &node.clause.second}) {
    if (const auto day = dayNamed(value->string())) require(day->begin < day->end);
  }
  if (const auto days = lastDays(Date{489974400}, node.clause.timeValue, node.clause.timeUnit))
    require(days->begin < days->end);
  for (const RuleNode& part : node.parts) checkClauses(part);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto result = decodeAlbumRule(std::span(data, size), kLimits);
  if (const auto* error = std::get_if<RuleError>(&result)) {
    require(!error->reason.empty());
    return 0;
  }
  const RuleNode& rule = std::get<RuleNode>(result);
  require(rule.kind == RuleNode::Kind::Group);
  require(sizeOf(rule).depth <= kLimits.depth + 1 && sizeOf(rule).nodes <= kLimits.nodes);
  checkClauses(rule);
  require(describeRule(rule).size() < 1000 * (kLimits.nodes + 1));
  return 0;
}
