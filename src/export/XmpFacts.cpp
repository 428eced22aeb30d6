#include "export/XmpFacts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "export/ExportText.h"
#include "export/SidecarText.h"
#include "library/facts/PictureShape.h"

namespace moxtel {

namespace {

enum class Form : std::uint8_t { Text, Language, Bag };

struct IptcProperty {
  std::string_view key;  // in the library
  const char* xmp;
  Form form = Form::Text;
};

// IPTC Photo Metadata Standard, "XMP specs" of each property.
constexpr std::array kIptcProperties{
    IptcProperty{"BylineTitle", "Xmp.photoshop.AuthorsPosition"},
    IptcProperty{"Category", "Xmp.photoshop.Category"},
    IptcProperty{"Country/PrimaryLocationCode", "Xmp.iptc.CountryCode"},
    IptcProperty{"Credit", "Xmp.photoshop.Credit"},
    IptcProperty{"Headline", "Xmp.photoshop.Headline"},
    IptcProperty{"OriginalTransmissionReference", "Xmp.photoshop.TransmissionReference"},
    IptcProperty{"RightsUsageTerms", "Xmp.xmpRights.UsageTerms", Form::Language},
    IptcProperty{"Source", "Xmp.photoshop.Source"},
    IptcProperty{"SpecialInstructions", "Xmp.photoshop.Instructions"},
    IptcProperty{"SupplementalCategory", "Xmp.photoshop.SupplementalCategories", Form::Bag},
    IptcProperty{"Urgency", "Xmp.photoshop.Urgency"},
    IptcProperty{"UsageTerms", "Xmp.xmpRights.UsageTerms", Form::Language},
    IptcProperty{"Writer/Editor", "Xmp.photoshop.CaptionWriter"},
};

// Aperture's order; 0 and less: none.
constexpr std::array<const char*, 7> kLabels{"Red", "Orange", "Yellow", "Green", "Blue", "Purple", "Gray"};

class XmpBuilder final {
 public:
  XmpBuilder(const SidecarInput& input, std::size_t mostText, std::vector<std::string>& lacks)
      : input_(input), photo_(input.facts), room_(mostText), lacks_(lacks) {}

  Exiv2::XmpData build() {
    addTexts();
    addMarks();
    addDates();
    addPosition();
    addPlace();
    addTags();
    addIptc();
    addRegions();
    if (isFull_) lacks_.emplace_back("texts that are too long for a sidecar");
    return std::move(data_);
  }

 private:
  // False when no text of this size fits any more.
  bool takeRoom(std::size_t size) {
    const bool fits = size <= room_;
    if (fits) room_ -= size;
    isFull_ = isFull_ || !fits;
    return fits;
  }
  // Empty when it does not fit, or nothing is left of it.
  std::string clean(std::string_view text) {
    if (text.size() > room_) return takeRoom(text.size()), std::string();
    std::string result = xmlText(text);
    takeRoom(result.size());
    return result;
  }
  void put(const std::string& key, const std::string& text) {
    const Exiv2::XmpTextValue value(text);
    data_.add(Exiv2::XmpKey(key), &value);
  }
  void putStruct(const std::string& key, Exiv2::XmpValue::XmpArrayType array = Exiv2::XmpValue::xaNone) {
    Exiv2::XmpTextValue value("");
    if (array == Exiv2::XmpValue::xaNone) value.setXmpStruct();
    if (array != Exiv2::XmpValue::xaNone) value.setXmpArrayType(array);
    data_.add(Exiv2::XmpKey(key), &value);
  }
  void putLanguage(const char* key, const std::string& text) {
    Exiv2::LangAltValue value;
    value.value_["x-default"] = text;
    data_.add(Exiv2::XmpKey(key), &value);
  }
  void putList(const char* key, const std::vector<std::string>& texts, Exiv2::TypeId type) {
    Exiv2::XmpArrayValue value(type);
    for (const std::string& text : texts) value.read(text);
    if (!texts.empty()) data_.add(Exiv2::XmpKey(key), &value);
  }
  // Nothing for a text of which nothing is left.
  void putText(const char* key, std::string_view text, Form form = Form::Text) {
    const std::string value = clean(text);
    if (value.empty()) return;
    if (form == Form::Text) put(key, value);
    if (form == Form::Language) putLanguage(key, value);
    if (form == Form::Bag) putList(key, {value}, Exiv2::xmpBag);
  }

  void addTexts() {
    putText("Xmp.dc.title", photo_.title, Form::Language);
    putText("Xmp.dc.description", photo_.caption, Form::Language);
    putText("Xmp.tiff.ImageDescription", photo_.caption, Form::Language);
    putText("Xmp.dc.rights", photo_.rights, Form::Language);
    putText("Xmp.iptcExt.Event", photo_.eventName, Form::Language);
    const std::string creator = clean(photo_.creator);
    if (!creator.empty()) putList("Xmp.dc.creator", {creator}, Exiv2::xmpSeq);
  }

  void addMarks() {
    put("Xmp.xmp.Rating", std::to_string(photo_.rating));
    if (photo_.isFlagged) put("Xmp.digiKam.PickLabel", "3");
    if (photo_.colorLabel <= 0) return;
    const auto index = static_cast<std::size_t>(photo_.colorLabel - 1);
    if (index >= kLabels.size()) {
      lacks_.push_back("color label " + std::to_string(photo_.colorLabel));
      return;
    }
    put("Xmp.xmp.Label", kLabels[index]);
    put("Xmp.digiKam.ColorLabel", std::to_string(photo_.colorLabel));
  }

  void addDates() {
    const auto date = photo_.wallClock ? dateText(*photo_.wallClock) : std::nullopt;
    if (!date) return;
    for (const char* key : {"Xmp.exif.DateTimeOriginal", "Xmp.photoshop.DateCreated", "Xmp.xmp.CreateDate"})
      put(key, *date);
    // Programs shift dates with an offset, and the zone is often that of the camera's settings only: it has a
    // property of its own, which they leave alone.
    putText("Xmp.moxtel.TimeZone", photo_.timeZoneName);
  }

  void addPosition() {
    if (!photo_.latitude || !photo_.longitude) return;
    const auto latitude = gpsText(*photo_.latitude, 90, 'N', 'S');
    const auto longitude = gpsText(*photo_.longitude, 180, 'E', 'W');
    if (!latitude || !longitude) {
      lacks_.emplace_back("a position that is not on Earth");
      return;
    }
    put("Xmp.exif.GPSVersionID", "2.3.0.0");
    put("Xmp.exif.GPSLatitude", *latitude);
    put("Xmp.exif.GPSLongitude", *longitude);
    addAltitude();
  }

  void addAltitude() {
    // Meters; no camera is farther from the ground.
    constexpr double kMost = 1e8;
    if (!photo_.altitude || !(std::abs(*photo_.altitude) <= kMost)) return;
    put("Xmp.exif.GPSAltitudeRef", *photo_.altitude < 0 ? "1" : "0");
    put("Xmp.exif.GPSAltitude", std::to_string(std::llround(std::abs(*photo_.altitude) * 10)) + "/10");
  }

  void addPlace() {
    putText("Xmp.photoshop.Country", photo_.place.country);
    putText("Xmp.photoshop.State", photo_.place.state);
    putText("Xmp.photoshop.City", photo_.place.city);
    putText("Xmp.iptc.Location", photo_.place.spot);
  }

  // A tag with its place in the hierarchy, in the two forms that programs read.
  void addTag(const std::vector<std::string>& path) {
    std::size_t size = 0;
    for (const std::string& name : path) size += 2 * name.size();
    if (size > room_ && !takeRoom(size)) return;
    std::string tag = hierarchicalTag(path, '/');
    if (tag.empty() || !tags_.insert(tag).second || !takeRoom(2 * tag.size())) return;
    tagsList_.push_back(std::move(tag));
    hierarchical_.push_back(hierarchicalTag(path, '|'));
  }
  void addSubject(const std::string& name) {
    std::string subject = clean(name);
    if (!subject.empty() && subjects_.insert(subject).second) subject_.push_back(std::move(subject));
  }
  void addKeyword(const std::vector<std::string>& path) {
    if (path.empty()) return;
    addSubject(path.back());
    addTag(path);
  }

  void addTags() {
    for (const KeywordFact& keyword : photo_.keywords) addKeyword(keyword.path);
    if (photo_.isFlagged) addKeyword({"Flagged"});
    if (photo_.isHidden) addKeyword({"Hidden"});
    addPeople();
    for (std::vector<std::string> album : input_.albums) {
      album.insert(album.begin(), "Albums");
      addTag(album);
    }
    putList("Xmp.dc.subject", subject_, Exiv2::xmpBag);
    putList("Xmp.lr.hierarchicalSubject", hierarchical_, Exiv2::xmpBag);
    putList("Xmp.digiKam.TagsList", tagsList_, Exiv2::xmpSeq);
  }

  void addPeople() {
    std::vector<std::string> people;
    for (const FaceFact& face : photo_.faces) {
      std::string name = clean(face.name);
      if (name.empty() || std::find(people.begin(), people.end(), name) != people.end()) continue;
      addTag({"People", name});
      people.push_back(std::move(name));
    }
    putList("Xmp.iptcExt.PersonInImage", people, Exiv2::xmpBag);
  }

  // Whether a text of the library is in another property already.
  bool isCovered(const std::string& key, const std::string& text) const {
    static const std::set<std::string, std::less<>> kElsewhere{
        "Caption/Abstract", "Byline",         "CopyrightNotice",     "Country/PrimaryLocationName",
        "Province/State",   "City",           "SubLocation",         "DateCreated",
        "TimeCreated",      "StarRating",     "DigitalCreationDate", "DigitalCreationTime",
        "ImageOrientation", "ProgramVersion", "OriginatingProgram"};
    if (key == "ObjectName" || key == "Title") return text == photo_.title || text == photo_.versionName;
    if (key == "Keywords") return areKeywords(text);
    return kElsewhere.contains(key);
  }
  bool areKeywords(std::string_view text) const {
    while (!text.empty()) {
      const std::size_t comma = std::min(text.find(','), text.size());
      if (!subjects_.contains(xmlText(text.substr(0, comma)))) return false;
      text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return true;
  }

  void addIptc() {
    for (const auto& [key, text] : photo_.iptc) {
      const auto* known = std::find_if(kIptcProperties.begin(), kIptcProperties.end(),
                                       [&key = key](const IptcProperty& each) { return each.key == key; });
      if (known != kIptcProperties.end() && data_.findKey(Exiv2::XmpKey(known->xmp)) == data_.end()) {
        putText(known->xmp, text, known->form);
      } else if (!isCovered(key, text)) {
        lacks_.push_back(xmlText(key).substr(0, 100) + ": " + xmlText(text).substr(0, 200));
      }
    }
  }

  struct Size {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool isKnown() const { return width > 0 && height > 0; }
  };
  // Of the picture that the regions are for.
  Size pictureSize() const {
    const Size file{input_.width, input_.height};
    if (input_.role == FileRole::Edited) return file.isKnown() ? file : Size{photo_.width, photo_.height};
    const Size stored{photo_.storedWidth, photo_.storedHeight};
    return input_.role == FileRole::Original && stored.isKnown() ? stored : file.isKnown() ? file : stored;
  }

  struct Region {
    std::string name;
    FactRectangle area;
  };
  std::vector<Region> regions() {
    std::vector<Region> found;
    const bool isEdited = input_.role == FileRole::Edited;
    for (const FaceFact& face : photo_.faces) {
      std::string name = clean(face.name);
      // Programs would make an unknown person of a face without a name.
      if (name.empty()) continue;
      const auto& rectangle = isEdited ? face.displayed : face.stored;
      const auto area = rectangle ? insidePicture(*rectangle) : std::nullopt;
      if (area) found.push_back({std::move(name), *area});
      // A face may be cropped away in the edited picture.
      if (!area && !isEdited) lacks_.push_back("where the face of " + name + " is in the original");
    }
    return found;
  }

  // Metadata Working Group, "Guidelines for Handling Image Metadata" 2.0, 5.9 Image Regions.
  void addRegions() {
    if (photo_.isMovie || input_.role == FileRole::LiveMovie) return;
    const Size size = pictureSize();
    const std::vector<Region> all = regions();
    if (all.empty()) return;
    const std::string regions = "Xmp.mwg-rs.Regions";
    putStruct(regions);
    if (size.isKnown()) {
      const std::string applied = regions + "/mwg-rs:AppliedToDimensions";
      putStruct(applied);
      put(applied + "/stDim:w", std::to_string(size.width));
      put(applied + "/stDim:h", std::to_string(size.height));
      put(applied + "/stDim:unit", "pixel");
    }
    const std::string list = regions + "/mwg-rs:RegionList";
    putStruct(list, Exiv2::XmpValue::xaBag);
    for (std::size_t i = 0; i < all.size(); ++i) addRegion(list + "[" + std::to_string(i + 1) + "]", all[i]);
  }

  void addRegion(const std::string& place, const Region& region) {
    putStruct(place);
    put(place + "/mwg-rs:Name", region.name);
    put(place + "/mwg-rs:Type", "Face");
    const std::string area = place + "/mwg-rs:Area";
    putStruct(area);
    put(area + "/stArea:x", fractionText(region.area.x + region.area.width / 2));
    put(area + "/stArea:y", fractionText(region.area.y + region.area.height / 2));
    put(area + "/stArea:w", fractionText(region.area.width));
    put(area + "/stArea:h", fractionText(region.area.height));
    put(area + "/stArea:unit", "normalized");
  }

  const SidecarInput& input_;
  const PhotoFacts& photo_;
  std::size_t room_;
  bool isFull_ = false;
  std::vector<std::string>& lacks_;
  Exiv2::XmpData data_;
  std::set<std::string> tags_;
  std::set<std::string, std::less<>> subjects_;
  std::vector<std::string> tagsList_, hierarchical_, subject_;
};

}  // namespace

Exiv2::XmpData xmpOf(const SidecarInput& input, std::size_t mostText, std::vector<std::string>& lacks) {
  return XmpBuilder(input, mostText, lacks).build();
}

}  // namespace moxtel
