#!/usr/bin/env python3
"""Measures libraries of Photos beside one of iPhoto with as many photos, over the wire.

    kinds.py BIN_FOLDER [--photos N] [--libraries FOLDER] [--rounds N] [--kinds KIND,...]

BIN_FOLDER contains moxtelserverd and moxtel-make-library (a release build). Makes a library of each kind with --photos
(100,000) photos and an album of all of them; with --libraries it keeps them there and uses them again. Prints a Markdown
table, medians of --rounds (3) new servers:

- start: from the start of the process to the reply to "Get Version", when the database is read where it is, and when it
  must be copied because it has a write-ahead log without its -shm file;
- album of all, event: from the request to the last byte of the first reply with the album of all photos, and with the
  largest event of at most 100 photos; for the album also how often iPhoto's processor time it takes;
- memory: the peak of the server until then.

The times after a comma are processor times of the server, which other work on the machine disturbs least.
"""
import argparse
import contextlib
import math
import os
import pathlib
import signal
import sqlite3
import statistics
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "tests" / "wire")]

import moxteltest
import scale
from markdown import conditions, head, row

IPHOTO = "iphoto"
LARGEST_EVENT = 100  # photos


def parsed():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--photos", type=int, default=100_000)
    parser.add_argument("--libraries", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--kinds", default=IPHOTO + ",photos4,photos5,photos8,photos11")
    return parser.parse_args()


def made(folder, kind, photos):
    library = folder / ("%s-%d" % (kind, photos))
    if not library.exists():
        unfinished = folder / ("unfinished-" + kind)
        moxteltest.make_library(unfinished, "--kind", kind, "--images", "none", "--photos", photos, "--big-album")
        unfinished.rename(library)
    return library


def database_of(library):
    files = [library / "database" / name for name in ("Photos.sqlite", "photos.db")]
    return next((file for file in files if file.exists()), None)


@contextlib.contextmanager
def needing_a_copy(library):
    """With a log without its -shm file, as it is after a part of a library was copied."""
    file = database_of(library)
    log, kept = pathlib.Path(str(file) + "-wal"), file.read_bytes()
    writer = sqlite3.connect(file)
    writer.execute("PRAGMA wal_autocheckpoint = 0")
    writer.execute("CREATE TABLE Filler (a)")
    writer.commit()
    bytes_of_log = log.read_bytes()
    writer.close()
    file.write_bytes(kept)
    log.write_bytes(bytes_of_log)
    try:
        yield
    finally:
        log.unlink()


def containers(client):
    """The album of all photos and an event."""
    def largest(found, most):
        listed = (one for one in found if one["AlbumType"] != "Folder" and one["PhotoCount"] <= most)
        return max(listed, key=lambda one: one["PhotoCount"])["AlbumId"]
    return largest(client.result("Get Albums"), math.inf), largest(client.result("Get Events"), LARGEST_EVENT)


def asked(library, keys):
    with moxteltest.Server(library) as server, moxteltest.Client(server, scale.PATIENCE) as client:
        client.ask("Get Version")
        event = scale.Sample(server, client, "Photos of Album", {"id": keys[1]})
        album = scale.Sample(server, client, "Photos of Album", {"id": keys[0]})
        return album.seconds, album.processor, event.seconds, event.processor, album.memory


def started(library, rounds):
    """Seconds to the first reply, and processor seconds."""
    return [statistics.median(column) for column in list(zip(*(scale.started(library) for _ in range(rounds))))[:2]]


def times(values):
    return ", ".join(map(scale.milliseconds, values))


def measured(library, rounds):
    with moxteltest.Server(library) as server, moxteltest.Client(server, scale.PATIENCE) as client:
        keys = containers(client)
    start = [times(started(library, rounds))]
    if database_of(library):
        with needing_a_copy(library):
            start.append(times(started(library, rounds)))
    return start, [statistics.median(column) for column in zip(*(asked(library, keys) for _ in range(rounds)))]


def main():
    options = parsed()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the servers too
    binaries = options.binaries.resolve()
    os.environ["MOXTEL_SERVER"] = str(binaries / "moxtelserverd")
    os.environ["MOXTEL_MAKE_LIBRARY"] = str(binaries / "moxtel-make-library")
    moxteltest.PATIENCE = scale.PATIENCE
    conditions()
    peer = None
    with tempfile.TemporaryDirectory() as temporary:
        folder = options.libraries or pathlib.Path(temporary)
        folder.mkdir(parents=True, exist_ok=True)
        head("Library of {:,} photos".format(options.photos), "Start, ms: in place / copied", "Album of all, ms",
             "Times iPhoto's", "Event, ms", "Memory, MB")
        for kind in options.kinds.split(","):
            start, (album, processor, *event, memory) = measured(made(folder, kind, options.photos), options.rounds)
            peer = peer or processor
            row(kind, " / ".join(start), times((album, processor)), "%.2f" % (processor / peer), times(event),
                scale.megabytes(memory))


if __name__ == "__main__":
    main()
