#include "platform/files/MacPartitions.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>

namespace moxtel {

namespace {

namespace fs = std::filesystem;

// The types of partitions in a table of the kind GPT; what FileVault encrypts is known by nothing else.
std::optional<MacPartition::Kind> kindOf(const std::string& line) {
  using Kind = MacPartition::Kind;
  if (line == "E:ID_FS_TYPE=hfsplus") return Kind::HfsPlus;
  if (line == "E:ID_FS_TYPE=apfs") return Kind::Apfs;
  if (line == "E:ID_PART_ENTRY_TYPE=7c3457ef-0000-11aa-aa11-00306543ecac") return Kind::Apfs;
  if (line == "E:ID_PART_ENTRY_TYPE=53746f72-6167-11aa-aa11-00306543ecac") return Kind::CoreStorage;
  return std::nullopt;
}

// The numbers of the devices with a mounted file system: "8:2".
std::set<std::string> mountedDevices(const std::string& root) {
  std::set<std::string> devices;
  std::ifstream mounts(root + "/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string mount;
    std::string parent;
    std::string device;
    if (fields >> mount >> parent >> device) devices.insert(device);
  }
  return devices;
}

std::optional<MacPartition::Kind> kindIn(const fs::path& file) {
  std::ifstream facts(file);
  for (std::string line; std::getline(facts, line);) {
    if (const auto kind = kindOf(line)) return kind;
  }
  return std::nullopt;
}

}  // namespace

std::vector<MacPartition> unmountedMacPartitions(const std::string& root) {
  std::vector<MacPartition> found;
  const auto mounted = mountedDevices(root);
  std::error_code error;
  for (fs::directory_iterator entry(root + "/run/udev/data", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (!name.starts_with('b') || mounted.contains(name.substr(1))) continue;
    const auto kind = kindIn(entry->path());
    if (!kind) continue;
    std::error_code unnamed;
    const fs::path link = fs::read_symlink(root + "/sys/dev/block/" + name.substr(1), unnamed);
    if (!unnamed) found.push_back({"/dev/" + link.filename().string(), *kind});
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.device < b.device; });
  return found;
}

}  // namespace moxtel
