// Everything that a library knows about one photo or movie. A plain value; any thread.
//
// What a library lacks is an empty text, list or optional, or 0 for a number where 0 means nothing. All
// values come from the library and are untrusted: texts are valid UTF-8 of at most kLongestFactText bytes,
// lists have at most kMostFactsOfAPhoto entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace moxtel {

inline constexpr std::size_t kLongestFactText = 64 << 10;
inline constexpr std::size_t kMostFactsOfAPhoto = 1000;

// Fractions of a picture's width and height, from its top left corner.
struct FactRectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const FactRectangle&, const FactRectangle&) = default;
};

struct KeywordFact {
  std::int64_t id = 0;            // RKKeyword.modelId
  std::vector<std::string> path;  // the names from the root down; the last one is the keyword's own
};

struct FaceFact {
  std::string name;          // empty: a face without a name
  std::int64_t person = 0;   // RKFaceName.modelId; 0 without a name
  std::int64_t faceKey = 0;  // RKFaceName.faceKey
  std::int64_t index = 0;    // RKDetectedFace.faceIndex, the number in the face tile's name
  // In the pixels of the original as they are stored, before its Exif orientation. Nothing where the library
  // keeps no such rectangle.
  std::optional<FactRectangle> stored;
  // In the picture as it is displayed, turned and cropped. Nothing for a face that was cropped away.
  std::optional<FactRectangle> displayed;
};

struct PlaceFacts {
  std::string country;
  std::string state;
  std::string city;
  std::string spot;  // a point of interest
};

struct CameraFacts {
  std::string make;
  std::string model;
  std::string lens;
  std::optional<double> aperture;      // f-number
  std::optional<double> exposureTime;  // seconds
  std::optional<double> iso;
  std::optional<double> focalLength;   // millimeters
  std::optional<double> flash;         // Exif's bits: 1 fired
  std::optional<double> exposureBias;  // EV
};

// A file outside the library, to which it only refers.
struct ReferencedFile {
  std::string volume;  // the disk's name; empty if unknown
  std::string path;    // below the disk
};

// The other half of a pair: the JPEG of a RAW, or the RAW of a JPEG.
struct AlternateFile {
  std::string masterUuid;
  std::string fileName;            // the user's name for it; empty if unknown
  std::vector<std::string> paths;  // absolute, for LibraryFiles::open; the first one that exists counts
};

using FactTexts = std::vector<std::pair<std::string, std::string>>;  // property and value
using FactNumbers = std::vector<std::pair<std::string, double>>;

struct PhotoFacts {
  std::int64_t modelId = 0;
  std::int64_t masterId = 0;
  std::string uuid;
  std::string masterUuid;
  bool isOnlyInAlbums = false;     // shared by somebody: in no event
  std::int32_t versionNumber = 1;  // 2 and more: a duplicate, which shares the original file

  std::string fileName;     // the original's name as the user knows it, "IMG_1994.JPG"
  std::string versionName;  // RKVersion.name
  std::string title;        // versionName, unless it is only fileName or its stem
  std::string caption;

  std::optional<double> imageDate;        // seconds since 1970-01-01 UTC
  std::string timeZoneName;               // "Europe/Zurich"
  std::optional<std::int64_t> wallClock;  // what a clock there showed, in seconds since 1970-01-01 as if UTC

  std::int32_t storedWidth = 0;  // pixels of the original as stored, before its Exif orientation
  std::int32_t storedHeight = 0;
  std::int32_t width = 0;  // pixels as displayed: turned and cropped
  std::int32_t height = 0;
  std::int32_t rotation = 0;  // degrees clockwise from stored to displayed: 0, 90, 180, 270

  bool isMovie = false;
  bool isRaw = false;
  bool isLive = false;  // a photo with a short movie
  bool isFlagged = false;
  bool isHidden = false;
  bool isInTrash = false;        // itself, its original, or its event
  bool isAdjusted = false;       // the library has edits of it that are switched on
  bool isCropped = false;        // the displayed picture has another shape than the turned original
  bool mayBeTurned = false;      // a user's turn shows only in rotation; see isEdited()
  bool isMissing = false;        // the library says that the original file is missing
  std::int32_t rating = 0;       // -1 rejected, 0 none, 1 to 5
  std::int32_t colorLabel = -1;  // -1 none
  double duration = 0;           // seconds, of a movie

  std::optional<double> latitude;  // degrees, both or none
  std::optional<double> longitude;
  std::optional<double> altitude;  // meters
  PlaceFacts place;

  std::vector<KeywordFact> keywords;
  std::string creator;
  std::string rights;
  FactTexts iptc;  // all of RKIptcProperty, by its keys: "Byline", "CopyrightNotice", "City"
  FactTexts exifTexts;
  FactNumbers exifNumbers;
  CameraFacts camera;

  std::int64_t eventId = 0;  // RKFolder.modelId; 0: in no event
  std::string eventUuid;
  std::string eventName;  // empty: named by its date

  std::vector<FaceFact> faces;

  // Absolute paths for LibraryFiles::open, best first.
  std::vector<std::string> originalPaths;  // empty for a referenced file
  std::vector<std::string> editedPaths;    // the full-size preview; empty: the library has none
  std::vector<std::string> smallPaths;     // smaller pictures, for an original that is only in the cloud
  bool editedIsUpToDate = true;            // the preview shows the latest edits
  std::optional<ReferencedFile> referenced;
  std::optional<AlternateFile> alternate;
  // The movie of a live photo, absolute, for LibraryFiles::open; empty for other photos. The file is missing
  // where it is only in the cloud.
  std::string livePath;
};

// Whether the user edited the photo: it has edits, or he turned it otherwise than its Exif orientation (1 to
// 8) says. Without the orientation, which only the file knows, a turn does not count.
bool isEdited(const PhotoFacts& photo, std::optional<int> exifOrientation);

}  // namespace moxtel
