// Libraries behind the routes of the page, without HTTP: a request is a call, and its reply is waited for.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>

#include "makelibrary/MakeLibrary.h"
#include "makelibrary/MakeLibraryOptions.h"
#include "tests/TemporaryFolder.h"
#include "web/LibraryRoutes.h"
#include "web/OpenWebLibrary.h"
#include "web/WebLibraries.h"

namespace moxtel::test {

using Json = nlohmann::ordered_json;

// Keeps the reply for the thread that waits.
class WaitingResponder final : public HttpResponder {
 public:
  ~WaitingResponder() override {
    if (!sent_) reply_.set_value(errorReply(503, "busy"));
  }
  void send(HttpReply reply) override {
    if (!std::exchange(sent_, true)) reply_.set_value(std::move(reply));
  }
  bool isGone() const override { return false; }
  std::future<HttpReply> future() { return reply_.get_future(); }

 private:
  bool sent_ = false;
  std::promise<HttpReply> reply_;
};

class PageHandler final : public HttpHandler {
 public:
  void handle(const HttpRequest&, std::shared_ptr<HttpResponder> responder) override {
    HttpReply reply;
    reply.type = "text/html";
    responder->send(std::move(reply));
  }
};

class FileHandler final : public LibraryFileHandler {
 public:
  void handle(const std::shared_ptr<WebLibrary>& library, const HttpRequest&,
              std::span<const std::string> segments, std::shared_ptr<HttpResponder> responder) override {
    HttpReply reply;
    reply.type = "image/jpeg";
    reply.body = library->id() + ":" + segments.back();
    responder->send(std::move(reply));
  }
  bool canDecode() const override { return true; }
  std::string movieJson(WebLibrary&, OpenLibrary&, const PhotoFacts&) override {
    return R"({"url":"movie","state":"none"})";
  }
};

inline std::string decoded(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      plain += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

inline HttpRequest requestFor(std::string_view address) {
  HttpRequest request;
  const std::size_t question = address.find('?');
  std::string_view path = address.substr(0, question);
  request.path = decoded(path);
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t end = std::min(path.find('/'), path.size());
    if (!path.empty()) request.segments.push_back(decoded(path.substr(0, end)));
    path.remove_prefix(end);
  }
  std::string_view query = question == std::string_view::npos ? "" : address.substr(question + 1);
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view one = query.substr(0, end);
    const std::size_t equals = std::min(one.find('='), one.size());
    request.parameters.emplace_back(decoded(one.substr(0, equals)),
                                    decoded(one.substr(std::min(equals + 1, one.size()))));
    query.remove_prefix(std::min(end + 1, query.size()));
  }
  return request;
}

// The routes of the page over a library that a test makes. Files are answered by a fake unless there is a
// handler for them, which outlives the page.
class Page final {
 public:
  explicit Page(const std::optional<std::string>& served, const std::string& others = {},
                const std::string& cache = {}, LibraryFileHandler* files = nullptr)
      : libraries_(optionsFor(others, cache)), routes_(libraries_, files ? *files : files_, page_) {
    libraries_.setServed(served);
  }

  void start(std::string_view address, std::shared_ptr<HttpResponder> responder) {
    routes_.handle(requestFor(address), std::move(responder));
  }
  HttpReply fetch(std::string_view address) {
    auto responder = std::make_shared<WaitingResponder>();
    auto reply = responder->future();
    start(address, std::move(responder));
    if (reply.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
      ADD_FAILURE() << "no reply to " << address;
      return errorReply(599, "none");
    }
    return reply.get();
  }
  Json json(std::string_view address) {
    const HttpReply reply = fetch(address);
    EXPECT_EQ(reply.status, 200) << address << " " << std::get<std::string>(reply.body);
    return Json::parse(std::get<std::string>(reply.body), nullptr, false);
  }
  // Below /l/LIB/api/1/ of the first library.
  Json api(const std::string& address) { return json(root() + "api/1/" + address); }
  int apiStatus(const std::string& address) { return fetch(root() + "api/1/" + address).status; }
  std::string root() {
    if (root_.empty())
      root_ = "/l/" + json("/api/1/libraries")["libraries"].at(0)["id"].get<std::string>() + "/";
    return root_;
  }
  // All photos of a list, by its pages.
  std::vector<std::int64_t> photosOf(const std::string& list, const std::string& filters = {}) {
    const Json sections = api("list/" + list + "?" + filters);
    std::vector<std::int64_t> photos;
    const auto count = sections["count"].get<std::size_t>();
    for (std::size_t page = 0; page * 1'000 < count; ++page) {
      const Json json = api("list/" + list + "/" + std::to_string(page) +
                            "?v=" + sections["version"].get<std::string>() + "&" + filters);
      std::int64_t id = 0;
      for (const Json& difference : json["id"]) photos.push_back(id += difference.get<std::int64_t>());
    }
    EXPECT_EQ(photos.size(), count);
    return photos;
  }
  WebLibraries& libraries() { return libraries_; }

 private:
  static WebLibrariesOptions optionsFor(const std::string& others, const std::string& cache) {
    WebLibrariesOptions options;
    options.serverName = "Test";
    options.others = others;
    options.cacheFolder = cache;
    options.betweenLooks = std::chrono::milliseconds(0);
    return options;
  }

  FileHandler files_;
  PageHandler page_;
  WebLibraries libraries_;
  LibraryRoutes routes_;
  std::string root_;
};

inline std::string makeSampleLibrary(const std::filesystem::path& folder, makelibrary::LibraryKind kind,
                                     std::size_t photos, std::uint64_t seed = 1) {
  makelibrary::MakeLibraryOptions options;
  options.folder = folder;
  options.kind = kind;
  options.photos = photos;
  options.seed = seed;
  options.images = makelibrary::Images::None;
  options.albumData = kind == makelibrary::LibraryKind::AlbumDataOnly;
  makelibrary::makeLibrary(options);
  return folder.string();
}

}  // namespace moxtel::test
