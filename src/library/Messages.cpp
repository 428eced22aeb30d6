#include "library/Messages.h"

#include "value/Format.h"

namespace moxtel {

std::string unreadableDataMessage(std::string_view data, std::string_view reason) {
  return format(
      "Problem with reading %@: '%@'\nPlease quit MoxtelServer, start and quit iPhoto, then start "
      "MoxtelServer again.",
      data, reason);
}

bool saysOnlyNoLibrary(std::string_view error) {
  return error == kNoPhotoApplicationSettings ||
         error == unreadableDataMessage(kPhotoApplicationData, kNoLibraryPath);
}

}  // namespace moxtel
