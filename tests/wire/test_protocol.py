"""The connection: untrusted peers, malformed requests, clients that disconnect, and libraries without write access."""

import os
import pathlib
import plistlib
import random
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import time
import unittest

import keyedarchive
import moxteltest
from moxteltest import Client, Server, request, wait_for

LARGEST_REQUEST = 4096
BAD_DICTIONARY = "Bad commandDict: "
HOSTILE_TEXTS = ("'", "''", "' OR '1'='1", "'; DROP TABLE RKVersion; --", "\0", "a\0b", "%@", "%s%s%s%n", "%", "%%", "\"",
                 "\\", "é", "🙂", "x" * 3500, "../../../etc/passwd", "(null)")


def request_of_size(size, command="Get Version"):
    """A request archive of exactly this many bytes."""
    padding = size - len(request(command, padding="x" * 1000)) + 1000
    data = request(command, padding="x" * padding)
    assert len(data) == size, len(data)
    return data


class Protocol(moxteltest.LibraryTestCase):
    def setUp(self):
        self.server = Server(self.library)
        self.enterContext(self.server)

    def client(self):
        client = Client(self.server)
        self.addCleanup(client.socket.close)
        return client

    def still_serves(self):
        """Checks that the server runs and answers a new client."""
        self.assertTrue(self.server.is_running())
        with Client(self.server) as client:
            self.assertEqual(client.result("Get Version"), "1.4")

    # Requests

    def test_version(self):
        self.assertEqual(self.client().result("Get Version"), "1.4")

    def test_envelope_is_an_immutable_dictionary_with_one_entry(self):
        envelope = self.client().ask("Get Version")
        self.assertEqual(dict(envelope), {"result": "1.4"})
        self.assertFalse(envelope.is_mutable)

    def test_compares_every_letter_of_a_command(self):
        client = self.client()
        for command in ("get version", "Get Version ", "GET VERSION", "", "%@%s%n", "é🙂", "a'b", "x" * 3000):
            self.assertEqual(client.error(command), "Command '%s' was not handled" % command)

    def test_a_request_may_be_an_xml_archive(self):
        client = self.client()
        client.send_bytes(keyedarchive.encode({"command": "Get Version"}, plistlib.FMT_XML))
        self.assertEqual(client.receive(), {"result": "1.4"})

    def test_accepts_a_request_of_4096_bytes(self):
        client = self.client()
        client.send_bytes(request_of_size(LARGEST_REQUEST))
        self.assertEqual(client.receive(), {"result": "1.4"})

    def test_rejects_a_request_of_4097_bytes(self):
        client = self.client()
        client.send_bytes(request_of_size(LARGEST_REQUEST + 1))
        client.expect_silence()

    def test_a_request_in_two_parts_gets_no_reply(self):
        client = self.client()
        data = request("Get Version")
        client.send_bytes(data[:50])
        client.wait_until_read()
        client.send_bytes(data[50:])
        client.expect_silence()

    def test_two_requests_in_one_read_count_as_at_most_one(self):
        client = self.client()
        slow = request("Photos of Album", id="allPhotosAlbum")
        client.send_bytes(slow)
        client.receive()
        # Sent with one call, both arrive in one segment and are read together.
        client.send_bytes(request("Get Version") + request("Get Version"))
        client.wait_until_read()
        self.assertEqual(client.ask("Nothing"), {"error": "Command 'Nothing' was not handled"})

    def test_malformed_requests_get_no_reply(self):
        client = self.client()
        for data in (b"x", b"\0" * 100, b"bplist00", request("Get Version")[:-1], b"<?xml version=\"1.0\"?><plist>",
                     keyedarchive.encode("Get Version"), keyedarchive.encode(["command", "Get Version"]),
                     keyedarchive.encode({}), keyedarchive.encode({"Command": "Get Version"}),
                     keyedarchive.encode({"command": 12}), keyedarchive.encode({"command": ["Get Version"]}),
                     keyedarchive.encode({"command": None}), keyedarchive.encode(None)):
            with self.subTest(data=data[:60]):
                client.send_bytes(data)
                client.expect_silence()

    def test_a_dictionary_without_a_command_is_logged(self):
        client = self.client()
        client.send_bytes(keyedarchive.encode({"id": "x"}))
        client.expect_silence()
        self.assertIn(BAD_DICTIONARY, self.server.log())

    def test_does_not_log_malformed_requests_as_dictionaries(self):
        client = self.client()
        client.send_bytes(b"not an archive")
        client.expect_silence()
        self.assertNotIn(BAD_DICTIONARY, self.server.log())

    def test_a_key_of_the_wrong_type_gets_no_reply(self):
        client = self.client()
        for key in ([1], {"a": 1}, b"data", 1.5):
            with self.subTest(key=key):
                client.send("Thumb of Photo", key=key)
                client.expect_silence()

    def test_a_position_of_the_wrong_type_gets_no_reply(self):
        with self.client() as client:
            for wrong in (keyedarchive.NULL, [], {}, b"1"):
                for position in ({"latitude": wrong, "longitude": 1}, {"latitude": 1, "longitude": wrong}):
                    client.send("Set GPS of Photo", key="x", **position)
                    client.expect_silence()

    def test_photos_of_an_event_are_never_found(self):
        client = self.client()
        for event in (0, 1, "1", "x", -1):
            self.assertEqual(client.error("Photos of Event", id=event), "Album not found")
        self.assertIn("did not found album with ID '1'", self.server.log())

    def test_infos_without_a_key_answer_the_error_alone(self):
        # The lookup after the error finds no photo and sends no reply.
        for keys in ({}, {"key": ""}):
            client = self.client()
            self.assertEqual(client.error("Infos of Photo", **keys), "No Image")
            client.expect_silence()
            client.socket.close()

    # Hostile texts

    def test_hostile_ids_find_nothing_and_change_nothing(self):
        client = self.client()
        everything = len(client.result("Photos of Album", id="allPhotosAlbum"))
        self.assertGreater(everything, 0)
        for text in HOSTILE_TEXTS:
            with self.subTest(id=text):
                self.assertEqual(client.result("Photos of Album", id=text), [])
                self.assertEqual(client.result("Folders of Album", id=text), [])
                self.assertEqual(client.result("Photos of Face", id=text), [])
        self.assertEqual(len(client.result("Photos of Album", id="allPhotosAlbum")), everything)

    def test_hostile_keys_find_no_thumbnail(self):
        client = self.client()
        for text in HOSTILE_TEXTS:
            with self.subTest(key=text):
                self.assertEqual(client.error("Thumb of Photo", key=text), "No Thumbnail")

    def test_a_quote_in_an_id_is_logged_with_the_query(self):
        client = self.client()
        client.result("Folders of Album", id="it's")
        self.assertIn("could not prepare query 'SELECT name,uuid,folderType,modelId,posterVersionUuid,minImageDate,"
                      "maxImageDate,isHiddenWhenEmpty FROM RKFolder WHERE parentFolderUuid = 'it's' AND isInTrash = 0'",
                      self.server.log())

    def test_a_megabyte_of_random_bytes(self):
        client = self.client()
        client.send_bytes(random.Random(4250).randbytes(1 << 20))
        client.expect_silence()
        client.socket.close()
        self.still_serves()

    def test_random_changes_to_a_request(self):
        rolls = random.Random(1)
        client = self.client()
        for _ in range(300):
            data = bytearray(request("Get Version", id="abc"))
            for _ in range(rolls.randint(1, 4)):
                data[rolls.randrange(len(data))] = rolls.randrange(256)
            client.send_bytes(data)
            client.wait_until_read()
        client.socket.close()
        self.still_serves()

    # Connecting and disconnecting clients

    def test_a_silent_client(self):
        self.client().socket.close()
        wait_for(lambda: "Lost connection to Moxtel" in self.server.console(), "the console line")
        self.still_serves()

    def test_a_client_that_disconnects_at_every_stage(self):
        data = request("Photos of Album", id="allPhotosAlbum")

        def nothing(client):
            pass

        def half(client):
            client.send_bytes(data[:30])

        def whole(client):
            client.send_bytes(data)

        def after_the_length(client):
            client.send_bytes(data)
            client.receive_exactly(4)

        def within_the_body(client):
            client.send_bytes(data)
            client.receive_exactly(100)

        for stage in (nothing, half, whole, after_the_length, within_the_body):
            for abruptly in (False, True):
                with self.subTest(stage=stage.__name__, abruptly=abruptly):
                    client = Client(self.server)
                    stage(client)
                    if abruptly:  # a reset instead of an orderly end
                        client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    client.socket.close()
                    self.still_serves()

    def test_a_client_may_stop_sending_before_its_answer(self):
        client = self.client()
        client.send("Get Version")
        client.socket.shutdown(socket.SHUT_WR)
        self.assertEqual(client.receive(), {"result": "1.4"})
        with self.assertRaises(moxteltest.Closed):
            client.receive_exactly(1)

    def test_the_second_client_waits_until_the_first_disconnects(self):
        first = self.client()
        self.assertEqual(first.result("Get Version"), "1.4")
        second = self.client()
        second.send("Get Version")
        self.assertEqual(first.result("Get Version"), "1.4")
        second.socket.settimeout(0.2)
        with self.assertRaises(TimeoutError):
            second.receive_exactly(1)
        second.socket.settimeout(moxteltest.PATIENCE)
        first.socket.close()
        self.assertEqual(second.receive(), {"result": "1.4"})

    def test_connections_leave_no_descriptor_behind(self):
        def descriptors():
            return len(os.listdir("/proc/%d/fd" % self.server.process.pid))
        self.still_serves()
        wait_for(lambda: "Lost connection" in self.server.console(), "the console line")
        before = descriptors()
        for _ in range(30):
            self.still_serves()
        wait_for(lambda: self.server.console().count("Lost connection") == 31, "the clients to be gone")
        wait_for(lambda: descriptors() <= before, "the descriptors to be closed", 5)

    def test_the_console_reports_clients(self):
        self.still_serves()
        wait_for(lambda: "Lost connection to Moxtel on '" in self.server.console() or
                 "Lost connection to Moxtel" in self.server.console(), "the console line")
        self.assertIn("Connected to Moxtel on '", self.server.console())

    def test_a_slow_reader_gets_the_whole_reply(self):
        client = self.client()
        client.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        expected = client.result("Photos of Album", id="allPhotosAlbum")
        client.send("Photos of Album", id="allPhotosAlbum")
        (length,) = struct.unpack("=I", client.receive_exactly(4))
        body = b"".join(client.receive_exactly(min(100, length - at)) for at in range(0, length, 100))
        self.assertEqual(keyedarchive.decode(body)["result"], expected)

    def test_thumbnails_are_the_files_unchanged(self):
        client = self.client()
        files = {path.read_bytes() for path in (self.library / "Thumbnails").rglob("*_1024.jpg")}
        for photo in client.result("Photos of Album", id="allPhotosAlbum")[:10]:
            self.assertIn(client.result("Thumb of Photo", key=photo["PhotoKey"]), files)


class Refusals(moxteltest.LibraryTestCase):
    def test_the_console_reports_a_busy_port(self):
        with Server(self.library) as first:
            second = Server(self.library, wait=False)
            second.arguments[second.arguments.index("-Port") + 1] = str(first.port)
            with second:
                wait_for(lambda: "Error" in second.console(), "the console line")
                line = next(line for line in second.console().splitlines() if "Error" in line)
                self.assertIn(str(first.port), line)
            with Client(first) as client:
                self.assertEqual(client.result("Get Version"), "1.4")

    def test_unknown_options_end_with_status_2(self):
        for arguments in (["-Nonsense", "1"], ["--nonsense"], ["-Port", "abc"], ["-PreferAperture", "maybe"]):
            ended = subprocess.run([moxteltest.program("MOXTEL_SERVER"), *arguments], capture_output=True, timeout=30)
            self.assertEqual(ended.returncode, 2, arguments)
            self.assertTrue(ended.stderr or ended.stdout)

    def test_a_server_ends_cleanly_on_a_signal(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number.name), Server(self.library) as server:
                with Client(server) as client:
                    self.assertEqual(client.result("Get Version"), "1.4")
                    server.process.send_signal(number)
                    self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0, server.log()[-500:])
                    with self.assertRaises((moxteltest.Closed, ConnectionError)):
                        client.receive_exactly(1)

    def test_a_slow_reader_does_not_delay_the_end(self):
        library = moxteltest.make_library(self.folder / "Large", *self.options)
        for master in (path for path in (library / "Masters").rglob("*") if path.is_file()):
            os.truncate(master, 64 << 20)
        with Server(library) as server, Client(server) as client:
            for photo in client.result("Photos of Album", id="allPhotosAlbum"):
                client.send("Data of Photo", key=photo["PhotoKey"])
                (length,) = struct.unpack("=I", client.receive_exactly(4))
                if length > 64 << 20:
                    break
                client.receive_exactly(length)
            self.assertGreater(length, 64 << 20)
            server.process.send_signal(signal.SIGTERM)

            # Slow, but with pauses shorter than the server's time-out.
            def has_ended():
                try:
                    client.socket.recv(20_000)
                except ConnectionError:
                    pass
                time.sleep(0.05)
                return server.process.poll() is not None
            wait_for(has_ended, "the server to end", 15)
            self.assertEqual(server.process.returncode, 0, server.log()[-500:])

    def test_help_and_version(self):
        for option in ("--help", "--version"):
            ended = subprocess.run([moxteltest.program("MOXTEL_SERVER"), option], capture_output=True, timeout=30)
            self.assertEqual(ended.returncode, 0)
            self.assertTrue(ended.stdout)

    def test_a_missing_library_is_reported_and_served_as_empty(self):
        with Server(self.folder / "nowhere") as server, Client(server) as client:
            self.assertIn("Problem with reading iPhoto or Aperture data: '", server.console())
            self.assertEqual(client.result("Get Version"), "1.4")
        self.assertFalse((self.folder / "nowhere").exists())


class ReadOnlyLibrary(moxteltest.LibraryTestCase):
    """Compares the replies from a writable and a read-only folder."""

    def answers(self, library):
        with Server(library) as server, Client(server) as client:
            photos = client.result("Photos of Album", id="allPhotosAlbum")
            return [client.ask(command) for command in ("Get Albums", "Get Events", "Get Faces")] + [
                photos, client.ask("Thumb of Photo", key=photos[0]["PhotoKey"])]

    def test_a_read_only_mount(self):
        place = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, place, True)
        for command in (["mount", "--bind", str(self.library), str(place)],
                        ["mount", "-o", "remount,bind,ro", str(place)]):
            done = subprocess.run(command, capture_output=True, text=True)
            if done.returncode != 0:
                subprocess.run(["umount", str(place)], capture_output=True)
                self.skipTest("no read-only mount here: " + done.stderr.strip())
        self.addCleanup(subprocess.run, ["umount", str(place)], check=True)
        with self.assertRaises(OSError):
            (place / "new").touch()
        self.assertEqual(self.answers(place), self.answers(self.library))

    def test_a_folder_without_write_permission(self):
        if os.geteuid() == 0:
            self.skipTest("permissions do not stop root; the read-only mount is tried instead")
        copy = self.folder / "Copy"
        shutil.copytree(self.library, copy, symlinks=True)
        folders = [copy, *(path for path in copy.rglob("*") if path.is_dir())]
        for path in folders:
            path.chmod(0o555)
        try:
            self.assertEqual(self.answers(copy), self.answers(self.library))
        finally:
            for path in folders:
                path.chmod(0o755)


if __name__ == "__main__":
    unittest.main()
