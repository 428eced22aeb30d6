// Names and forms: Adobe's "XMP, part 2: additional properties"; CIPA DC-010.
#include "pictures/properties/XmpGroups.h"

#include <algorithm>
#include <cmath>

#include "pictures/properties/DateAndTime.h"
#include "pictures/properties/ExifTables.h"
#include "pictures/properties/ExifValues.h"
#include "pictures/properties/XmpNumbers.h"

namespace moxtel::properties {
namespace {

using Texts = std::vector<std::string>;

constexpr std::uint16_t kCompressionTag = 0x0103;

// The XMP names that differ from the key (after "GPS" for a position).
struct Name {
  std::string_view key;
  std::string_view xmp;
};
constexpr Name kNames[] = {{"FlashPixVersion", "FlashpixVersion"},
                           {"FocalLenIn35mmFilm", "FocalLengthIn35mmFilm"},
                           {"SubjectDistRange", "SubjectDistanceRange"},
                           {"GPSGPSVersion", "GPSVersionID"}};

std::string_view xmpNameOf(std::string_view key) {
  const auto found =
      std::find_if(std::begin(kNames), std::end(kNames), [&](const Name& name) { return name.key == key; });
  return found == std::end(kNames) ? key : found->xmp;
}

// Parses each text; nil unless all of them are numbers.
template <class Read>
Value listOf(const Texts& texts, const Read& read) {
  Array all;
  for (const std::string& text : texts) {
    Value one = read(text);
    if (one.isNil()) return {};
    all.append(std::move(one));
  }
  return all;
}

// "2.3.0.0"
Value dottedIntegers(std::string_view text) {
  Array all;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('.'), text.size());
    Value one = integerOf(text.substr(0, end));
    if (one.isNil()) return {};
    all.append(std::move(one));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return all;
}

// "51,30.2142N" or "51,30,12.86N"; nil for anything else.
Value coordinateOf(std::string_view text) {
  double parts[3] = {};
  if (!text.empty()) text.remove_suffix(1);
  for (double& part : parts) {
    const std::size_t end = std::min(text.find(','), text.size());
    const auto number = numberOf<double>(text.substr(0, end));
    if (!number || !std::isfinite(*number)) return {};
    part = *number;
    if (end == text.size()) return roundedCoordinate(parts[0], parts[1], parts[2]);
    text.remove_prefix(end + 1);
  }
  return {};
}

bool isDate(std::string_view key) { return key.starts_with("DateTime"); }

// "2019:07:04 16:24:01", the form of Exif; nil unless date and time exist.
Value exifDate(std::string_view text) {
  const DateAndTime moment = dateAndTimeOfXmp(text);
  if (moment.time.empty()) return {};
  const std::string &d = moment.date, &t = moment.time;
  return d.substr(0, 4) + ":" + d.substr(4, 2) + ":" + d.substr(6) + " " + t.substr(0, 2) + ":" +
         t.substr(2, 2) + ":" + t.substr(4, 2);
}

Value inForm(const Texts& texts, const ExifKey& key) {
  const std::string& text = texts.front();
  switch (key.form) {
    case ExifForm::Integer:
      return integerOf(text);
    case ExifForm::Integers:
      return texts.size() == 1 && text.find('.') != std::string::npos ? dottedIntegers(text)
                                                                      : listOf(texts, integerOf);
    case ExifForm::Real:
      return realOf(text);
    case ExifForm::Reals:
      return listOf(texts, realOf);
    case ExifForm::Text:
      return isDate(key.key) ? exifDate(text) : Value(text);
    case ExifForm::Comment:
      return text.empty() ? Value() : Value(text);
    case ExifForm::Version:
      return versionOf(text);
    case ExifForm::Coordinate:
      return coordinateOf(text);
    default:
      return {};
  }
}

void fill(std::span<const ExifKey> table, const XmpProperties& xmp, const std::string& prefix,
          Dictionary& group) {
  for (const ExifKey& key : table) {
    if (key.tag == kCompressionTag || group.contains(key.key)) continue;
    const std::size_t space = prefix.find('.') + 1;
    const std::string name(xmpNameOf(prefix.substr(space) + key.key));
    const Texts* texts = xmp.find(prefix.substr(0, space) + name);
    Value value = texts ? inForm(*texts, key) : Value();
    if (!value.isNil()) group.set(key.key, std::move(value));
  }
}

// The letter at the end of "51,30.2142N", if the coordinate was valid.
void fillSide(const XmpProperties& xmp, const std::string& key, Dictionary& gps) {
  const std::string* text = xmp.first("exif.GPS" + key);
  if (text && !text->empty() && gps.contains(key) && !gps.contains(key + "Ref"))
    gps.set(key + "Ref", text->substr(text->size() - 1));
}

// One XMP date gives two keys.
void fillGpsTime(const XmpProperties& xmp, Dictionary& gps) {
  const std::string* text = xmp.first("exif.GPSTimeStamp");
  const Value date = text ? exifDate(*text) : Value();
  if (date.isNil() || gps.contains("TimeStamp") || gps.contains("DateStamp")) return;
  gps.set("DateStamp", date.string().substr(0, 10));
  gps.set("TimeStamp", date.string().substr(11));
}

}  // namespace

void fillFromXmp(const XmpProperties& xmp, ExifGroups& groups) {
  if (xmp.empty()) return;
  fill(kTiffKeys, xmp, "tiff.", groups.tiff);
  fill(kExifKeys, xmp, "exif.", groups.exif);
  fill(kExifKeys, xmp, "exifEX.", groups.exif);
  fill(kGpsKeys, xmp, "exif.GPS", groups.gps);
  for (const char* key : {"Latitude", "Longitude", "DestLatitude", "DestLongitude"})
    fillSide(xmp, key, groups.gps);
  fillGpsTime(xmp, groups.gps);
}

}  // namespace moxtel::properties
