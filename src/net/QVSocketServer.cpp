#include "net/QVSocketServer.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <vector>

#include "dnssd/DnsSd.h"
#include "log/Log.h"
#include "net/Requests.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/system/SystemLog.h"
#include "plist/KeyedArchive.h"
#include "support/SystemErrors.h"

namespace moxtel {

namespace {

constexpr std::size_t kLargestRequest = 4096;
constexpr int kBacklog = 128;
constexpr std::chrono::seconds kSocketTimeout{10};

// A file is sent in parts of this size: a part stays in the processor's cache between its read and its write.
constexpr std::size_t kFilePart = std::size_t{256} << 10;

// The server constructed last; its owner destroys it. A class operation holds the mutex while it uses the
// server, so that the destructor waits until it is done.
std::mutex sharedMutex;
QVSocketServer* sharedServer = nullptr;

bool isReadAgain(int error) { return error == EINTR || error == EAGAIN || error == EWOULDBLOCK; }

bool isRequest(std::span<const std::uint8_t> bytes) {
  const auto decoded = unarchivedObject(bytes, kRequestLimits);
  const auto* value = std::get_if<Value>(&decoded);
  return value && value->isDictionary();
}

// Writes the file's content up to its size at opening, reading it as the peer takes it. False when the
// connection fails, and when the file has become shorter or cannot be read.
bool sendContent(MessageWriter& writer, const OpenFile& file) {
  Bytes buffer(std::min<std::uint64_t>(kFilePart, file.size));
  for (std::uint64_t done = 0; done < file.size;) {
    const std::span part = std::span(buffer).first(std::min<std::uint64_t>(kFilePart, file.size - done));
    if (readAt(file, done, part) != part.size()) {
      NSLog("could not read all of '%@' while it was sent", file.path);
      return false;
    }
    const std::array<Piece, 1> pieces{part};
    if (!writer.write(pieces, MoreFollows::Yes)) return false;
    done += part.size();
  }
  return true;
}

}  // namespace

QVSocketServer::QVSocketServer(NotificationCenter& notifications, DnsSd* dnsSd,
                               const SocketServerLimits& limits)
    : notifications_(notifications), dnsSd_(dnsSd), limits_(limits) {
  const std::lock_guard lock(sharedMutex);
  sharedServer = this;
}

QVSocketServer::~QVSocketServer() {
  stop();
  const std::lock_guard lock(sharedMutex);
  if (sharedServer == this) sharedServer = nullptr;
}

QVSocketServer* QVSocketServer::theServer() {
  const std::lock_guard lock(sharedMutex);
  return sharedServer;
}

bool QVSocketServer::isConnected() {
  const std::lock_guard lock(sharedMutex);
  const std::int32_t socket = sharedServer ? sharedServer->remoteSocket() : -1;
  LogDebug("isConnected ..., %p, %d", static_cast<const void*>(sharedServer), socket);
  return sharedServer && socket != 0;
}

bool QVSocketServer::isClientGone() {
  const std::lock_guard lock(sharedMutex);
  return !sharedServer || sharedServer->hasLostClient();
}

void QVSocketServer::disconnect() {
  const std::lock_guard lock(sharedMutex);
  const std::int32_t socket = sharedServer ? sharedServer->remoteSocket() : -1;
  NSLog("disconnect ..., %p, %d", static_cast<const void*>(sharedServer), socket);
  if (sharedServer && socket != 0) sharedServer->cutConnection();
}

void QVSocketServer::closeToClients() {
  const std::lock_guard lock(sharedMutex);
  if (sharedServer) sharedServer->refuseClients();
}

bool QVSocketServer::startServerOnPort(std::int32_t port, const std::string& bonjourName,
                                       const std::string& type) {
  FileDescriptor created = makeStreamSocket();
  if (!created) {
    rememberFailure(errno);
    LogDebug("could not create socket");
    return false;
  }
  stop();
  serverSocket_ = std::move(created);
  if (!listenOn(static_cast<std::uint16_t>(port))) {
    serverSocket_.close();
    return false;
  }
  LogDebug("QVSocketServer::startServerOnPort: %d withBonjourName: '%@' andType: '%@'", port, bonjourName,
           type);
  if (!publish(bonjourName, type)) return false;
  if (startThreads()) return true;
  // Without the threads, clients would find a port that never answers.
  stop();
  return false;
}

void QVSocketServer::rememberFailure(int error) { startFailure_ = systemErrorText(error); }

bool QVSocketServer::listenOn(std::uint16_t port) {
  const int socket = serverSocket_.get();
  const std::int32_t yes = 1;
  ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  setSocketTimeouts(socket, kSocketTimeout);
  setDeadPeerOptions(socket);
  // The listener thread polls; accept() must not block when the connection has disappeared since then.
  ::fcntl(socket, F_SETFL, O_NONBLOCK);

  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(access_.listenAddress);
  address.sin_port = htons(port);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    rememberFailure(errno);
    LogDebug("could not bind");
    return false;
  }
  if (::listen(socket, kBacklog) != 0) {
    rememberFailure(errno);
    LogDebug("could not listen");
    return false;
  }
  return true;
}

void QVSocketServer::setPublicationObserver(std::function<void(const PublicationState&)> observer) {
  publicationObserver_ = std::move(observer);
}

// A failure leaves the listener open on purpose, until the next start.
bool QVSocketServer::publish(const std::string& bonjourName, const std::string& type) {
  const ServiceDescription service{bonjourName, type, port()};
  if (dnsSd_) {
    netService_ = dnsSd_->publish(service, [this](const PublicationState& state) {
      if (publicationObserver_) publicationObserver_(state);
      if (state.kind != PublicationState::Kind::Failed) return;
      netServiceDidNotPublish(Dictionary{{"name", state.name}, {"reason", state.detail}});
    });
  }
  if (!netService_) {
    startFailure_ = "the service cannot be published";
    LogDebug("An error occurred initializing the NSNetService object.");
    return false;
  }
  LogDebug("published service: %@", format("%@ (%@, port %d)", service.name, service.type, service.port));
  return true;
}

bool QVSocketServer::startThreads() {
  stopping_ = false;
  try {
    listener_ =
        std::make_unique<ClientListener>(serverSocket_.get(), access_.allowedClients, limits_.waiting);
    thread_ = std::thread([this] { runServer(); });
  } catch (const std::system_error& error) {
    rememberFailure(error.code().value());
    NSLog("could not start the accept thread: %@", startFailure_);
    return false;
  }
  return true;
}

void QVSocketServer::stop() {
  netService_.reset();
  refuseClients();
  if (listener_) listener_->stop();
  if (thread_.joinable()) thread_.join();
  listener_.reset();
  serverSocket_.close();
}

void QVSocketServer::netServiceDidNotPublish(const Dictionary& errorDict) {
  LogDebug("netService didNotPublish, errorDict: %@", errorDict);
}

std::uint16_t QVSocketServer::port() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (::getsockname(serverSocket_.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

void QVSocketServer::runServer() {
  LogDebug("QVSocketServer::runServer (thread)");
  for (auto client = listener_->next(); client && !stopping_; client = listener_->next()) {
    serve(std::move(*client));
  }
  if (!stopping_) NSLog("QVSocketServer::runServer, accept failed");
}

void QVSocketServer::serve(ClientListener::Client client) {
  const Dictionary info{{"clientip", dottedQuad(client.peer)}};
  LogDebug("got connection from %@", info);
  beginConnection(std::move(client.connection));
  notify("ChangedConnection", nullptr, info);
  const auto how = readRequests();
  client.connection = endConnection(how);
  notify("ChangedConnection", nullptr, {});
  listener_->endTurn(std::move(client), how);
}

void QVSocketServer::beginConnection(FileDescriptor connection) {
  {
    const std::lock_guard lock(ending_);
    cut_ = false;
    connection_ = std::move(connection);
    remoteSocket_ = connection_.get();
  }
  if (stopping_) cutConnection();
}

// Until the connection or the turn ends.
WaitingClients::Ending QVSocketServer::readRequests() {
  for (;;) {
    if (const auto how = listener_->waitForRequest(connection_.get())) {
      LogDebug("could not read from socket");
      return *how;
    }
    if (!readRequest()) return WaitingClients::Ending::Disconnected;
  }
}

// False when the connection has ended. After cutConnection() the system may still return bytes received
// before: they are dropped.
bool QVSocketServer::readRequest() {
  std::array<std::uint8_t, kLargestRequest> buffer;
  const ssize_t count = ::recv(connection_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0 && isReadAgain(errno) && !cut_) return true;
  if (count < 0 || cut_) {
    LogDebug("could not read from socket");
    return false;
  }
  if (count == 0) return false;
  const Bytes chunk(buffer.begin(), buffer.begin() + count);
  notify("GotData", this, Dictionary{{"data", chunk}});
  if (isRequest(chunk)) listener_->handledRequest();
  return true;
}

// Returns the connection of a client that waits again; it stays open.
FileDescriptor QVSocketServer::endConnection(WaitingClients::Ending how) {
  // A reply in progress fails at once, which frees the lock.
  if (how != WaitingClients::Ending::WaitsAgain) ::shutdown(connection_.get(), SHUT_RDWR);
  const std::lock_guard sending(sending_);
  const std::lock_guard ending(ending_);
  remoteSocket_ = 0;
  FileDescriptor ended = std::move(connection_);
  if (how != WaitingClients::Ending::WaitsAgain) ended.close();
  return ended;
}

bool QVSocketServer::hasLostClient() {
  const std::lock_guard lock(ending_);
  return !connection_ || hasLostPeer(connection_.get(), limits_.patienceWithSilence);
}

// Shuts down instead of closing: close() would not wake the accept thread's read, and the descriptor's number
// could be reused before that thread noticed.
void QVSocketServer::cutConnection() {
  const std::lock_guard lock(ending_);
  if (!connection_) return;
  cut_ = true;
  ::shutdown(connection_.get(), SHUT_RDWR);
}

void QVSocketServer::refuseClients() {
  {
    const std::lock_guard lock(ending_);
    stopping_ = true;
  }
  cutConnection();
}

void QVSocketServer::notify(std::string_view name, const void* object, Value userInfo) {
  runLogged([&] { notifications_.post(name, object, std::move(userInfo)); });
}

bool QVSocketServer::sendToClientResultObject(Value object) {
  return sendToClientSerializedObject(resultEnvelope(std::move(object)));
}

bool QVSocketServer::sendToClientResultData(ReplyData data) {
  if (auto* bytes = std::get_if<Bytes>(&data)) return sendToClientResultObject(std::move(*bytes));
  return sendFileReply(std::get<OpenFile>(data));
}

bool QVSocketServer::sendToClientErrorString(std::string_view text) {
  return sendToClientSerializedObject(errorEnvelope(text));
}

bool QVSocketServer::sendToClientSerializedObject(Value object) {
  if (remoteSocket() == 0) return false;
  const ArchivePieces archive = archivedPieces(std::move(object), limits_.largestObject);
  return sendFrame(archive.size(), [&](MessageWriter& writer, Piece length) {
    std::vector<Piece> frame{length};
    frame.insert(frame.end(), archive.pieces().begin(), archive.pieces().end());
    return writer.write(frame);
  });
}

bool QVSocketServer::sendFileReply(const OpenFile& file) {
  if (remoteSocket() == 0) return false;
  const ArchiveAroundData archive = archiveAroundData(kResultKey, file.size);
  const std::uint64_t size = archive.before.size() + file.size + archive.after.size();
  return sendFrame(size, [&](MessageWriter& writer, Piece length) {
    const std::array<Piece, 2> head{length, archive.before};
    const std::array<Piece, 1> tail{archive.after};
    return writer.write(head, MoreFollows::Yes) && sendContent(writer, file) && writer.write(tail);
  });
}

// One whole reply: `write` writes the length and then the archive.
bool QVSocketServer::sendFrame(std::uint64_t archiveSize,
                               const std::function<bool(MessageWriter&, Piece length)>& write) {
  if (archiveSize > limits_.largestReply) {
    NSLog("a reply of %llu bytes is too large to be sent", archiveSize);
    return false;
  }
  const auto length = static_cast<std::uint32_t>(archiveSize);
  const std::lock_guard lock(sending_);
  const std::int32_t client = remoteSocket();
  if (client == 0) return false;
  ReplyPace pace(limits_.pace, std::chrono::steady_clock::now());
  MessageWriter writer(client, limits_.progress, [&](std::uint64_t acknowledged) {
    return !pace.isTooSlow(std::chrono::steady_clock::now(), acknowledged) || !listener_->someoneWaits();
  });
  if (write(writer, {reinterpret_cast<const std::uint8_t*>(&length), sizeof length})) return true;
  // Part of a reply may be written: the client could not know where the next one begins.
  cutConnection();
  return false;
}

}  // namespace moxtel
