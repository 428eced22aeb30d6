#include "web/http/HttpReply.h"

#include <gtest/gtest.h>

#include "web/http/HttpHandler.h"

namespace moxtel {
namespace {

TEST(HttpReply, errorsAreJson) {
  const HttpReply reply = errorReply(404, "unknown");
  EXPECT_EQ(reply.status, 404);
  EXPECT_EQ(reply.type, "application/json");
  EXPECT_EQ(std::get<std::string>(reply.body), R"({"error":"unknown"})");
  EXPECT_EQ(reply.cache, HttpReply::Cache::No);
}

TEST(HttpRequest, findsTheFirstParameterWithAName) {
  HttpRequest request;
  request.parameters = {{"v", "1"}, {"what", "both"}, {"v", "2"}};
  EXPECT_EQ(request.query("v"), "1");
  EXPECT_EQ(request.query("what"), "both");
  EXPECT_EQ(request.query("order"), std::nullopt);
}

}  // namespace
}  // namespace moxtel
