// A request to the page, as libmicrohttpd hands it over: method, target, fields and a form, a line each.
// Besides not crashing, checks that nothing is admitted without the key, and that redirects stay on this
// server.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "web/http/ByteRange.h"
#include "web/http/HttpGate.h"
#include "web/http/ReplyPlan.h"

namespace moxtel {
namespace {

RawRequest requestOf(std::string_view text, std::string& body) {
  RawRequest request;
  request.peer = 0x7F000001;
  request.local = 0x7F000001;
  std::size_t line = 0;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view each = text.substr(0, end);
    const auto colon = each.find(": ");
    if (line == 0) {
      request.method = each;
    } else if (line == 1) {
      request.target = each;
    } else if (colon != std::string_view::npos) {
      request.fields.emplace_back(each.substr(0, colon), each.substr(colon + 2));
    } else {
      body = each;
    }
    ++line;
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
  return request;
}

void require(bool isTrue) {
  if (!isTrue) std::abort();
}

void checkRedirect(const HttpReply& reply) {
  for (const auto& [name, value] : reply.headers) {
    if (name != "Location") continue;
    require(value.starts_with("/") && !value.starts_with("//") && value.find('\\') == std::string::npos);
  }
}

void checkRange(const HttpRequest& request) {
  constexpr std::uint64_t kSize = 1000;
  HttpReply reply;
  reply.type = "image/jpeg";
  reply.etag = "v1";
  const ReplyPlan plan = planReply(request, reply, kSize);
  require(plan.first + plan.size.value_or(0) <= kSize);
}

}  // namespace
}  // namespace moxtel

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace moxtel;
  static const ClientRules rules{{}};
  static WebAccess access(WebAccess::Mode::Key, "/dev/null/web-access", 4251);
  static const HttpGate gate(rules, access,
                             [](HttpGate::LoginState, const std::string&) { return HttpReply{}; });
  std::string body;
  const RawRequest request = requestOf({reinterpret_cast<const char*>(data), size}, body);
  auto passed = gate.pass(request, body);
  if (const auto* reply = std::get_if<HttpReply>(&passed)) {
    checkRedirect(*reply);
    return 0;
  }
  const HttpRequest& admitted = std::get<HttpGate::Admitted>(passed).request;
  require(isPublicAddress(admitted.segments));  // the input does not know the key
  require(admitted.path.find('\0') == std::string::npos);
  checkRange(admitted);
  return 0;
}
