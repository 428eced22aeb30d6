"""Libraries with locked, missing or damaged files: the server's replies and log lines, and its recovery without a
restart. Other writers are real processes.
"""

import os
import pathlib
import plistlib
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest

import moxteltest

WRITER = """
import sqlite3, sys
path, script = sys.argv[1:]
database = sqlite3.connect(path, timeout=30, isolation_level=None)
for each in script.split(";"):
    database.execute(each)
print("ready", flush=True)
sys.stdin.read()
"""

ONLY_A_WRITE_LOCK = "BEGIN IMMEDIATE;UPDATE RKFolder SET name = 'unfinished'"
EVERYBODY_OUT = "BEGIN EXCLUSIVE"

FOLDERS = "SELECT name,uuid,folderType,modelId,posterVersionUuid,minImageDate,maxImageDate,isHiddenWhenEmpty FROM " \
    "RKFolder WHERE parentFolderUuid = '%s' AND isInTrash = 0"
FACES = "SELECT uuid,name,keyVersionUuid,faceKey FROM RKFaceName"


class Writer:
    """Another process that has a database open and holds the locks of its statements until the context ends."""

    def __init__(self, path, statements):
        self.process = subprocess.Popen([sys.executable, "-c", WRITER, str(path), statements],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        assert self.process.stdout.readline() == b"ready\n"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()

    def crash(self):
        self.process.send_signal(signal.SIGKILL)


class OddStates(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.library = moxteltest.make_library(self.folder / "Library", "--images", "none", "--photos", 40)
        self.apdb = self.library / "Database" / "apdb"
        self.path = self.apdb / "Library.apdb"
        self.faces_path = self.apdb / "Faces.db"

    def start(self):
        server = moxteltest.Server(self.library, *moxteltest.EVERY_LINE)
        server.__enter__()
        self.addCleanup(server.__exit__, None, None, None)
        client = moxteltest.Client(server)
        self.addCleanup(client.socket.close)
        return server, client

    def one(self, sql, path=None):
        database = sqlite3.connect("file:%s?mode=ro" % (path or self.path), uri=True)
        try:
            return database.execute(sql).fetchall()
        finally:
            database.close()

    def assert_logged(self, server, line):
        moxteltest.wait_for(lambda: line in server.log(), "the line %r" % line)

    def project(self):
        return self.one("SELECT uuid FROM RKFolder WHERE folderType = 2 AND parentFolderUuid = 'AllProjectsItem' "
                        "ORDER BY modelId")[0][0]

    def another_process_may_write(self):
        """Checks that no database is locked, without waiting."""
        for name in ("Library.apdb", "ImageProxies.apdb", "Properties.apdb", "Faces.db"):
            database = sqlite3.connect(self.apdb / name, timeout=0, isolation_level=None)
            try:
                database.execute("BEGIN EXCLUSIVE")
                database.execute("ROLLBACK")
            finally:
                database.close()

    # Other writers

    def test_nothing_is_locked_after_any_command(self):
        server, client = self.start()
        photo = self.one("SELECT uuid FROM RKVersion WHERE isInTrash = 0")[0][0]
        face = self.one("SELECT uuid FROM RKFaceName", self.faces_path)[0][0]
        album = self.one("SELECT uuid FROM RKAlbum WHERE albumType = 1 AND albumSubclass = 3")[0][0]
        place = {"latitude": 48.5, "longitude": 9.25}
        for command in (*moxteltest.command_names(), "No Such Command"):
            for keys in ({"key": photo, "id": album, **place}, {"id": self.project()}, {"id": "allPhotosAlbum"},
                         {"id": face, "key": face, "isFace": True}, {"id": "AllProjectsItem"}, {"id": 1, "key": photo},
                         {"key": "no such uuid", "id": "no such uuid"}, {"key": "x' OR '1'='1", "id": "it's"}, {}):
                with self.subTest(command=command, **keys):
                    client.send(command, **keys)
                    self.wait_until_handled(server, client)
                    self.another_process_may_write()
        self.assertTrue(server.is_running())

    def wait_until_handled(self, server, client):
        """Waits until the server has handled everything that was sent. Sends something that is not a command, because a
        command would release locks left by the one before."""
        def bad_requests():
            return server.log().count("Bad commandDict")
        before = bad_requests()
        client.wait_until_read()
        client.send()
        moxteltest.wait_for(lambda: bad_requests() > before, "the server to handle the request")

    def test_an_uncommitted_writer_does_not_affect_replies(self):
        server, client = self.start()
        before = client.result("Folders of Album", id="AllProjectsItem")
        self.assertTrue(before)
        with Writer(self.path, ONLY_A_WRITE_LOCK):
            self.assertEqual(client.result("Folders of Album", id="AllProjectsItem"), before)
            self.assertEqual(client.result("Photos of Album", id="no such uuid"), [])
        self.assertNotIn("could not", server.log())

    def test_a_locked_library_gives_empty_lists_that_are_not_cached(self):
        with Writer(self.path, EVERYBODY_OUT):
            server, client = self.start()
            self.assertEqual(client.result("Get Events"), [])
            self.assert_logged(server, "could not prepare query '%s'" % (FOLDERS % "AllProjectsItem"))
            self.assert_logged(server, "In parentUuid 'AllProjectsItem' I found 0 folders, 0 projects and 0 albums")
            self.assertEqual(client.result("Photos of Album", id="allPhotosAlbum"), [])
            self.assertNotIn("could not open db", server.log())
        self.assertTrue(client.result("Get Events"))
        self.assertTrue(client.result("Get Albums"))
        self.assertTrue(client.result("Photos of Album", id="allPhotosAlbum"))
        self.another_process_may_write()

    def test_locked_faces_give_an_empty_list_that_is_not_cached(self):
        with Writer(self.faces_path, EVERYBODY_OUT):
            server, client = self.start()
            self.assertEqual(client.result("Get Faces"), [])
            self.assert_logged(server, "could not prepare query '%s', result: 5" % FACES)
        self.assertTrue(client.result("Get Faces"))

    def test_locked_texts_leave_captions_out(self):
        server, client = self.start()
        whole = client.result("Photos of Album", id=self.project())
        self.assertTrue(any("Caption" in photo for photo in whole))
        with Writer(self.apdb / "Properties.apdb", EVERYBODY_OUT):
            plain = client.result("Photos of Album", id=self.project())
            self.assert_logged(server, "could not prepare query 'SELECT stringProperty FROM RKUniqueString")
        self.assertEqual([{key: value for key, value in photo.items() if key not in ("Caption", "Comment")}
                          for photo in whole], plain)
        self.assertEqual(client.result("Photos of Album", id=self.project()), whole)

    # Missing files

    def test_a_missing_library_database_gets_no_reply_and_then_empty_lists(self):
        """A failed open still increases the open count, so later attempts report success."""
        away = self.folder / "away"
        server, client = self.start()
        expected = client.result("Folders of Album", id="AllProjectsItem")
        self.path.rename(away)
        client.send("Folders of Album", id="AllProjectsItem")
        client.expect_silence()
        self.assert_logged(server, "could not open db '%s', result: 14" % self.path)
        self.assertEqual(client.result("Folders of Album", id="AllProjectsItem"), [])
        self.assert_logged(server, "could not prepare query '%s'" % (FOLDERS % "AllProjectsItem"))
        self.assertFalse(self.path.exists(), "a database came into being")
        self.assertNotIn("cannot be read where it is", server.console())
        away.rename(self.path)
        self.assertEqual(client.result("Folders of Album", id="AllProjectsItem"), expected)

    def test_missing_faces_give_an_empty_list_that_is_not_cached(self):
        away = self.folder / "away"
        face = self.one("SELECT uuid FROM RKFaceName", self.faces_path)[0][0]
        self.faces_path.rename(away)
        server, client = self.start()
        for _ in range(2):
            self.assertEqual(client.result("Get Faces"), [])
            self.assertEqual(client.result("Photos of Face", id=face), [])
        self.assertEqual(server.log().count("could not open db '%s', result: 14" % self.faces_path), 4)
        away.rename(self.faces_path)
        self.assertTrue(client.result("Get Faces"))

    def test_faces_built_without_the_library_database_are_not_cached(self):
        away = self.folder / "away"
        server, client = self.start()
        self.path.rename(away)
        faces = client.result("Get Faces")
        self.assertTrue(faces)
        for face in faces:
            self.assertNotIn("MasterKey", face)
            self.assertEqual((face["FaceIndex"], face["PhotoCount"]), (0, 0))
        away.rename(self.path)
        self.assertTrue(any("MasterKey" in face and face["PhotoCount"] > 0 for face in client.result("Get Faces")))

    def test_missing_texts_leave_captions_out(self):
        (self.apdb / "Properties.apdb").unlink()
        server, client = self.start()
        photos = client.result("Photos of Album", id=self.project())
        self.assertTrue(photos)
        self.assertFalse(any("Caption" in photo or "Comment" in photo for photo in photos))
        self.assert_logged(server, "could not open db '%s', result: 14" % (self.apdb / "Properties.apdb"))
        self.assert_logged(server, "could not open Properties DB")
        self.assertFalse((self.apdb / "Properties.apdb").exists())

    def test_a_library_that_is_removed_and_restored_needs_no_restart(self):
        away = self.folder / "away"
        server, client = self.start()
        events = client.result("Get Events")
        photos = client.result("Photos of Album", id="allPhotosAlbum")
        self.library.rename(away)
        self.assertEqual(client.result("Get Events"), events, "the kept list")
        client.send("Photos of Album", id="allPhotosAlbum")
        client.expect_silence()
        self.assertEqual(client.result("Photos of Album", id="allPhotosAlbum"), [])
        self.assertEqual(client.result("Get Faces"), [])
        self.assertFalse(self.library.exists())
        self.assertEqual(server.console().count("The database '%s' is not there" % self.path), 1)
        away.rename(self.library)
        self.assertEqual(client.result("Photos of Album", id="allPhotosAlbum"), photos)
        self.assertTrue(client.result("Get Faces"))
        self.assertEqual(server.console().count("The database '%s' can be read again." % self.path), 1)
        self.assertEqual(server.console().count("is not there"), 1)

    def test_a_library_that_appears_after_the_start_is_served(self):
        away = self.folder / "away"
        self.library.rename(away)
        server, client = self.start()
        self.assertIn("Problem with reading iPhoto or Aperture data: ", server.console())
        self.assertEqual(client.result("Get Events"), [])
        self.assertEqual(client.error("Folders of Album", id="AllProjectsItem"), "Album not found")
        self.assert_logged(server, "did not found album with ID '0'")
        away.rename(self.library)
        self.assertTrue(client.result("Get Events"))

    # Damaged files

    def unreadable(self, prepare, problem):
        """With this main database lists are empty, the server keeps running, and its console names the problem once;
        with a good one it serves again."""
        kept = self.folder / "kept"
        shutil.copy2(self.path, kept)
        prepare()
        before = moxteltest.hash_of_library(self.library)
        server, client = self.start()
        self.assertEqual(client.result("Get Events"), [])
        self.assertEqual(client.result("Photos of Album", id="allPhotosAlbum"), [])
        self.assert_logged(server, "could not prepare query '%s'" % (FOLDERS % "AllProjectsItem"))
        self.assertEqual(moxteltest.hash_of_library(self.library), before)
        self.assertEqual(server.console().count("Error:  The database '%s' %s" % (self.path, problem)), 1,
                         server.console())
        os.replace(kept, self.path)
        self.assertTrue(client.result("Get Events"))
        self.assertTrue(client.result("Photos of Album", id="allPhotosAlbum"))
        self.assertIn("Info:  The database '%s' can be read again." % self.path, server.console())

    def test_an_empty_file(self):
        self.unreadable(lambda: self.path.write_bytes(b""), "has none of the tables")

    def test_a_file_that_is_not_a_database(self):
        self.unreadable(lambda: self.path.write_bytes(b"x" * 100_000), "is damaged: file is not a database.")

    def test_a_file_without_tables(self):
        def prepare():
            self.path.unlink()
            sqlite3.connect(self.path).executescript("CREATE TABLE other(x); INSERT INTO other VALUES(1)")
        self.unreadable(prepare, "has none of the tables")

    def test_a_missing_column(self):
        self.unreadable(lambda: sqlite3.connect(self.path).executescript(
            "ALTER TABLE RKFolder RENAME COLUMN minImageDate TO x;ALTER TABLE RKVersion RENAME COLUMN uuid TO y"),
            "lacks what the server reads: column RKFolder.minImageDate, column RKVersion.uuid.")

    def test_columns_that_only_some_versions_have(self):
        columns = [(self.path, "RKFolder", "isHiddenWhenEmpty"), (self.path, "RKFolder", "posterVersionUuid"),
                   (self.path, "RKAlbum", "posterVersionUuid"), (self.path, "RKVersion", "exifLatitude"),
                   (self.path, "RKVersion", "exifLongitude"), (self.path, "RKVersion", "videoPosterFramePoint"),
                   (self.apdb / "ImageProxies.apdb", "RKImageProxyState", "faceTilePath")]
        for path, table, column in columns:
            with sqlite3.connect(path) as database:
                database.execute("UPDATE %s SET %s = NULL" % (table, column))
            database.close()
        asked = [("Get Albums", {}), ("Get Events", {}), ("Get Faces", {}),
                 *(("Photos of Album", {"id": each}) for each in ("allPhotosAlbum", self.project())),
                 *(("Photos of Album", {"id": each}) for (each,) in self.one(
                     "SELECT uuid FROM RKAlbum WHERE albumType = 1 AND albumSubclass = 3"))]
        server, client = self.start()
        expected = [client.result(command, **keys) for command, keys in asked]
        self.assertTrue(all(expected))
        for path, table, column in columns:
            database = sqlite3.connect(path)
            database.execute("ALTER TABLE %s DROP COLUMN %s" % (table, column))
            database.close()
        before = moxteltest.hash_of_library(self.library)
        server, client = self.start()
        self.assertEqual([client.result(command, **keys) for command, keys in asked], expected)
        self.assertNotIn("could not", server.log())
        self.assertNotIn("Error", server.console())
        self.assertEqual(moxteltest.hash_of_library(self.library), before)

    def test_a_file_truncated_at_any_position_while_it_is_served(self):
        whole = self.path.read_bytes()
        server, client = self.start()
        for size in (len(whole) - 1, len(whole) // 2, len(whole) // 5, 5000, 4096, 100, 1, 0):
            with self.subTest(size=size):
                os.truncate(self.path, size)
                for command, keys in (("Photos of Album", {"id": "allPhotosAlbum"}), ("Get Faces", {}),
                                      ("Folders of Album", {"id": "AllProjectsItem"})):
                    self.assertIsInstance(client.result(command, **keys), list)
        self.path.write_bytes(whole)
        self.assertTrue(client.result("Photos of Album", id="allPhotosAlbum"))
        self.assertTrue(any(face["PhotoCount"] for face in client.result("Get Faces")))

    def test_damaged_pages_while_they_are_served(self):
        roll = random.Random(1)
        server, client = self.start()
        photos = client.result("Photos of Album", id="allPhotosAlbum")
        photo = photos[0]["PhotoKey"]
        whole = {path: path.read_bytes() for path in (self.path, self.faces_path, self.apdb / "Properties.apdb")}
        asked = [("Photos of Album", {"id": "allPhotosAlbum"}), ("Photos of Album", {"id": self.project()}),
                 ("Folders of Album", {"id": "AllProjectsItem"}), ("Folders of Album", {"id": "TopLevelAlbums"}),
                 ("Get Faces", {}), ("Photos of Face", {"id": "no such uuid"})]
        for turn in range(20):
            for path, content in whole.items():
                damaged = bytearray(content)
                for _ in range(roll.choice((1, 30, 1000))):
                    damaged[roll.randrange(roll.choice((200, len(damaged))))] = roll.randrange(256)
                path.write_bytes(damaged)
            for command, keys in asked:
                with self.subTest(command=command, turn=turn):
                    self.assertIsInstance(client.result(command, **keys), list)
            client.send("Infos of Photo", key=photo)
            client.wait_until_read()
            client.send("Get Version")
            while client.receive() != {"result": "1.4"}:
                pass
        for path, content in whole.items():
            path.write_bytes(content)
        self.assertEqual(client.result("Photos of Album", id="allPhotosAlbum"), photos)

    # The album file

    def test_an_unreadable_album_file_is_reported_and_ignored(self):
        _, client = self.start()
        albums = client.result("Get Albums")
        album = self.one("SELECT uuid FROM RKAlbum WHERE folderUuid = 'TopLevelAlbums' AND versionCount IS NULL")
        self.assertTrue(album)
        whole = plistlib.dumps({"List of Albums": [{"GUID": uuid, "PhotoCount": 4711} for (uuid,) in album]})
        (self.library / "AlbumData.xml").write_bytes(whole)
        _, client = self.start()
        self.assertIn(4711, [each["PhotoCount"] for each in client.result("Get Albums")])
        bomb = whole.replace(b"<plist", b"<!DOCTYPE x [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;'>]>\n<plist", 1)
        bomb = b"<?xml version='1.0'?>" + bomb[bomb.index(b"<!DOCTYPE x"):]
        binary = plistlib.dumps(plistlib.loads(whole), fmt=plistlib.FMT_BINARY)
        for broken in (b"", b"no list", whole[:len(whole) // 2], bomb, b"<plist>" + b"<array>" * 100_000, binary[:-9]):
            with self.subTest(broken=broken[:100]):
                (self.library / "AlbumData.xml").write_bytes(broken)
                server, client = self.start()
                self.assertIn("Error:  Problem with reading iPhoto data: '%s/AlbumData.xml: " % self.library,
                              server.console())
                for found in ("Found 0 albums", "Found 0 rolls", "Found 0 faces"):
                    self.assert_logged(server, found)
                self.assertEqual(client.result("Get Albums"), albums)

    # Databases that are read from a private copy

    def test_a_hot_journal_is_read_from_a_private_copy(self):
        expected = self.one("SELECT COUNT(*) FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0")[0][0]
        crash = "PRAGMA cache_size=1;BEGIN IMMEDIATE;UPDATE RKVersion SET isInTrash = 1, filename = hex(randomblob(500))"
        with Writer(self.path, crash) as writer:
            writer.crash()
        journal = pathlib.Path(str(self.path) + "-journal")
        self.assertTrue(journal.exists())
        before = moxteltest.hash_of_library(self.library)
        server, client = self.start()
        self.assertEqual(len(client.result("Photos of Album", id="allPhotosAlbum")), expected)
        self.assertTrue(client.result("Get Events"))
        self.assertEqual(server.console().count("A private copy of it is read."), 1)
        self.assertIn("its journal is still there", server.console())
        self.assertEqual(moxteltest.hash_of_library(self.library), before)

    def test_hot_journals_of_the_other_databases(self):
        server, client = self.start()
        faces = client.result("Get Faces")
        photos = client.result("Photos of Album", id=self.project())
        self.assertTrue(any("Caption" in photo for photo in photos))
        for name, table, column in (("Faces.db", "RKDetectedFace", "masterUuid"),
                                    ("Properties.apdb", "RKUniqueString", "stringProperty")):
            fill = ("PRAGMA cache_size=1;BEGIN IMMEDIATE;UPDATE %s SET %s = hex(randomblob(500));"
                    "CREATE TABLE filler(a);WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE "
                    "x < 99) INSERT INTO filler SELECT randomblob(20000) FROM n" % (table, column))
            with Writer(self.apdb / name, fill) as writer:
                writer.crash()
            self.assertTrue((self.apdb / (name + "-journal")).exists())
        before = moxteltest.hash_of_library(self.library)
        server, client = self.start()
        self.assertEqual(client.result("Get Faces"), faces)
        self.assertEqual(client.result("Photos of Album", id=self.project()), photos)
        self.assertEqual(server.console().count("A private copy of it is read."), 2)
        self.assertEqual(moxteltest.hash_of_library(self.library), before)

    def test_write_ahead_logging_is_read_from_a_private_copy(self):
        server, client = self.start()
        statements = "PRAGMA journal_mode=WAL;UPDATE RKFolder SET name = 'from the log' WHERE uuid = '%s'" % self.project()
        with Writer(self.path, statements):
            self.assertTrue(pathlib.Path(str(self.path) + "-wal").stat().st_size)
            names = [each["AlbumName"] for each in client.result("Folders of Album", id="AllProjectsItem")]
            self.assertIn("from the log", names)
            self.assertIn("it is kept with a write-ahead log", server.console())
        self.assertEqual(sorted(path.name for path in self.apdb.glob("*.apdb*") if path.name.startswith("Library")),
                         ["Library.apdb"])
        before = moxteltest.hash_of_library(self.library)
        names = [each["AlbumName"] for each in client.result("Folders of Album", id="AllProjectsItem")]
        self.assertIn("from the log", names, "without its side files")
        self.assertEqual(moxteltest.hash_of_library(self.library), before)


if __name__ == "__main__":
    unittest.main()
