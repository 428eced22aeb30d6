#include "web/http/HttpReply.h"

namespace moxtel {

HttpReply errorReply(int status, std::string_view word) {
  HttpReply reply = jsonReply("{\"error\":\"" + std::string(word) + "\"}");
  reply.status = status;
  return reply;
}

HttpReply jsonReply(std::string json, std::string etag) {
  HttpReply reply;
  reply.type = "application/json";
  reply.body = std::move(json);
  reply.etag = std::move(etag);
  return reply;
}

}  // namespace moxtel
