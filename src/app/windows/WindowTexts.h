// The windows' texts in other languages than English, in one place. Texts of the protocol, of the console and
// of logs are English everywhere and are not here.
#pragma once

#include <string_view>

#include "support/Localization.h"

namespace moxtel {

// The table of a language ("de"); empty for English and for languages without one.
StringTable windowTexts(std::string_view language);

}  // namespace moxtel
