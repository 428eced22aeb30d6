// Answers the requests of one part of the addresses.
#pragma once

#include <memory>

#include "web/http/HttpRequest.h"
#include "web/http/HttpResponder.h"

namespace moxtel {

class HttpHandler {
 public:
  HttpHandler() = default;
  virtual ~HttpHandler() = default;
  HttpHandler(const HttpHandler&) = delete;
  HttpHandler& operator=(const HttpHandler&) = delete;

  // Called on several threads of the server at once. Must not block: what needs a file or a database is
  // posted to a thread of the handler's own, which calls send(). The request is valid during the call; copy
  // what is needed later.
  virtual void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) = 0;
};

}  // namespace moxtel
