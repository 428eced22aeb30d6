// Takes the reply to one request. Until then the connection is suspended and occupies no thread.
#pragma once

#include "web/http/HttpReply.h"

namespace moxtel {

class HttpResponder {
 public:
  HttpResponder() = default;
  // A responder that was never used answers 503 "busy".
  virtual ~HttpResponder() = default;
  HttpResponder(const HttpResponder&) = delete;
  HttpResponder& operator=(const HttpResponder&) = delete;

  // Sends the reply. Any thread, also within handle(); the first call counts, later ones are ignored. Never
  // waits for the client. Does nothing when the client is gone.
  virtual void send(HttpReply reply) = 0;
  // Whether the client has left or the server stops, so that work for this reply can end. Any thread.
  virtual bool isGone() const = 0;
};

}  // namespace moxtel
