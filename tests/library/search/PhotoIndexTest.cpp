#include "library/search/PhotoIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ids = std::vector<std::int64_t>;

class PhotoIndexTest : public testing::Test {
 protected:
  void write(const std::vector<IndexedWords>& photos, const std::string& stamp = "stamp") {
    PhotoIndexWriter writer(path_);
    ASSERT_TRUE(writer.isOpen());
    std::int64_t id = 10;
    for (const IndexedWords& words : photos) ASSERT_TRUE(writer.add(id++, words));
    ASSERT_TRUE(writer.finish(stamp));
  }
  Ids find(const std::vector<IndexTerm>& terms) {
    const auto index = PhotoIndex::open(path_, "stamp");
    Ids found;
    if (!index) return {-1};
    EXPECT_EQ(index->find(
                  terms, [&](std::int64_t id) { found.push_back(id); }, [] { return false; }),
              PhotoIndex::Outcome::Complete);
    return found;
  }
  Ids find(const std::string& word) { return find({{IndexField::Any, word}}); }
  void spoil(std::uint64_t from, const std::string& bytes) {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(from));
    file << bytes;
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_.path().string() + "/library.index";
};

TEST_F(PhotoIndexTest, findsPhotosThatHaveAllWords) {
  write({{"beach 2009", "", "anna", ""}, {"beach 2010", "", "anna", ""}, {"2009", "beach", "", "anna"}});
  EXPECT_THAT(find("beach"), ElementsAre(10, 11, 12));
  EXPECT_THAT(find({{IndexField::Any, "beach"}, {IndexField::Any, "2009"}, {IndexField::Any, "anna"}}),
              ElementsAre(10, 12));
  EXPECT_THAT(find("bea"), IsEmpty());
}

TEST_F(PhotoIndexTest, findsWordsByTheirBeginningWhereAsked) {
  write({{"beach", "", "", ""}, {"bear", "", "", ""}, {"b", "", "", ""}, {"a", "", "", ""}});
  EXPECT_THAT(find({{IndexField::Any, "bea", true}}), ElementsAre(10, 11));
  EXPECT_THAT(find({{IndexField::Any, "b", true}}), ElementsAre(10, 11, 12));
}

TEST_F(PhotoIndexTest, looksInOneFieldWhereAsked) {
  write({{"rose", "", "", ""}, {"", "rose", "", ""}, {"", "", "rose", ""}, {"", "", "", "rose"}});
  EXPECT_THAT(find({{IndexField::Keyword, "rose"}}), ElementsAre(11));
  EXPECT_THAT(find({{IndexField::Person, "ro", true}}), ElementsAre(12));
  EXPECT_THAT(find({{IndexField::Album, "rose"}}), ElementsAre(13));
}

TEST_F(PhotoIndexTest, takesBytesOutsideAsciiAsLetters) {
  write({{"東京 2009", "", "", ""}});
  EXPECT_THAT(find("東京"), ElementsAre(10));
  EXPECT_THAT(find({{IndexField::Any, "東", true}}), ElementsAre(10));
}

TEST_F(PhotoIndexTest, acceptsNoWordWithSyntax) {
  write({{"or and not near", "", "", ""}});
  for (const char* word : {"a\"", "\"", "a b", "a*", "(a", "a:b", "-a", "^a", "{a", "A", ""})
    EXPECT_THAT(find(word), IsEmpty()) << word;
  EXPECT_EQ(matchExpression({}), std::nullopt);
  for (const char* word : {"or", "and", "not", "near"}) EXPECT_THAT(find(word), ElementsAre(10)) << word;
}

TEST_F(PhotoIndexTest, opensNoFileOfAnotherStamp) {
  write({{"beach", "", "", ""}}, "other");
  EXPECT_EQ(PhotoIndex::open(path_, "stamp"), nullptr);
  ASSERT_NE(PhotoIndex::open(path_, ""), nullptr);
  EXPECT_EQ(PhotoIndex::open(path_, "")->stamp(), "other");
}

TEST_F(PhotoIndexTest, opensNothingElse) {
  EXPECT_EQ(PhotoIndex::open(path_, ""), nullptr);
  EXPECT_FALSE(std::filesystem::exists(path_));
  std::ofstream(path_) << "no database";
  EXPECT_EQ(PhotoIndex::open(path_, ""), nullptr);
}

TEST_F(PhotoIndexTest, reportsDamage) {
  std::vector<IndexedWords> photos;
  for (int i = 0; i < 5'000; ++i) photos.push_back({"beach word" + std::to_string(i), "", "", ""});
  write(photos);
  spoil(4096, std::string(std::filesystem::file_size(path_) - 4096, '\x5a'));
  const auto index = PhotoIndex::open(path_, "");
  if (!index) return;
  const IndexTerm term{IndexField::Any, "beach"};
  EXPECT_EQ(index->find(
                {&term, 1}, [](std::int64_t) {}, [] { return false; }),
            PhotoIndex::Outcome::Damaged);
}

TEST_F(PhotoIndexTest, endsASearchWhenAsked) {
  write(std::vector<IndexedWords>(20'000, {"beach", "", "", ""}));
  const auto index = PhotoIndex::open(path_, "");
  ASSERT_NE(index, nullptr);
  const IndexTerm term{IndexField::Any, "beach"};
  EXPECT_EQ(index->find(
                {&term, 1}, [](std::int64_t) {}, [] { return true; }),
            PhotoIndex::Outcome::Stopped);
}

TEST_F(PhotoIndexTest, growsNoFurtherThanAllowed) {
  PhotoIndexWriter writer(path_, 100'000);
  bool added = true;
  std::string words;
  for (int i = 0; i < 3'000'000 && added; ++i) {
    words = "word" + std::to_string(i);
    added = writer.add(i + 1, {words, "", "", ""});
  }
  EXPECT_TRUE(!added || !writer.finish("stamp"));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(PhotoIndexTest, keepsPlaces) {
  const std::vector<IndexedPlace> places{{"Berlin", 3}, {"Zürich", 1}};
  PhotoIndexWriter writer(path_);
  ASSERT_TRUE(writer.add(1, {"beach", "", "", ""}));
  ASSERT_TRUE(writer.finish("stamp", places));
  const auto index = PhotoIndex::open(path_, "stamp");
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(index->places(), places);
}

TEST_F(PhotoIndexTest, leavesNoUnfinishedFile) {
  {
    PhotoIndexWriter writer(path_);
    ASSERT_TRUE(writer.add(1, {"beach", "", "", ""}));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(PhotoIndexTest, replacesAnOlderFile) {
  write({{"beach", "", "", ""}});
  write({{"city", "", "", ""}});
  EXPECT_THAT(find("beach"), IsEmpty());
  EXPECT_THAT(find("city"), ElementsAre(10));
}

}  // namespace

}  // namespace moxtel::test
