"""The daemon as a service: readiness, signals, --print-folders, --explain-album and --check."""

import fcntl
import os
import pathlib
import re
import shutil
import signal
import socket
import sqlite3
import subprocess
import tempfile
import time
import unittest

import moxteltest
from moxteltest import Client, Server, wait_for


class ServiceManager:
    """The notification socket of a service manager."""

    def __init__(self, abstract=False):
        self.folder = tempfile.mkdtemp(prefix="moxteltest.")
        self.name = "@moxteltest-%d" % os.getpid() if abstract else self.folder + "/notify"
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.name.replace("@", "\0", 1) if abstract else self.name)
        self.socket.settimeout(moxteltest.PATIENCE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()
        shutil.rmtree(self.folder)

    def next_notification(self):
        return self.socket.recv(4096)


class Daemon(moxteltest.LibraryTestCase):
    options = ("--images", "none", "--photos", "20")

    def send(self, server, number):
        server.process.send_signal(number)

    def waits_for_line(self, server, part, times=1):
        wait_for(lambda: server.console().count(part) >= times, "'%s' in:\n%s" % (part, server.console()))

    def test_notifies_when_it_listens_and_when_it_stops(self):
        for abstract in (False, True):
            with ServiceManager(abstract) as manager:
                environment = {"NOTIFY_SOCKET": manager.name}
                with Server(self.library, wait=False, environment=environment) as server:
                    self.assertEqual(manager.next_notification(), b"READY=1")
                    self.assertTrue(server.is_listening())
                    self.send(server, signal.SIGTERM)
                    self.assertEqual(manager.next_notification(), b"STOPPING=1")
                    self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)

    def test_serves_without_the_service_manager(self):
        with Server(self.library, environment={"NOTIFY_SOCKET": "/nonexistent/notify"}) as server:
            with Client(server) as client:
                self.assertEqual(client.result("Get Version"), "1.4")

    def test_ends_when_it_cannot_listen_and_a_service_manager_waits(self):
        with Server(self.library) as first, ServiceManager() as manager:
            second = Server(self.library, wait=False, environment={"NOTIFY_SOCKET": manager.name})
            second.arguments[second.arguments.index("-Port") + 1] = str(first.port)
            second.__enter__()
            self.addCleanup(second.stop)
            self.assertEqual(second.process.wait(moxteltest.PATIENCE), 1)
            self.assertIn("Error:  Cannot listen on port %d" % first.port, second.console())
            manager.socket.setblocking(False)
            with self.assertRaises(BlockingIOError):
                manager.next_notification()

    def test_a_busy_port_is_tried_again_on_reload(self):
        with Server(self.library) as first:
            second = Server(self.library, wait=False)
            second.port = first.port
            second.arguments[second.arguments.index("-Port") + 1] = str(first.port)
            self.enterContext(second)
            self.waits_for_line(second, "Error:  Cannot listen on port")
        self.send(second, signal.SIGHUP)
        wait_for(second.is_listening, "the second server to listen")
        with Client(second) as client:
            self.assertEqual(client.result("Get Version"), "1.4")

    def test_the_watchdog_gets_signs_of_life(self):
        with ServiceManager() as manager:
            environment = {"NOTIFY_SOCKET": manager.name, "WATCHDOG_USEC": "100000"}
            with Server(self.library, wait=False, environment=environment):
                seen = {manager.next_notification() for _ in range(20)}
        self.assertEqual(seen, {b"READY=1", b"WATCHDOG=1"})

    def test_hangup_ends_it_on_a_terminal(self):
        for ending in ("signal", "the terminal is closed"):
            terminal, inner = os.openpty()
            with self.subTest(ending), Server(self.library, terminal=inner) as server:
                os.close(inner)
                self.waits_for_line(server, "Listening on port")
                if ending == "signal":
                    self.send(server, signal.SIGHUP)
                    self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)
                os.close(terminal)
                self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)
                self.assertNotIn("Reloading", server.console())

    def test_hangup_reloads_on_a_terminal_if_the_signal_was_ignored(self):
        terminal, inner = os.openpty()
        self.addCleanup(os.close, terminal)
        self.addCleanup(os.close, inner)
        with Server(self.library, terminal=inner, prefix=("nohup",)) as server:
            self.send(server, signal.SIGHUP)
            self.waits_for_line(server, "Info:  Reloading database\n")

    def test_hangup_reloads_the_library_and_disconnects(self):
        with Server(self.library) as server, Client(server) as client:
            self.assertEqual(client.result("Get Version"), "1.4")
            self.send(server, signal.SIGHUP)
            self.waits_for_line(server, "Info:  Reloading database\n")
            self.assertEqual(client.socket.recv(1), b"")
            self.waits_for_line(server, "Running app: <none>", times=2)
            with Client(server) as another:
                self.assertEqual(another.result("Get Version"), "1.4")

    def test_hangup_shows_additions_to_the_library(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, folder)
        library = moxteltest.make_library(folder / "Library", *self.options)
        with Server(library) as server:
            with Client(server) as client:
                events = client.result("Get Events")
                known = next(event["AlbumId"] for event in events if event["AlbumType"] == "Project")
            database = sqlite3.connect(library / "Database/apdb/Library.apdb")
            columns = [row[1] for row in database.execute("PRAGMA table_info(RKFolder)")]
            row = database.execute("SELECT * FROM RKFolder WHERE uuid = ?", (known,)).fetchone()
            values = dict(zip(columns, row))
            values["modelId"], values["uuid"] = None, "anotherProject"
            database.execute("INSERT INTO RKFolder (%s) VALUES (%s)" % (
                ",".join(columns), ",".join("?" * len(columns))), [values[name] for name in columns])
            database.commit()
            database.close()
            self.send(server, signal.SIGHUP)
            self.waits_for_line(server, "Running app: <none>", times=2)
            with Client(server) as client:
                self.assertEqual(len(client.result("Get Events")), len(events) + 1)

    def test_user_signal_disconnects_the_client_and_serves_the_next(self):
        with Server(self.library) as server, Client(server) as client:
            self.assertEqual(client.result("Get Version"), "1.4")
            self.send(server, signal.SIGUSR1)
            self.assertEqual(client.socket.recv(1), b"")
            with Client(server) as another:
                self.assertEqual(another.result("Get Version"), "1.4")
            self.assertNotIn("Reloading", server.console())

    def test_user_signal_without_a_client_changes_nothing(self):
        with Server(self.library) as server:
            self.send(server, signal.SIGUSR1)
            served = 0
            for _ in range(3):
                try:
                    with Client(server) as client:
                        self.assertEqual(client.result("Get Version"), "1.4")
                        served += 1
                except (moxteltest.Closed, ConnectionError):
                    pass  # it connected before the signal was handled, and was disconnected
            # One signal disconnects at most one client.
            self.assertGreaterEqual(served, 2)

    def test_each_termination_signal_ends_it_cleanly_with_a_client(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with Server(self.library) as server, Client(server) as client:
                self.assertEqual(client.result("Get Version"), "1.4")
                self.send(server, number)
                self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)

    def print_folders(self, library, *options):
        home = tempfile.mkdtemp(prefix="moxteltest.")
        self.addCleanup(shutil.rmtree, home)
        return subprocess.run(
            [moxteltest.program("MOXTEL_SERVER"), "--print-folders", "-LibraryPath", str(library), *options], text=True,
            env={"PATH": "/usr/bin:/bin", "HOME": home, "TMPDIR": home, "XDG_CONFIG_HOME": home},
            capture_output=True, timeout=moxteltest.PATIENCE)

    def explain(self, library, uuid):
        home = tempfile.mkdtemp(prefix="moxteltest.")
        self.addCleanup(shutil.rmtree, home)
        return subprocess.run(
            [moxteltest.program("MOXTEL_SERVER"), "--explain-album", uuid, "-LibraryPath", str(library)], text=True,
            env={"PATH": "/usr/bin:/bin", "HOME": home, "TMPDIR": home, "XDG_CONFIG_HOME": home},
            capture_output=True, timeout=moxteltest.PATIENCE)

    def test_explain_album_prints_the_rule_and_the_answer(self):
        folder = tempfile.mkdtemp(prefix="moxteltest.")
        self.addCleanup(shutil.rmtree, folder)
        library = moxteltest.make_library(pathlib.Path(folder) / "Library", "--images", "none", "--photos", "30",
                                          "--smart-albums", "--saved-lists", "in-step")
        with sqlite3.connect(library / "Database" / "apdb" / "Library.apdb") as database:
            (uuid,), = database.execute("SELECT uuid FROM RKAlbum WHERE name = 'Flagged or five stars'")
        database.close()
        ended = self.explain(library, uuid)
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        self.assertTrue(ended.stdout.startswith(
            "The smart album 'Flagged or five stars' (%s)\n\nThe rule:\nany of these is true:\n  it is flagged\n"
            "  the rating is 5\n\n" % uuid), ended.stdout)
        self.assertIn("from the list in AlbumData.xml, which is up to date.\n"
                      "The saved list and the rule have the same photos.\n", ended.stdout)

    def test_explain_album_names_what_is_missing(self):
        ended = self.explain(self.library, "no such album")
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertEqual(ended.stderr, "moxtelserverd: There is no smart album with the id 'no such album'.\n")
        ended = self.explain("/nonexistent", "x")
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertIn("moxtelserverd: ", ended.stderr)

    def check(self, *arguments):
        home = tempfile.mkdtemp(prefix="moxteltest.")
        self.addCleanup(shutil.rmtree, home)
        ended = subprocess.run([moxteltest.program("MOXTEL_SERVER"), "--check", "-Port", "0", *map(str, arguments)],
                               text=True, capture_output=True, timeout=moxteltest.PATIENCE,
                               env={"PATH": "/usr/bin:/bin", "HOME": home, "TMPDIR": home, "XDG_CONFIG_HOME": home})
        self.assertEqual(ended.stderr, "")
        self.assertEqual(ended.returncode, int("✗" in ended.stdout), ended.stdout)
        return ended.stdout

    def test_check_tries_everything(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, folder)
        library = moxteltest.make_library(folder / "Library", "--images", "small", "--photos", "40")
        text = self.check("-LibraryPath", library, "-WebPort", "0")
        with sqlite3.connect("file:%s?mode=ro" % (library / "Database/apdb/Library.apdb"), uri=True) as database:
            (shown,), = database.execute("SELECT count(*) FROM RKVersion WHERE showInLibrary = 1 AND isInTrash = 0")
        self.assertIn(" ✓ Library: '%s', iPhoto or Aperture library, %d photos\n" % (library, shown), text)
        self.assertIn(" ✓ Pictures: all of 20 that were tried can be read\n", text)
        self.assertIn(" ✓ Helper programs are installed and work\n", text)
        self.assertIn(" ✓ Pictures that are no JPEGs can be decoded\n", text)
        self.assertIn(" – Script interpreter: ", text)
        self.assertIn(" – Page for browsers: switched off by -WebPort 0\n", text)
        self.assertRegex(text, r" ✓ Port [0-9]+ can be listened on\n")
        self.assertRegex(text, r" [✓✗] Publication: ")
        self.assertNotIn("Listening on port", text)

        shutil.rmtree(library / "Masters")
        text = self.check("-LibraryPath", library, "-WebPort", "0", "-ScriptInterpreter", "/bin/false")
        self.assertIn(" ✗ Pictures: 20 of 20 that were tried are missing or cannot be read, the first one is '", text)
        self.assertIn(" ✗ Script interpreter: ", text)

        text = self.check("-LibraryPath", folder, "-WebPort", "0")
        self.assertIn(" ✗ Library: '%s' cannot be served." % folder, text)
        self.assertIn(" There is a library: '%s' (%d photos" % (library, shown), text)
        self.assertIn(" ✗ Library: none is set.", self.check())

        with socket.socket() as taken:
            taken.bind(("0.0.0.0", 0))
            taken.listen()
            port = taken.getsockname()[1]
            self.assertIn(" ✗ Page for browsers: port %d: " % port, self.check("-WebPort", port))

        self.assertIn(" ✗ Page for browsers: port 4251 is Moxtel's, too.", self.check("-Port", 4251))

    def test_check_beside_the_running_server(self):
        page = moxteltest.free_port()
        with Server(self.library, web_port=page) as server:
            self.waits_for_line(server, "page for browsers")
            text = self.check("-Port", server.port, "-WebPort", page, "-LibraryPath", self.library)
        self.assertIn(" – Page for browsers: the server runs already, on port %d\n" % page, text)
        self.assertIn(" – Port %d: the server runs already; its publication is not tried\n" % server.port, text)

    def test_check_without_the_decoder(self):
        """Programs as the packages install them, without the one with the decoder."""
        root = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, root)
        (root / "bin").mkdir()
        server = pathlib.Path(moxteltest.program("MOXTEL_SERVER"))
        for name in ("moxtelserverd", "moxtel-database-copier", "moxtel-movie-converter", "moxtel-property-reader"):
            shutil.copy(server.parent / name, root / "bin")
        ended = subprocess.run([root / "bin/moxtelserverd", "--check", "-Port", "0", "-WebPort", "0", "-LibraryPath",
                                self.library], text=True, capture_output=True, timeout=moxteltest.PATIENCE,
                               env={"PATH": "/nowhere", "HOME": str(root), "TMPDIR": str(root)})
        self.assertEqual(ended.returncode, 1)
        self.assertIn(" ✗ RAW, HEIC and other pictures that are no JPEGs cannot be shown: install "
                      "moxtelserver-raw-heic\n", ended.stdout)
        self.assertIn(" – Movies: ", ended.stdout)

    def test_print_folders_prints_and_ends_without_serving(self):
        ended = self.print_folders(self.library, "-DebugLevel", "1")
        self.assertEqual(ended.returncode, 0)
        with sqlite3.connect("file:%s?mode=ro" % (self.library / "Database/apdb/Library.apdb"), uri=True) as database:
            names = [name for (name,) in database.execute(
                "SELECT name FROM RKFolder WHERE folderType = 2 AND isInTrash = 0 AND name IS NOT NULL")]
        self.assertTrue(names)
        for name in names:
            self.assertIn(name, ended.stdout)
        self.assertNotIn("Listening on port", ended.stdout)

    def test_print_folders_draws_a_tree_for_people(self):
        text = self.print_folders(self.library).stdout
        self.assertTrue(text.startswith("%s\n\nEvents\n├── " % self.library), text)
        self.assertNotIn("MXSFolder", text)
        albums = text[text.index("\nAlbums\n"):]
        self.assertRegex(albums, r"\n├── Folder/\n│   ├── .*\n(│.*\n)*│   └── .*photos\)\n")
        self.assertRegex(albums, r"\n└── [^\n]*\n$")
        with Server(self.library) as server, Client(server) as client:
            for event in client.result("Get Events"):
                if event["AlbumType"] == "Project":
                    self.assertIn("── %s (%d photo" % (event["AlbumName"], event["PhotoCount"]), text)

    def test_print_folders_logs_the_outline_twice_for_developers(self):
        lines = self.print_folders(self.library, "-DebugLevel", "1").stdout.splitlines()
        first, second = [i for i, line in enumerate(lines) if line == "Root Folder:  'ROOT' ((null))"]
        outline = [line for line in lines[first + 1:second] if line.startswith("---")]
        self.assertTrue(outline)
        ordered = [line for line in lines[second + 1:] if line.startswith("---")]
        self.assertEqual(sorted(outline), sorted(ordered))
        with sqlite3.connect("file:%s?mode=ro" % (self.library / "Database/apdb/Library.apdb"), uri=True) as database:
            rows = database.execute("SELECT uuid, name, folderPath FROM RKFolder").fetchall()
        for uuid, name, path in rows:
            components = path.rstrip("/").split("/")
            shown = "(null)" if name is None else name
            self.assertIn("%s '%s' (%s)" % ("---" * len(components), shown, components[-1]), ordered)
            self.assertIn("MXSFolder '%s' (%s)" % (shown, uuid), lines[first:second])

    def test_print_folders_without_a_library_says_why(self):
        ended = self.print_folders(self.folder / "nothing")
        self.assertEqual(ended.returncode, 1)
        self.assertEqual(ended.stderr, "moxtelserverd: There is no such folder.\n")

    def test_the_journal_gets_priorities_instead_of_dates(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        stream = os.fstat(writer)
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder),
                       "JOURNAL_STREAM": "%d:%d" % (stream.st_dev, stream.st_ino)}
        daemon = subprocess.Popen(
            [moxteltest.program("MOXTEL_SERVER"), "-Port", "0", "-WebPort", "0", "-LibraryPath", str(self.folder / "nothing")],
            env=environment, stdin=subprocess.DEVNULL, stdout=writer, stderr=writer)
        os.close(writer)
        text = b""
        while b"Listening on port" not in text:
            read = os.read(reader, 65536)
            self.assertTrue(read, text)
            text += read
        daemon.send_signal(signal.SIGTERM)
        while read := os.read(reader, 65536):
            text += read
        self.assertEqual(daemon.wait(moxteltest.PATIENCE), 0)
        lines = text.decode().splitlines()
        self.assertEqual([line for line in lines if line[:3] not in ("<3>", "<6>")], [])
        self.assertTrue(any(line.startswith("<3>Error:  Problem with reading") for line in lines))
        self.assertIn("<3>    Please quit MoxtelServer, start and quit iPhoto, then start MoxtelServer again.", lines)
        self.assertIn("<6>Info:  Running app: <none>", lines)
        self.assertTrue(any(line.startswith("<6>could not open db '") for line in lines), lines)
        self.assertEqual([line for line in lines if "moxtelserverd[" in line], [])

    def flood(self, client, times, command="Photos of Album"):
        """Sends different ids that cannot be looked up: each is logged."""
        for i in range(times):
            self.assertEqual(client.result(command, id="%d'%s\n\x1b[31m" % (i, "x" * 3000)), [])

    def test_a_client_cannot_fill_the_log(self):
        begun = time.monotonic()
        with Server(self.library) as server:
            with Client(server) as client:
                self.flood(client, 1000)
            server.stop()
            seconds = time.monotonic() - begun
            lines = server.last_log.splitlines()
        self.assertLess(len(lines), 100 * (seconds + 1))
        self.assertTrue([line for line in lines if "could not prepare query" in line])
        self.assertLess(max(map(len, lines)), 1000)
        self.assertNotIn("\x1b", server.last_log)
        left_out = sum(int(count.replace(",", "")) for count in
                       re.findall("… ([0-9,]+) (?:lines? left out|more like this)", server.last_log))
        logged = server.last_log.count("could not prepare query")
        self.assertGreaterEqual(left_out + logged, 1000)

    def test_a_client_cannot_fill_standard_output(self):
        with Server(self.library) as server, Client(server) as client:
            self.flood(client, 1000, "Photos of Face")
            errors = server.console().count("SQL error: ")
        self.assertGreater(errors, 0)
        self.assertLess(errors, 10)

    def test_the_start_logs_every_album_and_event(self):
        """However many there are: no client causes these lines."""
        folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, folder)
        library = moxteltest.make_library(folder / "Library", *self.options)
        database = sqlite3.connect(library / "Database/apdb/Library.apdb")
        columns = [row[1] for row in database.execute("PRAGMA table_info(RKFolder)")]
        row = database.execute("SELECT * FROM RKFolder WHERE folderType = 2 AND isInTrash = 0 "
                               "AND parentFolderUuid = 'AllProjectsItem' AND versionCount > 0").fetchone()
        values = dict(zip(columns, row))
        for i in range(400):
            values["modelId"], values["uuid"] = None, "another%d" % i
            database.execute("INSERT INTO RKFolder (%s) VALUES (%s)" % (
                ",".join(columns), ",".join("?" * len(columns))), [values[name] for name in columns])
            database.execute("INSERT INTO RKNote (attachedToUuid, note) VALUES (?, 'read at the start %d')" % i,
                             (values["uuid"],))
        database.commit()
        database.close()
        with Server(library) as server:
            self.assertEqual(server.log().count("read at the start"), 400)

    def test_a_reader_of_standard_output_that_does_not_read_stops_nothing(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        server = Server(self.library, "-DebugLevel", 2)
        server.output = os.fdopen(writer, "wb")
        self.addCleanup(server.output.close)
        with server, Client(server) as client:
            self.flood(client, 400, "Photos of Face")
            self.assertEqual(client.result("Get Version"), "1.4")

    def test_a_reader_that_does_not_read_stops_nothing(self):
        with subprocess.Popen(["sleep", "infinity"], stdin=subprocess.PIPE) as reader:
            self.addCleanup(reader.kill)
            server = Server(self.library, "-DebugLevel", 2)
            server.output = reader.stdin
            with server, Client(server) as client:
                self.flood(client, 200)
                self.assertEqual(client.result("Get Version"), "1.4")
            reader.kill()


if __name__ == "__main__":
    unittest.main()
