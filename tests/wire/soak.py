#!/usr/bin/env python3
"""Sends many mixed requests over many connections and checks every reply and the growth of memory and descriptors.

    soak.py [--requests N] [--connections N] [--page N] [--photos N] [--seed N] [--kind KIND]

A browser opens the page beside each connection, --page times: lists, pictures, searches, archives that it breaks off.
First sends each request of the mix once and compares its reply with the model of the library, or with the delivered
file; from then on every reply must have the same bytes. Prints the growth of memory and descriptors after the first
tenth of the connections; exits with 1 if they grew.
"""

import argparse
import http.client
import json
import os
import pathlib
import random
import shutil
import sqlite3
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "model"))

import keyedarchive
import kinds
import model
import moxteltest

# Bytes of memory growth per 1,000 connections; a leak of one kilobyte per connection would make four times as much.
MOST_GROWTH = 256 << 10
TCP_CLOSE_WAIT = 8


def sorted_containers(containers):
    return sorted(containers, key=lambda entry: (entry.get("OrderNumber", 0), entry["ModelId"]))


class Mix:
    """Requests with their expected reply bytes."""

    def __init__(self, client, library):
        self.client, self.library = client, library
        self.reference = self.reading(library)
        self.entries = []
        self.commands = set()

    def reading(self, library):
        return model.Library(library)

    def add(self, weight, expected, command, **keys):
        data = moxteltest.request(command, **keys)
        self.client.send_bytes(data)
        raw = self.client.receive_raw()
        envelope = keyedarchive.decode(raw)
        self.check(command, keys, envelope, expected)
        self.commands.add(command)
        self.entries.append((weight, data, raw))

    @staticmethod
    def check(command, keys, envelope, expected):
        if callable(expected):
            right = expected(envelope)
        else:
            right = envelope == expected
        if not right:
            raise AssertionError("%s %r answered %.400r" % (command, keys, envelope))

    def add_all(self):
        reference = self.reference
        self.add(20, {"result": "1.4"}, "Get Version")
        self.add(1, {"error": "Command 'Nonsense' was not handled"}, "Nonsense")
        for command, expected in (("Get Albums", reference.top_level_albums()),
                                  ("Get Events", reference.top_level_projects())):
            self.add(5, self.containers(expected), command)
        self.add(5, {"result": reference.faces()}, "Get Faces")
        self.add(1, {"result": reference.photos_in("allPhotosAlbum")}, "Photos of Album", id="allPhotosAlbum")
        for table in ("RKAlbum", "RKFolder"):
            for uuid in reference.uuids("library", table)[:20]:
                if uuid != "allPhotosAlbum":
                    self.add(2, {"result": reference.photos_in(uuid)}, "Photos of Album", id=uuid)
                self.add(2, self.containers(reference.containers_in(uuid)), "Folders of Album", id=uuid)
        for uuid in reference.uuids("faces", "RKFaceName"):
            self.add(2, {"result": reference.photos_of_face(uuid)}, "Photos of Face", id=uuid)
        photos = reference.photos_in("allPhotosAlbum")
        for photo in photos[:40]:
            uuid = photo["PhotoKey"]
            self.add(2, {"result": reference.photo_with_uuid(uuid)}, "Infos of Photo", key=uuid)
            self.files_of(uuid)
        self.add(2, {"error": "No Thumbnail"}, "Thumb of Photo", key="no such photo")
        self.add(1, self.has_exif, "Metadata of Photo", key=self.first_jpeg())
        self.add(1, self.is_jpeg, "Image of Photo", key=self.first_jpeg())
        for command in ("Reveal Photo", "Reveal Album", "Reveal Event"):
            self.add(1, self.is_text, command, id="x", key="x")
        self.add(1, {"result": "Set GPS to 1.000000/2.000000"}, "Set GPS of Photo", key=photos[0]["PhotoKey"],
                 latitude=1, longitude=2)
        self.add(1, {"result": "Cleared GPS"}, "Clear GPS of Photo", key=photos[0]["PhotoKey"])
        # Only libraries of an older format have events.
        self.add(1, {"error": "Album not found"}, "Photos of Event", id=1)
        missing = set(moxteltest.command_names()) - self.commands
        if missing:
            raise AssertionError("no request for %s" % ", ".join(sorted(missing)))

    @staticmethod
    def containers(expected):
        """Compares lists of containers; entries with the same order number may be in any order."""
        return lambda envelope: list(envelope) == ["result"] and \
            sorted_containers(envelope["result"]) == sorted_containers(expected)

    def row(self, database, question, *values):
        connection = sqlite3.connect("file:%s?mode=ro" % (self.library / "Database/apdb" / database), uri=True)
        try:
            return connection.execute(question, values).fetchone()
        finally:
            connection.close()

    def first_jpeg(self):
        return self.row("Library.apdb", "SELECT v.uuid FROM RKVersion v JOIN RKMaster m ON m.uuid=v.masterUuid WHERE "
                        "v.versionNumber=1 AND v.hasAdjustments=0 AND v.isInTrash=0 AND m.imagePath LIKE '%.JPG'")[0]

    def files_of(self, uuid):
        """Adds requests for thumbnails, and for the master of a photo that was never edited."""
        proxies = self.row("ImageProxies.apdb", "SELECT thumbnailPath,miniThumbnailPath FROM RKImageProxyState WHERE "
                           "versionUuid=?", uuid)
        if proxies is not None and None not in proxies:
            thumbnail, small = ((self.library / "Thumbnails" / path).read_bytes() for path in proxies)
            self.add(4, {"result": thumbnail}, "Thumb of Photo", key=uuid)
            self.add(2, {"result": small}, "Square Thumb of Photo", key=uuid, isFace=False)
            self.add(1, {"result": thumbnail}, "Fullscreen 1024 Image of Photo", key=uuid)
        master = self.row("Library.apdb", "SELECT m.imagePath FROM RKVersion v JOIN RKMaster m ON "
                          "m.uuid=v.masterUuid WHERE v.uuid=? AND v.hasAdjustments=0", uuid)
        if master:
            self.add(1, {"result": (self.library / "Masters" / master[0]).read_bytes()}, "Data of Photo", key=uuid)

    @staticmethod
    def is_jpeg(envelope):
        return envelope["result"].startswith(b"\xff\xd8")

    @staticmethod
    def has_exif(envelope):
        return envelope["result"]["PixelWidth"] > 0

    @staticmethod
    def is_text(envelope):
        return isinstance(envelope["result"], str)

    def chooser(self, seed):
        roll = random.Random(seed)
        weights = [entry[0] for entry in self.entries]
        while True:
            yield from roll.choices(self.entries, weights, k=1000)


class MixOfKind(Mix):
    """Of a library of another kind."""

    KINDS = {"photos4": kinds.Photos4, "photos5": kinds.Photos5, "photos8": kinds.Photos5, "photos11": kinds.Photos5,
             "xml": kinds.AlbumDataOnly}

    def __init__(self, client, library, kind):
        self.kind = kind
        super().__init__(client, library)

    def reading(self, library):
        return self.KINDS[self.kind](library)

    def add_all(self):
        reference = self.reference
        self.add(20, {"result": "1.4"}, "Get Version")
        self.add(5, self.lists({uuid: count for uuid, (_, _, count) in reference.containers("TopLevelAlbums").items()}),
                 "Get Albums")
        self.add(5, self.lists({uuid: count for uuid, (_, count) in reference.event_table().items()}), "Get Events")
        self.add(5, self.lists({uuid: count for uuid, (_, count) in reference.faces().items()}), "Get Faces")
        self.add(1, self.photos(reference.all_photos()), "Photos of Album", id="allPhotosAlbum")
        for uuid in list(reference.albums)[:20]:
            self.add(2, self.photos(reference.photos_of_album(uuid)), "Photos of Album", id=uuid)
        for uuid in list(reference.events)[:20]:
            self.add(2, self.photos(reference.photos_of_event(uuid)), "Photos of Album", id=uuid)
        for photo in list(reference.photos.values())[:40]:
            self.add(2, lambda envelope, name=photo.name: envelope["result"]["FileName"] == name, "Infos of Photo",
                     key=photo.uuid)
            for command in ("Thumb of Photo", "Square Thumb of Photo", "Fullscreen 1024 Image of Photo"):
                self.add(2, self.is_jpeg, command, key=photo.uuid)
            self.add(1, lambda envelope: len(envelope["result"]) > 0, "Data of Photo", key=photo.uuid)

    @staticmethod
    def lists(expected):
        """The number of photos by id; folders of iPhoto's, which hold no photos of their own, are not compared."""
        return lambda envelope: {one["AlbumId"]: one["PhotoCount"] for one in envelope["result"]
                                 if one["AlbumId"] in expected} == expected

    @staticmethod
    def photos(expected):
        return lambda envelope: sorted(map(dict, envelope["result"]), key=lambda one: one["ModelId"]) == expected


class PageMix:
    """Requests of browsers, each over a connection of its own, with their expected replies."""

    ARCHIVE = 20  # one of this number of requests begins an archive, and breaks it off

    def __init__(self, server, port, seed):
        self.server, self.port = server, port
        self.roll = random.Random(seed)
        self.asked = 0
        root = "/l/%s/" % moxteltest.wait_for(self.library, "the page's library")
        moxteltest.wait_for(lambda: json.loads(self.get(root + "api/1/library")[1])["search"] == "ready", "the index")
        version = json.loads(self.get(root + "api/1/list/all")[1])["version"]
        photos = json.loads(self.get(root + "api/1/list/all/0?v=" + version)[1])["id"]
        ids = [sum(photos[:end + 1]) for end in range(min(40, len(photos)))]
        names = ["photos", "assets/nothing", "api/1/library", "api/1/albums", "api/1/events", "api/1/people",
                 "api/1/keywords", "api/1/list/all", "api/1/list/all?order=new&rating=1", "api/1/list/flagged",
                 "api/1/list/all/0?v=" + version, "api/1/list/search:img", "api/1/list/search:2009", "api/1/suggest?q=a",
                 "api/1/list/all/0?v=old", "api/1/zip/all", "nonsense", "api/1/list/album:999999"]
        for number in ids:
            names += [name % number for name in ("thumb/%d", "square/%d", "preview/%d", "api/1/photo/%d", "original/%d")]
        self.archive = root + "zip/all"
        self.expected = {root + name: self.get(root + name) for name in names}
        good = sum(status == 200 for status, _ in self.expected.values())
        if good < 0.9 * len(names):
            raise AssertionError("only %d of %d addresses answer" % (good, len(names)))

    def library(self):
        try:
            libraries = json.loads(self.get("/api/1/libraries")[1])["libraries"]
        except (OSError, http.client.HTTPException):
            return None
        return libraries[0]["id"] if libraries else None

    def get(self, address, most=None):
        """Status and body; with a limit, only its first bytes."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request("GET", address, headers={"Connection": "close"})
            reply = connection.getresponse()
            return reply.status, reply.read(most)
        finally:
            connection.close()

    def ask(self):
        self.asked += 1
        if self.asked % self.ARCHIVE == 0:
            status, body = self.get(self.archive, 5000)
            if (status, body[:2]) != (200, b"PK"):
                raise AssertionError("no archive: %d %r" % (status, body[:100]))
            return
        address = self.roll.choice(list(self.expected))
        reply = self.get(address)
        if reply != self.expected[address]:
            raise AssertionError("a different reply to %s after %d requests: %d %.200r" % (address, self.asked, *reply))


def memory_in_use(pid):
    """Private memory of the process in bytes."""
    with open("/proc/%d/smaps_rollup" % pid) as facts:
        for line in facts:
            if line.startswith("Private_Dirty:"):
                return int(line.split()[1]) << 10
    raise AssertionError("no Private_Dirty")


def descriptors(pid):
    """The number of open descriptors, except those of /proc, through which the server watches other processes."""
    count = 0
    for name in os.listdir("/proc/%d/fd" % pid):
        try:
            count += not os.readlink("/proc/%d/fd/%s" % (pid, name)).startswith("/proc")
        except FileNotFoundError:
            pass
    return count


def slope(samples):
    """The slope of the second value over the first, by least squares."""
    middle = sum(x for x, _ in samples) / len(samples)
    square = sum((x - middle) ** 2 for x, _ in samples)
    return sum((x - middle) * y for x, y in samples) / square


def has_connection(server, page_port):
    return any(local in (server.port, page_port) and state in (moxteltest.TCP_ESTABLISHED, TCP_CLOSE_WAIT)
               for local, _, state, _ in moxteltest.tcp_sockets())


class Soak:
    def __init__(self, options):
        self.options = options
        self.samples = []  # (connections, bytes, descriptors)
        self.asked = 0

    def run(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtelsoak."))
        try:
            library = moxteltest.make_library(folder / "Library", "--images", "small", "--photos", self.options.photos,
                                              "--kind", self.options.kind)
            before = moxteltest.hash_of_library(library)
            page_port = moxteltest.free_port() if self.options.page else 0
            with moxteltest.Server(library, "-WebAccess", "open", web_port=page_port) as server:
                with moxteltest.Client(server) as client:
                    iphoto = self.options.kind == "iphoto"
                    mix = Mix(client, library) if iphoto else MixOfKind(client, library, self.options.kind)
                    mix.add_all()
                page = PageMix(server, page_port, self.options.seed) if page_port else None
                self.ask_all(server, mix.chooser(self.options.seed), len(mix.entries), page)
            if moxteltest.hash_of_library(library) != before:
                raise AssertionError("the library was changed")
        finally:
            shutil.rmtree(folder)
        return self.judge()

    def ask_all(self, server, chosen, kinds, page):
        each = max(1, self.options.requests // self.options.connections)
        interval = max(1, self.options.connections // 100)
        start = time.monotonic()
        for number in range(1, self.options.connections + 1):
            with moxteltest.Client(server) as client:
                for _ in range(each):
                    _, data, expected = next(chosen)
                    client.send_bytes(data)
                    if client.receive_raw() != expected:
                        raise AssertionError("a different reply to %r after %d requests" % (data, self.asked))
                    self.asked += 1
                for _ in range(self.options.page):
                    page.ask()
            if number % interval == 0:
                moxteltest.wait_for(lambda: not has_connection(server, page.port if page else 0), "the disconnection")
                pid = server.process.pid
                self.samples.append((number, memory_in_use(pid), descriptors(pid)))
        seconds = time.monotonic() - start
        print("%d requests of %d kinds over %d connections, and %d of browsers to %d addresses, in %.0f s, every reply "
              "right" % (self.asked, kinds, self.options.connections, page.asked if page else 0,
                         len(page.expected) if page else 0, seconds))

    def judge(self):
        settled = [sample for sample in self.samples if sample[0] * 10 >= self.options.connections]
        bytes_each = slope([(number, size) for number, size, _ in settled])
        descriptors_each = slope([(number, count) for number, _, count in settled])
        print("after the first %d connections: memory %.1f MB, then %.1f MB, %+.2f KB for every 1000 connections; "
              "descriptors %d, then %d, %+.3f for every 1000 connections" % (
                  settled[0][0], settled[0][1] / 1e6, settled[-1][1] / 1e6, bytes_each * 1000 / 1e3, settled[0][2],
                  settled[-1][2], descriptors_each * 1000))
        grown = settled[-1][1] - settled[0][1]
        # A leak keeps growing; memory that the allocator retains does not.
        if bytes_each * 1000 > MOST_GROWTH and grown > 1 << 20:
            print("memory grows")
            return 1
        if settled[-1][2] > settled[0][2]:
            print("descriptors grow")
            return 1
        return 0


def main():
    # Outside CTest: the programs of the release build.
    programs = pathlib.Path(__file__).resolve().parents[2] / "build/release/bin"
    os.environ.setdefault("MOXTEL_MAKE_LIBRARY", str(programs / "moxtel-make-library"))
    os.environ.setdefault("MOXTEL_SERVER", str(programs / "moxtelserverd"))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--requests", type=int, default=1_000_000)
    parser.add_argument("--connections", type=int, default=10_000)
    parser.add_argument("--page", type=int, default=3, help="requests of browsers beside each connection; 0: none")
    parser.add_argument("--photos", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--kind", default="iphoto", choices=["iphoto", *MixOfKind.KINDS])
    return Soak(parser.parse_args()).run()


if __name__ == "__main__":
    sys.exit(main())
