"""A fake photo application and a fake script interpreter that sends scripts to it.

    photo_application.py app NAME FOLDER LIBRARY    runs as a process called NAME ("iPhoto", "Aperture")
    photo_application.py interpreter FOLDER         runs a script from standard input, like osascript -s s -

The application accepts only the scripts that the server sends. FOLDER/NAME.albums has the members of its containers;
those of "*" are those of every other one. The interpreter records every script in FOLDER/scripts and its reply in
FOLDER/answered, hangs while FOLDER/hang exists, and crashes at the next script if FOLDER/crash exists. It reports the
running applications listed in FOLDER/remote, and hangs when asked for them while FOLDER/hang-names exists.
"""

import json
import os
import pathlib
import re
import signal
import socket
import sqlite3
import sys
import time

IPHOTO_BASE_ID = 4294967296
NO_POSITION = "340282346638528859811704183484516925440.000000"
NUMBER = r"(-?[0-9]+\.[0-9]{6})"
TEXT = r'"([^"\\\n\r\0]*)"'
SYSTEM_EVENTS = 'tell application "System Events" to name of every application process'


class ScriptError(Exception):
    pass


def quoted(text):
    return '"%s"' % text.replace("\\", "\\\\").replace('"', '\\"')


def printed(value):
    if value is None:
        return ""
    if isinstance(value, list):
        return "{%s}" % ", ".join(map(printed, value))
    return quoted(value) if isinstance(value, str) else str(value)


class Application:
    def __init__(self, name, folder, library):
        self.name, self.folder = name, pathlib.Path(folder)
        self.database = os.path.join(library, "Database", "apdb", "Library.apdb")
        self.scripts = [(re.compile(text), action) for text, action in self.vocabulary()]

    def vocabulary(self):
        if self.name == "iPhoto":
            tell = r'tell application "iPhoto"'
            yield tell + r" to id of some photo of album id ([0-9]+)", self.some_photo
            yield tell + r" to count of every photo of album id ([0-9]+)", self.count
            yield tell + r" to id of every photo of (?:album|folder) id ([0-9]+)", self.every_photo
            yield tell + r"\n  activate\nend tell\n\n", lambda: None
            for tab in ("", "\t"):
                yield (tell + r"\n{0}set aPhoto to photo id ([0-9]+)\n{0}set latitude of aPhoto to {1}\n"
                       r"{0}set longitude of aPhoto to {1}\n{0}ignoring application responses\n{0}{0}reverse geocode "
                       r"aPhoto\n{0}end ignoring\nend tell").format(tab, NUMBER), self.place_by_number
        else:
            tell = r'tell application "Aperture"'
            yield (tell + r"\n\ttry\n\t\tset anIV to some image version of (?:folder|album) id " + TEXT +
                   r"\n\t\tid of anIV\n\tend try\nend tell"), self.some_photo
            yield tell + r" to count of every image version of (?:folder|album) id " + TEXT, self.count
            yield tell + r" to id of every image version of (?:folder|album) id " + TEXT, self.every_photo
            yield tell + r"\nreveal (?:image version|album|project) id " + TEXT + r"\nend tell", lambda _: None
            for tab in ("", "\t"):
                yield (tell + r"\n{0}set aPhoto to image version id {2}\n{0}set latitude of aPhoto to {1}\n"
                       r"{0}set longitude of aPhoto to {1}\nend tell").format(tab, NUMBER, TEXT), self.place_by_uuid

    def members(self, container):
        albums = json.loads((self.folder / (self.name + ".albums")).read_text())
        if container not in albums and "*" not in albums:
            raise ScriptError("0:1: execution error: %s got an error: Can’t get album id %s. (-1728)" % (self.name, container))
        return albums.get(container, albums.get("*"))

    def every_photo(self, container):
        return self.members(container)

    def count(self, container):
        return len(self.members(container))

    def some_photo(self, container):
        members = self.members(container)
        return members[0] if members else None

    def place_by_number(self, photo, latitude, longitude):
        self.place("modelId", int(photo) - IPHOTO_BASE_ID, latitude, longitude)

    def place_by_uuid(self, uuid, latitude, longitude):
        self.place("uuid", uuid, latitude, longitude)

    def place(self, column, photo, latitude, longitude):
        """Fails instead of waiting for a lock: the server must not hold any while a script runs."""
        position = [None if number == NO_POSITION else float(number) for number in (latitude, longitude)]
        with sqlite3.connect(self.database, timeout=0) as database:
            database.execute("UPDATE RKVersion SET exifLatitude = ?, exifLongitude = ? WHERE %s = ?" % column,
                             (*position, photo))
        database.close()

    def answer(self, script):
        for pattern, action in self.scripts:
            found = pattern.fullmatch(script)
            if found:
                return printed(action(*found.groups()))
        raise ScriptError("0:1: syntax error: Expected end of line but found something else. (-2741)")

    def serve(self):
        with socket.socket(socket.AF_UNIX) as door:
            door.bind(str(self.folder / (self.name + ".new")))
            door.listen(16)
            os.rename(self.folder / (self.name + ".new"), self.folder / (self.name + ".socket"))
            while True:
                caller, _ = door.accept()
                try:
                    with caller, caller.makefile("rwb") as stream:
                        self.serve_caller(stream)
                except OSError:
                    pass  # an interpreter that was killed in the meantime

    def serve_caller(self, stream):
        line = stream.readline()
        if (self.folder / "die").exists():
            os.kill(os.getpid(), signal.SIGKILL)
        if not line:
            return
        try:
            reply = {"result": self.answer(json.loads(line))}
        except (ScriptError, sqlite3.Error) as problem:
            reply = {"error": str(problem)}
        stream.write(json.dumps(reply).encode() + b"\n")


def asked(folder, name, script):
    try:
        with socket.socket(socket.AF_UNIX) as door:
            door.connect(str(folder / (name + ".socket")))
            with door.makefile("rwb") as stream:
                stream.write(json.dumps(script).encode() + b"\n")
                stream.flush()
                line = stream.readline()
    except OSError:
        return {"error": "0:1: execution error: %s got an error: Application isn’t running. (-600)" % name}
    if not line:
        return {"error": "0:1: execution error: %s got an error: Connection is invalid. (-609)" % name}
    return json.loads(line)


def interpret(folder):
    script = sys.stdin.buffer.read().decode("utf-8", "surrogateescape")
    if script == SYSTEM_EVENTS:
        if (folder / "hang-names").exists():
            (folder / "hanging-names.new").write_text(str(os.getpid()))
            os.rename(folder / "hanging-names.new", folder / "hanging-names")
            time.sleep(600)
        remote = folder / "remote"
        print(printed(["Finder"] + (remote.read_text().split() if remote.exists() else [])))
        return 0
    with open(folder / "scripts", "a") as record:
        record.write(json.dumps(script) + "\n")
    if (folder / "hang").exists():
        (folder / "hanging.new").write_text(str(os.getpid()))
        os.rename(folder / "hanging.new", folder / "hanging")
        time.sleep(600)
    if (folder / "crash").exists():
        (folder / "crash").unlink()
        os.kill(os.getpid(), signal.SIGKILL)
    name = "iPhoto" if 'application "iPhoto"' in script else "Aperture"
    reply = asked(folder, name, script)
    with open(folder / "answered", "a") as record:
        record.write(json.dumps(reply) + "\n")
    if "error" in reply:
        print(reply["error"], file=sys.stderr)
        return 1
    print(reply["result"])
    return 0


def main(mode, *words):
    if mode == "interpreter":
        return interpret(pathlib.Path(words[0]))
    name, folder, library = words
    application = Application(name, folder, library)
    with open("/proc/self/comm", "w") as comm:
        comm.write(name)
    application.serve()


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
