"""Compares the replies of every delivery command with the files in the library.

The expected files are found through the library's SQLite files and folders alone.
"""

import os
import pathlib
import shutil
import sqlite3
import struct
import sys
import tempfile
import unicodedata
import unittest
import unittest.mock
import zlib

import keyedarchive
import moxteltest
from moxteltest import Client, LibraryTestCase, Server

OFFSET = 2**32  # the offset of version ids in iPhoto's scripts
MEMORY_ABOVE_FILE = 64 << 20
LARGEST_ARCHIVE_AROUND_DATA = 4096

THUMB, DATA, SQUARE = "Thumb of Photo", "Data of Photo", "Square Thumb of Photo"
IMAGE, FULLSCREEN = "Image of Photo", "Fullscreen 1024 Image of Photo"
FAILURES = {THUMB: "No Thumbnail", DATA: "No Image", SQUARE: "No Square Thumb", IMAGE: "No Image",
            FULLSCREEN: "No Image"}


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


PNG_OF_ONE_PIXEL = (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIBBBBB", 1, 1, 8, 0, 0, 0, 0)) +
                    png_chunk(b"IDAT", zlib.compress(b"\0\xff")) + png_chunk(b"IEND", b""))


class Facts:
    """Finds a library's picture files through its databases."""

    def __init__(self, library):
        self.library = library
        self.versions = self.rows("Library.apdb", "SELECT uuid, modelId, masterUuid, hasAdjustments, rotation "
                                                  "FROM RKVersion ORDER BY modelId")
        self.masters = {row["uuid"]: row["imagePath"]
                        for row in self.rows("Library.apdb", "SELECT uuid, imagePath FROM RKMaster")}
        self.proxies = self.rows("ImageProxies.apdb", "SELECT * FROM RKImageProxyState ORDER BY rowid")
        self.names = self.rows("Faces.db", "SELECT keyVersionUuid, faceKey FROM RKFaceName ORDER BY rowid")
        self.faces = self.rows("Faces.db", "SELECT faceKey, masterUuid, faceIndex FROM RKDetectedFace ORDER BY rowid")

    def rows(self, database, question):
        path = self.library / "Database/apdb" / database
        connection = sqlite3.connect("file:%s?mode=ro" % path, uri=True)
        connection.row_factory = sqlite3.Row
        try:
            return connection.execute(question).fetchall()
        finally:
            connection.close()

    def master_of(self, uuid):
        return next((row["masterUuid"] for row in self.versions if row["uuid"] == uuid), None)

    def proxy_of(self, uuid):
        return next((row for row in self.proxies if row["versionUuid"] == uuid), None)

    def face_index(self, uuid):
        """The face number of the first person with this key photo."""
        keys = [row["faceKey"] for row in self.names if row["keyVersionUuid"] == uuid]
        if not keys:
            return 0
        master = self.master_of(uuid)
        return next((row["faceIndex"] for row in self.faces
                     if row["faceKey"] == keys[0] and row["masterUuid"] == master), 0)

    def image_of(self, version):
        """The file of a row of RKVersion; None when there is none."""
        if not version["hasAdjustments"]:
            return self.file("Masters", self.masters.get(version["masterUuid"]))
        proxy = self.proxy_of(version["uuid"])
        return self.file("Previews", proxy and proxy["fullSizePreviewPath"])

    def thumbnail(self, relative):
        return self.file("Thumbnails", relative)

    def file(self, folder, relative):
        path = relative and self.library / folder / relative
        return path if path and path.is_file() else None


def size_of_jpeg(data):
    """(width, height) from the frame header."""
    place = 2
    while data[place] == 0xFF:
        marker, (length,) = data[place + 1], struct.unpack_from(">H", data, place + 2)
        if 0xC0 <= marker <= 0xCF and marker not in (0xC4, 0xC8, 0xCC):
            height, width = struct.unpack_from(">HH", data, place + 5)
            return width, height
        place += 2 + length
    raise AssertionError("no frame header")


class PicturesTestCase(LibraryTestCase):
    def expect_file(self, client, path, command, **keys):
        if path is None:
            self.assertEqual(client.error(command, **keys), FAILURES[command])
        else:
            self.assertEqual(client.result(command, **keys), path.read_bytes())


class Delivery(PicturesTestCase):
    """Tests on the unchanged sample library."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.facts = Facts(cls.library)

    def setUp(self):
        self.server = self.enterContext(Server(self.library, *moxteltest.EVERY_LINE))
        self.client = self.enterContext(Client(self.server))

    def test_thumbnails_are_the_files_unchanged(self):
        found = 0
        for row in self.facts.proxies:
            path = self.facts.thumbnail(row["thumbnailPath"])
            found += path is not None
            self.expect_file(self.client, path, THUMB, key=row["versionUuid"])
            self.expect_file(self.client, path, FULLSCREEN, key=row["versionUuid"])
        self.assertGreater(found, 30)

    def test_square_thumbnails_are_the_mini_files(self):
        found = 0
        for row in self.facts.proxies:
            path = self.facts.thumbnail(row["miniThumbnailPath"])
            found += path is not None
            self.expect_file(self.client, path, SQUARE, key=row["versionUuid"])
            self.expect_file(self.client, path, SQUARE, key=row["versionUuid"], isFace=False)
        self.assertGreater(found, 30)

    def test_face_thumbnails_show_the_face_of_the_key_photo(self):
        indexes = set()
        for row in self.facts.proxies:
            index = self.facts.face_index(row["versionUuid"])
            if row["faceTilePath"] is None:
                path = self.facts.thumbnail(row["miniThumbnailPath"])
            else:
                indexes.add(index)
                path = self.facts.thumbnail("%s_face%d.jpg" % (row["faceTilePath"], index))
            self.expect_file(self.client, path, SQUARE, key=row["versionUuid"], isFace=True)
        self.assertTrue(indexes, "the sample has no face tile")
        without = sum(row["faceTilePath"] is None for row in self.facts.proxies)
        self.assertGreater(without, 0)
        self.assertEqual(self.server.log().count("DID NOT found faceTilePath: (null)"), without)

    def test_data_are_the_master_or_the_preview_of_an_edited_photo(self):
        edited = 0
        for version in self.facts.versions:
            path = self.facts.image_of(version)
            edited += bool(path and version["hasAdjustments"])
            self.expect_file(self.client, path, DATA, key=version["uuid"])
        self.assertGreater(edited, 0)

    def test_an_image_is_a_jpeg_of_the_stored_size(self):
        turned = 0
        for version in self.facts.versions:
            path = self.facts.image_of(version)
            if path is None or path.suffix.lower() not in (".jpg", ".jpeg"):
                continue
            data = self.client.result(IMAGE, key=version["uuid"])
            self.assertEqual(size_of_jpeg(data), size_of_jpeg(path.read_bytes()), path)
            self.assertNotEqual(data, path.read_bytes())
            self.assertIn("rotation of '%s': %d" % (version["uuid"], version["rotation"]), self.server.log())
            turned += version["rotation"] != 0
        self.assertGreater(turned, 0, "the sample has no turned photo")

    def test_a_movie_has_data_and_no_image(self):
        movies = [version for version in self.facts.versions
                  if (path := self.facts.image_of(version)) and path.suffix.lower() == ".mov"]
        self.assertTrue(movies, "the sample has no movie")
        self.assertEqual(self.client.error(IMAGE, key=movies[0]["uuid"]), "No Image")
        self.expect_file(self.client, self.facts.image_of(movies[0]), DATA, key=movies[0]["uuid"])

    def test_model_ids_also_find_thumbnails(self):
        for row in self.facts.proxies[:5]:
            path = self.facts.thumbnail(row["thumbnailPath"])
            for number in (row["versionId"], row["versionId"] + OFFSET):
                self.expect_file(self.client, path, THUMB, key=str(number))
            self.assertIn("versionId '%d' > IPHOTO_BASE_ID, uuid: %d" % (row["versionId"], row["versionId"] + OFFSET),
                          self.server.log())

    def test_model_ids_find_no_data(self):
        self.assertEqual(self.client.error(DATA, key=str(self.facts.versions[0]["modelId"])), "No Image")

    def test_unknown_keys_get_the_commands_error(self):
        for key in ("no such uuid", "x' OR '1'='1", "%@%s%n", "a\0b", "é", "0", "-1", "99999999999999999999", "((("):
            for command, text in FAILURES.items():
                self.assertEqual(self.client.error(command, key=key), text, (command, key))
        self.client.expect_silence()
        log = self.server.log()
        self.assertIn("did not found masterUuid", log)
        self.assertIn("found NO thumbnail at '(null)' for key 'no such uuid'", log)
        self.assertIn("could not prepare query 'SELECT thumbnailPath,miniThumbnailPath,faceTilePath FROM "
                      "RKImageProxyState WHERE versionUuid = 'x' OR '1'='1''", log)

    def test_a_missing_key_gets_one_reply_but_two_from_data(self):
        expected = {**FAILURES, SQUARE: "No key for Square Thumb"}
        for keys in ({}, {"key": ""}):
            for command, text in expected.items():
                self.assertEqual(self.client.error(command, **keys), text, (command, keys))
                if command == DATA:
                    self.assertEqual(self.client.receive(), {"error": text})
                self.client.expect_silence()

    def test_a_key_that_is_not_a_string_gets_no_reply(self):
        for key in (7, 1.5, True, b"bytes", ["list"], {"a": "b"}):
            for command in FAILURES:
                self.client.send(command, key=key)
                self.client.expect_silence()

    def test_replies_contain_only_the_bytes(self):
        envelope = self.client.ask(THUMB, key=self.facts.proxies[0]["versionUuid"])
        self.assertEqual(list(envelope), ["result"])
        self.assertIsInstance(envelope["result"], bytes)
        self.assertIsInstance(envelope, keyedarchive.Dict)


class OddLibraries(PicturesTestCase):
    """Each test uses its own copy of the library, which it changes before the server starts."""

    def setUp(self):
        self.copies = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest.", dir=self.folder))
        self.addCleanup(shutil.rmtree, self.copies)
        self.copy = self.copies / "Library"
        shutil.copytree(self.library, self.copy, symlinks=True)
        facts = Facts(self.copy)
        self.facts = facts
        self.proxy = next(row for row in facts.proxies
                          if facts.thumbnail(row["thumbnailPath"]) and facts.thumbnail(row["miniThumbnailPath"]))
        self.key = self.proxy["versionUuid"]
        self.plain = next(row for row in facts.versions if not row["hasAdjustments"] and facts.image_of(row))

    def change(self, database, statement, *values):
        connection = sqlite3.connect(self.copy / "Database/apdb" / database)
        with connection:
            self.assertGreater(connection.execute(statement, values).rowcount, 0)
        connection.close()

    def serve(self, *arguments):
        """Yields a client; checks afterwards that the copy is unchanged."""
        before = moxteltest.hash_of_library(self.copy)
        self.addCleanup(lambda: self.assertEqual(moxteltest.hash_of_library(self.copy), before, "was changed"))
        self.server = self.enterContext(Server(self.copy, *arguments))
        return self.enterContext(Client(self.server))

    def set_thumbnail(self, relative, column="thumbnailPath"):
        self.change("ImageProxies.apdb", "UPDATE RKImageProxyState SET %s = ? WHERE versionUuid = ?" % column,
                    relative, self.key)

    def set_master(self, relative):
        self.change("Library.apdb", "UPDATE RKMaster SET imagePath = ? WHERE uuid = ?", relative,
                    self.plain["masterUuid"])

    def test_the_first_id_with_an_offset_is_one_and_the_offset_is_none(self):
        first, other = self.facts.proxies[0], self.facts.proxies[1]
        for row, number in ((first, 1), (other, OFFSET)):
            self.change("ImageProxies.apdb", "UPDATE RKImageProxyState SET versionId = ? WHERE versionUuid = ?",
                        number, row["versionUuid"])
        client = self.serve()
        for key, row in (("1", first), ("4294967297", first), ("4294967296", other)):
            self.expect_file(client, self.facts.thumbnail(row["thumbnailPath"]), THUMB, key=key)
        lines = [line for line in self.server.log().splitlines() if "IPHOTO_BASE_ID" in line]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("versionId '1' > IPHOTO_BASE_ID, uuid: 4294967297", lines[0])

    def test_file_names_may_differ_in_case_and_normal_form(self):
        for column, form in (("thumbnailPath", "NFC"), ("miniThumbnailPath", "NFD")):
            folder = self.copy / "Thumbnails/Größe" / column
            folder.mkdir(parents=True)
            shutil.copy(self.facts.thumbnail(self.proxy[column]), folder / unicodedata.normalize("NFD", "ÉTÉ Ω.JPG"))
            self.set_thumbnail(unicodedata.normalize(form, "größe/%s/été ω.jpg" % column.upper()), column)
        client = self.serve()
        self.assertFalse((self.copy / "Thumbnails/größe").exists(), "this file system knows no case")
        for command, column in ((THUMB, "thumbnailPath"), (FULLSCREEN, "thumbnailPath"), (SQUARE, "miniThumbnailPath")):
            self.expect_file(client, self.facts.thumbnail(self.proxy[column]), command, key=self.key)

    def lines_with(self, text):
        return [line for line in self.server.console().splitlines() if text in line]

    def test_masters_may_be_on_another_disk_that_the_user_named(self):
        elsewhere = self.copies / "Other disk"
        (self.copy / "Masters").rename(elsewhere)
        (self.copy / "Masters").symlink_to(elsewhere)
        path = self.facts.image_of(self.plain)
        client = self.serve("-ReferencedFolders", "/none:%s" % self.copies)
        self.expect_file(client, path, DATA, key=self.plain["uuid"])
        self.assertEqual(self.lines_with("is a link"), [])
        client = self.serve()
        for _ in range(3):
            self.assertEqual(client.error(DATA, key=self.plain["uuid"]), "No Image")
        lines = self.lines_with("is a link that leads out of the library, to '%s'" % elsewhere)
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("-ReferencedFolders '%s'" % elsewhere, lines[0])

    def test_databases_may_be_on_another_disk_that_the_user_named(self):
        elsewhere = self.copies / "Other disk"
        (self.copy / "Database").rename(elsewhere)
        (self.copy / "Database").symlink_to(elsewhere)
        client = self.serve("-ReferencedFolders", elsewhere)
        self.expect_file(client, self.facts.image_of(self.plain), DATA, key=self.plain["uuid"])
        albums = client.result("Get Albums")
        self.assertTrue(albums)
        client = self.serve()
        self.assertEqual(client.error(DATA, key=self.plain["uuid"]), "No Image")
        self.assertNotEqual(client.result("Get Albums"), albums)
        lines = self.lines_with("is a link")
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("'%s/Database' is a link that leads out of the library, to '%s" % (self.copy, elsewhere), lines[0])
        self.assertIn("could not open db '%s/Database/apdb/Library.apdb', result: 14" % self.copy, self.server.log())

    def test_a_librarys_path_may_be_outside_ascii(self):
        self.copy = self.copy.rename(self.copies / "Bibliothe\u0300que 写真")
        self.facts.library = self.copy
        client = self.serve()
        self.expect_file(client, self.facts.image_of(self.plain), DATA, key=self.plain["uuid"])
        self.assertTrue(client.result("Get Events"))
        self.assertEqual(self.lines_with("UTF-8"), [])

    def test_missing_pictures_are_counted_on_the_console(self):
        self.change("Library.apdb", "UPDATE RKMaster SET fileIsReference = 1 WHERE uuid = ?",
                    self.plain["masterUuid"])
        shutil.rmtree(self.copy / "Previews")
        edited = Facts(self.copy).rows("Library.apdb", "SELECT uuid FROM RKVersion WHERE hasAdjustments != 0 AND "
                                                       "versionNumber != 0 AND isInTrash = 0")
        self.assertTrue(edited)
        client = self.serve()
        wanted = "%d of %d edited photos have no preview" % (len(edited), len(edited))
        moxteltest.wait_for(lambda: self.lines_with(wanted), "the number of previews")
        self.assertEqual(len(self.lines_with("Photos outside the library: 1.")), 1)
        self.assertEqual(client.error(IMAGE, key=edited[0]["uuid"]), "No Image")
        self.assertEqual(len(self.lines_with("edited photos")), 1)

    def test_links_are_followed_inside_the_library_only(self):
        secret = self.copies / "secret.jpg"
        shutil.copy(self.facts.thumbnail(self.proxy["thumbnailPath"]), secret)
        thumbnail = self.facts.thumbnail(self.proxy["thumbnailPath"])
        links = {"Thumbnails/inside.jpg": os.path.relpath(thumbnail, self.copy / "Thumbnails"),
                 "Thumbnails/absolute.jpg": str(thumbnail), "Thumbnails/byLink.jpg": None,
                 "Thumbnails/out.jpg": str(secret), "Thumbnails/up.jpg": "../../secret.jpg", "Thumbnails/folder": ".."}
        other = self.copies / "Link"
        other.symlink_to(self.copy)
        links["Thumbnails/byLink.jpg"] = str(other / thumbnail.relative_to(self.copy))
        for link, target in links.items():
            (self.copy / link).symlink_to(target)
        rows = iter(self.facts.proxies)
        expected = {}
        for path, found in (("inside.jpg", thumbnail), ("absolute.jpg", thumbnail), ("byLink.jpg", thumbnail),
                            ("folder/Thumbnails/inside.jpg", thumbnail), ("out.jpg", None), ("up.jpg", None),
                            ("folder/../secret.jpg", None)):
            self.key = next(rows)["versionUuid"]
            self.set_thumbnail(path)
            expected[self.key] = found
        for library in (self.copy, other):
            server = self.enterContext(Server(library))
            with Client(server) as client:
                for key, path in expected.items():
                    self.expect_file(client, path, THUMB, key=key)

    def test_referenced_masters_are_below_the_folders_that_the_user_named(self):
        disk, other = self.copies / "Disk", self.copies / "Other"
        master = self.facts.image_of(self.plain)
        for folder, content in ((disk, master.read_bytes()), (other, b"other")):
            (folder / "Users/ann").mkdir(parents=True)
            (folder / "Users/ann/img_1.jpg").write_bytes(content)
        self.set_master("Users/ann/IMG_1.JPG")
        connection = sqlite3.connect(self.copy / "Database/apdb/Library.apdb")
        with connection:
            connection.execute("CREATE TABLE RKVolume (modelId integer primary key, uuid varchar, name varchar)")
            connection.execute("INSERT INTO RKVolume (uuid, name) VALUES ('volume', 'Old Disk')")
            connection.execute("UPDATE RKMaster SET fileIsReference = 1, fileVolumeUuid = 'volume' WHERE uuid = ?",
                               (self.plain["masterUuid"],))
        connection.close()
        for folders, found in ((None, None), (disk, disk), ("%s:Old Disk=%s" % (other, disk), disk),
                               ("Another Disk=%s" % disk, None), (other, other)):
            client = self.serve(*(("-ReferencedFolders", folders) if folders else ()))
            path = found and found / "Users/ann/img_1.jpg"
            self.expect_file(client, path, DATA, key=self.plain["uuid"])
        client = self.serve("-ReferencedFolders", disk)
        data = client.result(IMAGE, key=self.plain["uuid"])
        self.assertEqual(size_of_jpeg(data), size_of_jpeg(master.read_bytes()))

    def test_stored_paths_may_begin_with_a_slash_and_go_up_inside_their_folder(self):
        thumbnail = self.facts.thumbnail(self.proxy["thumbnailPath"])
        rows = iter(self.facts.proxies)
        for path in ("/" + self.proxy["thumbnailPath"], "//" + self.proxy["thumbnailPath"],
                     "empty/../" + self.proxy["thumbnailPath"], "../Thumbnails/" + self.proxy["thumbnailPath"]):
            self.key = next(rows)["versionUuid"]
            self.set_thumbnail(path)
        (self.copy / "Thumbnails/empty").mkdir()
        master = self.facts.image_of(self.plain)
        self.set_master("/" + self.facts.masters[self.plain["masterUuid"]])
        client = self.serve()
        for row in self.facts.proxies[:4]:
            self.expect_file(client, thumbnail, THUMB, key=row["versionUuid"])
        self.expect_file(client, master, DATA, key=self.plain["uuid"])

    def test_names_may_have_the_replacements_of_other_file_systems(self):
        thumbnail = self.facts.thumbnail(self.proxy["thumbnailPath"])
        rows = iter(self.facts.proxies)
        keys = []
        for stored, disk in (("What? 12:30.jpg", "What\uf03f 12\uf03a30.jpg"),
                             ('Who? "I".jpg', "Who\uf025 \uf020I\uf020.jpg"),
                             ("blank /a.jpg", "blank\uf028/a.jpg"), ("1/2/b.jpg", "1:2/b.jpg")):
            path = self.copy / "Thumbnails" / disk
            path.parent.mkdir(exist_ok=True)
            shutil.copy(thumbnail, path)
            self.key = next(rows)["versionUuid"]
            self.set_thumbnail(stored)
            keys.append(self.key)
        client = self.serve()
        for key in keys:
            self.expect_file(client, thumbnail, THUMB, key=key)

    def test_paths_cannot_leave_their_folder(self):
        secret = self.copies / "secret.jpg"
        shutil.copy(self.facts.thumbnail(self.proxy["thumbnailPath"]), secret)
        rows = iter(self.facts.proxies)
        paths = ("../../secret.jpg", "x/../../../secret.jpg", str(secret), "../Database/apdb/Library.apdb", "..", ".",
                 "", "/../../secret.jpg", "../../Library/../secret.jpg")
        keys = {}
        for path, row in zip(paths, rows):
            self.key = row["versionUuid"]
            self.set_thumbnail(path)
            keys[self.key] = path
        self.set_master("../../secret.jpg")
        client = self.serve()
        for key, path in keys.items():
            self.assertEqual(client.error(THUMB, key=key), "No Thumbnail", path)
            self.assertEqual(client.error(FULLSCREEN, key=key), "No Image", path)
        for command in (DATA, IMAGE):
            self.assertEqual(client.error(command, key=self.plain["uuid"]), "No Image")

    def test_does_not_wait_for_files_that_are_not_regular(self):
        os.mkfifo(self.copy / "Thumbnails/pipe.jpg")
        (self.copy / "Masters/folder.jpg").mkdir()
        (self.copy / "Thumbnails/loop.jpg").symlink_to("loop.jpg")
        self.set_thumbnail("pipe.jpg")
        self.set_thumbnail("loop.jpg", "miniThumbnailPath")
        self.set_master("folder.jpg")
        client = self.serve()
        self.assertEqual(client.error(THUMB, key=self.key), "No Thumbnail")
        self.assertEqual(client.error(FULLSCREEN, key=self.key), "No Image")
        self.assertEqual(client.error(SQUARE, key=self.key), "No Square Thumb")
        self.assertIn("found NO thumbnail at '%s/Thumbnails/loop.jpg' for key '%s'" % (self.copy, self.key),
                      self.server.log())
        self.assertEqual(client.error(DATA, key=self.plain["uuid"]), "No Image")
        self.assertEqual(client.error(IMAGE, key=self.plain["uuid"]), "No Image")

    def test_a_key_photo_shows_its_persons_face_of_any_number(self):
        """The sample's key photos all show face 0."""
        name = next(row for row in self.facts.names if self.facts.proxy_of(row["keyVersionUuid"]))
        key = name["keyVersionUuid"]
        self.change("Faces.db", "UPDATE RKDetectedFace SET faceIndex = 3 WHERE faceKey = ? AND masterUuid = ?",
                    name["faceKey"], self.facts.master_of(key))
        self.change("ImageProxies.apdb", "UPDATE RKImageProxyState SET faceTilePath = 'x/y' WHERE versionUuid = ?", key)
        (self.copy / "Thumbnails/x").mkdir()
        for number in (0, 3):
            (self.copy / ("Thumbnails/x/y_face%d.jpg" % number)).write_bytes(b"face %d" % number)
        client = self.serve()
        self.assertEqual(client.result(SQUARE, key=key, isFace=True), b"face 3")
        number = str(self.facts.proxy_of(key)["versionId"])  # is not a person's key photo, which is referenced by uuid
        self.assertEqual(client.result(SQUARE, key=number, isFace=True), b"face 0")

    def test_an_empty_file_gives_empty_data(self):
        (self.copy / "Thumbnails/empty.jpg").touch()
        self.set_thumbnail("empty.jpg")
        self.assertEqual(self.serve().result(THUMB, key=self.key), b"")

    def test_an_edited_photo_without_a_preview_has_no_image(self):
        self.change("Library.apdb", "UPDATE RKVersion SET hasAdjustments = 1 WHERE uuid = ?", self.key)
        self.set_thumbnail(None, "fullSizePreviewPath")
        client = self.serve()
        self.assertEqual(client.error(DATA, key=self.key), "No Image")
        self.assertEqual(client.error(IMAGE, key=self.key), "No Image")

    # ---- Large files: sparse, outside the library, reached through a link ----

    def large_master(self, size):
        """A master on another disk, which serve_large() allows: the hash of the library leaves it out."""
        disk = self.copies / "Large disk"
        (self.copy / "Masters").rename(disk)
        (self.copy / "Masters").symlink_to(disk)
        path = disk / "large.mov"
        with open(path, "wb") as file:
            file.write(b"the first bytes")
            file.truncate(size)
            file.seek(size - len(b"the last bytes"))
            file.write(b"the last bytes")
        if path.stat().st_blocks * 512 > 1 << 20:
            self.skipTest("this file system keeps no sparse files")
        self.set_master("large.mov")
        return path

    def serve_large(self):
        return self.serve("-ReferencedFolders", self.copies / "Large disk")

    def skip_without_memory(self, needed):
        lines = pathlib.Path("/proc/meminfo").read_text().splitlines()
        free = next(int(line.split()[1]) << 10 for line in lines if line.startswith("MemAvailable"))
        if free < needed:
            self.skipTest("needs %d MB of memory, %d are there" % (needed >> 20, free >> 20))

    def test_a_large_movie_is_in_memory_once(self):
        size = int(os.environ.get("MOXTEL_MOVIE_MEGABYTES", "256")) << 20
        self.skip_without_memory(size + (512 << 20))
        self.large_master(size)
        client = self.serve_large()
        client.socket.settimeout(300)  # reading this much takes long on a busy machine
        client.send(DATA, key=self.plain["uuid"])
        (length,) = struct.unpack("=I", client.receive_exactly(4))
        self.assertIn(length - size, range(LARGEST_ARCHIVE_AROUND_DATA))
        head, tail = self.ends_of_stream(client, length)
        start = head.index(b"the first bytes")
        end = length - len(tail) + tail.index(b"the last bytes") + len(b"the last bytes")
        self.assertEqual(end - start, size)
        self.assertEqual(client.result("Get Version"), "1.4")
        self.expect_memory_below(size + MEMORY_ABOVE_FILE)

    def test_a_movie_truncated_while_it_is_sent_ends_only_its_connection(self):
        size = 256 << 20
        self.skip_without_memory(size + (512 << 20))
        movie = self.large_master(size)
        client = self.serve_large()
        client.send(DATA, key=self.plain["uuid"])
        (length,) = struct.unpack("=I", client.receive_exactly(4))
        self.assertGreater(length, size)
        os.truncate(movie, 1 << 20)  # most of it has not been sent yet
        count = 0
        while chunk := client.socket.recv(1 << 20):
            count += len(chunk)
        self.assertLess(count, length)
        client.socket.close()
        again = self.enterContext(Client(self.server))
        self.assertEqual(again.result("Get Version"), "1.4")
        self.assertEqual(len(again.result(DATA, key=self.plain["uuid"])), 1 << 20)

    def serve_with_decoder(self, script):
        """Like serve(), with a script as the picture decoder."""
        programs = self.copies / "programs"
        programs.mkdir()
        server = programs / "moxtelserverd"
        shutil.copy(moxteltest.program("MOXTEL_SERVER"), server)
        decoder = programs / "moxtel-picture-decoder"
        decoder.write_text("#!/bin/sh\n%s\n" % script)
        decoder.chmod(0o755)
        with unittest.mock.patch.dict(os.environ, MOXTEL_SERVER=str(server)):
            return self.serve()

    def test_a_crashing_decoder_affects_only_its_picture(self):
        (self.copy / "Masters/white.png").write_bytes(PNG_OF_ONE_PIXEL)
        self.set_master("white.png")
        asked = self.copies / "asked"
        client = self.serve_with_decoder("echo asked >> '%s'; printf MXB1; kill -SEGV $$" % asked)
        for _ in range(3):
            self.assertEqual(client.error(IMAGE, key=self.plain["uuid"]), "No Image")
        self.assertEqual(asked.read_text(), "asked\n" * 3)
        self.assertEqual(client.result(DATA, key=self.plain["uuid"]), PNG_OF_ONE_PIXEL)

    def ends_of_stream(self, client, length):
        head, tail, place = b"", b"", memoryview(bytearray(1 << 20))
        while length:
            count = client.socket.recv_into(place[:min(length, len(place))])
            self.assertGreater(count, 0, "%d bytes are missing" % length)
            length -= count
            if len(head) < 4096:
                head += place[:count]
            tail = (tail + place[max(0, count - 8192):count])[-8192:]
        return head, tail

    def expect_memory_below(self, bound):
        if self.server.is_sanitized():
            print("memory not judged: a sanitizer uses more", file=sys.stderr)
        else:
            self.assertLessEqual(self.server.memory(), bound)

    def test_does_not_read_a_movie_larger_than_a_reply(self):
        movie = self.large_master((4 << 30) + 1)
        client = self.serve_large()
        before = self.server.memory()
        self.assertEqual(client.error(DATA, key=self.plain["uuid"]), "No Image")
        client.expect_silence()
        lines = [line for line in self.server.console().splitlines() if "too large" in line]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("4294967297", lines[0])
        self.assertLess(self.server.memory() - before, MEMORY_ABOVE_FILE)
        self.assertLess(self.bytes_read_by_server(), 64 << 20)
        self.assertEqual(client.error(IMAGE, key=self.plain["uuid"]), "No Image")
        self.assertEqual(movie.stat().st_size, (4 << 30) + 1)

    def bytes_read_by_server(self):
        """Bytes that the process has read, from cache or disk."""
        for line in pathlib.Path("/proc/%d/io" % self.server.process.pid).read_text().splitlines():
            if line.startswith("rchar:"):
                return int(line.split()[1])
        raise AssertionError("no rchar")


if __name__ == "__main__":
    unittest.main()
