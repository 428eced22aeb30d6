// The name that an unnamed folder gets from the day of its photos. Any thread.
#pragma once

#include <string>

#include "platform/loop/Clock.h"
#include "support/Localization.h"

namespace moxtel {

// The local day, "2016-07-12", in the date pattern of the user's language.
inline std::string dayName(Date moment) { return localDay(moment, localizedString("yyyy-MM-dd")); }

}  // namespace moxtel
