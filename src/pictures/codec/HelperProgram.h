// Where the programs lie that read strange files for this one. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// The absolute path of such a program: beside the running one, or else in ../libexec/moxtel of it.
std::string installedProgram(std::string_view name);

}  // namespace moxtel
