#include "library/answers/FoldedText.h"

#include <QString>
#include <algorithm>

#include "value/Utf.h"

namespace moxtel {

namespace {

bool isMark(QChar character) {
  switch (character.category()) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_SpacingCombining:
    case QChar::Mark_Enclosing:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::string foldedText(std::string_view text) {
  if (isAscii(text)) {
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return folded;
  }
  QString folded = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()))
                       .normalized(QString::NormalizationForm_KD)
                       .toUpper()  // ß becomes SS
                       .toCaseFolded();
  folded.removeIf(isMark);
  return folded.toStdString();
}

}  // namespace moxtel
