#include "app/ServerCheck.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "app/HelperTrial.h"
#include "app/ServerAccess.h"
#include "dnssd/DnsSd.h"
#include "library/FolderAdvice.h"
#include "library/ImageFiles.h"
#include "library/LibrarySearch.h"
#include "library/LibrarySummary.h"
#include "library/PathNames.h"
#include "library/answers/OpenLibrary.h"
#include "library/facts/PhotoFactsReader.h"
#include "net/QVSocketServer.h"
#include "pictures/codec/HelperProgram.h"
#include "platform/applications/ScriptInterpreters.h"
#include "platform/applications/ScriptRunner.h"
#include "platform/files/Files.h"
#include "platform/process/RunningServer.h"
#include "platform/settings/UserDefaults.h"
#include "platform/system/HostNames.h"
#include "value/Format.h"
#include "web/PageAddresses.h"
#include "web/WebSettings.h"
#include "web/http/HttpListener.h"

namespace moxtel {

namespace {

constexpr const char* kServiceType = "_moxtelserver._tcp.";
constexpr EventLoop::Duration kTimeToPublish = std::chrono::seconds(12);
constexpr const char* kHowToFreeAPort =
    "If the server runs already, end it for this check: systemctl stop moxtelserverd";

}  // namespace

ServerCheck::ServerCheck(EventLoop& loop, const UserDefaults& defaults, DnsSd* discovery, std::ostream& out)
    : loop_(loop), defaults_(defaults), discovery_(discovery), out_(out) {}

ServerCheck::~ServerCheck() = default;

void ServerCheck::showTitle(std::string_view title, std::string_view info) {
  if (title == "Error") problem_ = info;
}

void ServerCheck::good(std::string_view what) { out_ << " ✓ " << what << '\n'; }

void ServerCheck::bad(std::string_view what) {
  out_ << " ✗ " << what << '\n';
  isGood_ = false;
}

void ServerCheck::unset(std::string_view what) { out_ << " – " << what << '\n'; }

void ServerCheck::start(std::function<void(bool)> finished) {
  finished_ = std::move(finished);
  checkLibrary();
  checkHelpers();
  checkInterpreter();
  checkPageOfBrowsers();
  checkPort();
}

void ServerCheck::checkLibrary() {
  const auto path = defaults_.stringForKey("LibraryPath");
  if (!path) {
    bad("Library: none is set. Set its folder: -LibraryPath '/photos/iPhoto Library'");
    return;
  }
  std::string why = isUtf8Path(*path) ? whyUnreadable(*path) : "Its path is not UTF-8.";
  if (!why.empty()) {
    for (const FoundLibrary& near : describedLibraries(loop_, librariesFor(*path))) {
      why += " There is a library: " + describe(near) + ".";
    }
    bad(format("Library: '%@' cannot be served. %@%@", *path, why, adviceAboutFolder(*path)));
    return;
  }
  OpenLibraryOptions options;
  options.referencedFolders = defaults_.stringForKey("ReferencedFolders").value_or("");
  OpenLibrary library(loop_, *this, *path, options);
  library.beginTask();
  const auto columns = library.columns();
  if (!columns || library.state() != OpenLibrary::State::Ready) {
    bad(format("Library: '%@' cannot be read. %@%@", *path, problem_, adviceAboutFolder(*path)));
    return;
  }
  const std::string kind = library.kindName();
  const auto photos = std::count_if(columns->flags.begin(), columns->flags.end(), [](std::uint16_t flags) {
    return (flags & PhotoColumns::kOnlyInAlbums) == 0;
  });
  good(format("Library: '%@', %@, %lu photos", *path, kind.empty() ? "iPhoto or Aperture library" : kind,
              static_cast<std::size_t>(photos)));
  checkPictures(library);
}

void ServerCheck::checkPictures(OpenLibrary& library) {
  const auto columns = library.columns();
  int tried = 0;
  int missing = 0;
  std::string first;
  const std::size_t step = std::max<std::size_t>(columns->size() / kPictures, 1);
  for (std::size_t index = 0; index < columns->size() && tried < kPictures; index += step) {
    const auto photo = library.facts().photo(columns->modelId[index]);
    if (!photo || photo->originalPaths.empty()) continue;
    ++tried;
    const auto opens = [&](const std::string& path) {
      return library.images().open(path).state == FileState::Open;
    };
    if (std::any_of(photo->originalPaths.begin(), photo->originalPaths.end(), opens)) continue;
    if (missing++ == 0) first = photo->originalPaths.front();
  }
  if (tried == 0) {
    unset("Pictures: the library has no originals of its own");
  } else if (missing == 0) {
    good(format("Pictures: all of %d that were tried can be read", tried));
  } else {
    bad(format("Pictures: %d of %d that were tried are missing or cannot be read, the first one is '%@'.%@",
               missing, tried, first, adviceAboutFolder(first)));
  }
}

void ServerCheck::checkHelpers() {
  const auto isThere = [](const char* name) {
    std::error_code failure;
    return std::filesystem::exists(installedProgram(name), failure);
  };
  constexpr std::array kNames{"moxtel-database-copier", "moxtel-property-reader", "moxtel-movie-converter"};
  const auto* const missing = std::find_if_not(kNames.begin(), kNames.end(), isThere);
  if (missing != kNames.end()) {
    return bad(
        format("Helper programs: '%@' is missing. Install the packages again.", installedProgram(*missing)));
  }
  const HelperTrial trial = tryHelpers(processes_);
  if (trial.readsProperties) {
    good("Helper programs are installed and work");
  } else {
    bad("Helper programs: 'moxtel-property-reader' does not work. Install the packages again.");
  }
  if (trial.decodes) {
    good("Pictures that are no JPEGs can be decoded");
  } else if (isThere("moxtel-picture-decoder")) {
    bad("RAW, HEIC and other pictures: 'moxtel-picture-decoder' does not work. Install moxtelserver-raw-heic "
        "again.");
  } else {
    bad("RAW, HEIC and other pictures that are no JPEGs cannot be shown: install moxtelserver-raw-heic");
  }
  if (trial.hasFfmpeg) {
    good("Movies can be converted for browsers");
  } else {
    unset("Movies: those that a browser does not play cannot be converted. Install ffmpeg for that");
  }
}

void ServerCheck::checkInterpreter() {
  if (!defaults_.stringForKey("ScriptInterpreter")) {
    unset("Script interpreter: none is set, and none is needed without a photo application");
    return;
  }
  const auto scripts = makeScriptRunner(defaults_, processes_);
  const ScriptOutcome outcome = scripts->run("return 1");
  if (outcome.succeeded) {
    good("Script interpreter: it answers");
  } else {
    bad("Script interpreter: " + outcome.error.text);
  }
}

void ServerCheck::checkPageOfBrowsers() {
  const auto settings = webSettings(defaults_);
  if (const auto* wrong = std::get_if<std::string>(&settings)) return bad("Page for browsers: " + *wrong);
  const auto& web = std::get<WebSettings>(settings);
  if (web.port == 0) return unset("Page for browsers: switched off by -WebPort 0");
  HttpListener listener({[](IPv4Address, IPv4Address, std::size_t, std::size_t) { return false; },
                         [](FileDescriptor, const sockaddr_in&) {}, [] {}},
                        std::chrono::seconds(1));
  const std::string why = listener.start(web.listenAddress, web.port);
  if (web.port == portOfHandhelds()) {
    bad(format("Page for browsers: port %d is Moxtel's, too. Choose another one with -WebPort", web.port));
  } else if (why.empty()) {
    good(format("Page for browsers: port %d can be listened on", web.port));
  } else if (isPortOfRunningServer(web.port)) {
    unset(format("Page for browsers: the server runs already, on port %d", web.port));
  } else {
    bad(format("Page for browsers: port %d: %@. %@", web.port, why, kHowToFreeAPort));
  }
  checkPageAddress(web);
}

void ServerCheck::checkPageAddress(const WebSettings& web) {
  const ClientRules rules(web.clients);
  const std::vector<std::string> addresses = pageAddresses(web.listenAddress);
  const std::string why = addresses.empty() ? "" : whyNoDeviceIsAdmitted(rules, addresses.front());
  if (!why.empty()) bad("Page for browsers: " + why);
}

std::int32_t ServerCheck::portOfHandhelds() const {
  return static_cast<std::int32_t>(defaults_.integerForKey("Port") & 0xFFFF);
}

void ServerCheck::checkPort() {
  auto access = serverAccess(defaults_);
  if (const auto* wrong = std::get_if<std::string>(&access)) {
    bad("Listening: " + *wrong);
    return finish();
  }
  server_ = std::make_unique<QVSocketServer>(notifications_, discovery_);
  server_->setAccess(std::get<SocketServerAccess>(std::move(access)));
  server_->setPublicationObserver([this](const PublicationState& state) { published(state); });
  const std::int32_t port = portOfHandhelds();
  const bool started = server_->startServerOnPort(port, currentHostName(), kServiceType);
  if (server_->port() == 0 && isPortOfRunningServer(port)) {
    unset(format("Port %d: the server runs already; its publication is not tried", port));
    return finish();
  }
  if (server_->port() == 0) {
    bad(format("Port %d: %@. %@", port, server_->startFailure(), kHowToFreeAPort));
    return finish();
  }
  good(format("Port %d can be listened on", server_->port()));
  if (started) {
    patience_ = loop_.callAfter(kTimeToPublish, [this] {
      bad("Publication: no answer. Phones find the server by its address only.");
      finish();
    });
  } else {
    bad("Publication: " + server_->startFailure());
    finish();
  }
}

void ServerCheck::published(const PublicationState& state) {
  if (!patience_ || (!state.isPublished() && state.kind != PublicationState::Kind::Failed)) return;
  if (state.isPublished()) {
    good(format("Publication: as '%@' (%@)", state.name, state.detail));
  } else {
    bad("Publication: " + state.detail);
  }
  finish();
}

void ServerCheck::finish() {
  patience_.reset();
  out_ << (isGood_ ? "Everything works.\n" : "Something is wrong: see the lines with ✗.\n") << std::flush;
  loop_.post([this] { finished_(isGood_); });
}

}  // namespace moxtel
