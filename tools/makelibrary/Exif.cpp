#include <cmath>
#include <cstdio>

#include "makelibrary/ByteWriter.h"
#include "makelibrary/ImageFormats.h"
#include "makelibrary/SamplePlan.h"
#include "makelibrary/TiffDirectoryWriter.h"

// Tags of Exif 2.3 (CIPA DC-008).
namespace moxtel::makelibrary {

namespace {

constexpr std::uint16_t kExifPointer = 0x8769;
constexpr std::uint16_t kGpsPointer = 0x8825;

std::string exifDate(double date) {
  const CivilDate d = civilDate(date);
  char text[64];
  std::snprintf(text, sizeof text, "%04d:%02d:%02d %02d:%02d:%02d", d.year, d.month, d.day, d.hour, d.minute,
                d.second);
  return text;
}

TiffDirectoryWriter mainDirectory(const Photo& photo, const std::string& description) {
  TiffDirectoryWriter main;
  if (!description.empty()) main.addText(0x010E, description);
  main.addText(0x010F, "Moxtel");
  main.addText(0x0110, "Sample Camera");
  main.addShort(0x0112, {static_cast<std::uint16_t>(exifOrientation(photo))});
  main.addRationals(0x011A, {72, 1});
  main.addRationals(0x011B, {72, 1});
  main.addShort(0x0128, {2});
  main.addText(0x0131, "moxtel-make-library");
  main.addText(0x0132, exifDate(photo.date));
  main.addLong(kExifPointer, 0);
  if (photo.position) main.addLong(kGpsPointer, 0);
  return main;
}

TiffDirectoryWriter exposureDirectory(const Photo& photo) {
  const auto tenths = [](double value) { return static_cast<std::uint32_t>(std::lround(value * 10)); };
  TiffDirectoryWriter exif;
  exif.addRationals(0x829A, {1, static_cast<std::uint32_t>(std::lround(1 / photo.exposureTime))});
  exif.addRationals(0x829D, {tenths(photo.aperture), 10});
  exif.addShort(0x8827, {static_cast<std::uint16_t>(photo.iso)});
  exif.addUndefined(0x9000, "0230");
  exif.addText(0x9003, exifDate(photo.date));
  exif.addText(0x9004, exifDate(photo.date));
  exif.addShort(0x9207, {5});
  exif.addShort(0x9209, {16});
  exif.addRationals(0x920A, {tenths(photo.focalLength), 10});
  exif.addShort(0xA001, {1});
  exif.addLong(0xA002, static_cast<std::uint32_t>(photo.width));
  exif.addLong(0xA003, static_cast<std::uint32_t>(photo.height));
  return exif;
}

std::vector<std::uint32_t> degreesMinutesSeconds(double degrees) {
  const auto hundredths = static_cast<std::uint32_t>(std::lround(std::abs(degrees) * 360000));
  return {hundredths / 360000, 1, hundredths / 6000 % 60, 1, hundredths % 6000, 100};
}

TiffDirectoryWriter positionDirectory(const Position& position) {
  TiffDirectoryWriter gps;
  gps.addText(0x0001, position.latitude < 0 ? "S" : "N");
  gps.addRationals(0x0002, degreesMinutesSeconds(position.latitude));
  gps.addText(0x0003, position.longitude < 0 ? "W" : "E");
  gps.addRationals(0x0004, degreesMinutesSeconds(position.longitude));
  return gps;
}

}  // namespace

std::string exifSegment(const Photo& photo, const std::string& description) {
  constexpr std::size_t kHeader = 8;
  TiffDirectoryWriter main = mainDirectory(photo, description);
  const TiffDirectoryWriter exposure = exposureDirectory(photo);
  const std::size_t exposureAt = kHeader + main.size();
  const std::size_t positionAt = exposureAt + exposure.size();
  main.setLong(kExifPointer, static_cast<std::uint32_t>(exposureAt));
  main.setLong(kGpsPointer, static_cast<std::uint32_t>(positionAt));
  std::string segment("Exif\0\0", 6);
  segment += "II" + littleEndian(42, 2) + littleEndian(kHeader, 4);
  segment += main.bytes(kHeader) + exposure.bytes(exposureAt);
  if (photo.position) segment += positionDirectory(*photo.position).bytes(positionAt);
  return segment;
}

}  // namespace moxtel::makelibrary
