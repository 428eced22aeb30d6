// What the windows remember from one start to the next, in the user's settings file. Windows' thread.
#pragma once

#include <string>
#include <vector>

#include "app/ConnectedDevices.h"

namespace moxtel {

class UserDefaults;

// What closing the main window does.
enum class OnClose : std::uint8_t {
  Ask,         // asks while a device is connected, else ends the program
  Background,  // the program goes on without a window
  Quit,
};

class DesktopSettings final {
 public:
  static constexpr std::size_t kMostRecent = 10;
  static constexpr std::size_t kMostKnownDevices = 200;

  explicit DesktopSettings(UserDefaults& defaults) : defaults_(defaults) {}

  // Setting "OnClose": "ask", "background" or "quit".
  OnClose onClose() const;
  void setOnClose(OnClose choice);
  // Setting "NotifyNewDevices".
  bool notifiesNewDevices() const;
  void setNotifiesNewDevices(bool on);

  // The libraries that were served, the last one first. Settings "RecentLibrary0" to "RecentLibrary9".
  std::vector<std::string> recentLibraries() const;
  // True if the list has changed.
  bool addRecentLibrary(const std::string& path);

  // Those that were never connected before; from now on they are known. Setting "KnownDevices": names,
  // separated by blanks.
  std::vector<ConnectedDevice> takeNew(const std::vector<ConnectedDevice>& devices);

 private:
  UserDefaults& defaults_;
};

}  // namespace moxtel
