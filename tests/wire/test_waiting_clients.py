"""Several clients at once. The sockets of untrusted peers come from other loopback addresses. With MOXTEL_SIEGE=N, N
honest requests are made one after the other while 30 silent sockets connect again and again; this takes up to a minute
for each."""

import os
import selectors
import socket
import threading
import time
import unittest

from moxteltest import Client, Closed, LibraryTestCase, Server, wait_for

SIEGE = int(os.environ.get("MOXTEL_SIEGE", "0"))
ADDRESSES = ["127.0.0.%d" % number for number in range(11, 16)]
SOCKETS = 30
BOUND = 60  # seconds: the current turn of ten and one of ten for each of the other addresses, and what replies take


def connect(server, address):
    peer = socket.socket()
    peer.bind((address, 0))
    peer.settimeout(90)
    peer.connect(("127.0.0.1", server.port))
    return peer


class ClientFrom(Client):
    """A client with another address."""

    def __init__(self, server, address):
        self.server = server
        self.socket = connect(server, address)
        self.port = self.socket.getsockname()[1]


class Besiegers(threading.Thread):
    """Silent sockets, each of which connects again when the server has closed it."""

    def __init__(self, server):
        super().__init__()
        self.server = server
        self.over = threading.Event()
        self.closed = 0

    def run(self):
        with selectors.DefaultSelector() as waiting:
            for number in range(SOCKETS):
                self.add(waiting, ADDRESSES[number % len(ADDRESSES)])
            while not self.over.is_set():
                for key, _ in waiting.select(0.2):
                    waiting.unregister(key.fileobj)
                    key.fileobj.close()
                    self.closed += 1
                    self.add(waiting, key.data)
                # The machine is for the server, not for connecting as fast as possible.
                self.over.wait(0.05)
            for key in list(waiting.get_map().values()):
                key.fileobj.close()

    def add(self, waiting, address):
        waiting.register(connect(self.server, address), selectors.EVENT_READ, address)


class WaitingClients(LibraryTestCase):
    options = ("--images", "none", "--photos", "10")

    def test_a_silent_client_does_not_keep_others_out(self):
        with Server(self.library) as server, ClientFrom(server, ADDRESSES[0]) as silent:
            wait_for(lambda: "Connected to Moxtel" in server.console(), "the silent client to be served")
            with Client(server, patience=60) as client:
                self.assertEqual(client.result("Get Version"), "1.4")
            self.assertEqual(silent.socket.recv(1), b"")
            wait_for(lambda: server.console().count("Lost connection to Moxtel on") == 2, "both to be reported")

    def test_a_phone_that_lost_its_network_replaces_its_own_connection(self):
        with Server(self.library) as server, Client(server) as lost:
            self.assertEqual(lost.result("Get Version"), "1.4")
            with Client(server, patience=60) as again:
                self.assertEqual(again.result("Get Version"), "1.4")
            self.assertRaises(Closed, lost.receive)

    def test_only_allowed_clients_are_served(self):
        with Server(self.library, "-AllowedClients", "127.0.0.12/30, 192.168.1.0/24") as server:
            with Client(server) as other:
                self.assertEqual(other.socket.recv(1), b"")
            with ClientFrom(server, "127.0.0.13") as allowed:
                self.assertEqual(allowed.result("Get Version"), "1.4")
            wait_for(lambda: server.console().count("Connected to") == 1, "the client to be reported")

    @unittest.skipUnless(SIEGE, "takes minutes; set MOXTEL_SIEGE")
    def test_honest_requests_are_answered_under_siege(self):
        with Server(self.library) as server:
            besiegers = Besiegers(server)
            besiegers.start()
            try:
                wait_for(lambda: besiegers.closed > 10, "the peers to be turned away")
                waits = []
                for _ in range(SIEGE):
                    start = time.monotonic()
                    with Client(server, patience=90) as client:
                        self.assertEqual(client.result("Get Version"), "1.4")
                    waits.append(time.monotonic() - start)
                    print("answered after %.1f s" % waits[-1], flush=True)
                    self.assertLess(waits[-1], BOUND)
            finally:
                besiegers.over.set()
                besiegers.join()
            print("%d of %d answered; the longest wait was %.1f s" % (len(waits), SIEGE, max(waits)))
            self.assertEqual(len(waits), SIEGE)


if __name__ == "__main__":
    unittest.main()
