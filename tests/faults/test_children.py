"""Helpers of the server that hang, crash or write invalid output."""

import os
import pathlib
import shlex
import shutil
import signal
import socket
import sqlite3
import struct
import threading
import time
import unittest

import faultserver
import keyedarchive
import moxteltest
from faultserver import FaultTestCase

DECODER, READER, COPIER = "moxtel-picture-decoder", "moxtel-property-reader", "moxtel-database-copier"

SECONDS_TO_END = 2

# Shell scripts that replace a helper.
DEATHS = {
    "ends at once with success": "exit 0",
    "ends at once with an error": "exit 1",
    "kills itself": "kill -KILL $$",
    "crashes": "kill -SEGV $$",
    "ends after half a word": "printf MXP; exit 0",
    "answers nonsense": "head -c 100000 /dev/urandom",
    "is killed within its answer": "printf bplist00; head -c 1000 /dev/zero; kill -KILL $$",
    "writes errors without an end": "exec yes >&2",
    "leaves a child that holds its output": "(trap '' TERM; exec sleep 1000) & printf bplist00; exit 0",
    "cannot be started": None,
}
# Each is killed after the helper's time limit, which is ten seconds for the property reader.
HANGS = {
    "hangs": "exec sleep 1000",
    "hangs and heeds no signal": "trap '' TERM INT HUP; while :; do sleep 1; done",
    "hangs after it closed its output": "exec >&- 2>&-; exec sleep 1000",
    "stops": "kill -STOP $$",
    "hangs within its answer": "printf bplist00; exec sleep 1000",
}


class FaultyHelpers(moxteltest.Server):
    """A server whose helper programs are replaced by scripts."""

    def __init__(self, library, helpers, *arguments, **options):
        super().__init__(library, *arguments, **options)
        folder = self.home / "bin"
        folder.mkdir()
        original = pathlib.Path(moxteltest.program("MOXTEL_SERVER"))
        shutil.copy2(original, folder)
        self.arguments[0] = str(folder / original.name)
        for name in (DECODER, READER, COPIER):
            own = "exec %s \"$@\"" % shlex.quote(str(original.parent / name))
            faultserver.put_program(folder / name, helpers.get(name, own))

    def pid(self):
        return self.process.pid


class Children(FaultTestCase):
    def children_of(self, server):
        """Processes running programs from the server's folder, except the server."""
        found = []
        for process in pathlib.Path("/proc").iterdir():
            if not process.name.isdigit() or int(process.name) == server.pid():
                continue
            try:
                environment = (process / "environ").read_bytes()
                state = (process / "stat").read_text().rsplit(")", 1)[1].split()[0]
            except OSError:
                continue
            if ("HOME=%s" % server.home).encode() in environment and state != "Z":
                found.append(int(process.name))
        return found

    def request_for(self, helper):
        return ("Image of Photo", {"key": self.requests.png}) if helper == DECODER else \
            ("Metadata of Photo", {"key": self.requests.tiff})

    def test_the_replaced_helpers_are_the_ones_that_run(self):
        with FaultyHelpers(self.library, {}) as server:
            for helper in (DECODER, READER):
                request = self.request_for(helper)
                self.assertEqual(self.answer(server, request), self.expected[self.requests.name(request)])

    def check_with(self, helper, what, script, leaves_children=False):
        self.look(FaultyHelpers(self.library, {helper: script}), helper, what, leaves_children)

    def look(self, faulty, helper, what, leaves_children=False):
        request = self.request_for(helper)
        expected = {"error": {DECODER: "No Image", READER: "No Metadata"}[helper]}
        with faulty as server:
            self.answers_right(server)
            self.answers_right(server)
            self.wait_until_gone(server)
            # A leak has more descriptors open after each request. What the server opens once, as the sockets of DNS-SD some
            # seconds after its start, and what is open for a moment are none.
            for _ in range(3):
                base = self.open_in(server)
                outcome = faultserver.ask_once(server.port, moxteltest.request(request[0], **request[1]))
                self.assertEqual([keyedarchive.decode(frame) for frame in outcome.frames], [expected])
                self.answers_right(server)
                self.wait_until_gone(server)
                leaked = faultserver.difference(self.open_in(server), base).get("too many", [])
                if not leaked:
                    break
            self.assertEqual(leaked, [])
            if not leaves_children:
                moxteltest.wait_for(lambda: not self.children_of(server), "the helper to be gone")
            for child in self.children_of(server):
                os.kill(child, signal.SIGKILL)
            scratch = [name for name in os.listdir(server.home) if name.startswith("moxtel-")]
            self.assertEqual(scratch, [], "folders left behind")
        self.rows.append((helper, what, expected["error"]))

    def all_hang_at_once(self, helper):
        """Runs all hanging helpers in parallel, so that the test waits for only one time limit."""
        problems = []

        def run(server, what):
            try:
                self.look(server, helper, what)
            except Exception as problem:
                problems.append("%s %s: %s" % (helper, what, problem))
        # All are written before the first server starts: a file that any process still has open for writing cannot
        # be executed.
        threads = [threading.Thread(target=run, args=(FaultyHelpers(self.library, {helper: script}), what))
                   for what, script in HANGS.items()]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(problems, [])

    def test_helpers_that_crash(self):
        for helper in (DECODER, READER):
            for what, script in DEATHS.items():
                with self.subTest(helper=helper, what=what):
                    self.check_with(helper, what, script, "leaves a child" in what)

    def hangs(self, helper, end):
        """Calls end(server, client) while a helper hangs for the client, and waits until the helper is gone."""
        command, keys = self.request_for(helper)
        with FaultyHelpers(self.library, {helper: HANGS["hangs"]}) as server:
            client = moxteltest.Client(server)
            client.send(command, **keys)
            moxteltest.wait_for(lambda: self.children_of(server), "the helper to start")
            helpers = set(self.children_of(server))
            started = time.monotonic()
            end(server, client)
            moxteltest.wait_for(lambda: not helpers & set(self.children_of(server)), "the helper to be gone")
            client.socket.close()
            # Much less than the helper's time limit.
            self.assertLess(time.monotonic() - started, 9)
            if server.is_running():
                self.answers_right(server)

    def reset(self, _, client):
        client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        client.socket.close()

    def close(self, _, client):
        client.socket.close()

    def disconnect(self, server, _):
        os.kill(server.pid(), signal.SIGUSR1)

    def terminate(self, server, _):
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.process.wait(SECONDS_TO_END), 0)

    def test_a_helper_ends_with_its_client_and_with_the_server(self):
        for helper in (DECODER, READER):
            for end in (self.reset, self.close, self.disconnect, self.terminate):
                with self.subTest(helper=helper, end=end.__name__):
                    self.hangs(helper, end)

    def test_a_copier_ends_with_the_server(self):
        library = self.folder / "Copied"
        shutil.copytree(self.library, library)
        database = library / "Database/apdb/Library.apdb"
        with sqlite3.connect(database) as connection:
            connection.execute("PRAGMA journal_mode = WAL")
        connection.close()
        server = FaultyHelpers(library, {COPIER: HANGS["hangs"]}, wait=False)
        with server:
            moxteltest.wait_for(lambda: self.children_of(server), "the copier to start")
            self.terminate(server, None)
            self.assertEqual(self.children_of(server), [])

    def test_the_server_ends_while_a_database_is_busy(self):
        library = self.folder / "Busy"
        shutil.copytree(self.library, library)
        writers = [sqlite3.connect(library / "Database/apdb" / name, isolation_level=None)
                   for name in ("Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db")]
        for writer in writers:
            writer.execute("BEGIN EXCLUSIVE")
        with moxteltest.Server(library, wait=False) as server:
            moxteltest.wait_for(lambda: "Running app" in server.console(), "the server to start")
            self.terminate(server, None)
        for writer in writers:
            writer.close()

    def test_a_reader_that_hangs(self):
        self.all_hang_at_once(READER)

    def test_a_reader_with_endless_output(self):
        self.check_with(READER, "answers without an end", "exec yes")

    @unittest.skipUnless(faultserver.IS_FULL, "waits for a minute")
    def test_a_decoder_that_hangs(self):
        self.all_hang_at_once(DECODER)


if __name__ == "__main__":
    unittest.main()
