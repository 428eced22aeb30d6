#include "platform/files/MountedDisks.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

namespace moxtel {

namespace {

constexpr std::array<std::string_view, 16> kNetworkTypes = {
    "nfs",   "nfs4",     "cifs",        "smb3",       "smbfs",       "9p",
    "ceph",  "afs",      "autofs",      "fuse.sshfs", "fuse.rclone", "fuse.gvfsd-fuse",
    "davfs", "virtiofs", "fuse.portal", "fuse.davfs2"};
constexpr std::array<std::string_view, 3> kPlacesOfDisks = {"/media/", "/run/media/", "/mnt/"};
constexpr std::array<std::string_view, 11> kPlacesOfTheSystem = {
    "/boot", "/proc", "/sys", "/dev", "/usr", "/etc", "/var", "/tmp", "/snap", "/run", "/nix"};

bool isBelow(std::string_view path, std::string_view folder) {
  return path == folder || (path.starts_with(folder) && path[folder.size()] == '/');
}

// Blanks and other characters are written as "\040".
std::string unescaped(const std::string& field) {
  std::string text;
  for (std::size_t i = 0; i < field.size(); ++i) {
    const std::string_view digits = std::string_view(field).substr(i + 1, 3);
    const bool isEscape = field[i] == '\\' && digits.size() == 3 &&
                          std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '7'; });
    if (!isEscape) {
      text += field[i];
      continue;
    }
    text += static_cast<char>(((digits[0] - '0') << 6) | ((digits[1] - '0') << 3) | (digits[2] - '0'));
    i += 3;
  }
  return text;
}

bool mayHaveFilesOfAUser(const std::string& place, std::string_view type, std::string_view source) {
  if (std::ranges::find(kNetworkTypes, type) != kNetworkTypes.end()) return false;
  if (std::ranges::any_of(kPlacesOfDisks, [&](auto folder) { return place.starts_with(folder); }))
    return true;
  if (!source.starts_with("/dev/") || place == "/" || place == "/home") return false;
  return std::ranges::none_of(kPlacesOfTheSystem, [&](auto folder) { return isBelow(place, folder); });
}

}  // namespace

std::string mountTable() {
  std::ifstream file("/proc/self/mountinfo");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> mountedDisks(std::string_view table) {
  std::vector<std::string> places;
  std::istringstream lines{std::string(table)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string ignored, place, field, type, source;
    for (int i = 0; i < 4; ++i) fields >> ignored;
    fields >> place;
    // Optional fields end with a hyphen.
    while (fields >> field && field != "-") continue;
    if (!(fields >> type >> source)) continue;
    place = unescaped(place);
    if (!mayHaveFilesOfAUser(place, type, source)) continue;
    if (std::ranges::find(places, place) == places.end()) places.push_back(place);
  }
  return places;
}

}  // namespace moxtel
