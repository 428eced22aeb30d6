// Facts and lists of sample libraries of every kind.
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>

#include "library/answers/AlbumMembership.h"
#include "library/answers/LibraryLists.h"
#include "library/answers/OpenLibrary.h"
#include "library/facts/PhotoFactsReader.h"
#include "makelibrary/Everything.h"
#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "makelibrary/PhotosPlan.h"
#include "makelibrary/SamplePlan.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeEventLoop.h"
#include "tests/fakes/RecordingMessages.h"

namespace moxtel {
namespace {

namespace make = makelibrary;

constexpr std::size_t kPhotos = 150;

class EveryKindTest : public testing::TestWithParam<make::LibraryKind> {
 protected:
  static make::MakeLibraryOptions options() {
    make::MakeLibraryOptions options;
    options.kind = GetParam();
    options.photos = kPhotos;
    options.images = make::Images::None;
    options.everything = GetParam() == make::LibraryKind::IPhoto;
    return options;
  }
  static const std::string& path() {
    static TemporaryFolder folder;
    static std::map<make::LibraryKind, std::string> libraries;
    std::string& made = libraries[GetParam()];
    if (made.empty()) {
      make::MakeLibraryOptions wanted = options();
      wanted.folder = made = folder.path().string() + "/" + std::to_string(static_cast<int>(GetParam()));
      make::makeLibrary(wanted);
    }
    return made;
  }

  FakeEventLoop loop;
  test::RecordingMessages messages;
  OpenLibrary library{loop, messages, path()};
};

TEST_P(EveryKindTest, readsAllFactsWithoutAFailure) {
  library.beginTask();
  std::size_t photos = 0, captions = 0, dates = 0, originals = 0, people = 0;
  EXPECT_TRUE(library.facts().read(1, library.facts().lastModelId(), [&](const PhotoFacts& photo) {
    EXPECT_FALSE(photo.uuid.empty());
    EXPECT_FALSE(photo.fileName.empty());
    ++photos;
    captions += photo.caption.empty() ? 0 : 1;
    dates += photo.wallClock ? 1 : 0;
    originals += photo.originalPaths.empty() ? 0 : 1;
    people += photo.faces.empty() ? 0 : 1;
    return true;
  }));
  EXPECT_FALSE(library.failed());
  EXPECT_GE(photos, kPhotos / 2);
  EXPECT_EQ(dates, photos);
  EXPECT_EQ(originals, photos);
  EXPECT_GT(captions, 0U);
  EXPECT_GT(people, 0U);
}

TEST_P(EveryKindTest, listsAgreeWithTheColumns) {
  library.beginTask();
  const auto columns = library.columns();
  ASSERT_GT(columns->size(), kPhotos / 2);
  std::size_t inEvents = 0, events = 0;
  for (const LibraryContainer& each : library.lists().containers()) {
    const auto members = library.membership().membersOf(each.list());
    ASSERT_TRUE(members) << each.uuid;
    const auto listed = std::count_if(members->begin(), members->end(), [&](std::int64_t id) {
      return columns->rating[columns->find(id).value()] >= 0;
    });
    EXPECT_EQ(static_cast<std::size_t>(listed), each.count) << each.uuid;
    if (each.count > 0) {
      EXPECT_TRUE(columns->find(each.keyPhoto)) << each.uuid;
    }
    if (each.kind != LibraryContainer::Kind::Event) continue;
    inEvents += each.count;
    ++events;
  }
  std::size_t shown = 0;
  for (std::size_t i = 0; i < columns->size(); ++i) {
    const bool isRejected = columns->rating[i] < 0;
    const bool isHidden = columns->has(i, PhotoColumns::kHidden);
    if (!isRejected && !isHidden && columns->event[i] != PhotoColumns::kNoEvent) ++shown;
  }
  EXPECT_GT(events, 0U);
  EXPECT_EQ(inEvents, shown);
  EXPECT_GT(library.lists().people().size(), 0U);
  EXPECT_FALSE(library.failed());
}

TEST_P(EveryKindTest, columnsAgreeWithTheFacts) {
  library.beginTask();
  const auto columns = library.columns();
  for (std::size_t i = 0; i < columns->size(); ++i) {
    const auto photo = library.facts().photo(columns->modelId[i]);
    ASSERT_TRUE(photo);
    EXPECT_EQ(photo->wallClock, columns->date[i]);
    EXPECT_EQ(photo->width, static_cast<std::int32_t>(columns->width[i]));
    EXPECT_EQ(photo->height, static_cast<std::int32_t>(columns->height[i]));
    EXPECT_EQ(photo->rotation, columns->rotation(i));
    EXPECT_EQ(photo->rating, columns->rating[i]);
    EXPECT_EQ(photo->colorLabel, columns->colorLabel[i]);
    EXPECT_EQ(photo->masterId, columns->masterId[i]);
    EXPECT_EQ(photo->isMovie, columns->has(i, PhotoColumns::kMovie));
    EXPECT_EQ(photo->isHidden, columns->has(i, PhotoColumns::kHidden));
    EXPECT_EQ(photo->isFlagged, columns->has(i, PhotoColumns::kFlagged));
    EXPECT_EQ(photo->isAdjusted, columns->has(i, PhotoColumns::kEdited));
    EXPECT_EQ(photo->isLive, columns->has(i, PhotoColumns::kLive));
    EXPECT_EQ(photo->isOnlyInAlbums, columns->has(i, PhotoColumns::kOnlyInAlbums));
    EXPECT_TRUE(!photo->isOnlyInAlbums || photo->eventUuid.empty());
    EXPECT_FALSE(photo->isInTrash);
  }
}

// They are no photos of the user.
TEST_P(EveryKindTest, listsPhotosOfASharedAlbumThereOnly) {
  library.beginTask();
  const auto columns = library.columns();
  std::multiset<std::string> expected, found;
  const bool hasSharedAlbums = GetParam() == make::LibraryKind::Photos5 ||
                               GetParam() == make::LibraryKind::Photos8 ||
                               GetParam() == make::LibraryKind::Photos11;
  const make::SamplePlan plan(options());
  for (std::size_t i = 0; i < kPhotos && hasSharedAlbums; ++i)
    if (make::photosState(plan.photo(i)).shared && !plan.photo(i).inTrash)
      expected.insert(make::longUuid(plan.photo(i).versionUuid));
  std::vector<PhotoList> others;
  for (const LibraryContainer& each : library.lists().containers()) {
    if (each.name != "Shared with the family") others.push_back(each.list());
    if (each.name != "Shared with the family") continue;
    EXPECT_EQ(each.count, expected.size());
    const auto members = library.membership().membersOf(each.list()).value_or(std::vector<std::int64_t>());
    for (const std::int64_t id : members) found.insert(library.facts().photo(id).value().uuid);
  }
  for (const LibraryPerson& each : library.lists().people())
    others.push_back({PhotoList::Kind::Person, each.modelId});
  for (const Keyword& each : library.lists().keywords().all())
    others.push_back({PhotoList::Kind::Keyword, each.modelId});
  EXPECT_EQ(found, expected);
  EXPECT_EQ(hasSharedAlbums, !found.empty());
  for (const PhotoList& list : others)
    for (const std::int64_t id : library.membership().membersOf(list).value_or(std::vector<std::int64_t>()))
      EXPECT_FALSE(columns->has(columns->find(id).value(), PhotoColumns::kOnlyInAlbums)) << id;
}

INSTANTIATE_TEST_SUITE_P(Kinds, EveryKindTest,
                         testing::Values(make::LibraryKind::IPhoto, make::LibraryKind::Photos4,
                                         make::LibraryKind::Photos5, make::LibraryKind::Photos8,
                                         make::LibraryKind::Photos11, make::LibraryKind::AlbumDataOnly));

// What --everything plans is what is read.
class EverythingTest : public EveryKindTest {};

TEST_P(EverythingTest, isReadAsItWasPlanned) {
  const make::SamplePlan plan(options());
  std::size_t titles = 0, keywords = 0, labels = 0, rejected = 0, cropped = 0, pairs = 0, places = 0,
              faces = 0;
  for (std::size_t i = 0; i < kPhotos; ++i) {
    const make::Photo planned = plan.photo(i);
    const auto photo = library.facts().photo(planned.versionId);
    ASSERT_TRUE(photo);
    EXPECT_EQ(photo->title, planned.title);
    EXPECT_EQ(photo->timeZoneName, planned.zone);
    EXPECT_EQ(photo->rating, planned.rating);
    EXPECT_EQ(photo->colorLabel, planned.colorLabel);
    EXPECT_EQ(photo->isHidden, planned.hidden);
    EXPECT_EQ(photo->isInTrash, planned.inTrash);
    EXPECT_EQ(photo->keywords.size(), planned.keywords.size());
    EXPECT_EQ(photo->isCropped, planned.cropped);
    EXPECT_EQ(photo->alternate.has_value(), !planned.pairUuid.empty());
    EXPECT_EQ(photo->place.country.empty(), !planned.place);
    EXPECT_EQ(photo->faces.size(), planned.faces.size());
    EXPECT_EQ(photo->creator.empty(), i % 2 != 0);
    titles += planned.title.empty() ? 0 : 1;
    keywords += planned.keywords.size();
    labels += planned.colorLabel > 0 ? 1 : 0;
    rejected += planned.rating < 0 ? 1 : 0;
    cropped += planned.cropped ? 1 : 0;
    pairs += planned.pairUuid.empty() ? 0 : 1;
    places += planned.place ? 1 : 0;
    faces += planned.faces.size();
  }
  for (const std::size_t count : {titles, keywords, labels, rejected, cropped, pairs, places, faces})
    EXPECT_GT(count, 0U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EverythingTest, testing::Values(make::LibraryKind::IPhoto));

}  // namespace
}  // namespace moxtel
