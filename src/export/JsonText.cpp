#include "export/JsonText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "value/Utf.h"

namespace moxtel {

namespace {

void appendEscaped(std::string& out, unsigned char c) {
  static constexpr const char* kDigits = "0123456789abcdef";
  out += "\\u00";
  out += kDigits[c >> 4];
  out += kDigits[c & 15];
}

std::string repaired(std::string_view text) {
  std::string valid;
  for (std::size_t position = 0; position < text.size();) appendUtf8(valid, nextCodePoint(text, position));
  return valid;
}

}  // namespace

std::string jsonString(std::string_view text) {
  std::string valid;
  if (!isValidUtf8(text)) {
    valid = repaired(text);
    text = valid;
  }
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      appendEscaped(out, static_cast<unsigned char>(c));
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string jsonNumber(double number) {
  if (!std::isfinite(number)) return "null";
  std::array<char, 40> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

JsonObject& JsonObject::addRaw(std::string_view name, std::string_view json) {
  if (!members_.empty()) members_ += ',';
  members_ += jsonString(name);
  members_ += ':';
  members_ += json;
  return *this;
}

}  // namespace moxtel
