// One request of a connection and its reply. The thread of libmicrohttpd that serves the connection makes it,
// gives the request to the handler, and sends the reply; send() may be called on any thread.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "web/http/HttpConnections.h"
#include "web/http/HttpReply.h"
#include "web/http/HttpRequest.h"
#include "web/http/HttpResponder.h"

struct MHD_Connection;
struct MHD_Response;

namespace moxtel {

// A reply that is ready to be sent.
struct PreparedReply {
  int status = 0;
  MHD_Response* response = nullptr;  // owned by who holds this; null: the connection must end

  PreparedReply() = default;
  PreparedReply(int status_, MHD_Response* response_) : status(status_), response(response_) {}
  PreparedReply(PreparedReply&& other) noexcept
      : status(other.status), response(std::exchange(other.response, nullptr)) {}
  PreparedReply& operator=(PreparedReply&&) = delete;
  ~PreparedReply();
};

// Compresses JSON where the client accepts that, and chooses the range of the body.
PreparedReply prepareReply(const HttpRequest& request, HttpReply reply);

class HttpExchange final : public PendingRequest {
 public:
  explicit HttpExchange(MHD_Connection* connection) : connection_(connection) {}

  HttpRequest request;    // set before the handler gets it, then constant
  std::string setCookie;  // added to the reply if not empty

  // Any thread; the first one counts.
  void send(HttpReply reply);
  bool isGone() const { return isGone_; }
  void end() override;
  void expire() override;

  // For the connection's thread.

  // The reply; null if there is none yet: then the connection is suspended until there is one.
  std::unique_ptr<PreparedReply> takeReplyOrSuspend();
  // The connection goes on to another request, or is closed.
  void leave();

 private:
  void deliver(std::unique_ptr<PreparedReply> reply);

  std::atomic<bool> isGone_{false};
  std::atomic<bool> isAnswered_{false};
  std::mutex mutex_;  // for what follows
  MHD_Connection* connection_;
  bool isSuspended_ = false;
  std::unique_ptr<PreparedReply> reply_;
};

// What a handler gets. One that is destroyed without a reply answers 503 "busy".
class ExchangeResponder final : public HttpResponder {
 public:
  explicit ExchangeResponder(std::shared_ptr<HttpExchange> exchange) : exchange_(std::move(exchange)) {}
  ~ExchangeResponder() override { exchange_->send(errorReply(503, "busy")); }
  void send(HttpReply reply) override { exchange_->send(std::move(reply)); }
  bool isGone() const override { return exchange_->isGone(); }

 private:
  const std::shared_ptr<HttpExchange> exchange_;
};

}  // namespace moxtel
