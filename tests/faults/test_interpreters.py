"""Script interpreters that hang, crash or write invalid output.

A process of this test has the name of a photo application, which every other server on the machine would see. Where
possible, the test therefore runs in its own process namespace."""

import os
import pathlib
import shlex
import shutil
import signal
import sqlite3
import subprocess
import unittest

import faultserver
import keyedarchive
import moxteltest
from faultserver import FaultTestCase, PlainServer


class Interpreters(FaultTestCase):
    """A script interpreter, and a running process with the name of a photo application."""

    DEATHS = {
        "ends at once with success": "cat >/dev/null; exit 0",
        "does not read its script": "exit 0",
        "ends with an error": "cat >/dev/null; echo 'no' >&2; exit 1",
        "kills itself": "kill -KILL $$",
        "crashes": "kill -SEGV $$",
        "answers nonsense": "cat >/dev/null; head -c 100000 /dev/urandom",
        "writes without an end": "exec yes",
        "cannot be started": None,
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        database = sqlite3.connect("file:%s?mode=ro" % (cls.library / "Database/apdb/Library.apdb"), uri=True)
        (cls.smart,) = database.execute("SELECT uuid FROM RKAlbum WHERE name='Best rated'").fetchone()
        database.close()

    def setUp(self):
        # The server looks only at the process name.
        application = self.folder / "iPhoto"
        if not application.exists():
            shutil.copy2(shutil.which("sleep"), application)
        self.application = subprocess.Popen([str(application), "1000"])
        self.addCleanup(self.application.wait)
        self.addCleanup(self.application.kill)

    def server_with(self, script):
        path = self.folder / "interpreter"
        faultserver.put_program(path, script)
        return PlainServer(self.library, "-ScriptInterpreter", shlex.quote(str(path)))

    def look(self, server, request):
        outcome = faultserver.ask_once(server.port, moxteltest.request(request[0], **request[1]))
        self.assertEqual(len(outcome.frames), 1)
        return keyedarchive.decode(outcome.frames[0])

    def hanging(self):
        return "cat >/dev/null; [ -e %s ] || exit 0; exec sleep 1000" % (self.folder / "hang")

    def test_interpreters_that_crash(self):
        for what, script in self.DEATHS.items():
            with self.subTest(what), self.server_with(script) as server:
                self.assertIn("Running app: iPhoto", server.console())
                for _ in range(2):
                    self.assertEqual(self.look(server, ("Photos of Album", {"id": self.smart})), {"result": []})
                    gps = {"key": self.requests.jpeg, "latitude": 1, "longitude": 2}
                    self.assertEqual(self.look(server, ("Set GPS of Photo", gps)),
                                     {"result": "Set GPS to 1.000000/2.000000"})
                    self.assertEqual(self.look(server, ("Get Version", {})), {"result": "1.4"})
                self.wait_until_gone(server)
                before = self.open_in(server)
                for _ in range(5):
                    self.look(server, ("Photos of Album", {"id": self.smart}))
                self.wait_until_gone(server)
                # Every five seconds the server runs the interpreter, and tries DNS-SD where it is missing.
                moxteltest.wait_for(lambda: "too many" not in faultserver.difference(self.open_in(server), before),
                                    "the descriptors to be those of before")
                self.rows.append(("interpreter", what, "an empty list"))

    def test_an_interpreter_that_hangs_and_is_killed(self):
        with self.server_with(self.hanging()) as server:
            (self.folder / "hang").touch()
            with moxteltest.Client(server) as client:
                client.send("Photos of Album", id=self.smart)
                hanging = moxteltest.wait_for(lambda: self.children(server), "the interpreter to hang")
                (self.folder / "hang").unlink()
                for child in hanging:
                    os.kill(child, signal.SIGKILL)
                self.assertEqual(client.receive(), {"result": []})
                self.assertEqual(client.result("Get Version"), "1.4")
            self.rows.append(("interpreter", "hangs and is killed", "an empty list"))

    @unittest.skipUnless(faultserver.IS_FULL, "waits for two minutes")
    def test_an_interpreter_that_hangs_times_out(self):
        with self.server_with(self.hanging()) as server:
            (self.folder / "hang").touch()
            with moxteltest.Client(server, 180) as client:
                self.assertEqual(client.result("Photos of Album", id=self.smart), [])
                (self.folder / "hang").unlink()
                self.assertEqual(client.result("Get Version"), "1.4")
            moxteltest.wait_for(lambda: not self.children(server), "the interpreter to be gone")
            self.rows.append(("interpreter", "hangs for good", "an empty list after its two minutes"))

    @staticmethod
    def children(server):
        """The child processes of the server that run sleep."""
        found = []
        for process in pathlib.Path("/proc").iterdir():
            try:
                status = (process / "stat").read_text() if process.name.isdigit() else ""
            except OSError:
                continue
            if status and status.rsplit(")", 1)[1].split()[1] == str(server.pid()) and "(sleep)" in status:
                found.append(int(process.name))
        return found


if __name__ == "__main__":
    faultserver.enter_namespaces("--pid", "--fork", "--kill-child", "--mount", "--mount-proc")
    unittest.main()
