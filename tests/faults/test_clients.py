"""Clients that are killed at every point of a request or a reply."""

import socket
import struct
import unittest

import faultserver
import moxteltest
from faultserver import FaultTestCase, PlainServer, Requests

LENGTH = 4  # bytes of the length before a reply
# The backlog's length: the kernel makes further clients retry after a second.
QUEUE = 4


def reset(connection):
    """Resets the connection, as the kernel does when a client is killed with unread bytes."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def leave(connection):
    connection.close()


class Clients(FaultTestCase):
    def setUp(self):
        self.server = self.start(PlainServer(self.library, *moxteltest.EVERY_LINE))

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.server.port), timeout=faultserver.PATIENCE)
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return connection

    def receive(self, connection, count):
        while count > 0:
            chunk = connection.recv(min(count, 1 << 20))
            self.assertTrue(chunk, "the server ended the connection")
            count -= len(chunk)

    def die_while_asking(self, data, count, die):
        connection = self.connect()
        connection.sendall(data[:count])
        die(connection)

    def die_while_listening(self, data, count, die):
        connection = self.connect()
        connection.sendall(data)
        self.receive(connection, count)
        die(connection)

    def test_killed_within_each_request_and_reply(self):
        for request in self.requests.all:
            name = Requests.name(request)
            data = moxteltest.request(request[0], **request[1])
            reply = sum(LENGTH + len(frame) for frame in self.expected[name])
            with self.subTest(request=name):
                deaths = 0
                for die in (leave, reset):
                    for count in range(0, len(data) + 1, 1 if faultserver.IS_FULL else 16):
                        self.die_while_asking(data, count, die)
                        deaths += 1
                        if deaths % QUEUE == 0:
                            self.answers_right(self.server)
                    self.is_sound(self.server)
                    within = {0, 1, 2, 3, 4, 5, LENGTH + 100, reply // 2, reply - 1, reply}
                    for count in sorted(count for count in within if count <= reply):
                        self.die_while_listening(data, count, die)
                        self.is_sound(self.server)
                        deaths += 1
                self.rows.append((name, len(data), reply, deaths))

    def test_many_are_killed_while_they_wait_to_be_served(self):
        data = moxteltest.request("Photos of Album", id="allPhotosAlbum")
        with moxteltest.Client(self.server) as first:
            self.assertEqual(first.result("Get Version"), "1.4")
            waiting = [self.connect() for _ in range(QUEUE)]
            for connection in waiting:
                connection.sendall(data)
            for connection in waiting[::2]:
                reset(connection)
            for connection in waiting[1::2]:
                leave(connection)
            self.assertEqual(first.result("Get Version"), "1.4")
        self.is_sound(self.server)
        self.rows.append(("all, while they wait in the queue", len(data), 0, len(waiting)))

    def test_connections_reset_before_they_are_accepted(self):
        deaths = 0
        for die in (leave, reset):
            for _ in range(25):
                waiting = [self.connect() for _ in range(QUEUE)]
                for connection in waiting:
                    die(connection)
                self.is_sound(self.server)
                deaths += len(waiting)
        self.rows.append(("none: connected only", 0, 0, deaths))


if __name__ == "__main__":
    unittest.main()
