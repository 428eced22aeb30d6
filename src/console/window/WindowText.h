// Texts of windows in the user's language. Windows' thread.
#pragma once

#include <QString>
#include <string_view>

#include "support/Localization.h"

namespace moxtel {

// Text from elsewhere, as it is.
inline QString shown(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

class WindowText final {
  MOXTEL_TEXT_CONTEXT(WindowText)

 public:
  // Takes a literal, which lupdate finds.
  static QString tr(const char* english) { return shown(localizedString(english)); }
  // Takes a text that was marked with UserText::later where it was written.
  static QString of(std::string_view english) { return shown(localizedString(english)); }
};

}  // namespace moxtel
