// Decides which status, header fields and part of the body answer a request. A pure function of both; any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "web/http/HttpReply.h"
#include "web/http/HttpRequest.h"

namespace moxtel {

struct ReplyPlan {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> fields;
  // The range of the body that is sent; the whole body while its size is not known.
  bool hasBody = true;
  std::uint64_t first = 0;
  std::optional<std::uint64_t> size;
};

// For a reply whose body has this many bytes, if that is known. Ranges are for GET and replies of status 200,
// but not for texts that may be compressed.
ReplyPlan planReply(const HttpRequest& request, const HttpReply& reply,
                    std::optional<std::uint64_t> bodySize);

struct ConstantField {
  const char* name;
  const char* value;
};
// What every reply has besides.
std::span<const ConstantField> securityFields();

// Whether an Accept-Encoding field allows gzip.
bool acceptsGzip(std::string_view field);

// The value of Content-Disposition for a file name in UTF-8 (RFC 6266).
std::string attachmentNamed(std::string_view name);

}  // namespace moxtel
