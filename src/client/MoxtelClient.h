// The program moxtel without its main: sends one command and shows the result.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "client/Options.h"
#include "client/ServerSearch.h"
#include "client/ServerSession.h"

namespace moxtel {

// Finds the server if the command line names none.
class ServerFinder {
 public:
  virtual ~ServerFinder() = default;
  // The server, or the reason for the user why there is none.
  virtual std::variant<ServerAddress, std::string> findServer() = 0;
  // All servers on the network, ordered by name.
  virtual std::vector<FoundServer> listServers() { return {}; }

 protected:
  ServerFinder() = default;
  ServerFinder(const ServerFinder&) = default;
  ServerFinder& operator=(const ServerFinder&) = default;
};

class MoxtelClient final {
 public:
  static constexpr int kSuccess = 0;
  static constexpr int kFailure = 1;
  static constexpr int kWrongUsage = 2;

  // Borrows its arguments. Texts from the server are written without control characters, data unchanged.
  // isTerminal: err is one, and shows the progress of downloads.
  MoxtelClient(ServerFinder& finder, std::ostream& out, std::ostream& err, SocketClientLimits limits = {},
               bool isTerminal = false);

  // The program's arguments without its name; returns its exit status.
  int run(const std::vector<std::string>& arguments);

 private:
  int perform(const ClientRequest& request);
  int browse(const BrowseWanted& wanted);
  int ask(ServerSession& session, const ClientRequest& request);
  int show(ServerSession& session, const Value& result, const ClientRequest& request);
  int showPhotos(ServerSession& session, const Array& photos, bool json);
  int download(ServerSession& session, const ClientRequest& request);
  int fail(const std::string& text);

  ServerFinder& finder_;
  std::ostream& out_;
  std::ostream& err_;
  SocketClientLimits limits_;
  const bool isTerminal_;
};

}  // namespace moxtel
