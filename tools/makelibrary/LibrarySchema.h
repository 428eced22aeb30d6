// The tables and indexes of the databases, one statement per line, from tools/makelibrary/schema.
#pragma once

#include <string_view>

namespace moxtel::makelibrary {

extern const std::string_view kLibrarySchema;
extern const std::string_view kImageProxiesSchema;
extern const std::string_view kPropertiesSchema;
extern const std::string_view kFacesSchema;
// What --everything adds.
extern const std::string_view kLibraryFactsSchema;
extern const std::string_view kPropertiesFactsSchema;
extern const std::string_view kPhotos4Schema;
extern const std::string_view kPhotos5Schema;
extern const std::string_view kPhotos8Schema;
extern const std::string_view kPhotos11Schema;

}  // namespace moxtel::makelibrary
