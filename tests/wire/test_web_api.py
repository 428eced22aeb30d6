"""The page's JSON and pictures over HTTP, from the real server: every address with data, wrong ids, foreign paths, hidden
photos and those in the trash, other versions, HEAD, If-None-Match, ranges, and libraries that change, go and come back.

The replies themselves are compared with docs/web-api.md by WebApiDocumentTest, the pictures by test_web_files.py."""

import http.client
import io
import itertools
import json
import pathlib
import shutil
import sqlite3
import tempfile
import unittest
import urllib.parse
import zipfile

from moxteltest import PATIENCE, Server, free_port, hash_of_library, make_library, wait_for

OPTIONS = ("--images", "small", "--photos", 80, "--seed", 7, "--faces", 2, "--smart-albums")


def query(library, sql, *values):
    database = sqlite3.connect(library / "Database/apdb/Library.apdb")
    with database:
        rows = database.execute(sql, values).fetchall()
    database.close()
    return rows


def summed(differences):
    return list(itertools.accumulate(differences))


class Page:
    """A server with its page. Requests go over one connection."""

    def __init__(self, library, *arguments):
        self.port = free_port()
        self.server = Server(library, *arguments, web_port=self.port)
        self.connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)

    def __enter__(self):
        self.server.__enter__()
        wait_for(lambda: "page for browsers" in self.server.console(), "the page")
        return self

    def __exit__(self, *why):
        self.connection.close()
        self.server.__exit__(*why)

    def fetch(self, address, method="GET", **fields):
        """Status, header fields and body."""
        self.connection.putrequest(method, address)
        for name, value in fields.items():
            self.connection.putheader(name.replace("_", "-"), value)
        self.connection.endheaders()
        reply = self.connection.getresponse()
        return reply.status, reply.headers, reply.read()

    def status(self, address, **fields):
        return self.fetch(address, **fields)[0]

    def json(self, address):
        status, _, body = self.fetch(address)
        if status != 200:
            raise AssertionError("%s: %s %s" % (address, status, body))
        return json.loads(body)

    def libraries(self):
        return self.json("/api/1/libraries")["libraries"]

    def root(self, place=0):
        return "/l/" + self.libraries()[place]["id"] + "/"

    def photos_of(self, root, address, filters=""):
        """The ids of the photos in a list."""
        found = self.json(root + "api/1/list/" + address + "?" + filters)
        ids = []
        for page in range(-(-found["count"] // 1000)):
            part = self.json(root + "api/1/list/%s/%d?v=%s&%s" % (address, page, found["version"], filters))
            assert len({len(column) for column in part.values()}) == 1, part.keys()
            ids += summed(part["id"])
        assert len(ids) == found["count"] == sum(found["n"]), (address, found)
        return ids


class WebTest(unittest.TestCase):
    """Tests on one library and one server per class. Checks that every byte of the library stays the same."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.library = make_library(cls.folder / "Library", *OPTIONS)
        cls.prepare()
        cls.hash = hash_of_library(cls.library)
        cls.page = Page(cls.library, *cls.arguments())
        cls.page.__enter__()
        cls.addClassCleanup(cls.page.__exit__, None, None, None)

    @classmethod
    def prepare(cls):
        pass

    @classmethod
    def arguments(cls):
        return ("-WebAccess", "open")

    def tearDown(self):
        self.assertEqual(hash_of_library(self.library), self.hash, "the library was changed")


class Addresses(WebTest):
    @classmethod
    def prepare(cls):
        """Puts photos into the trash in each way that there is."""
        rows = query(cls.library, "SELECT modelId, masterUuid FROM RKVersion WHERE isHidden = 0 AND isInTrash = 0 "
                                  "AND versionNumber = 1 ORDER BY modelId")
        query(cls.library, "UPDATE RKVersion SET isInTrash = 1 WHERE modelId = ?", rows[3][0])
        query(cls.library, "UPDATE RKMaster SET isInTrash = 1 WHERE uuid = ?", rows[5][1])
        query(cls.library, "UPDATE RKVersion SET isHidden = 1 WHERE modelId = ?", rows[7][0])
        shown = "FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid WHERE v.versionNumber != 0 AND " \
                "v.showInLibrary = 1 AND %s (v.isHidden OR v.isInTrash OR m.isInTrash)"
        cls.shown = [row[0] for row in query(cls.library, "SELECT v.modelId " + shown % "NOT")]
        cls.others = [row[0] for row in query(cls.library, "SELECT v.modelId " + shown % "")]

    def setUp(self):
        self.root = self.page.root()
        self.api = self.root + "api/1/"

    def read(self, address):
        return self.page.json(self.api + address)

    def ready(self):
        """Once the index is complete; until then searches say so."""
        def is_ready():
            status, _, body = self.page.fetch(self.api + "list/search:img")
            self.assertIn((status, status == 200 or body), ((200, True), (503, b'{"error":"busy"}')))
            library = self.read("library")
            self.assertIn(library["search"], ("building", "ready"))
            self.assertTrue(0 <= library["searchDone"] <= 100)
            return library["search"] == "ready"
        wait_for(is_ready, "the index")

    def test_the_card_agrees_with_the_library(self):
        (card,) = self.page.libraries()
        library = self.read("library")
        self.assertEqual((card["id"], card["kind"], card["state"], card["served"]),
                         (library["id"], "iPhoto", "ready", True))
        self.assertEqual(library["photos"] + library["rejected"], len(self.shown))
        self.read("list/all")
        self.assertEqual(self.page.libraries()[0]["photos"], library["photos"])

    def test_lists_have_the_photos_of_the_database(self):
        everything = self.page.photos_of(self.root, "all", "rejected=1")
        self.assertEqual(sorted(everything), sorted(self.shown))
        self.assertGreaterEqual(len(self.others), 3)
        self.assertEqual(set(self.page.photos_of(self.root, "all", "rejected=1&order=new")), set(self.shown))
        flagged = {row[0] for row in query(self.library, "SELECT modelId FROM RKVersion WHERE isFlagged = 1")}
        self.assertEqual(set(self.page.photos_of(self.root, "flagged", "rejected=1")), flagged & set(self.shown))

    def test_every_list_has_as_many_photos_as_it_says(self):
        lists = [entry for name in ("albums", "events", "people", "keywords") for entry in self.read(name)[name]]
        self.assertGreater({entry["list"].split(":")[0] for entry in lists}, {"album", "event", "person"})
        self.assertIn("smart", [entry["kind"] for entry in self.read("albums")["albums"]])
        for entry in lists:
            with self.subTest(entry["list"]):
                self.assertEqual(len(self.page.photos_of(self.root, entry["list"])), entry["count"])
                self.assertEqual(self.read("list/" + entry["list"])["title"], entry["name"])

    def test_every_photo_is_described_and_in_its_place(self):
        found = self.read("list/all")
        for place, photo in enumerate(self.page.photos_of(self.root, "all")):
            self.assertEqual(self.read("list/all/at/%d?v=%s" % (photo, found["version"]))["index"], place)
            self.assertEqual(self.read("photo/%d" % photo)["id"], photo)

    def test_other_lists(self):
        photos = self.page.photos_of(self.root, "all")
        self.assertEqual(self.page.photos_of(self.root, "photos:%d,%d" % (photos[2], photos[0])), [photos[2], photos[0]])
        movies = [photo for photo in photos if self.read("photo/%d" % photo)["kind"] == "movie"]
        self.assertEqual(self.page.photos_of(self.root, "movies"), movies)
        self.assertTrue(movies)
        day = self.read("photo/%d" % photos[0])["date"][5:10]
        self.assertIn(photos[0], self.page.photos_of(self.root, "onthisday:" + day))
        for photo in self.page.photos_of(self.root, "all", "rating=3"):
            self.assertGreaterEqual(self.read("photo/%d" % photo)["rating"], 3)

    def test_search_and_suggestions(self):
        self.ready()
        name = self.read("people")["people"][0]["name"]
        words = urllib.parse.quote('person:"%s"' % name, safe="")
        person = self.read("people")["people"][0]["list"]
        self.assertEqual(self.page.photos_of(self.root, "search:" + words), self.page.photos_of(self.root, person))
        self.assertIn(person, [entry["list"] for entry in self.read("suggest?q=" + urllib.parse.quote(name))["lists"]])
        for words in ("a%2fb", "%22", "%2a", "img%20OR%20img", "(", "%27;--", "x" * 300, "%00", "%e2%80%ae"):
            self.assertIn(self.page.status(self.api + "list/search:" + words), (200, 400, 404), words)

    def files(self):
        photo = self.page.photos_of(self.root, "photos:%d" % self.plain())[0]
        person = self.read("people")["people"][0]
        return ["%s/%d" % (what, photo) for what in ("thumb", "square", "preview", "large", "original")] + \
               ["face/%d/%d" % (person["key"], person["face"])]

    def plain(self):
        """A photo that is a JPEG and not a movie."""
        return next(photo for photo in self.page.photos_of(self.root, "all")
                    if self.read("photo/%d" % photo)["kind"] == "photo" and not self.read("photo/%d" % photo)["edited"])

    def test_pictures(self):
        for address in self.files():
            with self.subTest(address):
                status, fields, whole = self.page.fetch(self.root + address)
                self.assertEqual((status, fields["Content-Type"], whole[:2]), (200, "image/jpeg", b"\xff\xd8"))
                size = len(whole)
                status, fields, body = self.page.fetch(self.root + address, "HEAD")
                self.assertEqual((status, fields["Content-Length"], body), (200, str(size), b""))
                again = self.page.fetch(self.root + address, If_None_Match=fields["ETag"])
                self.assertEqual((again[0], again[2]), (304, b""))
                self.assertEqual(self.page.status(self.root + address, If_None_Match='"other"'), 200)
                status, fields, body = self.page.fetch(self.root + address, Range="bytes=3-9")
                self.assertEqual((status, fields["Content-Range"], body), (206, "bytes 3-9/%d" % size, whole[3:10]))
                self.assertEqual(self.page.fetch(self.root + address, Range="bytes=-7")[2], whole[-7:])
                for last in (size - 1, size, 10 * size, 2 ** 63, 2 ** 64, 10 ** 40):
                    status, fields, body = self.page.fetch(self.root + address, Range="bytes=2-%d" % last)
                    self.assertIn((status, body), ((206, whole[2:]), (200, whole)))
                for first in (size, 2 ** 62):
                    status, fields, body = self.page.fetch(self.root + address, Range="bytes=%d-" % first)
                    self.assertEqual((status, fields["Content-Range"]), (416, "bytes */%d" % size))

    def test_archives(self):
        announced = self.read("zip/all")
        status, fields, body = self.page.fetch(self.root + "zip/all")
        self.assertEqual((status, fields["Content-Type"], len(body)), (200, "application/zip", announced["bytes"]))
        archive = zipfile.ZipFile(io.BytesIO(body))
        self.assertIsNone(archive.testzip())
        self.assertEqual(len(archive.namelist()), announced["count"])
        head = self.page.fetch(self.root + "zip/all", "HEAD")
        self.assertEqual((head[0], head[1]["Content-Length"], head[2]), (200, str(announced["bytes"]), b""))

    def test_json_has_tags(self):
        self.ready()
        version = self.read("list/all")["version"]
        for address in ("library", "albums", "events", "people", "keywords", "list/all", "list/all/0?v=" + version,
                        "list/all/at/%d?v=%s" % (self.plain(), version), "photo/%d" % self.plain(), "suggest?q=a"):
            with self.subTest(address):
                status, fields, body = self.page.fetch(self.api + address)
                self.assertEqual((status, fields.get_content_type()), (200, "application/json"))
                head = self.page.fetch(self.api + address, "HEAD")
                self.assertEqual((head[0], head[1]["ETag"], head[1]["Content-Length"], head[2]),
                                 (200, fields["ETag"], str(len(body)), b""))
                again = self.page.fetch(self.api + address, If_None_Match=fields["ETag"])
                self.assertEqual((again[0], again[2]), (304, b""))
                self.assertEqual(self.page.status(self.api + address, If_None_Match='"other"'), 200)

    def test_hidden_photos_and_those_in_the_trash_are_unknown(self):
        version = self.read("list/all?rejected=1")["version"]
        files = ("thumb/%d", "square/%d", "face/%d/0", "preview/%d", "large/%d", "original/%d", "original/%d?show=1",
                 "edited/%d", "movie/%d.mp4", "movie/%d.mov")
        for photo in self.others:
            for address in [self.root + each for each in files] + [self.api + "photo/%d", self.api + "movie/%d",
                            self.api + "list/all/at/%d?rejected=1&v=" + version]:
                with self.subTest(address % photo):
                    status, _, body = self.page.fetch(address % photo)
                    self.assertEqual((status, body), (404, b'{"error":"unknown"}'))
            self.assertEqual(self.page.photos_of(self.root, "photos:%d" % photo, "rejected=1"), [])
            self.assertEqual(self.read("zip/photos:%d?rejected=1" % photo)["count"], 0)
            self.assertEqual(self.page.fetch(self.root + "zip/photos:%d?rejected=1" % photo)[2][:2], b"PK")
        for entry in itertools.chain(*(self.read(name)[name] for name in ("albums", "events", "people"))):
            self.assertNotIn(entry.get("key"), self.others)

    def test_wrong_addresses(self):
        version = self.read("list/all")["version"]
        numbers = ("", "x", "-1", "0", "999999", "9007199254740992", "18446744073709551616", "1e1", "%31%00", "2%20")
        addresses = [self.api + each for each in (
            "", "other", "library/1", "list", "list/", "list/other", "list/onthisday:02-30", "list/onthisday:", "photo",
            "photo/1/2", "zip", "movie", "list/search:%ff", "list/all/at", "suggest/a")]
        for number in numbers:
            addresses += [self.api + each + number for each in (
                "photo/", "movie/", "list/album:", "list/folder:", "list/event:", "list/person:", "list/keyword:", "zip/", "zip/album:")]
            if number not in ("", "0"):  # the sections, the first page
                addresses.append(self.api + "list/all/%s?v=%s" % (number, version))
            if number != "0":
                addresses.append(self.root + "face/%d/%s" % (self.plain(), number))
            addresses.append(self.api + "list/all/at/%s?v=%s" % (number, version))
            addresses += [self.root + each + number for each in (
                "thumb/", "square/", "preview/", "large/", "original/", "edited/", "zip/", "zip/album:", "movie/")]
            addresses.append(self.root + "face/%s/0" % number)
        addresses += ["/l/aaaaaaaa/api/1/library", "/l/aaaaaaaa/thumb/2", "/api/1/other", "/api/2/libraries", "/api",
                      self.root + "api", self.root + "api/2/library"]
        for address in addresses:
            with self.subTest(address):
                status, _, body = self.page.fetch(address)
                self.assertIn((status, body), ((404, b'{"error":"unknown"}'), (400, b'{"error":"request"}')))

    def test_wrong_parameters(self):
        for address in ("list/all?rating=6", "list/all?rating=-1", "list/all?stars=x", "list/all?order=up",
                        "list/all?label=99", "list/all?flagged=yes", "list/all?rejected=2", "list/all/0",
                        "list/all/at/2", "suggest?q=" + 501 * "a", "zip/all?what=all"):
            with self.subTest(address):
                status, _, body = self.page.fetch(self.api + address)
                self.assertEqual((status, body), (400, b'{"error":"request"}'))

    def test_another_version_is_gone(self):
        for address in ("list/all/0?v=0", "list/all/0?v=" + 16 * "0", "list/all/at/2?v=" + 16 * "f", "list/all/9?v=%27"):
            with self.subTest(address):
                status, _, body = self.page.fetch(self.api + address)
                self.assertEqual((status, body), (410, b'{"error":"version"}'))

    def test_foreign_paths(self):
        secret = self.folder / "secret.jpg"
        shutil.copyfile(next(self.library.glob("Masters/**/*.JPG")), secret)
        content = secret.read_bytes() + b"end"
        secret.write_bytes(content)
        steps = ("../secret.jpg", "%2e%2e/secret.jpg", "..%2fsecret.jpg", "%2e%2e%2fsecret.jpg", "%252e%252e%252fsecret.jpg",
                 urllib.parse.quote(str(secret), safe=""), "/" + str(secret), "..%5csecret.jpg", "....//secret.jpg",
                 "..;/secret.jpg", "%c0%ae%c0%ae/secret.jpg", "2%2f..%2f..%2fsecret.jpg")
        for what in ("thumb/", "square/", "original/", "edited/", "preview/", "large/", "movie/", "face/", "face/2/", "zip/",
                     "api/1/photo/", "api/1/list/", "api/1/list/all/", "api/1/list/all/at/", "api/1/zip/", "api/1/movie/", "assets/", "../../assets/", "../../icons/", "../"):
            for step in steps:
                with self.subTest(what + step):
                    status, _, body = self.page.fetch(self.root + what + step)
                    self.assertNotIn(content, body)
                    # Addresses of the page's own views get the page.
                    self.assertTrue(status in (400, 404) or (status == 200 and b"<html" in body), status)

    def test_other_methods_are_refused(self):
        for method in ("POST", "PUT", "DELETE", "OPTIONS"):
            for address in (self.api + "library", self.root + "thumb/2", "/api/1/libraries"):
                self.page.connection.close()
                self.assertIn(self.page.fetch(address, method, Content_Length="0")[0], (400, 405), address)
        self.page.connection.close()


class WithoutKey(WebTest):
    @classmethod
    def arguments(cls):
        return ()

    def test_every_address_needs_the_key(self):
        key = (self.page.server.home / "config/MoxtelServer/web-access").read_text().split()[0]
        libraries = json.loads(self.page.fetch("/api/1/libraries", Authorization="Bearer " + key)[2])["libraries"]
        root = "/l/" + libraries[0]["id"] + "/"
        for address in ("/api/1/libraries", "/api/1/other", *(root + each for each in (
                "api/1/library", "api/1/albums", "api/1/events", "api/1/people", "api/1/keywords", "api/1/list/all",
                "api/1/list/all/0?v=0", "api/1/list/all/at/2?v=0", "api/1/suggest?q=a", "api/1/photo/2", "api/1/movie/2",
                "api/1/zip/all", "thumb/2", "square/2", "face/2/0", "preview/2", "large/2", "original/2", "edited/2",
                "movie/2.mov", "movie/2.mov?s=", "movie/2.mp4?s=" + 64 * "a", "zip/all"))):
            for fields in ({}, {"Authorization": "Bearer "}, {"Authorization": "Bearer " + key[:-1]},
                           {"Authorization": "Basic " + key}, {"Cookie": "moxtel-%d=%s" % (self.page.port, key[::-1])}):
                with self.subTest(address, fields=fields):
                    status, _, body = self.page.fetch(address, **fields)
                    self.assertEqual((status, body), (401, b'{"error":"key"}'))
        self.assertEqual(self.page.status(root + "api/1/library", Authorization="Bearer " + key), 200)


class Changes(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.library = make_library(self.folder / "Library", *OPTIONS)

    def start(self, *arguments):
        self.page = Page(self.library, "-WebAccess", "open", *arguments)
        self.page.__enter__()
        self.addCleanup(self.page.__exit__, None, None, None)
        self.root = self.page.root()

    def library_state(self):
        return self.page.json(self.root + "api/1/library")

    def test_a_library_that_changes(self):
        self.start()
        before = self.page.json(self.root + "api/1/list/all")
        photo = self.page.photos_of(self.root, "all")[4]
        query(self.library, "UPDATE RKVersion SET isInTrash = 1 WHERE modelId = ?", photo)
        after = wait_for(lambda: (library := self.library_state())["version"] != before["version"] and library, "the change")
        self.assertEqual(after["photos"], before["count"] - 1)
        self.assertNotIn(photo, self.page.photos_of(self.root, "all"))
        self.assertEqual(self.page.status(self.root + "api/1/list/all/0?v=" + before["version"]), 410)
        for address in ("api/1/photo/%d", "thumb/%d", "original/%d"):
            self.assertEqual(self.page.status(self.root + address % photo), 404)

    def test_a_library_that_goes_and_comes_back(self):
        self.start()
        before = hash_of_library(self.library)
        listed = self.page.json(self.root + "api/1/list/all")
        photo = self.page.photos_of(self.root, "all")[0]
        for _ in range(2):
            self.library.rename(self.folder / "Away")
            library = wait_for(lambda: (found := self.library_state())["state"] == "away" and found, "the library to go")
            self.assertEqual(library["id"], self.root.split("/")[2])
            for address in ("albums", "events", "people", "keywords", "list/all", "photo/%d" % photo, "suggest?q=a"):
                status, _, body = self.page.fetch(self.root + "api/1/" + address)
                self.assertEqual((status, body), (503, b'{"error":"away"}'), address)
            for address in ("thumb/%d", "original/%d", "preview/%d", "edited/%d", "api/1/movie/%d"):
                self.assertEqual(self.page.status(self.root + address % photo), 503)
            (self.folder / "Away").rename(self.library)
            wait_for(lambda: self.library_state()["state"] == "ready", "the library to come back")
            again = self.page.json(self.root + "api/1/list/all")
            self.assertEqual((again["version"], again["count"]), (listed["version"], listed["count"]))
            self.assertEqual(self.page.status(self.root + "thumb/%d" % photo), 200)
        self.assertEqual(hash_of_library(self.library), before)

    def test_a_search_is_answered_once_the_index_is_complete(self):
        self.start()

        def is_found():
            status, _, body = self.page.fetch(self.root + "api/1/list/search:img")
            if status == 503:
                self.assertEqual(body, b'{"error":"busy"}')
                return None
            self.assertEqual(status, 200)
            return json.loads(body)["count"]
        self.assertGreater(wait_for(is_found, "the index"), 0)
        self.assertEqual(self.library_state()["search"], "ready")

    def test_a_second_library(self):
        other = make_library(self.folder / "disk/Photos Library.photoslibrary", "--kind", "photos5", "--images", "small",
                             "--photos", 25, "--seed", 8)
        before = hash_of_library(other)
        self.start("-WebLibraries", other.parent)
        first, second = sorted(self.page.libraries(), key=lambda card: not card["served"])
        self.assertEqual((first["kind"], first["served"], second["served"], second["state"]),
                         ("iPhoto", True, False, "ready"))
        self.assertTrue(second["kind"].startswith("Photos"), second["kind"])
        self.assertNotEqual(first["id"], second["id"])
        root = "/l/%s/" % second["id"]
        self.assertEqual(self.page.json(root + "api/1/library")["kind"], second["kind"])
        photos = self.page.photos_of(root, "all")
        self.assertGreater(len(photos), 10)
        for photo in photos:
            self.assertEqual(self.page.json(root + "api/1/photo/%d" % photo)["id"], photo)
        self.assertEqual(self.page.status(root + "thumb/%d" % photos[0]), 200)
        self.assertNotEqual(self.page.fetch("/")[0], 302)
        self.assertEqual(hash_of_library(other), before)


if __name__ == "__main__":
    unittest.main()
