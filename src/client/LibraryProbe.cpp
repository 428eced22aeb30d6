#include "client/LibraryProbe.h"

namespace moxtel {

bool saysLibraryIsAway(const RequestFailure& failure, const Dictionary& command) {
  return failure.kind == RequestFailure::Kind::Answered && failure.text == "Album not found" &&
         command["command"] == Value("Folders of Album");
}

bool isLibraryAway(ServerSession& session) {
  const Dictionary command{{"command", "Folders of Album"}, {"id", "LibraryFolder"}};
  const auto answer = session.ask(command);
  if (const auto* failure = std::get_if<RequestFailure>(&answer)) return saysLibraryIsAway(*failure, command);
  const Value& folders = std::get<Value>(answer);
  return folders.isArray() && folders.array().empty();
}

}  // namespace moxtel
