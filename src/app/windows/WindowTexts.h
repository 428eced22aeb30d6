// Translations of the windows' English texts. Texts of the protocol, the console and the logs are always
// English.
#pragma once

#include <string_view>

#include "support/Localization.h"

namespace moxtel {

// The translations for a language ("de"); empty for English and for languages without translations.
StringTable windowTexts(std::string_view language);

}  // namespace moxtel
