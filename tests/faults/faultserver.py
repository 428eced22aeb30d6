"""Servers into which faults can be injected, the requests sent to them, and checks of their state afterwards."""

import ctypes
import json
import mmap
import os
import pathlib
import shutil
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "wire"))

import keyedarchive  # noqa: E402
import moxteltest  # noqa: E402

# Longer than every time-out of the server.
PATIENCE = 150  # seconds
TCP_CLOSE_WAIT = 8
INSIDE = "MOXTEL_FAULTS_INSIDE"
IS_FULL = os.environ.get("MOXTEL_FAULTS_FULL") == "1"


def skip(why):
    """Ends the script so that CTest shows the test as skipped, with the reason."""
    print("SKIPPED:", why)
    sys.exit(77)


def enter_namespaces(*options):
    """Restarts this script in its own namespaces. Returns the reason if that is not possible."""
    if os.environ.get(INSIDE):
        return None
    if not shutil.which("unshare"):
        return "unshare is not installed"
    command = ["unshare", *options, *(["--user", "--map-root-user"] if os.getuid() != 0 else [])]
    tried = subprocess.run([*command, "mount", "-t", "tmpfs", "none", "/mnt"], capture_output=True, text=True,
                           check=False)
    if tried.returncode != 0:
        return tried.stderr.strip()
    os.environ[INSIDE] = "1"
    os.execvp("unshare", [*command, sys.executable, "-B", *sys.argv])


class SharedWords:
    """64-bit words in memory that the fault injector and this process share."""

    WORDS = ()

    def __init__(self, path, size):
        self.path = path
        path.write_bytes(bytes(size))
        with open(path, "r+b") as file:
            self.map = mmap.mmap(file.fileno(), size)
        self.words = {name: ctypes.c_int64.from_buffer(self.map, 8 * at) for at, name in enumerate(self.WORDS)}

    def __getitem__(self, name):
        return self.words[name].value

    def __setitem__(self, name, value):
        self.words[name].value = value

    def set_up(self, counters_from, **values):
        self.disarm()
        self.map[counters_from:] = bytes(len(self.map) - counters_from)
        for name, value in values.items():
            self[name] = value
        self["fired"] = 0
        self["armed"] = 1

    def disarm(self):
        self["armed"] = 0


class CallControl(SharedWords):
    """Memory that the tracer and this process share; same layout as Control in CallFaults.cpp."""

    WORDS = ("armed", "call", "nth", "repeat", "action", "error", "whose", "fired", "server")
    CALLS = 512
    TEXT = 256
    FILE_AT = 8 * len(WORDS)
    TEXT_AT = FILE_AT + TEXT
    FAIL_INSTEAD, FAIL_AFTERWARDS, SHORTEN = 1, 2, 3
    SERVER, CHILDREN = 0, 1

    def __init__(self, path):
        super().__init__(path, self.TEXT_AT + self.TEXT + 8 * 2 * self.CALLS)

    def description(self):
        return self.map[self.TEXT_AT:self.TEXT_AT + self.TEXT].split(b"\0")[0].decode("utf-8", "replace")

    def arm(self, call=-1, nth=1, repeat=1, action=FAIL_INSTEAD, error=0, whose=SERVER, file=""):
        """file: only calls on a file whose path has this text, at the first place where the call names a file."""
        self.disarm()
        self.map[self.FILE_AT:self.TEXT_AT] = file.encode().ljust(self.TEXT, b"\0")
        self.set_up(self.TEXT_AT, call=call, nth=nth, repeat=repeat, action=action, error=error, whose=whose)

    def counts(self, whose=SERVER):
        """The number of calls since arming, by the call's number."""
        start = self.TEXT_AT + self.TEXT + 8 * self.CALLS * whose
        numbers = struct.unpack_from("=%dq" % self.CALLS, self.map, start)
        return {call: count for call, count in enumerate(numbers) if count}


class FileControl(SharedWords):
    """Memory that the preloaded library and this process share; same layout as Control in PreloadedFaults.cpp."""

    WORDS = ("armed", "operation", "nth", "repeat", "code", "fired", "clock_shift", "file_system")
    OPERATIONS = ("open", "read", "write", "size", "lock", "unlock", "check lock", "access", "sync")
    DAMAGE = -1

    def __init__(self, path):
        super().__init__(path, 8 * (len(self.WORDS) + len(self.OPERATIONS)))

    def arm(self, operation=None, nth=1, repeat=1, code=0):
        number = -1 if operation is None else self.OPERATIONS.index(operation)
        self.set_up(8 * len(self.WORDS), operation=number, nth=nth, repeat=repeat, code=code)

    def counts(self):
        numbers = struct.unpack_from("=%dq" % len(self.OPERATIONS), self.map, 8 * len(self.WORDS))
        return dict(zip(self.OPERATIONS, numbers))


def call_numbers():
    lines = subprocess.run([moxteltest.program("MOXTEL_CALL_FAULTS"), "--calls"], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    return {name: int(number) for name, number in (line.split() for line in lines)}


class TracedServer(moxteltest.Server):
    """A server whose system calls fail as its control says."""

    def __init__(self, library, *arguments, **options):
        super().__init__(library, *arguments, **options)
        self.control = CallControl(self.home / "control")
        self.arguments = [moxteltest.program("MOXTEL_CALL_FAULTS"), str(self.control.path), *self.arguments]

    def pid(self):
        return self.control["server"]


def need_tracing():
    """Skips the test where tracing is not permitted, as in some containers."""
    with tempfile.TemporaryDirectory() as folder:
        control = CallControl(pathlib.Path(folder) / "control")
        tried = subprocess.run([moxteltest.program("MOXTEL_CALL_FAULTS"), str(control.path), "true"],
                               capture_output=True, text=True, check=False)
    if tried.returncode != 0:
        skip(tried.stderr.strip())


class PreloadedServer(moxteltest.Server):
    """A server whose database operations fail, and whose clock is shifted, as its control says."""

    def __init__(self, library, *arguments, **options):
        super().__init__(library, *arguments, **options)
        self.control = FileControl(self.home / "control")
        self.environment.update(LD_PRELOAD=moxteltest.program("MOXTEL_PRELOADED_FAULTS"),
                                MOXTEL_FAULTS=str(self.control.path))

    def pid(self):
        return self.process.pid


class PlainServer(moxteltest.Server):
    def pid(self):
        return self.process.pid


def put_program(path, script):
    """Writes an executable shell script; without a script, a file that is not executable."""
    path.write_text("#!/bin/sh\n%s\n" % script if script is not None else "")
    path.chmod(0o755 if script is not None else 0o644)


def descriptors(pid):
    """The open descriptors of a process, by kind and path. Leaves out /proc: the server watches the machine's
    processes through it, and these change."""
    found = []
    for name in os.listdir("/proc/%d/fd" % pid):
        try:
            target = os.readlink("/proc/%d/fd/%s" % (pid, name))
        except FileNotFoundError:
            continue
        if not target.startswith("/proc"):
            found.append(target.split(":")[0] if ":[" in target else target)
    return sorted(found)


def has_connection(server):
    """Whether the server still holds a client's socket."""
    return any(local == server.port and state in (moxteltest.TCP_ESTABLISHED, TCP_CLOSE_WAIT)
               for local, _, state, _ in moxteltest.tcp_sockets())


def stamp_of_library(folder):
    """Mode, inode, size and dates of every path. Includes the change date, which only the kernel sets."""
    stamp = []
    for path in [folder, *sorted(folder.rglob("*"))]:
        info = path.lstat()
        stamp.append((str(path), info.st_mode, info.st_ino, info.st_size, info.st_mtime_ns, info.st_ctime_ns))
    return stamp


def png_picture():
    """64 × 64 pixels."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b"".join(b"\0" + bytes((x * 4, y * 4, 128)[i] for x in range(64) for i in range(3)) for y in range(64))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 64, 64, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def tiff_picture():
    """One gray pixel. The server reads its properties through a helper process."""
    entries = ((256, 4, 1, 1), (257, 4, 1, 1), (258, 3, 1, 8), (259, 3, 1, 1), (262, 3, 1, 1), (273, 4, 1, 8),
               (277, 3, 1, 1), (278, 4, 1, 1), (279, 4, 1, 1))
    pixel_and_padding = b"\x80\0"
    return (b"II*\0" + struct.pack("<I", 10) + pixel_and_padding + struct.pack("<H", len(entries)) +
            b"".join(struct.pack("<HHII", *entry) for entry in entries) + struct.pack("<I", 0))


class Requests:
    """One request of each kind on a sample library, with ids from it."""

    def __init__(self, library):
        self.library = library
        database = sqlite3.connect("file:%s?mode=ro" % (library / "Database/apdb/Library.apdb"), uri=True)
        self.photos = database.execute(
            "SELECT v.uuid,m.imagePath FROM RKVersion v JOIN RKMaster m ON m.uuid=v.masterUuid WHERE v.versionNumber=1 "
            "AND v.isInTrash=0 AND v.hasAdjustments=0 ORDER BY v.modelId").fetchall()
        raw = database.execute("SELECT v.uuid FROM RKVersion v JOIN RKMaster m ON m.uuid=v.masterUuid WHERE "
                               "v.versionNumber=1 AND m.imagePath LIKE '%.DNG'").fetchall()
        movie = database.execute("SELECT v.uuid FROM RKVersion v JOIN RKMaster m ON m.uuid=v.masterUuid WHERE "
                                 "v.versionNumber=1 AND m.imagePath LIKE '%.MOV'").fetchall()
        project = database.execute("SELECT projectUuid FROM RKVersion WHERE versionNumber=1 AND isInTrash=0").fetchone()
        album = database.execute("SELECT a.uuid FROM RKAlbum a JOIN RKAlbumVersion v ON v.albumId=a.modelId WHERE "
                                 "a.albumType=1 AND a.albumSubclass=3 AND a.isInTrash=0").fetchone()
        database.close()
        faces = sqlite3.connect("file:%s?mode=ro" % (library / "Database/apdb/Faces.db"), uri=True)
        face = faces.execute("SELECT uuid,keyVersionUuid FROM RKFaceName").fetchone()
        faces.close()
        jpegs = [(uuid, path) for uuid, path in self.photos if path.endswith(".JPG")]
        self.jpeg, self.png, self.tiff = (jpegs[number][0] for number in range(3))
        self.png_path, self.tiff_path = (library / "Masters" / jpegs[number][1] for number in (1, 2))
        self.all = [
            ("Get Version", {}), ("Get Albums", {}), ("Get Events", {}), ("Get Faces", {}),
            ("Photos of Album", {"id": "allPhotosAlbum"}), ("Photos of Album", {"id": album[0]}),
            ("Photos of Album", {"id": project[0]}), ("Folders of Album", {"id": "TopLevelAlbums"}),
            ("Photos of Event", {"id": 1}), ("Photos of Face", {"id": face[0]}),
            ("Thumb of Photo", {"key": self.jpeg}), ("Data of Photo", {"key": self.jpeg}),
            ("Square Thumb of Photo", {"key": self.jpeg, "isFace": False}),
            ("Square Thumb of Photo", {"key": face[1], "isFace": True}),
            ("Image of Photo", {"key": self.jpeg}), ("Image of Photo", {"key": self.png}),
            ("Fullscreen 1024 Image of Photo", {"key": self.jpeg}),
            ("Metadata of Photo", {"key": self.jpeg}), ("Metadata of Photo", {"key": self.tiff}),
            ("Metadata of Photo", {"key": raw[0][0]}),
            ("Metadata of Photo", {"key": movie[0][0]}), ("Infos of Photo", {"key": self.jpeg}),
            ("Reveal Photo", {"key": self.jpeg}), ("Reveal Album", {"id": album[0]}),
            ("Reveal Event", {"id": project[0]}),
            ("Set GPS of Photo", {"key": self.jpeg, "latitude": 1.5, "longitude": 2.5}),
            ("Clear GPS of Photo", {"key": self.jpeg}), ("No such command", {})]
        missing = set(moxteltest.command_names()) - {command for command, _ in self.all}
        if missing:
            raise AssertionError("no request for %s" % ", ".join(sorted(missing)))
        # Sent after every fault. Together they use every database, every cache and a file.
        self.probes = [entry for entry in self.all if entry[0] in (
            "Get Albums", "Get Events", "Get Faces", "Thumb of Photo", "Infos of Photo", "Photos of Face")]
        self.probes.append(("Photos of Album", {"id": album[0]}))

    @staticmethod
    def name(request):
        command, keys = request
        return command + "".join(" %s=%s" % entry for entry in keys.items())


def make_fault_library(folder):
    """A sample library with a picture for each helper of the server."""
    library = moxteltest.make_library(folder, "--images", "small", "--photos", 40, "--album-data")
    requests = Requests(library)
    requests.png_path.write_bytes(png_picture())
    requests.tiff_path.write_bytes(tiff_picture())
    return library


class Outcome:
    """The replies to one request and how the connection ended."""

    def __init__(self, frames, rest, ending):
        self.frames, self.rest, self.ending = frames, rest, ending

    def kind(self, expected):
        """Classifies the outcome. Besides the right reply, a fault may cause another complete reply (an error, or what
        could be read), no reply, or a connection that ends early."""
        if not self.rest and self.frames == expected:
            return "right"
        if self.rest:
            return "cut off"
        if not self.frames:
            return "silent" if self.ending == "end" else "refused"
        for frame in self.frames:
            envelope = keyedarchive.decode(frame)
            if list(envelope) not in (["result"], ["error"]):
                raise AssertionError("no reply: %r" % (envelope,))
        return "other"


def ask_once(port, data):
    """Sends one request, closes the sending side and reads until the server closes. Needs no time-out to decide
    that there is no reply."""
    received = bytearray()
    ending = "end"
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=PATIENCE) as connection:
            connection.sendall(data)
            connection.shutdown(socket.SHUT_WR)
            while chunk := connection.recv(1 << 20):
                received += chunk
    except TimeoutError:
        raise AssertionError("no answer and no end after %d s" % PATIENCE) from None
    except OSError:
        ending = "reset"
    frames = []
    while len(received) >= 4:
        (length,) = struct.unpack_from("=I", received)
        if len(received) < 4 + length:
            break
        frames.append(bytes(received[4:4 + length]))
        del received[:4 + length]
    return Outcome(frames, bytes(received), ending)


class FaultTestCase(unittest.TestCase):
    """Tests on one library. Checks that every byte of it stays the same."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(os.path.realpath(tempfile.mkdtemp(prefix="moxtelfaults.")))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.library = make_fault_library(cls.folder / "Library")
        cls.requests = Requests(cls.library)
        cls.hash = moxteltest.hash_of_library(cls.library)
        cls.stamp = stamp_of_library(cls.library)
        cls.rows = []
        with PlainServer(cls.library) as server:
            cls.expected = {cls.requests.name(request): cls.answer(server, request) for request in cls.requests.all}
        for picture in ("Image of Photo", {"key": cls.requests.png}), ("Metadata of Photo", {"key": cls.requests.tiff}):
            reply = keyedarchive.decode(cls.expected[cls.requests.name(picture)][0])
            if "result" not in reply:
                raise AssertionError("the server's helpers do not work: %r" % reply)

    @classmethod
    def tearDownClass(cls):
        if moxteltest.hash_of_library(cls.library) != cls.hash:
            raise AssertionError("the library was changed")
        report(cls.__name__, cls.rows)

    @classmethod
    def answer(cls, server, request):
        return ask_once(server.port, moxteltest.request(request[0], **request[1])).frames

    def start(self, server):
        self.enterContext(server)
        self.note_base(server)
        return server

    def open_in(self, server):
        return descriptors(server.pid())

    @staticmethod
    def wait_until_gone(server):
        """Until the console says that the last client is gone: its descriptor is closed by then, which the state of
        its connection does not show."""
        moxteltest.wait_for(lambda: server.console().count("Lost connection to Moxtel")
                            == server.console().count("Connected to Moxtel"), "the client to be gone")

    def note_base(self, server):
        """Records the open descriptors of a server without faults after it has answered all probes."""
        for _ in range(2):
            self.answers_right(server)
        moxteltest.wait_for(lambda: not has_connection(server), "the client to be gone")
        self.base = self.open_in(server)
        self.may_open_sockets = True

    def answers_right(self, server):
        with moxteltest.Client(server, PATIENCE) as client:
            for command, keys in self.requests.probes:
                client.send(command, **keys)
                expected = self.expected[self.requests.name((command, keys))]
                self.assertEqual([client.receive_raw()], expected, "%s %r" % (command, keys))

    def leaks_nothing(self, server):
        """Checks that the open descriptors are those of note_base. The server closes its databases some seconds after
        a request; where that has happened, the probes open them again. Leaked descriptors stay."""
        for _ in range(5):
            for _ in range(200):
                what = difference(self.open_in(server), self.base)
                if not what:
                    return
                time.sleep(0.01)
            self.answers_right(server)
        # On a busy machine the sockets of DNS-SD are opened later than the base is noted, once. A leak comes again.
        if self.may_open_sockets and set(what) == {"too many"} and set(what["too many"]) == {"socket"}:
            self.may_open_sockets = False
            self.base = self.open_in(server)
            return
        self.fail("not the same descriptors as before: %s" % what)

    def is_sound(self, server):
        """Checks that the next client gets the right replies, that no descriptor leaked, and that the library is
        unchanged."""
        self.assertTrue(server.is_running(), "the server ended with %s" % server.process.returncode)
        self.answers_right(server)
        self.leaks_nothing(server)
        self.assertEqual(stamp_of_library(self.library), self.stamp)


def difference(actual, expected):
    more, less = list(actual), []
    for entry in expected:
        if entry in more:
            more.remove(entry)
        else:
            less.append(entry)
    return {key: entries for key, entries in (("too many", more), ("too few", less)) if entries}


def report(name, rows):
    """Prints the results and, for report.py, stores them in the folder MOXTEL_FAULTS_RESULTS."""
    if not rows:
        return
    print("\n".join(" | ".join(map(str, row)) for row in rows))
    if folder := os.environ.get("MOXTEL_FAULTS_RESULTS"):
        pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
        (pathlib.Path(folder) / (name + (".full" if IS_FULL else "") + ".json")).write_text(json.dumps(rows))
