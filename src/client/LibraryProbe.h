// Whether an empty list means that the server cannot read its library.
//
// A server whose library is away, or damaged, answers with empty lists, as it does for an empty library. But
// every library has the built-in folders "AllProjectsItem" (the events) and "TopLevelAlbums" below
// "LibraryFolder": a server that lists none of them reads no library.
#pragma once

#include "client/ServerSession.h"

namespace moxtel {

inline constexpr const char* kLibraryIsAway =
    "the server's library seems to be away or damaged: the server does not even list the folders that every "
    "library has. See the messages of the server";

// Whether the error of a command is the one for a server that never read a library.
bool saysLibraryIsAway(const RequestFailure& failure, const Dictionary& command);

// Asks the server, after an empty list; false when it does not answer.
bool isLibraryAway(ServerSession& session);

}  // namespace moxtel
