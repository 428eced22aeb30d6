// The contents of a sample library, a pure function of the options. Photos are not stored but computed on
// each call, so that 1,000,000 of them need no memory and several threads can call at once.
//
// Dates are seconds since 2001-01-01 00:00:00 UTC, positions degrees.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "makelibrary/MakeLibraryOptions.h"

namespace moxtel::makelibrary {

enum class MasterKind : std::uint8_t { Jpeg, Raw, Tiff, Movie };
enum class Season : std::uint8_t { Spring, Summer, Autumn, Winter };

struct Position {
  double latitude = 0;
  double longitude = 0;
};

// One face detected on a master.
struct DetectedFace {
  std::size_t person = 0;  // index into persons
  bool named = true;       // false: detected but not named
};

struct Photo {
  std::size_t index = 0;
  std::int64_t masterId = 0;
  std::int64_t originalVersionId = 0;  // versionNumber 0, which is hidden
  std::int64_t versionId = 0;          // versionNumber 1, the visible one
  std::string masterUuid;
  std::string originalVersionUuid;
  std::string versionUuid;
  // versionNumber 2; empty uuid without a duplicate.
  std::int64_t duplicateId = 0;
  std::string duplicateUuid;
  std::size_t project = 0;
  MasterKind kind = MasterKind::Jpeg;
  std::string fileName;  // "IMG_1994.JPG"
  std::string baseName;  // "IMG_1994"
  std::string folder;    // "2014/07/12/20140712-093015", under Masters, Thumbnails and Previews
  double date = 0;
  int rotation = 0;  // degrees, clockwise, from master to upright
  int width = 0;     // pixels of the master, as stored
  int height = 0;
  bool adjusted = false;
  bool inTrash = false;
  bool flagged = false;
  bool hidden = false;
  int rating = 0;
  std::optional<Position> position;
  std::size_t caption = 0;  // 1-based index into captions; 0 for none
  std::size_t comment = 0;
  std::vector<DetectedFace> faces;
  int iso = 0;
  double aperture = 0;      // f-number
  double exposureTime = 0;  // seconds
  double focalLength = 0;   // millimeters
  double duration = 0;      // seconds, of a movie
  // From here on only with MakeLibraryOptions::everything.
  std::string title;                   // empty: the version has the file's name
  std::string zone = "Europe/Zurich";  // name of the time zone
  int colorLabel = -1;
  std::vector<std::size_t> keywords;  // indexes into kSampleKeywords
  bool cropped = false;               // to kCrop
  std::string pairUuid;               // of the master of the JPEG that was taken with a RAW; else empty
  std::int64_t pairId = 0;
  std::optional<std::size_t> place;  // index into kPlaces

  bool hasAdjustments() const { return adjusted || kind == MasterKind::Raw; }
  bool upright() const { return rotation == 0; }
  std::string proxyFolder(const std::string& uuid) const { return folder + "/" + uuid; }
};

// Exif's orientation of the photo's master.
int exifOrientation(const Photo& photo);

struct Container {
  std::int64_t modelId = 0;
  std::string uuid;
  std::string name;
  std::string parentUuid;
  int type = 0;      // folders: 1 folder, 2 project; albums: albumType
  int subclass = 0;  // albums: 2 smart, 3 regular
  std::string folderPath;
  // Projects: their photos are those from first to end - 1.
  std::size_t first = 0;
  std::size_t end = 0;
  bool inTrash = false;
  bool magic = false;
  bool hiddenWhenEmpty = false;
  std::string note;
  std::string posterUuid;
  std::string implicitAlbumUuid;  // projects of libraries with smart albums
  const struct SmartAlbum* smart = nullptr;
};

struct Person {
  std::int64_t faceKey = 0;
  std::string uuid;
  std::string name;
  std::size_t keyPhoto = 0;
};

class SamplePlan final {
 public:
  explicit SamplePlan(MakeLibraryOptions options);

  const MakeLibraryOptions& options() const { return options_; }
  Photo photo(std::size_t index) const;
  std::size_t photoCount() const { return options_.photos; }
  // Folders and projects; each folder before its contents.
  const std::vector<Container>& folders() const { return folders_; }
  const std::vector<Container>& albums() const { return albums_; }
  // Only in a library with photos.
  const Container& firstProject() const { return folders_[projects_.front()]; }
  const std::vector<Person>& persons() const { return persons_; }
  // Captions and comments; photos refer to them by index.
  const std::vector<std::string>& captions() const { return captions_; }
  // Photo indexes of a regular album, ascending, without photos in the trash.
  std::vector<std::size_t> membersOf(const Container& album) const;
  // Whether the saved lists know a photo.
  bool isSaved(const Photo& photo) const;
  // The ids of a container's versions, in the photo application's order, as it saved them.
  std::vector<std::int64_t> savedList(const Container& container) const;
  Season seasonOf(const Photo& photo) const;

 private:
  void planFolders();
  void planProjects();
  void planProject(std::size_t number, std::size_t count);
  void planAlbums();
  void planSmartAlbums();
  void planImplicitAlbums();
  void planBuiltInAlbums();
  void planPersons();
  void planCaptions();
  std::size_t projectOf(std::size_t index) const;
  std::pair<std::size_t, std::size_t> rangeOf(const Container& container) const;
  static double placeIn(const Container& container, const Photo& photo);
  double projectDate(std::size_t project) const;
  void describeFile(Photo& photo, class Random& random) const;
  void describeExposure(Photo& photo, class Random& random) const;
  void describeFaces(Photo& photo, class Random& random) const;
  Container& addFolder(std::string uuid, std::string name, std::string parent, int type);
  Container& addAlbum(std::string uuid, std::string name, std::string parent, int subclass);

  MakeLibraryOptions options_;
  std::vector<Container> folders_;
  std::vector<std::size_t> projects_;  // indexes into folders_ of projects with photos
  std::vector<Container> albums_;
  std::vector<Person> persons_;
  std::vector<std::string> captions_;
};

// Year, month and day of a date, UTC.
struct CivilDate {
  int year, month, day, hour, minute, second;
};
CivilDate civilDate(double date);

}  // namespace moxtel::makelibrary
