// MXPAppDelegate: owns all long-lived objects of the server and the order in which they start.
//
// The work itself lies in role objects (library databases, container tree, photo records, faces, image files,
// album data, command handler …); this class connects them, follows connections and restarts the library side
// when the preferred photo application changes. Lives on the core thread; changedConnection alone runs on the
// accept thread.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "app/ServerStatus.h"
#include "console/MXSConsole.h"
#include "library/PhotoApplicationFlags.h"
#include "net/PublicationReporter.h"
#include "net/QVSocketServer.h"
#include "platform/loop/NotificationCenter.h"

namespace moxtel {

class AlbumData;
class DnsSd;
class LoadedLibrary;
class ProcessRunner;
class RunningApplications;
class ScriptRunner;
class ServerRoles;

// What the delegate's program lends it; all of it outlives the delegate.
struct ServerEnvironment {
  EventLoop& loop;
  UserDefaults& defaults;
  NotificationCenter& notifications;
  ProcessRunner& processes;
  RunningApplications& applications;
  ScriptRunner& scripts;
  MXSConsole& console;
  DnsSd* discovery = nullptr;  // null: nothing can publish here
};

class MXPAppDelegate final {
 public:
  // Registers the defaults, and fixes the debug level and the switch "CheckIndizes" for the life of the
  // process.
  static void initialize(UserDefaults& defaults);

  explicit MXPAppDelegate(const ServerEnvironment& environment);
  ~MXPAppDelegate();
  MXPAppDelegate(const MXPAppDelegate&) = delete;
  MXPAppDelegate& operator=(const MXPAppDelegate&) = delete;

  void applicationDidFinishLaunching();
  // Always 1, terminate now: nothing is saved or asked.
  int applicationShouldTerminate() const { return 1; }

  void startup();
  void resetForRestart();
  void startServer();
  void setNotifications();
  // On the accept thread.
  void changedConnection(const Notification& notification);
  void showConsole();
  // After the user interface has stored the new "PreferAperture".
  void changedPreferAperture();

  // What SIGHUP asks for: as after a change of the photo application, without the change.
  void reload();
  // Serves another library from now on, and remembers it. An empty text, or why that folder cannot be served:
  // then nothing changes.
  [[nodiscard]] std::string changedLibraryPath(const std::string& folder);
  void disconnectClient();
  void changedRevealPhoto(bool allowed);
  // The rich text of the help (HTML); nothing when the resource is missing or unreadable.
  static std::optional<std::string> attributedStringHelp();
  // Logs the folder tree, for diagnosis. An empty text, or why there is none.
  [[nodiscard]] std::string logFolderTree();

  // Looks whether the library is there. Counts it anew after each start-up, and when it was loaded again.
  ServerStatus status();
  QVSocketServer& server() { return *server_; }
  const LoadedLibrary& library() const;
  const AlbumData& albumData() const;

 private:
  // The state of the library that was counted.
  struct Counted {
    std::optional<std::string> path;
    std::string problem;
    std::optional<double> readDate;
    std::uint64_t readSize = 0;
    friend bool operator==(const Counted&, const Counted&) = default;
  };

  void restart();
  void explainMissingLibrary();
  const LibraryCounts& countsOf(const ServerStatus& status);
  const char* runningApplication() const;
  void reportListener(bool started, std::int32_t port);
  void showConnected(const Notification& notification, const std::string& shortName);
  void showDisconnected();

  ServerEnvironment environment_;
  PhotoApplicationFlags flags_;
  std::unique_ptr<ServerRoles> roles_;
  std::unique_ptr<QVSocketServer> server_;
  std::unique_ptr<PublicationReporter> publicationReporter_;
  std::vector<NotificationCenter::Token> observers_;

  std::atomic<bool> isConnectedToClient_{false};
  std::atomic<bool> iPhotoWasEdited_{false};
  PublicationState publication_;
  std::optional<Counted> counted_;
  LibraryCounts counts_;

  std::mutex clientsMutex_;
  std::map<std::string, std::string> clientDict_;  // client address → short name; guarded by clientsMutex_
};

}  // namespace moxtel
