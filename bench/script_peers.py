#!/usr/bin/env python3
"""Measures the cost of scripts, with the fake photo application of the tests.

    script_peers.py BIN_FOLDER [--rounds N] [listings] [idle] [hanging]

BIN_FOLDER holds moxtelserverd and moxtel-make-library (a release build). Prints three tables in about eight minutes, or
those of the named groups: listings that ask the application, beside the same scripts passed to the interpreter without a
server, in turn (30 times); the processor time that watching for the applications takes in an idle minute; and how long a
client waits while a script hangs.
"""

import argparse
import os
import pathlib
import shlex
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/wire"))
import markdown  # noqa: E402
import moxteltest  # noqa: E402
from test_photo_application import BASE, PhotoApplicationTestCase  # noqa: E402

ALBUMS = 20
PATIENCE = 400  # seconds: more than every time-out
GROUPS = ("listings", "idle", "hanging")


def milliseconds(action):
    started = time.perf_counter()
    action()
    return (time.perf_counter() - started) * 1000


def row(*cells):
    markdown.row(time.strftime("%Y-%m-%d"), *cells[:1], "%.0f" % os.getloadavg()[0], *cells[1:])


def core_milliseconds(process):
    """Processor time of the server's first thread, which looks for the applications. The scheduler counts it in
    nanoseconds."""
    return int(pathlib.Path("/proc/%d/task/%d/schedstat" % (process, process)).read_text().split()[0]) / 1e6


class Measurement(PhotoApplicationTestCase):
    groups = GROUPS
    rounds = 30

    def runTest(self):
        for group in self.groups:
            getattr(self, group)()

    def interpret(self, *scripts):
        for script in scripts:
            subprocess.run(shlex.split(self.interpreter), input=script.encode(), stdout=subprocess.PIPE, check=True)

    def compare(self, what, ask, scripts):
        """Prints the time of a request and of its scripts alone, measured in turn."""
        ours, peers = [], []
        for _ in range(self.rounds):
            ours.append(milliseconds(ask))
            peers.append(milliseconds(lambda: self.interpret(*scripts)))
        texts = ("%.0f ms, %.0f ms" % (statistics.median(times), max(times)) for times in (ours, peers))
        row(what, len(scripts), *texts, "%.2f" % (statistics.median(ours) / statistics.median(peers)))

    def add_smart_albums(self):
        """Adds smart albums in a new folder; returns their model ids."""
        numbers = range(20000, 20000 + ALBUMS)
        self.change("INSERT INTO RKFolder (modelId,uuid,name,folderType,parentFolderUuid,isHidden,isMagic,isInTrash,"
                    "isHiddenWhenEmpty) VALUES (19999,'folder','Folder',1,'TopLevelAlbums',0,0,0,0)")
        for number in numbers:
            self.change("INSERT INTO RKAlbum (modelId,uuid,name,albumType,albumSubclass,folderUuid,isMagic,isHidden,"
                        "isInTrash) VALUES (?,?,'Smart',1,2,'folder',0,0,0)", number, "album %d" % number)
        return numbers

    def listings(self):
        markdown.head("Date", "What", "Load", "Scripts", "Ours", "Interpreter alone", "Ours / alone")
        iphoto = self.application("iPhoto")
        photos = self.rows("SELECT modelId FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0 LIMIT 40")
        answers = [BASE + number for number, in photos]
        albums = self.add_smart_albums()
        self.albums("iPhoto", {BASE + number: answers for number in (self.smart[0], *albums)})
        with self.server() as server, moxteltest.Client(server) as client:
            def photos_of_album():
                self.assertEqual(len(client.result("Photos of Album", id=self.smart[1])), len(photos))

            def folders_of_album():
                self.assertEqual([album["PhotoCount"] for album in client.result("Folders of Album", id="folder")],
                                 [len(photos)] * ALBUMS)

            def scripts_of(ask):
                before = len(self.scripts())
                ask()
                return self.scripts()[before:]

            for what, ask in (("Photos of Album: a smart album of %d photos" % len(photos), photos_of_album),
                              ("Folders of Album: %d smart albums" % ALBUMS, folders_of_album)):
                self.compare(what, ask, scripts_of(ask))
        self.quit(iphoto)

    def idle(self):
        markdown.head("Date", "Processes on the machine", "Load", "Processor in the minute", "A look")
        for more in (0, 500):
            sleepers = [subprocess.Popen(["sleep", "600"]) for _ in range(more)]
            try:
                with moxteltest.Server(self.library) as server:
                    count = sum(1 for path in pathlib.Path("/proc").iterdir() if path.name.isdigit())
                    time.sleep(3)
                    before = core_milliseconds(server.process.pid)
                    time.sleep(60)
                    spent = core_milliseconds(server.process.pid) - before
            finally:
                for sleeper in sleepers:
                    sleeper.kill()
                    sleeper.wait()
            row(count, "%.0f ms" % spent, "%.2f ms" % (spent / 60))

    def hanging(self):
        markdown.head("Date", "What", "Load", "Reply after")
        iphoto = self.application("iPhoto")
        with self.server() as server, moxteltest.Client(server, PATIENCE) as client:
            (self.folder / "hang").touch()
            for what, command, keys in (
                    ("Set GPS of Photo, whose script then hangs", "Set GPS of Photo",
                     {"key": self.photos[0][1], "latitude": 1, "longitude": 2}),
                    ("Get Version, sent at once after it", "Get Version", {}),
                    ("Photos of Album, of a smart album, whose script hangs", "Photos of Album",
                     {"id": self.smart[1]}),
                    ("Get Version, sent after its reply", "Get Version", {})):
                taken = milliseconds(lambda: client.result(command, **keys))  # noqa: B023
                row(what, "%.1f s" % (taken / 1000) if taken >= 1000 else "%.1f ms" % taken)
        self.quit(iphoto)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=Measurement.rounds)
    parser.add_argument("groups", nargs="*", metavar="GROUP", default=list(GROUPS), help=" ".join(GROUPS))
    options = parser.parse_intermixed_args()
    binaries = options.binaries.resolve()
    os.environ["MOXTEL_SERVER"] = str(binaries / "moxtelserverd")
    os.environ["MOXTEL_MAKE_LIBRARY"] = str(binaries / "moxtel-make-library")
    Measurement.groups, Measurement.rounds = options.groups, options.rounds
    result = Measurement().run()
    for _, problem in result.failures + result.errors:
        print(problem, file=sys.stderr)
    sys.exit(0 if result.wasSuccessful() else 1)
