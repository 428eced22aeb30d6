#include "web/lists/SearchQuery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {

void PrintTo(const IndexTerm& term, std::ostream* out) {
  *out << static_cast<int>(term.field) << ":" << term.word << (term.isPrefix ? "*" : "");
}

}  // namespace moxtel

namespace moxtel::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t k2009 = 14'245 * kDay;  // 2009-01-01

IndexTerm word(const char* text) { return {IndexField::Any, text, false}; }
IndexTerm beginning(const char* text) { return {IndexField::Any, text, true}; }

TEST(SearchQueryTest, takesTheLastWordAsABeginning) {
  EXPECT_THAT(parseSearch("Anna beach 2009").terms,
              ElementsAre(word("anna"), word("beach"), beginning("2009")));
  EXPECT_THAT(parseSearch("anna be").terms, ElementsAre(word("anna"), beginning("be")));
  EXPECT_THAT(parseSearch("anna beach ").terms, ElementsAre(word("anna"), word("beach")));
  EXPECT_THAT(parseSearch("anna \"beach\"").terms, ElementsAre(word("anna"), word("beach")));
}

TEST(SearchQueryTest, separatesAndFoldsWords) {
  EXPECT_THAT(searchWords("IMG_1234.JPG"), ElementsAre("img", "1234", "jpg"));
  EXPECT_THAT(searchWords("Été à Zürich–Straße"), ElementsAre("ete", "a", "zurich", "strasse"));
  EXPECT_THAT(searchWords("東京 「駅」"), ElementsAre("東京", "駅"));
  EXPECT_THAT(searchWords(" -*\"(): ^ "), IsEmpty());
  EXPECT_EQ(searchWords(std::string(1'000, 'a')).at(0).size(), 64U);
}

TEST(SearchQueryTest, readsOperators) {
  EXPECT_THAT(parseSearch("keyword:Strand person:anna album:\"North Sea\" x").terms,
              ElementsAre(IndexTerm{IndexField::Keyword, "strand"}, IndexTerm{IndexField::Person, "anna"},
                          IndexTerm{IndexField::Album, "north"}, IndexTerm{IndexField::Album, "sea"},
                          beginning("x")));
  EXPECT_THAT(parseSearch("Person: an").terms, ElementsAre(IndexTerm{IndexField::Person, "an", true}));
  EXPECT_THAT(parseSearch("person:").terms, IsEmpty());
  EXPECT_THAT(parseSearch("other:anna ").terms, ElementsAre(word("other"), word("anna")));
  EXPECT_EQ(parseSearch("rating:4").atLeast, 4);
  EXPECT_THAT(parseSearch("rating:4").terms, IsEmpty());
  EXPECT_THAT(parseSearch("rating:9 ").terms, ElementsAre(word("9")));
}

TEST(SearchQueryTest, readsDates) {
  EXPECT_EQ(parseSearch("before:2009").until, k2009);
  EXPECT_EQ(parseSearch("after:2008").from, k2009);
  EXPECT_EQ(parseSearch("after:2008-12").from, k2009);
  EXPECT_EQ(parseSearch("after:2008-12-31").from, k2009);
  EXPECT_EQ(parseSearch("after:31.12.2008").from, k2009);
  EXPECT_EQ(parseSearch("before:2009-02").until, k2009 + 31 * kDay);
  EXPECT_EQ(parseSearch("before:2010 before:2009 before:2011").until, k2009);
  const SearchQuery day = parseSearch("2009-01-01");
  EXPECT_EQ(day.from, k2009);
  EXPECT_EQ(day.until, k2009 + kDay);
  EXPECT_THAT(day.terms, IsEmpty());
  EXPECT_EQ(parseSearch("1.1.2009").until, k2009 + kDay);
  EXPECT_FALSE(parseSearch("2009").from);
  EXPECT_THAT(parseSearch("2009-13 ").terms, ElementsAre(word("2009"), word("13")));
  EXPECT_THAT(parseSearch("before:30.2.2009 ").terms, ElementsAre(word("30"), word("2"), word("2009")));
}

TEST(SearchQueryTest, makesOfEveryTextASearchWithoutSyntax) {
  for (const char* text : {"\"", "a\" OR \"b", "NEAR(a b)", "a AND NOT b", "{x} : y", "-a +b ^c *", "a*b",
                           "person:\"", "::", "album::x", "rating:", "\xff\xfe", "a\0b", "')--"}) {
    for (const IndexTerm& term : parseSearch(text).terms)
      EXPECT_TRUE(matchExpression({&term, 1})) << text << ": " << term.word;
  }
  EXPECT_TRUE(parseSearch("").isEmpty());
  EXPECT_TRUE(parseSearch(" \"\" -").isEmpty());
}

TEST(SearchQueryTest, boundsTheNumberOfWords) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "w" + std::to_string(i) + "-x ";
  EXPECT_EQ(parseSearch(text).terms.size(), SearchQuery::kMostTerms);
}

}  // namespace

}  // namespace moxtel::test
