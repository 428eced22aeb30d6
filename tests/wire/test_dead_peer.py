"""A peer that disappears without closing the connection: the connection slot is free again within a minute, while
silent clients stay connected as long as no other client waits. Uses its own networks. Slow, because it waits for
time-outs of the kernel."""

import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import time
import unittest

import dnssd_hosts
import moxteltest

MINUTE = 60  # seconds
PEER = """
import socket, struct, sys, time
sys.path.insert(0, {folder!r})
import moxteltest
connection = socket.create_connection(({address!r}, {port}), timeout=300)
if {size}:
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
connection.sendall(moxteltest.request({command!r}, **{keys!r}))
received = b""
while len(received) < 4:
    received += connection.recv(4 - len(received))
(length,) = struct.unpack("=I", received)
rest = {size} or length
while rest:
    rest -= len(connection.recv(min(rest, 65536)))
print("answered", length, flush=True)
while {size}:
    connection.recv(16384)
    time.sleep(0.02)
sys.stdin.readline()
"""


class DeadPeer(moxteltest.LibraryTestCase):
    """The server's host with two cables: one to a peer that will disappear, one to a peer that waits to connect."""

    def setUp(self):
        self.hosts = [dnssd_hosts.Host(name) for name in ("server", "gone", "next")]
        for host in self.hosts:
            self.addCleanup(host.end)
        self.home, self.gone, self.next = self.hosts
        dnssd_hosts.connect(self.home, self.gone, 1)
        dnssd_hosts.connect(self.home, self.next, 2)
        for host in self.hosts:
            host.up()
        self.port = 4250
        self.large = self.folder / "Large"
        self.server = self.home.start(moxteltest.program("MOXTEL_SERVER"), "-Port", str(self.port), "-WebPort", "0", "-LibraryPath",
                                      str(self.library_to_serve()))
        self.server.wait_for(lambda line: "Listening on port" in line, moxteltest.PATIENCE)

    def library_to_serve(self):
        """A library with a master that is larger than the socket buffers."""
        if not self.large.exists():
            moxteltest.make_library(self.large, *self.options)
            for master in (self.large / "Masters").rglob("*"):
                if master.is_file():
                    os.truncate(master, 64 << 20)
        return self.large

    def peer(self, host, cable, command, size=0, **keys):
        """Starts a client on a host that sends one request, reads the reply and is then silent. With a size, it prints
        a line after that part of the reply and reads the rest slowly."""
        script = PEER.format(folder=str(pathlib.Path(__file__).resolve().parent), address="10.77.%d.1" % cable,
                             port=self.port, command=command, keys=keys, size=size)
        process = subprocess.Popen(host.inside([sys.executable, "-B", "-c", script]), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, text=True, env=host.environment)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stdin.close)
        return process

    def photo(self):
        """A photo whose master is delivered unchanged."""
        database = sqlite3.connect("file:%s?mode=ro" % (self.large / "Database/apdb/Library.apdb"), uri=True)
        row = database.execute("SELECT v.uuid FROM RKVersion v JOIN RKMaster m ON m.uuid=v.masterUuid WHERE "
                               "v.versionNumber=1 AND v.hasAdjustments=0 AND v.isInTrash=0").fetchone()
        database.close()
        return row[0]

    def seconds_until_served(self, waiting, start):
        line = waiting.stdout.readline()
        self.assertTrue(line.startswith("answered"), "the next client was not served")
        return time.monotonic() - start

    def pull_the_cable(self):
        self.home.down("net1")
        return time.monotonic()

    def frees_the_place(self, peer):
        self.assertTrue(peer.stdout.readline().startswith("answered"))
        waiting = self.peer(self.next, 2, "Get Version")
        start = self.pull_the_cable()
        seconds = self.seconds_until_served(waiting, start)
        print("free after %.0f s" % seconds)
        # The kernel's time-outs decide, so the limit does not depend on the machine's speed.
        self.assertLess(seconds, MINUTE)

    def test_an_idle_client_that_disappears(self):
        self.frees_the_place(self.peer(self.gone, 1, "Get Version"))

    def test_a_client_that_disappears_during_a_reply(self):
        self.frees_the_place(self.peer(self.gone, 1, "Data of Photo", size=1000, key=self.photo()))

    def test_an_idle_client_stays_connected(self):
        """It stays connected longer than a dead peer, and can send another request."""
        host = self.next
        script = """
import sys, time
sys.path.insert(0, {folder!r})
import moxteltest
class Where: port = {port}
import socket
connect = socket.create_connection
socket.create_connection = lambda address, timeout: connect(({address!r}, {port}), timeout=timeout)
with moxteltest.Client(Where) as client:
    for pause in (0, 90):
        time.sleep(pause)
        print("answered", client.result("Get Version"), flush=True)
""".format(folder=str(pathlib.Path(__file__).resolve().parent), port=self.port, address="10.77.2.1")
        done = subprocess.run(host.inside([sys.executable, "-B", "-c", script]), capture_output=True, text=True,
                              env=host.environment, timeout=200, check=False)
        self.assertEqual(done.stdout.split("\n")[:2], ["answered 1.4", "answered 1.4"], done.stderr)

    def test_the_user_disconnects_a_silent_client(self):
        """The user need not wait until the server disconnects a silent client for the next."""
        silent = self.peer(self.gone, 1, "Get Version")
        self.assertTrue(silent.stdout.readline().startswith("answered"))
        waiting = self.peer(self.next, 2, "Get Version")
        self.server.process.send_signal(signal.SIGUSR1)
        self.seconds_until_served(waiting, time.monotonic())


if __name__ == "__main__":
    why = dnssd_hosts.why_not()
    if why:
        print("SKIPPED:", why)
        sys.exit(77)
    unittest.main()
