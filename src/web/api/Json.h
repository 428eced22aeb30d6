// Texts of a library in JSON, and replies of it. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "web/http/HttpReply.h"

namespace moxtel {

// In quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonText(std::string_view text);

// With a tag that is the same for the same text, also after a restart.
HttpReply taggedJsonReply(std::string json);

}  // namespace moxtel
