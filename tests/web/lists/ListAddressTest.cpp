#include "web/lists/ListAddress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel::test {

namespace {

using Kind = ListAddress::Kind;

HttpRequest requestWith(const std::string& name, const std::string& value) {
  HttpRequest request;
  request.parameters.emplace_back(name, value);
  return request;
}

TEST(ListAddressTest, readsEveryKind) {
  const std::pair<const char*, Kind> kinds[] = {
      {"all", Kind::All},           {"album:12", Kind::Album},      {"folder:3", Kind::Folder},
      {"event:7", Kind::Event},     {"person:1", Kind::Person},     {"keyword:5", Kind::Keyword},
      {"flagged", Kind::Flagged},   {"movies", Kind::Movies},       {"onthisday:02-29", Kind::OnThisDay},
      {"search:a b", Kind::Search}, {"photos:5,7,6", Kind::Photos},
  };
  for (const auto& [text, kind] : kinds) {
    const auto address = parseListAddress(text);
    ASSERT_TRUE(address) << text;
    EXPECT_EQ(address->kind, kind) << text;
    EXPECT_EQ(address->text(), text);
  }
  EXPECT_EQ(parseListAddress("album:12")->id, 12);
  EXPECT_EQ(parseListAddress("onthisday:02-29")->day, 29);
  EXPECT_EQ(parseListAddress("search:a:b/c")->words, "a:b/c");
  EXPECT_THAT(parseListAddress("photos:5,7,5,6")->photos, testing::ElementsAre(5, 7, 6));
}

TEST(ListAddressTest, readsNoOtherText) {
  for (const char* text : {"",
                           "All",
                           "all ",
                           "album",
                           "album:",
                           "album:-1",
                           "album:01",
                           "album: 1",
                           "album:1x",
                           "album:1:2",
                           "album:99999999999999999999",
                           "album:9007199254740992",
                           "flagged:1",
                           "onthisday:",
                           "onthisday:2-29",
                           "onthisday:02-30",
                           "onthisday:13-01",
                           "onthisday:00-01",
                           "onthisday:01-00",
                           "onthisday:01/01",
                           "photos:",
                           "photos:1,",
                           "photos:,1",
                           "photos:1,,2",
                           "photos:a",
                           "search",
                           "search:\xff",
                           ":1",
                           "x:1",
                           "../album:1"})
    EXPECT_FALSE(parseListAddress(text)) << text;
}

TEST(ListAddressTest, bounds) {
  EXPECT_TRUE(parseListAddress("search:" + std::string(ListAddress::kMostWords, 'a')));
  EXPECT_FALSE(parseListAddress("search:" + std::string(ListAddress::kMostWords + 1, 'a')));
  std::string photos = "photos:1";
  for (std::size_t i = 2; i <= ListAddress::kMostPhotos; ++i) photos += "," + std::to_string(i);
  EXPECT_TRUE(parseListAddress(photos));
  EXPECT_FALSE(parseListAddress(photos + ",1000000"));
}

TEST(ListAddressTest, readsFilters) {
  HttpRequest request;
  request.parameters = {{"order", "new"}, {"flagged", "1"}, {"rating", "3"},   {"stars", "4"},
                        {"label", "2"},   {"movies", "1"},  {"rejected", "1"}, {"v", "9f"}};
  const auto filters = parseListFilters(request);
  ASSERT_TRUE(filters);
  EXPECT_TRUE(filters->newestFirst && filters->flagged && filters->movies && filters->rejected);
  EXPECT_EQ(filters->atLeast, 3);
  EXPECT_EQ(filters->stars, 4);
  EXPECT_EQ(filters->label, 2);
  EXPECT_EQ(parseListFilters(HttpRequest()), ListFilters());
  EXPECT_EQ(parseListFilters(requestWith("order", "old")), ListFilters());
  EXPECT_EQ(parseListFilters(requestWith("flagged", "0")), ListFilters());
}

TEST(ListAddressTest, refusesFiltersWithOtherValues) {
  const std::pair<const char*, const char*> wrong[] = {
      {"order", "up"},   {"flagged", "2"}, {"flagged", "yes"}, {"rating", "6"},  {"rating", "-1"},
      {"rating", "1.5"}, {"stars", "x"},   {"label", "16"},    {"movies", "01"}, {"rejected", " 1"}};
  for (const auto& [name, value] : wrong)
    EXPECT_FALSE(parseListFilters(requestWith(name, value))) << name << "=" << value;
}

TEST(ListAddressTest, distinguishesFiltersByTheirText) {
  const char* all[][2] = {{"x", ""},       {"order", "new"},  {"flagged", "1"},
                          {"movies", "1"}, {"rejected", "1"}, {"rating", "1"},
                          {"stars", "1"},  {"label", "1"},    {"rating", "2"}};
  std::vector<std::string> texts;
  for (const auto& each : all) texts.push_back(parseListFilters(requestWith(each[0], each[1]))->text());
  for (const std::string& text : texts) EXPECT_EQ(std::count(texts.begin(), texts.end(), text), 1) << text;
}

}  // namespace

}  // namespace moxtel::test
