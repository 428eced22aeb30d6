#include "log/QVLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "platform/SystemLog.h"
#include "value/Value.h"

namespace moxtel {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isContinuation(std::string_view text, std::size_t at) {
  return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
}

// How many continuation bytes follow a first byte; nothing for one that cannot be first.
std::optional<std::size_t> continuations(unsigned char first) {
  if (first >= 0xC2 && first <= 0xDF) return 1;
  if (first >= 0xE0 && first <= 0xEF) return 2;
  if (first >= 0xF0 && first <= 0xF4) return 3;
  return std::nullopt;
}

// The character at a position; moves the position behind it.
char32_t nextCharacter(std::string_view text, std::size_t& at) {
  constexpr std::array<char32_t, 4> kSmallest{0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<unsigned char>(text[at++]);
  if (first < 0x80) return first;
  const auto more = continuations(first);
  if (!more) return kReplacement;
  char32_t character = first & (0x3Fu >> *more);
  for (std::size_t i = 0; i < *more; ++i) {
    if (!isContinuation(text, at + i)) return kReplacement;
    character = character << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3Fu);
  }
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < kSmallest[*more] || character > 0x10FFFF || isSurrogate) return kReplacement;
  at += *more;
  return character;
}

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

std::FILE* openForAppending(const std::optional<std::string>& pathname) {
  const auto isAscii = [](char c) { return c != 0 && static_cast<unsigned char>(c) < 0x80; };
  if (!pathname || !std::all_of(pathname->begin(), pathname->end(), isAscii)) return nullptr;
  std::FILE* const file = std::fopen(pathname->c_str(), "a");
  if (file) ::fcntl(::fileno(file), F_SETFD, FD_CLOEXEC);
  return file;
}

}  // namespace

std::string nonLossyASCII(std::string_view text) {
  std::string ascii;
  ascii.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) appendNonLossy(ascii, nextCharacter(text, at));
  return ascii;
}

QVLog::QVLog(const std::optional<std::string>& pathname, const Clock& clock)
    : clock_(clock), file_(openForAppending(pathname)) {
  if (!file_) NSLog("QVLog initWithPathname '%@' failed", pathname ? Value(*pathname) : Value());
}

bool QVLog::appendString(std::string_view text) {
  if (!file_) return false;
  const int written = std::fprintf(file_.get(), "%s\n", nonLossyASCII(text).c_str());
  std::fflush(file_.get());
  return written > 0;
}

bool QVLog::logString(std::string_view text) {
  return appendString(format("%@: %@", localDateAndMilliseconds(clock_.now()), text));
}

bool QVLog::nslogString(std::string_view text) {
  return appendString(format("%@ Ulmo2[%d]: %@", localDateAndMilliseconds(clock_.now()), ::getpid(), text));
}

}  // namespace moxtel
