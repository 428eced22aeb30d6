// Sources: Exiv2's tables of tags, ExifTool's documentation of their values.
#include "pictures/properties/MakerNotes.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exiv2/exiv2.hpp>

#include "pictures/properties/ExifValues.h"

namespace moxtel::properties {
namespace {

constexpr ExifKey kCanonKeys[] = {
    {0x0007, "Firmware", ExifForm::Text},           {0x0008, "ImageSerialNumber", ExifForm::Integer},
    {0x0009, "OwnerName", ExifForm::Text},          {0x000C, "CameraSerialNumber", ExifForm::Integer},
    {0x0010, "UniqueModelID", ExifForm::Integer},   {0x0095, "LensModel", ExifForm::Text},
    {0x009A, "AspectRatioInfo", ExifForm::Integer},
};

constexpr ExifKey kNikonKeys[] = {
    {0x0002, "ISOSetting", ExifForm::Integers},
    {0x0003, "ColorMode", ExifForm::Text},
    {0x0004, "Quality", ExifForm::Text},
    {0x0005, "WhiteBalanceMode", ExifForm::Text},
    {0x0006, "SharpenMode", ExifForm::Text},
    {0x0007, "FocusMode", ExifForm::Text},
    {0x0008, "FlashSetting", ExifForm::Text},
    {0x000F, "ISOSelection", ExifForm::Text},
    {0x001D, "CameraSerialNumber", ExifForm::Text},
    {0x0080, "ImageAdjustment", ExifForm::Text},
    {0x0082, "LensAdapter", ExifForm::Text},
    {0x0083, "LensType", ExifForm::Integer},
    {0x0084, "LensInfo", ExifForm::Reals},
    {0x0085, "FocusDistance", ExifForm::Real},
    {0x0086, "DigitalZoom", ExifForm::Real},
    {0x0089, "ShootingMode", ExifForm::Integer},
    {0x00A7, "ShutterCount", ExifForm::Integer},
};

// Indexes into Canon's lists CameraSettings and ShotInfo.
enum CanonSetting : std::uint16_t {
  DriveMode = 5,
  ExposureMode = 20,
  Lens = 23,
  MaxAperture = 26,
  MinAperture = 27
};
enum CanonShot : std::uint16_t { WhiteBalance = 7, FlashBias = 15 };

// The number as signed, whatever its declared type.
std::int32_t canonNumber(const Exiv2::Value& value) {
  return static_cast<std::int16_t>(integerAt(value, 0).integerValue());
}

std::string shortest(double number) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

// Exif's ExposureProgram for Canon's.
int programOf(std::int32_t canon) {
  constexpr int kPrograms[] = {0, 2, 4, 3, 1};  // easy, program, shutter, aperture, manual
  return canon >= 0 && canon < static_cast<std::int32_t>(std::size(kPrograms)) ? kPrograms[canon] : 0;
}

std::string inTenths(double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f", number);
  return text;
}

// "24.0-120.0 mm f/4.0" from the shortest and longest focal length and the largest apertures there.
Value nikonLensName(const Array& info) {
  if (info.size() != 4) return {};
  double numbers[4];
  for (std::size_t i = 0; i < 4; ++i) {
    numbers[i] = info[i].doubleValue();
    if (!(numbers[i] > 0 && numbers[i] < 10'000)) return {};
  }
  const auto range = [](double from, double to) {
    return from == to ? inTenths(from) : inTenths(from) + "-" + inTenths(to);
  };
  return range(numbers[0], numbers[1]) + " mm f/" + range(numbers[2], numbers[3]);
}

}  // namespace

double canonStops(std::int32_t steps) {
  const std::int32_t size = std::abs(steps);
  const std::int32_t part = size & 0x1F;
  const double fraction = part == 0x0C ? 1.0 / 3 : part == 0x14 ? 2.0 / 3 : part / 32.0;
  const std::int32_t whole = size / 32;
  return (whole + fraction) * (steps < 0 ? -1 : 1);
}

Value canonFNumber(std::int32_t steps) {
  return steps > 0 ? Value(std::exp2(canonStops(steps) / 2)) : Value();
}

void MakerNotes::add(const std::string& group, const Exiv2::Exifdatum& datum) {
  if (group == "Canon") addKey(kCanonKeys, datum, canon_);
  if (group == "CanonCs") addCanonSetting(datum);
  if (group == "CanonSi" && datum.tag() == WhiteBalance)
    canon_.set("WhiteBalanceIndex", canonNumber(datum.value()));
  if (group == "CanonSi" && datum.tag() == FlashBias)
    canon_.set("FlashExposureComp", canonStops(canonNumber(datum.value())));
  if (group == "Nikon3") addNikon(datum);
  if (group.starts_with("NikonLd") && datum.tagName() == "LensIDNumber")
    lensId_ = integerAt(datum.value(), 0);
}

void MakerNotes::addCanonSetting(const Exiv2::Exifdatum& datum) {
  const Exiv2::Value& value = datum.value();
  const auto setAperture = [&](const char* key) {
    Value number = canonFNumber(canonNumber(value));
    if (!number.isNil()) canon_.set(key, std::move(number));
  };
  if (datum.tag() == DriveMode) canon_.set("ContinuousDrive", canonNumber(value));
  if (datum.tag() == ExposureMode) program_ = programOf(canonNumber(value));
  if (datum.tag() == MaxAperture) setAperture("MaxAperture");
  if (datum.tag() == MinAperture) setAperture("MinAperture");
  if (datum.tag() != Lens || value.count() < 3) return;
  // The longest and shortest focal length, and the units per millimeter.
  const double unit = integerAt(value, 2).doubleValue();
  const double to = integerAt(value, 0).doubleValue() / unit;
  const double from = integerAt(value, 1).doubleValue() / unit;
  if (!(std::isfinite(to) && from > 0)) return;
  canonAux_.set("LensInfo", Array{from, to, 0.0, 0.0});  // the note lacks the apertures
  lensName_ = (from == to ? "" : shortest(from) + "-") + shortest(to) + " mm";
}

void MakerNotes::addNikon(const Exiv2::Exifdatum& datum) {
  addKey(kNikonKeys, datum, nikon_);
  constexpr std::uint16_t kFlashComp = 0x0012;
  if (datum.tag() != kFlashComp) return;
  // Stops are the first byte, signed, times the second divided by the third.
  const std::string bytes = rawBytes(datum.value());
  if (bytes.size() < 3 || bytes[2] == 0) return;
  const auto steps = static_cast<double>(static_cast<signed char>(bytes[0]));
  nikon_.set("FlashExposureComp",
             steps * static_cast<unsigned char>(bytes[1]) / static_cast<unsigned char>(bytes[2]));
}

void MakerNotes::finish(ExifGroups& groups) {
  const auto fill = [](Dictionary& aux, const char* key, const Value& value) {
    if (!value.isNil() && !(value.isString() && value.string().empty())) aux.set(key, value);
  };
  if (program_ != 0 && !groups.exif.contains("ExposureProgram")) groups.exif.set("ExposureProgram", program_);
  fill(canonAux_, "Firmware", canon_["Firmware"]);
  fill(canonAux_, "LensModel", canon_["LensModel"].string().empty() ? lensName_ : canon_["LensModel"]);
  fill(nikonAux_, "LensID", lensId_);
  fill(nikonAux_, "LensInfo", nikon_["LensInfo"]);
  fill(nikonAux_, "LensModel", nikonLensName(nikon_["LensInfo"].array()));
  fill(nikonAux_, "SerialNumber", nikon_["CameraSerialNumber"]);
  fill(nikonAux_, "ImageNumber", nikon_["ShutterCount"]);
  groups.canon = std::move(canon_);
  groups.canonAux = std::move(canonAux_);
  groups.nikon = std::move(nikon_);
  groups.nikonAux = std::move(nikonAux_);
}

}  // namespace moxtel::properties
