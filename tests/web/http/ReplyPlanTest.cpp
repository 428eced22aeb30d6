#include "web/http/ReplyPlan.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace moxtel {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;

HttpReply picture() {
  HttpReply reply;
  reply.type = "image/jpeg";
  reply.body = std::string(100, 'x');
  reply.etag = "v1";
  reply.cache = HttpReply::Cache::Immutable;
  return reply;
}

HttpRequest rangeRequest(const char* range, const char* ifRange = "") {
  HttpRequest request;
  request.range = range;
  request.ifRange = ifRange;
  return request;
}

TEST(ReplyPlan, sendsTheWholeBodyWithItsFields) {
  const ReplyPlan plan = planReply({}, picture(), 100);
  EXPECT_EQ(plan.status, 200);
  EXPECT_TRUE(plan.hasBody);
  EXPECT_EQ(plan.size, 100u);
  EXPECT_THAT(plan.fields, Contains(Pair("Content-Type", "image/jpeg")));
  EXPECT_THAT(plan.fields, Contains(Pair("ETag", "\"v1\"")));
  EXPECT_THAT(plan.fields, Contains(Pair("Accept-Ranges", "bytes")));
  EXPECT_THAT(plan.fields, Contains(Pair("Cache-Control", "private, max-age=31536000, immutable")));
}

// Every reply has them: test_web.py.
TEST(ReplyPlan, protectsEveryReply) {
  std::vector<std::pair<std::string, std::string>> fields;
  for (const ConstantField& field : securityFields()) fields.emplace_back(field.name, field.value);
  EXPECT_THAT(fields, Contains(Pair("X-Content-Type-Options", "nosniff")));
  EXPECT_THAT(fields, Contains(Pair("Referrer-Policy", "no-referrer")));
  EXPECT_THAT(fields, Contains(Pair("X-Frame-Options", "DENY")));
  EXPECT_THAT(fields, Contains(Pair("Content-Security-Policy", HasSubstr("default-src 'none'"))));
  EXPECT_THAT(fields, Contains(Pair("Content-Security-Policy", HasSubstr("frame-ancestors 'none'"))));
  EXPECT_THAT(fields, Contains(Pair("Content-Security-Policy", Not(HasSubstr("unsafe")))));
  for (const HttpReply& reply : {errorReply(404, "unknown"), jsonReply("{}")}) {
    const auto ofPlan = planReply({}, reply, 2).fields;
    fields.insert(fields.end(), ofPlan.begin(), ofPlan.end());
  }
  EXPECT_THAT(fields, Not(Contains(Key("Strict-Transport-Security"))));
  EXPECT_THAT(fields, Not(Contains(Key("Access-Control-Allow-Origin"))));
}

TEST(ReplyPlan, answersARange) {
  const ReplyPlan plan = planReply(rangeRequest("bytes=0-1"), picture(), 100);
  EXPECT_EQ(plan.status, 206);
  EXPECT_EQ(plan.first, 0u);
  EXPECT_EQ(plan.size, 2u);
  EXPECT_THAT(plan.fields, Contains(Pair("Content-Range", "bytes 0-1/100")));
}

TEST(ReplyPlan, answersARangeBehindTheEndWith416) {
  const ReplyPlan plan = planReply(rangeRequest("bytes=100-"), picture(), 100);
  EXPECT_EQ(plan.status, 416);
  EXPECT_FALSE(plan.hasBody);
  EXPECT_THAT(plan.fields, Contains(Pair("Content-Range", "bytes */100")));
}

TEST(ReplyPlan, sendsTheWholeBodyWhenItHasChanged) {
  EXPECT_EQ(planReply(rangeRequest("bytes=0-1", "\"v1\""), picture(), 100).status, 206);
  EXPECT_EQ(planReply(rangeRequest("bytes=0-1", "\"v0\""), picture(), 100).status, 200);
}

TEST(ReplyPlan, ignoresRangesOfHeadAndOfTexts) {
  HttpRequest head = rangeRequest("bytes=0-1");
  head.head = true;
  EXPECT_EQ(planReply(head, picture(), 100).status, 200);
  EXPECT_EQ(planReply(rangeRequest("bytes=0-1"), jsonReply("{}"), 2).status, 200);
  HttpReply packed = picture();
  packed.headers.emplace_back("Content-Encoding", "gzip");
  EXPECT_EQ(planReply(rangeRequest("bytes=0-1"), packed, 100).status, 200);
  EXPECT_EQ(planReply(rangeRequest("bytes=0-1"), errorReply(404, "unknown"), 100).status, 404);
}

TEST(ReplyPlan, ignoresRangesOfBodiesWithoutASize) {
  const ReplyPlan plan = planReply(rangeRequest("bytes=0-1"), picture(), std::nullopt);
  EXPECT_EQ(plan.status, 200);
  EXPECT_EQ(plan.size, std::nullopt);
  EXPECT_THAT(plan.fields, Not(Contains(Key("Accept-Ranges"))));
}

TEST(ReplyPlan, ignoresRangesOfBodiesThatAreReadFromTheirStart) {
  class Archive final : public HttpBody {
   public:
    std::optional<std::uint64_t> size() const override { return 100; }
    bool offersRanges() const override { return false; }
    std::optional<std::size_t> read(std::uint64_t, std::span<char>) override { return 0; }
  };
  HttpReply reply;
  reply.body = std::make_shared<Archive>();
  const ReplyPlan plan = planReply(rangeRequest("bytes=1-2"), reply, 100);
  EXPECT_EQ(plan.status, 200);
  EXPECT_EQ(plan.size, 100u);
  EXPECT_THAT(plan.fields, Not(Contains(Key("Accept-Ranges"))));
}

TEST(ReplyPlan, answers304WithoutABody) {
  HttpRequest request = rangeRequest("bytes=0-1");
  request.ifNoneMatch = "\"v0\", \"v1\"";
  const ReplyPlan plan = planReply(request, picture(), 100);
  EXPECT_EQ(plan.status, 304);
  EXPECT_FALSE(plan.hasBody);
  EXPECT_THAT(plan.fields, Contains(Pair("ETag", "\"v1\"")));
  EXPECT_THAT(plan.fields, Not(Contains(Key("Content-Type"))));
}

TEST(ReplyPlan, namesDownloads) {
  HttpReply reply = picture();
  reply.downloadName = "Zoë \"1\".jpg";
  EXPECT_THAT(
      planReply({}, reply, 100).fields,
      Contains(Pair("Content-Disposition",
                    "attachment; filename=\"Zo_ _1_.jpg\"; filename*=UTF-8''Zo%C3%AB%20%221%22.jpg")));
}

TEST(AttachmentName, hasNoLineEndsAndNoPath) {
  EXPECT_EQ(attachmentNamed("a\r\nX: y/b\\c"),
            "attachment; filename=\"a__X: y_b_c\"; "
            "filename*=UTF-8''a%0D%0AX%3A%20y%2Fb%5Cc");
}

TEST(AcceptEncoding, isReadWithItsWeights) {
  for (const char* field : {"gzip", "br, gzip", "GZIP;q=1", "deflate, gzip;q=0.5", "*"})
    EXPECT_TRUE(acceptsGzip(field)) << field;
  for (const char* field : {"", "br", "gzip;q=0", "gzip; q=0.000", "identity", "xgzip"})
    EXPECT_FALSE(acceptsGzip(field)) << field;
}

}  // namespace
}  // namespace moxtel
