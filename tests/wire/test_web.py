"""The page for browsers over real sockets: hostile hosts, methods, headers and bodies, slow clients, ranges, the login and
its limits, cookies."""

import contextlib
import gzip
import os
import pathlib
import re
import shutil
import signal
import socket
import tempfile
import time
import unittest

import moxteltest


def setUpModule():
    global FOLDER, LIBRARY
    FOLDER = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
    LIBRARY = moxteltest.make_library(FOLDER / "Library", "--photos", 3, "--seed", 7)


def tearDownModule():
    shutil.rmtree(FOLDER)


class Reply:
    def __init__(self, status, fields, body):
        self.status, self.fields, self.body = status, fields, body

    def __getitem__(self, name):
        return dict(self.fields).get(name.lower())


class Connection:
    """One connection; bytes are sent as they are."""

    def __init__(self, port, source=None):
        self.socket = socket.create_connection(("127.0.0.1", port), moxteltest.PATIENCE,
                                               (source, 0) if source else None)
        self.file = self.socket.makefile("rb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.file.close()
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data if isinstance(data, bytes) else data.encode())

    def ask(self, target, method="GET", body="", host="localhost", **fields):
        lines = ["%s %s HTTP/1.1" % (method, target)] + (["Host: " + host] if host is not None else [])
        lines += ["%s: %s" % (name.replace("_", "-"), value) for name, value in fields.items()]
        lines += ["Content-Length: %d" % len(body)] if body else []
        self.send("\r\n".join(lines) + "\r\n\r\n" + body)
        return self.reply(method)

    def reply(self, method="GET"):
        """The next reply; None if the connection has ended."""
        first = self.file.readline()
        if not first:
            return None
        status = int(first.split()[1])
        fields = []
        for line in iter(self.file.readline, b"\r\n"):
            name, _, value = line.decode("latin-1").partition(":")
            fields.append((name.lower(), value.strip()))
        length = int(dict(fields).get("content-length", 0))
        return Reply(status, fields, b"" if method == "HEAD" or status == 304 else self.file.read(length))

    def rest(self):
        """Everything until the other side ends the connection."""
        try:
            return self.file.read()
        except ConnectionResetError:
            return b""


class WebTest(unittest.TestCase):
    def start(self, *arguments, **options):
        self.port = moxteltest.free_port()
        self.server = moxteltest.Server(LIBRARY, *arguments, web_port=self.port, **options)
        self.server.__enter__()
        self.addCleanup(self.server.__exit__, None)
        moxteltest.wait_for(lambda: "page for browsers" in self.server.console(), "the page")

    def key_file(self):
        return self.server.home / "config/MoxtelServer/web-access"

    def key(self):
        return self.key_file().read_text().split()[0]

    def digits(self):
        return self.key_file().read_text().split()[1]

    def connect(self, source=None):
        connection = Connection(self.port, source)
        self.addCleanup(connection.__exit__)
        return connection

    def ask(self, target, method="GET", **options):
        with Connection(self.port) as connection:
            return connection.ask(target, method, **options)

    def bearer(self):
        return {"Authorization": "Bearer " + self.key()}


class Access(WebTest):
    def setUp(self):
        self.start()

    def test_console_names_address_and_digits(self):
        self.assertRegex(self.server.console(),
                         r"Info:  The page for browsers: http://[\d.]+:%d/.*, six digits %s\n" % (self.port, self.digits()))
        self.assertNotIn(self.key(), self.server.console())
        self.assertNotIn("\x1b", self.server.console())  # the QR code is for terminals

    def test_key_is_for_this_user_alone(self):
        self.assertEqual(self.key_file().stat().st_mode & 0o777, 0o600)

    def test_without_key_only_the_form_is_shown(self):
        reply = self.ask("/")
        self.assertEqual((reply.status, reply["Location"]), (303, "/login"))
        form = self.ask("/login")
        self.assertEqual(form.status, 200)
        self.assertIn(b'name="digits"', form.body)
        for target in ("/api/1/libraries", "/l/abcdefgh/thumb/1", "/l/abcdefgh/zip/all", "/nothing", "/in"):
            reply = self.ask(target)
            self.assertEqual((reply.status, reply.body), (401, b'{"error":"key"}'), target)

    def test_key_in_the_address_admits_a_device(self):
        reply = self.ask("/in/" + self.key())
        self.assertEqual((reply.status, reply["Location"]), (303, "/"))
        cookie = reply["Set-Cookie"]
        self.assertEqual(cookie, "moxtel-%d=%s; Path=/; Max-Age=31536000; HttpOnly; SameSite=Lax" % (self.port, self.key()))
        self.assertNotEqual(self.ask("/api/1/libraries", Cookie=cookie.split(";")[0]).status, 401)
        self.assertEqual(self.ask("/in/" + "a" * 20)["Set-Cookie"], None)

    def test_digits_admit_a_device(self):
        reply = self.ask("/login", "POST", body="digits=" + self.digits())
        self.assertEqual(reply.status, 303)
        self.assertIn(self.key(), reply["Set-Cookie"])

    def test_wrong_digits_are_limited_by_address(self):
        wrong = "000000" if self.digits() != "000000" else "000001"
        connection = self.connect("127.0.0.2")
        for _ in range(10):
            self.assertEqual(connection.ask("/login", "POST", body="digits=" + wrong).status, 403)
        self.assertEqual(connection.ask("/login", "POST", body="digits=" + self.digits()).status, 429)
        self.assertEqual(self.ask("/login", "POST", body="digits=" + self.digits()).status, 303)

    def test_wrong_digits_are_limited_in_all(self):
        wrong = "000000" if self.digits() != "000000" else "000001"
        for address in range(10):
            connection = self.connect("127.0.1.%d" % (address + 1))
            for _ in range(10):
                self.assertEqual(connection.ask("/login", "POST", body="digits=" + wrong).status, 403)
        self.assertEqual(self.ask("/login", "POST", body="digits=" + self.digits()).status, 429)
        # Those who are admitted do not notice.
        self.assertEqual(self.ask("/check", **self.bearer()).status, 200)

    def test_a_restart_keeps_devices_in(self):
        key = self.key()
        home = self.server.home
        with moxteltest.Server(LIBRARY, web_port=moxteltest.free_port(),
                               environment={"XDG_CONFIG_HOME": str(home / "config")}) as second:
            port = int(second.arguments[second.arguments.index("-WebPort") + 1])
            moxteltest.wait_for(lambda: "page for browsers" in second.console(), "the page")
            with Connection(port) as connection:
                self.assertEqual(connection.ask("/", Cookie="moxtel-%d=%s" % (port, key)).status // 100 in (2, 3), True)


class Hostile(WebTest):
    def setUp(self):
        self.start()

    def test_other_hosts_are_refused(self):
        for host in ("evil.example", "localhost.evil.example", "", None, "[::1]", "127.0.0.2", "localhost:x", "a" * 300):
            reply = self.ask("/login", host=host, **self.bearer())
            self.assertIn(reply.status, (400, 403), host)
            self.assertNotIn(b"digits", reply.body)
        self.assertEqual(self.ask("/login", host="127.0.0.1:%d" % self.port).status, 200)

    def test_forwarded_fields_of_clients_do_not_count(self):
        reply = self.ask("/login", host="evil.example", X_Forwarded_Host="localhost", X_Forwarded_For="127.0.0.1")
        self.assertEqual(reply.status, 403)

    def test_other_methods_are_refused(self):
        for method in ("POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "CONNECT", "PROPFIND", "X"):
            with Connection(self.port) as connection:
                connection.send("%s / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n" % method)
                self.assertRegex(connection.rest()[:12], rb"HTTP/1.1 (400|405|501)", method)

    def test_malformed_requests_end_or_are_refused(self):
        for data in (b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/9.9\r\nHost: localhost\r\n\r\n", b"\0" * 100,
                     b"GET / HTTP/1.1\r\nHost localhost\r\n\r\n", b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
                     b"GET http://localhost/ HTTP/1.1\r\nHost: localhost\r\n\r\n",
                     b"GET /%00 HTTP/1.1\r\nHost: localhost\r\n\r\n", b"GET /../etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n",
                     b"GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost: localhost\r\nHost: localhost\r\n\r\n",
                     b"GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 5\r\n\r\nhello",
                     b"GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: -1\r\n\r\n",
                     b"POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 99999999999999999999\r\n\r\n",
                     b"POST /login HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                     b"GET /" + b"a" * 40000 + b" HTTP/1.1\r\nHost: localhost\r\n\r\n"):
            with Connection(self.port) as connection:
                connection.send(data)
                with contextlib.suppress(OSError):  # the server may have ended the connection
                    connection.socket.shutdown(socket.SHUT_WR)
                self.assertNotRegex(connection.rest()[:12], rb"HTTP/1.1 2", data[:60])
        self.assertEqual(self.ask("/login").status, 200)

    def test_a_tls_hello_ends_at_once(self):
        with Connection(self.port) as connection:
            connection.send(b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + os.urandom(500))
            self.assertEqual(connection.rest(), b"")

    def test_silent_clients_do_not_keep_others_waiting(self):
        silent = [self.connect("127.0.2.%d" % (i % 20 + 1)) for i in range(200)]
        for connection in silent[::2]:
            connection.send("GET / HTTP/1.1\r\nHost: loc")
        self.assertEqual(self.ask("/login").status, 200)

    def test_many_connections_of_one_address_are_limited(self):
        connections = []
        for _ in range(100):
            connection = self.connect()
            connection.send("GET / HTTP/1.1\r\nHost: loc")
            connections.append(connection)
        with Connection(self.port, "127.0.0.9") as other:
            self.assertEqual(other.ask("/login").status, 200)
        moxteltest.wait_for(lambda: sum(map(self.has_ended, connections)) >= 100 - 64, "connections to end")

    def test_more_connections_than_the_usual_number_of_files(self):
        self.start("-WebAccess", "open", prefix=("prlimit", "--nofile=100:4096"))
        connections = [self.connect("127.0.0.%d" % (9 + i % 5)) for i in range(150)]
        for connection in connections:
            self.assertEqual(connection.ask("/login").status, 200)

    @staticmethod
    def has_ended(connection):
        connection.socket.settimeout(0)
        try:
            return connection.socket.recv(1, socket.MSG_PEEK) == b""
        except ConnectionResetError:
            return True
        except BlockingIOError:
            return False

    def test_stops_with_clients_in_every_state(self):
        self.connect()
        self.connect().send("GET / HTTP/1.1\r\nHost: loc")
        self.connect().ask("/login")
        self.server.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.server.process.wait(10), 0)


class Files(WebTest):
    def setUp(self):
        self.start("-WebAccess", "open")

    def asset(self):
        page = self.ask("/login").body.decode()
        return re.search(r"/assets/[\w.-]+\.js", page)[0]

    def test_every_reply_is_protected(self):
        for target in ("/login", "/check", self.asset(), "/nothing", "/api/1/libraries", "/%ff"):
            reply = self.ask(target)
            self.assertIn("default-src 'none'", reply["Content-Security-Policy"], target)
            self.assertIn("frame-ancestors 'none'", reply["Content-Security-Policy"])
            self.assertEqual(reply["X-Content-Type-Options"], "nosniff")
            self.assertEqual(reply["Referrer-Policy"], "no-referrer")
            self.assertIsNone(reply["Strict-Transport-Security"])
            self.assertIsNone(reply["Access-Control-Allow-Origin"])

    def test_addresses_without_a_library_are_unknown(self):
        for target in ("/l", "/l/", "/l?x=1"):
            self.assertEqual(self.ask(target).status, 404, target)
        self.assertEqual(self.ask("/login").status, 200)

    def test_the_page_obeys_its_policy(self):
        for target in ("/login", "/check"):
            page = self.ask(target).body.decode()
            self.assertNotRegex(page, r"<script(?![^>]*\bsrc=)|<style|\son\w+=|\sstyle=|javascript:|//[\w.]+\.\w+/")

    def test_assets_are_immutable_and_compressed(self):
        plain = self.ask(self.asset())
        packed = self.ask(self.asset(), Accept_Encoding="gzip, br")
        self.assertEqual(packed["Cache-Control"], "private, max-age=31536000, immutable")
        self.assertEqual(packed["Content-Encoding"], "gzip")
        self.assertEqual(gzip.decompress(packed.body), plain.body)
        self.assertNotEqual(packed["ETag"], plain["ETag"])

    def test_etag_head_and_ranges(self):
        target = "/icons/icon-180.png"
        whole = self.ask(target)
        self.assertEqual(whole["Accept-Ranges"], "bytes")
        size = len(whole.body)
        with Connection(self.port) as connection:
            again = connection.ask(target, If_None_Match=whole["ETag"])
            self.assertEqual((again.status, again.body), (304, b""))
            head = connection.ask(target, "HEAD")
            self.assertEqual((head.status, head["Content-Length"], head.body), (200, str(size), b""))
            two = connection.ask(target, Range="bytes=0-1")
            self.assertEqual((two.status, two.body, two["Content-Range"]), (206, whole.body[:2], "bytes 0-1/%d" % size))
            self.assertEqual(connection.ask(target, Range="bytes=-5").body, whole.body[-5:])
            self.assertEqual(connection.ask(target, Range="bytes=5-").body, whole.body[5:])
            behind = connection.ask(target, Range="bytes=%d-" % size)
            self.assertEqual((behind.status, behind["Content-Range"]), (416, "bytes */%d" % size))
            self.assertEqual(connection.ask(target, Range="bytes=0-1", If_Range='"other"').status, 200)
            self.assertEqual(connection.ask(target, Range="bytes=0-1", If_Range=whole["ETag"]).status, 206)
            for range_ in ("bytes=0-1,3-4", "bytes=2-1", "lines=0-1", "bytes=x"):
                self.assertEqual(connection.ask(target, Range=range_).status, 200)


class Settings(WebTest):
    def test_equal_ports_are_refused(self):
        server = moxteltest.Server(LIBRARY, web_port=None, wait=False)
        server.arguments += ["-WebPort", str(server.port)]
        with self.assertRaisesRegex(AssertionError, "(?s)ended with 2.*needs another port than -Port"):
            with server:
                server.process.wait(moxteltest.PATIENCE)

    def test_a_port_that_is_taken_is_reported(self):
        with socket.socket() as taken:
            taken.bind(("0.0.0.0", 0))
            taken.listen()
            with moxteltest.Server(LIBRARY, web_port=taken.getsockname()[1]) as server:
                moxteltest.wait_for(lambda: "page for browsers cannot listen" in server.console(), "the message")

    def test_the_listen_address_counts_for_the_page(self):
        self.start("-ListenAddress", "127.0.0.1", "-DebugLevel", "0")
        self.assertIn("http://127.0.0.1:%d/" % self.port, self.server.console())
        with self.assertRaises(OSError):
            socket.create_connection(("127.0.0.2", self.port), 5)

    def test_allowed_clients_count_for_the_page(self):
        self.start("-AllowedClients", "127.0.0.1", "-DebugLevel", "0")
        self.assertEqual(self.ask("/login").status, 200)
        with Connection(self.port, "127.0.0.2") as other:
            self.assertEqual(other.rest(), b"")

    def test_a_proxy_is_believed(self):
        self.start("-WebProxy", "127.0.0.1", "-WebHosts", "photos.example.net")
        reply = self.ask("/in/" + self.key(), host="backend", X_Forwarded_Host="photos.example.net",
                         X_Forwarded_For="192.168.7.7", X_Forwarded_Proto="https")
        self.assertIn("; Secure", reply["Set-Cookie"])
        self.assertEqual(self.ask("/login", host="photos.example.net", X_Forwarded_For="8.8.8.8").status, 403)


if __name__ == "__main__":
    unittest.main()
