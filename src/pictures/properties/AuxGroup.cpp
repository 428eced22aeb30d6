#include "pictures/properties/AuxGroup.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "pictures/properties/XmpNumbers.h"

namespace moxtel::properties {
namespace {

struct Pair {
  const char* key;
  const char* xmp;
};

constexpr Pair kTexts[] = {{"SerialNumber", "aux.SerialNumber"},
                           {"LensModel", "aux.Lens"},
                           {"LensSerialNumber", "aux.LensSerialNumber"},
                           {"OwnerName", "aux.OwnerName"},
                           {"Firmware", "aux.Firmware"}};
constexpr Pair kIntegers[] = {{"LensID", "aux.LensID"}, {"ImageNumber", "aux.ImageNumber"}};

// "24/1 105/1 0/0 0/0"; nil unless these are four numbers.
Value lensInfo(std::string_view text) {
  Array numbers;
  while (!text.empty()) {
    const auto number = quotientOf(text.substr(0, text.find(' ')));
    if (!number || std::isinf(*number)) return {};
    numbers.append(std::isnan(*number) ? 0.0 : *number);
    text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
  }
  return numbers.size() == 4 ? Value(numbers) : Value();
}

void addTo(Dictionary& group, const char* key, Value value) {
  if (!value.isNil()) group.set(key, std::move(value));
}

// ---- face regions (MWG 2.0, with what iPhones add) ----

enum class RegionForm : std::uint8_t { Text, Real, Integer };
struct RegionKey {
  std::string_view path;  // the last name of the XMP path, without its prefix
  const char* key;
  RegionForm form;
};
constexpr RegionKey kRegionKeys[] = {
    {"Type", "Type", RegionForm::Text},
    {"x", "X", RegionForm::Real},
    {"y", "Y", RegionForm::Real},
    {"w", "Width", RegionForm::Real},
    {"h", "Height", RegionForm::Real},
    {"FaceID", "FaceID", RegionForm::Integer},
    {"ConfidenceLevel", "ConfidenceLevel", RegionForm::Integer},
    {"AngleInfoRoll", "AngleInfoRoll", RegionForm::Integer},
    {"AngleInfoYaw", "AngleInfoYaw", RegionForm::Integer},
    {"Timestamp", "Timestamp", RegionForm::Integer},
    // iPhones write a shorter name.
    {"TimeStamp", "Timestamp", RegionForm::Integer},
};

void addRegionFact(Dictionary& region, std::string_view name, std::string_view text) {
  for (const RegionKey& row : kRegionKeys) {
    if (row.path != name) continue;
    if (row.form == RegionForm::Text) region.set(row.key, text);
    if (row.form == RegionForm::Real) addTo(region, row.key, realOf(text));
    if (row.form == RegionForm::Integer) addTo(region, row.key, integerOf(text));
  }
}

constexpr std::size_t kMostRegions = 1000;

// The number in "…RegionList[7]/…"; 0 for another path.
std::size_t regionNumber(std::string_view path) {
  const std::size_t at = path.find("RegionList[");
  if (at == std::string_view::npos) return 0;
  const std::string_view rest = path.substr(at + 11);
  return numberOf<std::size_t>(rest.substr(0, rest.find(']'))).value_or(0);
}

Dictionary regions(const XmpProperties& xmp) {
  Dictionary all;
  std::map<std::size_t, Dictionary> list;
  for (const auto& [path, text] : xmp.below("mwg-rs.Regions")) {
    const std::string_view name = path.substr(path.find_last_of("/:") + 1);
    const bool isSize = path.find("AppliedToDimensions") != std::string_view::npos;
    if (isSize && name == "h") addTo(all, "HeightAppliedTo", integerOf(*text));
    if (isSize && name == "w") addTo(all, "WidthAppliedTo", integerOf(*text));
    const std::size_t number = regionNumber(path);
    if (number > 0 && list.size() < kMostRegions) addRegionFact(list[number], name, *text);
  }
  Array array;
  for (auto& [number, region] : list)
    if (!region.empty()) array.append(std::move(region));
  if (!array.empty()) all.set("RegionList", std::move(array));
  return all;
}

}  // namespace

Dictionary auxGroup(const XmpProperties& xmp) {
  Dictionary group;
  for (const Pair& pair : kTexts)
    if (const auto* text = xmp.first(pair.xmp)) group.set(pair.key, *text);
  for (const Pair& pair : kIntegers)
    if (const auto* text = xmp.first(pair.xmp)) addTo(group, pair.key, integerOf(*text));
  if (const auto* text = xmp.first("aux.LensInfo")) addTo(group, "LensInfo", lensInfo(*text));
  if (const auto* text = xmp.first("aux.FlashCompensation")) addTo(group, "FlashCompensation", realOf(*text));
  Dictionary faces = regions(xmp);
  if (!faces.empty()) group.set("Regions", std::move(faces));
  return group;
}

}  // namespace moxtel::properties
