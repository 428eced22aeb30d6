#include "app/windows/DesktopSettings.h"

#include <algorithm>
#include <sstream>

#include "platform/settings/UserDefaults.h"

namespace moxtel {

namespace {

constexpr const char* kOnClose = "OnClose";
constexpr const char* kNotify = "NotifyNewDevices";
constexpr const char* kKnownDevices = "KnownDevices";
constexpr std::size_t kLongestName = 64;  // bytes
constexpr const char* kNoNameYet = "<unknown>";

std::string recentKey(std::size_t number) { return "RecentLibrary" + std::to_string(number); }

// A name comes from the network.
std::string storedName(std::string name) {
  name.resize(std::min(name.size(), kLongestName));
  for (char& c : name) {
    if (static_cast<unsigned char>(c) <= ' ' || c == 0x7f) c = '_';
  }
  return name;
}

}  // namespace

OnClose DesktopSettings::onClose() const {
  const std::string choice = defaults_.stringForKey(kOnClose).value_or("");
  if (choice == "background") return OnClose::Background;
  return choice == "quit" ? OnClose::Quit : OnClose::Ask;
}

void DesktopSettings::setOnClose(OnClose choice) {
  defaults_.setString(kOnClose, choice == OnClose::Background ? "background"
                                : choice == OnClose::Quit     ? "quit"
                                                              : "ask");
}

bool DesktopSettings::notifiesNewDevices() const { return defaults_.boolForKey(kNotify); }
void DesktopSettings::setNotifiesNewDevices(bool on) { defaults_.setBool(kNotify, on); }

std::vector<std::string> DesktopSettings::recentLibraries() const {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < kMostRecent; ++i) {
    const auto path = defaults_.stringForKey(recentKey(i));
    if (path && !path->empty()) paths.push_back(*path);
  }
  return paths;
}

bool DesktopSettings::addRecentLibrary(const std::string& path) {
  std::vector<std::string> paths = recentLibraries();
  if (!paths.empty() && paths.front() == path) return false;
  std::erase(paths, path);
  paths.insert(paths.begin(), path);
  paths.resize(std::min(paths.size(), kMostRecent));
  for (std::size_t i = 0; i < paths.size(); ++i) defaults_.setString(recentKey(i), paths[i]);
  return true;
}

std::vector<ConnectedDevice> DesktopSettings::takeNew(const std::vector<ConnectedDevice>& devices) {
  std::vector<std::string> known;
  std::istringstream names(defaults_.stringForKey(kKnownDevices).value_or(""));
  for (std::string name; names >> name;) known.push_back(name);
  std::vector<ConnectedDevice> unknown;
  for (const ConnectedDevice& each : devices) {
    const std::string name = storedName(each.name);
    if (name.empty() || name == kNoNameYet || std::ranges::find(known, name) != known.end()) continue;
    known.push_back(name);
    unknown.push_back(each);
  }
  if (unknown.empty()) return {};
  if (known.size() > kMostKnownDevices)
    known.erase(known.begin(), known.end() - static_cast<std::ptrdiff_t>(kMostKnownDevices));
  std::string text;
  for (const std::string& name : known) text += (text.empty() ? "" : " ") + name;
  defaults_.setString(kKnownDevices, text);
  return unknown;
}

}  // namespace moxtel
