"""Five thousand projects that each need a script: with an interpreter that answers, one that hangs, and one that
takes a second per script. Takes minutes: the server's limit for scripts is two minutes."""

import shlex
import time
import unittest

import moxteltest
from test_photo_application import BASE, PhotoApplicationTestCase

PROJECTS = 5000
LISTENS_WITHIN = 180  # seconds until the server listens, whatever the interpreter does

# A shell script, because it starts faster than Python. Each project's key photo has the project's number.
INTERPRETER = """#!/bin/sh
read -r script
case "$script" in
*"application process") echo '{"Finder"}'; exit ;;
esac
echo "${script##* }" >> '%s/asked'
%s
echo "${script##* }"
"""


class ManyProjects(PhotoApplicationTestCase):
    def serve(self, delay):
        """Starts a server whose interpreter runs a command before it answers. Returns the server and the seconds
        until it listened."""
        self.numbers = list(self.add_projects(PROJECTS))
        path = self.folder / "interpreter"
        path.write_text(INTERPRETER % (self.folder, delay))
        path.chmod(0o700)
        self.interpreter = shlex.join([str(path)])
        server = self.server()
        server.wait = False
        started = time.monotonic()
        server.__enter__()
        self.addCleanup(server.__exit__, None)
        moxteltest.wait_for(server.is_listening, "the server to listen", LISTENS_WITHIN)
        print("%d projects, each asked with '%s': listens after %.1f s" %
              (PROJECTS, delay, time.monotonic() - started), flush=True)
        return server

    def slow(self):
        """The file that makes the interpreter slow while it exists."""
        slow = self.folder / "slow"
        slow.touch()
        return slow

    def asked(self):
        """The model ids in the order of the scripts; the library's own albums come first."""
        return [int(line) - BASE for line in (self.folder / "asked").read_text().splitlines()]

    def key_photos(self, server):
        with moxteltest.Client(server) as client:
            events = {event["AlbumId"]: event.get("KeyPhotoKey") for event in client.result("Get Events")}
        return [events["project %d" % number] for number in self.numbers]

    def test_get_one_script_each(self):
        server = self.serve(":")
        self.assertEqual([number for number in self.asked() if number >= self.numbers[0]], self.numbers)
        self.assertEqual(self.key_photos(server), [str(BASE + number) for number in self.numbers])
        self.assertNotIn("may be missing", server.console())

    def test_are_served_while_the_interpreter_hangs(self):
        slow = self.slow()
        server = self.serve("[ ! -e %s ] || sleep 600" % slow)
        self.assertEqual(len(self.asked()), 1)
        self.assertEqual(server.console().count("may be missing: The script interpreter did not answer in time"), 1)
        slow.unlink()
        # The list without key photos was not cached.
        self.assertEqual(self.key_photos(server), [str(BASE + number) for number in self.numbers])

    def test_are_served_with_a_slow_interpreter(self):
        slow = self.slow()
        server = self.serve("[ ! -e %s ] || sleep 1" % slow)
        asked = [number for number in self.asked() if number >= self.numbers[0]]
        self.assertGreater(len(asked), 1)
        self.assertLess(len(asked), LISTENS_WITHIN)
        self.assertEqual(asked, self.numbers[:len(asked)])
        self.assertEqual(server.console().count("may be missing: The script interpreter is too slow: it ran "), 1)
        slow.unlink()
        self.assertEqual(self.key_photos(server), [str(BASE + number) for number in self.numbers])


if __name__ == "__main__":
    unittest.main()
