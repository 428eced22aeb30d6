// The program's help: HTML files in ../share/moxtelserver, relative to the program's folder. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace moxtel {

// The contents of NAME.LANGUAGE.html ("Help.de.html") if it exists, else of the English NAME.html. Returns
// nullopt when neither can be read.
std::optional<std::string> helpText(std::string_view name, std::string_view language = {});

}  // namespace moxtel
