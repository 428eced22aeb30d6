#include "pictures/properties/PropertyDictionary.h"

#include "pictures/properties/AuxGroup.h"
#include "pictures/properties/ExifGroups.h"
#include "pictures/properties/IccDescription.h"
#include "pictures/properties/IptcGroup.h"
#include "pictures/properties/PictureFacts.h"
#include "pictures/properties/XmpGroups.h"
#include "pictures/properties/XmpProperties.h"

namespace moxtel::properties {
namespace {

constexpr const char* kStandardRgb = "sRGB IEC61966-2.1";
constexpr double kCentimetersPerInch = 2.54;
constexpr std::int64_t kPerCentimeter = 3;
constexpr std::int64_t kNoUnit = 1;

// The platform does not report the XMP of these formats here.
bool tellsIptc(PictureKind kind) { return kind != PictureKind::Heif && kind != PictureKind::Raw; }

void addGroup(Dictionary& all, const char* name, Dictionary group) {
  if (!group.empty()) all.set(name, std::move(group));
}

// In dots per inch. Exif's comes first, except in PNG, whose own is more reliable.
void addResolution(Dictionary& all, PictureKind kind, const PictureFacts& facts, const Dictionary& tiff) {
  const Value& unit = tiff["ResolutionUnit"];
  const double factor = unit.integerValue() == kPerCentimeter ? kCentimetersPerInch : 1.0;
  const auto add = [&](const char* key, const char* tag, double own) {
    const double stated = unit.integerValue() == kNoUnit ? 0 : tiff[tag].doubleValue() * factor;
    const double first = kind == PictureKind::Png ? own : stated;
    const double second = kind == PictureKind::Png ? stated : own;
    if (first > 0 || second > 0) all.set(key, first > 0 ? first : second);
  };
  const Resolution own = facts.resolution.value_or(Resolution());
  add("DPIWidth", "XResolution", own.width);
  add("DPIHeight", "YResolution", own.height);
}

void addProfileName(Dictionary& all, const PictureFacts& facts, const Dictionary& exif) {
  if (!facts.profileName.empty()) {
    all.set("ProfileName", facts.profileName);
    return;
  }
  const auto described = profileDescription(facts.icc);
  // A picture that states a color space, even "uncalibrated", counts as sRGB.
  const Value& space = exif["ColorSpace"];
  const bool namesSpace =
      (space == Value(1) || space == Value(65535)) && facts.colorModel == color_model::kRgb;
  if (described) {
    all.set("ProfileName", *described);
  } else if (facts.icc.empty() && (facts.isStandardRgb || namesSpace)) {
    all.set("ProfileName", kStandardRgb);
  }
}

void addForm(Dictionary& all, PictureKind kind, const PictureFacts& facts) {
  all.set("PixelWidth", facts.width);
  all.set("PixelHeight", facts.height);
  all.set("Depth", facts.depth);
  all.set("ColorModel", facts.colorModel);
  if (facts.hasAlpha) all.set("HasAlpha", true);
  if (facts.isFloat) all.set("IsFloat", true);
  if (facts.isIndexed) all.set("IsIndexed", true);
  if (kind == PictureKind::Heif) all.set("PrimaryImage", 1);
}

void addOrientation(Dictionary& all, const Dictionary& tiff) {
  const Value& orientation = tiff["Orientation"];
  if (orientation.integerValue() >= 1 && orientation.integerValue() <= 8) all.set("Orientation", orientation);
}

void addTiles(const PictureFacts& facts, Dictionary& tiff) {
  if (facts.tileWidth == 0) return;
  tiff.set("TileWidth", facts.tileWidth);
  tiff.set("TileLength", facts.tileHeight);
}

// Values of the maker note are added unless XMP has them. The platform takes Nikon's only from RAW files.
Dictionary auxGroupOf(PictureKind kind, const XmpProperties& xmp, const ExifGroups& exif) {
  Dictionary aux = auxGroup(xmp);
  const auto fill = [&](const Dictionary& note) {
    for (const auto& [key, value] : note)
      if (!aux.contains(key)) aux.set(key, value);
  };
  fill(exif.canonAux);
  if (kind == PictureKind::Raw) fill(exif.nikonAux);
  return aux;
}

Dictionary pngGroup(const PictureFacts& facts, const XmpProperties& xmp) {
  Dictionary png = facts.png;
  const std::string* tool = png.empty() ? nullptr : xmp.first("xmp.CreatorTool");
  if (tool && !png.contains("Software")) png.set("Software", *tool);
  return png;
}

}  // namespace

Dictionary assembled(PictureKind kind, const PictureFacts& facts, ExifGroups exif) {
  const XmpProperties xmp(facts.xmp);
  if (kind == PictureKind::Png) fillFromXmp(xmp, exif);
  addTiles(facts, exif.tiff);
  Dictionary all;
  addForm(all, kind, facts);
  addResolution(all, kind, facts, exif.tiff);
  addOrientation(all, exif.tiff);
  addProfileName(all, facts, exif.exif);
  if (tellsIptc(kind)) addGroup(all, "{IPTC}", iptcGroup(facts, xmp, exif));
  if (kind != PictureKind::Heif) addGroup(all, "{ExifAux}", auxGroupOf(kind, xmp, exif));
  addGroup(all, "{PNG}", pngGroup(facts, xmp));
  addGroup(all, "{JFIF}", facts.jfif);
  addGroup(all, "{GIF}", facts.gif);
  addGroup(all, "{WebP}", facts.webp);
  addGroup(all, "{8BIM}", facts.photoshop);
  addGroup(all, "{TIFF}", std::move(exif.tiff));
  addGroup(all, "{Exif}", std::move(exif.exif));
  addGroup(all, "{GPS}", std::move(exif.gps));
  addGroup(all, "{CIFF}", facts.ciff);
  addGroup(all, "{DNG}", std::move(exif.dng));
  addGroup(all, "{MakerCanon}", std::move(exif.canon));
  addGroup(all, "{MakerNikon}", std::move(exif.nikon));
  addGroup(all, "{MakerApple}", std::move(exif.apple));
  return all;
}

std::optional<PictureFacts> factsOf(PictureKind kind, ByteSource& file) {
  switch (kind) {
    case PictureKind::Jpeg:
      return jpegFacts(file);
    case PictureKind::Png:
      return pngFacts(file);
    case PictureKind::Gif:
      return gifFacts(file);
    case PictureKind::Psd:
      return photoshopFacts(file);
    case PictureKind::Heif:
      return heifFacts(file);
    case PictureKind::WebP:
      return webpFacts(file);
    case PictureKind::Bmp:
      return bitmapFacts(file);
    case PictureKind::Jpeg2000:
      return jpeg2000Facts(file);
    default:
      return std::nullopt;
  }
}

Dictionary propertyDictionary(PictureKind kind, const PictureFacts& facts) {
  return assembled(kind, facts, exifGroups(facts.exif, ExifOrigin::Block));
}

std::optional<Dictionary> propertyDictionary(PictureKind kind, ByteSource& file) {
  const auto facts = factsOf(kind, file);
  return facts ? std::optional(propertyDictionary(kind, *facts)) : std::nullopt;
}

}  // namespace moxtel::properties
