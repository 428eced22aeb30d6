#include "web/http/HttpServer.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>

#include "platform/system/SystemLog.h"
#include "web/http/HttpExchange.h"

namespace moxtel {

namespace {

using Connection = HttpConnections::Connection;

constexpr std::size_t kMemoryOfConnection = 32768;  // bytes; bounds the header
constexpr std::size_t kLargestForm = 1024;          // bytes

IPv4Address localAddressOf(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohl(address.sin_addr.s_addr);
}

IPv4Address peerAddressOf(MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  const auto* address = info ? reinterpret_cast<const sockaddr_in*>(info->client_addr) : nullptr;
  return address && address->sin_family == AF_INET ? ntohl(address->sin_addr.s_addr) : 0;
}

Connection* connectionOf(MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  return info ? static_cast<Connection*>(info->socket_context) : nullptr;
}

// Percent encoding is decoded by RequestTarget, after splitting.
std::size_t keepEncoded(void*, MHD_Connection*, char* text) { return std::char_traits<char>::length(text); }

MHD_Result asResult(int value) { return value == MHD_NO ? MHD_NO : MHD_YES; }

MHD_Result addField(void* request, MHD_ValueKind, const char* name, const char* value) {
  static_cast<RawRequest*>(request)->fields.emplace_back(name ? name : "", value ? value : "");
  return MHD_YES;
}

bool isLength(std::string_view text, std::size_t largest) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number <= largest;
}

// 0, or the status of the refusal: a body where none belongs, too long a one, or one that a proxy could read
// differently.
int bodyProblem(const RawRequest& request) {
  if (request.count("Transfer-Encoding") > 0 || request.count("Content-Length") > 1) return 400;
  const auto length = request.field("Content-Length");
  if (!HttpGate::mayHaveBody(request)) return length && length != "0" ? 400 : 0;
  if (!length) return 411;
  return isLength(*length, kLargestForm) ? 0 : 413;
}

bool isKnownVersion(std::string_view version) { return version == "HTTP/1.1" || version == "HTTP/1.0"; }

MHD_Result queue(MHD_Connection* connection, const PreparedReply& reply) {
  if (!reply.response) return MHD_NO;
  return MHD_queue_response(connection, static_cast<unsigned>(reply.status), reply.response);
}

MHD_Result refuse(MHD_Connection* connection, int status) {
  HttpReply reply = errorReply(status, "request");
  reply.headers.emplace_back("Connection", "close");
  return queue(connection, prepareReply(HttpRequest{}, std::move(reply)));
}

}  // namespace

// What is known of a request until its reply is sent.
struct HttpServer::RequestInProgress {
  RawRequest raw;
  std::string body;
  bool isAsked = false;  // the gate has it
  std::shared_ptr<HttpExchange> exchange;
};

// What libmicrohttpd calls, on its threads.
struct HttpServer::Callbacks {
  static void* began(void*, const char* target, MHD_Connection* connection) {
    if (Connection* const state = connectionOf(connection)) state->target = target;
    return nullptr;
  }

  static void changed(void* server, MHD_Connection* connection, void** context,
                      MHD_ConnectionNotificationCode code) {
    HttpConnections& connections = static_cast<HttpServer*>(server)->connections_;
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      const int socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
      *context = connections.add(socket, peerAddressOf(connection), localAddressOf(socket));
    } else {
      connections.remove(static_cast<Connection*>(*context));
      *context = nullptr;
    }
  }

  // An exception must not pass through C code.
  static MHD_Result asked(void* server, MHD_Connection* connection, const char*, const char* method,
                          const char* version, const char* data, std::size_t* size, void** slot) {
    Connection* const state = connectionOf(connection);
    // Without the address that was asked for nothing can be allowed.
    if (!state || state->local == 0) return MHD_NO;
    try {
      if (!*slot)
        return asResult(static_cast<HttpServer*>(server)->begin(connection, *state, method, version, slot));
      auto& request = *static_cast<RequestInProgress*>(*slot);
      if (*size > 0) return takeBody(request.body, data, *size);
      return asResult(static_cast<HttpServer*>(server)->reply(connection, *state, request));
    } catch (const std::exception& error) {
      NSLog("a request of the page failed: %@", error.what());
      return MHD_NO;
    }
  }

  static MHD_Result takeBody(std::string& body, const char* data, std::size_t& size) {
    if (body.size() + size > kLargestForm) return MHD_NO;
    body.append(data, size);
    size = 0;
    return MHD_YES;
  }

  static void completed(void* server, MHD_Connection* connection, void** slot, MHD_RequestTerminationCode) {
    const std::unique_ptr<RequestInProgress> request(static_cast<RequestInProgress*>(*slot));
    *slot = nullptr;
    if (request) request->exchange->leave();
    if (Connection* const state = connectionOf(connection)) {
      static_cast<HttpServer*>(server)->connections_.endRequest(*state);
    }
  }
};

HttpServer::HttpServer(const ClientRules& rules, const HttpGate& gate, HttpHandler& handler,
                       const Limits& limits)
    : rules_(rules),
      gate_(gate),
      handler_(handler),
      limits_(limits),
      connections_(limits.connections),
      listener_({[this](IPv4Address peer, IPv4Address local, std::size_t waitingOfPeer, std::size_t waiting) {
                   return rules_.mayConnect(peer, local) &&
                          connections_.makeRoom(peer, rules_.isProxy(peer), waitingOfPeer, waiting);
                 },
                 [this](FileDescriptor connection, const sockaddr_in& peer) {
                   connected(std::move(connection), peer);
                 },
                 [this] { connections_.tick(std::chrono::steady_clock::now()); }},
                limits.untilFirstByte) {}

HttpServer::~HttpServer() { stop(); }

std::string HttpServer::start(IPv4Address address, std::uint16_t port) {
  constexpr unsigned kFlags =
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_SUSPEND_RESUME | MHD_USE_NO_LISTEN_SOCKET | MHD_USE_TURBO;
  // Each thread gets an equal part of the limit; the limit that counts is that of HttpConnections.
  const auto connections = static_cast<unsigned>(limits_.connections.inAll) * 2;
  daemon_ = MHD_start_daemon(
      kFlags, 0, nullptr, nullptr, &Callbacks::asked, this, MHD_OPTION_THREAD_POOL_SIZE, limits_.threads,
      MHD_OPTION_CONNECTION_LIMIT, connections, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemoryOfConnection,
      MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(limits_.withoutProgress.count()),
      MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_UNESCAPE_CALLBACK, &keepEncoded, nullptr,
      MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::began, nullptr, MHD_OPTION_NOTIFY_CONNECTION,
      &Callbacks::changed, this, MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::completed, this, MHD_OPTION_END);
  if (!daemon_) return "its threads cannot be started";
  const std::string problem = listener_.start(address, port);
  if (!problem.empty()) stop();
  return problem;
}

void HttpServer::stop() {
  listener_.stop();
  // libmicrohttpd must not be stopped while a connection is suspended.
  connections_.endAll();
  if (daemon_) MHD_stop_daemon(std::exchange(daemon_, nullptr));
}

// The daemon closes a connection that it does not take.
void HttpServer::connected(FileDescriptor connection, const sockaddr_in& peer) {
  const int socket = connection.release();
  connections_.handOver(socket, ntohl(peer.sin_addr.s_addr));
  const auto* address = reinterpret_cast<const sockaddr*>(&peer);
  if (MHD_add_connection(daemon_, socket, address, sizeof peer) != MHD_YES) connections_.wasNotTaken(socket);
}

int HttpServer::begin(MHD_Connection* connection, HttpConnections::Connection& state, const char* method,
                      const char* version, void** slot) {
  auto made = std::make_unique<RequestInProgress>();
  made->raw.method = method;
  made->raw.target = state.target;
  made->raw.peer = state.peer;
  made->raw.local = state.local;
  MHD_get_connection_values(connection, MHD_HEADER_KIND, &addField, &made->raw);
  made->exchange = std::make_shared<HttpExchange>(connection);
  RequestInProgress& request = *made;
  *slot = made.release();
  if (!isKnownVersion(version)) return refuse(connection, 505);
  if (const int problem = bodyProblem(request.raw)) return refuse(connection, problem);
  // A reply from within the first call would end the connection.
  return MHD_YES;
}

int HttpServer::reply(MHD_Connection* connection, HttpConnections::Connection& state,
                      RequestInProgress& request) {
  if (!request.isAsked) {
    request.isAsked = true;
    if (!connections_.beginRequest(state, request.exchange)) return MHD_NO;
    ask(request);
  }
  const auto reply = request.exchange->takeReplyOrSuspend();
  if (!reply) return MHD_YES;
  connections_.beginReply(state);
  return queue(connection, *reply);
}

void HttpServer::ask(RequestInProgress& request) {
  auto passed = gate_.pass(request.raw, request.body);
  if (auto* reply = std::get_if<HttpReply>(&passed)) {
    request.exchange->send(std::move(*reply));
    return;
  }
  auto& admitted = std::get<HttpGate::Admitted>(passed);
  request.exchange->request = std::move(admitted.request);
  request.exchange->setCookie = std::move(admitted.cookie);
  handler_.handle(request.exchange->request, std::make_shared<ExchangeResponder>(request.exchange));
}

}  // namespace moxtel
