"""Every listing command, over the wire, against an independent reading of the same databases.

Strange libraries, one for each seed: MOXTEL_SEEDS of them (40), from MOXTEL_FIRST_SEED (1) on, and before
them the seeds that once found something.
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

# Seeds that once showed a fault; they always run.
KEPT_SEEDS = ()
KEPT_SEEDS_WITH_ALBUM_DATA = (9,)  # an album without a uuid took the entry of the uuid ""

LARGEST_REQUEST = 4096
NO_LIBRARY_HAS_THESE = ("", "(null)", "no such uuid", "x' OR '1'='1", "%@%s%n", "\\", "\"", "a\0b", "é", "🙂", ";", "--")


def difference(expected, actual, where="reply"):
    """What tells two replies apart, in words; None when nothing does. 1, 1.0 and True are not the same."""
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
        """Entries with the same place in the user's order may come in any order."""
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
        found = set(NO_LIBRARY_HAS_THESE)
        for database, table in tables:
            found.update(self.model.uuids(database, table))
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
            self.client.skip_unless_served(self.test, "Infos of Photo")
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
        """A missing id reads as the text that stands for nothing, a number as its digits."""
        for given, meant in (({}, None), ({"id": 12}, "12")):
            with self.test.subTest(id=given):
                self.same_containers(self.client.result("Folders of Album", **given), self.model.containers_in(meant))
                self.same_list(self.client.result("Photos of Album", **given), self.model.photos_in(meant))
                self.same_list(self.client.result("Photos of Face", **given), self.model.photos_of_face(meant))
        self.test.assertEqual(self.client.error("Photos of Event", id=1), "Album not found")


def strange_album_data(library, seed):
    """An album file with entries for some of a strange library's containers."""
    roll = random.Random(seed)
    reference = model.Library(library)

    def entries(key, uuids):
        for uuid in uuids:
            if not roll.randrange(3) or not all(0x20 <= ord(letter) < 0xFFFE for letter in uuid):
                continue  # XML has no place for control characters
            entry = {key: uuid, "AlbumName": uuid, "KeyList": ["1", "2"],
                     "PhotoCount": roll.choice([0, 1, 2, 7, -3, 70000, "12", "x", 4.75])}
            if roll.randrange(3):
                entry["KeyPhotoKey"] = roll.choice(["29", "4294967297", "", "a<b&c", uuid])
            yield {name: value for name, value in entry.items() if name != key or roll.randrange(20)}

    albums = list(entries("GUID", [*reference.uuids("library", "RKAlbum"), *reference.uuids("library", "RKFolder")]))
    if not roll.randrange(3):
        albums.append({"GUID": "containerUuid", "Album Type": "Smart", "AlbumId": roll.choice([0, 2, 3, "4"])})
    rolls = list(entries("ProjectUuid", reference.uuids("library", "RKFolder")))
    faces = roll.choice([{"1": {"name": "x"}}, [{"name": "x"}]])
    reference.close()
    (library / "AlbumData.xml").write_bytes(plistlib.dumps(
        {"List of Albums": albums, "List of Rolls": rolls, "List of Faces": faces, "Master Image List": {"1": {}}}))


def unnamed_containers(library):
    """Takes their names from two thirds of the containers and gives some a last day."""
    database = sqlite3.connect(library / "Database" / "apdb" / "Library.apdb")
    with database:
        database.execute("UPDATE RKFolder SET name = iif(rowid % 2, NULL, '') WHERE rowid % 3")
        database.execute("UPDATE RKFolder SET minImageDate = 86400 * rowid, maxImageDate = 86400 * rowid + 90000 "
                         "WHERE rowid % 4 = 1")
    database.close()


class Listings(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.folder)

    def compare(self, *options, prepare=None, shows_both_days=False):
        library = moxteltest.make_library(pathlib.Path(tempfile.mkdtemp(dir=self.folder)) / "Library", *options)
        if prepare:
            prepare(library)
        before = moxteltest.hash_of_library(library)
        reference = model.Library(library, shows_both_days)
        self.addCleanup(reference.close)
        arguments = ("-ApertureFolderMinMaxDate", "YES") if shows_both_days else ()
        with moxteltest.Server(library, *arguments) as server, moxteltest.Client(server) as client:
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

    def test_library_with_album_data(self):
        self.compare("--images", "none", "--photos", 120, "--album-data")

    def test_strange_libraries(self):
        for seed in self.seeds():
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60)

    def test_strange_libraries_with_album_data(self):
        for seed in [*KEPT_SEEDS_WITH_ALBUM_DATA, *self.seeds()[1::4]]:
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60,
                             prepare=lambda library, seed=seed: strange_album_data(library, seed))

    def test_unnamed_containers_after_both_days(self):
        for seed in self.seeds()[::5]:
            with self.subTest(seed=seed):
                self.compare("--strange", "--seed", seed, "--photos", 20 + seed % 60, prepare=unnamed_containers,
                             shows_both_days=True)


if __name__ == "__main__":
    unittest.main()
