// The page's libraries behind the HTTP server, as in the program: real connections, real files.
#include "web/LibrariesHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"
#include "tests/web/http/HttpTestClient.h"
#include "web/WebSettings.h"
#include "web/http/HttpGate.h"
#include "web/http/HttpServer.h"
#include "web/page/PageHandler.h"

namespace moxtel {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

class LibrariesHandlerTest : public testing::Test {
 protected:
  LibrariesHandlerTest() {
    make("A", 80, 1);
    make("B", 120, 2);
    handler_.setServed(served_);
    EXPECT_EQ(server_.start(0x7F000001, 0), "");
  }
  ~LibrariesHandlerTest() override { server_.stop(); }

  static WebSettings settings() {
    WebSettings settings;
    settings.access = WebAccess::Mode::Open;
    settings.cacheBytes = 10 << 20;
    return settings;
  }
  void make(const std::string& name, std::size_t photos, std::uint64_t seed) const {
    makelibrary::MakeLibraryOptions options;
    options.folder = folder_.path() / name;
    options.photos = photos;
    options.seed = seed;
    options.images = makelibrary::Images::Small;
    makelibrary::makeLibrary(options);
  }
  static Json json(HttpTestClient& client, const std::string& address) {
    client.get(address);
    return Json::parse(bodyOf(client.reply()), nullptr, false);
  }
  // What the page learns of its only library.
  static Json library(HttpTestClient& client) {
    const Json cards = json(client, "/api/1/libraries").at("libraries");
    return cards.empty() ? Json::object()
                         : json(client, "/l/" + cards[0]["id"].get<std::string>() + "/api/1/library");
  }
  // Asks until the library says this.
  static void waitFor(HttpTestClient& client, const char* key, const Json& value) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (library(client).value(key, Json()) != value)
      ASSERT_LT(std::chrono::steady_clock::now(), end) << key << " " << value;
  }
  // Requests of every sort over a connection, one after another, until the end.
  void askForEverything(std::size_t first) {
    constexpr const char* kAddresses[] = {"api/1/library",         "api/1/list/all", "api/1/albums",
                                          "api/1/photo/3",         "thumb/2",        "original/2",
                                          "api/1/list/all/0?v=1",  "preview/4",      "zip/all",
                                          "api/1/list/search:img", "api/1/movie/2",  "square/6"};
    auto client = std::make_unique<HttpTestClient>(server_.port());
    for (std::size_t n = first; !isEnding_; ++n) {
      const Json libraries = json(*client, "/api/1/libraries");
      ASSERT_TRUE(libraries.is_object());
      if (libraries["libraries"].empty()) continue;
      const std::string address = kAddresses[n % std::size(kAddresses)];
      client->get("/l/" + libraries["libraries"][0]["id"].get<std::string>() + "/" + address);
      const std::string reply = client->reply();
      ASSERT_GT(reply.size(), 12U) << address;
      const std::string status = reply.substr(9, 3);
      EXPECT_TRUE(status == "200" || status == "404" || status == "410" || status == "503") << status;
      if (status == "200") ++answers_;
      // An archive whose files disappear ends its connection.
      if (address == "zip/all") client = std::make_unique<HttpTestClient>(server_.port());
    }
  }

  TemporaryFolder folder_;
  const std::string served_ = (folder_.path() / "A").string();
  ClientRules rules_{{}};
  WebAccess access_{WebAccess::Mode::Open, (folder_.path() / "web-access").string(), 4251};
  PageHandler page_;
  LibrariesHandler handler_{settings(), (folder_.path() / "cache").string(), page_, access_};
  HttpGate gate_{rules_, access_, [](HttpGate::LoginState, const std::string&) { return HttpReply{}; }};
  HttpServer server_{rules_, gate_, handler_, HttpServer::Limits{}};
  std::atomic<bool> isEnding_{false};
  std::atomic<int> answers_{0};
};

TEST_F(LibrariesHandlerTest, answers32ConnectionsWhileTheLibraryIsReloadedUnpluggedAndReplaced) {
  std::vector<std::thread> clients;
  for (std::size_t i = 0; i < 32; ++i) clients.emplace_back([this, i] { askForEverything(i); });
  HttpTestClient probe(server_.port());
  const fs::path away = folder_.path() / "away", other = folder_.path() / "B";
  waitFor(probe, "state", "ready");
  const int photos = library(probe)["photos"];
  // Reloaded.
  handler_.setServed(std::nullopt);
  handler_.setServed(served_);
  waitFor(probe, "photos", photos);
  // Unplugged, and plugged in again.
  fs::rename(served_, away);
  waitFor(probe, "state", "away");
  fs::rename(away, served_);
  waitFor(probe, "state", "ready");
  // Replaced by another one.
  fs::rename(served_, away);
  fs::rename(other, served_);
  handler_.setServed(served_);
  waitFor(probe, "state", "ready");
  EXPECT_GT(library(probe)["photos"], photos);
  const int before = answers_;
  while (answers_ < before + 100 && !HasFailure()) std::this_thread::yield();
  isEnding_ = true;
  for (std::thread& client : clients) client.join();
}

}  // namespace
}  // namespace moxtel
