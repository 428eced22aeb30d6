#include "export/XmpSidecars.h"

#include <chrono>

namespace moxtel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Albums = std::vector<std::vector<std::string>>;

struct Sidecar {
  std::string text;
  std::vector<std::string> lacks;
};

Sidecar sidecarOf(const PhotoFacts& photo, FileRole role = FileRole::Original, const Albums& albums = {},
                  std::int32_t width = 0, std::int32_t height = 0) {
  XmpSidecars sidecars;
  Sidecar result;
  result.text = sidecars.encode({photo, albums, role, width, height}, result.lacks);
  return result;
}

// Without the white space between elements.
std::string packed(std::string text) {
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at)) {
    const std::size_t end = std::min(text.find_first_not_of(" \n", at), text.size());
    text.erase(at, end - at);
  }
  return text;
}

std::string item(const std::string& text) { return "<rdf:li>" + text + "</rdf:li>"; }
std::string standard(const std::string& text) {
  return "<rdf:Alt><rdf:li xml:lang=\"x-default\">" + text + "</rdf:li></rdf:Alt>";
}
std::string element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

std::int64_t wallClock(int year, unsigned month, unsigned day, int hour, int minute, int second) {
  using namespace std::chrono;
  const sys_days date = std::chrono::year(year) / month / day;
  return duration_cast<seconds>(date.time_since_epoch()).count() + hour * 3600 + minute * 60 + second;
}

TEST(XmpSidecars, writesTextsInElements) {
  PhotoFacts photo;
  photo.title = "Été <1>";
  photo.caption = "\"Line\" & line";
  photo.creator = "Hanna Müller";
  photo.rights = "© Hanna";
  photo.eventName = "Summer";
  const std::string text = packed(sidecarOf(photo).text);
  EXPECT_EQ(text.rfind("<x:xmpmeta", 0), 0u);
  EXPECT_THAT(text, HasSubstr(element("dc:title", standard("Été &lt;1&gt;"))));
  EXPECT_THAT(text, HasSubstr(element("dc:description", standard("\"Line\" &amp; line"))));
  EXPECT_THAT(text, HasSubstr(element("tiff:ImageDescription", standard("\"Line\" &amp; line"))));
  EXPECT_THAT(text, HasSubstr(element("dc:creator", "<rdf:Seq>" + item("Hanna Müller") + "</rdf:Seq>")));
  EXPECT_THAT(text, HasSubstr(element("dc:rights", standard("© Hanna"))));
  EXPECT_THAT(text, HasSubstr(element("iptcExt:Event", standard("Summer"))));
}

TEST(XmpSidecars, writesNoTextAndNoDateThatThePhotoLacks) {
  const Sidecar sidecar = sidecarOf({});
  for (const char* name :
       {"dc:title", "dc:description", "dc:subject", "exif:", "photoshop:", "mwg-rs:", "CreateDate"})
    EXPECT_THAT(sidecar.text, Not(HasSubstr(std::string("<") + name)));
  EXPECT_THAT(sidecar.text, HasSubstr("<xmp:Rating>0</xmp:Rating>"));
  EXPECT_THAT(sidecar.lacks, IsEmpty());
}

TEST(XmpSidecars, writesNoOrientation) {
  PhotoFacts photo;
  photo.rotation = 90;
  EXPECT_THAT(sidecarOf(photo).text, Not(HasSubstr("Orientation")));
}

TEST(XmpSidecars, writesThreeDatesWithoutOffset) {
  PhotoFacts photo;
  photo.timeZoneName = "Asia/Tokyo";
  photo.wallClock = wallClock(2009, 7, 4, 13, 22, 10);
  const std::string text = sidecarOf(photo).text;
  for (const char* name : {"exif:DateTimeOriginal", "photoshop:DateCreated", "xmp:CreateDate"})
    EXPECT_THAT(text, HasSubstr(element(name, "2009-07-04T13:22:10")));
}

TEST(XmpSidecars, writesMarks) {
  PhotoFacts photo;
  photo.rating = -1;
  photo.isFlagged = true;
  photo.isHidden = true;
  photo.colorLabel = 5;
  const std::string text = packed(sidecarOf(photo).text);
  EXPECT_THAT(text, HasSubstr("<xmp:Rating>-1</xmp:Rating>"));
  EXPECT_THAT(text, HasSubstr("<digiKam:PickLabel>3</digiKam:PickLabel>"));
  EXPECT_THAT(text, HasSubstr("<xmp:Label>Blue</xmp:Label>"));
  EXPECT_THAT(text, HasSubstr("<digiKam:ColorLabel>5</digiKam:ColorLabel>"));
  EXPECT_THAT(
      text, HasSubstr(element("dc:subject", "<rdf:Bag>" + item("Flagged") + item("Hidden") + "</rdf:Bag>")));
}

TEST(XmpSidecars, reportsAColorThatHasNoName) {
  PhotoFacts photo;
  photo.colorLabel = 9;
  EXPECT_THAT(sidecarOf(photo).lacks, ElementsAre("color label 9"));
}

// 34.918891670 degrees are 34 degrees and 55.1335002 minutes.
TEST(XmpSidecars, writesPositionsAsDegreesAndMinutes) {
  PhotoFacts photo;
  photo.latitude = -34.91889167;
  photo.longitude = 138.5;
  photo.altitude = -61.04;
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, HasSubstr(element("exif:GPSLatitude", "34,55.1335002S")));
  EXPECT_THAT(text, HasSubstr(element("exif:GPSLongitude", "138,30.0000000E")));
  EXPECT_THAT(text, HasSubstr(element("exif:GPSAltitude", "610/10")));
  EXPECT_THAT(text, HasSubstr(element("exif:GPSAltitudeRef", "1")));
}

TEST(XmpSidecars, roundsMinutesToTheNextDegree) {
  PhotoFacts photo;
  photo.latitude = 9.99999999999;
  photo.longitude = -180;
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, HasSubstr(element("exif:GPSLatitude", "10,0.0000000N")));
  EXPECT_THAT(text, HasSubstr(element("exif:GPSLongitude", "180,0.0000000W")));
}

TEST(XmpSidecars, reportsAPositionOutsideTheEarth) {
  PhotoFacts photo;
  photo.latitude = 91;
  photo.longitude = 0;
  const Sidecar sidecar = sidecarOf(photo);
  EXPECT_THAT(sidecar.text, Not(HasSubstr("GPS")));
  EXPECT_THAT(sidecar.lacks, ElementsAre("a position that is not on Earth"));
}

TEST(XmpSidecars, writesPlaces) {
  PhotoFacts photo;
  photo.place = {"Schweiz", "Bern", "Thun", "Schloss"};
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, HasSubstr(element("photoshop:Country", "Schweiz")));
  EXPECT_THAT(text, HasSubstr(element("photoshop:State", "Bern")));
  EXPECT_THAT(text, HasSubstr(element("photoshop:City", "Thun")));
  EXPECT_THAT(text, HasSubstr(element("Iptc4xmpCore:Location", "Schloss")));
}

TEST(XmpSidecars, writesKeywordsFlatAndWithTheirHierarchy) {
  PhotoFacts photo;
  photo.keywords = {{1, {"Travel", "Japan/日本"}}, {2, {"a|b, c"}}};
  const std::string text = packed(sidecarOf(photo).text);
  EXPECT_THAT(text, HasSubstr(element("dc:subject",
                                      "<rdf:Bag>" + item("Japan/日本") + item("a|b, c") + "</rdf:Bag>")));
  EXPECT_THAT(text, HasSubstr(element("digiKam:TagsList", "<rdf:Seq>" + item("Travel/Japan-日本") +
                                                              item("a|b, c") + "</rdf:Seq>")));
  EXPECT_THAT(text, HasSubstr(element("lr:hierarchicalSubject", "<rdf:Bag>" + item("Travel|Japan/日本") +
                                                                    item("a-b, c") + "</rdf:Bag>")));
}

TEST(XmpSidecars, writesAlbumsAsTagsButNotAsKeywords) {
  const std::string text = packed(sidecarOf({}, FileRole::Original, {{"Trips", "Rome 1/2"}, {"Best"}}).text);
  EXPECT_THAT(text, HasSubstr(element("digiKam:TagsList", "<rdf:Seq>" + item("Albums/Trips/Rome 1-2") +
                                                              item("Albums/Best") + "</rdf:Seq>")));
  EXPECT_THAT(text, HasSubstr(item("Albums|Trips|Rome 1/2")));
  EXPECT_THAT(text, Not(HasSubstr("dc:subject")));
}

TEST(XmpSidecars, writesTheIptcTextsThatHaveAProperty) {
  PhotoFacts photo;
  photo.title = "Title";
  photo.iptc = {{"Headline", "Big news"}, {"ObjectName", "Title"}, {"Secret", "a"}, {"UsageTerms", "Ask me"}};
  const Sidecar sidecar = sidecarOf(photo);
  EXPECT_THAT(sidecar.text, HasSubstr(element("photoshop:Headline", "Big news")));
  EXPECT_THAT(packed(sidecar.text), HasSubstr(element("xmpRights:UsageTerms", standard("Ask me"))));
  EXPECT_THAT(sidecar.lacks, ElementsAre("Secret: a"));
}

FaceFact suzy() {
  FaceFact face;
  face.name = "Suzy";
  face.stored = FactRectangle{0.25, 0.5, 0.125, 0.25};
  face.displayed = FactRectangle{0.25, 0.25, 0.25, 0.125};
  return face;
}

std::string region(const std::string& x, const std::string& y, const std::string& w, const std::string& h) {
  return "<mwg-rs:Name>Suzy</mwg-rs:Name><mwg-rs:Type>Face</mwg-rs:Type>"
         "<mwg-rs:Area rdf:parseType=\"Resource\"><stArea:x>" +
         x + "</stArea:x><stArea:y>" + y + "</stArea:y><stArea:w>" + w + "</stArea:w><stArea:h>" + h +
         "</stArea:h><stArea:unit>normalized</stArea:unit></mwg-rs:Area>";
}

TEST(XmpSidecars, writesFacesInTheStoredPixelsOfTheOriginal) {
  PhotoFacts photo;
  photo.faces = {suzy()};
  photo.storedWidth = 4000;
  photo.storedHeight = 3000;
  photo.width = 3000;
  photo.height = 4000;
  photo.rotation = 90;
  const std::string text = packed(sidecarOf(photo).text);
  EXPECT_THAT(text, HasSubstr(region("0.312500", "0.625000", "0.125000", "0.250000")));
  EXPECT_THAT(text, HasSubstr("<mwg-rs:AppliedToDimensions rdf:parseType=\"Resource\"><stDim:w>4000</stDim:w>"
                              "<stDim:h>3000</stDim:h><stDim:unit>pixel</stDim:unit>"));
  EXPECT_THAT(text, HasSubstr(element("iptcExt:PersonInImage", "<rdf:Bag>" + item("Suzy") + "</rdf:Bag>")));
  EXPECT_THAT(text, HasSubstr(item("People/Suzy")));
}

TEST(XmpSidecars, writesFacesInTheDisplayedPixelsOfTheEditedFile) {
  PhotoFacts photo;
  photo.faces = {suzy()};
  photo.storedWidth = 4000;
  photo.storedHeight = 3000;
  photo.width = 3000;
  photo.height = 4000;
  const std::string text = packed(sidecarOf(photo, FileRole::Edited, {}, 1500, 2000).text);
  EXPECT_THAT(text, HasSubstr(region("0.375000", "0.312500", "0.250000", "0.125000")));
  EXPECT_THAT(text, HasSubstr("<stDim:w>1500</stDim:w><stDim:h>2000</stDim:h>"));
  EXPECT_THAT(packed(sidecarOf(photo, FileRole::Edited).text),
              HasSubstr("<stDim:w>3000</stDim:w><stDim:h>4000</stDim:h>"));
}

TEST(XmpSidecars, leavesOutAFaceThatWasCroppedAway) {
  PhotoFacts photo;
  photo.faces = {suzy()};
  photo.faces[0].displayed.reset();
  const Sidecar sidecar = sidecarOf(photo, FileRole::Edited);
  EXPECT_THAT(sidecar.text, Not(HasSubstr("mwg-rs:RegionList")));
  EXPECT_THAT(sidecar.text, HasSubstr("PersonInImage"));
  EXPECT_THAT(sidecar.lacks, IsEmpty());
}

TEST(XmpSidecars, reportsAFaceWithoutAPlaceInTheOriginal) {
  PhotoFacts photo;
  photo.faces = {suzy()};
  photo.faces[0].stored.reset();
  const Sidecar sidecar = sidecarOf(photo);
  EXPECT_THAT(sidecar.text, Not(HasSubstr("mwg-rs:RegionList")));
  EXPECT_THAT(sidecar.lacks, ElementsAre("where the face of Suzy is in the original"));
}

TEST(XmpSidecars, leavesOutFacesWithoutNames) {
  PhotoFacts photo;
  photo.faces = {suzy()};
  photo.faces[0].name.clear();
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, Not(HasSubstr("mwg-rs")));
  EXPECT_THAT(text, Not(HasSubstr("People")));
}

TEST(XmpSidecars, removesWhatXmlForbids) {
  PhotoFacts photo;
  photo.title = std::string("a\0b\x01\x1F", 5) + "\xEF\xBF\xBE\xEF\xBF\xBF" + "c\xFF";
  photo.caption = "one\r\ntwo\rthree";
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, HasSubstr(">abc\xEF\xBF\xBD<"));
  EXPECT_THAT(text, HasSubstr(">one&#xA;two&#xA;three<"));
}

TEST(XmpSidecars, removesDirectionalIsolatesWithoutCounterpart) {
  PhotoFacts photo;
  photo.title = "\u2068Rome";
  photo.caption = "\u2068Rome\u2069";
  const std::string text = sidecarOf(photo).text;
  EXPECT_THAT(text, HasSubstr(">Rome<"));
  EXPECT_THAT(text, HasSubstr(">\u2068Rome\u2069<"));
}

TEST(XmpSidecars, reportsTextsThatAreTooLong) {
  PhotoFacts photo;
  for (std::int64_t i = 0; i < 1000; ++i)
    photo.keywords.push_back({i, {std::to_string(i) + std::string(64'000, 'x')}});
  const Sidecar sidecar = sidecarOf(photo);
  EXPECT_LT(sidecar.text.size(), 2 * XmpSidecars::kMostText);
  EXPECT_THAT(sidecar.lacks, ElementsAre("texts that are too long for a sidecar"));
}

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }

std::string segment(char marker, const std::string& content) {
  const std::size_t length = content.size() + 2;
  return std::string("\xFF") + marker + static_cast<char>(length >> 8) + static_cast<char>(length & 0xFF) +
         content;
}

const std::string kExif = segment('\xE1', std::string("Exif\0\0MM", 8));
const std::string kPicture =
    segment('\xDB', "quantization") + segment('\xDA', "scan") + "pixels\xFF\xD9 more";
const std::string kXmpName("http://ns.adobe.com/xap/1.0/\0", 29);

std::optional<std::string> embedded(const PhotoFacts& photo, const std::string& file, std::string& why) {
  XmpSidecars sidecars;
  const Albums albums;
  const auto changed = sidecars.embed({photo, albums, FileRole::Original, 0, 0}, bytesOf(file), why);
  if (!changed) return std::nullopt;
  return std::string(changed->begin(), changed->end());
}

TEST(XmpSidecars, embedsFactsAndKeepsEveryOtherByte) {
  PhotoFacts photo;
  photo.title = "Rome";
  std::string why;
  const auto changed = embedded(photo, "\xFF\xD8" + kExif + kPicture, why);
  ASSERT_TRUE(changed) << why;
  EXPECT_EQ(changed->substr(0, 2 + kExif.size()), "\xFF\xD8" + kExif);
  EXPECT_EQ(changed->substr(changed->size() - kPicture.size()), kPicture);
  EXPECT_THAT(*changed, HasSubstr(kXmpName));
  EXPECT_THAT(*changed, HasSubstr("Rome"));
}

TEST(XmpSidecars, keepsOtherPropertiesOfAPacket) {
  PhotoFacts photo;
  photo.title = "new title";
  photo.rating = 4;
  PhotoFacts older;
  older.title = "old title";
  older.caption = "a caption";
  std::string why;
  const auto first = embedded(older, "\xFF\xD8" + kPicture, why);
  ASSERT_TRUE(first) << why;
  const auto second = embedded(photo, *first, why);
  ASSERT_TRUE(second) << why;
  EXPECT_THAT(*second, HasSubstr("new title"));
  EXPECT_THAT(*second, Not(HasSubstr("old title")));
  EXPECT_THAT(*second, HasSubstr("a caption"));
  EXPECT_EQ(second->find(kXmpName), second->rfind(kXmpName));
}

TEST(XmpSidecars, saysWhyAFileCannotHoldTheFacts) {
  std::string why;
  EXPECT_FALSE(embedded({},
                        std::string("\0\0\0\x18"
                                    "ftypheic",
                                    12),
                        why));
  EXPECT_EQ(why, "only JPEG files hold the facts; they are in the sidecar");
  EXPECT_FALSE(embedded({}, "\xFF\xD8\xFF\xD9", why));
  PhotoFacts photo;
  photo.caption = std::string(60'000, 'x');
  EXPECT_FALSE(embedded(photo, "\xFF\xD8" + kPicture, why));
  EXPECT_EQ(why, "there are more facts than a JPEG file holds; they are in the sidecar");
  EXPECT_FALSE(embedded({}, "\xFF\xD8" + segment('\xE1', kXmpName + "no XML") + kPicture, why));
  EXPECT_EQ(why, "the file has XMP that cannot be read; the facts are in the sidecar");
}

}  // namespace
}  // namespace moxtel
