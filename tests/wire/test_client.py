"""moxtel from outside: its memory and its output with large and hostile replies, and with the real server."""

import hashlib
import json
import os
import plistlib
import socket
import struct
import subprocess
import tempfile
import threading
import unittest

import keyedarchive
import moxteltest

MOXTEL = moxteltest.program("MOXTEL_CLIENT")
DATA = b"moxtel!\0" * (40 << 20 >> 3)
# Kilobytes of writable memory. Sanitizers reserve terabytes.
IS_SANITIZED = any(name in os.environ for name in ("ASAN_OPTIONS", "TSAN_OPTIONS"))
LITTLE, MORE = ("unlimited", "unlimited") if IS_SANITIZED else ("24000", "100000")


class FakeServer:
    """Answers "Get Version", and everything else with one body."""

    def __init__(self, body):
        self.body = struct.pack("=I", len(body)) + body
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.run, daemon=True).start()

    def run(self):
        version = keyedarchive.encode({"result": "1.4"})
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with connection:
                while request := connection.recv(4096):
                    is_greeting = keyedarchive.decode(request) == {"command": "Get Version"}
                    connection.sendall(struct.pack("=I", len(version)) + version if is_greeting else self.body)

    def close(self):
        self.listener.close()


def run(port, *arguments, memory=LITTLE):
    """Runs moxtel in so much memory; returns its status, the size and hash of its output, and its errors."""
    command = ["sh", "-c", 'ulimit -d %s; exec "$@"' % memory, "sh", MOXTEL, "--port", str(port), *arguments]
    with tempfile.TemporaryFile() as errors, subprocess.Popen(command, stdout=subprocess.PIPE, stderr=errors) as process:
        size, digest = 0, hashlib.sha256()
        while piece := process.stdout.read(1 << 16):
            size += len(piece)
            digest.update(piece)
        status = process.wait()
        errors.seek(0)
        return status, size, digest.hexdigest(), errors.read().decode()


def list_of_one_text(text, count):
    """An archive of a list whose items are one text."""
    refer = plistlib.UID
    objects = ["$null", {"$class": refer(4), "NS.keys": [refer(2)], "NS.objects": [refer(3)]}, "result",
               {"$class": refer(5), "NS.objects": [refer(6)] * count},
               {"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]},
               {"$classname": "NSArray", "$classes": ["NSArray", "NSObject"]}, text]
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": refer(1)},
                           "$objects": objects}, fmt=plistlib.FMT_BINARY)


class Client(moxteltest.LibraryTestCase):
    options = ("--images", "small", "--photos", "30")

    def serve(self, body):
        server = FakeServer(body)
        self.addCleanup(server.close)
        return server.port

    def test_a_download_takes_constant_memory(self):
        port = self.serve(keyedarchive.encode({"result": DATA}))
        with tempfile.TemporaryDirectory() as folder:
            status, _, _, errors = run(port, "data", "k", "-o", folder + "/movie")
            self.assertEqual((status, errors), (0, ""))
            with open(folder + "/movie", "rb") as file:
                self.assertEqual(hashlib.sha256(file.read()).digest(), hashlib.sha256(DATA).digest())
            self.assertEqual(os.listdir(folder), ["movie"])
        status, size, digest, errors = run(port, "data", "k", "-o", "-")
        self.assertEqual((status, size, digest, errors), (0, len(DATA), hashlib.sha256(DATA).hexdigest(), ""))
        status, size, _, errors = run(port, "--json", "data", "k")
        self.assertEqual((status, size, errors), (0, (len(DATA) + 2) // 3 * 4 + 3, ""))

    def test_half_a_megabyte_does_not_unfold_into_more_than_its_share(self):
        body = list_of_one_text("x" * 3900, 400_000)
        port = self.serve(body)
        for arguments in (("--json", "albums"), ("albums",), ("infos", "k"), ("photos", "x")):
            status, size, _, errors = run(port, *arguments, memory=MORE)
            self.assertEqual((status, size, errors),
                             (1, 0, "moxtel: the server's answer unfolds into too much text\n"), arguments)

    def test_photos_with_names_and_dates_of_the_real_server(self):
        with moxteltest.Server(self.library) as server:
            with moxteltest.Client(server) as client:
                keys = [photo["PhotoKey"] for photo in client.result("Photos of Album", id="allPhotosAlbum")]
                names = [client.result("Infos of Photo", key=key)["FileName"] for key in keys]
            done = subprocess.run([MOXTEL, "--port", str(server.port), "--json", "photos", "allPhotosAlbum"],
                                  capture_output=True, check=True)
            photos = json.loads(done.stdout)
            self.assertEqual([photo["PhotoKey"] for photo in photos], keys)
            self.assertEqual([photo["FileName"] for photo in photos], names)
            self.assertTrue(any("Date" in photo for photo in photos))

    def test_downloads_all_photos_and_skips_them_later(self):
        with moxteltest.Server(self.library) as server, tempfile.TemporaryDirectory() as folder:
            with moxteltest.Client(server) as client:
                photos = [photo["PhotoKey"] for photo in client.result("Photos of Album", id="allPhotosAlbum")]
                names = {key: client.result("Infos of Photo", key=key)["FileName"] for key in photos}
                contents = {key: client.ask("Data of Photo", key=key).get("result") for key in photos}
                contents = {key: data for key, data in contents.items() if isinstance(data, bytes)}
            self.assertGreater(len(contents), 20)
            command = [MOXTEL, "--port", str(server.port), "download", "allPhotosAlbum", "-o", folder]

            def download():
                done = subprocess.run(command, capture_output=True, text=True)
                self.assertEqual(done.returncode, 0 if len(contents) == len(photos) else 1, done.stderr)
                with open(folder + "/photos.jsonl") as record:
                    return done.stdout, {line["key"]: line for line in map(json.loads, record)}

            output, record = download()
            self.assertIn("%d photos: %d downloaded" % (len(photos), len(contents)), output)
            self.assertEqual(set(record), set(contents))
            for key, line in record.items():
                with open(os.path.join(folder, line["file"]), "rb") as file:
                    self.assertEqual(file.read(), contents[key])
                self.assertEqual(line["infos"]["FileName"], names[key])
            self.assertEqual(len(os.listdir(folder)), len(contents) + 1)

            # Ended while it wrote a line and a file.
            lost = list(contents)[0]
            os.unlink(os.path.join(folder, record[lost]["file"]))
            with open(folder + "/photos.jsonl", "a") as file:
                file.write('{"key": "' + lost)
            with open(folder + "/.moxtel-download.part", "w") as file:
                file.write("part")
            output, record = download()
            self.assertIn("1 downloaded", output)
            self.assertIn("%d there already" % (len(contents) - 1), output)
            self.assertEqual(set(record), set(contents))
            self.assertEqual(sorted(os.listdir(folder)),
                             sorted(["photos.jsonl", *(line["file"] for line in record.values())]))

    def test_downloads_the_photos_of_a_person(self):
        with moxteltest.Server(self.library) as server, tempfile.TemporaryDirectory() as folder:
            with moxteltest.Client(server) as client:
                identity = client.result("Get Faces")[0]["AlbumId"]
                count = len(client.result("Photos of Face", id=identity))
            done = subprocess.run([MOXTEL, "--port", str(server.port), "download", identity, "-o", folder],
                                  capture_output=True, text=True)
            self.assertIn("%d photo" % count, done.stdout)
            self.assertGreater(len(os.listdir(folder)), 1)

    def test_downloads_nothing_by_an_unknown_id(self):
        with moxteltest.Server(self.library) as server, tempfile.TemporaryDirectory() as folder:
            self.assertEqual(run(server.port, "download", "nothing", "-o", folder + "/new")[:2], (1, 0))
            self.assertEqual(os.listdir(folder), [])
        self.assertEqual(run(1, "download", "x")[0], 2)

    def test_an_id_that_no_list_has_of_the_real_server(self):
        with moxteltest.Server(self.library) as server:
            for command in ("photos", "folders", "face-photos"):
                self.assertEqual(run(server.port, command, "nothing")[:2], (1, 0))
            with moxteltest.Client(server) as client:
                ids = [album["AlbumId"] for album in client.result("Get Albums") + client.result("Get Events")]
            for identity in ids:
                self.assertEqual(run(server.port, "folders", identity)[0], 0)

    def test_a_second_client_says_that_another_device_is_connected(self):
        # From another address: a second connection of one address replaces the first.
        with moxteltest.Server(self.library) as server, \
                socket.create_connection(("127.0.0.1", server.port), source_address=("127.0.0.2", 0)) as other:
            other.sendall(moxteltest.request("Get Version"))
            other.recv(4096)
            status, size, _, errors = run(server.port, "albums")
            self.assertEqual((status, size), (1, 0))
            self.assertIn("another device is probably connected", errors)


if __name__ == "__main__":
    unittest.main()
