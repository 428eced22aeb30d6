#include "library/facts/PhotoFactsReader.h"

#include <gmock/gmock.h>

#include "tests/library/facts/FactsFixture.h"

namespace moxtel {
namespace {

using test::FactsTest;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Pair;

testing::Matcher<const std::optional<FactRectangle>&> isBox(double x, double y, double width, double height) {
  constexpr double kNear = 1e-9;
  return testing::Optional(testing::AllOf(Field(&FactRectangle::x, DoubleNear(x, kNear)),
                                          Field(&FactRectangle::y, DoubleNear(y, kNear)),
                                          Field(&FactRectangle::width, DoubleNear(width, kNear)),
                                          Field(&FactRectangle::height, DoubleNear(height, kNear))));
}

class PhotoFactsReaderTest : public FactsTest {};

TEST_F(PhotoFactsReaderTest, hasNothingWhereTheLibraryHasNothing) {
  const std::int64_t id = files.insert("RKVersion", Dictionary{{"versionNumber", 1}, {"showInLibrary", 1}});
  const PhotoFacts facts = factsOf(id);
  EXPECT_EQ(facts.modelId, id);
  EXPECT_EQ(facts.title, "");
  EXPECT_FALSE(facts.imageDate);
  EXPECT_FALSE(facts.wallClock);
  EXPECT_FALSE(facts.latitude);
  EXPECT_EQ(facts.width, 0);
  EXPECT_EQ(facts.colorLabel, -1);
  EXPECT_THAT(facts.keywords, IsEmpty());
  EXPECT_THAT(facts.originalPaths, IsEmpty());
}

TEST_F(PhotoFactsReaderTest, readsTheColumnsOfAVersion) {
  const std::int64_t id = photo("u", Dictionary{{"name", "At the lake"},
                                                {"imageDate", test::kSummerDay},
                                                {"imageTimeZoneName", "Europe/Berlin"},
                                                {"mainRating", 4},
                                                {"colorLabelIndex", 2},
                                                {"isFlagged", 1},
                                                {"isHidden", 1},
                                                {"exifLatitude", 52.5},
                                                {"exifLongitude", 13.4}});
  const PhotoFacts facts = factsOf(id);
  EXPECT_EQ(facts.uuid, "u");
  EXPECT_EQ(facts.masterUuid, "u master");
  EXPECT_EQ(facts.title, "At the lake");
  EXPECT_EQ(facts.imageDate, 1246706530);
  EXPECT_EQ(facts.wallClock, test::kSummerDayInBerlin);
  EXPECT_EQ(facts.timeZoneName, "Europe/Berlin");
  EXPECT_EQ(facts.rating, 4);
  EXPECT_EQ(facts.colorLabel, 2);
  EXPECT_TRUE(facts.isFlagged);
  EXPECT_TRUE(facts.isHidden);
  EXPECT_FALSE(facts.isInTrash);
  EXPECT_EQ(facts.latitude, 52.5);
  EXPECT_EQ(facts.longitude, 13.4);
  EXPECT_EQ(facts.fileName, "IMG_1.JPG");
  EXPECT_THAT(facts.originalPaths, ElementsAre(files.path() + "/Masters/2009/07/IMG_1.JPG"));
}

TEST_F(PhotoFactsReaderTest, takesNoTitleFromTheFileName) {
  EXPECT_EQ(factsOf(photo("stem", Dictionary{{"name", "IMG_1"}})).title, "");
  EXPECT_EQ(factsOf(photo("whole", Dictionary{{"name", "IMG_1.JPG"}})).title, "");
  EXPECT_EQ(
      factsOf(photo("original", Dictionary{{"name", "DSC_7"}}, Dictionary{{"originalFileName", "DSC_7.NEF"}}))
          .title,
      "");
  EXPECT_EQ(factsOf(photo("other", Dictionary{{"name", "IMG_1 at home"}})).title, "IMG_1 at home");
}

TEST_F(PhotoFactsReaderTest, namesTheFileAsTheUserKnewIt) {
  const PhotoFacts facts = factsOf(photo(
      "u", Dictionary(), Dictionary{{"originalFileName", "Beach.JPG"}, {"imagePath", "a/IMG_1_2.JPG"}}));
  EXPECT_EQ(facts.fileName, "Beach.JPG");
  EXPECT_THAT(facts.originalPaths, ElementsAre(files.path() + "/Masters/a/IMG_1_2.JPG"));
}

TEST_F(PhotoFactsReaderTest, boundsRatingsLabelsAndPositions) {
  EXPECT_EQ(factsOf(photo("rejected", Dictionary{{"mainRating", -1}})).rating, -1);
  EXPECT_EQ(factsOf(photo("great", Dictionary{{"mainRating", 900}})).rating, 5);
  EXPECT_EQ(factsOf(photo("label", Dictionary{{"colorLabelIndex", 123456}})).colorLabel, -1);
  EXPECT_FALSE(factsOf(photo("pole", Dictionary{{"exifLatitude", 91.0}, {"exifLongitude", 0.0}})).latitude);
  EXPECT_FALSE(factsOf(photo("nowhere", Dictionary{{"exifLatitude", 0.0}, {"exifLongitude", 0.0}})).latitude);
  EXPECT_FALSE(factsOf(photo("half", Dictionary{{"exifLatitude", 9.0}})).latitude);
  EXPECT_FALSE(factsOf(photo("year 100000", Dictionary{{"imageDate", 1e15}})).wallClock);
  EXPECT_FALSE(factsOf(photo("text", Dictionary{{"rotation", "many"}, {"masterWidth", "wide"}})).rotation);
}

TEST_F(PhotoFactsReaderTest, cutsAHugeTextAtACharacter) {
  std::string name;
  while (name.size() <= kLongestFactText) name += "é";
  EXPECT_EQ(factsOf(photo("u", Dictionary{{"name", name}})).title.size(), kLongestFactText);
}

TEST_F(PhotoFactsReaderTest, givesTheSizeAsDisplayed) {
  const PhotoFacts turned = factsOf(photo("turned", Dictionary{{"rotation", 90}}));
  EXPECT_EQ(turned.storedWidth, 400);
  EXPECT_EQ(turned.width, 200);
  EXPECT_EQ(turned.height, 400);
  EXPECT_FALSE(turned.isCropped);
  const PhotoFacts cropped = factsOf(photo("cropped", Dictionary{{"rotation", 90},
                                                                 {"hasEnabledAdjustments", 1},
                                                                 {"processedWidth", 200},
                                                                 {"processedHeight", 100}}));
  EXPECT_EQ(cropped.width, 200);
  EXPECT_EQ(cropped.height, 100);
  EXPECT_TRUE(cropped.isCropped);
}

TEST_F(PhotoFactsReaderTest, isEditedByAdjustmentsOrAnotherTurn) {
  EXPECT_TRUE(isEdited(factsOf(photo("adjusted", Dictionary{{"hasEnabledAdjustments", 1}})), 1));
  const PhotoFacts upright = factsOf(photo("upright"));
  EXPECT_FALSE(isEdited(upright, 1));
  EXPECT_TRUE(isEdited(upright, 6)) << "the user turned it back";
  const PhotoFacts turned = factsOf(photo("turned", Dictionary{{"rotation", 90}}));
  EXPECT_FALSE(isEdited(turned, 6));
  EXPECT_TRUE(isEdited(turned, 1));
  EXPECT_FALSE(isEdited(turned, std::nullopt)) << "only the file knows";
  EXPECT_FALSE(isEdited(factsOf(photo("180", Dictionary{{"rotation", 180}})), 3));
  EXPECT_FALSE(isEdited(factsOf(photo("270", Dictionary{{"rotation", 270}})), 8));
}

TEST_F(PhotoFactsReaderTest, readsKeywordsWithTheirParents) {
  const std::int64_t id = photo("u");
  library("RKKeyword (modelId,name,parentId) VALUES (1,'Travel',NULL),(2,'Japan',1),(3,'Aunt',NULL)");
  library("RKKeywordForVersion (versionId,keywordId) VALUES (1,2),(1,3),(1,3),(1,99)");
  const PhotoFacts facts = factsOf(id);
  ASSERT_EQ(facts.keywords.size(), 2U);
  EXPECT_THAT(facts.keywords[0].path, ElementsAre("Aunt"));
  EXPECT_THAT(facts.keywords[1].path, ElementsAre("Travel", "Japan"));
  EXPECT_EQ(facts.keywords[1].id, 2);
}

TEST_F(PhotoFactsReaderTest, readsIptcPlacesAndExposure) {
  const std::int64_t id = photo("u", Dictionary{{"exifLatitude", 1.0}, {"exifLongitude", 2.0}});
  properties("RKUniqueString VALUES (1,'A boat'),(2,'Anna'),(3,'© Anna'),(4,'Moxtel'),(5,'X100'),(6,' ')");
  properties(
      "RKIptcProperty (versionId,propertyKey,stringId) VALUES (1,'Caption/Abstract',1),(1,'Byline',2),"
      "(1,'CopyrightNotice',3),(1,'Headline',6),(1,'Gone',77)");
  properties("RKExifStringProperty (versionId,propertyKey,stringId) VALUES (1,'Make',4),(1,'Model',5)");
  properties(
      "RKExifNumberProperty (versionId,propertyKey,numberProperty) VALUES (1,'ApertureValue',2.8),"
      "(1,'ShutterSpeed',0.01),(1,'ISOSpeedRating',400),(1,'FocalLength',35),(1,'Altitude',61),"
      "(2,'Altitude',7),(1,'Flash','none')");
  properties(
      "RKPlace (modelId,type,defaultName) VALUES (10,1,'Deutschland'),(11,2,'Bayern'),(12,16,'Lindau'),"
      "(13,45,'Hafen'),(14,7,'Europa')");
  library("RKPlaceForVersion (versionId,placeId) VALUES (1,10),(1,11),(1,12),(1,13),(1,14),(1,15)");
  const PhotoFacts facts = factsOf(id);
  EXPECT_EQ(facts.caption, "A boat");
  EXPECT_EQ(facts.creator, "Anna");
  EXPECT_EQ(facts.rights, "© Anna");
  EXPECT_THAT(facts.iptc, ElementsAre(Pair("Byline", "Anna"), Pair("Caption/Abstract", "A boat"),
                                      Pair("CopyrightNotice", "© Anna")));
  EXPECT_EQ(facts.camera.make, "Moxtel");
  EXPECT_EQ(facts.camera.model, "X100");
  EXPECT_EQ(facts.camera.aperture, 2.8);
  EXPECT_EQ(facts.camera.exposureTime, 0.01);
  EXPECT_EQ(facts.camera.iso, 400);
  EXPECT_EQ(facts.camera.focalLength, 35);
  EXPECT_EQ(facts.altitude, 61);
  EXPECT_EQ(facts.place.country, "Deutschland");
  EXPECT_EQ(facts.place.state, "Bayern");
  EXPECT_EQ(facts.place.city, "Lindau");
  EXPECT_EQ(facts.place.spot, "Hafen");
}

TEST_F(PhotoFactsReaderTest, takesPlacesFromIptcWhereTheLibraryHasNone) {
  const std::int64_t id = photo("u");
  properties("RKUniqueString VALUES (1,'Lindau'),(2,'Deutschland')");
  properties(
      "RKIptcProperty (versionId,propertyKey,stringId) VALUES (1,'City',1),"
      "(1,'Country/PrimaryLocationName',2)");
  EXPECT_EQ(factsOf(id).place.city, "Lindau");
  EXPECT_EQ(factsOf(id).place.country, "Deutschland");
}

TEST_F(PhotoFactsReaderTest, putsFacesIntoBothPictures) {
  const std::int64_t id = photo("u", Dictionary{{"rotation", 90}});
  row(DatabaseFile::Faces, "RKFaceName (modelId,faceKey,uuid,name) VALUES (70,7,'f','Suzy')");
  face("u master", 7, 1, 0.1, 0.6, 0.3, 0.9);
  face("u master", 0, 0, 0.5, 0.0, 0.6, 0.2);
  const PhotoFacts facts = factsOf(id);
  ASSERT_EQ(facts.faces.size(), 2U);
  EXPECT_EQ(facts.faces[0].name, "");
  EXPECT_EQ(facts.faces[0].person, 0);
  const FaceFact& suzy = facts.faces[1];
  EXPECT_EQ(suzy.name, "Suzy");
  EXPECT_EQ(suzy.person, 70);
  EXPECT_EQ(suzy.faceKey, 7);
  EXPECT_EQ(suzy.index, 1);
  // From the top left: x 0.1, y 1 - 0.9, 0.2 wide, 0.3 high. Turned by 90: 1 - y - h, x, h, w.
  EXPECT_THAT(suzy.stored, isBox(0.1, 0.1, 0.2, 0.3));
  EXPECT_THAT(suzy.displayed, isBox(0.6, 0.1, 0.3, 0.2));
}

TEST_F(PhotoFactsReaderTest, takesFacesOfACroppedPictureFromItsOwnTable) {
  const std::int64_t id =
      photo("u", Dictionary{{"hasEnabledAdjustments", 1}, {"processedWidth", 200}, {"processedHeight", 200}});
  face("u master", 7, 0, 0.1, 0.6, 0.3, 0.9);
  face("u master", 8, 1, 0.9, 0.0, 1.0, 0.1);
  library(
      "RKVersionFaceContent (versionId,faceKey,faceRectLeft,faceRectTop,faceRectWidth,faceRectHeight) "
      "VALUES (1,7,0.25,0.5,0.5,0.4),(2,8,0,0,1,1)");
  const PhotoFacts facts = factsOf(id);
  ASSERT_EQ(facts.faces.size(), 2U);
  EXPECT_THAT(facts.faces[0].stored, isBox(0.1, 0.1, 0.2, 0.3));
  EXPECT_THAT(facts.faces[0].displayed, isBox(0.25, 0.1, 0.5, 0.4));
  EXPECT_TRUE(facts.faces[1].stored);
  EXPECT_FALSE(facts.faces[1].displayed) << "cropped away";
}

TEST_F(PhotoFactsReaderTest, leavesOutRejectedFacesAndBoxesOfNothing) {
  const std::int64_t id = photo("u");
  row(DatabaseFile::Faces, "RKDetectedFace (masterUuid,faceKey,rejected) VALUES ('u master',1,1)");
  row(DatabaseFile::Faces, "RKDetectedFace (masterUuid,faceKey,ignore) VALUES ('u master',2,1)");
  face("u master", 3, 0, 0.5, 0.5, 0.5, 0.9);
  row(DatabaseFile::Faces, "RKDetectedFace (masterUuid,faceKey,topLeftX) VALUES ('u master',4,'left')");
  const PhotoFacts facts = factsOf(id);
  ASSERT_EQ(facts.faces.size(), 2U);
  EXPECT_FALSE(facts.faces[0].stored);
  EXPECT_FALSE(facts.faces[1].stored);
}

TEST_F(PhotoFactsReaderTest, knowsPreviewsAlternatesAndReferencedFiles) {
  const std::int64_t edited = photo("edited", Dictionary{{"hasEnabledAdjustments", 1}},
                                    Dictionary{{"alternateMasterUuid", "jpeg"}, {"isTrulyRaw", 1}});
  files.insert("RKMaster",
               Dictionary{{"uuid", "jpeg"}, {"fileName", "IMG_1.JPG"}, {"imagePath", "a/IMG_1.JPG"}});
  files.insert("RKImageProxyState", Dictionary{{"versionId", edited},
                                               {"fullSizePreviewPath", "2009/x/IMG_1.jpg"},
                                               {"fullSizePreviewUpToDate", 0}});
  const std::int64_t outside =
      photo("outside", Dictionary(),
            Dictionary{{"fileIsReference", 1}, {"fileVolumeUuid", "v"}, {"imagePath", "Fotos/a.jpg"}});
  library("RKVolume (uuid,name) VALUES ('v','Photos 2011')");
  const PhotoFacts facts = factsOf(edited);
  EXPECT_THAT(facts.editedPaths, ElementsAre(files.path() + "/Previews/2009/x/IMG_1.jpg"));
  EXPECT_FALSE(facts.editedIsUpToDate);
  EXPECT_TRUE(facts.isRaw);
  ASSERT_TRUE(facts.alternate);
  EXPECT_EQ(facts.alternate->masterUuid, "jpeg");
  EXPECT_THAT(facts.alternate->paths, ElementsAre(files.path() + "/Masters/a/IMG_1.JPG"));
  const PhotoFacts referenced = factsOf(outside);
  ASSERT_TRUE(referenced.referenced);
  EXPECT_EQ(referenced.referenced->volume, "Photos 2011");
  EXPECT_EQ(referenced.referenced->path, "Fotos/a.jpg");
  EXPECT_THAT(referenced.originalPaths, IsEmpty());
}

TEST_F(PhotoFactsReaderTest, marksWhatIsInTheTrash) {
  files.insert("RKFolder",
               Dictionary{{"uuid", "e"}, {"folderType", 2}, {"folderPath", "1/2/"}, {"isInTrash", 1}});
  files.insert(
      "RKFolder",
      Dictionary{
          {"uuid", "k"}, {"folderType", 2}, {"name", "Lake"}, {"folderPath", "1/3/"}, {"isInTrash", 0}});
  EXPECT_TRUE(factsOf(photo("self", Dictionary{{"isInTrash", 1}})).isInTrash);
  EXPECT_TRUE(factsOf(photo("original", Dictionary(), Dictionary{{"isInTrash", 1}})).isInTrash);
  EXPECT_TRUE(factsOf(photo("event", Dictionary{{"projectUuid", "e"}})).isInTrash);
  const PhotoFacts kept = factsOf(photo("kept", Dictionary{{"projectUuid", "k"}}));
  EXPECT_FALSE(kept.isInTrash);
  EXPECT_EQ(kept.eventUuid, "k");
  EXPECT_EQ(kept.eventName, "Lake");
  EXPECT_EQ(kept.eventId, 2);
}

TEST_F(PhotoFactsReaderTest, readsARangeInOrderAndLeavesOutHiddenOriginals) {
  photo("one");
  photo("original", Dictionary{{"versionNumber", 0}, {"showInLibrary", 0}});
  photo("three");
  photo("far away", Dictionary{{"modelId", 5'000'000'000}});
  std::vector<std::string> found;
  EXPECT_TRUE(reader().read(1, reader().lastModelId(), [&found](PhotoFacts facts) {
    found.push_back(facts.uuid);
    return true;
  }));
  EXPECT_THAT(found, ElementsAre("one", "three", "far away"));
  EXPECT_FALSE(reader().photo(2));
  EXPECT_FALSE(reader().photo(4));
}

TEST_F(PhotoFactsReaderTest, saysThatSomethingCouldNotBeRead) {
  const std::int64_t id = photo("u", Dictionary{{"name", "Lake"}});
  files.overwrite(DatabaseFile::Properties, std::string(50'000, 'x'));
  std::vector<std::string> titles;
  EXPECT_FALSE(reader().read(id, id, [&titles](PhotoFacts facts) {
    titles.push_back(facts.title);
    return true;
  }));
  EXPECT_THAT(titles, ElementsAre("Lake"));
}

}  // namespace
}  // namespace moxtel
