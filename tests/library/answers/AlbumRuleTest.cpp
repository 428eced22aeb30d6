#include "library/answers/AlbumRule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "library/answers/RuleText.h"
#include "tests/library/answers/MadeRule.h"

namespace moxtel::test {
namespace {

using testing::HasSubstr;

RuleNode decoded(const Dictionary& rule) {
  const auto result = decodeAlbumRule(stored(rule));
  if (const auto* error = std::get_if<RuleError>(&result)) {
    ADD_FAILURE() << error->reason;
    return {};
  }
  return std::get<RuleNode>(result);
}
std::string errorOf(std::span<const std::uint8_t> bytes, const RuleLimits& limits = {}) {
  const auto result = decodeAlbumRule(bytes, limits);
  const auto* error = std::get_if<RuleError>(&result);
  return error ? error->reason : "";
}

TEST(AlbumRule, readsTheTreeOfClauses) {
  const RuleNode rule = decoded(
      all({clause(5, "basicProperties.MainRating", 8, 0, false), any({flagged(), inTheLast(30, "days")}),
           between("2/24/2023 America/Los_Angeles", "2/24/2024 America/Los_Angeles")}));
  ASSERT_EQ(rule.kind, RuleNode::Kind::Group);
  EXPECT_EQ(rule.match, RuleNode::Match::All);
  ASSERT_EQ(rule.parts.size(), 3u);
  EXPECT_FALSE(rule.parts[0].enabled);
  EXPECT_EQ(rule.parts[1].match, RuleNode::Match::Any);
  ASSERT_EQ(rule.parts[1].parts.size(), 2u);
  const RuleClause& last = rule.parts[1].parts[1].clause;
  EXPECT_EQ(last.type, 6);
  EXPECT_EQ(last.key, "exifProperties.ImageDate");
  EXPECT_EQ(last.qualifier, 18);
  EXPECT_EQ(last.timeValue, 30);
  EXPECT_EQ(last.timeUnit, "days");
  EXPECT_EQ(rule.parts[2].clause.first, Value("2/24/2023 America/Los_Angeles"));
  EXPECT_EQ(rule.parts[2].clause.second, Value("2/24/2024 America/Los_Angeles"));
}

TEST(AlbumRule, readsTheClassesOfPhotos) {
  const RuleNode rule = decoded(with(all({with(flagged(), "queryClassName", "RDSingleItemQuery")}),
                                     "queryClassName", "RDMultiItemQuery"));
  ASSERT_EQ(rule.parts.size(), 1u);
  EXPECT_EQ(rule.parts[0].kind, RuleNode::Kind::Clause);
  EXPECT_EQ(rule.parts[0].clause.key, "isFlagged");
}

TEST(AlbumRule, keepsWhatItDoesNotKnow) {
  const RuleNode rule = decoded(with(group(7, {with(flagged(), "queryClassName", "RKOtherQuery"), "text"}),
                                     "queryStackPicksOnly", true));
  EXPECT_EQ(rule.match, RuleNode::Match::Unknown);
  EXPECT_TRUE(rule.stackPicksOnly);
  ASSERT_EQ(rule.parts.size(), 2u);
  EXPECT_EQ(rule.parts[0].kind, RuleNode::Kind::Unknown);
  EXPECT_EQ(rule.parts[1].kind, RuleNode::Kind::Unknown);
}

TEST(AlbumRule, refusesWhatIsNoRule) {
  EXPECT_NE(errorOf({}), "");
  EXPECT_NE(errorOf(Bytes{'b', 'p', 'l', 'i', 's', 't', '0', '0'}), "");
  EXPECT_EQ(errorOf(stored(flagged())), "it is no group of clauses");
  EXPECT_EQ(errorOf(archivedData(Array{flagged()})), "it is no group of clauses");
}

TEST(AlbumRule, hasLimits) {
  Dictionary deep = flagged();
  for (int i = 0; i < 10; ++i) deep = all({deep});
  EXPECT_EQ(errorOf(stored(deep)), "");
  EXPECT_EQ(errorOf(stored(deep), {.depth = 10}), "its groups are nested too deeply");
  const Dictionary wide = all({flagged(), flagged(), flagged()});
  EXPECT_EQ(errorOf(stored(wide), {.nodes = 4}), "");
  EXPECT_EQ(errorOf(stored(wide), {.nodes = 3}), "it has too many clauses");
  const Bytes bytes = stored(wide);
  EXPECT_EQ(errorOf(bytes, {.bytes = bytes.size() - 1}), "it is too long");
}

TEST(RuleText, saysARuleInWords) {
  EXPECT_EQ(
      describeRule(decoded(all({clause(14, "properties.any", 23, "off", false), flagged(), ratedAtLeast(4),
                                any({clause(9, "Longitude", 1), clause(40, "name", 61)}),
                                between("1/2/2010 UTC", "3/4/2011 UTC"), inTheLast(30, "days"),
                                clause(14, "iptcProperties.Headline", 23, "Sea")}))),
      "all of these are true:\n"
      "  it is flagged\n"
      "  the rating is at least 4\n"
      "  any of these is true:\n"
      "    the longitude has a value\n"
      "    it shows a named person\n"
      "  the date is from '1/2/2010 UTC' through '3/4/2011 UTC'\n"
      "  the date is in the last 30 days\n"
      "  'iptcProperties.Headline' contains 'Sea'\n");
  EXPECT_EQ(describeRule(decoded(all({clause(22, "isFlagged", 5, 0), clause(22, "isFlagged", 6, 0)}))),
            "all of these are true:\n  it is not flagged\n  it is flagged\n");
  EXPECT_EQ(describeRule(decoded(all({}))), "every photo\n");
}

TEST(RuleText, showsTheNumbersOfAClauseWithoutWords) {
  EXPECT_EQ(describeClause({.type = 35,
                            .key = "album",
                            .qualifier = 99,
                            .first = "x\ny",
                            .second = 7,
                            .timeValue = 0,
                            .timeUnit = {}}),
            "a clause of type 35 for 'album' with qualifier 99 and 'x y' to 7");
}

TEST(RuleText, shortensLongValues) {
  const std::string text = describeClause({.type = 14,
                                           .key = "properties.any",
                                           .qualifier = 23,
                                           .first = std::string(10000, 'x'),
                                           .second = {},
                                           .timeValue = 0,
                                           .timeUnit = {}});
  EXPECT_LT(text.size(), 200u);
  EXPECT_THAT(text, HasSubstr("xxx…"));
}

}  // namespace
}  // namespace moxtel::test
