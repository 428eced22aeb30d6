// What a user probably meant with an argument of the command line that is not accepted. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

// The message about arguments[index], which is in the place of an option and is none of the keys. It ends
// with the right form where that can be guessed: from a wrong number of dashes, other dashes, wrong case, "="
// between option and value, or a value with blanks and without quotes.
std::string messageAboutArgument(const std::vector<std::string>& arguments, std::size_t index,
                                 const std::vector<DefaultKey>& keys);

// An option and its value, for a shell and for the options of a service: in single quotes where it needs
// them.
std::string optionWithValue(std::string_view option, std::string_view value);

}  // namespace moxtel
