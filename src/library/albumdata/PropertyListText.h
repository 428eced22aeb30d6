// The leaves of an XML property list: the text between a tag and its end as a value. Any thread.
#pragma once

#include <optional>
#include <string_view>

#include "value/Value.h"

namespace moxtel {

// element: "string", "integer" (decimal or 0x), "real", "true", "false", "date" (YYYY-MM-DDThh:mm:ssZ),
// "data" (base64). Nothing for another element or a text that is none of its kind.
std::optional<Value> propertyListLeaf(std::string_view element, std::string_view text);

}  // namespace moxtel
