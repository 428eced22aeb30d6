// A small iPhoto library with the tables of facts, for a test to fill before the first question.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "library/facts/PhotoFactsReader.h"
#include "tests/library/TestLibrary.h"

namespace moxtel::test {

// 2009-07-04 11:22:10 UTC, 13:22:10 in Berlin, in seconds since 2001-01-01 UTC.
inline constexpr double kSummerDay = 268399330;
inline constexpr std::int64_t kSummerDayInBerlin = 1246713730;  // as if UTC, since 1970

class FactsTest : public testing::Test {
 protected:
  FactsTest() {
    files.execute(DatabaseFile::Library, schema("LibraryFacts"));
    files.execute(DatabaseFile::Properties, schema("PropertiesFacts"));
  }

  // A photo with its original, whose uuid is that of the photo and " master". Returns its model id.
  std::int64_t photo(const std::string& uuid, Dictionary more = Dictionary(),
                     Dictionary master = Dictionary()) {
    Dictionary row{{"uuid", uuid},
                   {"masterUuid", uuid + " master"},
                   {"versionNumber", 1},
                   {"showInLibrary", 1},
                   {"isInTrash", 0},
                   {"isHidden", 0},
                   {"fileName", "IMG_1.JPG"},
                   {"masterWidth", 400},
                   {"masterHeight", 200},
                   {"rotation", 0},
                   {"hasEnabledAdjustments", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    Dictionary original{
        {"uuid", uuid + " master"}, {"fileName", "IMG_1.JPG"}, {"imagePath", "2009/07/IMG_1.JPG"},
        {"type", "IMGT"},           {"isInTrash", 0},          {"fileIsReference", 0}};
    for (const auto& entry : master) original.set(entry.key, entry.value);
    const std::int64_t masterId = files.insert("RKMaster", original);
    row.set("masterId", masterId);
    return files.insert("RKVersion", row);
  }
  void row(DatabaseFile file, const std::string& sql) { files.execute(file, "INSERT INTO " + sql); }
  void library(const std::string& sql) { row(DatabaseFile::Library, sql); }
  void properties(const std::string& sql) { row(DatabaseFile::Properties, sql); }
  // A face in the stored picture, by the edges of its box from the bottom left.
  void face(const std::string& master, int key, int index, double left, double lower, double right,
            double upper) {
    std::ostringstream sql;
    sql << "RKDetectedFace "
           "(masterUuid,faceKey,faceIndex,rejected,ignore,topLeftX,topLeftY,topRightX,topRightY,"
           "bottomLeftX,bottomLeftY,bottomRightX,bottomRightY) VALUES ('"
        << master << "'," << key << "," << index << ",0,NULL," << left << "," << upper << "," << right << ","
        << upper << "," << left << "," << lower << "," << right << "," << lower << ")";
    row(DatabaseFile::Faces, sql.str());
  }

  OpenedLibrary& opened() {
    if (!opened_) opened_ = std::make_unique<OpenedLibrary>(files);
    return *opened_;
  }
  PhotoFactsReader& reader() {
    if (!reader_) reader_ = std::make_unique<PhotoFactsReader>(opened().databases, opened().location);
    return *reader_;
  }
  PhotoFacts factsOf(std::int64_t id) {
    const auto facts = reader().photo(id);
    reader().dropCaches();
    opened().nextCommand();
    EXPECT_TRUE(facts.has_value());
    return facts.value_or(PhotoFacts());
  }

  TestLibrary files;

 private:
  static std::string schema(const std::string& name) {
    std::ifstream file(std::string(MOXTEL_SCHEMA_FOLDER) + "/" + name + ".sql");
    std::ostringstream text;
    for (std::string line; std::getline(file, line);)
      if (!line.starts_with("--")) text << line << "\n";
    return text.str();
  }

  std::unique_ptr<OpenedLibrary> opened_;
  std::unique_ptr<PhotoFactsReader> reader_;
};

}  // namespace moxtel::test
