"""Makes each file operation of SQLite fail in turn, as for busy or damaged files or a failing disk."""

import collections
import os
import signal
import subprocess
import unittest

import faultserver
import moxteltest
from faultserver import FaultTestCase, FileControl, PreloadedServer, Requests

BUSY, NOMEM, IOERR, CORRUPT, CANTOPEN, PROTOCOL, NOTADB = 5, 7, 10, 11, 14, 15, 26


def io_error(number):
    return IOERR | number << 8


# Result codes of SQLite's own file system, from https://sqlite.org/rescode.html.
FAULTS = {
    "open": {"cannot be opened": CANTOPEN, "I/O error": IOERR, "no memory": NOMEM},
    "read": {"I/O error": io_error(1), "shorter than it should be": io_error(2), "damaged": FileControl.DAMAGE},
    "size": {"I/O error": io_error(7)},
    "lock": {"busy": BUSY, "I/O error": io_error(15), "protocol": PROTOCOL},
    "unlock": {"I/O error": io_error(8)},
    "check lock": {"I/O error": io_error(14)},
    "access": {"I/O error": io_error(13), "no memory": NOMEM},
}

ASKING = ("Get Faces", "Photos of Album", "Folders of Album", "Photos of Face", "Thumb of Photo",
          "Square Thumb of Photo", "Infos of Photo", "Metadata of Photo", "Set GPS of Photo")


class Databases(FaultTestCase):
    """The library's path is a link that points to one of two copies in turn, so the server opens the databases
    again each time."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.other = cls.folder / "Other"
        subprocess.run(["cp", "-a", cls.library, cls.other], check=True)
        cls.link = cls.folder / "Link"

    def point_link_to(self, library):
        new = self.folder / "New"
        new.symlink_to(library)
        new.rename(self.link)
        self.link_to = library

    def reopen(self):
        self.point_link_to(self.other if self.link_to == self.library else self.library)

    def setUp(self):
        self.point_link_to(self.library)
        self.server = PreloadedServer(self.link, *moxteltest.EVERY_LINE)
        self.start(self.server)

    # Either copy may be open.
    def open_in(self, server):
        return sorted(path.replace("/Other/", "/Library/") for path in super().open_in(server))

    def ask(self, request):
        return faultserver.ask_once(self.server.port, moxteltest.request(request[0], **request[1]))

    def inject(self, request, operation, nth, repeat, code):
        control = self.server.control
        self.reopen()
        if request[0] == "Get Faces":
            self.forget_lists()
        control.arm(operation, nth, repeat, code)
        try:
            kind = self.ask(request).kind(self.expected[Requests.name(request)])
        finally:
            control.disarm()
        if control["fired"]:
            if os.environ.get("MOXTEL_FAULTS_TRACE"):
                print(Requests.name(request), operation, nth, repeat, code, kind)
            self.is_sound(self.server)
            return kind
        return None

    def forget_lists(self):
        """Makes the server drop its caches. It reads the list of faces on request."""
        before = self.server.log().count("RELOAD DATABASE")
        self.server.process.send_signal(signal.SIGHUP)
        moxteltest.wait_for(lambda: self.server.log().count("RELOAD DATABASE") > before, "the reload")
        self.ask(("Get Version", {}))
        self.reopen()

    def counts(self, request):
        self.reopen()
        if request[0] == "Get Faces":
            self.forget_lists()
        self.server.control.arm()
        self.ask(request)
        self.server.control.disarm()
        return {operation: count for operation, count in self.server.control.counts().items() if operation in FAULTS}

    def in_turn(self, repeat):
        for request in self.requests.all:
            if request[0] not in ASKING:
                continue
            name = Requests.name(request)
            totals = collections.Counter()
            for operation, count in self.counts(request).items():
                for what, code in FAULTS[operation].items():
                    if repeat < 0 and code == BUSY:
                        continue
                    for nth in range(1, count + 1, 1 if faultserver.IS_FULL else 3):
                        with self.subTest(request=name, operation=operation, nth=nth, what=what):
                            kind = self.inject(request, operation, nth, repeat, code)
                            totals[kind] += bool(kind)
            self.assertTrue(totals, "nothing failed")
            self.rows.append((name, "once" if repeat == 1 else "from then on", sum(totals.values()), dict(totals)))
            print(self.rows[-1], flush=True)

    def test_each_operation_once(self):
        self.in_turn(1)

    def test_each_operation_and_all_after_it(self):
        self.in_turn(-1)

    def test_a_busy_database_delays_a_request_only_for_a_limited_time(self):
        request = ("Photos of Album", {"id": "allPhotosAlbum"})
        kind = self.inject(request, "lock", 1, -1, BUSY)
        self.assertEqual(kind, "other")
        self.rows.append((Requests.name(request), "busy all the time", 1, {kind: 1}))


if __name__ == "__main__":
    unittest.main()
