// The HTTP/1.1 server of the page, on libmicrohttpd: a listener, and some threads that each serve many
// connections.
//
// A request passes the gate and goes to the handler on one of these threads. Until the handler's reply is
// there the connection is suspended and occupies no thread. Started, stopped and destroyed on one thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "net/AddressList.h"
#include "web/http/ClientRules.h"
#include "web/http/HttpConnections.h"
#include "web/http/HttpGate.h"
#include "web/http/HttpHandler.h"
#include "web/http/HttpListener.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace moxtel {

class HttpServer final {
 public:
  struct Limits {
    HttpConnections::Limits connections{};
    std::chrono::milliseconds untilFirstByte{20'000};
    std::chrono::seconds withoutProgress{60};  // nothing read or written
    unsigned threads = 4;
  };

  // Borrows all three.
  HttpServer(const ClientRules& rules, const HttpGate& gate, HttpHandler& handler, const Limits& limits);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Listens on an address (0: all of this machine) and a port (0: any free one). Returns an empty text, or
  // why it cannot, for the user. Once for each object.
  [[nodiscard]] std::string start(IPv4Address address, std::uint16_t port);
  // Ends all connections and the threads. Responders that are still held do nothing from now on.
  void stop();
  // 0 while it does not listen.
  std::uint16_t port() const { return listener_.port(); }

 private:
  struct Callbacks;
  struct RequestInProgress;
  void connected(FileDescriptor connection, const sockaddr_in& peer);
  // On a thread of libmicrohttpd; its result for the connection. The slot is the request in progress.
  int begin(MHD_Connection* connection, HttpConnections::Connection& state, const char* method,
            const char* version, void** slot);
  int reply(MHD_Connection* connection, HttpConnections::Connection& state, RequestInProgress& request);
  void ask(RequestInProgress& request);

  const ClientRules& rules_;
  const HttpGate& gate_;
  HttpHandler& handler_;
  const Limits limits_;
  HttpConnections connections_;
  MHD_Daemon* daemon_ = nullptr;
  HttpListener listener_;
};

}  // namespace moxtel
