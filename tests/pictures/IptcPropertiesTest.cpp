#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pictures/PropertyTesting.h"

namespace moxtel::test {
namespace {

TEST(IptcProperties, doNotExistWithoutABlockOrAPacket) {
  Directory main;
  main.text(0x013B, "Ann").text(0x8298, "hers");
  EXPECT_TRUE(propertiesOf(jpeg(exifSegment(tiff(main))))["{IPTC}"].isNil());
}

TEST(IptcProperties, readDataSetsAsTheyAre) {
  const std::string sets = iimSet(1, 90, "\x1B%G") + iimSet(2, 0, std::string("\0\2", 2)) +
                           iimSet(2, 5, "Name") + iimSet(2, 25, "one") + iimSet(2, 25, "two") +
                           iimSet(2, 55, "20190704") + iimSet(2, 60, "153549+0000") +
                           iimSet(2, 63, "171856") + iimSet(2, 80, "Ann") + iimSet(2, 90, "Z\xC3\xBCrich") +
                           iimSet(2, 95, "ZH") + iimSet(2, 101, "Schweiz") + iimSet(2, 230, "unknown");
  const Dictionary wanted{{"ObjectName", "Name"},
                          {"Keywords", Array{"one", "two"}},
                          {"DateCreated", "20190704"},
                          {"TimeCreated", "153549+0000"},
                          {"DigitalCreationTime", "171856"},
                          {"Byline", Array{"Ann"}},
                          {"City", "Zürich"},
                          {"Province/State", "ZH"},
                          {"Country/PrimaryLocationName", "Schweiz"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(iimSegment(sets)))["{IPTC}"], wanted));
}

TEST(IptcProperties, readTextsWithoutACharacterSetAsLatin1) {
  EXPECT_EQ(propertiesOf(jpeg(iimSegment(iimSet(2, 90, "Z\xFCrich"))))["{IPTC}"]["City"], Value("Zürich"));
}

TEST(IptcProperties, preferThePacketAndReplaceWholeLists) {
  const std::string packet =
      xmp(bag("dc:subject", {"Katie", "Suzy"}) + simple("photoshop:Credit", "in full"));
  const std::string sets = iimSet(2, 25, "Kids") + iimSet(2, 110, "in fu") + iimSet(2, 90, "Ulm");
  const Dictionary wanted{{"Keywords", Array{"Katie", "Suzy"}}, {"Credit", "in full"}, {"City", "Ulm"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(iimSegment(sets) + xmpSegment(packet)))["{IPTC}"], wanted));
}

TEST(IptcProperties, areFilledUpFromExifOnceTheyExist) {
  Directory main, exif;
  main.text(0x013B, "").text(0x8298, "").text(0x010E, "Caption");
  exif.text(0x9003, "2018:09:28 15:35:49").text(0x9004, "2018:09:28 15:35:50");
  const std::string file = jpeg(exifSegment(tiff(main, exif)) + xmpSegment(xmp(simple("xmp:Rating", "0"))));
  const Dictionary wanted{{"StarRating", 0},
                          {"Byline", Array{""}},
                          {"CopyrightNotice", ""},
                          {"Caption/Abstract", "Caption"},
                          {"DateCreated", "20180928"},
                          {"TimeCreated", "153549"},
                          {"DigitalCreationDate", "20180928"},
                          {"DigitalCreationTime", "153550"}};
  EXPECT_TRUE(same(propertiesOf(file)["{IPTC}"], wanted));
}

TEST(IptcProperties, doNotComeFromAPacketWithoutThem) {
  Directory main;
  main.text(0x013B, "Ann");
  const std::string file = jpeg(exifSegment(tiff(main)) + xmpSegment(xmp(simple("aux:Lens", "EF"))));
  EXPECT_TRUE(propertiesOf(file)["{IPTC}"].isNil());
  EXPECT_EQ(propertiesOf(file)["{ExifAux}"]["LensModel"], Value("EF"));
}

TEST(IptcProperties, writeThePacketsDatesTheirWay) {
  const auto created = [](const char* date) {
    return propertiesOf(jpeg(xmpSegment(xmp(simple("photoshop:DateCreated", date)))))["{IPTC}"];
  };
  EXPECT_TRUE(same(created("2007-06-09T07:56:13.16"),
                   Dictionary{{"DateCreated", "20070609"}, {"TimeCreated", "075613"}}));
  EXPECT_TRUE(same(created("2011-05-25T09:22:07+12:00"),
                   Dictionary{{"DateCreated", "20110525"}, {"TimeCreated", "092207+1200"}}));
  EXPECT_TRUE(same(created("2011-05-25"), Dictionary{{"DateCreated", "20110525"}}));
  EXPECT_TRUE(created("yesterday").isNil());
}

TEST(IptcProperties, unfoldTheCreatorsContact) {
  const std::string packet =
      xmp("<Iptc4xmpCore:CreatorContactInfo rdf:parseType='Resource'><Iptc4xmpCore:CiAdrCity>Bonn"
          "</Iptc4xmpCore:CiAdrCity><Iptc4xmpCore:CiUrlWork>http://x.example/</Iptc4xmpCore:CiUrlWork>"
          "</Iptc4xmpCore:CreatorContactInfo>" +
          bag("Iptc4xmpExt:PersonInImage", {"Ann"}) + languages("xmpRights:UsageTerms", "none") +
          bag("photoshop:SupplementalCategories", {"a", "b"}) + simple("Iptc4xmpCore:CountryCode", "DE") +
          bag("dc:creator", {"Ann", "Bob"}, "Seq"));
  const Dictionary wanted{
      {"CreatorContactInfo", Dictionary{{"CiAdrCity", "Bonn"}, {"CiUrlWork", "http://x.example/"}}},
      {"PersonInImage", Array{"Ann"}},
      {"UsageTerms", "none"},
      {"SupplementalCategory", Array{"a", "b"}},
      {"Country/PrimaryLocationCode", "DE"},
      {"Byline", Array{"Ann", "Bob"}}};
  EXPECT_TRUE(same(propertiesOf(jpeg(xmpSegment(packet)))["{IPTC}"], wanted));
}

// ---- other groups ----

TEST(AuxProperties, comeFromThePacket) {
  const std::string packet =
      xmp(simple("aux:SerialNumber", "6001440") + simple("aux:Lens", "24.0-120.0 mm f/4.0") +
          simple("aux:LensInfo", "24/1 120/1 0/0 0/0") + simple("aux:LensID", "170") +
          simple("aux:ImageNumber", "8458") + simple("aux:FlashCompensation", "0/1") +
          simple("aux:Firmware", "1.0.0") + simple("aux:ApproximateFocusDistance", "5/1"));
  const Dictionary wanted{{"SerialNumber", "6001440"},
                          {"LensModel", "24.0-120.0 mm f/4.0"},
                          {"LensInfo", Array{24.0, 120.0, 0.0, 0.0}},
                          {"LensID", 170},
                          {"ImageNumber", 8458},
                          {"FlashCompensation", 0.0},
                          {"Firmware", "1.0.0"}};
  EXPECT_TRUE(same(propertiesOf(jpeg(xmpSegment(packet)))["{ExifAux}"], wanted));
}

TEST(AuxProperties, includeTheRegionsOfFaces) {
  const std::string packet = xmp(
      "<mwg-rs:Regions rdf:parseType='Resource'><mwg-rs:AppliedToDimensions rdf:parseType='Resource'>"
      "<stDim:h>2448</stDim:h><stDim:w>3264</stDim:w><stDim:unit>pixel</stDim:unit></"
      "mwg-rs:AppliedToDimensions>"
      "<mwg-rs:RegionList><rdf:Seq><rdf:li rdf:parseType='Resource'><mwg-rs:Area rdf:parseType='Resource'>"
      "<stArea:x>0.25</stArea:x><stArea:y>0.5</stArea:y><stArea:w>0.125</stArea:w><stArea:h>0.1875</stArea:h>"
      "<stArea:unit>normalized</stArea:unit></mwg-rs:Area><mwg-rs:Type>Face</mwg-rs:Type>"
      "<mwg-rs:Extensions rdf:parseType='Resource'><apple-fi:FaceID>8</apple-fi:FaceID>"
      "<apple-fi:ConfidenceLevel>250</apple-fi:ConfidenceLevel></mwg-rs:Extensions></rdf:li></rdf:Seq>"
      "</mwg-rs:RegionList></mwg-rs:Regions>");
  const Dictionary face{{"Type", "Face"},        {"X", 0.25},        {"Y", 0.5},
                        {"Width", 0.125},        {"Height", 0.1875}, {"FaceID", 8},
                        {"ConfidenceLevel", 250}};
  const Dictionary wanted{
      {"Regions",
       Dictionary{{"HeightAppliedTo", 2448}, {"WidthAppliedTo", 3264}, {"RegionList", Array{face}}}}};
  const Value all = propertiesOf(jpeg(xmpSegment(packet)));
  EXPECT_TRUE(same(all["{ExifAux}"], wanted));
  EXPECT_TRUE(all["{IPTC}"].isNil());
}

}  // namespace
}  // namespace moxtel::test
