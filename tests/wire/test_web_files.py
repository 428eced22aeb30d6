#!/usr/bin/env python3
"""The files of the page over HTTP: pictures, movies, archives, from a server that serves a sample library with
pictures of many formats, turned, referenced and missing ones. Needs ffmpeg and unzip."""

import http.client
import io
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import tempfile
import threading
import unittest
import zipfile

from moxteltest import Server, free_port, hash_of_library, make_library, wait_for

FIXTURES = pathlib.Path(os.environ["MOXTEL_FIXTURES"])


def run(*words):
    subprocess.run([str(word) for word in words], check=True, stdin=subprocess.DEVNULL)


def jpeg_size(data):
    """Width and height of a JPEG, by a program that has nothing to do with the server, and its orientation."""
    text = subprocess.run(["exiftool", "-n", "-s3", "-ImageWidth", "-ImageHeight", "-Orientation", "-"], input=data,
                          capture_output=True, check=True).stdout.split()
    return tuple(map(int, text))


class Page:
    """A server with its page, and requests to it."""

    def __init__(self, library, *arguments):
        self.port = free_port()
        self.server = Server(library, "-WebAccess", "open", *arguments, web_port=self.port)

    def __enter__(self):
        self.server.__enter__()
        self.library = wait_for(self.library_id, "the page's library")
        return self

    def __exit__(self, *why):
        self.server.__exit__(*why)

    def library_id(self):
        try:
            libraries = json.loads(self.request("/api/1/libraries")[2])["libraries"]
        except (OSError, http.client.HTTPException):
            return None
        return libraries[0]["id"] if libraries else None

    def request(self, path, method="GET", **headers):
        """Status, header fields and body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request(method, path, headers={name.replace("_", "-"): value for name, value in headers.items()})
            reply = connection.getresponse()
            return reply.status, reply.headers, reply.read()
        finally:
            connection.close()

    def get(self, path, **headers):
        return self.request("/l/%s/%s" % (self.library, path), **headers)

    def body(self, path, **headers):
        status, _, body = self.get(path, **headers)
        if status != 200:
            raise AssertionError("%s: %d %r" % (path, status, body[:100]))
        return body


class WebFiles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        cls.library = make_library(cls.folder / "Library", "--images", "small", "--photos", "120", "--smart-albums")
        cls.read_photos()
        cls.change_masters()
        cls.hash = hash_of_library(cls.library)
        cls.page = Page(cls.library, "-ReferencedFolders", cls.folder / "disk")
        cls.page.__enter__()

    @classmethod
    def tearDownClass(cls):
        cls.page.__exit__(None, None, None)
        try:
            if hash_of_library(cls.library) != cls.hash:
                raise AssertionError("the library was changed")
        finally:
            shutil.rmtree(cls.folder)

    @classmethod
    def query(cls, sql, *values):
        database = sqlite3.connect(cls.library / "Database/apdb/Library.apdb")
        database.execute("ATTACH ? AS proxies", (str(cls.library / "Database/apdb/ImageProxies.apdb"),))
        database.row_factory = sqlite3.Row
        with database:
            rows = database.execute(sql, values).fetchall()
        database.close()
        return rows

    @classmethod
    def read_photos(cls):
        rows = cls.query(
            "SELECT v.modelId AS id, v.rotation, v.hasAdjustments AS edited, v.isHidden, v.isInTrash OR m.isInTrash AS trash, "
            "m.modelId AS master, m.imagePath, m.type, p.thumbnailPath, p.miniThumbnailPath, p.fullSizePreviewPath "
            "FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid LEFT JOIN proxies.RKImageProxyState p "
            "ON p.versionUuid = v.uuid WHERE v.versionNumber = 1 ORDER BY v.modelId")
        cls.shown = [row for row in rows if not row["isHidden"] and not row["trash"]]
        cls.others = [row for row in rows if row["isHidden"] or row["trash"]]
        cls.plain = [row for row in cls.shown if row["imagePath"].upper().endswith(".JPG") and not row["edited"]
                     and not row["rotation"]]
        cls.movies = [row for row in cls.shown if row["type"] == "VIDT"]

    @classmethod
    def master(cls, row):
        return cls.library / "Masters" / row["imagePath"]

    @classmethod
    def change_masters(cls):
        """Puts a picture of each kind in the place of a plain JPEG."""
        cls.of = dict(zip(("png", "heic", "tiff", "raw", "large", "turned", "bare", "referenced", "elsewhere", "missing",
                           "hostile", "sendfile"), cls.plain))
        for kind, fixture in (("png", "png-rgb.png"), ("heic", "heic.heic"), ("tiff", "tiff-plain.tif"),
                              ("raw", "raw-orientation-1.dng"), ("hostile", "bomb-png-size.png")):
            shutil.copyfile(FIXTURES / fixture, cls.master(cls.of[kind]))
        run("convert", "-size", "5000x3000", "gradient:red-blue", cls.master(cls.of["large"]))
        run("convert", "-size", "120x60", "gradient:red-blue", "-strip", cls.master(cls.of["bare"]))
        for kind in ("turned", "bare"):
            cls.query("UPDATE RKVersion SET rotation = 90 WHERE modelId = ?", cls.of[kind]["id"])
        (cls.folder / "disk").mkdir()
        shutil.move(cls.master(cls.of["referenced"]), cls.folder / "disk/a.jpg")
        shutil.move(cls.master(cls.of["elsewhere"]), cls.folder / "b.jpg")
        for kind, path in (("referenced", "a.jpg"), ("elsewhere", "../b.jpg")):
            cls.query("UPDATE RKMaster SET fileIsReference = 1, imagePath = ? WHERE modelId = ?", path, cls.of[kind]["master"])
        cls.master(cls.of["missing"]).unlink()
        source = ("ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=d=2:s=320x240:r=10", "-f",
                  "lavfi", "-i", "sine=d=2")
        cls.playable, cls.old = cls.movies[:2]
        run(*source, "-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac", "-f", "mov", cls.master(cls.playable))
        run(*source, "-c:v", "mjpeg", "-c:a", "pcm_u8", "-f", "avi", cls.master(cls.old))

    def test_thumbnails_are_the_files_of_the_library(self):
        for row in self.shown:
            status, fields, body = self.page.get("thumb/%d" % row["id"])
            self.assertEqual((status, fields["Content-Type"]), (200, "image/jpeg"))
            self.assertEqual(body, (self.library / "Thumbnails" / row["thumbnailPath"]).read_bytes())
            self.assertEqual(self.page.body("square/%d" % row["id"]),
                             (self.library / "Thumbnails" / row["miniThumbnailPath"]).read_bytes())
            again = self.page.get("thumb/%d" % row["id"], If_None_Match=fields["ETag"])
            self.assertEqual((again[0], again[2]), (304, b""))
            self.assertRegex(fields["ETag"], '^"')  # a strong one

    def test_hidden_photos_and_those_in_the_trash_have_no_files(self):
        self.assertGreaterEqual(len(self.others), 3)
        for row in self.others:
            for what in ("thumb/%d", "square/%d", "face/%d/0", "preview/%d", "large/%d", "original/%d", "edited/%d",
                         "movie/%d.mov", "movie/%d.mp4", "api/1/movie/%d"):
                self.assertEqual(self.page.get(what % row["id"])[0], 404, what)

    def test_previews_are_jpegs_of_every_format(self):
        for kind in ("png", "heic", "tiff", "raw"):
            row = self.of[kind]
            body = self.page.body("preview/%d" % row["id"])
            self.assertEqual(jpeg_size(body)[:2], (96, 64), kind)
            self.assertEqual(self.page.body("preview/%d" % row["id"]), body)
            self.assertEqual(self.page.body("original/%d" % row["id"]), self.master(row).read_bytes())

    def test_large_pictures_are_shrunk(self):
        row = self.of["large"]
        self.assertEqual(jpeg_size(self.page.body("preview/%d" % row["id"]))[:2], (2048, 1229))
        self.assertEqual(self.page.body("large/%d" % row["id"]), self.master(row).read_bytes())

    def test_turned_pictures_are_turned_without_decoding_or_upright(self):
        for kind, size in (("turned", (96, 64)), ("bare", (120, 60))):
            row = self.of[kind]
            body = self.page.body("preview/%d" % row["id"])
            self.assertEqual(jpeg_size(body), (*size, 6), kind)
            original = self.master(row).read_bytes()
            self.assertEqual(len(body) - len(original), 36 if kind == "bare" else 0)
            self.assertEqual(body[-300:], original[-300:])
            upright = self.page.body("preview/%d?upright=1" % row["id"])
            self.assertEqual(jpeg_size(upright)[:2], (size[1], size[0]))

    def test_a_part_of_a_turned_picture_can_be_requested(self):
        path = "preview/%d" % self.of["turned"]["id"]
        whole = self.page.body(path)
        status, fields, body = self.page.get(path, Range="bytes=10-99")
        self.assertEqual((status, body), (206, whole[10:100]))
        self.assertEqual(self.page.get(path, Range="bytes=%d-" % len(whole))[0], 416)

    def test_originals_are_attachments(self):
        row = self.of["sendfile"]
        status, fields, body = self.page.get("original/%d" % row["id"])
        self.assertEqual((status, body), (200, self.master(row).read_bytes()))
        self.assertTrue(fields["Content-Disposition"].startswith("attachment;"), fields["Content-Disposition"])
        self.assertEqual(fields["X-Content-Type-Options"], "nosniff")
        shown = self.page.get("original/%d?show=1" % row["id"])[1]["Content-Disposition"]
        self.assertTrue(shown.startswith("inline;"), shown)
        status, fields, body = self.page.get("original/%d" % row["id"], method="HEAD")
        self.assertEqual((status, body, fields["Content-Length"]), (200, b"", str(self.master(row).stat().st_size)))

    def test_originals_outside_the_library_only_where_they_are_allowed(self):
        self.assertEqual(self.page.body("original/%d" % self.of["referenced"]["id"]),
                         (self.folder / "disk/a.jpg").read_bytes())
        for kind in ("elsewhere", "missing"):
            row = self.of[kind]
            self.assertEqual(self.page.get("original/%d" % row["id"])[0], 404, kind)
            self.assertEqual(self.page.body("preview/%d" % row["id"]),
                             (self.library / "Thumbnails" / row["thumbnailPath"]).read_bytes())

    def test_hostile_pictures_have_no_preview(self):
        self.assertEqual(self.page.get("preview/%d" % self.of["hostile"]["id"])[0], 404)

    def test_edited_pictures(self):
        row = next(row for row in self.shown if row["fullSizePreviewPath"])
        expected = (self.library / "Previews" / row["fullSizePreviewPath"]).read_bytes()
        self.assertEqual(self.page.body("edited/%d" % row["id"]), expected)
        self.assertEqual(self.page.body("preview/%d" % row["id"]), expected)
        self.assertEqual(self.page.get("edited/%d" % self.of["sendfile"]["id"])[0], 404)

    def test_addresses_that_do_not_exist(self):
        good = self.of["sendfile"]["id"]
        for path in ("thumb", "thumb/", "thumb/x", "thumb/-1", "thumb/0%d" % good, "thumb/%d/x" % good,
                     "thumb/%d%%00" % good, "thumb/99999999999999999999", "thumb/..%2f..%2fx", "face/%d/99" % good,
                     "movie/%d.mp4" % good, "movie/%d" % good, "zip/album:999999", "zip/x"):
            self.assertIn(self.page.get(path)[0], (400, 404), path)

    def test_a_movie_that_browsers_play(self):
        state = json.loads(self.page.body("api/1/movie/%d" % self.playable["id"]))
        self.assertEqual(state["state"], "ready")
        whole = self.master(self.playable).read_bytes()
        status, fields, body = self.page.request(state["url"])
        self.assertEqual((status, fields["Content-Type"], body), (200, "video/quicktime", whole))
        self.assertEqual(fields["Accept-Ranges"], "bytes")
        # What players ask for at first.
        status, fields, body = self.page.request(state["url"], Range="bytes=0-1")
        self.assertEqual((status, fields["Content-Range"], body), (206, "bytes 0-1/%d" % len(whole), whole[:2]))
        self.assertEqual(self.page.request(state["url"], Range="bytes=%d-" % len(whole))[0], 416)
        self.assertIsNone(fields["Content-Encoding"])

    def test_an_old_movie_is_converted(self):
        address = "api/1/movie/%d" % self.old["id"]
        self.assertEqual(json.loads(self.page.body(address))["state"], "convert")
        self.assertIn(json.loads(self.page.body(address + "?start=1"))["state"], ("waiting", "converting", "ready"))

        def state():
            found = json.loads(self.page.body(address))
            self.assertNotIn(found["state"], ("none", "convert"))
            return found if found["state"] == "ready" else None

        url = wait_for(state, "the movie", patience=60)["url"]
        self.assertRegex(url, r"\.mp4\?")
        status, fields, body = self.page.request(url)
        self.assertEqual((status, fields["Content-Type"]), (200, "video/mp4"))
        probe = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", "-"],
                               input=body, capture_output=True, check=True).stdout.split()
        self.assertEqual(probe, [b"h264", b"aac"])
        self.assertLess(body.find(b"moov"), body.find(b"mdat"))

    def test_a_zip_has_all_files_of_a_list(self):
        announced = json.loads(self.page.body("api/1/zip/all?what=original"))
        status, fields, body = self.page.get("zip/all?what=original")
        self.assertEqual((status, fields["Content-Type"]), (200, "application/zip"))
        self.assertEqual((int(fields["Content-Length"]), len(body)), (announced["bytes"], announced["bytes"]))
        archive = zipfile.ZipFile(io.BytesIO(body))
        self.assertIsNone(archive.testzip())
        self.assertEqual(len(archive.namelist()), announced["count"])
        self.assertEqual(len({name.lower() for name in archive.namelist()}), announced["count"])
        kept = {archive.read(name) for name in archive.namelist()}
        self.assertIn(self.master(self.of["heic"]).read_bytes(), kept)
        self.assertIn((self.folder / "disk/a.jpg").read_bytes(), kept)
        self.assertNotIn((self.folder / "b.jpg").read_bytes(), kept)
        # From the start to the end only.
        status, fields, _ = self.page.get("zip/all?what=original", Range="bytes=5-9")
        self.assertEqual((status, fields["Accept-Ranges"]), (200, None))
        self.assertEqual(self.page.get("zip/all?what=everything")[0], 400)

    def test_many_clients_at_once_get_the_same_picture(self):
        row = self.of["tiff"]
        bodies = []
        threads = [threading.Thread(target=lambda: bodies.append(self.page.body("large/%d?n=%d" % (row["id"], n))))
                   for n in range(12)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(bodies), 12)
        self.assertEqual(len(set(bodies)), 1)

    def test_memory_stays_flat(self):
        addresses = ["thumb/%d" % row["id"] for row in self.shown] + ["preview/%d" % self.of["turned"]["id"]]

        def ask_all(times):
            connection = http.client.HTTPConnection("127.0.0.1", self.page.port, timeout=60)
            for _ in range(times):
                for address in addresses:
                    connection.request("GET", "/l/%s/%s" % (self.page.library, address))
                    connection.getresponse().read()
            connection.close()

        ask_all(10)
        before = self.page.server.memory()
        ask_all(100)
        if self.page.server.is_sanitized():
            self.skipTest("a sanitizer delays the reuse of freed memory")
        self.assertLess(self.page.server.memory() - before, 2 << 20)


if __name__ == "__main__":
    unittest.main()
