"""Keyed archives, written and read with Python's plistlib alone.

Decoding preserves every difference that a client can see: dictionaries are Dict and arrays are List, each with its
class name from the archive, dates are Date, and 1, 1.0 and True stay different.
"""

import plistlib

NULL = object()
MUTABLE = {"NSMutableDictionary", "NSMutableArray"}
PARENTS = {
    "NSDictionary": ["NSObject"],
    "NSMutableDictionary": ["NSDictionary", "NSObject"],
    "NSArray": ["NSObject"],
    "NSMutableArray": ["NSArray", "NSObject"],
    "NSDate": ["NSObject"],
    "NSNull": ["NSObject"],
}


class ArchiveError(Exception):
    pass


class Dict(dict):
    class_name = "NSDictionary"

    @property
    def is_mutable(self):
        return self.class_name in MUTABLE


class List(list):
    class_name = "NSArray"

    @property
    def is_mutable(self):
        return self.class_name in MUTABLE


class Date(float):
    """Seconds since 2001-01-01 00:00:00 UTC."""


class _Writer:
    def __init__(self):
        self.objects = ["$null"]
        self.classes = {}

    def add(self, stored):
        self.objects.append(stored)
        return plistlib.UID(len(self.objects) - 1)

    def class_of(self, name):
        if name not in self.classes:
            self.classes[name] = self.add({"$classname": name, "$classes": [name] + PARENTS[name]})
        return self.classes[name]

    def uid(self, value):
        if value is None:
            return plistlib.UID(0)
        if value is NULL:
            return self.add({"$class": self.class_of("NSNull")})
        if isinstance(value, Date):
            return self.add({"$class": self.class_of("NSDate"), "NS.time": float(value)})
        if isinstance(value, dict):
            return self.collection(getattr(value, "class_name", "NSDictionary"), value.values(), value.keys())
        if isinstance(value, (list, tuple)):
            return self.collection(getattr(value, "class_name", "NSArray"), value)
        return self.add(value)

    def collection(self, class_name, values, keys=None):
        stored = {}
        uid = self.add(stored)
        stored["$class"] = self.class_of(class_name)
        if keys is not None:
            stored["NS.keys"] = [self.uid(key) for key in keys]
        stored["NS.objects"] = [self.uid(value) for value in values]
        return uid


def encode(root, fmt=plistlib.FMT_BINARY):
    writer = _Writer()
    top = {"root": writer.uid(root)}
    archive = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top, "$objects": writer.objects}
    return plistlib.dumps(archive if fmt == plistlib.FMT_BINARY else _without_uids(archive), fmt=fmt)


def _without_uids(stored):
    """Replaces references by dictionaries, as in XML archives, which have no type for them."""
    if isinstance(stored, plistlib.UID):
        return {"CF$UID": stored.data}
    if isinstance(stored, dict):
        return {key: _without_uids(value) for key, value in stored.items()}
    return [_without_uids(value) for value in stored] if isinstance(stored, list) else stored


def _with_uids(stored):
    if isinstance(stored, dict):
        if list(stored) == ["CF$UID"]:
            return plistlib.UID(stored["CF$UID"])
        return {key: _with_uids(value) for key, value in stored.items()}
    return [_with_uids(value) for value in stored] if isinstance(stored, list) else stored


class _Reader:
    def __init__(self, data):
        archive = plistlib.loads(data)
        if not data.startswith(b"bplist"):
            archive = _with_uids(archive)
        if archive.get("$archiver") != "NSKeyedArchiver" or archive.get("$version") != 100000:
            raise ArchiveError("no keyed archive")
        self.objects = archive["$objects"]
        if self.objects[0] != "$null":
            raise ArchiveError("the first object is not $null")
        self.root = archive["$top"]["root"]
        self.shared = {}

    def value(self, uid):
        if not isinstance(uid, plistlib.UID):
            raise ArchiveError("no reference: %r" % (uid,))
        stored = self.objects[uid.data]
        if uid.data == 0:
            return None
        if not isinstance(stored, dict):
            return stored
        if uid.data not in self.shared:
            self.shared[uid.data] = self.object(stored)
        return self.shared[uid.data]

    def object(self, stored):
        described = self.objects[stored["$class"].data]
        name = described["$classname"]
        if name not in PARENTS or described["$classes"] != [name] + PARENTS[name]:
            raise ArchiveError("class %r with parents %r" % (name, described["$classes"]))
        if name == "NSNull":
            return NULL
        if name == "NSDate":
            if not isinstance(stored["NS.time"], float):
                raise ArchiveError("NS.time is no real")
            return Date(stored["NS.time"])
        values = [self.value(uid) for uid in stored["NS.objects"]]
        if "Array" in name:
            result = List(values)
        else:
            keys = [self.value(uid) for uid in stored["NS.keys"]]
            if len(keys) != len(values) or len(set(keys)) != len(keys):
                raise ArchiveError("keys %r for %d values" % (keys, len(values)))
            result = Dict(zip(keys, values))
        result.class_name = name
        return result


def decode(data):
    reader = _Reader(data)
    return reader.value(reader.root)
