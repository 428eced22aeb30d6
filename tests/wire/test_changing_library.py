"""A library that changes while it is served, as a nightly copy changes it, and one that comes after the start."""

import contextlib
import os
import pathlib
import plistlib
import shutil
import sqlite3
import tempfile
import unittest

import moxteltest

LIST_BUILT = "In parentUuid '%s' I found"


class ChangingLibrary(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtel."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.library = moxteltest.make_library(self.folder / "Library", "--images", "none", "--photos", "40")
        (self.library / "AlbumData.xml").unlink(missing_ok=True)

    def database(self, name="Library.apdb"):
        return self.library / "Database" / "apdb" / name

    def change(self, sql, *values, name="Library.apdb"):
        with contextlib.closing(sqlite3.connect(self.database(name))) as database, database:
            database.execute(sql, values)

    def one(self, sql):
        with contextlib.closing(sqlite3.connect("file:%s?mode=ro" % self.database(), uri=True)) as database:
            return database.execute(sql).fetchone()

    def lists(self, server):
        """The names in the three lists of the top level, as a new client gets them."""
        with moxteltest.Client(server) as client:
            return [sorted(entry["AlbumName"] for entry in client.result(command))
                    for command in ("Get Albums", "Get Events", "Get Faces")]

    def rename_everything(self, name):
        self.change("UPDATE RKAlbum SET name = ? WHERE folderUuid = 'TopLevelAlbums'", name)
        self.change("UPDATE RKFolder SET name = ? WHERE folderType = 2", name)
        self.change("UPDATE RKFaceName SET name = ?", name, name="Faces.db")

    def assert_renamed(self, lists, name):
        for names in lists:
            self.assertIn(name, names)

    def test_unchanged_lists_are_built_once(self):
        with moxteltest.Server(self.library) as server:
            first = self.lists(server)
            self.assertEqual(self.lists(server), first)
            for parent in ("TopLevelAlbums", "AllProjectsItem"):
                self.assertEqual(server.log().count(LIST_BUILT % parent), 1)

    def test_a_new_client_gets_the_lists_of_changed_databases(self):
        with moxteltest.Server(self.library) as server:
            self.lists(server)
            self.rename_everything("One")
            self.assert_renamed(self.lists(server), "One")

    def test_a_new_client_gets_the_lists_of_a_copy_with_older_dates(self):
        with moxteltest.Server(self.library) as server:
            self.lists(server)
            for name in ("Library.apdb", "Faces.db"):
                shutil.copy2(self.database(name), self.database(name + ".kept"))
            self.rename_everything("One")
            self.assert_renamed(self.lists(server), "One")
            # Back to the older state, under the same size, with the older date.
            for name in ("Library.apdb", "Faces.db"):
                os.replace(self.database(name + ".kept"), self.database(name))
            for names in self.lists(server):
                self.assertNotIn("One", names)

    def test_a_new_client_gets_what_is_in_a_write_ahead_log(self):
        self.change("PRAGMA journal_mode = WAL")
        writer = sqlite3.connect(self.database())
        self.addCleanup(writer.close)
        # Nothing is written back into the database file, whose stamp stays as it is.
        writer.execute("PRAGMA wal_autocheckpoint = 0")
        writer.execute("UPDATE RKAlbum SET name = 'Before' WHERE folderUuid = 'TopLevelAlbums'")
        writer.commit()
        with moxteltest.Server(self.library) as server:
            self.assertIn("Before", self.lists(server)[0])
            stamp = self.database().stat().st_mtime_ns
            writer.execute("UPDATE RKAlbum SET name = 'After' WHERE folderUuid = 'TopLevelAlbums'")
            writer.commit()
            self.assertEqual(self.database().stat().st_mtime_ns, stamp)
            self.assertIn("After", self.lists(server)[0])

    def test_a_connected_client_gets_the_changed_lists_within_seconds(self):
        with moxteltest.Server(self.library) as server, moxteltest.Client(server) as client:
            client.result("Get Albums")
            self.rename_everything("One")
            moxteltest.wait_for(lambda: "One" in [album["AlbumName"] for album in client.result("Get Albums")],
                                "the changed list")
            self.assertEqual(server.log().count(LIST_BUILT % "TopLevelAlbums"), 2)

    def test_album_data_that_comes_later_is_read(self):
        project, = self.one("SELECT f.uuid FROM RKFolder f JOIN RKVersion v ON v.projectUuid = f.uuid WHERE "
                            "f.parentFolderUuid = 'AllProjectsItem' AND f.folderType = 2 AND f.isInTrash = 0 AND "
                            "NOT f.isHiddenWhenEmpty AND v.isInTrash = 0 AND v.versionNumber != 0")
        self.change("UPDATE RKFolder SET posterVersionUuid = NULL WHERE uuid = ?", project)

        def key_photo(server):
            with moxteltest.Client(server) as client:
                return [event.get("KeyPhotoKey") for event in client.result("Get Events")
                        if event["AlbumId"] == project]

        file = self.library / "AlbumData.xml"
        with moxteltest.Server(self.library) as server:
            self.assertNotIn("the photo", key_photo(server))
            with open(file, "wb") as stream:
                plistlib.dump({"List of Rolls": [{"ProjectUuid": project, "KeyPhotoKey": "the photo"}]}, stream)
            os.utime(file, (1e9, 1e9))
            self.assertEqual(key_photo(server), ["the photo"])

    def test_album_data_that_cannot_be_read_leaves_no_cached_list(self):
        (self.library / "AlbumData.xml").mkdir()
        with moxteltest.Server(self.library) as server, moxteltest.Client(server) as client:
            for built in (2, 3):
                client.result("Get Albums")
                self.assertEqual(server.log().count(LIST_BUILT % "TopLevelAlbums"), built)
            self.assertEqual(server.console().count("Problem with reading iPhoto data"), 1)

    def test_a_library_that_comes_late_is_served_as_one_that_was_there(self):
        away = self.folder / "Away"
        parent, = self.one("SELECT uuid FROM RKFolder WHERE folderType = 1 AND parentFolderUuid = 'TopLevelAlbums'")
        with moxteltest.Server(self.library) as server, moxteltest.Client(server) as client:
            commands = [("Get Albums", {}), ("Get Events", {}), ("Get Faces", {}), ("Folders of Album", {"id": parent})]
            expected = [client.result(command, **arguments) for command, arguments in commands]
        self.library.rename(away)
        with moxteltest.Server(self.library) as server, moxteltest.Client(server) as client:
            self.assertEqual(client.result("Get Faces"), [])
            away.rename(self.library)
            self.assertEqual([client.result(command, **arguments) for command, arguments in commands], expected)

    def test_the_lists_stay_while_the_library_is_away(self):
        away = self.folder / "Away"
        with moxteltest.Server(self.library) as server:
            lists = self.lists(server)
            self.library.rename(away)
            self.assertEqual(self.lists(server), lists)
            away.rename(self.library)
            self.rename_everything("One")
            self.assert_renamed(self.lists(server), "One")

    def test_the_library_is_not_changed(self):
        before = moxteltest.hash_of_library(self.library)
        with moxteltest.Server(self.library) as server:
            self.lists(server)
            self.lists(server)
        self.assertEqual(moxteltest.hash_of_library(self.library), before)


if __name__ == "__main__":
    unittest.main()
