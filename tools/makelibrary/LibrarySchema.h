// The tables and indexes of the four databases, one statement per line, from tools/makelibrary/schema.
#pragma once

#include <string_view>

namespace moxtel::makelibrary {

extern const std::string_view kLibrarySchema;
extern const std::string_view kImageProxiesSchema;
extern const std::string_view kPropertiesSchema;
extern const std::string_view kFacesSchema;

}  // namespace moxtel::makelibrary
