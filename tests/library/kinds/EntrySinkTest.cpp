#include "library/kinds/EntrySink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plist/XmlPropertyListReader.h"
#include "value/Description.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the sink hands on: "list key entry".
std::vector<std::string> taken(const std::string& content, const PropertyListLimits& limits = {}) {
  std::vector<std::string> entries;
  EntrySink sink({"Photos", "Albums", "Path"}, limits,
                 [&](const std::string& list, const std::string& key, const Value& entry) {
                   entries.push_back(list + " " + key + " " + describe(entry));
                 });
  XmlPropertyListReader reader(sink, Strictness::Lenient);
  if (reader.feed("<plist version=\"1.0\">" + content + "</plist>")) static_cast<void>(reader.finish());
  return entries;
}

TEST(EntrySink, handsOnTheEntriesOfDictionariesWithTheirKeys) {
  EXPECT_THAT(
      taken("<dict><key>Photos</key><dict><key>1</key><integer>5</integer><key>2</key><string>b</string>"
            "</dict></dict>"),
      ElementsAre("Photos 1 5", "Photos 2 b"));
}

TEST(EntrySink, handsOnTheEntriesOfArraysWithoutKeys) {
  EXPECT_THAT(taken("<dict><key>Albums</key><array><string>a</string><string>b</string></array></dict>"),
              ElementsAre("Albums  a", "Albums  b"));
}

TEST(EntrySink, handsOnValuesAtTheTop) {
  EXPECT_THAT(taken("<dict><key>Photos</key><dict><key>1</key><string>a</string></dict><key>Path</key>"
                    "<string>/l</string></dict>"),
              ElementsAre("Photos 1 a", "Path  /l"));
}

TEST(EntrySink, handsOnACollectionAsOneEntry) {
  const auto entries = taken(
      "<dict><key>Photos</key><dict><key>1</key><dict><key>a</key><array><integer>2"
      "</integer></array></dict></dict></dict>");
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0], "Photos 1 " + describe(Value(Dictionary{{"a", Array{2}}})));
}

TEST(EntrySink, passesOverOtherLists) {
  EXPECT_THAT(taken("<dict><key>Other</key><dict><key>1</key><string>a</string></dict></dict>"), IsEmpty());
  EXPECT_THAT(taken("<string>Photos</string>"), ElementsAre("  Photos"));
}

TEST(EntrySink, limitsEachEntryByItself) {
  std::string two = "<dict><key>Albums</key><array>";
  for (int i = 0; i < 2; ++i) two += "<array><string>" + std::string(600, 'x') + "</string></array>";
  two += "</array></dict>";
  EXPECT_EQ(taken(two, {.depth = 4, .bytes = 1000}).size(), 2u);
  EXPECT_THAT(taken(two, {.depth = 4, .bytes = 500}), IsEmpty());
  EXPECT_THAT(taken("<dict><key>Albums</key><array><array><array/></array></array></dict>",
                    {.depth = 1, .bytes = 1000}),
              IsEmpty());
}

}  // namespace
}  // namespace moxtel
