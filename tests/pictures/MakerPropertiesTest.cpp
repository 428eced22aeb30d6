#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

TEST(AppleProperties, areTheNotesEntriesByNumber) {
  const auto entry = [](int tag, int type, int count, const std::string& field) {
    return big(tag, 2) + big(type, 2) + big(count, 4) + field;
  };
  const std::size_t at = 16 + 5 * 12 + 4;
  const std::string vector = big(1, 4) + big(3, 4) + big(static_cast<std::uint32_t>(-1), 4) + big(4, 4);
  // {"epoch": "1"}: three objects at 8, 11 and 17, a table of their places, and the trailer.
  const std::string plist = std::string("bplist00", 8) + "\xD1\1\2" +
                            "\x55"
                            "epoch" +
                            "\x51"
                            "1" +
                            std::string("\x08\x0B\x11", 3) + std::string(6, '\0') + "\1\1" + big(3, 8) +
                            big(0, 8) + big(19, 8);
  const std::string note = std::string("Apple iOS\0\0\1MM", 14) + big(5, 2) + entry(1, 9, 1, big(14, 4)) +
                           entry(3, 7, static_cast<int>(plist.size()), big(at + 16, 4)) +
                           entry(8, 10, 2, big(at, 4)) + entry(17, 2, 4, std::string("id\0\0", 4)) +
                           entry(20, 10, 1, big(0x7FFFFFFF, 4)) + big(0, 4) + vector + plist;
  Directory exif;
  exif.undefined(0x927C, note);
  const Dictionary wanted{{"1", 14},
                          {"3", Dictionary{{"epoch", "1"}}},
                          {"8", Array{static_cast<double>(1.0F / 3.0F), -0.25}},
                          {"17", "id"}};
  Directory main;
  main.text(0x010F, "Apple");
  EXPECT_TRUE(same(propertiesOf(jpeg(exifSegment(tiff(main, exif))))["{MakerApple}"], wanted));
}

}  // namespace
}  // namespace moxtel::test
