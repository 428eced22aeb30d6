#include "platform/files/MountedDisks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace moxtel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(MountedDisks, areThoseThatAUserPlugsInOrMounts) {
  EXPECT_THAT(mountedDisks("90 30 8:17 / /media/anna/USB\\040DISK rw,nosuid shared:300 - vfat /dev/sdb1 rw\n"
                           "91 30 8:18 / /run/media/anna/Mac ro - hfsplus /dev/sdc2 ro\n"
                           "92 30 0:60 / /mnt/apfs ro - fuse /dev/sdd1 ro\n"
                           "93 30 8:33 / /srv/photos rw master:1 shared:2 - ext4 /dev/sdd1 rw\n"
                           "94 30 0:61 / /media/anna/Ciel\\134\\303\\251 rw - fuse.apfs-fuse apfs rw\n"
                           "93 30 8:33 / /srv/photos rw - ext4 /dev/sdd1 rw\n"),
              ElementsAre("/media/anna/USB DISK", "/run/media/anna/Mac", "/mnt/apfs", "/srv/photos",
                          "/media/anna/Ciel\\\xC3\xA9"));
}

TEST(MountedDisks, areNotTheSystemsNorOnTheNetwork) {
  EXPECT_THAT(mountedDisks("22 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                           "23 22 8:2 / /home rw - ext4 /dev/sda2 rw\n"
                           "24 22 8:3 / /boot/efi rw - vfat /dev/sda3 rw\n"
                           "25 22 0:5 / /proc rw - proc proc rw\n"
                           "26 22 0:25 / /run/user/1000 rw - tmpfs tmpfs rw\n"
                           "27 22 7:1 / /snap/core/1 ro - squashfs /dev/loop1 ro\n"
                           "28 22 0:50 / /mnt/nas rw - nfs4 nas:/photos rw\n"
                           "29 22 0:51 / /media/share rw - cifs //nas/photos rw\n"
                           "30 22 0:52 / /mnt/auto rw - autofs systemd-1 rw\n"
                           "31 22 0:53 / /data rw - overlay overlay rw\n"),
              IsEmpty());
}

TEST(MountedDisks, areReadFromDamagedTablesAsFarAsPossible) {
  EXPECT_THAT(mountedDisks(""), IsEmpty());
  EXPECT_THAT(mountedDisks("90 30 8:17 / /media/a rw\n\n- -\n90 30 8:17 / /media/b\\04 rw - vfat /dev/sdb1"),
              ElementsAre("/media/b\\04"));
}

TEST(MountedDisks, haveATableOnThisMachine) { EXPECT_NE(mountTable().find(" / "), std::string::npos); }

}  // namespace
}  // namespace moxtel
