"""The server with a running photo application: its scripts, and its behavior when the application or the
interpreter quits, hangs or crashes."""

import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import unittest

import moxteltest

STAND_IN = str(pathlib.Path(__file__).resolve().parent / "photo_application.py")
BASE = 4294967296
HOSTILE = ('x" of me\ndo shell script "touch /tmp/never', '"', "\\", "a\nb", "a\rb", "a\0b", "a\u2028b", "a\x85b")
PROJECTS = 40
COMMANDS = re.findall("^### (.+)$", (pathlib.Path(__file__).resolve().parents[2] / "docs" / "protocol.md").read_text(),
                      re.MULTILINE)


class PhotoApplicationTestCase(unittest.TestCase):
    def setUp(self):
        # Short, because socket paths are limited in length.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtel.", dir="/tmp"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.library = moxteltest.make_library(self.folder / "Library", "--images", "none", "--photos", "40")
        self.interpreter = shlex.join([sys.executable, "-S", "-E", STAND_IN, "interpreter", str(self.folder)])
        for name in ("iPhoto", "Aperture"):
            self.albums(name, {})
        self.smart = self.rows("SELECT modelId,uuid FROM RKAlbum WHERE name = 'Best rated'")[0]
        self.photos = self.rows("SELECT modelId,uuid FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0 "
                                "AND uuid NOT NULL AND exifLatitude IS NULL LIMIT 5")

    def rows(self, sql, *values):
        database = sqlite3.connect("file:%s?mode=ro" % self.database(), uri=True)
        try:
            return database.execute(sql, values).fetchall()
        finally:
            database.close()

    def database(self):
        return self.library / "Database" / "apdb" / "Library.apdb"

    def change(self, sql, *values):
        with sqlite3.connect(self.database()) as database:
            database.execute(sql, values)
        database.close()

    def albums(self, name, members):
        (self.folder / (name + ".albums")).write_text(json.dumps({str(key): list for key, list in members.items()}))

    def scripts(self):
        return self.recorded("scripts")

    def recorded(self, what):
        record = self.folder / what
        return [json.loads(line) for line in record.read_text().splitlines()] if record.exists() else []

    def wait_for_answer(self, number):
        """Waits for the reply to the script with that number, which must succeed. Does not read the database meanwhile:
        the application does not wait for locks."""
        moxteltest.wait_for(lambda: len(self.recorded("answered")) > number, "the application to answer")
        self.assertIn("result", self.recorded("answered")[number])

    def add_projects(self, count):
        """Adds projects with one photo each and no key photo; returns their model ids."""
        numbers = range(10000, 10000 + count)
        with sqlite3.connect(self.database()) as database:
            for number in numbers:
                database.execute("INSERT INTO RKFolder (modelId,uuid,name,folderType,parentFolderUuid,isHidden,isMagic,"
                                 "isInTrash,isHiddenWhenEmpty) VALUES (?,?,?,2,'AllProjectsItem',0,0,0,0)",
                                 (number, "project %d" % number, "Project"))
                database.execute("INSERT INTO RKVersion (modelId,uuid,projectUuid,versionNumber,isInTrash,isHidden,"
                                 "showInLibrary) VALUES (?,?,?,1,0,0,1)",
                                 (number, "version %d" % number, "project %d" % number))
        database.close()
        return numbers

    def projects_asked(self):
        """The model ids of the added projects in the order of the scripts for their key photos."""
        asked = (script for script in self.scripts()
                 if script.startswith('tell application "iPhoto" to id of some photo of album id '))
        return [number for number in (int(script.rsplit(" ", 1)[1]) - BASE for script in asked) if number >= 10000]

    def application(self, name):
        process = subprocess.Popen([sys.executable, "-S", "-E", STAND_IN, "app", name, str(self.folder),
                                    str(self.library)])
        self.addCleanup(self.quit, process)
        moxteltest.wait_for((self.folder / (name + ".socket")).exists, name)
        return process

    def quit(self, process):
        if process.poll() is None:
            process.kill()
        process.wait()

    def server(self, *arguments):
        return moxteltest.Server(self.library, "-ScriptInterpreter", self.interpreter, *moxteltest.EVERY_LINE,
                                 *arguments)

    def wait_for_line(self, server, text, count=1):
        moxteltest.wait_for(lambda: server.console().count(text) >= count, "the line " + text)

    def photo(self, client, uuid):
        found = [photo for photo in client.result("Photos of Album", id="allPhotosAlbum") if photo["PhotoKey"] == uuid]
        self.assertEqual(len(found), 1)
        return found[0]


class Positions(PhotoApplicationTestCase):
    def test_a_position_set_by_the_application_appears_in_the_photo_list(self):
        iphoto = self.application("iPhoto")
        number, uuid = self.photos[0]
        with self.server() as server, moxteltest.Client(server) as client:
            self.assertIn("Running app: iPhoto", server.console())
            self.assertEqual(server.console().count("AppleScript is run by '"), 1)
            self.assertNotIn("latitude", self.photo(client, uuid))
            before = len(self.scripts())
            self.assertEqual(client.result("Set GPS of Photo", key=uuid, latitude=48.5, longitude=-11.25),
                             "Set GPS to 48.500000/-11.250000")
            self.wait_for_answer(before)
            self.assertEqual(self.rows("SELECT exifLatitude,exifLongitude FROM RKVersion WHERE uuid = ?", uuid),
                             [(48.5, -11.25)])
            self.assertEqual(self.scripts()[before:], [
                'tell application "iPhoto"\nset aPhoto to photo id %d\nset latitude of aPhoto to 48.500000\nset '
                'longitude of aPhoto to -11.250000\nignoring application responses\nreverse geocode aPhoto\nend '
                'ignoring\nend tell' % (BASE + number)])
            reloads = server.log().count("RELOAD DATABASE")
            self.quit(iphoto)
            moxteltest.wait_for(lambda: "iPhoto not running" in server.log(), "the end of iPhoto")
            moxteltest.wait_for(lambda: server.log().count("RELOAD DATABASE") > reloads, "the reload")
            photo = self.photo(client, uuid)
            self.assertEqual((photo["latitude"], photo["longitude"]), (48.5, -11.25))

    def test_a_position_is_cleared(self):
        self.application("iPhoto")
        uuid = self.photos[0][1]
        self.change("UPDATE RKVersion SET exifLatitude = 1.5, exifLongitude = 2.5 WHERE uuid = ?", uuid)
        with self.server() as server, moxteltest.Client(server) as client:
            self.assertEqual(self.photo(client, uuid)["latitude"], 1.5)
            before = len(self.scripts())
            self.assertEqual(client.result("Clear GPS of Photo", key=uuid), "Cleared GPS")
            self.wait_for_answer(before)
            self.assertEqual(self.rows("SELECT exifLatitude FROM RKVersion WHERE uuid = ?", uuid), [(None,)])
            self.assertNotIn("latitude", self.photo(client, uuid))

    def test_sets_a_position_in_both_applications_but_clears_it_in_one(self):
        self.application("iPhoto")
        self.application("Aperture")
        uuid = self.photos[0][1]
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            self.assertIn("Should prefer Aperture, but iPhoto is running...", server.console())
            before = len(self.scripts())
            client.result("Set GPS of Photo", key=uuid, latitude=1, longitude=2)
            moxteltest.wait_for(lambda: len(self.scripts()) == before + 2, "two scripts")
            client.result("Clear GPS of Photo", key=uuid)
            moxteltest.wait_for(lambda: len(self.scripts()) == before + 3, "a third script")
            self.assertEqual([script.split('"')[1] for script in self.scripts()[before:]],
                             ["iPhoto", "Aperture", "Aperture"])
            self.assertEqual(client.result("Reveal Photo", key=uuid), "Can not reveal version id '%s'" % uuid)


class Listings(PhotoApplicationTestCase):
    def test_lists_a_smart_album_in_iphotos_order(self):
        self.application("iPhoto")
        self.albums("iPhoto", {BASE + self.smart[0]: [BASE + number for number, _ in reversed(self.photos)] + [BASE + 99999]})
        with self.server() as server, moxteltest.Client(server) as client:
            photos = client.result("Photos of Album", id=self.smart[1])
            self.assertEqual([photo["PhotoKey"] for photo in photos], [uuid for _, uuid in reversed(self.photos)])
            listed = [album for album in client.result("Get Albums") if album.get("AlbumId") == self.smart[1]]
            self.assertEqual(len(listed), 1)
            self.assertEqual(listed[0]["PhotoCount"], len(self.photos) + 1)
            self.assertEqual(listed[0]["KeyPhotoKey"], str(BASE + self.photos[-1][0]))

    def test_a_smart_album_of_aperture_is_listed(self):
        self.application("Aperture")
        self.albums("Aperture", {self.smart[1]: [uuid for _, uuid in self.photos]})
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            photos = client.result("Photos of Album", id=self.smart[1])
            self.assertEqual([photo["PhotoKey"] for photo in photos], [uuid for _, uuid in self.photos])
            before = len(self.scripts())
            self.assertEqual(client.result("Reveal Event", id="a project"), "Revealed Album")
            moxteltest.wait_for(lambda: len(self.scripts()) > before, "the script")
            self.assertEqual(self.scripts()[-1], 'tell application "Aperture"\nreveal project id "a project"\nend tell')

    def test_asks_iphoto_while_both_run_and_aperture_after_it_quits(self):
        iphoto = self.application("iPhoto")
        self.application("Aperture")
        self.albums("iPhoto", {BASE + self.smart[0]: [BASE + self.photos[0][0]]})
        self.albums("Aperture", {self.smart[1]: [self.photos[1][1]]})
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            for name in ("iPhoto", "Aperture"):
                self.assertEqual(server.console().count(name + " was started"), 1)

            def keys():
                return [photo["PhotoKey"] for photo in client.result("Photos of Album", id=self.smart[1])]

            self.assertEqual(keys(), [self.photos[0][1]])
            self.quit(iphoto)
            moxteltest.wait_for(lambda: "iPhoto not running" in server.log(), "the end of iPhoto")
            self.assertEqual(keys(), [self.photos[1][1]])

    def test_keeps_no_list_of_which_a_script_failed(self):
        """At the start the application knows none of its containers, then all of them."""
        self.application("iPhoto")
        numbers = self.add_projects(1)
        with self.server() as server, moxteltest.Client(server) as client:
            self.assertIn("Can’t get album id %d" % (BASE + self.smart[0]), server.log())
            self.albums("iPhoto", {"*": [BASE + 1, BASE + 2]})

            def smart():
                albums = [album for album in client.result("Get Albums") if album.get("AlbumId") == self.smart[1]]
                return [(album["PhotoCount"], album["KeyPhotoKey"]) for album in albums]

            def key_photos():
                return [event.get("KeyPhotoKey") for event in client.result("Get Events")
                        if event["AlbumId"] == "project %d" % numbers[0]]

            self.assertEqual((smart(), key_photos()), ([(2, str(BASE + 1))], [str(BASE + 1)]))
            # Complete lists are kept: no script is run for them again.
            asked = len(self.scripts())
            self.assertEqual((smart(), key_photos()), ([(2, str(BASE + 1))], [str(BASE + 1)]))
            self.assertEqual(len(self.scripts()), asked)

    def test_uses_an_application_on_the_interpreters_machine(self):
        (self.folder / "remote").write_text("iPhoto")
        uuid = self.photos[0][1]
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            lines = [line.split(":  ", 1)[-1] for line in server.console().splitlines()]
            first = lines.index("Asking the script interpreter which photo applications run (5 seconds at most)")
            self.assertEqual(lines[first + 1:first + 4],
                             ["iPhoto was started", "Should prefer Aperture, but iPhoto is running...",
                              "Running app: iPhoto"])
            # The lists of the start were asked of iPhoto, and so is an edit right after it.
            self.assertEqual({script.split('"')[1] for script in self.scripts()}, {"iPhoto"})
            before = len(self.scripts())
            self.assertEqual(client.result("Set GPS of Photo", key=uuid, latitude=1, longitude=2),
                             "Set GPS to 1.000000/2.000000")
            moxteltest.wait_for(lambda: len(self.scripts()) > before, "the script")

    def test_runs_one_script_per_project(self):
        self.application("iPhoto")
        numbers = self.add_projects(PROJECTS)
        self.albums("iPhoto", {BASE + number: [BASE + number] for number in numbers})
        with self.server() as server, moxteltest.Client(server) as client:
            self.assertEqual(self.projects_asked(), list(numbers))
            keys = {event["AlbumId"]: event.get("KeyPhotoKey") for event in client.result("Get Events")}
            for number in numbers:
                self.assertEqual(keys["project %d" % number], str(BASE + number))
            self.assertIn("keyPhotoOfProjectWithUuid: 'project %d' is '%d'" % (numbers[0], BASE + numbers[0]),
                          server.log())


class Failures(PhotoApplicationTestCase):
    def test_the_application_is_killed_during_a_script(self):
        iphoto = self.application("iPhoto")
        with self.server() as server, moxteltest.Client(server) as client:
            (self.folder / "die").touch()
            self.assertEqual(client.result("Photos of Album", id=self.smart[1]), [])
            self.assertEqual(iphoto.wait(moxteltest.PATIENCE), -signal.SIGKILL)
            self.assertIn("Connection is invalid. (-609)", server.log())
            moxteltest.wait_for(lambda: "iPhoto not running" in server.log(), "the end of iPhoto")
            self.assertEqual(client.result("Get Version"), "1.4")

    def test_restarts_a_crashed_interpreter_for_the_next_script(self):
        self.application("iPhoto")
        self.application("Aperture")
        uuid = self.photos[0][1]
        self.albums("iPhoto", {BASE + self.smart[0]: [BASE + self.photos[0][0]]})
        with self.server() as server, moxteltest.Client(server) as client:
            (self.folder / "crash").touch()
            self.assertEqual(client.result("Photos of Album", id=self.smart[1]), [])
            self.assertEqual(server.log().count("The script interpreter died"), 1)
            self.assertEqual(len(client.result("Photos of Album", id=self.smart[1])), 1)
            # It crashes at the first of the two queued scripts, iPhoto's and Aperture's.
            (self.folder / "crash").touch()
            before, answered = len(self.scripts()), len(self.recorded("answered"))
            client.result("Set GPS of Photo", key=uuid, latitude=1, longitude=2)
            self.wait_for_answer(answered)
            self.assertEqual(self.rows("SELECT exifLatitude,exifLongitude FROM RKVersion WHERE uuid = ?", uuid),
                             [(1, 2)])
            self.assertEqual([script.split('"')[1] for script in self.scripts()[before:]], ["iPhoto", "Aperture"])
            # In the description of a failed query, and in the two lines of the failed queued script.
            self.assertEqual(server.log().count("The script interpreter died"), 3)

    def test_the_server_answers_once_a_hanging_interpreter_is_killed(self):
        self.application("iPhoto")
        with self.server() as server, moxteltest.Client(server) as client:
            (self.folder / "hang").touch()
            client.send("Photos of Album", id=self.smart[1])
            hanging = int(moxteltest.wait_for(lambda: (self.folder / "hanging").exists() and
                                              (self.folder / "hanging").read_text(), "the interpreter to hang"))
            # The application can write while it hangs.
            with sqlite3.connect(self.database(), timeout=0) as database:
                database.execute("BEGIN EXCLUSIVE")
                database.execute("ROLLBACK")
            database.close()
            (self.folder / "hang").unlink()
            os.kill(hanging, signal.SIGKILL)
            self.assertEqual(client.receive(), {"result": []})
            self.assertIn("The script interpreter died", server.log())
            self.assertEqual(client.result("Get Version"), "1.4")

    def test_the_server_ends_at_once_while_an_interpreter_hangs(self):
        def wait_until_it_hangs():
            moxteltest.wait_for((self.folder / "hanging").exists, "the interpreter to hang")
            (self.folder / "hanging").unlink()

        self.add_projects(1)
        self.application("iPhoto")
        with self.server() as server, moxteltest.Client(server) as client:
            (self.folder / "hang").touch()
            client.send("Photos of Album", id=self.smart[1])
            wait_until_it_hangs()
            server.process.send_signal(signal.SIGTERM)
            self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)
        # During its start.
        server = self.server()
        server.wait = False
        with server:
            wait_until_it_hangs()
            server.process.send_signal(signal.SIGINT)
            self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)

    def hanging_names(self):
        """Waits until an interpreter hangs that was asked for the names of applications. Its process id."""
        hanging = self.folder / "hanging-names"
        return int(moxteltest.wait_for(lambda: hanging.exists() and hanging.read_text(), "the interpreter to hang"))

    def test_the_start_waits_past_a_failed_question_for_the_names_of_applications(self):
        (self.folder / "hang-names").touch()
        server = self.server()
        server.wait = False
        with server:
            self.wait_for_line(server, "Asking the script interpreter which photo applications run")
            hanging = self.hanging_names()
            (self.folder / "remote").write_text("iPhoto")
            (self.folder / "hang-names").unlink()
            self.assertNotIn("Running app", server.console())
            os.kill(hanging, signal.SIGKILL)
            self.wait_for_line(server, "Running app: iPhoto")

    def test_the_server_ends_at_once_while_it_waits_for_the_names_of_applications(self):
        (self.folder / "hang-names").touch()
        server = self.server()
        server.wait = False
        with server:
            self.hanging_names()
            server.process.send_signal(signal.SIGTERM)
            self.assertEqual(server.process.wait(moxteltest.PATIENCE), 0)

    def test_answers_every_command_without_an_interpreter(self):
        self.application("iPhoto")
        with moxteltest.Server(self.library, "-ScriptInterpreter", "/no/such/interpreter") as server:
            with moxteltest.Client(server) as client:
                self.assertEqual(client.result("Photos of Album", id=self.smart[1]), [])
                self.assertEqual(client.result("Set GPS of Photo", key=self.photos[0][1], latitude=1, longitude=2),
                                 "Set GPS to 1.000000/2.000000")
                self.assertEqual(client.result("Get Version"), "1.4")
                self.assertIn("could not be started", server.log())
                self.wait_for_line(server, "Not done in the photo application: ")


class UntrustedTexts(PhotoApplicationTestCase):
    def setUp(self):
        super().setUp()
        # Lists with failed scripts are not cached, and each request for them would ask again.
        for name in ("iPhoto", "Aperture"):
            self.albums(name, {"*": []})

    def ask_everything(self, client, text):
        """Sends each command with a text for every argument; discards the replies."""
        for command in COMMANDS:
            client.send(command, id=text, key=text, latitude=text, longitude=text)
            client.expect_any()

    def test_no_command_puts_a_clients_text_into_a_script(self):
        self.application("Aperture")
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            before = len(self.scripts())
            for text in HOSTILE:
                self.ask_everything(client, text)
                self.assertEqual(client.result("Reveal Photo", key=text), "Revealed Photo")
                self.assertEqual(client.result("Reveal Album", id=text), "Revealed Album")
                self.assertEqual(client.result("Reveal Event", id=text), "Revealed Album")
                self.assertEqual(client.result("Clear GPS of Photo", key=text), "Cleared GPS")
                self.assertEqual(client.result("Set GPS of Photo", key=text, latitude=1, longitude=2),
                                 "Set GPS to 1.000000/2.000000")
            self.assertEqual(client.result("Reveal Album", id="the end"), "Revealed Album")
            # The queue is in order, so everything queued before has run.
            end = 'tell application "Aperture"\nreveal album id "the end"\nend tell'
            moxteltest.wait_for(lambda: end in self.scripts(), "the last script")
            self.assertEqual(self.scripts()[before:], [end])
            self.assertEqual(server.console().count("Refused to send '"), 2 * 5 * len(HOSTILE))
            # The server would ask the application for an album's photos; one log line says that it did not.
            self.assertEqual(server.log().count("refused to put '"), len(HOSTILE))

    def test_no_command_puts_other_values_into_a_script(self):
        self.application("Aperture")
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            before = len(self.scripts())
            for value in ([HOSTILE[0]], {"a": HOSTILE[0]}):
                self.ask_everything(client, value)
            self.assertEqual(client.result("Reveal Album", id="the end"), "Revealed Album")
            end = 'tell application "Aperture"\nreveal album id "the end"\nend tell'
            moxteltest.wait_for(lambda: end in self.scripts(), "the last script")
            self.assertEqual(self.scripts()[before:], [end])

    def test_iphotos_scripts_contain_only_numbers(self):
        self.application("iPhoto")
        with self.server() as server, moxteltest.Client(server) as client:
            for text in HOSTILE:
                self.ask_everything(client, text)
            self.assertEqual(client.result("Set GPS of Photo", key="the end", latitude=1.5, longitude=2),
                             "Set GPS to 1.500000/2.000000")
            moxteltest.wait_for(lambda: "aPhoto to 1.500000\n" in self.scripts()[-1], "the last script")
            question = " to (id of some|(id|count) of every) photo of album id [0-9]+"
            position = (r"\n\t?set aPhoto to photo id [0-9]+\n\t?set latitude of aPhoto to [.0-9]+\n\t?set longitude of "
                        r"aPhoto to [.0-9]+\n\t?ignoring application responses\n\t{0,2}reverse geocode aPhoto\n\t?end "
                        r"ignoring\nend tell")
            for script in self.scripts():
                self.assertRegex(script, r'\Atell application "iPhoto"(%s|%s)\Z' % (question, position))

    def test_numbers_from_a_client_stay_numbers(self):
        self.application("Aperture")
        uuid = self.photos[0][1]
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            before = len(self.scripts())
            for number in (float("nan"), float("inf"), 1e308, "1 of me", HOSTILE[0]):
                client.result("Set GPS of Photo", key=uuid, latitude=number, longitude=number)
            moxteltest.wait_for(lambda: len(self.scripts()) == before + 5, "five scripts")
            for script in self.scripts()[before:]:
                self.assertRegex(script, r'\Atell application "Aperture"\nset aPhoto to image version id "[^"\n]*"\nset '
                                 r'latitude of aPhoto to [-.0-9a-z]+\nset longitude of aPhoto to [-.0-9a-z]+\nend tell\Z')

    def test_hostile_uuids_in_the_library_do_not_change_scripts(self):
        """Of smart albums (asked for count, key photo and photos), folders (count) and projects (key photo)."""
        self.application("Aperture")
        # The server reads a text from a database up to its first NUL.
        uuids = [text for text in HOSTILE if "\0" not in text]
        for number, text in enumerate(uuids):
            self.change("INSERT INTO RKAlbum (modelId,uuid,name,albumType,albumSubclass,folderUuid,isMagic,isHidden,isInTrash) "
                        "VALUES (?,?,?,1,2,'TopLevelAlbums',0,0,0)", 1000 + number, text, "hostile %d" % number)
            for kind, parent in ((1, "TopLevelAlbums"), (2, "AllProjectsItem")):
                self.change("INSERT INTO RKFolder (modelId,uuid,name,folderType,parentFolderUuid,isHidden,isMagic,isInTrash,"
                            "isHiddenWhenEmpty) VALUES (?,?,?,?,?,0,0,0,0)", 1000 * kind + 500 + number, text + str(kind),
                            "hostile %d of kind %d" % (number, kind), kind, parent)
            self.change("INSERT INTO RKVersion (modelId,uuid,projectUuid,versionNumber,isInTrash,isHidden,showInLibrary) "
                        "VALUES (?,?,?,1,0,0,1)", 9000 + number, "photo %d" % number, text + "2")
        with self.server("-PreferAperture", "YES") as server, moxteltest.Client(server) as client:
            albums = {album["AlbumName"]: album for album in client.result("Get Albums")}
            events = {event["AlbumName"]: event for event in client.result("Get Events")}
            for number, text in enumerate(uuids):
                self.assertEqual(albums["hostile %d" % number]["PhotoCount"], 0)
                self.assertEqual(albums["hostile %d of kind 1" % number]["PhotoCount"], 0)
                self.assertEqual(events["hostile %d of kind 2" % number]["PhotoCount"], 1)
                # No script answers for such an event; what answers is the library, unless the text ends its SQL literal.
                self.assertEqual(events["hostile %d of kind 2" % number].get("KeyPhotoKey"),
                                 None if "'" in text else "photo %d" % number)
                self.assertEqual(client.result("Photos of Album", id=text), [])
            scripts = self.scripts()
            self.assertTrue(scripts, "others were asked")
            for script in scripts:
                self.assertNotIn("shell", script)
                for uuid in script.split('id "')[1:]:
                    self.assertNotRegex(uuid.split('"')[0], '[\\\\\n\r\0\u2028\x85]')
            # An album: count and photos; a folder: count; a project: key photo.
            self.assertEqual(server.log().count("refused to put '"), 4 * len(uuids))


if __name__ == "__main__":
    unittest.main()
