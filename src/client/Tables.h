// Results as tables and lines for people. All text from the server is made printable first.
#pragma once

#include <cstdint>
#include <ostream>

#include "value/Value.h"

namespace moxtel {

// How a command's result is shown.
enum class Layout : std::uint8_t { Plain, Containers, Photos };

void writeForPeople(std::ostream& out, const Value& result, Layout layout);

}  // namespace moxtel
