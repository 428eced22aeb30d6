#include "makelibrary/AlbumDataWriter.h"

#include <cstdio>
#include <fstream>
#include <string>

#include "makelibrary/LibraryFolder.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/SqliteWriter.h"

namespace moxtel::makelibrary {

namespace {

constexpr const char* kArchivePath = "/Users/anna/Pictures/iPhoto Library";

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '&')
      out += "&amp;";
    else if (c == '<')
      out += "&lt;";
    else if (c == '>')
      out += "&gt;";
    else
      out += c;
  }
  return out;
}

class AlbumDataWriter final {
 public:
  AlbumDataWriter(const SamplePlan& plan, const std::filesystem::path& file) : plan_(plan), out_(file) {
    out_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
            "1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n<dict>\n";
  }

  void write() {
    text("Application Version", "9.6.1 (910.42)");
    if (isAlone()) text("Archive Path", kArchivePath);
    key("List of Albums"), open("array");
    if (isAlone()) writeFolders();
    for (const Container& album : plan_.albums())
      if (!album.inTrash) writeAlbum(album);
    close("array");
    key("List of Rolls"), open("array");
    for (const Container& folder : plan_.folders())
      if (folder.end > folder.first) writeRoll(folder);
    close("array");
    writeFaces();
    key("Master Image List"), open("dict");
    for (std::size_t i = 0; i < plan_.photoCount(); ++i) writeImage(plan_.photo(i));
    close("dict");
    finish();
  }

  // AlbumData2.xml: albums only, each list as one text.
  void writeListings() {
    key("List of Albums"), open("array");
    for (const Container& album : plan_.albums()) {
      if (album.inTrash || !isListed(album)) continue;
      open("dict");
      text("AlbumName", album.name);
      text("GUID", album.uuid);
      text("KeyListString", joined(plan_.savedList(album)));
      close("dict");
    }
    close("array");
    finish();
  }

 private:
  static std::string joined(const std::vector<std::int64_t>& ids) {
    std::string all;
    for (const std::int64_t id : ids) all += (all.empty() ? "" : ",") + std::to_string(id);
    return all;
  }
  void finish() {
    out_ << "</dict>\n</plist>\n";
    out_.close();
    if (!out_) throw WriteError("cannot write the lists of albums");
  }
  void key(std::string_view name) { out_ << "<key>" << escaped(name) << "</key>"; }
  void open(const char* tag) { out_ << '<' << tag << ">\n"; }
  void close(const char* tag) { out_ << "</" << tag << ">\n"; }
  void text(std::string_view name, std::string_view value) {
    key(name);
    out_ << "<string>" << escaped(value) << "</string>\n";
  }
  void number(std::string_view name, std::uint64_t value) {
    key(name);
    out_ << "<integer>" << value << "</integer>\n";
  }
  void real(std::string_view name, double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.6f", value);
    key(name);
    out_ << "<real>" << digits << "</real>\n";
  }
  void seconds(std::string_view name, double value) {
    key(name);
    out_ << "<real>" << static_cast<std::int64_t>(value) << ".000000</real>\n";
  }
  void writeList(const std::vector<std::int64_t>& versions) {
    key("KeyList"), open("array");
    for (const std::int64_t version : versions) out_ << "<string>" << version << "</string>\n";
    close("array");
  }
  // With saved lists: no album that is behind a project, nor a built-in one without a list.
  bool isListed(const Container& album) const {
    if (plan_.options().savedLists == SavedLists::None) return true;
    if (album.name.empty()) return false;
    return !album.magic || album.uuid == "allPhotosAlbum";
  }

  // Without saved lists: those members that the database lists as well, none for smart albums.
  std::vector<std::int64_t> listOf(const Container& container) const {
    if (plan_.options().savedLists != SavedLists::None) return plan_.savedList(container);
    std::vector<std::int64_t> ids;
    if (container.type == 2) {
      for (std::size_t i = container.first; i < container.end; ++i) ids.push_back(versionOf(i));
    } else {
      for (const std::size_t index : plan_.membersOf(container)) ids.push_back(versionOf(index));
    }
    return ids;
  }
  static std::int64_t versionOf(std::size_t index) { return static_cast<std::int64_t>(2 * index + 2); }

  void writeAlbum(const Container& album) {
    if (!isListed(album)) return;
    const std::vector<std::int64_t> members = listOf(album);
    open("dict");
    number("AlbumId", static_cast<std::uint64_t>(album.modelId));
    text("AlbumName", album.name);
    text("Album Type", album.magic ? "99" : album.subclass == 2 ? "Smart" : "Regular");
    text("GUID", album.uuid);
    writeParent(album);
    number("PhotoCount", members.size());
    if (!members.empty()) text("KeyPhotoKey", std::to_string(members.front()));
    writeList(members);
    close("dict");
  }
  void writeFolders() {
    for (const Container& folder : plan_.folders()) {
      if (folder.type != 1 || folder.magic || folder.inTrash || isBelowProjects(folder)) continue;
      open("dict");
      number("AlbumId", folderNumber(folder));
      text("AlbumName", folder.name);
      text("Album Type", "Folder");
      text("GUID", folder.uuid);
      writeParent(folder);
      number("PhotoCount", 0);
      writeList({});
      close("dict");
    }
  }
  void writeParent(const Container& container) {
    if (!isAlone()) return;
    for (const Container& folder : plan_.folders())
      if (!folder.magic && folder.uuid == container.parentUuid) number("Parent", folderNumber(folder));
  }
  // Not the number of any album.
  static std::uint64_t folderNumber(const Container& folder) {
    return 1'000'000 + static_cast<std::uint64_t>(folder.modelId);
  }
  static bool isBelowProjects(const Container& folder) { return folder.parentUuid == "AllProjectsItem"; }

  void writeRoll(const Container& roll) {
    open("dict");
    number("RollID", static_cast<std::uint64_t>(roll.modelId));
    text("ProjectUuid", roll.uuid);
    text("RollName", roll.name);
    seconds("RollDateAsTimerInterval", plan_.photo(roll.first).date);
    const std::vector<std::int64_t> members = listOf(roll);
    if (!members.empty()) text("KeyPhotoKey", std::to_string(members.front()));
    number("PhotoCount", members.size());
    writeList(members);
    close("dict");
  }
  void writeFaces() {
    key("List of Faces"), open("dict");
    for (const Person& person : plan_.persons()) {
      key(std::to_string(person.faceKey)), open("dict");
      text("key", std::to_string(person.faceKey));
      text("name", person.name);
      if (plan_.photoCount() > 0) text("key image", keyImageOf(person));
      number("key image face index", 0);
      number("PhotoCount", 1);
      number("Order", static_cast<std::uint64_t>(person.faceKey));
      close("dict");
    }
    close("dict");
  }
  void writeImage(const Photo& photo) {
    if (!plan_.isSaved(photo) || photo.inTrash) return;
    writeImage(photo, photo.versionId, photo.versionUuid, photo.hasAdjustments());
    if (isAlone() && !photo.duplicateUuid.empty())
      writeImage(photo, photo.duplicateId, photo.duplicateUuid, photo.kind == MasterKind::Raw);
  }
  void writeImage(const Photo& photo, std::int64_t id, const std::string& uuid, bool preview) {
    key(std::to_string(id)), open("dict");
    text("Caption", photo.caption ? plan_.captions()[photo.caption - 1] : photo.baseName);
    text("Comment", photo.comment ? plan_.captions()[photo.comment - 1] : isAlone() ? " " : "");
    text("GUID", uuid);
    number("Roll", static_cast<std::uint64_t>(plan_.folders()[photo.project].modelId));
    number("Rating", static_cast<std::uint64_t>(photo.rating));
    text("MediaType", photo.kind == MasterKind::Movie ? "Movie" : "Image");
    seconds("DateAsTimerInterval", photo.date);
    const std::string master = "Masters/" + photo.folder + "/" + photo.fileName;
    const std::string proxy = photo.proxyFolder(uuid) + "/" + photo.baseName + ".jpg";
    text("ImagePath", path(isAlone() && preview ? "Previews/" + proxy : master));
    if (isAlone() && preview) text("OriginalPath", path(master));
    text("ThumbPath", path("Thumbnails/" + proxy));
    if (isAlone()) writeFacts(photo);
    close("dict");
  }
  // What the other kinds have in their databases.
  void writeFacts(const Photo& photo) {
    seconds("DateAsTimerIntervalGMT", photo.date);
    if (photo.flagged) number("Flagged", 1);
    if (photo.position) {
      real("latitude", photo.position->latitude);
      real("longitude", photo.position->longitude);
    }
    if (photo.faces.empty()) return;
    key("Faces"), open("array");
    for (std::size_t f = 0; f < photo.faces.size(); ++f) {
      if (!photo.faces[f].named) continue;
      open("dict");
      number("face key", static_cast<std::uint64_t>(plan_.persons()[photo.faces[f].person].faceKey));
      number("face index", f);
      text("rectangle", "{{0.1, 0.4}, {0.15, 0.2}}");
      close("dict");
    }
    close("array");
  }
  std::string keyImageOf(const Person& person) const {
    return isAlone() ? plan_.photo(person.keyPhoto).versionUuid : std::to_string(2 * person.keyPhoto + 2);
  }
  bool isAlone() const { return plan_.options().kind == LibraryKind::AlbumDataOnly; }
  // The one file that a library without databases has names files as the Mac did.
  std::string path(const std::string& below) const {
    return isAlone() ? kArchivePath + ("/" + below) : below;
  }

  const SamplePlan& plan_;
  std::ofstream out_;
};

}  // namespace

void writeAlbumData(const SamplePlan& plan, const std::filesystem::path& file) {
  AlbumDataWriter(plan, file).write();
}

void writeAlbumListings(const SamplePlan& plan, const std::filesystem::path& file) {
  AlbumDataWriter(plan, file).writeListings();
}

}  // namespace moxtel::makelibrary
