#include "client/Json.h"

#include <QByteArray>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

#include "client/SafeText.h"

namespace moxtel {

namespace {

using Json = nlohmann::ordered_json;

// The terminal that shows the JSON must not act on its texts: control characters beyond ASCII and marks that
// turn the direction of writing are escaped, with everything else beyond ASCII in the same text.
bool needsAsciiOnly(std::string_view text) {
  while (!text.empty()) {
    const char32_t codePoint = takeCodePoint(text);
    if (codePoint >= 0x7F && isUnprintable(codePoint)) return true;
  }
  return false;
}

std::string encodedText(std::string_view text) {
  return Json(text).dump(-1, ' ', needsAsciiOnly(text), Json::error_handler_t::replace);
}

std::string encodedDate(Date date) {
  const std::string text = iso8601(date);
  return text.empty() ? Json(date.seconds).dump() : encodedText(text);
}

// Anything but a collection and data. Of a number that is not finite the library makes null.
std::string encodedLeaf(const Value& value) {
  switch (value.type()) {
    case Value::Type::Boolean:
      return Json(value.boolValue()).dump();
    case Value::Type::Integer:
      return value.isBeyondSigned() ? Json(value.unsignedValue()).dump() : Json(value.integerValue()).dump();
    case Value::Type::Real:
      return Json(value.doubleValue()).dump();
    case Value::Type::String:
      return encodedText(value.string());
    case Value::Type::Date:
      return encodedDate(value.date());
    default:
      return Json().dump();
  }
}

// Collections are written item by item: a document built first would hold a copy of every shared value.
class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void write(const Value& value, std::size_t depth) {
    if (value.isArray()) {
      writeArray(value.array(), depth);
    } else if (value.isDictionary()) {
      writeDictionary(value.dictionary(), depth);
    } else if (value.isData()) {
      writeData(value.data());
    } else {
      out_ << encodedLeaf(value);
    }
  }

 private:
  static constexpr std::size_t kPiece = 3 * 65536;

  void writeArray(const Array& array, std::size_t depth) {
    const char* before = "[";
    for (const Value& item : array) {
      newLine(before, depth + 1);
      write(item, depth + 1);
      before = ",";
    }
    finish(array.empty(), "[]", depth);
  }

  void writeDictionary(const Dictionary& dictionary, std::size_t depth) {
    const char* before = "{";
    for (const auto& [key, value] : dictionary) {
      newLine(before, depth + 1);
      out_ << encodedText(key) << ": ";
      write(value, depth + 1);
      before = ",";
    }
    finish(dictionary.empty(), "{}", depth);
  }

  void writeData(std::span<const std::uint8_t> bytes) {
    out_ << '"';
    for (; bytes.size() > kPiece; bytes = bytes.subspan(kPiece)) out_ << base64(bytes.first(kPiece));
    out_ << base64(bytes) << '"';
  }

  void newLine(const char* before, std::size_t depth) {
    out_ << before << '\n' << std::string(2 * depth, ' ');
  }

  void finish(bool isEmpty, std::string_view brackets, std::size_t depth) {
    if (isEmpty) {
      out_ << brackets;
    } else {
      newLine("", depth);
      out_ << brackets.back();
    }
  }

  std::ostream& out_;
};

std::uint64_t leafSize(const Value& value) {
  constexpr std::uint64_t kNumber = 24;
  if (value.isString()) return value.string().size() + 2;
  return value.isData() ? value.data().size() / 3 * 4 + 4 : kNumber;
}

void addJsonSize(const Value& value, std::size_t depth, std::uint64_t limit, std::uint64_t& size) {
  const std::uint64_t line = 2 * depth + 2;
  if (value.isArray()) {
    for (const Value& item : value.array()) {
      if ((size += line) > limit) return;
      addJsonSize(item, depth + 1, limit, size);
    }
  } else if (value.isDictionary()) {
    for (const auto& [key, entry] : value.dictionary()) {
      if ((size += line + key.size() + 4) > limit) return;
      addJsonSize(entry, depth + 1, limit, size);
    }
  } else {
    size += leafSize(value);
  }
}

}  // namespace

void writeJson(std::ostream& out, const Value& value) {
  JsonWriter(out).write(value, 0);
  out << '\n';
}

void JsonArrayWriter::add(const Value& item) {
  out_ << (isEmpty_ ? "[\n  " : ",\n  ");
  isEmpty_ = false;
  JsonWriter(out_).write(item, 1);
}

void JsonArrayWriter::finish() { out_ << (isEmpty_ ? "[]\n" : "\n]\n"); }

std::uint64_t jsonSize(const Value& value, std::uint64_t limit) {
  std::uint64_t size = 0;
  addJsonSize(value, 1, limit, size);
  return size;
}

std::string iso8601(Date date) {
  using namespace std::chrono;
  constexpr double kFirst = -63113904000.0;  // 0001-01-01
  constexpr double kEnd = 252423993600.0;    // 9999-12-31, the whole of it
  if (!(date.seconds >= kFirst && date.seconds < kEnd)) return {};
  const sys_time<milliseconds> moment(
      milliseconds(std::llround((date.seconds + kReferenceDateAfterUnixEpoch) * 1000)));
  const auto day = floor<days>(moment);
  const year_month_day date_(day);
  const hh_mm_ss time(moment - day);
  const int fraction = static_cast<int>(time.subseconds().count());
  std::array<char, 64> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date_.year()),
                    static_cast<unsigned>(date_.month()), static_cast<unsigned>(date_.day()),
                    static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                    static_cast<int>(time.seconds().count()));
  const auto end = static_cast<std::size_t>(length);
  if (fraction != 0) std::snprintf(text.data() + end, text.size() - end, ".%03d", fraction);
  return std::string(text.data()) + "Z";
}

std::string base64(std::span<const std::uint8_t> bytes) {
  const auto* start = reinterpret_cast<const char*>(bytes.data());
  return QByteArray::fromRawData(start, static_cast<qsizetype>(bytes.size())).toBase64().toStdString();
}

}  // namespace moxtel
