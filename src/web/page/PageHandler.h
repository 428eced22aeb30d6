// Answers the addresses that are the same on every server: the page, its files, and the form for the six
// digits. Any thread.
#pragma once

#include <string>

#include "web/http/HttpGate.h"
#include "web/http/HttpHandler.h"
#include "web/page/PageFiles.h"

namespace moxtel {

class PageHandler final : public HttpHandler {
 public:
  void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) override;
  // The form; its file names the places where the state and the address are put.
  HttpReply loginPage(HttpGate::LoginState state, const std::string& to) const;

 private:
  HttpReply replyFor(const HttpRequest& request) const;

  const PageFiles files_;
};

}  // namespace moxtel
