#include "export/ExportText.h"

#include <sstream>

#include "export/ExportProgress.h"
#include "export/FactsText.h"
#include "export/JsonText.h"

namespace moxtel {
namespace {

TEST(ExportText, groupsDigits) {
  EXPECT_EQ(groupedNumber(0), "0");
  EXPECT_EQ(groupedNumber(999), "999");
  EXPECT_EQ(groupedNumber(1'234'567), "1,234,567");
}

TEST(ExportText, namesSizes) {
  EXPECT_EQ(sizeText(999), "999 bytes");
  EXPECT_EQ(sizeText(1'500), "1.5 kB");
  EXPECT_EQ(sizeText(12'340'000'000), "12.3 GB");
  EXPECT_EQ(sizeText(512'000'000'000), "512 GB");
  EXPECT_EQ(sizeText(9'999'000'000'000'000), "9,999 TB");
}

TEST(ExportText, namesDurations) {
  EXPECT_EQ(durationText(0.4), "0 s");
  EXPECT_EQ(durationText(61), "1 min");
  EXPECT_EQ(durationText(7'500), "2 h 5 min");
}

TEST(ExportText, namesDays) {
  EXPECT_EQ(dayText(0), "1970-01-01");
  EXPECT_EQ(dayText(-1), "1969-12-31");
  EXPECT_EQ(dateText(-1), "1969-12-31T23:59:59");
  EXPECT_EQ(dateText(1'246'713'730), "2009-07-04T13:22:10");
  EXPECT_EQ(dayText(INT64_MAX), std::nullopt);
  EXPECT_EQ(dayText(INT64_MIN), std::nullopt);
}

TEST(ExportText, readsDays) {
  EXPECT_EQ(dayIn("2009-07-04"), 1'246'665'600);
  EXPECT_EQ(dayIn("1969-12-31"), -86'400);
  for (const char* text : {"", "2009-7-4", "2009-02-29", "2009-07-04x", "-009-07-04", "2009/07/04"})
    EXPECT_EQ(dayIn(text), std::nullopt) << text;
}

TEST(JsonText, escapes) {
  EXPECT_EQ(jsonString("a\"b\\c\n\x7F\xFF\u00E9"), "\"a\\\"b\\\\c\\u000a\\u007f\uFFFD\u00E9\"");
  EXPECT_EQ(jsonNumber(0.1), "0.1");
  EXPECT_EQ(jsonNumber(1.0 / 0.0), "null");
}

TEST(FactsText, leavesOutWhatIsMissing) {
  PhotoFacts photo;
  photo.uuid = "u";
  EXPECT_EQ(factsAsJson(photo, {}), R"({"uuid":"u"})");
}

TEST(FactsText, changesWithEveryFact) {
  PhotoFacts photo;
  photo.uuid = "u";
  photo.wallClock = 1'246'713'730;
  photo.latitude = 46.5;
  photo.rating = -1;
  photo.keywords = {{1, {"Places", "Rome"}}};
  FaceFact face;
  face.name = "Suzy";
  face.stored = FactRectangle{0.25, 0.5, 0.125, 0.0625};
  photo.faces = {face};
  EXPECT_EQ(
      factsAsJson(photo, {{"Trips", "Rome"}}),
      R"({"uuid":"u","date":"2009-07-04T13:22:10","rating":-1,"latitude":46.5,"keywords":[["Places","Rome"]],)"
      R"("faces":[{"name":"Suzy","stored":[0.25,0.5,0.125,0.0625]}],"albums":[["Trips","Rome"]]})");
}

TEST(ExportProgress, showsRateAndRemainingTime) {
  std::ostringstream out;
  ExportProgress::Time now{std::chrono::hours(1)};
  ExportProgress progress(&out, ExportProgress::Style::Lines, [&] { return now; });
  progress.begin(100, 10'000'000'000);
  now += std::chrono::seconds(10);
  progress.addBytes(1'000'000'000);
  EXPECT_EQ(out.str(), "Copying: 0 of 100 files, 1.0 GB of 10.0 GB, 100 MB/s, 1 min left\n");
}

TEST(ExportProgress, writesLinesOfJsonForAnotherProgram) {
  std::ostringstream out;
  ExportProgress::Time now{std::chrono::hours(1)};
  ExportProgress progress(&out, ExportProgress::Style::Json, [&] { return now; });
  progress.planned(7);
  progress.planIsReady(10, 1000, 20, 5000);
  progress.begin(10, 1000);
  now += std::chrono::seconds(4);
  progress.addBytes(400);
  progress.addFile();  // too early for another line
  progress.beginStep(ExportProgress::Step::Finishing);
  EXPECT_EQ(out.str(),
            "{\"progress\":{\"step\":\"planning\",\"photos\":7}}\n"
            "{\"progress\":{\"step\":\"planned\",\"ofFiles\":10,\"ofBytes\":1000,\"sidecars\":20,"
            "\"freeBytes\":5000}}\n"
            "{\"progress\":{\"step\":\"copying\",\"files\":0,\"ofFiles\":10,\"bytes\":0,\"ofBytes\":1000}}\n"
            "{\"progress\":{\"step\":\"copying\",\"files\":0,\"ofFiles\":10,\"bytes\":400,\"ofBytes\":1000,"
            "\"bytesPerSecond\":100,\"secondsLeft\":6}}\n"
            "{\"progress\":{\"step\":\"finishing\"}}\n");
}

TEST(ExportProgress, showsNothingWithoutAStream) {
  ExportProgress progress(nullptr);
  progress.begin(1, 1);
  progress.addBytes(1);
}

}  // namespace
}  // namespace moxtel
