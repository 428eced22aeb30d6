#!/usr/bin/env python3
"""CTest lists a GoogleTest test as Suite.name, without its program: fails where two programs use the same name.

    test_names.py FOLDER    the folder of the tests"""

import collections
import pathlib
import re
import sys

TEST = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.M)


def places_by_name(folder):
    """The files of each test."""
    places = collections.defaultdict(list)
    for path in sorted(folder.rglob("*.cpp")):
        for suite, name in TEST.findall(path.read_text(encoding="utf-8")):
            places["%s.%s" % (suite, name)].append(str(path))
    return places


def main():
    places = places_by_name(pathlib.Path(sys.argv[1]))
    repeated = sorted(name for name in places if len(places[name]) > 1)
    for name in repeated:
        print("%s is in %s" % (name, " and ".join(places[name])))
    return 1 if repeated or not places else 0


if __name__ == "__main__":
    sys.exit(main())
