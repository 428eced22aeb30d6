#include "web/http/ReplyPlan.h"

#include <algorithm>
#include <charconv>

#include "value/Trimmed.h"
#include "web/http/ByteRange.h"
#include "web/http/RawRequest.h"

namespace moxtel {

namespace {

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kNotModified = 304;
constexpr int kRangeNotSatisfiable = 416;

// Styles, scripts and pictures of this server alone; "data:" for the 1×1 picture of recycled tiles.
constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; media-src 'self'; "
    "connect-src 'self'; "
    "manifest-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

const char* cacheControl(HttpReply::Cache cache) {
  switch (cache) {
    case HttpReply::Cache::Private:
      return "private, max-age=3600";
    case HttpReply::Cache::Immutable:
      return "private, max-age=31536000, immutable";
    case HttpReply::Cache::No:
      break;
  }
  return "no-cache";
}

bool isJson(const HttpReply& reply) { return reply.type == "application/json"; }

// The ranges of a text differ with its compression.
bool isText(const HttpReply& reply) {
  return isJson(reply) || std::ranges::any_of(reply.headers, [](const auto& field) {
           return equalsIgnoringCase(field.first, "Content-Encoding");
         });
}

bool offersRanges(const HttpReply& reply) {
  const auto* body = std::get_if<std::shared_ptr<HttpBody>>(&reply.body);
  return !isText(reply) && (!body || !*body || (*body)->offersRanges());
}

constexpr ConstantField kSecurityFields[] = {
    {"Content-Security-Policy", kContentPolicy},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Frame-Options", "DENY"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

// Visible ASCII that may be inside a quoted string.
char plainCharacter(char c) {
  return c < 0x20 || c == 0x7F || c == '"' || c == '\\' || c == '%' || c == '/' ? '_' : c;
}

void chooseBody(ReplyPlan& plan, const HttpRequest& request, const std::string& etag, std::uint64_t size) {
  plan.size = size;
  if (request.range.empty() || request.head || !ifRangeMatches(request.ifRange, etag)) return;
  const RangeChoice choice = chooseRange(request.range, size);
  const std::string total = "/" + std::to_string(size);
  if (const auto* range = std::get_if<ByteRange>(&choice)) {
    plan.status = kPartialContent;
    plan.first = range->first;
    plan.size = range->size;
    const std::uint64_t last = range->first + range->size - 1;
    plan.fields.emplace_back("Content-Range",
                             "bytes " + std::to_string(range->first) + "-" + std::to_string(last) + total);
  } else if (std::holds_alternative<UnsatisfiableRange>(choice)) {
    plan.status = kRangeNotSatisfiable;
    plan.hasBody = false;
    plan.fields.emplace_back("Content-Range", "bytes *" + total);
  }
}

// One element of Accept-Encoding, "gzip;q=0.5".
bool isAcceptedGzip(std::string_view element) {
  const auto semicolon = element.find(';');
  const std::string_view coding = trimmed(element.substr(0, semicolon));
  if (!equalsIgnoringCase(coding, "gzip") && coding != "*") return false;
  if (semicolon == std::string_view::npos) return true;
  const std::string_view weight = trimmed(element.substr(semicolon + 1));
  return weight.find_first_of("123456789") != std::string_view::npos;
}

}  // namespace

std::span<const ConstantField> securityFields() { return kSecurityFields; }

std::string attachmentNamed(std::string_view name) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string plain;
  std::string encoded;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) plain += plainCharacter(c);
    // One replacement for each character, at its first byte.
    if (byte >= 0xC0) plain += '_';
    const bool isLetter = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (isLetter || c == '-' || c == '.' || c == '_') {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHex[byte >> 4];
      encoded += kHex[byte & 15];
    }
  }
  return "attachment; filename=\"" + plain + "\"; filename*=UTF-8''" + encoded;
}

bool acceptsGzip(std::string_view field) {
  while (!field.empty()) {
    const auto comma = field.find(',');
    if (isAcceptedGzip(field.substr(0, comma))) return true;
    field = comma == std::string_view::npos ? std::string_view() : field.substr(comma + 1);
  }
  return false;
}

ReplyPlan planReply(const HttpRequest& request, const HttpReply& reply,
                    std::optional<std::uint64_t> bodySize) {
  ReplyPlan plan;
  plan.status = reply.status;
  plan.size = bodySize;
  plan.fields = reply.headers;
  const std::string etag = reply.etag.empty() ? std::string() : "\"" + reply.etag + "\"";
  const bool hasRanges = reply.status == kOk && bodySize && offersRanges(reply);
  if (reply.status == kOk && ifNoneMatchNames(request.ifNoneMatch, etag)) {
    plan.status = kNotModified;
    plan.hasBody = false;
  } else if (hasRanges) {
    chooseBody(plan, request, etag, *bodySize);
  }
  if (plan.hasBody && !reply.type.empty()) plan.fields.emplace_back("Content-Type", reply.type);
  if (hasRanges) plan.fields.emplace_back("Accept-Ranges", "bytes");
  if (!etag.empty()) plan.fields.emplace_back("ETag", etag);
  if (!reply.downloadName.empty())
    plan.fields.emplace_back("Content-Disposition", attachmentNamed(reply.downloadName));
  if (isText(reply)) plan.fields.emplace_back("Vary", "Accept-Encoding");
  plan.fields.emplace_back("Cache-Control", cacheControl(reply.cache));
  return plan;
}

}  // namespace moxtel
