#include "web/lists/ListedPhotos.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <numeric>

namespace moxtel::test {

namespace {

using Json = nlohmann::json;
using testing::ElementsAre;

constexpr std::int64_t kDay = 86'400;

struct Photo {
  std::int64_t id = 0;
  std::int64_t date = PhotoColumns::kNoDate;
  std::uint16_t flags = 0;
  int rating = 0;
  int label = -1;
};

std::shared_ptr<const DateOrder> orderOf(const std::vector<Photo>& photos) {
  auto columns = std::make_shared<PhotoColumns>();
  for (const Photo& photo : photos) {
    columns->modelId.push_back(photo.id);
    columns->masterId.push_back(photo.id);
    columns->date.push_back(photo.date);
    columns->width.push_back(400);
    columns->height.push_back(300);
    columns->event.push_back(PhotoColumns::kNoEvent);
    columns->flags.push_back(photo.flags);
    columns->rating.push_back(static_cast<std::int8_t>(photo.rating));
    columns->colorLabel.push_back(static_cast<std::int8_t>(photo.label));
  }
  return std::make_shared<DateOrder>(columns);
}

ListedPhotos listOf(const std::shared_ptr<const DateOrder>& order, const ListFilters& filters = {}) {
  return ListedPhotos(order, {order->all().begin(), order->all().end()}, true, filters, {"all", "", "9f"});
}

std::vector<std::int64_t> idsOf(const ListedPhotos& list) {
  std::vector<std::int64_t> ids;
  for (std::size_t i = 0; i < list.size(); ++i) ids.push_back(list.modelIdAt(i));
  return ids;
}

// The numbers of a column of differences.
std::vector<std::int64_t> sums(const Json& column) {
  std::vector<std::int64_t> numbers(column.begin(), column.end());
  std::partial_sum(numbers.begin(), numbers.end(), numbers.begin());
  return numbers;
}

TEST(DateOrderTest, sortsByDateAndThenById) {
  const auto order = orderOf({{1, 5}, {2, 3}, {3}, {4, 5}, {5, -7}});
  EXPECT_THAT(order->all(), ElementsAre(4, 1, 0, 3, 2));
}

TEST(DateOrderTest, leavesHiddenPhotosOut) {
  const auto order = orderOf({{1, 5, PhotoColumns::kHidden}, {2, 3}});
  EXPECT_THAT(order->all(), ElementsAre(1));
  const std::int64_t ids[] = {2, 1, 3};
  EXPECT_THAT(indexesOf(order->photos(), ids), ElementsAre(1));
  const std::uint32_t both[] = {0, 1};
  EXPECT_THAT(order->sorted(both), ElementsAre(1));
}

TEST(DateOrderTest, keepsWhatIsInAlbumsOnlyForThem) {
  const auto order = orderOf({{1, 5, PhotoColumns::kOnlyInAlbums}, {2, 3}});
  EXPECT_THAT(order->all(), ElementsAre(1));
  const std::int64_t ids[] = {2, 1, 3};
  EXPECT_THAT(indexesOf(order->photos(), ids), ElementsAre(1, 0));
  const std::uint32_t both[] = {0, 1};
  EXPECT_THAT(order->sorted(both), ElementsAre(1));
}

TEST(DateOrderTest, sortsFewAsMany) {
  std::vector<Photo> photos;
  for (int i = 0; i < 100; ++i) photos.push_back({i + 1, (i * 37) % 100});
  const auto order = orderOf(photos);
  const std::uint32_t few[] = {5, 80, 5, 3};
  EXPECT_THAT(order->sorted(few), ElementsAre(3, 80, 5));
  std::vector<std::uint32_t> many;
  for (std::uint32_t i = 0; i < 50; ++i) many.push_back(i);
  EXPECT_TRUE(order->isSorted(order->sorted(many)));
  EXPECT_EQ(order->sorted(many).size(), 50U);
  EXPECT_FALSE(order->isSorted(many));
}

TEST(DateOrderTest, takesNoDateOutsideTheCalendar) {
  const auto order =
      orderOf({{1, std::numeric_limits<std::int64_t>::max()}, {2, -(std::int64_t{1} << 60)}, {3, 0}});
  EXPECT_THAT(order->all(), ElementsAre(2, 0, 1));
}

TEST(ListedPhotosTest, hasASectionForEachDay) {
  const auto order = orderOf({{1, 10 * kDay}, {2, 10 * kDay + 86'399}, {3, 12 * kDay}, {4, -1}, {5}});
  const Json sections = Json::parse(listOf(order).sectionsJson());
  EXPECT_EQ(sections, Json::parse(R"({"list":"all","title":"","count":5,"page":1000,"version":"9f",
                                      "day":[-1,11,2,null],"n":[1,2,1,1]})"));
}

TEST(ListedPhotosTest, reversesAllButThoseWithoutADate) {
  const auto order = orderOf({{1, 0}, {2, kDay}, {3}});
  const ListedPhotos list = listOf(order, {.newestFirst = true});
  EXPECT_THAT(idsOf(list), ElementsAre(2, 1, 3));
  EXPECT_EQ(Json::parse(list.sectionsJson())["day"], Json::parse("[1,-1,null]"));
}

TEST(ListedPhotosTest, keepsTheUsersOrderInOneSection) {
  const auto order = orderOf({{1, 0}, {2, kDay}, {3}});
  const ListedPhotos list(order, {2, 1, 0}, false, {.newestFirst = true}, {"album:1", "A \"B\" \xff", "9f"});
  EXPECT_THAT(idsOf(list), ElementsAre(3, 2, 1));
  const Json sections = Json::parse(list.sectionsJson());
  EXPECT_EQ(sections["day"], Json::parse("[null]"));
  EXPECT_EQ(sections["n"], Json::parse("[3]"));
  EXPECT_EQ(sections["title"], "A \"B\" \xEF\xBF\xBD");
}

TEST(ListedPhotosTest, isEmptyWithoutSectionsAndPages) {
  const ListedPhotos list = listOf(orderOf({}));
  EXPECT_EQ(Json::parse(list.sectionsJson())["day"], Json::array());
  EXPECT_FALSE(list.pageJson(0));
}

TEST(ListedPhotosTest, hasPagesOfAThousand) {
  std::vector<Photo> photos;
  for (int i = 0; i < 2'500; ++i) photos.push_back({3 * i + 1, 1'000'000 - 7 * i});
  const auto order = orderOf(photos);
  const ListedPhotos list = listOf(order);
  std::vector<std::int64_t> ids, dates;
  for (std::size_t page = 0; page < 3; ++page) {
    const Json json = Json::parse(list.pageJson(page).value());
    for (const std::int64_t id : sums(json["id"])) ids.push_back(id);
    for (const std::int64_t date : sums(json["date"])) dates.push_back(date);
    EXPECT_EQ(json["width"].size(), page < 2 ? 1'000U : 500U);
  }
  EXPECT_EQ(ids, idsOf(list));
  EXPECT_TRUE(std::is_sorted(dates.begin(), dates.end()));
  EXPECT_EQ(dates.back(), 1'000'000);
  EXPECT_FALSE(list.pageJson(3));
  EXPECT_FALSE(list.pageJson(std::numeric_limits<std::size_t>::max()));
}

TEST(ListedPhotosTest, writesWhatThePageNeeds) {
  const auto order =
      orderOf({{7, 5, PhotoColumns::kMovie | PhotoColumns::kEdited | 3 << PhotoColumns::kRotationShift, 3},
               {9, 6, PhotoColumns::kReferenced | PhotoColumns::kLive, -1},
               {11}});
  const ListedPhotos list = listOf(order, {.rejected = true});
  EXPECT_EQ(Json::parse(list.pageJson(0).value()),
            Json::parse(R"({"id":[7,2,2],"date":[5,1,null],"width":[400,400,400],"height":[300,300,300],
                            "flags":[777,112,0]})"));
}

TEST(ListedPhotosTest, findsThePlaceOfAPhoto) {
  const auto order = orderOf({{1, 9}, {2, 8}, {3, 7, 0, -1}, {4, 6, PhotoColumns::kHidden}});
  const ListedPhotos list = listOf(order);
  EXPECT_EQ(list.placeOf(1), 1U);
  EXPECT_EQ(list.placeOf(2), 0U);
  EXPECT_EQ(list.placeOf(3), std::nullopt);
  EXPECT_EQ(list.placeOf(4), std::nullopt);
  EXPECT_EQ(list.placeOf(5), std::nullopt);
}

TEST(ListedPhotosTest, filters) {
  const auto order = orderOf({{1, 1, PhotoColumns::kFlagged, 5, 2},
                              {2, 2, PhotoColumns::kMovie, 3},
                              {3, 3, 0, -1},
                              {4, 4, 0, 0, 0},
                              {5, 5, PhotoColumns::kMovie | PhotoColumns::kFlagged, -1}});
  const auto ids = [&](const ListFilters& filters) { return idsOf(listOf(order, filters)); };
  EXPECT_THAT(ids({}), ElementsAre(1, 2, 4));
  EXPECT_THAT(ids({.rejected = true}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_THAT(ids({.flagged = true}), ElementsAre(1));
  EXPECT_THAT(ids({.flagged = true, .movies = true, .rejected = true}), ElementsAre(5));
  EXPECT_THAT(ids({.movies = true}), ElementsAre(2));
  EXPECT_THAT(ids({.atLeast = 3}), ElementsAre(1, 2));
  EXPECT_THAT(ids({.atLeast = 0}), ElementsAre(1, 2, 4));
  EXPECT_THAT(ids({.rejected = true, .atLeast = 0}), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_THAT(ids({.stars = 3}), ElementsAre(2));
  EXPECT_THAT(ids({.stars = 0}), ElementsAre(4));
  EXPECT_THAT(ids({.label = 0}), ElementsAre(4));
  EXPECT_THAT(ids({.label = 2}), ElementsAre(1));
}

}  // namespace

}  // namespace moxtel::test
