// The partitions with a Mac's file system that are attached and not mounted. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace moxtel {

struct MacPartition {
  enum class Kind : std::uint8_t { HfsPlus, Apfs, CoreStorage };
  std::string device;  // "/dev/sdb2"
  Kind kind = Kind::HfsPlus;
  friend bool operator==(const MacPartition&, const MacPartition&) = default;
};

// By what udev has found on the disks, which every user may read; sorted by device. The root is that of the
// files that are read: empty for this system.
std::vector<MacPartition> unmountedMacPartitions(const std::string& root = {});

}  // namespace moxtel
