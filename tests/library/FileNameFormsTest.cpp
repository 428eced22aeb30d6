#include "library/FileNameForms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr const char* kComposed = "\xC3\x89t\xC3\xA9.JPG";      // É and é as one code point each
constexpr const char* kDecomposed = "E\xCC\x81te\xCC\x81.JPG";  // letter and combining accent

TEST(FoldedFileName, isTheSameForNamesThatDifferOnlyInCaseAndForm) {
  EXPECT_EQ(foldedFileName(kComposed), foldedFileName(kDecomposed));
  EXPECT_EQ(foldedFileName("IMG_1.JPG"), "img_1.jpg");
  EXPECT_NE(foldedFileName("Ete.jpg"), foldedFileName(kComposed));
  EXPECT_EQ(foldedFileName("\xFF"), "\xFF");
}

std::string utf8(const std::u16string& text) {
  std::string bytes;
  for (const char16_t c : text) {
    if (c < 0x80) {
      bytes += static_cast<char>(c);
    } else {
      bytes += static_cast<char>(0xE0 | c >> 12);
      bytes += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      bytes += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return bytes;
}

TEST(FileNameMeanings, areTheFoldedNameAlone) {
  EXPECT_THAT(fileNameMeanings("IMG_1.JPG"), ElementsAre("img_1.jpg"));
  EXPECT_THAT(fileNameMeanings(kComposed), ElementsAre(foldedFileName(kDecomposed)));
  EXPECT_THAT(fileNameMeanings("\xFF"), ElementsAre("\xFF"));
  EXPECT_THAT(fileNameMeanings("a/b:c"), ElementsAre("a:b:c"));
}

TEST(FileNameMeanings, readEachForbiddenCharacterByItsCode) {
  EXPECT_THAT(fileNameMeanings(utf8(u"a\xF03A\xF02A\xF03C\xF03E\xF03F\xF05C\xF07C")),
              testing::Contains("a:*<>?\\|"));
  EXPECT_THAT(fileNameMeanings(utf8(u"a\xF001")), testing::Contains("a\x01"));
  EXPECT_THAT(fileNameMeanings(utf8(u"a\xF02F")), testing::Contains("a:")) << "a slash";
}

TEST(FileNameMeanings, readEachForbiddenCharacterByItsNumber) {
  EXPECT_THAT(fileNameMeanings(utf8(u"a\xF020\xF021\xF022\xF023\xF024\xF025\xF026\xF027\xF028\xF029")),
              testing::Contains("a\"*:<>?\\| ."));
}

// U+F022 is a quotation mark in one way and a colon in the other.
TEST(FileNameMeanings, areTwoWhereTheWaysDiffer) {
  EXPECT_THAT(fileNameMeanings(utf8(u"a\xF022")), UnorderedElementsAre("a\"", "a:"));
}

TEST(FileNameMeanings, leaveOtherPrivateCharacters) {
  const std::string name = utf8(u"a\xF000\xF080\xE000");
  EXPECT_THAT(fileNameMeanings(name), ElementsAre(name));
}

}  // namespace
}  // namespace moxtel
