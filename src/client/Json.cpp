#include "client/Json.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "client/SafeText.h"
#include "value/Numbers.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void write(const Value& value, int depth) {
    switch (value.type()) {
      case Value::Type::Nil:
        out_ << "null";
        break;
      case Value::Type::Boolean:
        out_ << (value.boolValue() ? "true" : "false");
        break;
      case Value::Type::Integer:
        writeInteger(value);
        break;
      case Value::Type::Real:
        writeReal(value.doubleValue());
        break;
      case Value::Type::String:
        writeText(value.string());
        break;
      case Value::Type::Data:
        writeText(base64(value.data()));
        break;
      case Value::Type::Date:
        writeDate(value.date());
        break;
      case Value::Type::Array:
        writeArray(value.array(), depth);
        break;
      case Value::Type::Dictionary:
        writeDictionary(value.dictionary(), depth);
        break;
    }
  }

 private:
  void writeInteger(const Value& value) {
    if (value.isBeyondSigned()) {
      out_ << std::to_string(value.unsignedValue());
    } else {
      out_ << std::to_string(value.integerValue());
    }
  }

  void writeReal(double number) { out_ << (std::isfinite(number) ? shortestReal(number) : "null"); }

  void writeDate(Date date) {
    const std::string text = iso8601(date);
    if (text.empty()) {
      writeReal(date.seconds);
    } else {
      writeText(text);
    }
  }

  void writeText(std::string_view text) {
    out_ << '"';
    while (!text.empty()) writeCharacter(takeCodePoint(text));
    out_ << '"';
  }

  void writeCharacter(char32_t codePoint) {
    if (codePoint == '"' || codePoint == '\\') {
      out_ << '\\' << static_cast<char>(codePoint);
    } else if (codePoint == '\n') {
      out_ << "\\n";
    } else if (isUnprintable(codePoint)) {
      std::array<char, 16> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(codePoint));
      out_ << escape.data();
    } else {
      std::string character;
      appendUtf8(character, codePoint);
      out_ << character;
    }
  }

  void writeArray(const Array& array, int depth) {
    char before = '[';
    for (const Value& item : array) {
      newLine(before, depth + 1);
      write(item, depth + 1);
      before = ',';
    }
    finish(before, "[]", ']', depth);
  }

  void writeDictionary(const Dictionary& dictionary, int depth) {
    char before = '{';
    for (const auto& entry : dictionary) {
      newLine(before, depth + 1);
      writeText(entry.key);
      out_ << ": ";
      write(entry.value, depth + 1);
      before = ',';
    }
    finish(before, "{}", '}', depth);
  }

  void newLine(char before, int depth) {
    out_ << before << '\n' << std::string(2 * static_cast<std::size_t>(depth), ' ');
  }

  void finish(char before, const char* empty, char closing, int depth) {
    if (before != ',') {
      out_ << empty;
    } else {
      out_ << '\n' << std::string(2 * static_cast<std::size_t>(depth), ' ') << closing;
    }
  }

  std::ostream& out_;
};

}  // namespace

void writeJson(std::ostream& out, const Value& value) {
  JsonWriter(out).write(value, 0);
  out << '\n';
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

std::string base64(const Bytes& bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) group = (group << 8) | (j < count ? bytes[i + j] : 0u);
    for (std::size_t j = 0; j < 4; ++j) text += j <= count ? kDigits[(group >> (18 - 6 * j)) & 63] : '=';
  }
  return text;
}

}  // namespace moxtel
