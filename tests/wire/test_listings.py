"""Compares the replies of every listing command with an independent reading of the same databases.

Uses a library with odd values for each seed: MOXTEL_SEEDS (40) seeds from MOXTEL_FIRST_SEED (1) on, after the seeds
that once found a fault.
"""

import os
import pathlib
import plistlib
import random
import shutil
import sqlite3
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "model"))

import keyedarchive
import model
import moxteltest

# Seeds that once found a fault; they always run.
KEPT_SEEDS = ()
KEPT_SEEDS_WITH_ALBUM_DATA = (9,)  # an album without a uuid used the entry of the uuid ""

LARGEST_REQUEST = 4096
EVERY_LIBRARY_HAS_THESE = ("allPhotosAlbum", "TopLevelAlbums", "AllProjectsItem", "LibraryFolder", "trashAlbum")
NO_LIBRARY_HAS_THESE = ("", "(null)", "no such uuid", "x' OR '1'='1", "%@%s%n", "\\", "\"", "a\0b", "é", "🙂", ";", "--")


def difference(expected, actual, where="reply"):
    """Describes the first difference of two replies; None if there is none. 1, 1.0 and True differ."""
    if isinstance(expected, model.AnyText):
        return None if expected == actual else "%s: %r is no text" % (where, actual)
    if isinstance(expected, dict):
        if not isinstance(actual, dict) or not actual.is_mutable:
            return "%s: no mutable dictionary but %r" % (where, actual)
        if set(expected) != set(actual):
            return "%s: keys %s, expected %s in %r" % (where, sorted(actual), sorted(expected), expected)
        found = (difference(expected[key], actual[key], where + "." + key) for key in expected)
        return next((text for text in found if text), None)
    if type(expected) is not type(actual) or expected != actual:
        return "%s: %r, expected %r" % (where, actual, expected)
    return None


class Comparison:
    """One server and the model of its library."""

    def __init__(self, test, client, library):
        self.test, self.client, self.model = test, client, library

    def same_list(self, actual, expected, mutable=True):
        self.test.assertIsInstance(actual, keyedarchive.List)
        self.test.assertEqual(actual.is_mutable, mutable)
        self.test.assertEqual(len(actual), len(expected), "number of entries")
        for number, (one, other) in enumerate(zip(expected, actual)):
            self.test.assertIsNone(difference(one, other, "entry %d" % number))

    def same_containers(self, actual, expected):
        """Compares lists of containers; entries with the same order number may be in any order."""
        self.test.assertIsInstance(actual, keyedarchive.List)
        places = [entry.get("OrderNumber", 0) for entry in actual]
        self.test.assertEqual(places, sorted(places), "the user's order")

        def by_identity(entry):
            return (entry.get("OrderNumber", 0), entry.get("AlbumType", ""), entry["ModelId"], entry.get("AlbumId", ""))
        self.same_list_of(sorted(actual, key=by_identity), sorted(expected, key=by_identity), actual.class_name)

    def same_list_of(self, actual, expected, class_name):
        listed = keyedarchive.List(actual)
        listed.class_name = class_name
        self.same_list(listed, expected)

    def ids(self, *tables):
        found = {*EVERY_LIBRARY_HAS_THESE, *NO_LIBRARY_HAS_THESE}
        for database, table in tables:
            found.update(self.model.uuids(database, table))
        # Also uuids of other kinds of objects, which must not be found.
        for database, table in (("library", "RKVersion"), ("library", "RKAlbum"), ("faces", "RKFaceName")):
            found.update(self.model.uuids(database, table)[:3])
        return sorted(uuid for uuid in found
                      if len(moxteltest.request("Photos of Album", id=uuid)) <= LARGEST_REQUEST)

    def everything(self):
        self.same_containers(self.client.result("Get Albums"), self.model.top_level_albums())
        self.same_containers(self.client.result("Get Events"), self.model.top_level_projects())
        for _ in range(2):
            self.same_list(self.client.result("Get Faces"), self.model.faces(), mutable=False)
        for uuid in self.ids(("library", "RKFolder"), ("library", "RKAlbum")):
            with self.test.subTest(container=uuid):
                self.same_containers(self.client.result("Folders of Album", id=uuid), self.model.containers_in(uuid))
                self.same_list(self.client.result("Photos of Album", id=uuid), self.model.photos_in(uuid))
        for uuid in self.ids(("faces", "RKFaceName")):
            with self.test.subTest(face=uuid):
                self.same_list(self.client.result("Photos of Face", id=uuid), self.model.photos_of_face(uuid))
        self.odd_ids()
        with self.test.subTest("photos one by one"):
            for uuid in self.ids(("library", "RKVersion")):
                with self.test.subTest(photo=uuid):
                    self.infos(uuid)

    def infos(self, uuid):
        expected = self.model.photo_with_uuid(uuid)
        self.client.send("Infos of Photo", key=uuid)
        if uuid == "":
            self.test.assertEqual(self.client.receive(), {"error": "No Image"})
        if expected is None:
            self.client.expect_silence()
        else:
            envelope = self.client.receive()
            self.test.assertEqual(list(envelope), ["result"])
            self.test.assertIsNone(difference(expected, envelope["result"]))

    def odd_ids(self):
        """The server uses "(null)" for a missing id, the digits of a number, and the description of a collection, which
        matches no uuid."""
        numbers = ((0, "0"), (12, "12"), (123, "123"), (-1, "-1"), (2**32 + 1, "4294967297"), (1.5, "1.5"), (True, "1"))
        no_uuid = "\n( a description )\n"
        other_values = ([], ["a"], ["it's"], {}, {"a": 1}, b"12", keyedarchive.Date(0))
        for given, meant in (({}, None), *(({"id": number}, digits) for number, digits in numbers),
                             *(({"id": value}, no_uuid) for value in other_values)):
            with self.test.subTest(id=given):
                self.same_containers(self.client.result("Folders of Album", **given), self.model.containers_in(meant))
                self.same_list(self.client.result("Photos of Album", **given), self.model.photos_in(meant))
                self.same_list(self.client.result("Photos of Face", **given), self.model.photos_of_face(meant))
                self.test.assertEqual(self.client.error("Photos of Event", **given), "Album not found")


ZONES = ("UTC", "America/New_York", "Asia/Kathmandu", "Pacific/Kiritimati", "Australia/Lord_Howe")
STRANGE_COUNTS = (0, 1, 2, 7, -3, 70000, 4.75, -0.5, 2.5e9, -1e300, float("inf"), 2**31, 2**40, -2**40, 2**63, True,
                  False, "12", "x", "", " 3 ", "+4", "+-4", "-5", "12abc", "99999999999", "-99999999999", b"12", [7])
STRANGE_KEY_PHOTOS = ("29", "4294967297", "", "a<b&c", "É", "👨‍👩‍👧 🗻", "it's", 29, -1, 2**40, 1.5, True)


def odd_album_data(library, seed):
    """Writes an album file with entries for some containers of the library, in one of its two formats."""
    roll = random.Random(seed)
    reference = model.Library(library)
    form = roll.choice([plistlib.FMT_XML, plistlib.FMT_BINARY])

    def can_be_written(uuid):
        """XML has no place for control characters."""
        return form == plistlib.FMT_BINARY or all(letter >= " " and letter not in "\ufffe\uffff" for letter in uuid)

    def entries(key, uuids):
        for uuid in uuids:
            if not roll.randrange(3) or not can_be_written(uuid):
                continue
            entry = {key: uuid, "AlbumName": uuid, "KeyList": ["1", "2"], "PhotoCount": roll.choice(STRANGE_COUNTS)}
            if roll.randrange(3):
                entry["KeyPhotoKey"] = roll.choice([*STRANGE_KEY_PHOTOS, uuid])
            yield {name: value for name, value in entry.items() if name != key or roll.randrange(20)}
            if not roll.randrange(15):
                yield roll.choice(["no entry", 3, True, [], {}, {"PhotoCount": 9, "KeyPhotoKey": "nobody's"}])

    albums = list(entries("GUID", [*reference.uuids("library", "RKAlbum"), *reference.uuids("library", "RKFolder")]))
    if not roll.randrange(3):
        albums.append({"GUID": "containerUuid", "Album Type": "Smart",
                       "AlbumId": roll.choice([0, 2, 3, "4", 2**32 + 2, 1.9, True, "", [2]])})
    data = {
        "Master Image List": {"1": {}}, "List of Albums": albums,
        "List of Rolls": list(entries("ProjectUuid", reference.uuids("library", "RKFolder"))),
        "List of Faces": roll.choice([{"1": {"name": "x"}}, [{"name": "x"}], {}, "no list"])}
    if not roll.randrange(12):
        data[roll.choice(["List of Albums", "List of Rolls"])] = roll.choice([{}, {"GUID": {"GUID": "x"}}, "text", 3])
    if not roll.randrange(12):
        del data[roll.choice(list(data))]
    reference.close()
    (library / "AlbumData.xml").write_bytes(plistlib.dumps(data, fmt=form, sort_keys=False))


def changed(library, file, *statements):
    database = sqlite3.connect(library / "Database" / "apdb" / file)
    with database:
        for statement in statements:
            database.execute(statement)
    database.close()


def few(library, file, table, column, count, every=1):
    """Reduces a column to a few values, so that many rows share each of them."""
    database = sqlite3.connect(library / "Database" / "apdb" / file)
    with database:
        first = database.execute("SELECT min(modelId) FROM %s GROUP BY %s ORDER BY 1 LIMIT %d" % (table, column, count))
        rows = [row for (row,) in first]
        for (row,) in database.execute("SELECT modelId FROM %s WHERE modelId %% %d = 0" % (table, every)).fetchall():
            database.execute("UPDATE %s SET %s = (SELECT %s FROM %s WHERE modelId = ?) WHERE modelId = ?" % (
                table, column, column, table), (rows[row % len(rows)], row))
    database.close()


def ties_everywhere(library):
    """Gives many rows the same uuid, master, face or order number, so that the order of rows decides the reply."""
    for table, column, count, every in (
            ("RKVersion", "uuid", 9, 1), ("RKVersion", "masterUuid", 4, 2), ("RKVersion", "projectUuid", 4, 1),
            ("RKAlbum", "uuid", 5, 1), ("RKFolder", "uuid", 6, 2), ("RKNote", "attachedToUuid", 6, 1),
            ("RKCustomSortOrder", "objectUuid", 6, 1)):
        few(library, "Library.apdb", table, column, count, every)
    changed(library, "Library.apdb",
            "UPDATE RKCustomSortOrder SET orderNumber = modelId % 3 - 1, containerUuid = "
            "iif(modelId % 2, 'TopLevelAlbums', 'AllProjectsItem')",
            "UPDATE RKAlbumVersion SET albumId = albumId % 3, versionId = versionId % 9")
    few(library, "Faces.db", "RKDetectedFace", "masterUuid", 4)
    few(library, "Faces.db", "RKFaceName", "uuid", 3, 2)
    changed(library, "Faces.db", "UPDATE RKFaceName SET faceKey = modelId % 3",
            "UPDATE RKDetectedFace SET faceKey = modelId % 3")


def nulls_everywhere(library):
    """Sets every listed column to NULL in half of the rows."""
    for file, columns in (
            ("Library.apdb", ("RKFolder.name RKFolder.uuid RKFolder.folderType RKFolder.posterVersionUuid "
                              "RKFolder.minImageDate RKFolder.maxImageDate RKFolder.isHiddenWhenEmpty RKAlbum.name "
                              "RKAlbum.uuid RKAlbum.versionCount RKAlbum.posterVersionUuid RKVersion.uuid "
                              "RKVersion.versionNumber RKVersion.isInTrash RKVersion.exifLatitude "
                              "RKVersion.exifLongitude RKVersion.videoPosterFramePoint RKVersion.fileName "
                              "RKVersion.rotation RKVersion.masterUuid RKNote.note RKCustomSortOrder.orderNumber "
                              "RKCustomSortOrder.objectUuid RKAlbumVersion.albumId RKAlbumVersion.versionId")),
            ("Properties.apdb", "RKUniqueString.stringProperty RKIptcProperty.stringId RKExifStringProperty.versionId"),
            ("Faces.db", ("RKFaceName.uuid RKFaceName.name RKFaceName.faceKey RKFaceName.keyVersionUuid "
                          "RKDetectedFace.masterUuid RKDetectedFace.faceKey RKDetectedFace.faceIndex"))):
        for number, column in enumerate(columns.split()):
            table, name = column.split(".")
            changed(library, file, "UPDATE %s SET %s = NULL WHERE modelId * 7 / (%d + 1) %% 2" % (table, name, number))


def with_statistics(library):
    """Runs ANALYZE: with statistics SQLite may choose other indexes and return rows in another order."""
    for file in ("Library.apdb", "Properties.apdb", "Faces.db"):
        changed(library, file, "ANALYZE")


def built_in_albums(library):
    """Adds albums with the names of built-in albums and with similar names."""
    names = (*sorted(model.BUILT_IN_ALBUMS), "allPhotosAlbum", "faces", "trashalbum", "trashAlbum ", "peopleAlbum2")
    database = sqlite3.connect(library / "Database" / "apdb" / "Library.apdb")
    with database:
        database.executemany(
            "INSERT INTO RKAlbum(uuid,name,albumType,albumSubclass,versionCount,folderUuid,isInTrash) "
            "VALUES(?1,?1,1,3,5,'TopLevelAlbums',0)", [(name,) for name in names])
    database.close()


def unnamed_containers(library):
    """Removes the names of two thirds of the containers and gives some a last date."""
    changed(library, "Library.apdb", "UPDATE RKFolder SET name = iif(rowid % 2, NULL, '') WHERE rowid % 3",
            "UPDATE RKFolder SET minImageDate = 86400 * rowid, maxImageDate = 86400 * rowid + 90000 "
            "WHERE rowid % 4 = 1",
            # Near the changes to and from summer time, and near midnight.
            "UPDATE RKFolder SET minImageDate = 257126400 + 3600 * rowid, maxImageDate = 276480000 - 3599 * rowid "
            "WHERE rowid % 4 = 2")


class Listings(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.folder)

    def compare(self, *options, prepare=None, shows_both_days=False, zone="UTC"):
        library = moxteltest.make_library(pathlib.Path(tempfile.mkdtemp(dir=self.folder)) / "Library", *options)
        if prepare:
            prepare(library)
        before = moxteltest.hash_of_library(library)
        reference = model.Library(library, shows_both_days, zone)
        self.addCleanup(reference.close)
        arguments = ("-ApertureFolderMinMaxDate", "YES") if shows_both_days else ()
        server = moxteltest.Server(library, *arguments, environment={"TZ": zone})
        with server, moxteltest.Client(server) as client:
            Comparison(self, client, reference).everything()
            self.assertTrue(server.is_running())
        self.assertEqual(moxteltest.hash_of_library(library), before)
        shutil.rmtree(library)

    def seeds(self):
        first = int(os.environ.get("MOXTEL_FIRST_SEED", 1))
        return [*KEPT_SEEDS, *range(first, first + int(os.environ.get("MOXTEL_SEEDS", 40)))]

    def test_sample_library(self):
        self.compare("--images", "none", "--photos", 120)

    def test_empty_library(self):
        self.compare("--images", "none", "--photos", 0)

    def test_smart_albums(self):
        for lists in ("none", "in-step", "out-of-step"):
            with self.subTest(lists):
                self.compare("--images", "none", "--smart-albums", "--photos", 300, "--saved-lists", lists)

    def test_library_with_album_data(self):
        self.compare("--images", "none", "--photos", 120, "--album-data")

    def test_libraries_with_odd_values(self):
        for seed in self.seeds():
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60)

    def test_libraries_with_odd_values_and_album_data(self):
        for seed in [*KEPT_SEEDS_WITH_ALBUM_DATA, *self.seeds()[1::4]]:
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60,
                             prepare=lambda library, seed=seed: odd_album_data(library, seed))

    def test_unnamed_containers_after_both_days(self):
        for number, seed in enumerate(self.seeds()[::5]):
            zone = ZONES[number % len(ZONES)]
            with self.subTest(seed=seed, zone=zone):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60, prepare=unnamed_containers,
                             shows_both_days=True, zone=zone)

    def test_ties_and_nulls(self):
        for number, seed in enumerate(self.seeds()[::4]):
            prepare = (ties_everywhere, nulls_everywhere)[number % 2]
            with self.subTest(prepare.__name__, seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60, prepare=prepare)

    def test_databases_with_statistics(self):
        for seed in self.seeds()[2::8]:
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60, prepare=with_statistics)

    def test_built_in_albums(self):
        self.compare("--images", "none", "--photos", 40, prepare=built_in_albums)


if __name__ == "__main__":
    unittest.main()
