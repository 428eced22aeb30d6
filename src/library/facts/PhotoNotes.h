// Notes that a user attached to photos. Those of events and albums are in LibraryLists. On the thread of the
// databases.
#pragma once

#include <functional>
#include <string>

namespace moxtel {

class LibraryDatabases;

// Every note with the uuid of its photo, in the order of the photos; with one statement. Texts are valid
// UTF-8 of at most kLongestFactText bytes.
void readPhotoNotes(LibraryDatabases& databases,
                    const std::function<void(const std::string& photo, const std::string& note)>& take);

}  // namespace moxtel
