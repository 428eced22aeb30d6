#include "web/page/PageHandler.h"

#include "web/http/RequestTarget.h"

namespace moxtel {

namespace {

constexpr const char* kRobots = "User-agent: *\nDisallow: /\n";

void replaceAll(std::string& text, std::string_view name, std::string_view value) {
  for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
    text.replace(at, name.size(), value);
  }
}

std::string escapedHtml(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '"') {
      result += "&quot;";
    } else {
      result += c;
    }
  }
  return result;
}

const char* nameOf(HttpGate::LoginState state) {
  switch (state) {
    case HttpGate::LoginState::Wrong:
      return "wrong";
    case HttpGate::LoginState::Later:
      return "later";
    case HttpGate::LoginState::Ask:
      break;
  }
  return "ask";
}

}  // namespace

void PageHandler::handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) {
  responder->send(replyFor(request));
}

HttpReply PageHandler::replyFor(const HttpRequest& request) const {
  if (request.path == "/robots.txt") {
    HttpReply reply;
    reply.type = pageFileType(request.path);
    reply.body = kRobots;
    return reply;
  }
  if (isPageAddress(request.segments)) {
    // The page itself says that it has no such view.
    HttpReply reply = files_.reply("index.html", request.acceptsGzip);
    if (!isView(request.segments)) reply.status = 404;
    return reply;
  }
  const std::string name = request.path.substr(1);
  return files_.reply(name == "check" ? "check.html" : name, request.acceptsGzip);
}

HttpReply PageHandler::loginPage(HttpGate::LoginState state, const std::string& to) const {
  std::string text = files_.text("login.html");
  replaceAll(text, "@STATE@", nameOf(state));
  replaceAll(text, "@TO@", escapedHtml(to));
  HttpReply reply;
  reply.type = pageFileType("login.html");
  reply.body = std::move(text);
  return reply;
}

}  // namespace moxtel
