// The texts of the system's errors, for people. Any thread.
#pragma once

#include <string>

namespace moxtel {

// What an error (errno) means, in the user's language; in the system's words where there is no translation.
std::string systemErrorText(int error);

}  // namespace moxtel
