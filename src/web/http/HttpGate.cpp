#include "web/http/HttpGate.h"

#include <algorithm>
#include <array>
#include <optional>

#include "web/http/ReplyPlan.h"

namespace moxtel {

namespace {

constexpr std::array<std::string_view, 5> kViews{"photos", "albums", "events", "people", "keywords"};
// Those whose address goes on.
constexpr std::array<std::string_view, 2> kLongViews{"search", "list"};
// Below a library, what is no page.
constexpr std::array<std::string_view, 10> kDataFolders{"api",   "thumb",    "square", "face",  "preview",
                                                        "large", "original", "edited", "movie", "zip"};
constexpr std::array<std::string_view, 2> kPublicFolders{"assets", "icons"};
constexpr std::array<std::string_view, 5> kPublicFiles{"check", "manifest.webmanifest", "favicon.ico",
                                                       "robots.txt", "login"};

bool isPost(const RawRequest& request) { return request.method == "POST"; }
bool isRead(const RawRequest& request) { return request.method == "GET" || request.method == "HEAD"; }

std::string_view pathOf(std::string_view target) { return target.substr(0, target.find('?')); }

HttpReply redirect(std::string location) {
  HttpReply reply;
  reply.status = 303;
  reply.headers.emplace_back("Location", std::move(location));
  return reply;
}

std::optional<std::string> valueOf(const std::vector<std::pair<std::string, std::string>>& fields,
                                   std::string_view name) {
  for (const auto& [key, value] : fields) {
    if (key == name) return value;
  }
  return std::nullopt;
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/:";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      result += c;
    } else {
      result += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return result;
}

// An address of the page, so that a link cannot lead to another site or to a picture; else the start.
std::string safeDestination(const std::string& to) {
  const auto target = parseTarget(to);
  const bool isPlain = std::ranges::all_of(to, [](char c) { return c > 0x20 && c < 0x7F; });
  return target && isPlain && isPageAddress(target->segments) ? to : "/";
}

HttpReply methodReply() {
  HttpReply reply = errorReply(405, "method");
  reply.headers.emplace_back("Allow", "GET, HEAD");
  return reply;
}

HttpRequest requestOf(const RawRequest& raw, RequestTarget target, const WebClient& client) {
  HttpRequest request;
  request.head = raw.method == "HEAD";
  request.path = std::move(target.path);
  request.segments = std::move(target.segments);
  request.parameters = std::move(target.parameters);
  request.range = raw.field("Range").value_or("");
  request.ifRange = raw.field("If-Range").value_or("");
  request.ifNoneMatch = raw.field("If-None-Match").value_or("");
  request.acceptsGzip = acceptsGzip(raw.field("Accept-Encoding").value_or(""));
  request.userAgent = raw.field("User-Agent").value_or("");
  request.peer = client.address;
  return request;
}

}  // namespace

bool isPublicAddress(const std::vector<std::string>& segments) {
  if (segments.size() == 1) return std::ranges::find(kPublicFiles, segments[0]) != kPublicFiles.end();
  return segments.size() == 2 && std::ranges::find(kPublicFolders, segments[0]) != kPublicFolders.end();
}

bool isPageAddress(const std::vector<std::string>& segments) {
  if (segments.empty()) return true;
  if (segments[0] != "l" || segments.size() < 2) return false;
  return segments.size() == 2 || std::ranges::find(kDataFolders, segments[2]) == kDataFolders.end();
}

bool isView(const std::vector<std::string>& segments) {
  if (!isPageAddress(segments)) return false;
  if (segments.size() <= 2) return true;
  const bool isLong = std::ranges::find(kLongViews, segments[2]) != kLongViews.end();
  return isLong || (segments.size() == 3 && std::ranges::find(kViews, segments[2]) != kViews.end());
}

HttpGate::HttpGate(const ClientRules& rules, WebAccess& access, LoginPage loginPage)
    : rules_(rules), access_(access), loginPage_(std::move(loginPage)) {}

bool HttpGate::mayHaveBody(const RawRequest& request) {
  return isPost(request) && pathOf(request.target) == "/login";
}

std::variant<HttpGate::Admitted, HttpReply> HttpGate::pass(const RawRequest& request,
                                                           std::string_view body) const {
  const WebClient client = rules_.clientOf(request);
  if (!client.isAllowed || !client.isHostAllowed) return errorReply(403, "refused");
  if (!isRead(request) && !mayHaveBody(request)) return methodReply();
  auto target = parseTarget(request.target);
  if (!target) return errorReply(400, "request");
  const auto& segments = target->segments;
  if (target->path == "/login") return login(*target, request, body, client);
  if (segments.size() == 2 && segments[0] == "in") return logInByKey(*target, client);
  if (!isPublicAddress(target->segments) && !isAdmitted(*target, request))
    return withoutKey(*target, request);
  const bool renews = access_.mode() == WebAccess::Mode::Key && isPageAddress(target->segments) &&
                      request.count("Cookie") > 0;
  return Admitted{requestOf(request, std::move(*target), client),
                  renews ? access_.cookie(client.isSecure) : std::string()};
}

bool HttpGate::isAdmitted(const RequestTarget& target, const RawRequest& request) const {
  if (access_.isAdmitted(request)) return true;
  // A player that sends no cookie.
  const bool isMovie =
      target.segments.size() == 4 && target.segments[0] == "l" && target.segments[2] == "movie";
  const auto signature = isMovie ? valueOf(target.parameters, "s") : std::nullopt;
  return signature && access_.isSigned(target.path, *signature);
}

HttpReply HttpGate::withoutKey(const RequestTarget& target, const RawRequest& request) const {
  if (!isPageAddress(target.segments)) return errorReply(401, "key");
  return redirect(target.segments.empty() ? "/login" : "/login?to=" + percentEncoded(request.target));
}

HttpReply HttpGate::logInByKey(const RequestTarget& target, const WebClient& client) const {
  if (!access_.isKey(target.segments[1])) return redirect("/login");
  HttpReply reply = redirect("/");
  reply.headers.emplace_back("Set-Cookie", access_.cookie(client.isSecure));
  return reply;
}

HttpReply HttpGate::login(const RequestTarget& target, const RawRequest& request, std::string_view body,
                          const WebClient& client) const {
  if (!isPost(request))
    return loginPage_(LoginState::Ask, safeDestination(valueOf(target.parameters, "to").value_or("/")));
  const auto form = parseForm(body);
  if (!form) return errorReply(400, "request");
  const std::string to = safeDestination(valueOf(*form, "to").value_or("/"));
  const auto result = access_.tryDigits(valueOf(*form, "digits").value_or(""), client.address);
  if (result == WebAccess::Login::Right) {
    HttpReply reply = redirect(to);
    reply.headers.emplace_back("Set-Cookie", access_.cookie(client.isSecure));
    return reply;
  }
  const bool isLater = result == WebAccess::Login::TooMany;
  HttpReply reply = loginPage_(isLater ? LoginState::Later : LoginState::Wrong, to);
  reply.status = isLater ? 429 : 403;
  return reply;
}

}  // namespace moxtel
