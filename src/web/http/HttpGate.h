// What a request meets before a handler sees it: checks of its client, method, target and key, and the
// addresses for logging in. Any thread; never waits.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include "web/http/ClientRules.h"
#include "web/http/HttpReply.h"
#include "web/http/HttpRequest.h"
#include "web/http/RawRequest.h"
#include "web/http/RequestTarget.h"
#include "web/http/WebAccess.h"

namespace moxtel {

class HttpGate final {
 public:
  // The form for the six digits.
  enum class LoginState { Ask, Wrong, Later };
  // Makes its page; after a login the browser goes to the address `to`.
  using LoginPage = std::function<HttpReply(LoginState state, const std::string& to)>;

  // Borrows both.
  HttpGate(const ClientRules& rules, WebAccess& access, LoginPage loginPage);

  struct Admitted {
    HttpRequest request;
    std::string cookie;  // a value of Set-Cookie that admits the device for another year; empty: none
  };

  // The body is that of a form; empty for other methods than POST. The request for a handler, or the reply.
  std::variant<Admitted, HttpReply> pass(const RawRequest& request, std::string_view body) const;
  // Whether a request with this header may have a body: only the form of "/login" may.
  static bool mayHaveBody(const RawRequest& request);

 private:
  HttpReply login(const RequestTarget& target, const RawRequest& request, std::string_view body,
                  const WebClient& client) const;
  HttpReply logInByKey(const RequestTarget& target, const WebClient& client) const;
  HttpReply withoutKey(const RequestTarget& target, const RawRequest& request) const;
  bool isAdmitted(const RequestTarget& target, const RawRequest& request) const;

  const ClientRules& rules_;
  WebAccess& access_;
  const LoginPage loginPage_;
};

// Whether everybody may request an address, given the segments of its path, because it is the same on every
// server.
bool isPublicAddress(const std::vector<std::string>& segments);
// Whether a browser shows the page at an address: "/", and below a library what is neither a file nor JSON.
bool isPageAddress(const std::vector<std::string>& segments);
// Whether the page has a view for it.
bool isView(const std::vector<std::string>& segments);

}  // namespace moxtel
