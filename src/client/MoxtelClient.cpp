#include "client/MoxtelClient.h"

#include <algorithm>
#include <fstream>
#include <optional>

#include "client/Json.h"
#include "client/SafeText.h"
#include "client/Tables.h"
#include "platform/loop/NotificationCenter.h"
#include "plist/KeyedArchive.h"
#include "value/Description.h"

namespace moxtel {

namespace {

std::string secondsText(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(time).count();
  return std::to_string(seconds) + (seconds == 1 ? " second" : " seconds");
}

std::string reasonText(ExchangeFailure failure, const SocketClientLimits& limits) {
  switch (failure) {
    case ExchangeFailure::RequestTooLong:
      return "the request is too long: a server takes 4096 bytes";
    case ExchangeFailure::NoAnswer:
      return "no answer within " + secondsText(limits.answer);
    case ExchangeFailure::ClosedAtOnce:
      return "the server closed the connection without an answer";
    case ExchangeFailure::ReplyTooLong:
      return "the server's answer is too long";
    case ExchangeFailure::BrokenReply:
      return "the server's answer broke off";
    case ExchangeFailure::NotConnected:
    case ExchangeFailure::NotSent:
      break;
  }
  return "the request could not be sent";
}

// A regular archive has at least one byte for each value. Rejects one that unfolds into more values than
// that.
ArchiveLimits limitsFor(const Bytes& body) {
  return {.depth = 128, .values = std::max<std::size_t>(body.size(), 1000)};
}

}  // namespace

MoxtelClient::MoxtelClient(ServerFinder& finder, std::ostream& out, std::ostream& err,
                           SocketClientLimits limits)
    : finder_(finder), out_(out), err_(err), limits_(limits) {}

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
  if (request.host || request.port) {
    return ask({request.host.value_or("127.0.0.1"), request.port.value_or(kServerPort)}, request);
  }
  const auto found = finder_.findServer();
  if (const auto* reason = std::get_if<std::string>(&found)) return fail(*reason);
  return ask(std::get<ServerAddress>(found), request);
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

// One connection for each command: a surplus reply cannot be mistaken for the reply to another command.
int MoxtelClient::ask(const ServerAddress& server, const ClientRequest& request) {
  NotificationCenter notifications;
  const auto client = QVSocketClient::create(notifications, limits_);
  if (!client->connectTo(server.host, "", server.port)) {
    return fail("could not connect to " + server.host + ", port " + std::to_string(server.port) + ": " +
                client->connectFailure());
  }
  const auto outcome = client->exchange(request.command);
  QVSocketClient::disconnectTheClient();
  if (const auto* failure = std::get_if<ExchangeFailure>(&outcome))
    return fail(reasonText(*failure, limits_));
  return handleReply(std::get<Bytes>(outcome), request);
}

int MoxtelClient::handleReply(const Bytes& body, const ClientRequest& request) {
  const auto decoded = unarchivedObject(body, limitsFor(body));
  if (const auto* error = std::get_if<DecodingError>(&decoded)) {
    return fail("the server's answer cannot be read: " + error->reason);
  }
  const Value& envelope = std::get<Value>(decoded);
  if (const Value& result = envelope["result"]; !result.isNil()) return show(result, request);
  const Value& error = envelope["error"];
  return fail(error.isString() ? std::string(error.string()) : "the server's answer contains no result");
}

int MoxtelClient::show(const Value& result, const ClientRequest& request) {
  if (request.output) return save(result, *request.output);
  if (request.json) {
    writeJson(out_, result);
  } else {
    writeForPeople(out_, result, request.layout);
  }
  return out_.flush() ? kSuccess : fail("could not write the result");
}

int MoxtelClient::save(const Value& result, const std::string& path) {
  if (!result.isData()) return fail("the server's answer is not data");
  std::ofstream file;
  if (path != "-") file.open(path, std::ios::binary | std::ios::trunc);
  std::ostream& to = path == "-" ? out_ : file;
  to.write(reinterpret_cast<const char*>(result.data().data()),
           static_cast<std::streamsize>(result.data().size()));
  return to.flush() ? kSuccess : fail("could not write " + path);
}

int MoxtelClient::fail(const std::string& text) {
  err_ << "moxtel: " << printable(text) << '\n';
  return kFailure;
}

}  // namespace moxtel
