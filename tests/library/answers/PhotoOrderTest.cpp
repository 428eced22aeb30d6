#include "library/answers/PhotoOrder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;

// A photo with one or two of the fields that it may be sorted by.
template <class... Fields>
SortedPhoto photo(std::int64_t modelId, Fields... fields) {
  SortedPhoto photo;
  photo.modelId = modelId;
  (fields(photo), ...);
  return photo;
}
auto date(double date) {
  return [date](SortedPhoto& photo) { photo.date = date; };
}
auto projectDate(double date) {
  return [date](SortedPhoto& photo) { photo.projectDate = date; };
}
auto rating(std::int32_t rating) {
  return [rating](SortedPhoto& photo) { photo.rating = rating; };
}
auto place(double place) {
  return [place](SortedPhoto& photo) { photo.place = place; };
}
auto name(const char* name) {
  return [name](SortedPhoto& photo) { photo.name = name; };
}

std::vector<std::int64_t> sorted(const PhotoOrder& order, std::vector<SortedPhoto> photos) {
  order.sort(photos);
  std::vector<std::int64_t> ids;
  for (const SortedPhoto& photo : photos) ids.push_back(photo.modelId);
  return ids;
}

TEST(PhotoOrder, sortsByTheKeysOneAfterAnother) {
  const std::vector<SortedPhoto> photos{photo(1, date(5), projectDate(20)),
                                        photo(2, date(9), projectDate(10)),
                                        photo(3, date(7), projectDate(10))};
  EXPECT_THAT(sorted({"basicProperties.projectDate&exifProperties.ImageDate", true}, photos),
              ElementsAre(3, 2, 1));
  EXPECT_THAT(sorted({"exifProperties.ImageDate", true}, photos), ElementsAre(1, 3, 2));
  EXPECT_THAT(sorted({"exifProperties.ImageDate", false}, photos), ElementsAre(2, 3, 1));
}

TEST(PhotoOrder, sortsByNameRatingAndTheUsersOwnOrder) {
  const std::vector<SortedPhoto> photos{photo(1, rating(5), place(2), name("b")),
                                        photo(2, rating(1), place(1), name("c")),
                                        photo(3, rating(3), place(3), name("a"))};
  EXPECT_THAT(sorted({"basicProperties.VersionName", true}, photos), ElementsAre(3, 1, 2));
  EXPECT_THAT(sorted({"basicProperties.MainRating", false}, photos), ElementsAre(1, 3, 2));
  EXPECT_THAT(sorted({"custom.default", true}, photos), ElementsAre(2, 1, 3));
}

TEST(PhotoOrder, sortsEqualPhotosByModelId) {
  const std::vector<SortedPhoto> photos{photo(3, date(5)), photo(1, date(5)), photo(2)};
  EXPECT_THAT(sorted({"exifProperties.ImageDate", true}, photos), ElementsAre(2, 1, 3));
  EXPECT_THAT(sorted({"exifProperties.ImageDate", false}, photos), ElementsAre(1, 3, 2));
  EXPECT_THAT(sorted({}, photos), ElementsAre(1, 2, 3));
}

TEST(PhotoOrder, passesOverKeysThatItDoesNotKnow) {
  const std::vector<SortedPhoto> photos{photo(1, rating(5)), photo(2, rating(1))};
  EXPECT_THAT(sorted({"&exifProperties.Flash&&basicProperties.MainRating&", true}, photos),
              ElementsAre(2, 1));
}

TEST(PhotoOrder, knowsWhenAProjectIsSortedByDate) {
  EXPECT_TRUE(PhotoOrder("basicProperties.projectDate&exifProperties.ImageDate", true).isByDateInProject());
  EXPECT_TRUE(PhotoOrder("", false).isByDateInProject());
  EXPECT_FALSE(PhotoOrder("exifProperties.ImageDate", false).isByDateInProject());
  EXPECT_FALSE(PhotoOrder("basicProperties.MainRating&exifProperties.ImageDate", true).isByDateInProject());
}

}  // namespace
}  // namespace moxtel
