// MXPAppDelegate: owns all long-lived objects of the server and the order in which they start.
//
// Role objects (library databases, container tree, photo records, faces, image files, album data, command
// handler …) do the work. This class connects them, tracks client connections and restarts the library roles
// when the preferred photo application changes. Lives on the core thread, except changedConnection, which
// runs on the accept thread.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/ConnectionLines.h"
#include "app/ServerStatus.h"
#include "console/MXSConsole.h"
#include "library/LibrarySearch.h"
#include "library/PhotoApplicationFlags.h"
#include "net/PublicationReporter.h"
#include "net/QVSocketServer.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/system/HostNames.h"

namespace moxtel {

class AlbumData;
class DnsSd;
class LoadedLibrary;
class ProcessRunner;
class RunningApplications;
class ScriptRunner;
class ServerRoles;

// What the delegate borrows from its program; all of it must outlive the delegate.
struct ServerEnvironment {
  EventLoop& loop;
  UserDefaults& defaults;
  NotificationCenter& notifications;
  ProcessRunner& processes;
  RunningApplications& applications;
  ScriptRunner& scripts;
  MXSConsole& console;
  DnsSd* discovery = nullptr;  // null: this machine cannot publish services
  ConnectionLines::HostLookup hostLookup = nameOfHost;
  // Whether the program ends, so that what takes long is stopped. Any thread.
  std::function<bool()> isEnding = [] { return false; };
  // Called after each start of the library roles, when the served library may be another one.
  std::function<void()> libraryStarted = [] {};
};

class MXPAppDelegate final {
 public:
  // Registers the defaults, and reads the debug level and the switch "CheckIndizes" once for the whole
  // process.
  static void initialize(UserDefaults& defaults);

  explicit MXPAppDelegate(const ServerEnvironment& environment);
  ~MXPAppDelegate();
  MXPAppDelegate(const MXPAppDelegate&) = delete;
  MXPAppDelegate& operator=(const MXPAppDelegate&) = delete;

  void applicationDidFinishLaunching();
  // Always 1 (terminate now): there is nothing to save or to ask.
  int applicationShouldTerminate() const { return 1; }

  void startup();
  void resetForRestart();
  void startServer();
  void setNotifications();
  // The observer of "ChangedConnection". Accept thread.
  void changedConnection(const Notification& notification);
  void showConsole();
  // After the user interface has stored the new "PreferAperture".
  void changedPreferAperture();

  // Restarts the library roles with the same preferences, and disconnects the client. Listens and publishes
  // again if the last attempt failed.
  void reload();
  // Serves another library and stores its path in the user defaults. Returns an empty text; or, when the
  // folder cannot be served, the reason, and changes nothing.
  [[nodiscard]] std::string changedLibraryPath(const std::string& chosen);
  // The libraries that the user may have meant with a folder that changedLibraryPath() refused. Takes a few
  // seconds at most.
  std::vector<FoundLibrary> librariesNear(const std::string& folder);
  void changedRevealPhoto(bool allowed);
  // The help as HTML, in the language ("de") if there is one, else in English; nullopt when its file is
  // missing or unreadable. Any thread.
  static std::optional<std::string> attributedStringHelp(std::string_view language);
  // Logs the folder tree, for developers. Returns an empty text, or the reason why there is no tree.
  [[nodiscard]] std::string logFolderTree();
  // The events and albums of the library as a tree for people; empty, and then whyNoData(), without one.
  std::string describeFolders();
  // Why nothing can be read from the library, for the user.
  std::string whyNoData() const;
  // What is in a smart album and why, in words, for diagnosis.
  struct AlbumExplanation {
    std::string text;     // lines
    std::string problem;  // empty, or the reason why there is no text
  };
  [[nodiscard]] AlbumExplanation explainAlbum(const std::string& uuid);

  // The current state. Checks whether the library is readable, and counts its photos, albums and faces again
  // after each startup and each reload.
  ServerStatus status();
  // Whether clients can connect: the server listens and is published.
  bool isServing() const { return isServing_; }
  QVSocketServer& server() { return *server_; }
  const LoadedLibrary& library() const;
  // The folder of the served library; nothing if none is set.
  const std::optional<std::string>& libraryPath() const;
  const AlbumData& albumData() const;

 private:
  // The state of the library for which counts_ holds.
  struct Counted {
    std::optional<std::string> path;
    std::string problem;
    std::optional<double> readDate;
    std::uint64_t readSize = 0;
    friend bool operator==(const Counted&, const Counted&) = default;
  };

  void restart();
  void dropLists();
  void fillCaches();
  void reportKind();
  void awaitApplications();
  void reportMissingLibrary();
  std::string sentenceAboutLibrariesNear(const std::string& folder);
  const LibraryCounts& countsOf(const ServerStatus& status);
  void addDatabaseProblem(ServerStatus& status) const;
  const char* runningApplication() const;
  std::vector<std::string> addresses() const;
  void reportListener(bool started, std::int32_t port);

  ServerEnvironment environment_;
  PhotoApplicationFlags flags_;
  ConnectionLines connectionLines_;  // outlives the accept thread
  std::unique_ptr<ServerRoles> roles_;
  std::unique_ptr<QVSocketServer> server_;
  std::unique_ptr<PublicationReporter> publicationReporter_;
  std::vector<NotificationCenter::Token> observers_;

  bool isServing_ = false;
  std::atomic<bool> isConnectedToClient_{false};
  std::atomic<std::int64_t> connectedSince_{0};  // seconds since 1970-01-01 UTC
  std::atomic<bool> iPhotoWasEdited_{false};
  PublicationState publication_;
  std::optional<Counted> counted_;
  LibraryCounts counts_;
};

}  // namespace moxtel
