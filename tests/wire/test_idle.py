"""Idle servers and clients stay connected while no client waits. Slow, because it waits longer than every time-out."""

import time
import unittest

from moxteltest import Client, LibraryTestCase, Server

LONGER_THAN_EVERY_TIMEOUT = 65  # seconds; an idle client has 60 while another waits


class Idle(LibraryTestCase):
    options = ("--images", "none", "--photos", "10")

    def test_an_idle_server_keeps_idle_clients(self):
        with Server(self.library) as unused, Server(self.library) as used:
            with Client(used) as client:
                self.assertEqual(client.result("Get Version"), "1.4")
                time.sleep(LONGER_THAN_EVERY_TIMEOUT)
                self.assertEqual(client.result("Get Version"), "1.4")
                with Client(used) as waiting:
                    client.socket.close()
                    self.assertEqual(waiting.result("Get Version"), "1.4")
            with Client(unused) as client:
                self.assertEqual(client.result("Get Version"), "1.4")


if __name__ == "__main__":
    unittest.main()
