#include "library/FileNameForms.h"

#include <QtCore/QString>
#include <QtCore/QStringDecoder>
#include <algorithm>
#include <optional>

namespace moxtel {

namespace {

constexpr char16_t kReplacements = 0xF000;
constexpr std::u16string_view kNumbered = u"\"*:<>?\\| .";  // U+F020 and the following
constexpr char16_t kFirstNumbered = 0xF020;

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string lowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

std::optional<QString> decoded(std::string_view name) {
  QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
  QString text = decoder(QByteArrayView(name.data(), static_cast<qsizetype>(name.size())));
  if (decoder.hasError()) return std::nullopt;
  return text;
}

std::string folded(const QString& text) {
  // Case folding can undo a normal form and needs one: hence normalized before and after.
  return text.normalized(QString::NormalizationForm_D)
      .toCaseFolded()
      .normalized(QString::NormalizationForm_D)
      .toUtf8()
      .toStdString();
}

char16_t byCode(char16_t c) {
  return c > kReplacements && c < kReplacements + 0x80 ? static_cast<char16_t>(c - kReplacements) : c;
}

char16_t byNumber(char16_t c) {
  const auto number = static_cast<std::size_t>(c - kFirstNumbered);
  return c >= kFirstNumbered && number < kNumbered.size() ? kNumbered[number] : c;
}

// The meaning of a name whose replacements are to be read in this way.
std::string meaning(const QString& name, char16_t (*read)(char16_t)) {
  QString text = name;
  for (QChar& c : text) {
    const char16_t real = read(c.unicode());
    c = QChar(real == u'/' ? u':' : real);
  }
  return folded(text);
}

bool hasReplacement(const QString& text) {
  return std::any_of(text.begin(), text.end(), [](QChar c) { return byCode(c.unicode()) != c.unicode(); });
}

}  // namespace

std::string foldedFileName(std::string_view name) {
  if (isAscii(name)) return lowerAscii(name);
  const auto text = decoded(name);
  return text ? folded(*text) : std::string(name);
}

std::vector<std::string> fileNameMeanings(std::string_view name) {
  if (isAscii(name)) {
    std::string lower = lowerAscii(name);
    std::replace(lower.begin(), lower.end(), '/', ':');
    return {std::move(lower)};
  }
  const auto text = decoded(name);
  if (!text) return {std::string(name)};
  std::vector<std::string> meanings{meaning(*text, &byCode)};
  if (!hasReplacement(*text)) return meanings;
  if (std::string other = meaning(*text, &byNumber); other != meanings.front())
    meanings.push_back(std::move(other));
  return meanings;
}

}  // namespace moxtel
