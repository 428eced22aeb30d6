"""Makes each system call of the server fail, one after another, while it answers the page for browsers."""

import errno
import http.client
import io
import json
import sqlite3
import threading
import unittest
import zipfile

import faultserver
import moxteltest
import test_calls
from faultserver import CallControl, TracedServer

# Replies that say that something did not work.
FAILURES = (404, 410, 500, 503)

# Calls that open files and start helpers, and errors of them that pass.
OPENING = ("openat", "openat2", "pipe2", "clone", "clone3", "vfork")
SHORTAGES = ("EMFILE", "ENFILE", "ENOMEM", "EAGAIN")


class PageOutcome:
    """The status and body of a reply; neither if the connection ended early."""

    def __init__(self, status=None, body=None):
        self.status, self.body = status, body

    def kind(self, expected):
        """A fault may cause another complete reply, or a connection that ends early."""
        if self.status is None:
            return "refused"
        if self.body is None:
            return "cut off"
        if (self.status, self.body) == expected:
            return "right"
        # A picture may be made from another file, and the facts of a photo say which of its files can be opened.
        if self.status in FAILURES or self.body.startswith(b"\xff\xd8") or b'"original":null' in self.body:
            return "other"
        # A photo whose file cannot be opened is left out, as its number said before; the rest is complete.
        if self.body.startswith(b"PK") and zipfile.ZipFile(io.BytesIO(self.body)).testzip() is None:
            return "other"
        raise AssertionError("status %d: %.300r instead of %.300r" % (self.status, self.body, expected))


class PageCalls(test_calls.CallsTestCase):
    SOME = 12

    @classmethod
    def setUpClass(cls):
        cls.addresses = {}
        super().setUpClass()
        with cls.page_server(moxteltest.Server) as server:
            cls.find_addresses(server)
            cls.right = {name: cls.answer_of(server, name) for name in cls.addresses}
        for name, (status, body) in cls.right.items():
            if status not in (200, 206) or not body:
                raise AssertionError("%s: %d %.100r" % (name, status, body))

    @classmethod
    def page_server(cls, kind):
        """Keeps no pictures, so that they are made again for each request."""
        port = moxteltest.free_port()
        server = kind(cls.library, "-WebAccess", "open", "-WebCacheSize", 0, web_port=port)
        server.page_port = port
        return server

    def make_server(self):
        return self.page_server(TracedServer)

    @classmethod
    def find_addresses(cls, server):
        cls.is_listening(server)
        root = "/l/%s/" % json.loads(cls.fetch(server, "/api/1/libraries").body)["libraries"][0]["id"]
        cls.has_index(server, root)
        version = json.loads(cls.fetch(server, root + "api/1/list/all").body)["version"]
        database = sqlite3.connect("file:%s?mode=ro" % (cls.library / "Database/apdb/Library.apdb"), uri=True)
        jpeg, png = (database.execute("SELECT modelId FROM RKVersion WHERE uuid = ?", [uuid]).fetchone()[0]
                     for uuid in (cls.requests.jpeg, cls.requests.png))
        database.close()
        cls.addresses = {
            "page": (root + "photos", {}), "library": (root + "api/1/library", {}),
            "albums": (root + "api/1/albums", {}), "people": (root + "api/1/people", {}),
            "sections": (root + "api/1/list/flagged", {}), "photos of a list": (root + "api/1/list/all/0?v=" + version, {}),
            "facts of a photo": (root + "api/1/photo/%d" % jpeg, {}), "thumbnail": (root + "thumb/%d" % jpeg, {}),
            "preview that is made": (root + "preview/%d" % png, {}), "range": (root + "original/%d" % jpeg,
                                                                              {"Range": "bytes=100-1999"}),
            "archive": (root + "zip/photos:%d,%d" % (jpeg, png), {})}

    @classmethod
    def is_listening(cls, server):
        moxteltest.wait_for(lambda: cls.fetch(server, "/api/1/libraries").status == 200, "the page")

    @classmethod
    def has_index(cls, server, root):
        moxteltest.wait_for(lambda: json.loads(cls.fetch(server, root + "api/1/library").body)["search"] == "ready",
                            "the index")

    def note_base(self, server):
        self.is_listening(server)
        self.has_index(server, self.addresses["page"][0].removesuffix("photos"))
        super().note_base(server)

    @staticmethod
    def fetch(server, address, fields=()):
        connection = http.client.HTTPConnection("127.0.0.1", server.page_port, timeout=faultserver.PATIENCE)
        try:
            connection.request("GET", address, headers={"Connection": "close", **dict(fields)})
            reply = connection.getresponse()
            try:
                return PageOutcome(reply.status, reply.read())
            except (http.client.IncompleteRead, ConnectionError):
                return PageOutcome(reply.status)
        except TimeoutError:
            raise AssertionError("no answer after %d s" % faultserver.PATIENCE) from None
        except (OSError, http.client.HTTPException):
            return PageOutcome()
        finally:
            connection.close()

    @classmethod
    def answer_of(cls, server, name):
        outcome = cls.fetch(server, *cls.addresses[name])
        return outcome.status, outcome.body

    def answers_right(self, server):
        super().answers_right(server)
        for name in self.addresses:
            self.assertEqual(self.answer_of(server, name), self.right[name], name)
        moxteltest.wait_for(lambda: not self.has_browser(server), "the browser to be gone")

    def inject(self, name, nth, fault, how, whose, do, expected):
        """What could not be opened for want of descriptors or memory is not unknown."""
        outcomes = []

        def do_and_keep():
            outcomes.append(do())
            return outcomes[-1]

        kind = super().inject(name, nth, fault, how, whose, do_and_keep, expected)
        if whose == CallControl.SERVER and name in OPENING and fault in SHORTAGES:
            self.assertNotEqual(outcomes[-1].status, 404)
        return kind

    @staticmethod
    def has_browser(server):
        return any(local == server.page_port and state in (moxteltest.TCP_ESTABLISHED, faultserver.TCP_CLOSE_WAIT)
                   for local, _, state, _ in moxteltest.tcp_sockets())

    def ask(self, name):
        return lambda: self.fetch(self.server, *self.addresses[name])

    def test_each_call_for_each_address(self):
        for name in self.addresses:
            self.look_at("page: " + name, CallControl.SERVER, self.ask(name), self.right[name])
        self.server.__exit__(None)

    def test_each_call_of_a_helper(self):
        name = "preview that is made"
        self.look_at("helper of the page", CallControl.CHILDREN, self.ask(name), self.right[name])
        self.server.__exit__(None)

    def test_a_lasting_shortage(self):
        """Lasts until the request is answered."""
        for call, error in (("openat", "EMFILE"), ("openat", "ENOMEM"), ("mmap", "ENOMEM"), ("pread64", "EIO"),
                            ("clone3", "EAGAIN"), ("sendfile", "EIO")):
            totals = {}
            how = {"action": CallControl.FAIL_INSTEAD, "error": getattr(errno, error), "repeat": -1}
            for name in self.addresses:
                with self.subTest(call=call, error=error, address=name):
                    kind = self.inject(call, 1, error, how, CallControl.SERVER, self.ask(name), self.right[name])
                    if kind:
                        totals[kind] = totals.get(kind, 0) + 1
            self.rows.append(("page, shortage: %s %s" % (call, error), sum(totals.values()), totals))
            print(self.rows[-1], flush=True)
        self.server.__exit__(None)

    def test_a_browser_that_connects_without_free_descriptors(self):
        """It waits, and is answered as soon as descriptors are free again."""
        control = self.server.control
        control.arm(self.numbers["accept4"], repeat=-1, error=errno.EMFILE)
        outcomes = []
        waiting = threading.Thread(target=lambda: outcomes.append(self.ask("thumbnail")()))
        waiting.start()
        moxteltest.wait_for(lambda: control["fired"] > 3, "the server to try again")
        control.disarm()
        waiting.join(faultserver.PATIENCE)
        self.assertEqual([(one.status, one.body) for one in outcomes], [self.right["thumbnail"]])
        self.is_sound(self.server)
        self.rows.append(("page, shortage: accept4 EMFILE", 1, {"right": 1}))
        self.server.__exit__(None)


if __name__ == "__main__":
    faultserver.need_tracing()
    unittest.main()
