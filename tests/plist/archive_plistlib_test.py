#!/usr/bin/env python3
"""Archives made with plistlib, rewritten by this system, read again with plistlib.

usage: archive_plistlib_test.py ARCHIVE_REWRITER
An archiver and an unarchiver of our own use plistlib here; what comes back must be the same objects, of the
same classes.
"""
import datetime
import plistlib
import random
import struct
import subprocess
import sys
from plistlib import UID

EPOCH = datetime.datetime(2001, 1, 1)


class Object:
    """An object with a class: a collection, a date, or nil."""

    def __init__(self, name, content=None):
        self.name, self.content = name, content

    def __eq__(self, other):
        return isinstance(other, Object) and (self.name, typed(self.content)) == (other.name, typed(other.content))

    def __repr__(self):
        return f"{self.name}({self.content!r})"


def typed(value):
    """1, 1.0 and True are three values."""
    if isinstance(value, (list, tuple)):
        return [typed(item) for item in value]
    return value if isinstance(value, Object) else (type(value), value)


CHAINS = {"NSMutableArray": ["NSArray"], "NSMutableDictionary": ["NSDictionary"], "NSMutableString": ["NSString"],
          "NSMutableData": ["NSData"], "NSMutableSet": ["NSSet"]}


def archive(root, variant, fmt):
    objects, classes = ["$null"], {}

    def class_of(name):
        if name not in classes:
            objects.append({"$classname": name, "$classes": [name] + CHAINS.get(name, []) + ["NSObject"]})
            classes[name] = UID(len(objects) - 1)
        return classes[name]

    def add(value):
        if value is None:
            return UID(0)
        objects.append(None)
        index = len(objects) - 1
        if not isinstance(value, Object):
            if variant == "old" and isinstance(value, str):
                value = {"$class": class_of("NSMutableString"), "NS.bytes": value.encode()}
            elif variant == "boxed" and isinstance(value, str):
                value = {"$class": class_of("NSString"), "NS.string": value}
            elif variant != "plain" and isinstance(value, bytes):
                value = {"$class": class_of("NSData"), "NS.bytes" if variant == "old" else "NS.data": value}
            objects[index] = value
            return UID(index)
        body = {"$class": class_of(value.name)}
        if value.name == "NSDate":
            body["NS.time"] = value.content
        elif value.name == "NSNull":
            pass
        elif "Dictionary" in value.name:
            keys, values = [add(k) for k, _ in value.content], [add(v) for _, v in value.content]
            if variant == "old":
                body.update({f"NS.key.{i}": k for i, k in enumerate(keys)})
                body.update({f"NS.object.{i}": v for i, v in enumerate(values)})
            else:
                body.update({"NS.keys": keys, "NS.objects": values})
        else:
            values = [add(v) for v in value.content]
            if variant == "old":
                body.update({f"NS.object.{i}": v for i, v in enumerate(values)})
            else:
                body["NS.objects"] = values
        objects[index] = body
        return UID(index)

    top = {"root": add(root)}
    whole = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top, "$objects": objects}
    if fmt == plistlib.FMT_XML:
        whole = uids_as_xml(whole)
    return plistlib.dumps(whole, fmt=fmt, sort_keys=False)


def uids_as_xml(value):
    if isinstance(value, UID):
        return {"CF$UID": value.data}
    if isinstance(value, dict):
        return {key: uids_as_xml(item) for key, item in value.items()}
    return [uids_as_xml(item) for item in value] if isinstance(value, list) else value


def unarchive(data):
    whole = plistlib.loads(data, fmt=plistlib.FMT_BINARY)
    assert list(whole) == ["$version", "$archiver", "$top", "$objects"], list(whole)
    objects = whole["$objects"]
    assert objects[0] == "$null" and whole["$version"] == 100000 and whole["$archiver"] == "NSKeyedArchiver"
    plain = [(type(o), o) for o in objects[1:] if isinstance(o, (str, int, float))]
    assert len(plain) == len({(t, str(o)) for t, o in plain}), "an equal text or number is stored twice"
    names = [o["$classname"] for o in objects if isinstance(o, dict) and "$classname" in o]
    assert len(names) == len(set(names)), "a class is stored twice"

    def read(uid):
        if uid.data == 0:
            return None
        value = objects[uid.data]
        if not isinstance(value, dict):
            return value
        kind = objects[value["$class"].data]
        name = kind["$classname"]
        assert kind["$classes"] == [name] + CHAINS.get(name, []) + ["NSObject"]
        if name == "NSDate":
            return Object(name, value["NS.time"])
        if name == "NSNull":
            return Object(name)
        values = [read(item) for item in value["NS.objects"]]
        if "Dictionary" in name:
            return Object(name, list(zip([read(key) for key in value["NS.keys"]], values)))
        return Object(name, values)

    return read(whole["$top"]["root"])


def expected(value, top=True):
    """What this system makes of it: sets are arrays, nil in a collection is the null object."""
    if value is None:
        return None if top else Object("NSNull")
    if not isinstance(value, Object):
        return value
    if value.name == "NSNull":
        return None if top else value
    if value.name == "NSDate":
        return value
    if "Dictionary" in value.name:
        return Object(value.name, [(k, expected(v, False)) for k, v in value.content])
    return Object(value.name.replace("Set", "Array"), [expected(v, False) for v in value.content])


def generated(rnd, fmt, depth=0):
    def text():
        return "".join(rnd.choice(["a", "Photo", "%", "&", "<", "ä", "€", "😀", "\n", "0"]) for _ in range(rnd.randrange(9)))

    kind = rnd.randrange(8 if depth > 4 else 13)
    if kind == 0:
        return rnd.choice([None, Object("NSNull")])
    if kind == 1:
        return rnd.random() < 0.5
    if kind == 2:
        top = 63 if fmt == plistlib.FMT_XML else 64
        return rnd.choice([rnd.randrange(200), -rnd.randrange(2**63) - 1, rnd.randrange(2**top)])
    if kind == 3:
        return rnd.choice([0.0, -1.5, rnd.random(), rnd.uniform(-1e300, 1e300)])
    if kind == 4:
        return rnd.randbytes(rnd.randrange(40))
    if kind == 5:
        return Object("NSDate", rnd.uniform(-1e9, 1e9))
    if kind < 8:
        return text()
    count = rnd.choice([0, 1, 3] if depth else [0, 1, 3, 14, 15, 40])
    if kind < 10:
        name = rnd.choice(["NSArray", "NSMutableArray", "NSSet", "NSMutableSet"])
        return Object(name, [generated(rnd, fmt, depth + 1) for _ in range(count)])
    keys = list(dict.fromkeys(text() for _ in range(count)))
    name = rnd.choice(["NSDictionary", "NSMutableDictionary"])
    return Object(name, [(key, generated(rnd, fmt, depth + 1)) for key in keys])


class Rewriter:
    def __init__(self, program):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __call__(self, data):
        self.process.stdin.write(struct.pack(">I", len(data)) + data)
        self.process.stdin.flush()
        size, = struct.unpack(">I", self.process.stdout.read(4))
        answer = self.process.stdout.read(size)
        assert not answer.startswith(b"error: "), answer
        return answer

    def close(self):
        self.process.stdin.close()
        assert self.process.wait(timeout=30) == 0


def main():
    rewrite, checked = Rewriter(sys.argv[1]), 0
    for seed in range(200):
        rnd = random.Random(seed)
        fmt = rnd.choice([plistlib.FMT_BINARY, plistlib.FMT_XML])
        value = generated(rnd, fmt)
        for variant in ("plain", "boxed", "old"):
            back = unarchive(rewrite(archive(value, variant, fmt)))
            assert typed(back) == typed(expected(value)), f"seed {seed} {variant}:\n{value}\n{back}"
            checked += 1
    # A bare property-list date, as one known writer has them.
    dated = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)},
             "$objects": ["$null", EPOCH + datetime.timedelta(seconds=86400)]}
    assert unarchive(rewrite(plistlib.dumps(dated, fmt=plistlib.FMT_BINARY))) == Object("NSDate", 86400.0)
    # References of 4 bytes.
    many = Object("NSMutableArray", [f"text {i}" for i in range(70000)])
    assert unarchive(rewrite(archive(many, "plain", plistlib.FMT_BINARY))) == many
    rewrite.close()
    print(f"{checked} generated archives came back the same")


main()
