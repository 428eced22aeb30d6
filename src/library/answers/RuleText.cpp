#include "library/answers/RuleText.h"

#include <algorithm>

#include "library/answers/RuleQualifiers.h"
#include "value/Description.h"
#include "value/Format.h"

namespace moxtel {

namespace {

constexpr std::size_t kLongestValue = 100;  // bytes of a value or name from the library

std::string shortened(std::string_view text) {
  std::string out;
  for (const char c : text.substr(0, kLongestValue)) out += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  return text.size() > kLongestValue ? out + "…" : out;
}

std::string valueText(const Value& value) {
  if (value.isNil()) return "nothing";
  if (value.isString()) return "'" + shortened(value.string()) + "'";
  return shortened(describe(value));
}

std::string propertyText(std::string_view key) {
  if (key == "basicProperties.MainRating") return "the rating";
  if (key == "exifProperties.ImageDate") return "the date";
  if (key == "basicProperties.VersionName") return "the name";
  if (key == "basicProperties.FileName") return "the file's name";
  if (key == "properties.any") return "any text";
  if (key == "Latitude" || key == "Longitude")
    return std::string("the ") + (key[1] == 'a' ? "latitude" : "longitude");
  return "'" + shortened(key) + "'";
}

std::string flagText(const RuleClause& clause) {
  const bool isSet = clause.first.boolValue() ==
                     (clause.qualifier != qualifier::kNotEqual && clause.qualifier != qualifier::kIsNot);
  return isSet ? "it is flagged" : "it is not flagged";
}

std::string comparisonText(const RuleClause& clause) {
  const std::string first = valueText(clause.first);
  switch (clause.qualifier) {
    case qualifier::kHasValue:
      return "has a value";
    case qualifier::kEqual:
    case qualifier::kIs:
      return "is " + first;
    case qualifier::kNotEqual:
    case qualifier::kIsNot:
      return "is not " + first;
    case qualifier::kAtLeast:
      return "is at least " + first;
    case qualifier::kInLast:
      return format("is in the last %d %@", clause.timeValue, shortened(clause.timeUnit));
    case qualifier::kFromThrough:
      return "is from " + first + " through " + valueText(clause.second);
    case qualifier::kContains:
      return "contains " + first;
    default:
      return {};
  }
}

// What there is of a clause without words.
std::string rawText(const RuleClause& clause) {
  std::string text = format("a clause of type %d for '%@' with qualifier %d", clause.type,
                            shortened(clause.key), clause.qualifier);
  if (!clause.first.isNil()) text += " and " + valueText(clause.first);
  if (!clause.second.isNil()) text += " to " + valueText(clause.second);
  return text;
}

std::string_view matchText(RuleNode::Match match) {
  switch (match) {
    case RuleNode::Match::All:
      return "all of these are true:";
    case RuleNode::Match::Any:
      return "any of these is true:";
    case RuleNode::Match::Unknown:
      break;
  }
  return "these are joined in a way that is not understood:";
}

void appendNode(const RuleNode& node, const std::string& indentation, std::string& out) {
  if (node.kind != RuleNode::Kind::Group) {
    const bool clause = node.kind == RuleNode::Kind::Clause;
    out += indentation + (clause ? describeClause(node.clause) : "a part of an unknown kind") + "\n";
    return;
  }
  const bool isEmpty =
      std::none_of(node.parts.begin(), node.parts.end(), [](const auto& part) { return part.enabled; });
  if (isEmpty) {
    out += indentation + "every photo\n";
  } else {
    out += indentation + std::string(matchText(node.match)) + "\n";
  }
  for (const RuleNode& part : node.parts) {
    if (part.enabled) appendNode(part, indentation + "  ", out);
  }
  if (node.stackPicksOnly) out += indentation + "  it is the pick of its stack\n";
}

}  // namespace

std::string describeClause(const RuleClause& clause) {
  if (clause.type == kFaceType && clause.key == "name" && clause.qualifier == qualifier::kIsNamed)
    return "it shows a named person";
  const std::string comparison = comparisonText(clause);
  if (comparison.empty() || clause.key.empty()) return rawText(clause);
  const bool isFlag = clause.key == "isFlagged" && clause.first.isNumber();
  if (isFlag && clause.qualifier != qualifier::kAtLeast && clause.qualifier != qualifier::kHasValue)
    return flagText(clause);
  return propertyText(clause.key) + " " + comparison;
}

std::string describeRule(const RuleNode& rule) {
  std::string text;
  appendNode(rule, "", text);
  return text;
}

}  // namespace moxtel
