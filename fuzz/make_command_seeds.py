#!/usr/bin/env python3
"""Writes the seeds of CommandFuzz: every command with ids that the library may know, and sequences of commands."""
import pathlib
import struct

FOLDER = pathlib.Path(__file__).parent / "corpus" / "CommandFuzz"
COMMANDS = 20
MOVIE = 97  # the index of the movie's key among the library's texts
KNOWN = 8  # the choice that selects one of the library's own texts
REAL = 2


def known(index):
    return bytes([KNOWN]) + struct.pack(">Q", index)


def request(command, index):
    entries = 0b11111  # id, key, latitude, longitude, isFace
    place = bytes([REAL]) + struct.pack(">d", 48.4) + bytes([REAL]) + struct.pack(">d", -9.5)
    return bytes([command, entries]) + known(index) + known(index) + place + known(0)


def main():
    FOLDER.mkdir(parents=True, exist_ok=True)
    for command in range(COMMANDS):
        row = b"".join(request(command, index) for index in range(command, command + 90, 18))
        (FOLDER / f"command-{command:02}").write_bytes(bytes([command % 4]) + row)
    every = b"".join(request(command, 3 * command + 1) for command in (3, 5, 18, 19, 15, 4))
    (FOLDER / "some-in-a-row").write_bytes(b"\x03" + every)
    (FOLDER / "movie").write_bytes(b"\x00" + b"".join(request(command, MOVIE) for command in (8, 9, 11, 13, 14)))


if __name__ == "__main__":
    main()
