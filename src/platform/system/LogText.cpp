#include "platform/system/LogText.h"

#include <algorithm>
#include <vector>

#include "value/Description.h"
#include "value/Utf.h"

namespace moxtel {

namespace {

constexpr const char* kCutOff = "…";

// In bytes.
std::size_t lengthOfFirst(std::size_t characters, std::string_view text) {
  std::size_t at = 0;
  for (; at < text.size() && characters > 0; --characters) nextCodePoint(text, at);
  return at;
}

void appendEscaped(std::string& out, std::string_view bytes) {
  constexpr std::string_view kHex = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += kHex[byte >> 4];
    out += kHex[byte & 15];
  }
}

bool isBidirectionalMark(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

bool isSeparator(char32_t c) { return c == 0x2028 || c == 0x2029; }

bool isControl(char32_t c) { return (c < 0x20 && c != U'\n' && c != U'\t') || (c >= 0x7F && c < 0xA0); }

// U+FFFD itself takes three bytes, as other replaced sequences may: the bytes decide.
bool isIllFormed(char32_t c, std::string_view bytes) {
  return c == kReplacementCharacter && bytes != "\xEF\xBF\xBD";
}

bool isPlainAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\n' || c == '\t'; });
}

}  // namespace

std::string loggedText(std::string_view text) {
  const std::size_t length = lengthOfFirst(kLongestLoggedText, text);
  std::string out;
  for (const char c : text.substr(0, length)) {
    if (c == '\n') {
      out += "\\x0a";
    } else {
      out += c;
    }
  }
  if (length < text.size()) out += kCutOff;
  return out;
}

std::string loggedValue(const Value& value) {
  if (!value.isArray() && !value.isDictionary()) return loggedText(describe(value));
  std::string text = describe(value);
  const std::size_t length = lengthOfFirst(kLongestLoggedText, text);
  return length < text.size() ? text.substr(0, length) + kCutOff : text;
}

std::string loggedLines(std::string_view text) {
  std::string out;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    out += loggedText(text.substr(0, end)) + '\n';
    text.remove_prefix(end + 1);
  }
  return out + loggedText(text);
}

std::string printableText(std::string_view text) {
  if (isPlainAscii(text)) return std::string(text);
  std::string out;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t start = at;
    const char32_t c = nextCodePoint(text, at);
    const std::string_view bytes = text.substr(start, at - start);
    if (isControl(c) || isBidirectionalMark(c) || isSeparator(c) || isIllFormed(c, bytes)) {
      appendEscaped(out, bytes);
    } else {
      out += bytes;
    }
  }
  return out;
}

std::string logLine(std::string_view format, std::span<const FormatArgument> arguments) {
  const auto isCut = [](const Value& each) {
    return each.isString() || each.isArray() || each.isDictionary();
  };
  std::vector<FormatArgument> cut;
  cut.reserve(arguments.size());
  for (const FormatArgument& each : arguments) {
    cut.push_back(isCut(each.value()) ? FormatArgument(Value(loggedValue(each.value()))) : each);
  }
  return formatRuntime(format, std::span<const FormatArgument>(cut));
}

}  // namespace moxtel
