#include "web/files/FileReplies.h"

#include <fstream>

#include "tests/TemporaryFolder.h"
#include "tests/web/files/RecordingResponder.h"

namespace moxtel {
namespace {

using testing::HasSubstr;
using testing::Not;

class FileRepliesTest : public testing::Test {
 protected:
  OpenFile file(const std::string& name, const std::string& content) {
    std::ofstream(folder_.path() / name, std::ios::binary) << content;
    return openRegularFile(folder_.path() / name);
  }
  static std::string bodyOf(HttpReply reply) {
    RecordingResponder responder;
    responder.send(std::move(reply));
    return responder.body().value_or("failed");
  }
  TemporaryFolder folder_;
};

TEST_F(FileRepliesTest, sendsAFileWithAnETagThatChangesWithIt) {
  HttpReply reply = fileReply(file("a.jpg", "content"), "image/jpeg", HttpReply::Cache::Private);
  EXPECT_EQ(reply.type, "image/jpeg");
  const std::string etag = reply.etag;
  EXPECT_EQ(bodyOf(std::move(reply)), "content");
  EXPECT_EQ(stampText(openRegularFile(folder_.path() / "a.jpg")), etag);
  EXPECT_NE(stampText(file("a.jpg", "longer content")), etag);
}

TEST_F(FileRepliesTest, sendsTurnedFilesOfEverySize) {
  for (const std::size_t size : {std::size_t{100}, (std::size_t{1} << 20) + 100}) {
    std::string content(size, 'x');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>('a' + i % 26);
    HttpReply reply = turnedReply(file("a.jpg", content), {"start", 7}, 6, HttpReply::Cache::Private);
    EXPECT_EQ(std::holds_alternative<std::string>(reply.body), size == 100);
    EXPECT_THAT(reply.etag, testing::EndsWith("-6"));
    EXPECT_EQ(bodyOf(std::move(reply)), "start" + content.substr(7));
  }
}

TEST_F(FileRepliesTest, sendsAnyPartOfATurnedFile) {
  const std::string content((std::size_t{1} << 20) + 100, 'x');
  HttpReply reply = turnedReply(file("a.jpg", content), {"0123456789", 2}, 6, HttpReply::Cache::Private);
  auto& body = *std::get<std::shared_ptr<HttpBody>>(reply.body);
  ASSERT_EQ(body.size(), content.size() + 8);
  std::string buffer(4, ' ');
  EXPECT_EQ(body.read(8, buffer), 4u);
  EXPECT_EQ(buffer, "89xx");
  EXPECT_EQ(body.read(content.size() + 6, buffer), 2u);
  EXPECT_EQ(body.read(content.size() + 8, buffer), 0u);
  EXPECT_EQ(body.read(content.size() + 9, buffer), 0u);
}

TEST_F(FileRepliesTest, failsForAFileThatShrank) {
  const std::string content((std::size_t{1} << 20) + 100, 'x');
  HttpReply reply = turnedReply(file("a.jpg", content), {"0123456789", 2}, 6, HttpReply::Cache::Private);
  std::ofstream(folder_.path() / "a.jpg") << "short";
  EXPECT_EQ(bodyOf(std::move(reply)), "failed");
}

TEST_F(FileRepliesTest, namesTypesFromItsOwnList) {
  EXPECT_STREQ(mediaTypeOf("a/IMG_1.JPG"), "image/jpeg");
  EXPECT_STREQ(mediaTypeOf("b.mov"), "video/quicktime");
  for (const char* name : {"page.html", "page.svg", "x.js", "noextension", ".jpg", "a.jpg/b", ""})
    EXPECT_STREQ(mediaTypeOf(name), "application/octet-stream") << name;
}

TEST_F(FileRepliesTest, namesAPictureThatIsShown) {
  EXPECT_EQ(inlineWithName("Été \"1\".jpg"), "inline; filename*=UTF-8''%C3%89t%C3%A9%20%221%22.jpg");
  EXPECT_THAT(inlineWithName("a\r\nSet-Cookie: x"), Not(HasSubstr("\n")));
}

}  // namespace
}  // namespace moxtel
