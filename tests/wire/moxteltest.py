"""Runs the real server and talks to it over the wire.

The programs come from the environment: MOXTEL_SERVER (moxtelserverd) and MOXTEL_MAKE_LIBRARY. Every server has
its own home, configuration and temporary folder, and listens on a free port of the loopback interface.
"""

import fcntl
import hashlib
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import struct
import subprocess
import tempfile
import termios
import time
import unittest

import keyedarchive

# Seconds until a server without a reply counts as hanging. Set MOXTEL_PATIENCE higher on a busy machine.
PATIENCE = int(os.environ.get("MOXTEL_PATIENCE", "30"))


def program(variable):
    path = os.environ.get(variable)
    if not path or not os.access(path, os.X_OK):
        raise SystemExit("%s must name the program (it is %r)" % (variable, path))
    return path


def command_names():
    """The names of all commands, from the server's table."""
    table = pathlib.Path(__file__).resolve().parents[2] / "src/commands/CommandHandler.h"
    names = re.findall(r'^    "([^"]+)",$', table.read_text("utf-8"), re.MULTILINE)
    if len(names) != 20:
        raise AssertionError("%d commands in %s" % (len(names), table))
    return names


def make_library(folder, *options):
    """Writes a sample library and returns its path."""
    subprocess.run([program("MOXTEL_MAKE_LIBRARY"), str(folder), *map(str, options)], check=True)
    return pathlib.Path(folder)


def hash_of_library(folder):
    """A hash of every path, mode, date and content below a folder, including the folders' own dates."""
    digest = hashlib.sha256()
    for path in sorted(pathlib.Path(folder).rglob("*")) + [pathlib.Path(folder)]:
        info = path.lstat()
        digest.update(repr((str(path), info.st_mode, info.st_mtime_ns)).encode("utf-8", "surrogateescape"))
        if path.is_symlink():
            digest.update(os.readlink(path).encode())
        elif path.is_file():
            digest.update(path.read_bytes())
    return digest.hexdigest()


def free_port():
    """A port that no other test is likely to take before it is used: none of those that the system gives to outgoing
    connections."""
    while True:
        port = random.randrange(10000, 32000)
        with socket.socket() as probe:
            try:
                probe.bind(("0.0.0.0", port))
            except OSError:
                continue
            return port


def wait_for(question, what, patience=PATIENCE):
    """Polls until question() returns a true value, and returns that. Tests wait for states, never for fixed times."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        answer = question()
        if answer:
            return answer
        time.sleep(0.005)
    raise AssertionError("timed out waiting for " + what)


def tcp_sockets():
    """Yields (local port, remote port, state, unread bytes) of every IPv4 socket from /proc/net/tcp."""
    with open("/proc/net/tcp") as table:
        next(table)
        for line in table:
            fields = line.split()
            local, remote = (int(field.split(":")[1], 16) for field in fields[1:3])
            yield local, remote, int(fields[3], 16), int(fields[4].split(":")[1], 16)


TCP_ESTABLISHED, TCP_LISTEN = 1, 10


# Options of a server that logs every line. At debug level 0, equal lines and lines that are too many are only counted.
EVERY_LINE = ("-DebugLevel", 1, "-DebugLogPath", "/dev/null")


class Server:
    """One running server; a context manager."""

    def __init__(self, library, *arguments, wait=True, environment=(), binary=None, terminal=None, prefix=(),
                 web_port=0):
        """The page for browsers is off unless it has a port; None leaves the option out. The server's controlling terminal is the descriptor `terminal`; it has none by default, as a service."""
        self.port = free_port()
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.arguments = [str(binary or program("MOXTEL_SERVER")), "-Port", str(self.port)]
        if web_port is not None:
            self.arguments += ["-WebPort", str(web_port)]
        if library is not None:
            self.arguments += ["-LibraryPath", str(library)]
        self.arguments = [*prefix, *self.arguments, *map(str, arguments)]
        self.terminal = terminal
        self.environment = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"), "HOME": str(self.home), "TMPDIR": str(self.home),
            "XDG_CONFIG_HOME": str(self.home / "config"), "TZ": "UTC", "LC_ALL": "C.UTF-8", **dict(environment)}
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        self.process = None
        self.wait = wait
        self.output = None  # where standard output and standard error go instead of files

    def __enter__(self):
        with open(self.home / "console", "wb") as console, open(self.home / "log", "wb") as log:
            self.process = subprocess.Popen(self.arguments, env=self.environment, stdin=subprocess.DEVNULL,
                                            stdout=self.output or console, stderr=self.output or log, cwd=self.home,
                                            start_new_session=True, preexec_fn=self.take_terminal,
                                            pass_fds=[] if self.terminal is None else [self.terminal])
        if self.wait:
            try:
                wait_for(self.is_listening, "the server to listen")
            except AssertionError as problem:
                log = self.log()
                self.stop()
                raise AssertionError("%s; its log:\n%s" % (problem, log)) from None
        return self

    def __exit__(self, kind, *_):
        self.stop()
        # A sanitizer's findings at exit also change the status.
        if kind is None and self.process.returncode != 0:
            raise AssertionError("the server ended with %s:\n%s" % (self.process.returncode, self.last_log[-3000:]))

    def take_terminal(self):
        """In the new process, which has none: it began a session of its own."""
        if self.terminal is not None:
            fcntl.ioctl(self.terminal, termios.TIOCSCTTY, 0)

    def is_listening(self):
        if self.process.poll() is not None:
            raise AssertionError("the server ended with %s" % self.process.returncode)
        return any(local == self.port and state == TCP_LISTEN for local, _, state, _ in tcp_sockets())

    def stop(self):
        """Terminates the server; kills it if it does not end."""
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.last_log = self.log()
        shutil.rmtree(self.home, ignore_errors=True)

    def console(self):
        return (self.home / "console").read_text("utf-8", "replace")

    def log(self):
        path = self.home / "log"
        return path.read_text("utf-8", "replace") if path.exists() else self.last_log

    def is_running(self):
        return self.process.poll() is None

    def memory(self):
        """The server's peak memory in bytes."""
        status = pathlib.Path("/proc/%d/status" % self.process.pid).read_text()
        return int(re.search(r"^VmHWM:\s+([0-9]+)", status, re.MULTILINE)[1]) * 1024

    def is_sanitized(self):
        """Whether a sanitizer is in the server, which uses more memory."""
        maps = pathlib.Path("/proc/%d/maps" % self.process.pid).read_text()
        return any(name in maps for name in ("libasan", "libtsan"))


class Closed(Exception):
    """The server ended the connection."""


class Client:
    """A client: sends requests without a frame, reads replies with a length prefix."""

    def __init__(self, server, patience=PATIENCE):
        self.server = server
        self.socket = socket.create_connection(("127.0.0.1", server.port), timeout=patience)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.port = self.socket.getsockname()[1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send_bytes(self, data):
        self.socket.sendall(data)

    def send(self, command=None, **keys):
        self.send_bytes(request(command, **keys))

    def receive_exactly(self, count):
        data = bytearray()
        while len(data) < count:
            chunk = self.socket.recv(min(count - len(data), 1 << 20))
            if not chunk:
                raise Closed("after %d of %d bytes" % (len(data), count))
            data += chunk
        return bytes(data)

    def receive_raw(self):
        (length,) = struct.unpack("=I", self.receive_exactly(4))
        return self.receive_exactly(length)

    def receive(self):
        """The next reply envelope: a Dict with the one key "result" or "error"."""
        return keyedarchive.decode(self.receive_raw())

    def ask(self, command, **keys):
        self.send(command, **keys)
        return self.receive()

    def result(self, command, **keys):
        envelope = self.ask(command, **keys)
        if list(envelope) != ["result"]:
            raise AssertionError("%s %r answered %r" % (command, keys, envelope))
        return envelope["result"]

    def error(self, command, **keys):
        envelope = self.ask(command, **keys)
        if list(envelope) != ["error"]:
            raise AssertionError("%s %r answered %r" % (command, keys, envelope))
        return envelope["error"]

    def wait_until_read(self):
        """Waits until the server has read everything that was sent, so that it reads the next bytes separately."""
        def taken():
            rows = [row for row in tcp_sockets() if row[0] == self.server.port and row[1] == self.port]
            return rows and all(waiting == 0 for _, _, _, waiting in rows)
        wait_for(taken, "the server to read")

    def expect_silence(self):
        """Checks that there was no reply: the next reply must answer the next request."""
        self.wait_until_read()
        first = envelope = self.ask("Get Version")
        while envelope != {"result": "1.4"}:
            envelope = self.receive()
        if first != envelope:
            raise AssertionError("an unexpected reply: %r" % (first,))

    def expect_any(self):
        """Discards all replies to what was sent: reads until the error for a marker request."""
        self.wait_until_read()
        self.send("the end")
        while self.receive() != {"error": "Command 'the end' was not handled"}:
            pass


def request(command=None, **keys):
    dictionary = dict(keys)
    if command is not None:
        dictionary = {"command": command, **dictionary}
    return keyedarchive.encode(dictionary)


class LibraryTestCase(unittest.TestCase):
    """Tests on one sample library per class. Checks that every byte of it stays the same."""

    options = ("--images", "small", "--photos", "40")

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        cls.library = make_library(cls.folder / "Library", *cls.options)
        cls.hash = hash_of_library(cls.library)

    @classmethod
    def tearDownClass(cls):
        try:
            if hash_of_library(cls.library) != cls.hash:
                raise AssertionError("the library was changed")
        finally:
            shutil.rmtree(cls.folder)
