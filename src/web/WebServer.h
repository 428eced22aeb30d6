// The page for browsers: the HTTP server with its access, and its publication as "_http._tcp". Core thread,
// except where it says any thread.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dnssd/DnsSd.h"
#include "platform/loop/EventLoop.h"
#include "web/LibrariesHandler.h"
#include "web/QrCode.h"
#include "web/WebDevices.h"
#include "web/WebSettings.h"
#include "web/WebStatus.h"
#include "web/http/HttpGate.h"
#include "web/http/HttpHandler.h"
#include "web/http/HttpServer.h"
#include "web/page/PageHandler.h"

namespace moxtel {

class WebServer final {
 public:
  struct Environment {
    EventLoop& loop;
    DnsSd* discovery = nullptr;  // null: nothing is published
    std::string keyFile;         // for key and digits
    std::string cacheFolder;     // of what is made for the page
    // Shows a line of the console; the title is "Info" or "Error".
    std::function<void(std::string_view title, const std::string& text)> show;
    // Shows the address with the key, where that can be seen.
    std::function<void(const QrCode& code)> showCode;
  };
  WebServer(const WebSettings& settings, Environment environment);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Listens, publishes and shows the address. Does nothing if the port is 0.
  void start();
  // Ends all connections and threads.
  void stop();
  // The library that is served to the handheld: its folder, or nothing.
  void setServed(const std::optional<std::string>& path) { libraries_.setServed(path); }
  // Sends every device away and makes another key.
  void renewKey();
  WebStatus status();
  // The port that it listens on; 0 if it does not.
  std::uint16_t port() const { return server_ ? server_->port() : 0; }

 private:
  class Site;
  void checkAddresses();

  const WebSettings settings_;
  const Environment environment_;
  const ClientRules rules_;
  WebAccess access_;
  PageHandler page_;
  LibrariesHandler libraries_;
  WebDevices devices_;
  std::unique_ptr<Site> site_;
  const HttpGate gate_;
  std::unique_ptr<HttpServer> server_;
  std::unique_ptr<Publication> publication_;
  std::string problem_;
  std::vector<std::string> shownPlaces_;
  std::unique_ptr<Timer> addressTimer_;
};

}  // namespace moxtel
