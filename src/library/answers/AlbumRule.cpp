#include "library/answers/AlbumRule.h"

#include <utility>

#include "plist/KeyedArchive.h"

namespace moxtel {

namespace {

constexpr std::int32_t kMatchAny = 0;
constexpr std::int32_t kMatchAll = 1;

// iPhoto's names of the two classes begin with RK, those of Photos 2 to 4 with RD.
bool isClass(const Value& query, std::string_view name) {
  const std::string_view found = query["queryClassName"].string();
  return found.size() == name.size() + 2 && found.ends_with(name) &&
         (found.starts_with("RK") || found.starts_with("RD"));
}
constexpr std::string_view kClause = "SingleItemQuery";
constexpr std::string_view kGroup = "MultiItemQuery";

RuleNode::Match matchOf(const Value& group) {
  const Value& type = group["queryMatchType"];
  if (!type.isNumber()) return RuleNode::Match::Unknown;
  const std::int32_t number = type.intValue();
  return number == kMatchAll   ? RuleNode::Match::All
         : number == kMatchAny ? RuleNode::Match::Any
                               : RuleNode::Match::Unknown;
}

RuleClause clauseOf(const Value& query) {
  RuleClause clause;
  clause.type = query["queryType"].intValue();
  clause.key = query["queryPropertyKey"].string();
  clause.qualifier = query["queryQualifier"].intValue();
  clause.first = query["queryFirstValue"];
  clause.second = query["querySecondValue"];
  clause.timeValue = query["queryTimeValue"].intValue();
  clause.timeUnit = query["queryTimeUnit"].string();
  return clause;
}

class Decoder final {
 public:
  explicit Decoder(const RuleLimits& limits) : limits_(limits) {}

  // Nothing once a limit is exceeded; failure() then says which.
  RuleNode node(const Value& query, std::size_t depth);
  const char* failure() const { return failure_; }

 private:
  void readGroup(const Value& query, std::size_t depth, RuleNode& group);

  const RuleLimits& limits_;
  std::size_t nodes_ = 0;
  const char* failure_ = nullptr;
};

RuleNode Decoder::node(const Value& query, std::size_t depth) {
  RuleNode node;
  if (depth >= limits_.depth) failure_ = "its groups are nested too deeply";
  if (++nodes_ > limits_.nodes) failure_ = "it has too many clauses";
  if (failure_) return node;
  const Value& enabled = query["queryIsEnabled"];
  node.enabled = enabled.isNil() || enabled.boolValue();
  if (isClass(query, kClause)) {
    node.kind = RuleNode::Kind::Clause;
    node.clause = clauseOf(query);
  } else if (isClass(query, kGroup)) {
    node.kind = RuleNode::Kind::Group;
    readGroup(query, depth, node);
  }
  return node;
}

void Decoder::readGroup(const Value& query, std::size_t depth, RuleNode& group) {
  group.match = matchOf(query);
  group.stackPicksOnly = query["queryStackPicksOnly"].boolValue();
  for (const Value& part : query["querySubqueries"].array()) {
    group.parts.push_back(node(part, depth + 1));
    if (failure_) return;
  }
}

}  // namespace

std::variant<RuleNode, RuleError> decodeAlbumRule(std::span<const std::uint8_t> bytes,
                                                  const RuleLimits& limits) {
  if (bytes.size() > limits.bytes) return RuleError{"it is too long"};
  // A clause has about ten values.
  const ArchiveLimits archive{.depth = 3 * limits.depth, .values = 20 * limits.nodes};
  const auto decoded = unarchivedObject(bytes, archive);
  if (const auto* error = std::get_if<DecodingError>(&decoded)) return RuleError{error->reason};
  const Value& root = std::get<Value>(decoded);
  if (!isClass(root, kGroup)) return RuleError{"it is no group of clauses"};
  Decoder decoder(limits);
  RuleNode rule = decoder.node(root, 0);
  if (decoder.failure()) return RuleError{decoder.failure()};
  return rule;
}

}  // namespace moxtel
