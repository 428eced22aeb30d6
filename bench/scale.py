#!/usr/bin/env python3
"""Measures start-up, every listing command and thumbnails on libraries of growing size, over the wire.

    scale.py BIN_FOLDER [--photos N,N,...] [--libraries FOLDER] [--rounds N] [--only TABLE,...]

BIN_FOLDER contains moxtelserverd, moxtel-make-library and delivery-bench (a release build). Makes libraries of 1,000,
10,000, 100,000 and 1,000,000 photos, each with an album of all photos; with --libraries it keeps them there and uses
them again (3 GB in total). Prints Markdown tables, medians of --rounds (3) new servers:

- start: from the start of the process to the reply to "Get Version";
- commands: each sent twice to a new server. First the server's processor time, which other work on the machine disturbs
  least; then the time from sending the request to the last byte of the reply; then the size of the reply and the peak
  memory of the server;
- thumbnails: 1,000 of them spread over the library, requested in turn over one connection;
- peer: the album of all photos, beside a Python program that reads it with one sqlite3 join and writes it with plistlib.

Growth is the exponent in the number of photos: the slope of the logarithm of the processor time, or of the memory, over
that of the number of photos. For commands it is fitted over the sizes that take at least 2 ms. 1 is linear, 0 constant.
"""
import argparse
import math
import os
import pathlib
import plistlib
import signal
import sqlite3
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "tests" / "wire")]

import archive_peer
import moxteltest
from markdown import conditions, head, row

PATIENCE = 600  # seconds
BIG_ALBUM = "an album of all photos"
PEER_PHOTOS = (10_000, 100_000)
THUMBNAILS = 1_000
LEAST_COMPUTED = 0.002  # seconds; shorter times are too inexact for a fit

JOIN = """
SELECT v.uuid, v.modelId, v.videoPosterFramePoint, v.exifLatitude, v.exifLongitude,
  (SELECT s.stringProperty FROM p.RKIptcProperty i JOIN p.RKUniqueString s ON s.modelId = i.stringId
   WHERE i.propertyKey = 'Caption/Abstract' AND i.versionId = v.modelId),
  (SELECT s.stringProperty FROM p.RKExifStringProperty i JOIN p.RKUniqueString s ON s.modelId = i.stringId
   WHERE i.propertyKey = 'ImageDescription' AND i.versionId = v.modelId)
FROM RKAlbumVersion a JOIN RKVersion v ON v.modelId = a.versionId JOIN RKAlbum l ON l.modelId = a.albumId
WHERE l.uuid = ?"""


def parsed():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--photos", default="1000,10000,100000,1000000")
    parser.add_argument("--libraries", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--only", default="start,commands,thumbnails,peer")
    return parser.parse_args()


def made(folder, photos):
    """The library with that number of photos; makes it if it is missing."""
    library = folder / ("L%d" % photos)
    if not library.exists():
        unfinished = folder / ("unfinished-%d" % photos)
        moxteltest.make_library(unfinished, "--images", "none", "--photos", photos, "--big-album")
        unfinished.rename(library)
    return library


def opened(library, name="Library.apdb"):
    return sqlite3.connect("file:%s?mode=ro" % (library / "Database" / "apdb" / name), uri=True)


def one(library, question, name="Library.apdb"):
    database = opened(library, name)
    try:
        return database.execute(question).fetchone()
    finally:
        database.close()


def containers(library):
    """What to list: the album of all photos, a project and an album of tens or hundreds of photos, a person."""
    biggest = one(library, "SELECT a.uuid FROM RKAlbum a JOIN RKAlbumVersion v ON v.albumId = a.modelId "
                           "GROUP BY a.modelId ORDER BY COUNT(*) DESC LIMIT 1")
    album = one(library, "SELECT a.uuid FROM RKAlbum a JOIN RKAlbumVersion v ON v.albumId = a.modelId "
                         "WHERE a.albumSubclass = 3 AND a.isInTrash = 0 AND a.uuid != '%s' "
                         "GROUP BY a.modelId ORDER BY COUNT(*) DESC LIMIT 1" % biggest)
    project = one(library, "SELECT p.uuid FROM RKFolder p JOIN RKVersion v ON v.projectUuid = p.uuid "
                           "WHERE p.folderType = 2 AND p.isInTrash = 0 GROUP BY p.uuid ORDER BY COUNT(*) DESC LIMIT 1")
    person = one(library, "SELECT n.uuid FROM RKFaceName n JOIN RKDetectedFace d ON d.faceKey = n.faceKey "
                          "GROUP BY n.uuid ORDER BY COUNT(*) DESC LIMIT 1", "Faces.db")
    return biggest[0], album[0], project[0], person[0]


def requests(library):
    biggest, album, project, person = containers(library)
    return [("Get Albums", "", {}), ("Get Events", "", {}), ("Get Faces", "", {}),
            ("Photos of Album", "whole library", {"id": "allPhotosAlbum"}),
            ("Photos of Album", BIG_ALBUM, {"id": biggest}),
            ("Photos of Album", "the largest other album", {"id": album}),
            ("Photos of Album", "the largest project", {"id": project}),
            ("Photos of Face", "the person seen most", {"id": person}),
            ("Folders of Album", "top level", {"id": "TopLevelAlbums"}),
            ("Folders of Album", "all projects", {"id": "AllProjectsItem"}),
            ("Photos of Event", "", {"id": 1})]


def processor_time(server):
    """Processor seconds that the server has used, in its own code and in the kernel."""
    clock = ~server.process.pid << 3 | 2  # the clock of all threads of a process, as Linux numbers it
    return time.clock_gettime(clock)


def forget_peak(server):
    """Resets the peak of the server's memory."""
    pathlib.Path("/proc/%d/clear_refs" % server.process.pid).write_text("5")


def received(client):
    """Reads and discards the next reply; returns its size."""
    (length,) = struct.unpack("=I", client.receive_exactly(4))
    buffer, left = bytearray(1 << 20), length
    while left:
        count = client.socket.recv_into(buffer, min(left, len(buffer)))
        if not count:
            raise SystemExit("the server ended the connection")
        left -= count
    return length


class Sample:
    """One reply: seconds, processor seconds, bytes sent, and the peak memory until then in bytes."""

    def __init__(self, server, client, command, keys):
        forget_peak(server)
        computed, start = processor_time(server), time.monotonic()
        client.send(command, **keys)
        self.size = received(client)
        self.seconds = time.monotonic() - start
        self.processor = processor_time(server) - computed
        self.memory = server.memory()


def asked(library, command, keys):
    """The first and the second reply of a new server."""
    with moxteltest.Server(library) as server, moxteltest.Client(server, PATIENCE) as client:
        client.ask("Get Version")
        return [Sample(server, client, command, keys) for _ in range(2)]


def started(library):
    """Seconds to the first reply, processor seconds and bytes."""
    start = time.monotonic()
    with moxteltest.Server(library) as server, moxteltest.Client(server, PATIENCE) as client:
        client.ask("Get Version")
        return time.monotonic() - start, processor_time(server), server.memory()


def milliseconds(value):
    return ("%.2f" if value < 0.0095 else "%.0f") % (value * 1000)


def megabytes(value):
    return "%.0f" % (value / 1e6)


def growth(found, least=0.0):
    """The growth of values by number of photos; an empty text if too few values reach the least one."""
    points = [(math.log(photos), math.log(value)) for photos, value in found.items() if value >= least]
    return "%.2f" % statistics.linear_regression(*zip(*points)).slope if len(points) > 1 else ""


def start_table(libraries, rounds):
    head("Photos", "Start-up, ms", "Processor, ms", "Memory, MB")
    computed, memory = {}, {}
    for photos, library in libraries.items():
        spent, computed[photos], memory[photos] = map(statistics.median,
                                                      zip(*(started(library) for _ in range(rounds))))
        row(f"{photos:,}", milliseconds(spent), milliseconds(computed[photos]), megabytes(memory[photos]))
    row("growth", "", growth(computed), growth(memory))


def medians(samples, name):
    """Medians of the first and of the second replies."""
    return [statistics.median(getattr(sample, name) for sample in column) for column in zip(*samples)]


def pair(values):
    return " / ".join(map(milliseconds, values))


def command_tables(libraries, rounds):
    wanted = {photos: requests(library) for photos, library in libraries.items()}
    names = [command + (", " + what if what else "") for command, what, _ in next(iter(wanted.values()))]
    samples = {name: {photos: [asked(library, wanted[photos][place][0], wanted[photos][place][2])
                               for _ in range(rounds)] for photos, library in libraries.items()}
               for place, name in enumerate(names)}
    sizes = ["%s photos" % f"{photos:,}" for photos in libraries]
    head("Processor, ms: first / again", *sizes, "Growth")
    for name, of in samples.items():
        computed = {photos: medians(found, "processor") for photos, found in of.items()}
        row(name, *map(pair, computed.values()), *growths(computed))
    head("Reply, ms: first / again", *sizes)
    for name, of in samples.items():
        row(name, *(pair(medians(found, "seconds")) for found in of.values()))
    head("Sent, bytes; peak memory", *sizes, "Growth of memory")
    for name, of in samples.items():
        memory = {photos: max(medians(found, "memory")) for photos, found in of.items()}
        row(name, *("%s; %s MB" % (f"{found[0][0].size:,}", megabytes(memory[photos])) for photos, found in of.items()),
            growth(memory))


def growths(computed):
    both = [growth({photos: spent[place] for photos, spent in computed.items()}, LEAST_COMPUTED) for place in (0, 1)]
    return [" / ".join(text or "–" for text in both)]


def thumbnail(folder):
    """A thumbnail of a sample library."""
    library = folder / "a library with pictures"
    if not library.exists():
        moxteltest.make_library(library, "--images", "small", "--photos", 60)
    (path,) = one(library, "SELECT thumbnailPath FROM RKImageProxyState LIMIT 1", "ImageProxies.apdb")
    return library / "Thumbnails" / path


def with_thumbnails(library, picture):
    """The keys of photos spread over the library that have thumbnails."""
    database = opened(library, "ImageProxies.apdb")
    (last,) = database.execute("SELECT MAX(modelId) FROM RKImageProxyState").fetchone()
    found = database.execute("SELECT versionUuid, thumbnailPath FROM RKImageProxyState WHERE modelId % ? = 0",
                             (max(1, last // THUMBNAILS),)).fetchall()
    database.close()
    for _, path in found:
        place = library / "Thumbnails" / path
        if not place.exists():
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(picture, place)
    return [uuid for uuid, _ in found]


def delivered(library, keys, client):
    """(thumbnails a second, median microseconds, processor microseconds of each, bytes of memory)"""
    words = [client, "moxtel", None, str(3 * THUMBNAILS), "Thumb of Photo"]
    with moxteltest.Server(library) as server:
        words[2] = str(server.port)
        computed = processor_time(server)
        run = subprocess.run(words, input="\n".join(keys) + "\n", text=True, stdout=subprocess.PIPE, check=True)
        computed = processor_time(server) - computed
        rate, latency, _ = map(float, run.stdout.split())
        return rate, latency, 1e6 * computed / (3.3 * THUMBNAILS), server.memory()  # a tenth goes before uncounted


def thumbnail_table(libraries, folder, client, rounds):
    head("Photos", "Thumbnails a second", "Median, µs", "Processor, µs each", "Peak memory, MB")
    picture = thumbnail(folder)
    computed, memory = {}, {}
    for photos, library in libraries.items():
        keys = with_thumbnails(library, picture)
        rate, latency, computed[photos], memory[photos] = map(
            statistics.median, zip(*(delivered(library, keys, client) for _ in range(rounds))))
        row(f"{photos:,}", f"{rate:,.0f}", "%.0f" % latency, "%.0f" % computed[photos], megabytes(memory[photos]))
    row("growth", "", "", growth(computed), growth(memory))


def photo_dictionary(uuid, model_id, poster, latitude, longitude, caption, comment):
    found = {"PhotoKey": uuid, "ModelId": model_id, "MediaType": "Movie" if poster else "Image",
             "FoundBy": "AppleScript"}
    optional = (("latitude", latitude), ("longitude", longitude), ("Caption", caption), ("Comment", comment))
    return {**found, **{key: value for key, value in optional if value is not None and value != ""}}


def peer_reply(library, album):
    database = opened(library)
    database.execute("ATTACH ? AS p", ("file:%s?mode=ro" % (library / "Database" / "apdb" / "Properties.apdb"),))
    photos = [photo_dictionary(*found) for found in database.execute(JOIN, (album,))]
    database.close()
    return photos, plistlib.dumps(archive_peer.archive_of(photos), fmt=plistlib.FMT_BINARY, sort_keys=False)


def peer_table(libraries, rounds):
    """Measures the server and the peer in turn on the album of all photos, and compares their results."""
    head("Photos", "Whole reply, ms", "sqlite3 and plistlib, ms", "Times faster", "Peak memory, MB")
    for photos, library in libraries.items():
        if photos not in PEER_PHOTOS:
            continue
        album = containers(library)[0]
        ours, theirs = [], []
        with moxteltest.Server(library) as server, moxteltest.Client(server, PATIENCE) as client:
            listed = client.result("Photos of Album", id=album)
            if [dict(found) for found in listed] != peer_reply(library, album)[0]:
                raise SystemExit("the peer lists other photos")
            for _ in range(rounds):
                ours.append(Sample(server, client, "Photos of Album", {"id": album}))
                start = time.monotonic()
                peer_reply(library, album)
                theirs.append(time.monotonic() - start)
        mine = statistics.median(sample.seconds for sample in ours)
        peer = statistics.median(theirs)
        row(f"{photos:,}", milliseconds(mine), milliseconds(peer), "%.1f" % (peer / mine),
            megabytes(max(sample.memory for sample in ours)))


def main():
    options = parsed()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the servers too
    binaries = options.binaries.resolve()
    os.environ["MOXTEL_SERVER"] = str(binaries / "moxtelserverd")
    os.environ["MOXTEL_MAKE_LIBRARY"] = str(binaries / "moxtel-make-library")
    moxteltest.PATIENCE = PATIENCE
    tables = options.only.split(",")
    with tempfile.TemporaryDirectory() as temporary:
        folder = options.libraries or pathlib.Path(temporary)
        folder.mkdir(parents=True, exist_ok=True)
        libraries = {photos: made(folder, photos) for photos in map(int, options.photos.split(","))}
        conditions()
        if "start" in tables:
            start_table(libraries, options.rounds)
        if "commands" in tables:
            command_tables(libraries, options.rounds)
        if "thumbnails" in tables:
            thumbnail_table(libraries, folder, str(binaries / "delivery-bench"), options.rounds)
        if "peer" in tables:
            peer_table(libraries, options.rounds)
        print("\nload %.1f" % os.getloadavg()[0])


if __name__ == "__main__":
    main()
