#include "platform/files/LegalNames.h"

#include <QtCore/QString>
#include <QtCore/QStringDecoder>
#include <algorithm>
#include <array>

namespace moxtel {

namespace {

constexpr std::u32string_view kForbidden = U"\"*/:<>?\\|";
constexpr std::size_t kLongestExtension = 16;
constexpr const char* kUntitled = "Untitled";

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029; }

// Marks that show the rest of a name in another order than it has, and characters that stand for none.
bool isInvisible(char32_t c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F ||
         c == 0x061C || c == 0xFEFF || (c >= 0xFDD0 && c <= 0xFDEF) || (c & 0xFFFE) == 0xFFFE;
}

QString decoded(std::string_view text) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  return decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
}

std::u32string legalCharacters(std::string_view text) {
  std::u32string legal;
  for (const char32_t c : decoded(text).toStdU32String()) {
    if (isInvisible(c)) continue;
    legal += isControl(c) || kForbidden.find(c) != std::u32string_view::npos ? U'_' : c;
  }
  return legal;
}

std::string utf8(const std::u32string& text) {
  return QString::fromStdU32String(text).toUtf8().toStdString();
}

// At most this many bytes, cut between code points.
std::string_view cut(std::string_view text, std::size_t longest) {
  if (text.size() <= longest) return text;
  while (longest > 0 && (static_cast<unsigned char>(text[longest]) & 0xC0) == 0x80) --longest;
  return text.substr(0, longest);
}

void trimStart(std::string& text) { text.erase(0, text.find_first_not_of(" .")); }

void trimEnd(std::string& text) {
  const std::size_t last = text.find_last_not_of(" .");
  text.resize(last == std::string::npos ? 0 : last + 1);
}

// Windows takes a device's name with any extension for the device.
bool isDevice(std::string_view name) {
  static constexpr std::array<std::string_view, 4> kDevices{"con", "prn", "aux", "nul"};
  static constexpr std::array<std::string_view, 3> kSuperscripts{"\u00B9", "\u00B2", "\u00B3"};
  std::string first(name.substr(0, name.find('.')));
  trimEnd(first);
  std::transform(first.begin(), first.end(), first.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  if (std::find(kDevices.begin(), kDevices.end(), first) != kDevices.end()) return true;
  if (!first.starts_with("com") && !first.starts_with("lpt")) return false;
  const std::string_view number = std::string_view(first).substr(3);
  return (number.size() == 1 && number[0] >= '1' && number[0] <= '9') ||
         std::find(kSuperscripts.begin(), kSuperscripts.end(), number) != kSuperscripts.end();
}

// Puts an underline behind a device's name.
void hideDevice(std::string& name) {
  if (isDevice(name)) name.insert(std::min(name.find('.'), name.size()), "_");
}

}  // namespace

std::string composed(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
    return std::string(text);
  return decoded(text).normalized(QString::NormalizationForm_C).toUtf8().toStdString();
}

std::string legalName(std::string_view text, std::size_t longest) {
  std::string name = composed(utf8(legalCharacters(text)));
  trimStart(name);
  name = cut(name, longest);
  trimEnd(name);
  hideDevice(name);
  if (name.size() <= longest) return name;
  name = cut(name, longest);
  trimEnd(name);
  return name;
}

NameParts partsOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kLongestExtension ||
      name.size() - dot == 1 || name.find(' ', dot) != std::string_view::npos)
    return {std::string(name), {}};
  return {std::string(name.substr(0, dot)), std::string(name.substr(dot))};
}

NameParts legalParts(std::string_view name, std::size_t reserved) {
  NameParts parts = partsOf(legalName(name, std::string::npos));
  trimEnd(parts.stem);
  const std::size_t room = kLongestName - std::min(kLongestName - 1, reserved + parts.extension.size());
  parts.stem = cut(parts.stem, room);
  trimEnd(parts.stem);
  hideDevice(parts.stem);
  if (parts.stem.empty()) parts.stem = kUntitled;
  return parts;
}

std::string numbered(std::string_view stem, int number, std::size_t longest) {
  const std::string suffix = number < 2 ? std::string() : " (" + std::to_string(number) + ")";
  std::string name(cut(stem, longest - std::min(longest, suffix.size())));
  trimEnd(name);
  return name + suffix;
}

}  // namespace moxtel
