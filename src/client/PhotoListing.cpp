#include "client/PhotoListing.h"

#include <algorithm>
#include <cmath>

#include "client/Json.h"
#include "client/Tables.h"

namespace moxtel {

namespace {

// A photo that was deleted since the list was made gets no answer; a server that has gone answers no more.
constexpr int kMostUnanswered = 3;
constexpr std::uint64_t kLargestDetails = 4 << 20;
constexpr std::size_t kDateWidth = 20;
constexpr std::size_t kNameColumn = 4;
constexpr std::size_t kDateColumn = 2;
constexpr std::size_t kNameWidth = 24;

// "2016:07:12 09:05:03", the form of the Exif standard.
std::string dateOfExif(std::string_view text) {
  constexpr std::string_view kForm = "dddd:dd:dd dd:dd:dd";
  if (text.size() != kForm.size()) return {};
  std::string date(text);
  for (std::size_t i = 0; i < date.size(); ++i) {
    const bool isRight = kForm[i] == 'd' ? date[i] >= '0' && date[i] <= '9' : date[i] == kForm[i];
    if (!isRight) return {};
  }
  date[4] = date[7] = '-';
  return date;
}

Table::Row rowOf(const Value& photo, const std::string& date, const Value& fileName) {
  std::string name = tableCell(fileName);
  return {
      tableCell(photo["PhotoKey"]), tableCell(photo["MediaType"]), date, positionOf(photo), std::move(name),
      tableCell(photo["Caption"])};
}

}  // namespace

std::string dateTaken(const Value& metadata) {
  const Value& exif = metadata["{Exif}"];
  for (const Value& text :
       {exif["DateTimeOriginal"], exif["DateTimeDigitized"], metadata["{TIFF}"]["DateTime"]}) {
    if (std::string date = dateOfExif(text.string()); !date.empty()) return date;
  }
  for (const char* key : {"CreationDate", "Creation Date"}) {
    if (metadata[key].type() != Value::Type::Date) continue;
    std::string date = iso8601(Date{std::floor(metadata[key].date().seconds)});
    std::replace(date.begin(), date.end(), 'T', ' ');
    return date;
  }
  return {};
}

std::optional<std::string> PhotoListing::writeTable(const Array& photos) {
  Table table(out_, {"KEY", "KIND", "DATE", "POSITION", "NAME", "CAPTION"});
  for (const Value& photo : photos) table.measure(rowOf(photo, {}, {}));
  table.setWidth(kDateColumn, kDateWidth);
  table.setWidth(kNameColumn, kNameWidth);
  table.writeHeadings();
  for (const Value& photo : photos) {
    const Details details = detailsOf(photo);
    table.write(rowOf(photo, details.date, details.fileName));
    if (!out_.good()) break;
  }
  return problem_;
}

std::optional<std::string> PhotoListing::writeJson(const Array& photos) {
  JsonArrayWriter writer(out_);
  for (const Value& photo : photos) {
    const Details details = detailsOf(photo);
    Value item = photo;
    if (item.isDictionary()) {
      if (!details.fileName.isNil()) item.editDictionary().set("FileName", details.fileName);
      if (!details.date.empty()) item.editDictionary().set("Date", details.date);
    }
    writer.add(item);
    if (!out_.good()) break;
  }
  writer.finish();
  return problem_;
}

PhotoListing::Details PhotoListing::detailsOf(const Value& photo) {
  const Value& key = photo["PhotoKey"];
  if (!key.isString() || key.string().empty()) return {};
  return {ask("Infos of Photo", key)["FileName"], dateTaken(ask("Metadata of Photo", key))};
}

Value PhotoListing::ask(const char* command, const Value& key) {
  if (unanswered_ >= kMostUnanswered) return {};
  const auto answer = session_.ask(Dictionary{{"command", command}, {"key", key}}, kLargestDetails);
  if (const auto* result = std::get_if<Value>(&answer)) {
    unanswered_ = 0;
    return *result;
  }
  const auto& failure = std::get<RequestFailure>(answer);
  // A photo without a file has no date.
  if (failure.kind == RequestFailure::Kind::Answered) {
    unanswered_ = 0;
    return {};
  }
  ++unanswered_;
  problem_ = "some names and dates are missing: " + failure.text;
  return {};
}

}  // namespace moxtel
