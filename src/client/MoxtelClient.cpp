#include "client/MoxtelClient.h"

#include <algorithm>
#include <array>
#include <optional>

#include "client/AlbumDownload.h"
#include "client/Download.h"
#include "client/Json.h"
#include "client/KnownIds.h"
#include "client/LibraryProbe.h"
#include "client/PhotoListing.h"
#include "client/SafeText.h"
#include "client/Tables.h"

namespace moxtel {

namespace {

struct Edit {
  const char* command;
  const char* success;  // the beginning of the reply that says that the server does it
};

// A server also sends its refusals as results.
constexpr std::array kEdits{
    Edit{"Reveal Photo", "Revealed Photo"},    Edit{"Reveal Album", "Revealed Album"},
    Edit{"Reveal Event", "Revealed Album"},    Edit{"Set GPS of Photo", "Set GPS to "},
    Edit{"Clear GPS of Photo", "Cleared GPS"},
};

const Edit* editOf(const Dictionary& command) {
  const auto* const edit = std::find_if(kEdits.begin(), kEdits.end(), [&](const Edit& each) {
    return command["command"] == Value(each.command);
  });
  return edit == kEdits.end() ? nullptr : edit;
}

bool isDataCommand(const Dictionary& command) {
  const std::string_view name = command["command"].string();
  return name == "Data of Photo" || name.ends_with("Thumb of Photo") || name.ends_with("Image of Photo");
}

bool isEmptyList(const Value& result) { return result.isArray() && result.array().empty(); }

}  // namespace

MoxtelClient::MoxtelClient(ServerFinder& finder, std::ostream& out, std::ostream& err,
                           SocketClientLimits limits, bool isTerminal)
    : finder_(finder), out_(out), err_(err), limits_(limits), isTerminal_(isTerminal) {}

int MoxtelClient::run(const std::vector<std::string>& arguments) {
  const auto options = parseOptions(arguments);
  if (const auto* request = std::get_if<ClientRequest>(&options)) return perform(*request);
  if (const auto* wanted = std::get_if<BrowseWanted>(&options)) return browse(*wanted);
  if (const auto* error = std::get_if<UsageError>(&options)) {
    err_ << "moxtel: " << printable(error->text) << "\nTry 'moxtel --help'.\n";
    return kWrongUsage;
  }
  const auto* help = std::get_if<HelpWanted>(&options);
  out_ << (help ? help->text : "moxtel " MOXTEL_VERSION "\n");
  return kSuccess;
}

int MoxtelClient::perform(const ClientRequest& request) {
  ServerAddress server{request.host.value_or("127.0.0.1"), request.port.value_or(kServerPort)};
  if (!request.host && !request.port) {
    auto found = finder_.findServer();
    if (const auto* reason = std::get_if<std::string>(&found)) return fail(*reason);
    server = std::get<ServerAddress>(std::move(found));
  }
  ServerSession session(server, limits_);
  if (request.downloaded) {
    const auto problem =
        AlbumDownload(session, out_, err_, isTerminal_, *request.output).run(*request.downloaded);
    return problem.empty() ? kSuccess : fail(problem);
  }
  if (request.output || isDataCommand(request.command)) return download(session, request);
  return ask(session, request);
}

// Without servers, the JSON is an empty list, and the exit status reports a failure.
int MoxtelClient::browse(const BrowseWanted& wanted) {
  Array servers;
  for (const FoundServer& server : finder_.listServers()) {
    servers.append(Dictionary{
        {"name", server.name}, {"host", server.host}, {"address", server.address}, {"port", server.port}});
    if (wanted.json) continue;
    out_ << printable(server.address) << ':' << server.port << "  " << printable(server.name) << "  ("
         << printable(server.host) << ")\n";
  }
  const bool none = servers.empty();
  if (wanted.json) writeJson(out_, servers);
  if (!out_.flush()) return fail("could not write the result");
  return none ? fail("no server was found on the network") : kSuccess;
}

int MoxtelClient::ask(ServerSession& session, const ClientRequest& request) {
  const Edit* const edit = editOf(request.command);
  if (edit) {
    if (const auto problem = whyIdIsUnknown(session, request.command)) return fail(*problem);
  }
  const auto answer = session.ask(request.command);
  if (const auto* failure = std::get_if<RequestFailure>(&answer)) {
    const bool isAway = saysLibraryIsAway(*failure, request.command);
    return fail(isAway ? failure->text + ": " + kLibraryIsAway : failure->text);
  }
  const Value& result = std::get<Value>(answer);
  if (edit && result.isString() && !result.string().starts_with(edit->success)) {
    return fail(std::string(result.string()));
  }
  if (isEmptyList(result)) {
    if (isLibraryAway(session)) return fail(kLibraryIsAway);
    if (const auto problem = whyIdIsUnknown(session, request.command)) return fail(*problem);
  }
  return show(session, result, request);
}

int MoxtelClient::show(ServerSession& session, const Value& result, const ClientRequest& request) {
  if (request.layout == Layout::Photos && !request.brief && result.isArray()) {
    return showPhotos(session, result.array(), request.json);
  }
  if (request.json) {
    writeJson(out_, result);
  } else {
    writeForPeople(out_, result, request.layout);
  }
  return out_.flush() ? kSuccess : fail("could not write the result");
}

int MoxtelClient::showPhotos(ServerSession& session, const Array& photos, bool json) {
  PhotoListing listing(session, out_);
  const auto problem = json ? listing.writeJson(photos) : listing.writeTable(photos);
  if (!out_.flush()) return fail("could not write the result");
  return problem ? fail(*problem) : kSuccess;
}

int MoxtelClient::download(ServerSession& session, const ClientRequest& request) {
  ProgressLine progress(isTerminal_ ? &err_ : nullptr);
  Download download(session, progress);
  const std::string output = request.output.value_or("-");
  std::string problem;
  if (output != "-") {
    problem = download.toFile(request.command, output);
  } else if (request.output || !request.json) {
    problem = download.toStream(request.command, out_);
  } else {
    problem = download.toJson(request.command, out_);
  }
  if (!problem.empty()) return fail(problem);
  return out_.flush() ? kSuccess : fail("could not write the result");
}

int MoxtelClient::fail(const std::string& text) {
  err_ << "moxtel: " << printable(text) << '\n';
  return kFailure;
}

}  // namespace moxtel
