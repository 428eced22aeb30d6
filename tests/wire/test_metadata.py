"""The two commands that describe one photo: the properties of its file, those of a movie from the databases, and
the photo's record."""

import os
import pathlib
import shutil
import sqlite3
import sys
import tempfile
import unittest

import keyedarchive
import moxteltest
from golden_properties import CLAIMED, GOLDEN, SILENT, difference
from moxteltest import Client, LibraryTestCase, Server

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "model"))
import model  # noqa: E402

METADATA, INFOS = "Metadata of Photo", "Infos of Photo"
ODD_KEYS = ("no such uuid", "x' OR '1'='1", "%@%s%n", "a\0b", "é", "0", "-1", "29", "4294967325", "(((")
NUMBERS = {"DataRate": "Datarate (kbit/s)", "FPS": "Frames per Second", "MovieDuration": "Duration (s)"}
TEXTS = {"MediaCodecName": "Codec", "AudioTrackSampleRate": "Audio Sample Rate", "AspectRatio": "Aspect Ratio",
         "PixelSize": "Pixel Size"}


class Rows:
    """Reads a library's databases; in a copy, also changes them."""

    def __init__(self, library):
        self.library = library

    def connect(self, database):
        connection = sqlite3.connect(self.library / "Database/apdb" / (database + ".apdb"))
        connection.row_factory = sqlite3.Row
        return connection

    def ask(self, database, question, *values):
        connection = self.connect(database)
        try:
            return connection.execute(question, values).fetchall()
        finally:
            connection.close()

    def change(self, database, statement, *values):
        connection = self.connect(database)
        with connection:
            connection.execute(statement, values)
        connection.close()

    def versions(self, condition):
        return self.ask("Library", "SELECT v.*, m.imagePath FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid "
                                   "WHERE " + condition + " ORDER BY v.modelId")

    def stills(self):
        """One version of each picture, served from its master."""
        return self.versions("v.versionNumber = 1 AND v.hasAdjustments = 0 AND v.videoPosterFramePoint IS NULL")

    def movies(self):
        return self.versions("v.videoPosterFramePoint IS NOT NULL AND v.hasAdjustments = 0")

    def movie_metadata(self, version):
        """The expected metadata of a movie, from the tables."""
        wanted = {"MediaType": "Movie", "Filename": version["fileName"], "Pixel Height": version["masterHeight"],
                  "Pixel Width": version["masterWidth"], "Creation Date": keyedarchive.Date(version["createDate"])}
        path = self.library / "Masters" / version["imagePath"]
        if path.is_file() and path.stat().st_size >= 1024:
            wanted["Filesize (KB)"] = path.stat().st_size // 1024
        for key, value in self.ask("Properties", "SELECT propertyKey, numberProperty FROM RKExifNumberProperty "
                                                 "WHERE versionId = ?", version["modelId"]):
            if key in NUMBERS:
                wanted[NUMBERS[key]] = float(value)
        for key, value in self.ask("Properties", "SELECT o.propertyKey, u.stringProperty FROM RKOtherProperty o JOIN "
                                                 "RKUniqueString u ON u.modelId = o.stringId WHERE o.versionId = ?",
                                   version["modelId"]):
            if key in TEXTS:
                wanted[TEXTS[key]] = value
        return wanted


class MetadataTestCase(LibraryTestCase):
    """Each test uses its own copy of the sample library, unchanged while it is served."""

    options = ("--images", "small", "--photos", "40")

    def setUp(self):
        self.copies = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest.", dir=self.folder))
        self.addCleanup(shutil.rmtree, self.copies)
        self.copy = self.copies / "Library"
        shutil.copytree(self.library, self.copy, symlinks=True)
        self.rows = Rows(self.copy)

    def serve(self, *arguments):
        """Yields a client. Links in the copy may lead to the fixtures and to the copies' folder."""
        before = moxteltest.hash_of_library(self.copy)
        self.addCleanup(lambda: self.assertEqual(moxteltest.hash_of_library(self.copy), before, "was changed"))
        allowed = "%s:%s" % (self.copies, os.environ["MOXTEL_FIXTURES"])
        self.server = self.enterContext(Server(self.copy, "-ReferencedFolders", allowed, *arguments))
        return self.enterContext(Client(self.server))

    def set_master(self, version, file):
        """Makes a file the master of a version."""
        self.rows.change("Library", "UPDATE RKMaster SET imagePath = ? WHERE uuid = ?", file, version["masterUuid"])

    def expect(self, wanted, seen):
        self.assertIsNone(difference(wanted, seen))


class Pictures(MetadataTestCase):
    options = ("--images", "none", "--photos", "200")

    def serve_fixtures(self, names):
        """Yields a client and the key of each fixture."""
        fixtures = pathlib.Path(os.environ["MOXTEL_FIXTURES"])
        (self.copy / "Masters").mkdir(exist_ok=True)
        (self.copy / "Masters/fixtures").symlink_to(fixtures)
        stills = self.rows.stills()
        self.assertGreaterEqual(len(stills), len(names))
        keys = {}
        for name, version in zip(names, stills):
            self.assertTrue((fixtures / name).is_file(), name)
            self.set_master(version, "fixtures/" + name)
            keys[name] = version["uuid"]
        return self.serve(), keys

    def test_every_fixture_has_its_expected_dictionary(self):
        client, keys = self.serve_fixtures(GOLDEN)
        for name, key in keys.items():
            with self.subTest(name):
                self.expect(GOLDEN[name], client.result(METADATA, key=key))

    def test_dictionaries_and_arrays_are_immutable_at_every_level(self):
        def mutable(value, path=""):
            if isinstance(value, (keyedarchive.Dict, keyedarchive.List)):
                if value.is_mutable:
                    yield path
                for key in value if isinstance(value, dict) else range(len(value)):
                    yield from mutable(value[key], "%s/%s" % (path, key))

        client, keys = self.serve_fixtures(["jpeg-camera.jpg", "raw-orientation-6.dng", "tiff-camera.tif"])
        for key in keys.values():
            self.assertEqual(list(mutable(client.result(METADATA, key=key))), [])

    def test_reports_header_values_without_decompressing(self):
        client, keys = self.serve_fixtures(CLAIMED)
        before = self.server.memory()
        for name, key in keys.items():
            with self.subTest(name):
                metadata = client.result(METADATA, key=key)
                self.assertEqual((metadata["PixelWidth"], metadata["PixelHeight"]), CLAIMED[name])
        self.assertLess(self.server.memory() - before, 128 << 20)

    def test_files_that_are_not_pictures_have_no_metadata(self):
        client, keys = self.serve_fixtures(SILENT)
        for name, key in keys.items():
            with self.subTest(name):
                self.assertEqual(client.error(METADATA, key=key), "No Metadata")
                client.expect_silence()

    def test_a_truncated_file_has_its_size_or_no_metadata(self):
        fixtures = pathlib.Path(os.environ["MOXTEL_FIXTURES"])
        names = [p.name for p in sorted(fixtures.glob("broken-*")) if p.name not in CLAIMED and p.name not in SILENT]
        self.assertGreater(len(names), 5)
        client, keys = self.serve_fixtures(names)
        for name, key in keys.items():
            with self.subTest(name):
                reply = client.ask(METADATA, key=key)
                if reply != {"error": "No Metadata"}:
                    metadata = reply["result"]
                    self.assertEqual((metadata["PixelWidth"], metadata["PixelHeight"]), (96, 64))

    def test_missing_files_have_no_metadata(self):
        stills = self.rows.stills()
        (self.copy / "Masters/folder.jpg").mkdir(parents=True)
        os.mkfifo(self.copy / "Masters/pipe.jpg")
        (self.copy / "Masters/loop.jpg").symlink_to("loop.jpg")
        secret = self.copies / "secret.jpg"
        shutil.copy(pathlib.Path(os.environ["MOXTEL_FIXTURES"]) / "jpeg-420.jpg", secret)
        paths = ("missing.jpg", "folder.jpg", "pipe.jpg", "loop.jpg", "../../secret.jpg", "..")
        for version, path in zip(stills, paths):
            self.set_master(version, path)
        client = self.serve()
        for version, path in zip(stills, paths):
            self.assertEqual(client.error(METADATA, key=version["uuid"]), "No Metadata", path)
            client.expect_silence()

    def test_an_edited_photo_is_described_by_its_preview(self):
        version = self.rows.stills()[0]
        fixtures = pathlib.Path(os.environ["MOXTEL_FIXTURES"])
        for folder, file in (("Masters", "jpeg-420.jpg"), ("Previews", "jpeg-odd-size.jpg")):
            (self.copy / folder).mkdir(exist_ok=True)
            shutil.copy(fixtures / file, self.copy / folder / "picture.jpg")
        self.set_master(version, "picture.jpg")
        self.rows.change("Library", "UPDATE RKVersion SET hasAdjustments = 1 WHERE uuid = ?", version["uuid"])
        self.rows.change("ImageProxies", "UPDATE RKImageProxyState SET fullSizePreviewPath = 'picture.jpg' WHERE "
                                         "versionUuid = ?", version["uuid"])
        self.expect(GOLDEN["jpeg-odd-size.jpg"], self.serve().result(METADATA, key=version["uuid"]))


class Movies(MetadataTestCase):
    options = ("--images", "small", "--photos", "200")

    def setUp(self):
        super().setUp()
        self.movie = self.rows.movies()[0]
        self.key = self.movie["uuid"]

    def metadata(self, client):
        return client.result(METADATA, key=self.key)

    def set_file(self, size):
        path = self.copies / "movie.mov"
        with open(path, "wb") as file:
            file.truncate(size)
        if not (self.copy / "Masters/movie.mov").is_symlink():
            (self.copy / "Masters/movie.mov").symlink_to(path)
            self.set_master(self.movie, "movie.mov")

    def set_number(self, key, value, version=None):
        self.rows.change("Properties", "INSERT OR REPLACE INTO RKExifNumberProperty (versionId, propertyKey, "
                         "numberProperty) VALUES (?, ?, ?)", version or self.movie["modelId"], key, value)

    def set_text(self, key, value, version=None):
        self.rows.change("Properties", "INSERT INTO RKUniqueString (modelId, stringProperty) VALUES ((SELECT "
                         "max(modelId) + 1 FROM RKUniqueString), ?)", value)
        self.rows.change("Properties", "DELETE FROM RKOtherProperty WHERE versionId = ? AND propertyKey = ?",
                         version or self.movie["modelId"], key)
        self.rows.change("Properties", "INSERT INTO RKOtherProperty (versionId, propertyKey, stringId) VALUES (?, ?, "
                         "(SELECT max(modelId) FROM RKUniqueString))", version or self.movie["modelId"], key)

    def test_movies_have_the_metadata_of_the_databases(self):
        # At debug level 0 only 100 lines a second are logged.
        client = self.serve("-DebugLevel", "2")
        movies = self.rows.movies()
        self.assertGreater(len(movies), 10)
        for version in movies:
            with self.subTest(version["fileName"]):
                metadata = client.result(METADATA, key=version["uuid"])
                self.expect(self.rows.movie_metadata(version), metadata)
                self.assertTrue(metadata.is_mutable)
        self.assertEqual(self.server.log().count("send video metadata: {"), len(movies))

    def test_all_seven_properties_and_no_other(self):
        numbers = {"DataRate": 1500.5, "FPS": 29.97, "MovieDuration": 12, "Width": 1920, "Latitude": 1.5, "": 3}
        texts = {"MediaCodecName": "H.264", "AudioTrackSampleRate": "44.1 kHz", "AspectRatio": "16:9",
                 "PixelSize": "1920 × 1080", "ShutterSpeed": "1/60", "FPS": "a text", "": "nothing"}
        for key, value in numbers.items():
            self.set_number(key, value)
        for key, value in texts.items():
            self.set_text(key, value)
        self.set_number("FPS", 1, version=10**6)
        self.set_text("PixelSize", "of another", version=10**6)
        metadata = self.metadata(self.serve())
        self.expect({"MediaType": "Movie", "Filename": self.movie["fileName"], "Pixel Height": 64, "Pixel Width": 96,
                     "Creation Date": keyedarchive.Date(self.movie["createDate"]),
                     "Filesize (KB)": (self.copy / "Masters" / self.movie["imagePath"]).stat().st_size >> 10,
                     "Datarate (kbit/s)": 1500.5, "Frames per Second": 29.97, "Duration (s)": 12.0, "Codec": "H.264",
                     "Audio Sample Rate": "44.1 kHz", "Aspect Ratio": "16:9", "Pixel Size": "1920 × 1080"}, metadata)

    def test_the_size_is_in_whole_kilobytes_and_never_0(self):
        self.set_file(0)
        server = self.enterContext(Server(self.copy, "-ReferencedFolders", self.copies))
        client = self.enterContext(Client(server))
        for size, wanted in ((0, None), (1023, None), (1024, 1), (2047, 1), (5 << 40, 5 << 30)):
            self.set_file(size)
            self.assertEqual(self.metadata(client).get("Filesize (KB)"), wanted, size)

    def test_a_movie_with_a_missing_file_has_no_size(self):
        self.set_master(self.movie, "gone.mov")
        metadata = self.metadata(self.serve())
        self.assertNotIn("Filesize (KB)", metadata)
        self.assertEqual(metadata["Filename"], self.movie["fileName"])

    def test_without_a_date_in_the_record_only_the_databases_date_is_reported(self):
        self.rows.change("Library", "UPDATE RKVersion SET createDate = 300000000.5 WHERE uuid = ?", self.key)
        metadata = self.metadata(self.serve())
        self.assertEqual(metadata["Creation Date"], keyedarchive.Date(300000000.5))
        self.assertNotIn("CreationDate", metadata)
        self.assertNotIn("ModificationDate", metadata)

    def test_missing_values_are_0_or_left_out(self):
        self.rows.change("Library", "UPDATE RKVersion SET fileName = NULL, masterHeight = NULL, masterWidth = NULL, "
                                    "createDate = NULL WHERE uuid = ?", self.key)
        self.rows.change("Properties", "DELETE FROM RKExifNumberProperty WHERE versionId = ?", self.movie["modelId"])
        self.rows.change("Properties", "DELETE FROM RKOtherProperty WHERE versionId = ?", self.movie["modelId"])
        self.set_number("FPS", None)
        self.set_file(0)
        self.expect({"MediaType": "Movie", "Pixel Height": 0, "Pixel Width": 0, "Creation Date": keyedarchive.Date(0.0),
                     "Frames per Second": 0.0}, self.metadata(self.serve()))

    def test_logs_a_query_that_cannot_be_prepared_and_reports_the_rest(self):
        self.set_number("FPS", 25)
        self.rows.change("Properties", "DROP TABLE RKOtherProperty")
        metadata = self.metadata(self.serve())
        self.assertEqual(metadata["Frames per Second"], 25.0)
        self.assertNotIn("Aspect Ratio", metadata)
        self.assertIn("could not prepare query 'SELECT stringProperty,propertyKey FROM RKUniqueString,RKOtherProperty "
                      "WHERE versionId = %d AND stringId = RKUniqueString.modelId'" % self.movie["modelId"],
                      self.server.log())

    def test_without_the_properties_database_reports_the_rest(self):
        for path in (self.copy / "Database").rglob("Properties.apdb"):
            path.unlink()
        metadata = self.metadata(self.serve())
        self.assertEqual(metadata["Filename"], self.movie["fileName"])
        self.assertFalse(set(metadata) & {*NUMBERS.values(), *TEXTS.values()})

    def test_replies_with_a_damaged_properties_database(self):
        (self.copy / "Database/apdb/Properties.apdb").write_bytes(b"no database" * 1000)
        self.assertEqual(self.metadata(self.serve())["Pixel Width"], 96)


class Keys(MetadataTestCase):
    def test_metadata_without_a_key_is_an_error(self):
        client = self.serve()
        for keys, text in (({}, "(null)"), ({"key": ""}, ""), ({"key": None}, "(null)")):
            self.assertEqual(client.error(METADATA, **keys), "No Image with key '%s'" % text)
            client.expect_silence()

    def test_an_unknown_photo_has_no_master(self):
        client = self.serve()
        for key in ODD_KEYS:
            self.assertEqual(client.error(METADATA, key=key), "No Master Image", key)
            client.expect_silence()

    def test_a_photo_without_its_master_s_row_has_no_master(self):
        version = self.rows.stills()[0]
        self.rows.change("Library", "DELETE FROM RKMaster WHERE uuid = ?", version["masterUuid"])
        self.assertEqual(self.serve().error(METADATA, key=version["uuid"]), "No Master Image")

    def test_a_key_that_is_not_a_string_gets_no_reply(self):
        client = self.serve()
        for command in (METADATA, INFOS):
            for key in (7, 1.5, True, b"bytes", ["list"], {"a": "b"}):
                client.send(command, key=key)
                client.expect_silence()

    def test_infos_without_a_key_are_one_error(self):
        client = self.serve()
        for keys in ({}, {"key": ""}, {"key": None}):
            self.assertEqual(client.error(INFOS, **keys), "No Image")
            client.expect_silence()

    def test_infos_without_a_key_are_two_replies_if_the_lookup_finds_a_photo(self):
        """The server looks up "(null)" for a missing key and "" for an empty one."""
        first, second = self.rows.stills()[:2]
        for version, uuid in ((first, "(null)"), (second, "")):
            self.rows.change("Library", "UPDATE RKVersion SET uuid = ? WHERE modelId = ?", uuid, version["modelId"])
        client = self.serve()
        for keys, version in (({}, first), ({"key": ""}, second)):
            self.assertEqual(client.error(INFOS, **keys), "No Image")
            self.assertEqual(client.receive()["result"]["ModelId"], version["modelId"])
            client.expect_silence()

    def test_infos_of_an_unknown_photo_get_no_reply(self):
        client = self.serve()
        for key in ODD_KEYS:
            client.send(INFOS, key=key)
            client.expect_silence()

    def test_infos_are_the_photo_s_record(self):
        reference = model.Library(self.copy)
        self.addCleanup(reference.close)
        client = self.serve()
        versions = self.rows.ask("Library", "SELECT uuid FROM RKVersion")
        self.assertGreater(len(versions), 40)
        for (uuid,) in versions:
            metadata = client.result(INFOS, key=uuid)
            self.expect(reference.photo_with_uuid(uuid), metadata)
            self.assertTrue(metadata.is_mutable)


if __name__ == "__main__":
    unittest.main()
