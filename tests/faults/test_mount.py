"""Unmounts the library's file system during a reply, between requests, and while files are open.

Runs in its own mount namespace, so that its mounts do not affect the machine."""

import os
import struct
import subprocess
import unittest

import faultserver
import keyedarchive
import moxteltest
from faultserver import FaultTestCase, PlainServer, Requests

LARGE = 24 << 20  # bytes; far more than socket buffers hold


class Mounts(FaultTestCase):
    def setUp(self):
        self.at = self.folder / "Disk"
        self.at.mkdir(exist_ok=True)
        self.mount()
        self.addCleanup(self.unmount, lazily=True)
        self.disk_library = self.at / "Library"
        self.server = self.start(PlainServer(self.disk_library))

    def mount(self):
        """Mounts a file system with a copy of the library."""
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256m", "none", str(self.at)], check=True)
        subprocess.run(["cp", "-a", str(self.library), str(self.at / "Library")], check=True)
        # A large sparse master.
        self.large, path = self.requests.photos[5]
        os.truncate(self.at / "Library" / "Masters" / path, LARGE)

    def unmount(self, lazily=False):
        return subprocess.run(["umount", *(["-l"] if lazily else []), str(self.at)], capture_output=True,
                              check=False).returncode == 0

    def answers_nothing(self):
        """Without its library the server still answers, as it does for a missing library."""
        with moxteltest.Client(self.server) as client:
            self.assertEqual(client.result("Get Version"), "1.4")
            self.assertEqual(client.error("Thumb of Photo", key=self.requests.jpeg), "No Thumbnail")
        # No reply if there is no list; an empty list after a database was found missing.
        frames = self.answer(self.server, ("Photos of Album", {"id": "allPhotosAlbum"}))
        self.assertIn([keyedarchive.decode(frame) for frame in frames], ([], [{"result": []}]))

    def is_sound_again(self):
        self.assertTrue(self.server.is_running())
        self.answers_right(self.server)
        self.leaks_nothing(self.server)

    def test_in_the_middle_of_a_reply(self):
        """The reply is complete although the file system is unmounted."""
        with moxteltest.Client(self.server) as client:
            client.send("Data of Photo", key=self.large)
            (length,) = struct.unpack("=I", client.receive_exactly(4))
            start = client.receive_exactly(1000)
            self.assertTrue(self.unmount(lazily=True))
            reply = start + client.receive_exactly(length - 1000)
        self.assertEqual(len(keyedarchive.decode(reply)["result"]), LARGE)
        self.answers_nothing()
        self.mount()
        self.is_sound_again()
        self.rows.append(("in the middle of a reply of 24 MB", "the complete reply"))

    def test_before_every_request(self):
        for request in self.requests.all:
            with self.subTest(request=request):
                self.answers_right(self.server)
                self.assertTrue(self.unmount(lazily=True))
                outcome = faultserver.ask_once(self.server.port, moxteltest.request(request[0], **request[1]))
                kind = outcome.kind(self.expected[Requests.name(request)])
                self.answers_nothing()
                self.mount()
                self.is_sound_again()
                self.rows.append(("before " + Requests.name(request), kind))

    def test_the_disk_can_be_unmounted_soon_after_the_last_request(self):
        """Unmounts without the lazy option, so the server must have no file open."""
        self.answers_right(self.server)
        moxteltest.wait_for(self.unmount, "the disk to be free")
        self.answers_nothing()
        self.mount()
        self.is_sound_again()
        self.rows.append(("a few seconds after the last request, not lazily", "the disk is free"))

    def test_another_disk_at_the_same_path(self):
        self.answers_right(self.server)
        self.assertTrue(self.unmount(lazily=True))
        self.mount()
        self.is_sound_again()
        self.rows.append(("another disk mounted in its place", "right"))


if __name__ == "__main__":
    why = faultserver.enter_namespaces("--mount", "--propagation", "private")
    if why:
        faultserver.skip("nothing may be mounted here: " + why)
    unittest.main()
