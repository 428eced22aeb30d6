// Where the helper programs are that read untrusted files. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace moxtel {

// The absolute path of a helper: beside the running program, or else in ../libexec/moxtel relative to it.
std::string installedProgram(std::string_view name);

}  // namespace moxtel
