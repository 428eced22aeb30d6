"""Sends the requests of docs/protocol.md, byte for byte, and compares the replies with the document.

With --write it updates the bytes and values of the examples from the server; the requests stay.
"""

import json
import os
import pathlib
import re
import sys
import unittest

import keyedarchive
import moxteltest
from moxteltest import Client, Server

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs" / "protocol.md"
EXAMPLE = re.compile(r"```example\n(.*?)```", re.DOTALL)
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
            text = DOCUMENT.read_text("utf-8")
            if os.environ.get("MOXTEL_WRITE_EXAMPLES"):
                DOCUMENT.write_text(EXAMPLE.sub(answered, text), "utf-8")
                return
            for match in EXAMPLE.finditer(text):
                with self.subTest(match[1].partition("\n")[0]):
                    self.assertEqual(match[0], answered(match))

    def test_every_command_has_an_example(self):
        self.assertEqual(set(moxteltest.command_names()) - {request.get("command") for request in self.requests()},
                         set())


if __name__ == "__main__":
    if "--write" in sys.argv:
        sys.argv.remove("--write")
        os.environ["MOXTEL_WRITE_EXAMPLES"] = "1"
    unittest.main()
