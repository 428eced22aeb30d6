#include "web/http/HttpServer.h"

#include <gmock/gmock.h>
#include <zlib.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "platform/files/FileReader.h"
#include "tests/TemporaryFolder.h"
#include "tests/web/http/HttpTestClient.h"

namespace moxtel {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// 0, 1, 2 … repeated, so that a wrong offset is seen.
std::string pattern(std::size_t size, std::size_t first = 0) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>((first + i) % 251);
  return text;
}

class PatternBody final : public HttpBody {
 public:
  PatternBody(std::uint64_t size, bool isSizeKnown, std::uint64_t failsAt = UINT64_MAX)
      : size_(size), isSizeKnown_(isSizeKnown), failsAt_(failsAt) {}
  std::optional<std::uint64_t> size() const override {
    return isSizeKnown_ ? std::optional(size_) : std::nullopt;
  }
  std::optional<std::size_t> read(std::uint64_t offset, std::span<char> buffer) override {
    if (offset >= failsAt_) return std::nullopt;
    const auto count = std::min<std::uint64_t>(buffer.size(), size_ - std::min(offset, size_));
    const std::string text = pattern(count, offset);
    std::copy(text.begin(), text.end(), buffer.begin());
    return count;
  }

 private:
  const std::uint64_t size_;
  const bool isSizeKnown_;
  const std::uint64_t failsAt_;
};

// Answers by the first segment of the path, at once or from its thread.
class Handler final : public HttpHandler {
 public:
  Handler() : thread_([this] { run(); }) {}
  ~Handler() override {
    {
      const std::lock_guard lock(mutex_);
      isOver_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) override {
    const std::string name = request.segments.empty() ? "" : request.segments[0];
    if (name == "throw") throw std::runtime_error("thrown by the test");
    if (name == "drop") return;
    if (name == "now") return responder->send(text("now " + request.query("q").value_or("")));
    const std::lock_guard lock(mutex_);
    if (name == "keep") {
      kept.push_back(std::move(responder));
    } else {
      waiting_.emplace_back(name, std::move(responder));
    }
    changed_.notify_all();
  }
  std::shared_ptr<HttpResponder> takeKept() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !kept.empty(); });
    auto responder = std::move(kept.front());
    kept.pop_front();
    return responder;
  }
  std::string file;

 private:
  static HttpReply text(std::string body) {
    HttpReply reply;
    reply.type = "text/plain";
    reply.body = std::move(body);
    return reply;
  }
  HttpReply replyFor(const std::string& name) const {
    HttpReply reply = text("later");
    reply.etag = "v1";
    if (name == "json") reply = jsonReply("[" + std::string(5000, ' ') + "]", "v1");
    if (name == "file") {
      OpenFile opened = openRegularFile(file);
      reply.body = FileBody{std::move(opened.descriptor), 100, opened.size - 100};
    }
    if (name == "shorter") {
      OpenFile opened = openRegularFile(file);
      reply.body = FileBody{std::move(opened.descriptor), opened.size - 100, 200};
    }
    if (name == "body") reply.body = std::make_shared<PatternBody>(1'000'000, true);
    if (name == "chunks") reply.body = std::make_shared<PatternBody>(200'000, false);
    if (name == "broken") reply.body = std::make_shared<PatternBody>(1'000'000, true, 300'000);
    if (name == "endless") reply.body = std::make_shared<PatternBody>(std::uint64_t{1} << 40, true);
    return reply;
  }
  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return isOver_ || !waiting_.empty(); });
      if (isOver_) return;
      auto [name, responder] = std::move(waiting_.front());
      waiting_.pop_front();
      lock.unlock();
      responder->send(replyFor(name));
      responder.reset();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<HttpResponder>> kept;
  std::deque<std::pair<std::string, std::shared_ptr<HttpResponder>>> waiting_;
  bool isOver_ = false;
  std::thread thread_;
};

class HttpServerTest : public ::testing::Test {
 protected:
  void start(const HttpServer::Limits& limits = {}) {
    handler_.file = (folder_.path() / "file").string();
    std::ofstream(handler_.file, std::ios::binary) << pattern(500'000);
    server_ = std::make_unique<HttpServer>(rules_, gate_, handler_, limits);
    ASSERT_EQ(server_->start(0x7F000001, 0), "");
  }
  std::uint16_t port() const { return server_->port(); }
  std::string get(const std::string& target, const std::string& fields = {}) {
    HttpTestClient client(port());
    client.get(target, fields);
    return client.reply();
  }

  TemporaryFolder folder_;
  ClientRules rules_{{}};
  WebAccess access_{WebAccess::Mode::Open, (folder_.path() / "web-access").string(), 4251};
  HttpGate gate_{rules_, access_, [](HttpGate::LoginState, const std::string&) { return HttpReply{}; }};
  Handler handler_;
  std::unique_ptr<HttpServer> server_;
};

TEST_F(HttpServerTest, answersAtOnceAndLater) {
  start();
  EXPECT_EQ(bodyOf(get("/now?q=1+2")), "now 1 2");
  EXPECT_EQ(bodyOf(get("/later")), "later");
}

TEST_F(HttpServerTest, keepsTheConnectionForFurtherRequests) {
  start();
  HttpTestClient client(port());
  for (int i = 0; i < 50; ++i) {
    client.get(i % 2 ? "/later" : "/now?q=" + std::to_string(i));
    EXPECT_EQ(bodyOf(client.reply()), i % 2 ? "later" : "now " + std::to_string(i));
  }
}

TEST_F(HttpServerTest, answersPipelinedRequestsInTheirOrder) {
  start();
  HttpTestClient client(port());
  std::string requests;
  for (int i = 0; i < 5; ++i)
    requests += "GET /now?q=" + std::to_string(i) + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  client.send(requests);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(bodyOf(client.reply()), "now " + std::to_string(i));
}

TEST_F(HttpServerTest, sendsFilesAndTheirRanges) {
  start();
  EXPECT_EQ(bodyOf(get("/file")), pattern(499'900, 100));
  const std::string range = get("/file", "Range: bytes=1000-1999\r\n");
  EXPECT_THAT(range, StartsWith("HTTP/1.1 206 "));
  EXPECT_THAT(range, HasSubstr("Content-Range: bytes 1000-1999/499900\r\n"));
  EXPECT_EQ(bodyOf(range), pattern(1000, 1100));
  const std::string first = get("/file", "Range: bytes=0-1\r\n");
  EXPECT_THAT(first, HasSubstr("Content-Length: 2\r\n"));
  EXPECT_EQ(bodyOf(first), pattern(2, 100));
  EXPECT_THAT(get("/file", "Range: bytes=499900-\r\n"), StartsWith("HTTP/1.1 416 "));
}

TEST_F(HttpServerTest, sendsBodiesThatAreMadeMeanwhile) {
  start();
  EXPECT_EQ(bodyOf(get("/body")), pattern(1'000'000));
  EXPECT_EQ(bodyOf(get("/body", "Range: bytes=-1500\r\n")), pattern(1500, 998'500));
  const std::string chunks = get("/chunks", "Connection: close\r\n");
  EXPECT_THAT(chunks, HasSubstr("Transfer-Encoding: chunked\r\n"));
  EXPECT_THAT(chunks, Not(HasSubstr("Content-Length")));
}

TEST_F(HttpServerTest, endsTheConnectionWhenABodyFails) {
  start();
  EXPECT_LT(bodyOf(get("/broken")).size(), 1'000'000u);
}

TEST_F(HttpServerTest, answersHeadWithoutABody) {
  start();
  HttpTestClient client(port());
  client.send(
      "HEAD /file HTTP/1.1\r\nHost: localhost\r\n\r\nGET /now?q=x HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_THAT(client.reply(true), HasSubstr("Content-Length: 499900\r\n"));
  EXPECT_EQ(bodyOf(client.reply()), "now x");
}

TEST_F(HttpServerTest, answers304WithoutABody) {
  start();
  HttpTestClient client(port());
  client.get("/later", "If-None-Match: \"v1\"\r\n");
  const std::string reply = client.reply();
  EXPECT_THAT(reply, StartsWith("HTTP/1.1 304 "));
  EXPECT_THAT(reply, EndsWith("\r\n\r\n"));
  client.get("/now?q=x");
  EXPECT_EQ(bodyOf(client.reply()), "now x");
}

TEST_F(HttpServerTest, compressesJson) {
  start();
  const std::string packed = get("/json", "Accept-Encoding: gzip\r\n");
  EXPECT_THAT(packed, HasSubstr("Content-Encoding: gzip\r\n"));
  EXPECT_THAT(packed, HasSubstr("ETag: \"v1-gz\"\r\n"));
  EXPECT_LT(bodyOf(packed).size(), 200u);
  EXPECT_THAT(get("/json", "Accept-Encoding: gzip\r\nIf-None-Match: \"v1-gz\"\r\n"),
              StartsWith("HTTP/1.1 304 "));
  EXPECT_EQ(bodyOf(get("/json")).size(), 5002u);
}

TEST_F(HttpServerTest, answersBusyWhenAHandlerDropsTheRequest) {
  start();
  EXPECT_THAT(get("/drop"), StartsWith("HTTP/1.1 503 "));
}

TEST_F(HttpServerTest, survivesAnExceptionOfAHandler) {
  start();
  EXPECT_EQ(get("/throw"), "");
  EXPECT_EQ(bodyOf(get("/now?q=1")), "now 1");
}

TEST_F(HttpServerTest, ignoresASecondReply) {
  start();
  HttpTestClient client(port());
  client.get("/keep");
  const auto responder = handler_.takeKept();
  responder->send(errorReply(404, "unknown"));
  responder->send(errorReply(503, "busy"));
  EXPECT_THAT(client.reply(), StartsWith("HTTP/1.1 404 "));
  client.get("/now?q=x");
  EXPECT_EQ(bodyOf(client.reply()), "now x");
}

TEST_F(HttpServerTest, knowsThatAClientIsGone) {
  HttpServer::Limits limits;
  limits.connections.patienceWithSilence = 10ms;
  start(limits);
  HttpTestClient client(port());
  client.get("/keep");
  const auto responder = handler_.takeKept();
  EXPECT_FALSE(responder->isGone());
  client.close();
  // Ends when the tick has noticed it.
  while (!responder->isGone()) std::this_thread::yield();
  responder->send(errorReply(404, "unknown"));
}

TEST_F(HttpServerTest, refusesBodies) {
  start();
  for (const char* fields : {"Content-Length: 5\r\n\r\nhello", "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                             "Content-Length: 0\r\nContent-Length: 5\r\n\r\nhello"}) {
    HttpTestClient client(port());
    client.send("GET /now HTTP/1.1\r\nHost: localhost\r\n" + std::string(fields));
    EXPECT_THAT(client.rest(), StartsWith("HTTP/1.1 400 ")) << fields;
  }
}

TEST_F(HttpServerTest, limitsTheForm) {
  start();
  HttpTestClient client(port());
  client.send("POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1025\r\n\r\n");
  EXPECT_THAT(client.rest(), StartsWith("HTTP/1.1 413 "));
  HttpTestClient without(port());
  without.send("POST /login HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_THAT(without.rest(), StartsWith("HTTP/1.1 411 "));
}

TEST_F(HttpServerTest, takesTheForm) {
  start();
  HttpTestClient client(port());
  const std::string form = "digits=" + access_.digits();
  client.send("POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 13\r\n\r\n" + form.substr(0, 5));
  client.send(form.substr(5));
  EXPECT_THAT(client.reply(), StartsWith("HTTP/1.1 303 "));
}

TEST_F(HttpServerTest, limitsTheHeader) {
  start();
  HttpTestClient client(port());
  client.send("GET /now HTTP/1.1\r\nHost: localhost\r\nX: " + std::string(40'000, 'a') + "\r\n\r\n");
  EXPECT_THAT(client.rest(), StartsWith("HTTP/1.1 4"));
}

TEST_F(HttpServerTest, endsATlsHelloAtOnce) {
  HttpServer::Limits limits;
  limits.untilFirstByte = 1h;
  limits.withoutProgress = 1h;
  start(limits);
  HttpTestClient client(port());
  client.send(std::string_view("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11));
  EXPECT_EQ(client.rest(), "");
}

TEST_F(HttpServerTest, closesAConnectionThatSendsNothing) {
  HttpServer::Limits limits;
  limits.untilFirstByte = 10ms;
  start(limits);
  HttpTestClient client(port());
  EXPECT_EQ(client.rest(), "");
}

TEST_F(HttpServerTest, closesAConnectionWhoseHeaderDoesNotEnd) {
  HttpServer::Limits limits;
  limits.connections.betweenRequests = 10ms;
  start(limits);
  HttpTestClient client(port());
  client.send("GET /now HTTP/1.1\r\nHost: loc");
  EXPECT_EQ(client.rest(), "");
}

TEST_F(HttpServerTest, endsTheConnectionWhenAFileIsShorterThanAnnounced) {
  start();
  HttpTestClient client(port());
  client.get("/shorter");
  EXPECT_EQ(client.rest(), "");
}

TEST_F(HttpServerTest, endsAReplyThatIsReadTooSlowly) {
  HttpServer::Limits limits;
  limits.connections.pace = {std::uint64_t{1} << 50, 1500ms};
  start(limits);
  HttpTestClient client(port());
  client.get("/endless");
  EXPECT_LT(client.rest().size(), std::uint64_t{1} << 36);
}

TEST_F(HttpServerTest, answersBusyWhenAReplyTakesTooLong) {
  HttpServer::Limits limits;
  limits.connections.untilReply = 10ms;
  start(limits);
  HttpTestClient client(port());
  client.get("/keep");
  const auto responder = handler_.takeKept();
  EXPECT_THAT(client.reply(), StartsWith("HTTP/1.1 503 "));
  EXPECT_TRUE(responder->isGone());
}

TEST_F(HttpServerTest, makesRoomByEndingIdleConnections) {
  HttpServer::Limits limits;
  limits.connections.perAddress = 3;
  start(limits);
  std::deque<HttpTestClient> clients;
  for (int i = 0; i < 6; ++i) {
    HttpTestClient& client = clients.emplace_back(port());
    client.get("/now?q=1");
    EXPECT_EQ(bodyOf(client.reply()), "now 1");
  }
  EXPECT_EQ(clients[0].rest(), "");
}

TEST_F(HttpServerTest, refusesMoreConnectionsOfAnAddressThatIsBusy) {
  HttpServer::Limits limits;
  limits.connections.perAddress = 2;
  start(limits);
  HttpTestClient first(port());
  HttpTestClient second(port());
  first.get("/keep");
  second.get("/keep");
  const auto a = handler_.takeKept();
  const auto b = handler_.takeKept();
  HttpTestClient third(port());
  EXPECT_EQ(third.rest(), "");
  HttpTestClient other(port(), "127.0.0.2");
  other.get("/now?q=1");
  EXPECT_EQ(bodyOf(other.reply()), "now 1");
}

TEST_F(HttpServerTest, stopsInEveryState) {
  start();
  HttpTestClient silent(port());
  HttpTestClient begun(port());
  begun.send("GET /now HT");
  HttpTestClient waiting(port());
  waiting.get("/keep");
  const auto responder = handler_.takeKept();
  HttpTestClient reading(port());
  reading.get("/endless");
  ASSERT_TRUE(reading.readSome());
  HttpTestClient idle(port());
  idle.get("/now");
  idle.reply();
  server_->stop();
  EXPECT_TRUE(responder->isGone());
  responder->send(errorReply(404, "unknown"));
  EXPECT_EQ(silent.rest(), "");
  EXPECT_EQ(idle.rest(), "");
}

TEST_F(HttpServerTest, servesManyClientsAtOnce) {
  start();
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 32; ++i) {
    threads.emplace_back([&, i] {
      HttpTestClient client(port());
      for (int j = 0; j < 20; ++j) {
        client.get(j % 3 == 0 ? "/file" : j % 3 == 1 ? "/later" : "/now?q=" + std::to_string(i));
        const std::string body = bodyOf(client.reply());
        if (body == (j % 3 == 0 ? pattern(499'900, 100) : j % 3 == 1 ? "later" : "now " + std::to_string(i)))
          ++right;
      }
    });
  }
  for (auto& each : threads) each.join();
  EXPECT_EQ(right, 32 * 20);
}

TEST_F(HttpServerTest, reportsAPortThatIsTaken) {
  start();
  HttpServer second(rules_, gate_, handler_, {});
  EXPECT_EQ(second.start(0x7F000001, port()), "Address already in use");
}

}  // namespace
}  // namespace moxtel
