#include "app/MXPAppDelegate.h"

#include <algorithm>
#include <chrono>

#include "app/FolderOutline.h"
#include "app/HelpText.h"
#include "app/ServerAccess.h"
#include "app/ServerRoles.h"
#include "library/FolderAdvice.h"
#include "library/PathNames.h"
#include "library/answers/AlbumExplanation.h"
#include "library/completeness/FolderTree.h"
#include "log/Log.h"
#include "platform/system/HostNames.h"
#include "platform/system/SystemLog.h"
#include "support/Localization.h"
#include "value/Format.h"
#include "value/NumberText.h"

namespace moxtel {

namespace {

constexpr std::int64_t kPort = 4250;
// How long the first start waits for the applications of another machine. Its console line has the number.
constexpr std::chrono::milliseconds kTimeForApplications{5000};
constexpr std::int64_t kPrivateCopyLimit = 8192;  // megabytes
constexpr const char* kServiceType = "_moxtelserver._tcp.";

// Kept on purpose: the switch "CheckIndizes" is read, but has no effect.
std::atomic<bool> checkIndizes{false};

// Logs every line while it lives.
class WholeSystemLog final {
 public:
  WholeSystemLog() { limitSystemLog(false); }
  ~WholeSystemLog() { limitSystemLog(logging::debugLevel == 0); }
  WholeSystemLog(const WholeSystemLog&) = delete;
  WholeSystemLog& operator=(const WholeSystemLog&) = delete;
};

}  // namespace

MXPAppDelegate::MXPAppDelegate(const ServerEnvironment& environment)
    : environment_(environment),
      connectionLines_([this](const std::string& text) { environment_.console.showTitle("Info", text); },
                       environment.hostLookup),
      roles_(std::make_unique<ServerRoles>(environment, flags_, iPhotoWasEdited_)),
      server_(std::make_unique<QVSocketServer>(environment.notifications, environment.discovery)) {
  roles_->connectTo(environment.loop, *server_);
  roles_->changes.onChange([this] { dropLists(); });
}

MXPAppDelegate::~MXPAppDelegate() {
  // The accept thread calls the observers, so it must end before they are removed.
  server_->stop();
  for (const auto token : observers_) environment_.notifications.removeObserver(token);
}

void MXPAppDelegate::initialize(UserDefaults& defaults) {
  defaults.registerDefaults(Dictionary{{"SUFeedURL", ""},
                                       {"DontShowHelp", false},
                                       {"RevealPhoto", true},
                                       {"Port", kPort},
                                       {"PrivateCopyLimit", kPrivateCopyLimit}});
  checkIndizes = defaults.boolForKey("CheckIndizes");
  setDebugLevel(saturatedInt32(defaults.integerForKey("DebugLevel")));
}

void MXPAppDelegate::applicationDidFinishLaunching() {
  startup();
  setNotifications();
  startServer();
}

void MXPAppDelegate::startup() {
  connectionLines_.forgetClients();
  environment_.scripts.beginCommand(kTimeForQuestions);
  roles_->databases.beginCommand();
  roles_->location.preferAperture = environment_.defaults.boolForKey("PreferAperture");
  // Known before the first question: there is none about a library that the applications do not know.
  if (auto path = environment_.defaults.stringForKey("LibraryPath")) roles_->databases.useLibrary(path);
  if (roles_->library.hasPhotoApplication()) awaitApplications();
  roles_->monitor.checkForApplicationStatus();
  if (roles_->location.preferAperture && flags_.connectedWithIPhoto) {
    environment_.console.showTitle("Error", "Should prefer Aperture, but iPhoto is running...");
  }
  environment_.console.showTitle("Info", format("Running app: %@", runningApplication()));
  roles_->library.loadDatabase();
  roles_->changes.remember();
  roles_->albumData.loadAlbumData();
  fillCaches();
  counted_.reset();
  reportKind();
  roles_->databases.releaseLocks();
  roles_->monitor.startAppChecks();
  roles_->pictureCheck.start();
  reportMissingLibrary();
  environment_.libraryStarted();
}

// Nothing for iPhoto and Aperture.
void MXPAppDelegate::reportKind() {
  if (roles_->databases.layout().hasPhotoApplication) return;
  const std::string text = describeCounts(countLibrary(roles_->databases));
  if (!text.empty()) environment_.console.showTitle("Info", text);
  const std::string smart = whyNoSmartAlbums(roles_->databases);
  if (!smart.empty()) environment_.console.showTitle("Info", smart);
}

// Before the first request; the results are not needed. A list for which rules of smart albums must be
// evaluated waits for that request, because it may take seconds. All lines about albums and events are
// logged: no client causes them.
void MXPAppDelegate::fillCaches() {
  const WholeSystemLog whole;
  roles_->smartAlbums.setDeferring(true);
  try {
    static_cast<void>(roles_->containerTree.getTopLevelAlbums());
    static_cast<void>(roles_->containerTree.getTopLevelProjects());
  } catch (const ArchiveTooLargeError&) {
    // The reply to a request for such a list is the error, and the console names it then.
  }
  roles_->smartAlbums.setDeferring(false);
}

void MXPAppDelegate::awaitApplications() {
  environment_.applications.awaitFirstAnswer(kTimeForApplications, [this] {
    environment_.console.showTitle(
        "Info",
        UserText::tr("Asking the script interpreter which photo applications run (5 seconds at most)"));
  });
}

// The lines before this one say that data is missing, but not what the user can do about it.
void MXPAppDelegate::reportMissingLibrary() {
  const auto& path = roles_->location.libraryPath();
  if (!path) {
    environment_.console.showTitle(
        "Info",
        UserText::tr("No library is served yet: choose its folder in the window of MoxtelServer, or set it "
                     "with -LibraryPath, for the service in /etc/default/moxtelserverd."));
    return;
  }
  // LibraryLocation has already reported a path that is not UTF-8.
  const std::string why = isUtf8Path(*path) ? whyUnreadable(*path) : std::string();
  if (why.empty()) return;
  environment_.console.showTitle(
      "Info", formatRuntime(
                  UserText::tr("Cannot serve '%@'. %@%@ To serve another folder, choose it in the window of "
                               "MoxtelServer, or set it with -LibraryPath, for the service in "
                               "/etc/default/moxtelserverd.%@"),
                  *path, localizedString(why), sentenceAboutLibrariesNear(*path), adviceAboutFolder(*path)));
}

// Empty where there are none; else it begins with a blank.
std::string MXPAppDelegate::sentenceAboutLibrariesNear(const std::string& folder) {
  const std::vector<FoundLibrary> found = librariesNear(folder);
  if (found.empty()) return {};
  if (found.size() == 1) return formatRuntime(UserText::tr(" The library is %@."), describe(found[0]));
  std::string list;
  for (const FoundLibrary& each : found) list += (list.empty() ? "" : ", ") + describe(each);
  return formatRuntime(UserText::tr(" There are %lu libraries in it: %@."), found.size(), list);
}

std::vector<FoundLibrary> MXPAppDelegate::librariesNear(const std::string& folder) {
  // One that cannot be read is no help against itself.
  if (layoutOfLibrary(folder).isServed() && folder.starts_with('/')) return {};
  return describedLibraries(environment_.loop, librariesFor(folder));
}

void MXPAppDelegate::dropLists() {
  roles_->containerTree.dropCaches();
  roles_->faces.dropCaches();
  counted_.reset();
}

void MXPAppDelegate::resetForRestart() {
  dropLists();
  roles_->monitor.stopAppChecks();
  // First, so that the line about the disconnect never has the name of a client that startup() forgets.
  connectionLines_.forgetClients();
  QVSocketServer::disconnect();
}

void MXPAppDelegate::setNotifications() {
  auto& center = environment_.notifications;
  observers_.push_back(center.addObserver(
      "ChangedConnection", [this](const Notification& notification) { changedConnection(notification); }));
  observers_.push_back(center.addObserver("GotData", [this](const Notification& notification) {
    roles_->handler->gotDataFromServer(notification);
  }));
}

void MXPAppDelegate::startServer() {
  const auto port = static_cast<std::int32_t>(environment_.defaults.integerForKey("Port") & 0xFFFF);
  const std::string name = currentHostName();
  auto access = serverAccess(environment_.defaults);
  if (const auto* wrong = std::get_if<std::string>(&access)) {
    environment_.console.showTitle("Error", UserText::tr("Cannot listen: ") + *wrong);
    return;
  }
  server_->setAccess(std::get<SocketServerAccess>(std::move(access)));
  server_->setPublicationObserver([this](const PublicationState& state) {
    publication_ = state;
    if (publicationReporter_) publicationReporter_->changed(state);
  });
  isServing_ = server_->startServerOnPort(port, name, kServiceType);
  reportListener(isServing_, port);
  publicationReporter_ = std::make_unique<PublicationReporter>(
      environment_.loop, name, server_->port(), [this] { return addresses(); },
      [this](std::string_view title, std::string_view text) { environment_.console.showTitle(title, text); });
}

// Those at which clients reach the server.
std::vector<std::string> MXPAppDelegate::addresses() const {
  const auto listenAddress = environment_.defaults.stringForKey("ListenAddress").value_or("");
  return listenAddress.empty() ? localIPv4Addresses() : std::vector{listenAddress};
}

// Without these lines only the debug log would show that clients cannot connect.
void MXPAppDelegate::reportListener(bool started, std::int32_t port) {
  if (server_->port() == 0) {
    environment_.console.showTitle(
        "Error", formatRuntime(UserText::tr("Cannot listen on port %d: %@"), port, server_->startFailure()));
  } else {
    environment_.console.showTitle("Info",
                                   formatRuntime(UserText::tr("Listening on port %d"), server_->port()));
    if (!started)
      environment_.console.showTitle("Error", UserText::tr("Cannot serve: ") + server_->startFailure());
  }
}

const char* MXPAppDelegate::runningApplication() const {
  return flags_.connectedWithIPhoto ? "iPhoto" : flags_.connectedWithAperture ? "Aperture" : "<none>";
}

void MXPAppDelegate::changedPreferAperture() {
  environment_.console.showTitle("Info", "Reloading database after changing photo app");
  restart();
}

void MXPAppDelegate::reload() {
  environment_.console.showTitle("Info", "Reloading database");
  restart();
  // Another program may have left the port.
  if (!isServing_) startServer();
}

void MXPAppDelegate::restart() {
  resetForRestart();
  startup();
}

std::string MXPAppDelegate::changedLibraryPath(const std::string& chosen) {
  const std::string folder = chosen.substr(0, std::max(chosen.find_last_not_of('/') + 1, std::size_t{1}));
  std::string why = whyNoLibrary(folder);
  if (!why.empty()) return why;
  environment_.console.showTitle(
      "Info", formatRuntime(UserText::tr("Reloading database after choosing the library '%@'"), folder));
  environment_.defaults.setString("LibraryPath", folder);
  // Drops the old library's data, which must not appear in replies about the new one.
  roles_->albumData.clear();
  roles_->library.resetStandalone();
  restart();
  return {};
}

void MXPAppDelegate::changedRevealPhoto(bool allowed) {
  environment_.defaults.setBool("RevealPhoto", allowed);
}

std::string MXPAppDelegate::logFolderTree() {
  roles_->library.loadDatabase();
  const bool hasTree = obsoletesZeug(roles_->databases).root != nullptr;
  roles_->databases.releaseLocks();
  return hasTree ? std::string() : whyNoData();
}

std::string MXPAppDelegate::describeFolders() {
  roles_->databases.beginCommand();
  roles_->library.loadDatabase();
  std::string text = folderOutline(libraryPath().value_or(""), roles_->containerTree);
  roles_->databases.releaseLocks();
  return text;
}

MXPAppDelegate::AlbumExplanation MXPAppDelegate::explainAlbum(const std::string& uuid) {
  roles_->databases.beginCommand();
  roles_->library.loadDatabase();
  roles_->albumData.loadAlbumData();
  const auto text = moxtel::explainAlbum(roles_->databases, roles_->savedLists, roles_->smartAlbums, uuid);
  const bool failed = roles_->databases.sawFailure();
  roles_->databases.releaseLocks();
  if (text) return {*text, {}};
  return {{}, failed ? whyNoData() : "There is no smart album with the id '" + uuid + "'."};
}

std::string MXPAppDelegate::whyNoData() const {
  const auto& path = roles_->location.libraryPath();
  if (!path) return "No library is set: set its folder with -LibraryPath.";
  const std::string why = whyUnreadable(*path);
  return why.empty() ? "The library's database cannot be opened." : why + adviceAboutFolder(*path);
}

const LoadedLibrary& MXPAppDelegate::library() const { return roles_->library; }
const std::optional<std::string>& MXPAppDelegate::libraryPath() const {
  return roles_->location.libraryPath();
}
const AlbumData& MXPAppDelegate::albumData() const { return roles_->albumData; }

std::optional<std::string> MXPAppDelegate::attributedStringHelp(std::string_view language) {
  return helpText("Help", language);
}

ServerStatus MXPAppDelegate::status() {
  ServerStatus status;
  status.runningApplication = runningApplication();
  status.libraryPath = roles_->location.libraryPath();
  if (status.libraryPath) status.libraryProblem = whyUnreadable(*status.libraryPath);
  status.counts = countsOf(status);
  if (status.libraryProblem.empty()) addDatabaseProblem(status);
  status.addresses = addresses();
  status.port = server_->port();
  status.listenFailure = status.port == 0 ? server_->startFailure() : std::string();
  if (publication_.isPublished()) status.publishedName = publication_.name;
  status.publicationProblem = publication_.isPublished() ? std::string() : publication_.detail;
  status.preferAperture = roles_->location.preferAperture;
  status.revealPhoto = environment_.defaults.boolForKey("RevealPhoto");
  status.canRevealPhoto = environment_.scripts.hasInterpreter() && roles_->library.hasPhotoApplication();
  const bool isChosen = environment_.defaults.stringForKey("LibraryPath").has_value();
  status.canPreferAperture = status.canRevealPhoto || (!isChosen && roles_->location.canAskForLibrary());
  if (!isConnectedToClient_) return status;
  status.client = connectionLines_.client().value_or("<unknown>");
  status.clientSince = connectedSince_;
  return status;
}

void MXPAppDelegate::addDatabaseProblem(ServerStatus& status) const {
  const LibraryDatabases& databases = roles_->databases;
  for (const DatabaseFile file :
       {DatabaseFile::Library, DatabaseFile::ImageProxies, DatabaseFile::Properties, DatabaseFile::Faces}) {
    const auto path = databases.pathOf(file);
    if (!path) continue;
    DatabaseProblem problem = databases.problemOf(file);
    // It may be there again, and is not read before a client asks for what it has.
    if (problem.isAway()) problem = problemOfAbsentFile(*path);
    if (problem.kind == DatabaseProblem::Kind::None) continue;
    status.databaseProblem = std::move(problem);
    status.databaseName = path->substr(path->rfind('/') + 1);
    return;
  }
}

// Counts again whenever the path, its problem or the database changed: a disk may be removed and mounted
// again.
const LibraryCounts& MXPAppDelegate::countsOf(const ServerStatus& status) {
  const LoadedLibrary& library = roles_->library;
  const auto readDate = library.databaseReadDate();
  Counted now{status.libraryPath, status.libraryProblem,
              readDate ? std::optional(readDate->seconds) : std::nullopt, library.databaseReadSize()};
  if (counted_ == now) return counts_;
  counted_ = std::move(now);
  counts_ = countLibrary(roles_->databases);
  return counts_;
}

void MXPAppDelegate::showConsole() { environment_.console.showConsoleWindow(); }

void MXPAppDelegate::changedConnection(const Notification& notification) {
  NSLog("changedConnection: %d", QVSocketServer::isConnected());
  isConnectedToClient_ = QVSocketServer::isConnected();
  if (!isConnectedToClient_) {
    connectionLines_.disconnected();
    iPhotoWasEdited_ = false;
    return;
  }
  connectedSince_ =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
          .count();
  const Value& name = notification.userInfo["clientname"];
  connectionLines_.connected(std::string(notification.userInfo["clientip"].string()),
                             name.isString() ? std::optional(std::string(name.string())) : std::nullopt);
  // Waits, so that the library is loaded again before the client's first request is read.
  environment_.loop.performAndWait([this] {
    roles_->library.loadDatabase();
    roles_->changes.check();
  });
}

}  // namespace moxtel
