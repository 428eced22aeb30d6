#!/usr/bin/env python3
"""Sends the same requests to two builds of the server and compares their replies byte by byte.

    compare_replies.py BEFORE AFTER [--requests N] [--seed N] [--only LIBRARY …]

BEFORE and AFTER are paths of moxtelserverd. Both serve the same libraries, which AFTER's moxtel-make-library writes:
10,000 photos, 100,000 photos, one with pictures, and one with odd values. Each gets N requests (1,000), chosen from
all commands with usual and odd arguments; the same seed chooses the same requests. Prints each request whose replies
differ, and how; exit status 1 if there are any.
"""

import argparse
import pathlib
import plistlib
import random
import shutil
import sqlite3
import subprocess
import sys
import tempfile

import keyedarchive
import moxteltest

LIBRARIES = {
    "10,000 photos": ("--photos", "10000", "--images", "none", "--album-data", "--big-album"),
    "100,000 photos": ("--photos", "100000", "--images", "none", "--big-album"),
    "pictures": ("--photos", "60", "--images", "photo", "--album-data"),
    "odd values": ("--photos", "2000", "--images", "none", "--strange"),
}
TABLES = (("Library.apdb", "RKAlbum"), ("Library.apdb", "RKFolder"), ("Library.apdb", "RKVersion"),
          ("Faces.db", "RKFaceName"), ("Faces.db", "RKDetectedFace"))
ODD_TEXTS = ("allPhotosAlbum", "TopLevelAlbums", "AllProjectsItem", "LibraryFolder", "trashAlbum", "", "(null)", "0",
             "no such uuid", "x' OR '1'='1", "%@%s%n", "\\", "\"", "a\0b", "é", "🙂", ";", "--", "x" * 3000)
ODD_VALUES = (0, 1, -1, 2**31, 2**63 - 1, 1.5, float("nan"), True, False, None, keyedarchive.NULL, b"bytes", [], ["x"],
              {}, {"x": 1}, keyedarchive.Date(1e9))
DEGREES = (0, 1, -1, 47.5, -122.25, 90, 180, 181, 1e300, float("inf"), float("nan"), "12.5", "x", None, True)
MALFORMED = (b"x", b"bplist00", b"bplist00" + bytes(40), b"<plist/>", b"\0\0\0\4", b"GET / HTTP/1.1\r\n\r\n",
             plistlib.dumps({"command": "Get Version"}), keyedarchive.encode(["command", "Get Version"]),
             keyedarchive.encode("Get Version"), keyedarchive.encode({"command": 5}), keyedarchive.encode({}))
# The last request of each group: unknown, so both servers answer it with the same error and nothing else.
MARKER = "end of replies"
PATIENCE = 120


def ids_of(library):
    """The uuids of each table, as texts."""
    found = {}
    for database, table in TABLES:
        connection = sqlite3.connect("file:%s?mode=ro" % (library / "Database/apdb" / database), uri=True)
        rows = connection.execute("SELECT uuid FROM %s ORDER BY rowid" % table).fetchall()
        connection.close()
        found[table] = [uuid for (uuid,) in rows if isinstance(uuid, str) and len(uuid) < 200]
    return found


class Requests:
    """Chooses requests for one library."""

    def __init__(self, library, seed):
        self.random = random.Random(seed)
        self.ids = ids_of(library)
        self.commands = moxteltest.command_names()

    def identity(self):
        kind = self.random.random()
        if kind < 0.8:
            uuids = self.ids[self.random.choice(sorted(self.ids))]
            if uuids:
                return self.random.choice(uuids)
        return self.random.choice(ODD_TEXTS if kind < 0.95 else ODD_VALUES)

    def key_for(self, command):
        """Mostly an identity of the kind that the command expects."""
        table = ("RKFaceName" if command.endswith("Face") else
                 "RKVersion" if "Photo" in command and not command.startswith("Photos") else
                 self.random.choice(("RKAlbum", "RKFolder")))
        uuids = self.ids[table]
        return self.random.choice(uuids) if uuids and self.random.random() < 0.75 else self.identity()

    def choose(self):
        """The bytes of a request, and the request as a text."""
        kind = self.random.random()
        if kind < 0.02:
            data = self.random.choice(MALFORMED)
            return data, repr(data)
        command = self.random.choice(self.commands) if kind < 0.97 else self.random.choice(
            ("Nonsense", "", "get version", "Get Version ", "%@", "Get Albums\0"))
        dictionary = {"command": command}
        for name in ("id", "key"):
            if self.random.random() < 0.9:
                dictionary[name] = self.key_for(command)
        if self.random.random() < 0.2:
            dictionary["isFace"] = self.random.choice((True, False, 1, "YES", None))
        if "GPS" in command or self.random.random() < 0.05:
            dictionary.update(latitude=self.random.choice(DEGREES), longitude=self.random.choice(DEGREES))
        return self.encoded(dictionary), repr(dictionary)

    def encoded(self, dictionary):
        if self.random.random() < 0.1:
            try:
                return keyedarchive.encode(dictionary, plistlib.FMT_XML)
            except ValueError:
                pass  # XML has no NUL
        return keyedarchive.encode(dictionary)


class Peer:
    """One server and the connection to it."""

    def __init__(self, server):
        self.server = server
        self.client = moxteltest.Client(server, PATIENCE)

    def replies(self, data):
        """Every reply to a request, as bytes; the last is "closed" where the server ended the connection."""
        found = []
        try:
            self.client.send_bytes(data)
            self.client.wait_until_read()
            self.client.send(MARKER)
            while True:
                raw = self.client.receive_raw()
                if len(raw) < 1000 and MARKER.encode() in raw:
                    return found
                found.append(raw)
        except (moxteltest.Closed, ConnectionError, AssertionError):
            if not self.server.is_running():
                raise
            self.client.socket.close()
            self.client = moxteltest.Client(self.server, PATIENCE)
            return found + [b"closed"]


def described(raw):
    if raw == b"closed":
        return "(connection closed)"
    try:
        return "%.300r" % (keyedarchive.decode(raw),)
    except Exception as problem:  # pylint: disable=broad-except
        return "(%d bytes that cannot be decoded: %s)" % (len(raw), problem)


def first_difference(before, after):
    """What differs first between two lists of replies."""
    if len(before) != len(after):
        return "%d replies before, %d after: %s | %s" % (
            len(before), len(after), ", ".join(map(described, before)), ", ".join(map(described, after)))
    one, other = next((one, other) for one, other in zip(before, after) if one != other)
    at = next((at for at, (a, b) in enumerate(zip(one, other)) if a != b), min(len(one), len(other)))
    same_value = described(one) == described(other) and len(one) < 100000
    return "%d bytes before, %d after, from byte %d on%s\n    before: %s\n    after:  %s" % (
        len(one), len(other), at, ", the same value as far as it is shown" if same_value else "",
        described(one), described(other))


def compare(library, before, after, options):
    """How many requests had different replies, and how many bytes were the same."""
    requests = Requests(library, options.seed)
    different = same_bytes = replies = 0
    with moxteltest.Server(library, binary=before, web_port=None) as first, \
            moxteltest.Server(library, binary=after) as second:
        peers = Peer(first), Peer(second)
        for number in range(options.requests):
            data, text = requests.choose()
            if len(data) > 4096:
                text = "(%d bytes) " % len(data) + text
            answers = [peer.replies(data) for peer in peers]
            if answers[0] != answers[1]:
                different += 1
                print("request %d: %.300s\n  %s" % (number, text, first_difference(*answers)), flush=True)
            else:
                replies += len(answers[0])
                same_bytes += sum(map(len, answers[0]))
        for peer in peers:
            peer.client.socket.close()
    return different, replies, same_bytes


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("before", type=pathlib.Path)
    parser.add_argument("after", type=pathlib.Path)
    parser.add_argument("--requests", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", nargs="+", choices=LIBRARIES, default=list(LIBRARIES), metavar="LIBRARY")
    options = parser.parse_args()
    before, after = options.before.resolve(), options.after.resolve()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtelcompare."))
    failed = False
    try:
        for number, name in enumerate(options.only):
            library = folder / str(number)
            subprocess.run([after.parent / "moxtel-make-library", library, *LIBRARIES[name]], check=True,
                           stdout=subprocess.DEVNULL)
            digest = moxteltest.hash_of_library(library)
            different, replies, same_bytes = compare(library, before, after, options)
            failed = failed or different > 0
            print("%s: %d requests, %d with different replies; %d replies with %d bytes are the same" % (
                name, options.requests, different, replies, same_bytes), flush=True)
            if moxteltest.hash_of_library(library) != digest:
                failed = True
                print("%s: the library was changed" % name)
            shutil.rmtree(library)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
