"""Sets the system clock back, far back and forward while the server runs."""

import time
import unittest

import faultserver
import moxteltest
from faultserver import FaultTestCase, PreloadedServer

DAY = 86400
SHIFTS = {"an hour back": -3600, "a day back": -DAY, "thirty years back": -30 * 365 * DAY,
          "before 1970": -70 * 365 * DAY, "a minute forth": 60, "thirty years forth": 30 * 365 * DAY,
          "past 2106": 90 * 365 * DAY}


class Clock(FaultTestCase):
    def setUp(self):
        self.server = self.start(PreloadedServer(self.library, *moxteltest.EVERY_LINE))

    def tearDown(self):
        self.server.control["clock_shift"] = 0

    def databases_are_open(self):
        return any(path.endswith(".apdb") for path in self.open_in(self.server))

    def test_set_between_requests(self):
        for what, seconds in SHIFTS.items():
            with self.subTest(what):
                self.server.control["clock_shift"] = seconds
                self.assertIn(time.strftime("%Y", time.gmtime(time.time() + seconds)), self.line_of_log())
                self.is_sound(self.server)
                self.server.control["clock_shift"] = 0
                self.is_sound(self.server)
                self.rows.append((what, "between requests"))

    def line_of_log(self):
        """Checks that the newest log line has the clock's new time."""
        with moxteltest.Client(self.server) as client:
            self.assertEqual(client.result("Get Version"), "1.4")
        return self.server.log().strip().splitlines()[-1]

    def test_set_while_a_client_is_connected(self):
        with moxteltest.Client(self.server) as client:
            for what, seconds in SHIFTS.items():
                self.server.control["clock_shift"] = seconds
                self.assertEqual(client.result("Get Version"), "1.4")
                albums = client.result("Get Albums")
                self.assertTrue(albums)
                self.rows.append((what, "while a client is connected"))
        self.server.control["clock_shift"] = 0
        self.is_sound(self.server)

    def test_timers_still_fire(self):
        """The server closes its databases some seconds after the last request, and checks for applications every
        second, whatever the system clock says."""
        for what in ("a day back", "thirty years forth"):
            with self.subTest(what):
                self.answers_right(self.server)
                self.assertTrue(self.databases_are_open())
                self.server.control["clock_shift"] = SHIFTS[what]
                moxteltest.wait_for(lambda: not self.databases_are_open(), "the databases to be closed")
                self.server.control["clock_shift"] = 0
                self.is_sound(self.server)
                self.rows.append((what, "while it waits to close the databases"))


if __name__ == "__main__":
    unittest.main()
