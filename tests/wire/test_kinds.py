"""Serves a library of each kind, and compares the replies with an independent reading of the same files."""

import contextlib
import pathlib
import shutil
import sqlite3
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "model"))

import kinds
import moxteltest

KINDS = {"photos4": kinds.Photos4, "photos5": kinds.Photos5, "photos8": kinds.Photos5, "photos11": kinds.Photos5,
         "xml": kinds.AlbumDataOnly}
PHOTOS = 130


class KindTestCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.folder)

    def library(self, kind, *options):
        return moxteltest.make_library(self.folder / kind, "--kind", kind, "--photos", PHOTOS, *options)


def as_dictionaries(records):
    return [dict(record) for record in records]


class Listings(KindTestCase):
    def everything(self, kind, *options):
        library = self.library(kind, "--images", "none", *options)
        before = moxteltest.hash_of_library(library)
        expected = KINDS[kind](library)
        with moxteltest.Server(library) as server, moxteltest.Client(server) as client:
            self.photos(client, expected)
            self.tree(client, expected, "TopLevelAlbums", client.result("Get Albums"))
            self.events(client, expected)
            self.faces(client, expected)
            console = server.console()
        self.assertIn(self.description(kind, expected), console)
        has_empty_ones = KINDS[kind] is kinds.Photos5 and any(album.smart for album in expected.albums.values())
        self.assertEqual(console.count("Smart albums of this library are listed empty"), int(has_empty_ones))
        self.assertNotIn("private copy", console)
        self.assertEqual(moxteltest.hash_of_library(library), before)
        return console

    def description(self, kind, expected):
        name = {"photos4": "Photos 4 library", "photos5": "Photos 5 library", "photos8": "Photos 6+ library",
                "photos11": "Photos 6+ library", "xml": "iPhoto library (AlbumData.xml only)"}[kind]
        shown = expected.all_photos()
        in_cloud = sum(expected.photos[key].cloud_only for key in expected.photos
                       if expected.photos[key].uuid in {one["PhotoKey"] for one in shown})
        cloud = ", %d only in the cloud" % in_cloud if in_cloud else ""
        return "%s, %d photos%s\n" % (name, len(shown), cloud)

    def photos(self, client, expected):
        found = as_dictionaries(client.result("Photos of Album", id="allPhotosAlbum"))
        self.assertEqual(sorted(found, key=lambda one: one["ModelId"]), expected.all_photos())
        for photo in expected.photos.values():
            infos = client.result("Infos of Photo", key=photo.uuid)
            self.assertEqual((infos["FileName"], infos["Rotation"]), (photo.name, photo.rotation))

    def tree(self, client, expected, parent, found):
        listed = {one["AlbumId"]: (one["AlbumName"], one.get("IPAlbumType"), one["PhotoCount"]) for one in found}
        self.assertEqual(listed, expected.containers(parent))
        for one in found:
            if one["AlbumType"] == "Folder":
                self.tree(client, expected, one["AlbumId"], client.result("Folders of Album", id=one["AlbumId"]))
                continue
            photos = as_dictionaries(client.result("Photos of Album", id=one["AlbumId"]))
            self.assertEqual(sorted(photos, key=lambda photo: photo["ModelId"]), expected.photos_of_album(one["AlbumId"]))
            if one["PhotoCount"]:
                self.assertIn(one["KeyPhotoKey"], [photo["PhotoKey"] for photo in photos])

    def events(self, client, expected):
        found = [one for one in client.result("Get Events") if one["AlbumType"] == "Project"]
        self.assertEqual({one["AlbumId"]: (one["AlbumName"], one["PhotoCount"]) for one in found}, expected.event_table())
        for one in found:
            photos = as_dictionaries(client.result("Photos of Album", id=one["AlbumId"]))
            self.assertEqual(sorted(photos, key=lambda photo: photo["ModelId"]), expected.photos_of_event(one["AlbumId"]))
            self.assertIn(one["KeyPhotoKey"], [photo["PhotoKey"] for photo in photos])

    def faces(self, client, expected):
        found = client.result("Get Faces")
        self.assertEqual({one["AlbumId"]: (one["AlbumName"], one["PhotoCount"]) for one in found}, expected.faces())
        self.assertGreater(len(found), 0)
        for one in found:
            shown = {photo["PhotoKey"] for photo in client.result("Photos of Face", id=one["AlbumId"])}
            self.assertIn(one["KeyPhotoKey"], shown)
            self.assertEqual(shown, {expected.photos[photo].uuid for photo in expected.persons[one["AlbumId"]][1]
                                     if photo in expected.photos and not expected.photos[photo].shared})

    def test_photos_4(self):
        self.everything("photos4")

    def test_smart_albums_of_photos_4(self):
        console = self.everything("photos4", "--smart-albums")
        self.assertIn("The smart album 'Unknown' may lack photos. Not understood in its rule", console)

    def test_photos_5(self):
        self.everything("photos5")

    def test_photos_8(self):
        self.everything("photos8")

    def test_photos_11(self):
        self.everything("photos11")

    def test_album_data_only(self):
        self.everything("xml")


class Logs(KindTestCase):
    """Photos works on its library while it is served."""

    ALBUM = "Written while it is served"

    def names(self, server):
        with moxteltest.Client(server) as client:
            return [album["AlbumName"] for album in client.result("Get Albums")]

    def test_what_another_program_writes_is_listed_without_a_copy(self):
        for kind, file, rename in (
                ("photos5", "Photos.sqlite", "UPDATE ZGENERICALBUM SET ZTITLE = ? WHERE ZKIND = 2"),
                ("photos4", "photos.db", "UPDATE RKAlbum SET name = ? WHERE albumSubclass = 3")):
            library = self.library(kind, "--images", "none")
            with self.subTest(kind), moxteltest.Server(library) as server:
                self.assertNotIn(self.ALBUM, self.names(server))
                with contextlib.closing(sqlite3.connect(library / "database" / file)) as writer:
                    writer.execute(rename, (self.ALBUM,))
                    writer.commit()
                    self.assertGreater((library / "database" / (file + "-wal")).stat().st_size, 0)
                    before = moxteltest.hash_of_library(library)
                    self.assertIn(self.ALBUM, self.names(server))
                    self.assertEqual(moxteltest.hash_of_library(library), before)
                    writer.execute(rename, ("Again",))
                    writer.commit()
                    self.assertIn("Again", self.names(server))
                before = moxteltest.hash_of_library(library)
                self.assertIn("Again", self.names(server))
                self.assertNotIn("private copy", server.console())
                self.assertEqual(moxteltest.hash_of_library(library), before)


class Scripts(KindTestCase):
    """An id of such a library would name a foreign photo in iPhoto."""

    def test_no_script_is_started(self):
        calls = self.folder / "calls"
        interpreter = self.folder / "interpreter"
        interpreter.write_text("#!/bin/sh\necho called >> %s\ncat > /dev/null\necho iPhoto\n" % calls)
        interpreter.chmod(0o755)
        for kind in KINDS:
            library = self.library(kind, "--images", "none")
            with moxteltest.Server(library, "-ScriptInterpreter", interpreter, "-PreferAperture", "YES") as server, \
                    moxteltest.Client(server) as client:
                client.result("Get Albums")
                client.result("Get Events")
                key = client.result("Photos of Album", id="allPhotosAlbum")[0]["PhotoKey"]
                self.assertEqual(client.result("Set GPS of Photo", key=key, latitude=1.0, longitude=2.0),
                                 "Set GPS to 1.000000/2.000000")
                self.assertEqual(client.result("Clear GPS of Photo", key=key), "Cleared GPS")
                self.assertEqual(client.result("Reveal Photo", key=key), "Can not reveal version id '%s'" % key)
                self.assertEqual(client.result("Reveal Event", id="x"), "Can not reveal album")
                self.assertIn("was not changed", server.console())
                self.assertIn("Running app: <none>", server.console())
            self.assertFalse(calls.exists(), kind)


class Pictures(KindTestCase):
    def test_every_photo_has_its_pictures(self):
        for kind in KINDS:
            raws_of_pairs = 0
            library = self.library(kind, "--images", "small")
            expected = KINDS[kind](library)
            with self.subTest(kind), moxteltest.Server(library) as server, moxteltest.Client(server) as client:
                for photo in expected.photos.values():
                    for command in ("Thumb of Photo", "Square Thumb of Photo", "Fullscreen 1024 Image of Photo"):
                        self.assertEqual(bytes(client.result(command, key=photo.uuid))[:2], b"\xff\xd8", command)
                    data = bytes(client.result("Data of Photo", key=photo.uuid))
                    if photo.raw_of_pair and (library / photo.raw_of_pair).exists() and photo.cloud_only:
                        self.assertEqual(data, (library / photo.raw_of_pair).read_bytes())
                        raws_of_pairs += 1
                    elif photo.cloud_only:
                        self.assertEqual(data[:2], b"\xff\xd8", "a smaller picture")
                    elif photo.raw and kind == "photos4":
                        self.assertEqual(data[:2], b"\xff\xd8", "made from the RAW")
                    elif not photo.movie:
                        self.assertEqual(bytes(client.result("Image of Photo", key=photo.uuid))[:2], b"\xff\xd8")
                self.assertNotIn("no preview in the library", server.console())
            self.assertEqual(raws_of_pairs > 0, kind != "xml", kind)

    def test_every_person_has_a_face(self):
        for kind in KINDS:
            library = self.library(kind, "--images", "small") if not (self.folder / kind).exists() else self.folder / kind
            with self.subTest(kind), moxteltest.Server(library) as server, moxteltest.Client(server) as client:
                for person in client.result("Get Faces"):
                    face = bytes(client.result("Square Thumb of Photo", key=person["KeyPhotoKey"], isFace=True))
                    self.assertEqual(face[:2], b"\xff\xd8")
                    whole = bytes(client.result("Square Thumb of Photo", key=person["KeyPhotoKey"]))
                    self.assertNotEqual(face, whole)


if __name__ == "__main__":
    unittest.main()
