#include "log/QVLog.h"

#include <algorithm>

#include "platform/process/ThisProcess.h"
#include "platform/system/SystemLog.h"
#include "value/Utf.h"
#include "value/Value.h"

namespace moxtel {

namespace {

void appendOctal(std::string& text, char32_t character) {
  text += '\\';
  for (const int shift : {6, 3, 0}) text += static_cast<char>('0' + (character >> shift & 7));
}

void appendUnit(std::string& text, char32_t unit) {
  text += "\\u";
  for (const int shift : {12, 8, 4, 0}) text += "0123456789abcdef"[unit >> shift & 15];
}

void appendNonLossy(std::string& text, char32_t character) {
  if (character == U'\\') {
    text += "\\\\";
  } else if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x100) {
    appendOctal(text, character);
  } else if (character < 0x10000) {
    appendUnit(text, character);
  } else {
    appendUnit(text, 0xD800 + ((character - 0x10000) >> 10));
    appendUnit(text, 0xDC00 + ((character - 0x10000) & 0x3FF));
  }
}

FileDescriptor openLog(const std::optional<std::string>& pathname) {
  if (!pathname || !isAscii(*pathname) || pathname->find('\0') != std::string::npos) return {};
  return openForAppending(*pathname);
}

// Terminals interpret control characters of a log that is shown there.
std::string withoutControls(const std::string& ascii) {
  std::string text;
  text.reserve(ascii.size());
  for (const char c : ascii) {
    if ((c >= 0x20 && c < 0x7F) || c == '\n' || c == '\t') {
      text += c;
    } else {
      appendOctal(text, static_cast<unsigned char>(c));
    }
  }
  return text;
}

}  // namespace

std::string nonLossyASCII(std::string_view text) {
  std::string ascii;
  ascii.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) appendNonLossy(ascii, nextCodePoint(text, at));
  return ascii;
}

QVLog::QVLog(const std::optional<std::string>& pathname, const Clock& clock)
    : clock_(clock), file_(openLog(pathname)), output_(file_.get()) {
  if (!file_) NSLog("QVLog initWithPathname '%@' failed", pathname ? Value(*pathname) : Value());
}

bool QVLog::appendString(std::string_view text) {
  if (!file_) return false;
  const auto lineOf = [](std::string_view line) { return withoutControls(nonLossyASCII(line)) + '\n'; };
  return output_.write(lineOf(text.substr(0, text.find('\0'))), lineOf);
}

bool QVLog::logString(std::string_view text) {
  return appendString(format("%@: %@", localDateAndMilliseconds(clock_.now()), text));
}

bool QVLog::nslogString(std::string_view text) {
  return appendString(
      format("%@ Ulmo2[%d]: %@", localDateAndMilliseconds(clock_.now()), processIdentifier(), text));
}

}  // namespace moxtel
