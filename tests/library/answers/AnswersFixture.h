// A small library to be filled by a test, and the objects that answer from its files. Fill it before the
// first question.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "library/answers/LibraryAnswers.h"
#include "library/answers/SmartAlbums.h"
#include "tests/fakes/FakeClock.h"
#include "tests/library/TestLibrary.h"
#include "tests/library/answers/MadeRule.h"

namespace moxtel::test {

class AnswersTest : public testing::Test {
 protected:
  // A photo that is shown in the library. Returns its model id.
  std::int64_t photo(const std::string& uuid, Dictionary more = Dictionary()) {
    Dictionary row{
        {"uuid", uuid}, {"versionNumber", 1}, {"showInLibrary", 1}, {"isInTrash", 0}, {"isHidden", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    return files.insert("RKVersion", row);
  }
  void folder(const char* uuid, const char* path, int type = 1, Dictionary more = Dictionary()) {
    Dictionary row{{"uuid", uuid}, {"folderPath", path}, {"folderType", type}, {"isInTrash", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    files.insert("RKFolder", row);
  }
  std::int64_t album(const char* uuid, Dictionary more = Dictionary()) {
    Dictionary row{{"uuid", uuid}, {"name", uuid}, {"albumType", 1}, {"albumSubclass", 3}, {"isInTrash", 0}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    return files.insert("RKAlbum", row);
  }
  void member(std::int64_t albumId, std::int64_t versionId) {
    files.insert("RKAlbumVersion", Dictionary{{"albumId", albumId}, {"versionId", versionId}});
  }
  // Sorted by date.
  void smartAlbum(const char* uuid, const Dictionary& rule, Dictionary more = Dictionary()) {
    Dictionary row{{"albumSubclass", 2},
                   {"queryData", stored(rule)},
                   {"queryFolderUuid", "LibraryFolder"},
                   {"sortKeyPath", "exifProperties.ImageDate"},
                   {"sortAscending", 1}};
    for (const auto& entry : more) row.set(entry.key, entry.value);
    album(uuid, row);
  }

  // Lists as the photo application saves them, by uuid, in a file of the library.
  struct Saved {
    std::string uuid;
    std::vector<std::int64_t> photos;
  };
  void saveLists(const std::vector<Saved>& albums, const std::vector<Saved>& rolls = {}) {
    std::ofstream file(files.path() + "/AlbumData.xml");
    file << "<plist version=\"1.0\"><dict><key>List of Albums</key><array>";
    for (const Saved& saved : albums) write(file, "GUID", saved);
    file << "</array><key>List of Rolls</key><array>";
    for (const Saved& saved : rolls) write(file, "ProjectUuid", saved);
    file << "</array></dict></plist>";
  }
  void saveShortLists(const std::vector<Saved>& albums) {
    std::filesystem::create_directory(files.path() + "/iLifeShared");
    std::ofstream file(files.path() + "/iLifeShared/AlbumData2.xml");
    file << "<plist version=\"1.0\"><dict><key>List of Albums</key><array>";
    for (const Saved& saved : albums) {
      file << "<dict><key>GUID</key><string>" << saved.uuid << "</string><key>KeyListString</key><string>";
      for (std::size_t i = 0; i < saved.photos.size(); ++i) file << (i > 0 ? "," : "") << saved.photos[i];
      file << "</string></dict>";
    }
    file << "</array></dict></plist>";
  }

  LibraryAnswers& answers() {
    open();
    return *answers_;
  }
  SmartAlbums& smartAlbums() {
    open();
    return *smartAlbums_;
  }
  SavedLists& savedLists() {
    open();
    return *savedLists_;
  }
  AlbumData& albumData() {
    open();
    return *albumData_;
  }
  // The members of a smart album; "none" when it is not one.
  std::vector<std::string> membersOf(const char* uuid) {
    const SmartAlbumMembers* members = smartAlbums().membersOf(uuid);
    if (!members) return {"none"};
    std::vector<std::string> uuids;
    for (const Text& text : members->photos) uuids.push_back(text.str());
    return uuids;
  }

  TestLibrary files;
  FakeClock clock;
  std::optional<OpenedLibrary> opened;

 private:
  static void write(std::ofstream& file, const char* key, const Saved& saved) {
    file << "<dict><key>" << key << "</key><string>" << saved.uuid << "</string><key>KeyList</key><array>";
    for (const std::int64_t id : saved.photos) file << "<string>" << id << "</string>";
    file << "</array></dict>";
  }
  void open() {
    if (opened) return;
    opened.emplace(files);
    albumData_.emplace(opened->location, opened->files, opened->messages);
    albumData_->loadAlbumData();
    savedLists_.emplace(opened->databases, *albumData_, opened->files, opened->location);
    smartAlbums_.emplace(opened->databases, *savedLists_, opened->messages, opened->defaults, clock);
    answers_.emplace(opened->databases, *smartAlbums_);
  }

  std::optional<AlbumData> albumData_;
  std::optional<SavedLists> savedLists_;
  std::optional<SmartAlbums> smartAlbums_;
  std::optional<LibraryAnswers> answers_;
};

}  // namespace moxtel::test
