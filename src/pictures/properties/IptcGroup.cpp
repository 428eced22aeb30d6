#include "pictures/properties/IptcGroup.h"

#include <algorithm>

#include "pictures/properties/DateAndTime.h"
#include "pictures/properties/Iim.h"

namespace moxtel::properties {
namespace {

enum class Form : std::uint8_t { Text, List };

struct IptcKey {
  const char* key;
  std::uint8_t set;  // of record 2; 0 for none (set 0 is the version)
  const char* xmp;   // null for none
  Form form = Form::Text;
};

constexpr IptcKey kKeys[] = {
    {"ObjectTypeReference", 3, nullptr},
    {"ObjectAttributeReference", 4, "iptc.IntellectualGenre", Form::List},
    {"ObjectName", 5, "dc.title"},
    {"EditStatus", 7, nullptr},
    {"EditorialUpdate", 8, nullptr},
    {"Urgency", 10, "photoshop.Urgency"},
    {"SubjectReference", 12, "iptc.SubjectCode", Form::List},
    {"Category", 15, "photoshop.Category"},
    {"SupplementalCategory", 20, "photoshop.SupplementalCategories", Form::List},
    {"FixtureIdentifier", 22, nullptr},
    {"Keywords", 25, "dc.subject", Form::List},
    {"ContentLocationCode", 26, nullptr, Form::List},
    {"ContentLocationName", 27, nullptr, Form::List},
    {"ReleaseDate", 30, nullptr},
    {"ReleaseTime", 35, nullptr},
    {"ExpirationDate", 37, nullptr},
    {"ExpirationTime", 38, nullptr},
    {"SpecialInstructions", 40, "photoshop.Instructions"},
    {"ActionAdvised", 42, nullptr},
    {"ReferenceService", 45, nullptr, Form::List},
    {"ReferenceDate", 47, nullptr, Form::List},
    {"ReferenceNumber", 50, nullptr, Form::List},
    {"DateCreated", 55, nullptr},
    {"TimeCreated", 60, nullptr},
    {"DigitalCreationDate", 62, nullptr},
    {"DigitalCreationTime", 63, nullptr},
    {"OriginatingProgram", 65, nullptr},
    {"ProgramVersion", 70, nullptr},
    {"ObjectCycle", 75, nullptr},
    {"Byline", 80, "dc.creator", Form::List},
    {"BylineTitle", 85, "photoshop.AuthorsPosition", Form::List},
    {"City", 90, "photoshop.City"},
    {"SubLocation", 92, "iptc.Location"},
    {"Province/State", 95, "photoshop.State"},
    {"Country/PrimaryLocationCode", 100, "iptc.CountryCode"},
    {"Country/PrimaryLocationName", 101, "photoshop.Country"},
    {"OriginalTransmissionReference", 103, "photoshop.TransmissionReference"},
    {"Headline", 105, "photoshop.Headline"},
    {"Credit", 110, "photoshop.Credit"},
    {"Source", 115, "photoshop.Source"},
    {"CopyrightNotice", 116, "dc.rights"},
    {"Contact", 118, nullptr, Form::List},
    {"Caption/Abstract", 120, "dc.description"},
    {"Writer/Editor", 122, "photoshop.CaptionWriter", Form::List},
    {"ImageType", 130, nullptr},
    {"ImageOrientation", 131, nullptr},
    {"LanguageIdentifier", 135, nullptr},
    {"UsageTerms", 0, "xmpRights.UsageTerms"},
    {"Scene", 0, "iptc.Scene", Form::List},
    {"PersonInImage", 0, "iptcExt.PersonInImage", Form::List},
    {"DigitalSourceType", 0, "iptcExt.DigitalSourceType"},
};

struct Pair {
  const char* key;
  const char* source;
};
constexpr Pair kPngTexts[] = {{"ObjectName", "Title"},
                              {"Byline", "Author"},
                              {"Caption/Abstract", "Description"},
                              {"CopyrightNotice", "Copyright"}};

Form formOf(std::string_view key) {
  const auto found =
      std::find_if(std::begin(kKeys), std::end(kKeys), [&](const IptcKey& row) { return row.key == key; });
  return found == std::end(kKeys) ? Form::Text : found->form;
}

// Does not replace keys: the best source comes first.
void add(Dictionary& group, std::string_view key, Form form, const Value& text) {
  if (text.isString() && !group.contains(key)) group.set(key, form == Form::List ? Value(Array{text}) : text);
}

void addMoment(Dictionary& group, const char* dateKey, const char* timeKey, const DateAndTime& moment) {
  if (!moment.date.empty()) add(group, dateKey, Form::Text, moment.date);
  if (!moment.time.empty()) add(group, timeKey, Form::Text, moment.time);
}

// ---- sources ----

void addContact(Dictionary& group, const XmpProperties& xmp) {
  Dictionary contact;
  for (const auto& [path, text] : xmp.below("iptc.CreatorContactInfo"))
    contact.set(path.substr(path.find_last_of("/:") + 1), *text);
  if (!contact.empty()) group.set("CreatorContactInfo", std::move(contact));
}

void addXmp(Dictionary& group, const XmpProperties& xmp) {
  for (const IptcKey& row : kKeys) {
    const auto* texts = row.xmp ? xmp.find(row.xmp) : nullptr;
    if (!texts) continue;
    if (row.form == Form::Text) {
      group.set(row.key, texts->front());
    } else {
      group.set(row.key, Array(std::vector<Value>(texts->begin(), texts->end()), Mutability::Immutable));
    }
  }
  if (const auto* date = xmp.first("photoshop.DateCreated"))
    addMoment(group, "DateCreated", "TimeCreated", dateAndTimeOfXmp(*date));
  if (const auto* date = xmp.first("xmp.CreateDate"))
    addMoment(group, "DigitalCreationDate", "DigitalCreationTime", dateAndTimeOfXmp(*date));
  if (const auto* rating = xmp.first("xmp.Rating")) group.set("StarRating", Value(*rating).integerValue());
  addContact(group, xmp);
}

void addDataSets(Dictionary& group, FileBytes block) {
  Dictionary own;
  for (const IimSet& set : iimSets(block)) {
    const auto row = std::find_if(std::begin(kKeys), std::end(kKeys),
                                  [&](const IptcKey& key) { return key.set != 0 && key.set == set.number; });
    if (row == std::end(kKeys)) continue;
    Value* const list = row->form == Form::List ? own.find(row->key) : nullptr;
    if (list) {
      list->editArray().append(set.text);
    } else {
      add(own, row->key, row->form, set.text);
    }
  }
  for (const auto& [key, value] : own)
    if (!group.contains(key)) group.set(key, value);
}

void addExif(Dictionary& group, const ExifGroups& exif) {
  addMoment(group, "DateCreated", "TimeCreated", dateAndTimeOfExif(exif.exif["DateTimeOriginal"].string()));
  addMoment(group, "DigitalCreationDate", "DigitalCreationTime",
            dateAndTimeOfExif(exif.exif["DateTimeDigitized"].string()));
  add(group, "Byline", Form::List, exif.tiff["Artist"]);
  add(group, "CopyrightNotice", Form::Text, exif.tiff["Copyright"]);
  add(group, "Caption/Abstract", Form::Text, exif.tiff["ImageDescription"]);
}

}  // namespace

Dictionary iptcGroup(const PictureFacts& facts, const XmpProperties& xmp, const ExifGroups& exif) {
  Dictionary group;
  addXmp(group, xmp);
  addDataSets(group, facts.iim);
  for (const Pair& pair : kPngTexts) add(group, pair.key, formOf(pair.key), facts.png[pair.source]);
  if (!group.empty() || !facts.iim.empty()) addExif(group, exif);
  return group;
}

}  // namespace moxtel::properties
