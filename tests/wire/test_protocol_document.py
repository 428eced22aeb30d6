"""Sends the requests of docs/protocol.md, byte for byte, and compares the replies with the document.

With --write it updates the bytes and values of the examples from the server; the requests stay.
"""

import json
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile
import unittest

import keyedarchive
import moxteltest
from moxteltest import Client, Server

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs" / "protocol.md"
EXAMPLE = re.compile(r"```example\n(.*?)```", re.DOTALL)
OBJECTS = re.compile(r"```objects\n(.*?)```", re.DOTALL)
PYTHON = re.compile(r"```python\n(.*?)```", re.DOTALL)
ROW = re.compile(r"^\| `(\w+)` \| (\w+) \| .* \| (.*) \|$", re.MULTILINE)
TYPES = {"string": str, "integer": int, "real": float}
SHOWN = 400  # bytes shown of a reply
SHOWN_DATA = 16  # bytes shown of a data value


def hex_lines(data):
    return ["    %04x  %s" % (at, data[at:at + 16].hex(" ")) for at in range(0, len(data), 16)]


def plain(value):
    """A decoded value for JSON; data becomes its size and first bytes."""
    if isinstance(value, dict):
        return {key: plain(part) for key, part in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(part) for part in value]
    if isinstance(value, bytes):
        return "%d bytes: %s …" % (len(value), value[:SHOWN_DATA].hex(" "))
    if isinstance(value, keyedarchive.Date):
        return "date %r" % float(value)
    return value


def replies_to(server, request):
    """All replies to one request, in order."""
    with Client(server) as client:
        client.send_bytes(request)
        client.wait_until_read()
        client.send("Get Version")
        replies = []
        while True:
            raw = client.receive_raw()
            if keyedarchive.decode(raw) == {"result": "1.4"} and (replies or request != VERSION):
                return replies
            replies.append(raw)


VERSION = keyedarchive.encode({"command": "Get Version"})


def example_of(server, request):
    """The text of an example: the request and its replies."""
    data = keyedarchive.encode(request)
    lines = [json.dumps(request, ensure_ascii=False), "sends %d bytes" % len(data)] + hex_lines(data)
    for reply in replies_to(server, data):
        framed = len(reply).to_bytes(4, sys.byteorder) + reply
        lines += ["receives 4 + %d bytes" % len(reply)] + hex_lines(framed[:SHOWN])
        if len(framed) > SHOWN:
            lines.append("    …")
        lines.append(json.dumps(plain(keyedarchive.decode(reply)), ensure_ascii=False, indent=1))
    return "\n".join(lines) + "\n"


def shown_object(stored):
    """An object of an archive as one line."""
    if isinstance(stored, plistlib.UID):
        return "UID %d" % stored.data
    if isinstance(stored, dict):
        return "{" + ", ".join("%s: %s" % (key, shown_object(part)) for key, part in stored.items()) + "}"
    if isinstance(stored, list):
        return "[" + ", ".join(map(shown_object, stored)) + "]"
    return json.dumps(stored, ensure_ascii=False)


def objects_of(server, first_line):
    """The text of a list of objects: of a request, or of the first reply to one."""
    data = keyedarchive.encode(json.loads(first_line.removeprefix("receives ")))
    if first_line.startswith("receives "):
        data = replies_to(server, data)[0]
    objects = plistlib.loads(data)["$objects"]
    return "\n".join([first_line] + ["%4d  %s" % item for item in enumerate(map(shown_object, objects))]) + "\n"


def fields_of(text, heading):
    """The rows of a table of fields, by key: type and presence."""
    return {key: (TYPES[kind], presence)
            for key, kind, presence in ROW.findall(text[text.index("\n%s: " % heading):].split("\n\n")[1])}


class ProtocolDocument(moxteltest.LibraryTestCase):
    options = ("--images", "small", "--photos", "3", "--seed", "7", "--faces", "1", "--projects", "1",
               "--albums", "1")

    def requests(self):
        return [json.loads(text.partition("\n")[0]) for text in EXAMPLE.findall(DOCUMENT.read_text("utf-8"))]

    def test_every_example_matches_the_server(self):
        self.maxDiff = None
        with Server(self.library) as server:
            def answered(match):
                return "```example\n" + example_of(server, json.loads(match[1].partition("\n")[0])) + "```"

            def listed(match):
                return "```objects\n" + objects_of(server, match[1].partition("\n")[0]) + "```"
            text = DOCUMENT.read_text("utf-8")
            if os.environ.get("MOXTEL_WRITE_EXAMPLES"):
                text = OBJECTS.sub(listed, text)
                DOCUMENT.write_text(EXAMPLE.sub(answered, text), "utf-8")
                return
            for match in OBJECTS.finditer(text):
                with self.subTest(match[1].partition("\n")[0]):
                    self.assertEqual(match[0], listed(match))
            for match in EXAMPLE.finditer(text):
                with self.subTest(match[1].partition("\n")[0]):
                    self.assertEqual(match[0], answered(match))

    def test_the_client_in_the_document_works(self):
        (program,) = PYTHON.findall(DOCUMENT.read_text("utf-8"))
        self.assertLessEqual(len(program.splitlines()), 60)
        with Server(self.library) as server, tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([sys.executable, "-c", program, "127.0.0.1", str(server.port), folder + "/thumb"],
                                  capture_output=True, text=True, check=True)
            thumbnail = pathlib.Path(folder, "thumb").read_bytes()
            with Client(server) as client:
                keys = [photo["PhotoKey"] for photo in client.result("Photos of Album", id="allPhotosAlbum")]
                names = [client.result("Infos of Photo", key=key)["FileName"] for key in keys]
                self.assertEqual(thumbnail, client.result("Thumb of Photo", key=keys[0]))
        self.assertEqual(done.stdout.splitlines(), ["%s %s" % pair for pair in zip(keys, names)])

    def check_fields(self, heading, dictionaries):
        """Every key of a reply is in the table with its type; "always" holds."""
        fields = fields_of(DOCUMENT.read_text("utf-8"), heading)
        self.assertTrue(dictionaries)
        for dictionary in dictionaries:
            for key, value in dictionary.items():
                self.assertIn(key, fields, heading)
                self.assertIs(type(value), fields[key][0], (heading, key))
            missing = {key for key, (_, presence) in fields.items() if presence == "always"} - set(dictionary)
            self.assertEqual(missing, set(), heading)
        return {key for dictionary in dictionaries for key in dictionary}, set(fields)

    def test_the_tables_of_fields_match_the_server(self):
        library = moxteltest.make_library(self.folder / "Fields", "--photos", "60", "--images", "small", "--faces", "3")
        with Server(library) as server, Client(server) as client:
            containers = client.result("Get Albums") + client.result("Get Events")
            for container in list(containers):
                containers += client.result("Folders of Album", id=container["AlbumId"])
            self.assertEqual(*self.check_fields("Containers", containers))
            faces = client.result("Get Faces")
            self.assertEqual(*self.check_fields("Faces", faces))
            photos = [photo for container in containers
                      for photo in client.result("Photos of Album", id=container["AlbumId"])]
            photos += client.result("Photos of Album", id="allPhotosAlbum")
            for face in faces:
                photos += client.result("Photos of Face", id=face["AlbumId"])
            self.assertEqual(*self.check_fields("Photos", photos))
            infos = [client.result("Infos of Photo", key=photo["PhotoKey"]) for photo in photos]
            self.assertEqual(*self.check_fields("Infos", infos))
            self.assertEqual({info["MediaType"] for info in infos}, {"Image", "Movie"})

    def test_every_command_has_an_example(self):
        self.assertEqual(set(moxteltest.command_names()) - {request.get("command") for request in self.requests()},
                         set())


if __name__ == "__main__":
    if "--write" in sys.argv:
        sys.argv.remove("--write")
        os.environ["MOXTEL_WRITE_EXAMPLES"] = "1"
    unittest.main()
