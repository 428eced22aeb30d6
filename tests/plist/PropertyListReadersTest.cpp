#include "plist/BinaryPropertyListReader.h"
#include "plist/XmlPropertyListReader.h"
#include "tests/plist/PropertyListBuilder.h"

namespace moxtel {
namespace {

using testing::PropertyListBuilder;

std::optional<Value> valueOf(std::span<const std::uint8_t> bytes, Strictness strictness) {
  return binaryPropertyListValue(bytes, {}, strictness);
}

// The one item of a binary list; nil when it was left out.
Value item(const std::string& object, Strictness strictness = Strictness::Lenient) {
  PropertyListBuilder list;
  const auto value = valueOf(list.finish(list.array({list.raw(object)})), strictness);
  if (!value) return "an error";
  return value->array().empty() ? Value() : value->array()[0];
}

std::string wide(std::uint64_t high, std::uint64_t low) {
  return "\x14" + PropertyListBuilder::big(high, 8) + PropertyListBuilder::big(low, 8);
}

TEST(BinaryPropertyList, hasIntegersOfEveryWidth) {
  EXPECT_EQ(item("\x10\xFF"), Value(255));
  EXPECT_EQ(item("\x11\xFF\xFF"), Value(65535));
  EXPECT_EQ(item("\x12\xFF\xFF\xFF\xFF"), Value(4294967295));
  EXPECT_EQ(item("\x13" + PropertyListBuilder::big(UINT64_MAX, 8)), Value(-1));
  EXPECT_EQ(item(wide(0, 5)), Value(5));
  EXPECT_EQ(item(wide(0, UINT64_MAX)), Value(UINT64_MAX));
  EXPECT_EQ(item(wide(UINT64_MAX, UINT64_MAX - 4)), Value(-5));
}

TEST(BinaryPropertyList, hasNoIntegersOfMoreThan64Bits) {
  for (const auto& object : {wide(1, 0), wide(UINT64_MAX, 5), wide(UINT64_MAX / 2, UINT64_MAX)}) {
    EXPECT_TRUE(item(object).isNil());
    EXPECT_EQ(item(object, Strictness::Strict), Value("an error"));
  }
}

TEST(BinaryPropertyList, hasEveryOtherKindOfLeaf) {
  EXPECT_EQ(item("\x09"), Value(true));
  EXPECT_EQ(item("\x22\x3F\xC0" + std::string(2, '\0')), Value(1.5));
  EXPECT_EQ(item("\x23\x3F\xF8" + std::string(6, '\0')), Value(1.5));
  EXPECT_EQ(item("\x33\x3F\xF8" + std::string(6, '\0')), Value(Date{1.5}));
  EXPECT_EQ(item("\x42\x01\xFF"), Value(Bytes{1, 255}));
  EXPECT_EQ(item("\x51x"), Value("x"));
  EXPECT_EQ(item("\x62\xD8\x3D\xDE" + std::string(1, '\0')), Value("\U0001F600"));
}

TEST(BinaryPropertyList, readsOddTextsIfLenient) {
  const struct {
    std::string object;
    const char* text;
  } kOdd[] = {{"\x52\xC3\xA9", "\u00E9"},
              {"\x52\xE9z", "\u00E9z"},
              {"\x61\xD8\x3D", "\uFFFD"},
              {std::string("\x62\xDE\0\0z", 5), "\uFFFDz"}};
  for (const auto& odd : kOdd) {
    EXPECT_EQ(item(odd.object), Value(odd.text));
    EXPECT_EQ(item(odd.object, Strictness::Strict), Value("an error"));
  }
}

TEST(BinaryPropertyList, leavesOutWhatCannotBeReadIfLenient) {
  PropertyListBuilder list;
  const auto key = list.string("bad");
  const auto other = list.string("good");
  const auto broken = list.raw("\x7F");
  const auto uid = list.uid(1);
  const Bytes bytes = list.finish(
      list.dictionary({key, broken, other, uid}, {broken, other, list.array({uid, other}), other}));
  EXPECT_FALSE(valueOf(bytes, Strictness::Strict));
  PropertyListTree tree({}, Mutability::Immutable);
  PropertyListOddities oddities;
  EXPECT_EQ(readBinaryPropertyList(bytes, tree, Strictness::Lenient, oddities), "");
  EXPECT_EQ(tree.take(), Value(Dictionary({{"good", Array({"good"})}})));
  EXPECT_EQ(oddities.count, 4U);
  EXPECT_EQ(oddities.first, broken);
}

TEST(BinaryPropertyList, isBoundedWhereItNamesOneObjectOften) {
  PropertyListBuilder list;
  auto inner = list.string("x");
  for (int i = 0; i < 40; ++i) inner = list.array({inner, inner});
  EXPECT_FALSE(valueOf(list.finish(inner), Strictness::Lenient));
  PropertyListBuilder broken;
  const std::vector<PropertyListBuilder::Number> many(50'000, broken.raw("\x7F"));
  const auto array = broken.array(many);
  EXPECT_FALSE(valueOf(broken.finish(broken.array(std::vector<PropertyListBuilder::Number>(50'000, array))),
                       Strictness::Lenient));
}

TEST(BinaryPropertyList, thatContainsItselfIsRefused) {
  PropertyListBuilder list(1);
  const auto self = list.raw(std::string("\xA1\0", 2));
  EXPECT_FALSE(binaryPropertyListValue(list.finish(self), {.depth = 10'000}, Strictness::Lenient));
}

// The Value of an XML list's content, and how it was read.
struct Read {
  Value value;
  std::string failure;
  PropertyListOddities oddities;
};

Read readXml(const std::string& content, Strictness strictness = Strictness::Lenient) {
  PropertyListTree tree({}, Mutability::Immutable);
  XmlPropertyListReader reader(tree, strictness);
  if (reader.feed("<plist>" + content + "</plist>")) static_cast<void>(reader.finish());
  return {tree.take(), reader.failure(), reader.oddities()};
}

TEST(XmlPropertyList, leavesOutWhatMakesNoSenseIfLenient) {
  for (const char* odd : {"<integer></integer>", "<integer>1x</integer>", "<real>1e400</real>",
                          "<date>2001-01-01T00:00:00.5Z</date>", "<true>x</true>", "<blob><a>x</a></blob>"}) {
    const std::string dictionary =
        "<dict><key>a</key><true/>\n<key>b</key>" + std::string(odd) + "<key>c</key><false/></dict>";
    const Read read = readXml(dictionary);
    EXPECT_EQ(read.failure, "");
    EXPECT_EQ(read.value, Value(Dictionary({{"a", true}, {"c", false}}))) << odd;
    EXPECT_EQ(read.oddities.count, 1U);
    EXPECT_EQ(read.oddities.first, 2U);
    EXPECT_EQ(readXml("<array>" + std::string(odd) + "<true/></array>").value, Value(Array({true}))) << odd;
    EXPECT_NE(readXml(dictionary, Strictness::Strict).failure, "") << odd;
  }
}

TEST(XmlPropertyList, passesOverTextsBetweenElementsIfLenient) {
  const Read read = readXml("<dict>x<key>a</key>y<true/>\n z</dict>");
  EXPECT_EQ(read.value, Value(Dictionary({{"a", true}})));
  EXPECT_EQ(read.oddities.count, 3U);
  EXPECT_THAT(readXml("<dict>x</dict>", Strictness::Strict).failure, ::testing::HasSubstr("a text outside"));
}

TEST(XmlPropertyList, refusesManyUnknownNames) {
  std::string names;
  std::string attributes = "<dict";
  for (int i = 0; i < 2000; ++i) {
    names += "<n" + std::to_string(i) + "/>";
    attributes += " n" + std::to_string(i) + "=''";
  }
  EXPECT_THAT(readXml("<array>" + names + "</array>").failure, ::testing::HasSubstr("too many unknown tags"));
  EXPECT_THAT(readXml(attributes + "/>").failure, ::testing::HasSubstr("too many unknown tags"));
}

TEST(PropertyLists, readTheSameInBothForms) {
  const std::string xml =
      "<dict><key>n</key><integer>-2</integer><key>l</key><array><string>\u00E9</string><real>1.5</"
      "real>"
      "<data>AP8=</data><date>2001-01-01T00:00:01Z</date><true/></array></dict>";
  PropertyListBuilder list;
  const auto array = list.array(
      {list.utf16(u"\u00E9"), list.real(std::bit_cast<std::uint64_t>(1.5)),
       list.data(std::string("\0\xFF", 2)),
       list.raw("\x33" + PropertyListBuilder::big(std::bit_cast<std::uint64_t>(1.0), 8)), list.raw("\x09")});
  const Bytes binary =
      list.finish(list.dictionary({{"n", list.integer(static_cast<std::uint64_t>(-2))}, {"l", array}}));
  const auto value = valueOf(binary, Strictness::Strict);
  ASSERT_TRUE(value);
  EXPECT_EQ(readXml(xml, Strictness::Strict).value, *value);
  EXPECT_EQ((*value)["l"].array().size(), 5U);
}

TEST(PropertyLists, areRefusedBeyondTheLimits) {
  PropertyListBuilder list;
  const Bytes nested = list.finish(list.array({list.array({list.string("text")})}));
  EXPECT_TRUE(binaryPropertyListValue(nested, {.depth = 2}, Strictness::Lenient));
  EXPECT_FALSE(binaryPropertyListValue(nested, {.depth = 1}, Strictness::Lenient));
  EXPECT_TRUE(binaryPropertyListValue(nested, {.bytes = 3 * 64 + 4}, Strictness::Lenient));
  EXPECT_FALSE(binaryPropertyListValue(nested, {.bytes = 3 * 64 + 3}, Strictness::Lenient));
}

}  // namespace
}  // namespace moxtel
