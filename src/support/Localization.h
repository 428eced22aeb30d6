// Texts in the user's language. Any thread.
//
// The English text is the key. docs/developing.md, "Languages", says how texts get into translations/*.ts.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "value/LaterText.h"

namespace moxtel {

// Gives the translation of an English text; an empty text where there is none.
using Translator = std::function<std::string(std::string_view english)>;

// Looks texts up from now on; without a function, as at the start, they stay English.
void setTranslator(Translator translator);

// The translation of a text; the text itself where there is none, or an empty one.
std::string localizedString(std::string_view key);
// The translation of a reason that a lower room gave, "what happened: detail". Each part may have one.
std::string localizedReason(std::string_view english);

// lupdate takes the literals that are passed to these functions.
class UserText final {
  MOXTEL_TEXT_CONTEXT(UserText)

 public:
  static std::string tr(std::string_view english) { return localizedString(english); }
  // The English text itself, which is translated where it is shown.
  static constexpr const char* later(const char* english) { return english; }
};

}  // namespace moxtel
