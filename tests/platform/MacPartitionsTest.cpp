#include "platform/files/MacPartitions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/TemporaryFolder.h"

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

class MacPartitionsTest : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& text) {
    fs::create_directories((root.path() / name).parent_path());
    std::ofstream(root.path() / name) << text;
  }
  void addDisk(const std::string& number, const std::string& name, const std::string& facts) {
    write("run/udev/data/b" + number, "S:disk/by-path/x\nI:1\n" + facts + "\nG:systemd\n");
    fs::create_directories(root.path() / "sys/dev/block");
    fs::create_symlink("../../devices/pci/block/sd/" + name, root.path() / "sys/dev/block" / number);
  }

  TemporaryFolder root;
};

TEST_F(MacPartitionsTest, findsWhatIsNotMounted) {
  addDisk("8:2", "sda2", "E:ID_FS_TYPE=ext4");
  addDisk("8:18", "sdb2", "E:ID_FS_TYPE=hfsplus");
  addDisk("8:34", "sdc2", "E:ID_PART_ENTRY_TYPE=53746f72-6167-11aa-aa11-00306543ecac");
  addDisk("8:50", "sdd2", "E:ID_FS_TYPE=apfs");
  addDisk("8:51", "sdd3", "E:ID_FS_TYPE=hfsplus");
  write("proc/self/mountinfo", "36 27 8:51 / /mnt ro - hfsplus /dev/sdd3 ro\n1 2 8:2 / / rw - ext4 x rw\n");
  using Kind = MacPartition::Kind;
  EXPECT_THAT(
      unmountedMacPartitions(root.path().string()),
      ElementsAre(MacPartition{"/dev/sdb2", Kind::HfsPlus}, MacPartition{"/dev/sdc2", Kind::CoreStorage},
                  MacPartition{"/dev/sdd2", Kind::Apfs}));
}

TEST_F(MacPartitionsTest, findsNothingWithoutUdev) {
  EXPECT_THAT(unmountedMacPartitions(root.path().string()), IsEmpty());
}

}  // namespace
}  // namespace moxtel
