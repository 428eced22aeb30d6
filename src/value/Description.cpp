#include "value/Description.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "value/NumberText.h"

namespace moxtel {

namespace {

// Values nest as deep as their builders let them; a log line need not.
constexpr int kDeepest = 64;

bool needsNoQuotes(std::string_view text) {
  if (text.empty()) return false;
  for (const char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '_' || c == '$' || c == '/' || c == ':' || c == '.' || c == '-';
    if (!plain) return false;
  }
  return true;
}

void appendQuoted(std::string& out, std::string_view text) {
  if (needsNoQuotes(text)) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        out += c;
    }
  }
  out += '"';
}

void appendData(std::string& out, const Bytes& bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  // Long data shows its first and last bytes, as the platform does.
  constexpr std::size_t kWhole = 24;
  constexpr std::size_t kFirst = 16;
  constexpr std::size_t kLast = 8;
  out += "{length = " + std::to_string(bytes.size()) + ", bytes = 0x";
  const auto hex = [&out, &bytes](std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i) {
      out += kHex[bytes[i] >> 4];
      out += kHex[bytes[i] & 15];
      if ((i - from) % 4 == 3 && i + 1 < to && bytes.size() > kWhole) out += ' ';
    }
  };
  if (bytes.size() <= kWhole) {
    hex(0, bytes.size());
  } else {
    hex(0, kFirst);
    out += " ... ";
    hex(bytes.size() - kLast, bytes.size());
  }
  out += '}';
}

void append(std::string& out, const Value& value, int depth, bool top);

void appendIndent(std::string& out, int depth) { out.append(static_cast<std::size_t>(depth) * 4, ' '); }

void appendArray(std::string& out, const Array& array, int depth) {
  out += "(\n";
  for (std::size_t i = 0; i < array.size(); ++i) {
    appendIndent(out, depth + 1);
    append(out, array[i], depth + 1, false);
    out += i + 1 < array.size() ? ",\n" : "\n";
  }
  appendIndent(out, depth);
  out += ')';
}

void appendDictionary(std::string& out, const Dictionary& dictionary, int depth) {
  out += "{\n";
  for (const auto& entry : dictionary) {
    appendIndent(out, depth + 1);
    appendQuoted(out, entry.key);
    out += " = ";
    append(out, entry.value, depth + 1, false);
    out += ";\n";
  }
  appendIndent(out, depth);
  out += '}';
}

void append(std::string& out, const Value& value, int depth, bool top) {
  if (depth > kDeepest) {
    out += "...";
    return;
  }
  switch (value.type()) {
    case Value::Type::Nil:
      out += top ? "(null)" : "\"<null>\"";
      break;
    case Value::Type::Boolean:
      out += value.boolValue() ? '1' : '0';
      break;
    case Value::Type::Integer:
      out += value.isBeyondSigned() ? std::to_string(value.unsignedValue())
                                    : std::to_string(value.integerValue());
      break;
    case Value::Type::Real:
      top ? out += shortestReal(value.doubleValue())
          : (appendQuoted(out, shortestReal(value.doubleValue())), out);
      break;
    case Value::Type::String:
      if (top) {
        out += value.string();
      } else {
        appendQuoted(out, value.string());
      }
      break;
    case Value::Type::Data:
      appendData(out, value.data());
      break;
    case Value::Type::Date: {
      const std::string text = describe(value.date());
      top ? out += text : (appendQuoted(out, text), out);
      break;
    }
    case Value::Type::Array:
      appendArray(out, value.array(), depth);
      break;
    case Value::Type::Dictionary:
      appendDictionary(out, value.dictionary(), depth);
      break;
  }
}

}  // namespace

std::string describe(const Value& value) {
  std::string out;
  append(out, value, 0, true);
  return out;
}

std::string describe(Date date) {
  using namespace std::chrono;
  const double unixSeconds = std::floor(date.seconds + kReferenceDateAfterUnixEpoch);
  constexpr double kYear1 = -62135596800.0;
  constexpr double kYear10000 = 253402300800.0;
  if (!(unixSeconds >= kYear1 && unixSeconds < kYear10000)) return shortestReal(date.seconds);
  const sys_seconds moment{seconds{static_cast<std::int64_t>(unixSeconds)}};
  const auto day = floor<days>(moment);
  const year_month_day ymd{day};
  const hh_mm_ss time{moment - day};
  std::array<char, 40> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02u %02d:%02d:%02d +0000",
                static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return buffer.data();
}

}  // namespace moxtel
