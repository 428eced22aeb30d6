"""MoxtelServer on a disk that does not answer. Without a display.

Usage: desktop_test.py BIN_FOLDER [unittest arguments]"""
import ctypes
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import unittest

BIN = pathlib.Path(sys.argv.pop(1))
LIBC = ctypes.CDLL(None, use_errno=True)
MNT_FORCE = 1


class SilentDisk:
    """A file system whose requests nothing ever answers."""

    def __init__(self, folder):
        self.folder = os.fsencode(folder)
        self.requests = os.open("/dev/fuse", os.O_RDWR | os.O_CLOEXEC)
        options = f"fd={self.requests},rootmode=40000,user_id=0,group_id=0".encode()
        if LIBC.mount(b"silent", self.folder, b"fuse", 0, options) != 0:
            error = ctypes.get_errno()
            os.close(self.requests)
            raise OSError(error, os.strerror(error))

    def remove(self):
        os.close(self.requests)
        LIBC.umount2(self.folder, MNT_FORCE)


class DesktopTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_ends_although_a_disk_does_not_answer(self):
        (self.folder / "disk").mkdir()
        try:
            disk = SilentDisk(self.folder / "disk")
        except OSError as error:
            self.skipTest(f"no file system can be mounted here: {error}")
        self.addCleanup(disk.remove)
        environment = {name: str(self.folder) for name in
                       ("HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "TMPDIR")}
        server = subprocess.Popen([BIN / "MoxtelServer", "-LibraryPath", self.folder / "disk/Library", "-Port", "0",
                                   "-WebPort", "0"], env=os.environ | environment | {"QT_QPA_PLATFORM": "offscreen"},
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.kill)
        await_waiting(server.pid)
        server.send_signal(signal.SIGTERM)
        # A server that waits for the disk never ends.
        self.assertEqual(server.wait(60), 0)


def await_waiting(process):
    """Until a thread of the process waits for the silent disk, and the process has its own way to end."""
    while not (waits_for_disk(process) and handles(process, signal.SIGTERM)):
        time.sleep(0.05)


def waits_for_disk(process):
    calls = [(thread / "wchan").read_text() for thread in pathlib.Path(f"/proc/{process}/task").iterdir()]
    return any("fuse" in call or call == "request_wait_answer" for call in calls)


def handles(process, number):
    caught = pathlib.Path(f"/proc/{process}/status").read_text().split("SigCgt:")[1].split()[0]
    return int(caught, 16) >> (number - 1) & 1 == 1


if __name__ == "__main__":
    unittest.main()
