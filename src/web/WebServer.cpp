#include "web/WebServer.h"

#include <algorithm>

#include "log/Log.h"
#include "platform/system/HostNames.h"
#include "support/Localization.h"
#include "value/Format.h"
#include "web/PageAddresses.h"

namespace moxtel {

namespace {

constexpr const char* kServiceType = "_http._tcp.";
constexpr EventLoop::Duration kAddressInterval = std::chrono::seconds(5);

}  // namespace

// Passes each request on by the beginning of its path, and notes who looks at libraries.
class WebServer::Site final : public HttpHandler {
 public:
  Site(HttpHandler& libraries, HttpHandler& page, WebDevices& devices)
      : libraries_(libraries), page_(page), devices_(devices) {}
  void handle(const HttpRequest& request, std::shared_ptr<HttpResponder> responder) override {
    const auto& segments = request.segments;
    const bool isOfLibraries = segments.empty() || segments[0] == "l" || segments[0] == "api";
    // Other addresses need no key.
    if (isOfLibraries)
      devices_.note(request.peer, segments.size() > 1 && segments[0] == "l" ? segments[1] : "");
    (isOfLibraries ? libraries_ : page_).handle(request, std::move(responder));
  }

 private:
  HttpHandler& libraries_;
  HttpHandler& page_;
  WebDevices& devices_;
};

WebServer::WebServer(const WebSettings& settings, Environment environment)
    : settings_(settings),
      environment_(std::move(environment)),
      rules_(settings.clients),
      access_(settings.access, environment_.keyFile, settings.port),
      libraries_(settings, environment_.cacheFolder, page_, access_),
      site_(std::make_unique<Site>(libraries_, page_, devices_)),
      gate_(rules_, access_, [this](HttpGate::LoginState state, const std::string& to) {
        return page_.loginPage(state, to);
      }) {}

WebServer::~WebServer() { stop(); }

void WebServer::start() {
  stop();
  if (settings_.port == 0) return;
  server_ = std::make_unique<HttpServer>(rules_, gate_, *site_, HttpServer::Limits{});
  problem_ = server_->start(settings_.listenAddress, settings_.port);
  if (!problem_.empty()) {
    environment_.show("Error",
                      formatRuntime(UserText::tr("The page for browsers cannot listen on port %d: %@"),
                                    settings_.port, problem_));
    return;
  }
  if (const std::string why = access_.storageProblem(); !why.empty()) {
    environment_.show("Error", formatRuntime(UserText::tr("The key of the page cannot be kept in '%@': %@"),
                                             environment_.keyFile, localizedString(why)));
  }
  if (!libraries_.canDecode()) {
    environment_.show(
        "Info", UserText::tr("The page shows no RAW, HEIC and other pictures that are no JPEGs: install "
                             "moxtelserver-raw-heic"));
  }
  if (environment_.discovery) {
    publication_ = environment_.discovery->publish(
        {currentHostName(), kServiceType, port()},
        [](const auto& state) { LogDebug("the page is published as '%@': %@", state.name, state.detail); });
  }
  checkAddresses();
  addressTimer_ = environment_.loop.callEvery(kAddressInterval, [this] { checkAddresses(); });
}

void WebServer::stop() {
  addressTimer_.reset();
  publication_.reset();
  if (server_) server_->stop();
  server_.reset();
  shownPlaces_.clear();
}

void WebServer::renewKey() {
  access_.renew();
  devices_.clear();
  shownPlaces_.clear();
  if (server_) checkAddresses();
}

WebStatus WebServer::status() {
  WebStatus status;
  status.isOn = settings_.port != 0;
  status.access = settings_.access == WebAccess::Mode::Open ? "open" : "key";
  status.problem = problem_;
  if (port() == 0) return status;
  status.devices = devices_.present();
  for (WebDevice& device : status.devices) device.library = libraries_.nameOf(device.library);
  for (const std::string& address : pageAddresses(settings_.listenAddress)) {
    status.places.push_back(format("http://%@:%d/", address, port()));
  }
  if (settings_.access != WebAccess::Mode::Key) return status;
  status.digits = access_.digits();
  if (!status.places.empty()) status.keyAddress = status.places.front() + "in/" + access_.key();
  return status;
}

// Shows them when they have changed: the network may come later than the server.
void WebServer::checkAddresses() {
  const WebStatus now = status();
  if (now.places == shownPlaces_ || now.places.empty()) return;
  shownPlaces_ = now.places;
  std::string text = UserText::tr("The page for browsers: ") + now.places.front();
  for (std::size_t i = 1; i < now.places.size(); ++i)
    text += (i == 1 ? UserText::tr(" (also ") : ", ") + now.places[i];
  if (now.places.size() > 1) text += ")";
  if (!now.digits.empty()) text += UserText::tr(", six digits ") + now.digits;
  environment_.show("Info", text);
  const std::vector<std::string> addresses = pageAddresses(settings_.listenAddress);
  const std::string why = addresses.empty() ? "" : whyNoDeviceIsAdmitted(rules_, addresses.front());
  if (!why.empty()) environment_.show("Info", why);
  if (const auto code = QrCode::of(now.keyAddress.empty() ? now.places.front() : now.keyAddress))
    environment_.showCode(*code);
}

}  // namespace moxtel
