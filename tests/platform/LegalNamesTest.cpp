#include "platform/files/LegalNames.h"

namespace moxtel {
namespace {

TEST(LegalNames, keepsANameThatEveryFileSystemAllows) {
  EXPECT_EQ(legalName("2009-07-04 Rome & Völs, 3rd day (a)"), "2009-07-04 Rome & Völs, 3rd day (a)");
}

TEST(LegalNames, composesAccents) { EXPECT_EQ(legalName("Bibliothe\u0300que"), "Biblioth\u00E8que"); }

TEST(LegalNames, replacesForbiddenAndControlCharacters) {
  EXPECT_EQ(legalName("a<b>c:d\"e/f\\g|h?i*j"), "a_b_c_d_e_f_g_h_i_j");
  EXPECT_EQ(legalName(std::string("a\nb\0c\x7F", 6)), "a_b_c_");
}

TEST(LegalNames, leavesTheFolderByNoName) {
  EXPECT_EQ(legalName("."), "");
  EXPECT_EQ(legalName(".."), "");
  EXPECT_EQ(legalName("../../etc/passwd"), "_.._etc_passwd");
  EXPECT_EQ(legalName("/etc"), "_etc");
}

TEST(LegalNames, removesDotsAndBlanksAtBothEnds) {
  EXPECT_EQ(legalName("  .hidden. . "), "hidden");
  EXPECT_EQ(legalName("Rome..."), "Rome");
}

TEST(LegalNames, removesMarksOfDirection) { EXPECT_EQ(legalName("a\u202Egpj.exe"), "agpj.exe"); }

TEST(LegalNames, replacesInvalidUtf8) { EXPECT_EQ(legalName("a\xFFz"), "a\uFFFDz"); }

TEST(LegalNames, marksNamesOfDevices) {
  EXPECT_EQ(legalName("con"), "con_");
  EXPECT_EQ(legalName("Aux.2009"), "Aux_.2009");
  EXPECT_EQ(legalName("LPT9"), "LPT9_");
  EXPECT_EQ(legalName("COM\u00B2"), "COM\u00B2_");
  EXPECT_EQ(legalName("COM0"), "COM0");
  EXPECT_EQ(legalName("console"), "console");
  EXPECT_EQ(legalParts("NUL.JPG", 0).stem, "NUL_");
}

TEST(LegalNames, cutsBetweenCharacters) {
  std::string longName;
  for (int i = 0; i < 100; ++i) longName += "\u20AC";  // three bytes each
  EXPECT_EQ(legalName(longName, 100).size(), 99u);
  EXPECT_EQ(legalName(longName).size(), 255u);
}

TEST(LegalNames, splitsTheExtension) {
  EXPECT_EQ(partsOf("IMG_1.JPG").stem, "IMG_1");
  EXPECT_EQ(partsOf("IMG_1.JPG").extension, ".JPG");
  EXPECT_EQ(partsOf("a.b.tar").stem, "a.b");
  EXPECT_EQ(partsOf("no extension").extension, "");
  EXPECT_EQ(partsOf("Rome, Mr. Smith and I").extension, "");
  EXPECT_EQ(partsOf(".jpg").stem, ".jpg");
  EXPECT_EQ(partsOf("a.averyveryverylongend").extension, "");
}

TEST(LegalNames, cutsTheStemSoThatSuffixesFit) {
  const NameParts parts = legalParts(std::string(400, 'x') + ".jpg", 16);
  EXPECT_EQ(parts.stem.size(), 255u - 4 - 16);
  EXPECT_EQ(parts.extension, ".jpg");
}

TEST(LegalNames, namesAFileWithoutAName) {
  EXPECT_EQ(legalParts("", 0).stem, "Untitled");
  EXPECT_EQ(legalParts("...", 0).stem, "Untitled");
}

TEST(LegalNames, numbersEqualNames) {
  EXPECT_EQ(numbered("IMG_1", 1, 200), "IMG_1");
  EXPECT_EQ(numbered("IMG_1", 2, 200), "IMG_1 (2)");
  EXPECT_EQ(numbered("IMG_1", 12, 8), "IMG (12)");
}

}  // namespace
}  // namespace moxtel
