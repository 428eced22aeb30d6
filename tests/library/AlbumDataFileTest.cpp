#include "library/albumdata/AlbumDataFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::HasSubstr;
using namespace std::string_literals;

AlbumDataContents parsed(const std::string& body) { return parseAlbumData("<plist>" + body + "</plist>"); }
Value faces(const std::string& value) {
  const AlbumDataContents contents = parsed("<dict><key>List of Faces</key>" + value + "</dict>");
  EXPECT_EQ(contents.error, "") << value;
  return contents.lists["List of Faces"];
}
std::string errorOf(const std::string& body) {
  const AlbumDataContents contents = parsed(body);
  EXPECT_EQ(contents.lists, Value(Dictionary())) << body;
  return contents.error;
}
std::string errorOfFaces(const std::string& value) {
  return errorOf("<dict><key>List of Faces</key>" + value + "</dict>");
}

TEST(AlbumDataFile, readsEveryKindOfValue) {
  EXPECT_EQ(faces("<string>a<![CDATA[<&>]]>&#65;&lt;</string>"), Value("a<&>A<"));
  EXPECT_EQ(faces("<string/>"), Value(""));
  EXPECT_EQ(faces("<integer> -12 </integer>"), Value(-12));
  EXPECT_EQ(faces("<integer>+5</integer>"), Value(5));
  EXPECT_EQ(faces("<integer>0x1F</integer>"), Value(31));
  EXPECT_EQ(faces("<integer>18446744073709551615</integer>"), Value(18446744073709551615ULL));
  EXPECT_EQ(faces("<real>-1.5e3</real>"), Value(-1500.0));
  EXPECT_EQ(faces("<true/>"), Value(true));
  EXPECT_EQ(faces("<false/>"), Value(false));
  EXPECT_EQ(faces("<date>2001-01-02T00:00:01Z</date>"), Value(Date{86401}));
  EXPECT_EQ(faces("<date>1970-01-01T00:00:00Z</date>"), Value(Date{-978307200}));
  EXPECT_EQ(faces("<data>\n\tAAEC\n/w==\n</data>"), Value(Bytes{0, 1, 2, 255}));
  EXPECT_EQ(faces("<array><string>x</string><dict/></array>"), Value(Array({"x", Dictionary()})));
  EXPECT_EQ(faces("<dict><key>a</key><true/><key>a</key><false/></dict>"), Value(Dictionary({{"a", false}})));
}

TEST(AlbumDataFile, leavesOutUnreadableLeaves) {
  for (const char* leaf :
       {"<integer>1x</integer>", "<integer/>", "<integer>99999999999999999999</integer>", "<real>one</real>",
        "<real>1e400</real>", "<date>yesterday</date>", "<date>2001-13-01T00:00:00Z</date>",
        "<date>2001-01-01T00:00:00.5Z</date>", "<blob/>"}) {
    const AlbumDataContents contents =
        parsed("<dict><key>List of Faces</key><dict><key>a</key><true/><key>b</key>" + std::string(leaf) +
               "<key>c</key><true/></dict></dict>");
    EXPECT_EQ(contents.error, "") << leaf;
    EXPECT_EQ(contents.lists["List of Faces"], Value(Dictionary({{"a", true}, {"c", true}}))) << leaf;
    EXPECT_EQ(contents.mended, "1 place was mended or left out, in line 1") << leaf;
  }
}

AlbumDataContents withCaption(const std::string& caption) {
  return parsed("\n<dict><key>Other</key><string>" + caption + "</string>\n<key>List of Faces</key><string>" +
                caption + "</string></dict>");
}

TEST(AlbumDataFile, mendsOddCharacters) {
  const struct {
    std::string odd;
    const char* mended;
  } kOdd[] = {{"a\vb", "a\uFFFDb"},       {"&#11;", "\uFFFD"},
              {"\xEF\xBF\xBF", "\uFFFD"}, {"\xED\xA0\xBD\xED\xB8\x80", "\U0001F600"},
              {"\xE9", "\uFFFD"},         {"a & b", "a & b"},
              {"AT&T", "AT&T"},           {"&nbsp;", "&nbsp;"},
              {"I <3 you", "I <3 you"},   {std::string("\0", 1), "\uFFFD"}};
  for (const auto& [odd, mended] : kOdd) {
    const AlbumDataContents contents = withCaption(odd);
    EXPECT_EQ(contents.error, "") << odd;
    EXPECT_EQ(contents.lists["List of Faces"], Value(mended));
    EXPECT_EQ(contents.mended, "2 places were mended or left out, the first in line 2") << odd;
  }
}

TEST(AlbumDataFile, dropsWhatFollowsItsEnd) {
  for (const std::string& junk : {std::string(10, '\0'), "\n<plist>"s, "\nmore & more"s}) {
    const AlbumDataContents contents =
        parseAlbumData("<plist><dict><key>List of Faces</key><true/></dict></plist>" + junk);
    EXPECT_EQ(contents.error, "");
    EXPECT_EQ(contents.lists["List of Faces"], Value(true));
    EXPECT_THAT(contents.mended, testing::StartsWith("1 place was mended or left out, in line "));
  }
}

TEST(AlbumDataFile, mendsNothingOfAnUnharmedFile) { EXPECT_EQ(withCaption("a &amp; b").mended, ""); }

TEST(AlbumDataFile, thatEndsEarlyHasTheListsThatAreComplete) {
  const std::string albums =
      "<plist><dict><key>List of Albums</key><array><dict/></array>\n<key>List of Faces</key><dict><key>a";
  for (const std::string& begun : {albums, albums + "</key><true/>", albums + "&", albums + "\v"}) {
    const AlbumDataContents contents = parseAlbumData(begun);
    EXPECT_THAT(contents.error, testing::StartsWith("line 2: "));
    EXPECT_EQ(contents.lists, Value(Dictionary({{"List of Albums", Array({Dictionary()})}})));
    EXPECT_TRUE(contents.wasRead);
  }
}

TEST(AlbumDataFile, refusesABrokenStructure) {
  EXPECT_THAT(errorOf(""), HasSubstr("it holds no value"));
  EXPECT_THAT(errorOf("<dict/><dict/>"), HasSubstr("more than one value"));
  EXPECT_THAT(errorOf("<dict><key>a</key></dict>"), HasSubstr("a key without a value"));
  EXPECT_THAT(errorOf("<dict><key>a</key><key>b</key></dict>"), HasSubstr("a key without a value"));
  EXPECT_THAT(errorOf("<dict><string>a</string></dict>"), HasSubstr("a value without a key"));
  EXPECT_THAT(errorOf("<dict><dict/></dict>"), HasSubstr("a value without a key"));
  EXPECT_THAT(errorOf("<key>a</key>"), HasSubstr("a key outside a dictionary"));
  EXPECT_THAT(errorOfFaces("<string><b/></string>"), HasSubstr("a tag inside a text"));
  EXPECT_THAT(errorOf("<dict></array>"), HasSubstr("line 1: "));
}

TEST(AlbumDataFile, keepsOnlyTheThreeLists) {
  const AlbumDataContents contents = parsed(
      "<dict><key>Other</key><dict><key>List of Albums</key><array/></dict><key>List of "
      "Albums</key><array><dict>"
      "<key>KeyList</key><array><dict/></array><key>deep</key><dict><key>KeyList</key><true/></dict></dict></"
      "array>"
      "<key>Master Image List</key><nonsense><a>text</a></nonsense></dict>");
  EXPECT_EQ(contents.error, "");
  EXPECT_EQ(contents.lists,
            Value(Dictionary(
                {{"List of Albums", Array({Dictionary({{"deep", Dictionary({{"KeyList", true}})}})})}})));
}

// A list of albums with one entry.
std::string albumWith(const std::string& body) {
  return "<dict><key>List of Albums</key><array><dict>" + body + "</dict></array></dict>";
}

TEST(AlbumDataFile, keepsThePhotosOfAlbumsAndRollsAsNumbers) {
  const AlbumDataContents contents = parsed(
      "<dict><key>List of Albums</key><array><dict><key>GUID</key><string>a</string><key>KeyList</key><array>"
      "<string>29</string><string>13</string><integer>7</integer></array></dict>"
      "<dict><key>KeyList</key><array/><key>GUID</key><string>b</string></dict></array>"
      "<key>List of Rolls</key><array><dict><key>ProjectUuid</key><string>p</string><key>KeyList</key><array>"
      "<string>5</string></array></dict></array></dict>");
  EXPECT_EQ(contents.error, "");
  EXPECT_EQ(contents.mended, "");
  ASSERT_EQ(contents.photoLists.size(), 3u);
  EXPECT_EQ(contents.photoLists[0].uuid, "a");
  EXPECT_THAT(contents.photoLists[0].photos, testing::ElementsAre(29, 13, 7));
  EXPECT_EQ(contents.photoLists[1].uuid, "b");
  EXPECT_THAT(contents.photoLists[1].photos, testing::IsEmpty());
  EXPECT_EQ(contents.photoLists[2].uuid, "p");
  EXPECT_THAT(contents.photoLists[2].photos, testing::ElementsAre(5));
  EXPECT_EQ(contents.lists["List of Albums"],
            Value(Array({Dictionary({{"GUID", "a"}}), Dictionary({{"GUID", "b"}})})));
}

TEST(AlbumDataFile, readsThePhotosOfTheShortForm) {
  const AlbumDataContents contents = parsed(
      albumWith("<key>GUID</key><string>a</string><key>KeyListString</key><string>29,13,,x,15</string>"));
  ASSERT_EQ(contents.photoLists.size(), 1u);
  EXPECT_THAT(contents.photoLists[0].photos, testing::ElementsAre(29, 13, -1, -1, 15));
  const AlbumDataContents empty =
      parsed(albumWith("<key>GUID</key><string>a</string><key>KeyListString</key><string/>"));
  ASSERT_EQ(empty.photoLists.size(), 1u);
  EXPECT_THAT(empty.photoLists[0].photos, testing::IsEmpty());
}

TEST(AlbumDataFile, takesOddPhotosForNone) {
  const AlbumDataContents contents = parsed(albumWith(
      "<key>GUID</key><string>a</string><key>KeyList</key><array><string>x</string><array><string>1</string>"
      "</array><dict><key>k</key><string>2</string></dict><string>99999999999999999999</string><true/>"
      "<string>3</string></array>"));
  EXPECT_EQ(contents.error, "");
  ASSERT_EQ(contents.photoLists.size(), 1u);
  EXPECT_THAT(contents.photoLists[0].photos, testing::ElementsAre(-1, -1, -1, 3));
  for (const char* list : {"<string>1</string>", "<dict><key>k</key><string>1</string></dict>"}) {
    const AlbumDataContents none =
        parsed(albumWith("<key>GUID</key><string>a</string><key>KeyList</key>" + std::string(list)));
    EXPECT_EQ(none.error, "") << list;
    EXPECT_THAT(none.photoLists, testing::IsEmpty()) << list;
    EXPECT_EQ(none.lists["List of Albums"], Value(Array({Dictionary({{"GUID", "a"}})}))) << list;
  }
}

TEST(AlbumDataFile, boundsTheListsOfPhotos) {
  std::string photos;
  for (int i = 0; i < 1000; ++i) photos += "<string>1</string>";
  const std::string file =
      "<plist>" +
      albumWith("<key>GUID</key><string>a</string><key>KeyList</key><array>" + photos + "</array>") +
      "</plist>";
  EXPECT_EQ(parseAlbumData(file, {.kept = {.depth = 64, .bytes = 10'000}}).error, "");
  EXPECT_THAT(parseAlbumData(file, {.kept = {.depth = 64, .bytes = 7000}}).error,
              HasSubstr("its lists are too long"));
}

TEST(AlbumDataFile, refusesEntitiesOfTheFilesOwn) {
  EXPECT_THAT(parseAlbumData("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;\">]>"
                             "<plist><string>&b;</string></plist>")
                  .error,
              HasSubstr("it declares entities"));
  EXPECT_THAT(parseAlbumData("<!DOCTYPE plist [<!ENTITY f SYSTEM \"file:///etc/passwd\">]>"
                             "<plist><dict><key>List of Faces</key><string>&f;</string></dict></plist>")
                  .error,
              HasSubstr("it declares entities"));
  EXPECT_THAT(parseAlbumData("<!DOCTYPE plist [<!ENTITY % p SYSTEM \"http://127.0.0.1:9/x.dtd\"> %p;]>"
                             "<plist><dict/></plist>")
                  .error,
              HasSubstr("it declares entities"));
}

TEST(AlbumDataFile, fetchesNoDocumentType) {
  EXPECT_EQ(parseAlbumData("<!DOCTYPE plist SYSTEM \"file:///no/such.dtd\"><plist><dict/></plist>").error,
            "");
  const AlbumDataContents contents = parseAlbumData(
      "<!DOCTYPE plist SYSTEM \"file:///no/such.dtd\"><plist><dict><key>List of Faces</key>"
      "<string>&unknown;</string></dict></plist>");
  EXPECT_EQ(contents.error, "");
  EXPECT_EQ(contents.lists["List of Faces"], Value("&unknown;"));
}

std::string nested(const char* element, int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<"s + element + ">";
  for (int i = 0; i < depth; ++i) text += "</"s + element + ">";
  return text;
}

TEST(AlbumDataFile, boundsTheDepthOfWhatIsKeptAndOfWhatIsNot) {
  EXPECT_TRUE(faces(nested("array", 60)).isArray());
  EXPECT_THAT(errorOfFaces(nested("array", 100'000)), HasSubstr("nested too deeply"));
  EXPECT_THAT(errorOf("<dict><key>Other</key>" + nested("array", 100'000) + "</dict>"),
              HasSubstr("nested too deeply"));
}

TEST(AlbumDataFile, boundsWhatIsKept) {
  AlbumDataLimits limits;
  limits.kept.bytes = 10'000;
  const std::string long_(20'000, 'x');
  const auto error = [&](const std::string& value) {
    return parseAlbumData("<plist><dict><key>List of Faces</key>" + value + "</dict></plist>", limits).error;
  };
  EXPECT_THAT(error("<string>" + long_ + "</string>"), HasSubstr("a text in it is too long"));
  std::string many = "<array>";
  for (int i = 0; i < 200; ++i) many += "<true/>";
  EXPECT_THAT(error(many + "</array>"), HasSubstr("its lists are too long"));
  EXPECT_EQ(
      parseAlbumData("<plist><dict><key>Other</key><string>" + long_ + "</string></dict></plist>", limits)
          .error,
      "");
}

TEST(AlbumDataFile, boundsATagsLength) {
  const std::string tag = "<plist><dict a=\"" + std::string(5 << 20, 'x') + "\"/></plist>";
  EXPECT_THAT(parseAlbumData(tag).error, HasSubstr("a tag in it is too long"));
}

// The binary form. Made with Python's plistlib: plistlib.dumps({...}, fmt=plistlib.FMT_BINARY).
std::string fromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
  return bytes;
}

constexpr std::string_view kBinary =
    "62706c6973743030d30102030412165e4c697374206f6620416c62756d735d4c697374206f662046616365735f10114d6173"
    "74657220496d616765204c697374a105d5060708090a0b0c0d0e1157416c62756d496459416c62756d4e616d655447554944"
    "574b65794c697374517810076600c9007400e90020d83dde005161a20f1051315132233ff8000000000000a31314153340f5"
    "181000000000094200ffd10f17d0080f1e2c40424d555f646c6e707d7f8284868f939c9da0a3000000000000010100000000"
    "00000018000000000000000000000000000000a4";

TEST(AlbumDataFile, readsTheBinaryForm) {
  const AlbumDataContents contents = parseAlbumData(fromHex(kBinary));
  EXPECT_EQ(contents.error, "");
  EXPECT_EQ(contents.lists,
            Value(Dictionary(
                {{"List of Albums", Array({Dictionary({{"AlbumId", 7},
                                                       {"AlbumName", "\xC3\x89t\xC3\xA9 \xF0\x9F\x98\x80"},
                                                       {"GUID", "a"},
                                                       {"x", 1.5}})})},
                 {"List of Faces", Array({Date{86401}, true, Bytes{0, 255}})}})));
}

TEST(AlbumDataFile, refusesADamagedBinaryForm) {
  const std::string whole = fromHex(kBinary);
  for (std::size_t size = 8; size < whole.size(); ++size)
    EXPECT_NE(parseAlbumData(whole.substr(0, size)).error, "") << size;
}

// An array that holds the next one twice, 30 times over: a hundred bytes that would unfold into a billion
// values.
TEST(AlbumDataFile, doesNotUnfoldTheBinaryForm) {
  std::string bytes = "bplist00";
  std::string offsets;
  const auto add = [&](const std::string& object) {
    offsets += static_cast<char>(bytes.size() >> 8);
    offsets += static_cast<char>(bytes.size());
    bytes += object;
  };
  add("\xD1\x01\x02"s);
  add("\x5D"s + "List of Faces");
  for (int i = 2; i < 32; ++i) add("\xA2"s + static_cast<char>(i + 1) + static_cast<char>(i + 1));
  add("\x09");
  const auto table = bytes.size();
  bytes += offsets + std::string(6, '\0') + "\x02\x01"s + std::string(7, '\0') + static_cast<char>(33) +
           std::string(8, '\0') + std::string(6, '\0') + static_cast<char>(table >> 8) +
           static_cast<char>(table);
  AlbumDataLimits limits;
  limits.kept.bytes = 1 << 20;
  EXPECT_EQ(parseAlbumData(bytes, limits).error, "its lists are too long");
}

TEST(AlbumDataFile, aLargeFileNeedsNoMoreMemoryThanWhatIsKept) {
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "AlbumData.xml").string();
  {
    std::ofstream file(path);
    file << "<plist><dict><key>Master Image List</key><dict>";
    const std::string image = "<dict><key>Caption</key><string>" + std::string(900, 'x') + "</string></dict>";
    for (int i = 0; i < 60'000; ++i) file << "<key>" << i << "</key>" << image;
    file << "</dict><key>List of "
            "Albums</key><array><dict><key>GUID</key><string>a</string><key>KeyList</key><array>";
    for (int i = 0; i < 1'000'000; ++i) file << "<string>" << i << "</string>";
    file << "</array></dict></array></dict></plist>";
  }
  const auto peak = [] {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  const auto before = peak();
  const AlbumDataContents contents = readAlbumDataFile(path);
  EXPECT_EQ(contents.error, "");
  EXPECT_EQ(contents.lists, Value(Dictionary({{"List of Albums", Array({Dictionary({{"GUID", "a"}})})}})));
  ASSERT_EQ(contents.photoLists.size(), 1u);
  EXPECT_EQ(contents.photoLists[0].photos.size(), 1'000'000u);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's own memory hides what is measured";
#endif
  EXPECT_LT(peak() - before, 30'000) << "kilobytes, of a file of 80 megabytes with 8 megabytes of numbers";
}

TEST(AlbumDataFile, withoutMemoryForItCannotBeRead) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs all addresses";
#endif
  const TemporaryFolder folder;
  const std::string path = (folder.path() / "AlbumData.xml").string();
  std::ofstream(path) << "bplist00";
  std::filesystem::resize_file(path, 1 << 30);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
  const rlimit little{1 << 29, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &little), 0);
  const AlbumDataContents contents = readAlbumDataFile(path);
  ASSERT_EQ(::setrlimit(RLIMIT_AS, &before), 0);
  EXPECT_EQ(contents.error, "there is not enough memory for it");
  EXPECT_TRUE(contents.lists.isNil());
  EXPECT_FALSE(contents.wasRead);
}

}  // namespace
}  // namespace moxtel
