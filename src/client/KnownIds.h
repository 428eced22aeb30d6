// Whether an id is one that a server's lists contain. A server answers an unknown id with an empty list, and
// an edit of it with success.
#pragma once

#include <optional>
#include <string>

#include "client/ServerSession.h"

namespace moxtel {

// Why the id of a command cannot be meant, for the user; nothing if a list has it, or if the command has no
// id of a list. Asks for the lists, and for the contents of at most 10,000 folders.
std::optional<std::string> whyIdIsUnknown(ServerSession& session, const Dictionary& command);

}  // namespace moxtel
