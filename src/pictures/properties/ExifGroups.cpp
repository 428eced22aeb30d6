#include "pictures/properties/ExifGroups.h"

#include <exiv2/exiv2.hpp>

#include "pictures/properties/AppleMakerNote.h"
#include "pictures/properties/ExifTables.h"
#include "pictures/properties/ExifValues.h"
#include "pictures/properties/Exiv2Setup.h"
#include "pictures/properties/MakerNotes.h"

namespace moxtel::properties {
namespace {

constexpr std::uint16_t kCompressionTag = 0x0103;
constexpr std::uint16_t kMakerNoteTag = 0x927C;

void addDatum(const Exiv2::Exifdatum& datum, ExifOrigin origin, MakerNotes& notes, ExifGroups& groups) {
  const std::string group = datum.groupName();
  // The compression of an embedded block does not describe the picture.
  const bool isMeant = origin == ExifOrigin::TiffFile || datum.tag() != kCompressionTag;
  if (group == "Image" && isMeant) addKey(kTiffKeys, datum, groups.tiff);
  if (origin == ExifOrigin::TiffFile && (group == "Image" || group.starts_with("SubImage")))
    addKey(kDngKeys, datum, groups.dng);
  notes.add(group, datum);
  if (group == "GPSInfo") addKey(kGpsKeys, datum, groups.gps);
  if (group != "Photo") return;
  addKey(kExifKeys, datum, groups.exif);
  if (datum.tag() == kMakerNoteTag) groups.apple = appleMakerNote(bytesOf(rawBytes(datum.value())));
}

}  // namespace

ExifGroups groupsOf(const Exiv2::ExifData& data, ExifOrigin origin) {
  ExifGroups groups;
  MakerNotes notes;
  for (const Exiv2::Exifdatum& datum : data) {
    try {
      addDatum(datum, origin, notes, groups);
    } catch (const std::exception&) {
      // Skips only this tag.
    }
  }
  notes.finish(groups);
  return groups;
}

ExifGroups exifGroups(FileBytes tiff, ExifOrigin origin) {
  setUpExiv2();
  Exiv2::ExifData data;
  try {
    Exiv2::ExifParser::decode(data, tiff.data(), static_cast<std::uint32_t>(tiff.size()));
  } catch (const std::exception&) {
    // Keeps what was read before the error.
  }
  return groupsOf(data, origin);
}

}  // namespace moxtel::properties
