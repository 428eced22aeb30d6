#!/usr/bin/env python3
"""Writes the seeds of IntakeFuzz: requests archived like a client's, by Python's plistlib."""
import pathlib
import plistlib

FOLDER = pathlib.Path(__file__).parent / "corpus" / "IntakeFuzz"

REQUESTS = {
    "version": {"command": "Get Version"},
    "albums": {"command": "Get Albums"},
    "faces-nil": {"command": "Get Faces"},
    "photos": {"command": "Photos of Album", "id": "allPhotosAlbum"},
    "folders-number": {"command": "Folders of Album", "id": 2},
    "event": {"command": "Photos of Event", "id": 1},
    "infos": {"command": "Infos of Photo", "key": "a%b+c"},
    "key-number": {"command": "Infos of Photo", "key": 1.5},
    "unknown": {"command": "get version %@"},
    "command-number": {"command": 5},
    "no-command": {"id": "x"},
}


def archive(request, uid, fmt):
    objects = ["$null", {"NS.keys": [], "NS.objects": []}]

    def add(value):
        objects.append(value)
        return uid(len(objects) - 1)

    for key, value in request.items():
        objects[1]["NS.keys"].append(add(key))
        objects[1]["NS.objects"].append(add(value))
    objects[1]["$class"] = add({"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]})
    return plistlib.dumps(
        {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": uid(1)}, "$objects": objects},
        fmt=fmt, sort_keys=False)


def main():
    FOLDER.mkdir(parents=True, exist_ok=True)
    for name, request in REQUESTS.items():
        (FOLDER / name).write_bytes(archive(request, plistlib.UID, plistlib.FMT_BINARY))
    xml = archive(REQUESTS["version"], lambda index: {"CF$UID": index}, plistlib.FMT_XML)
    (FOLDER / "version-xml").write_bytes(xml)
    (FOLDER / "no-archive").write_bytes(b"GET / HTTP/1.0\r\n\r\n")


if __name__ == "__main__":
    main()
