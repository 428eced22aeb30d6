#!/usr/bin/env python3
"""The table of docs/reliability.md from what the tests of faults kept in a folder.

    MOXTEL_FAULTS_RESULTS=FOLDER ./test slow -L faults
    tests/faults/report.py FOLDER

Of what was tried in part and in full, the full counts."""

import collections
import json
import pathlib
import sys

KINDS = {"right": "right reply", "other": "another whole reply", "silent": "no reply, connection ended",
         "refused": "connection reset", "cut off": "connection ended within the reply"}


def read(folder, name):
    for ending in (".full.json", ".json"):
        path = folder / (name + ending)
        if path.exists():
            return json.loads(path.read_text())
    return []


def told(totals):
    return "; ".join("%s × %s" % (format(count, ","), KINDS.get(kind, kind)) for kind, count in totals.most_common())


def counted(rows):
    """Rows that end with a number of faults and the outcomes by kind."""
    totals = collections.Counter()
    for row in rows:
        totals.update(row[-1])
    return sum(row[-2] for row in rows), told(totals)


def listed(rows, kind_at):
    return len(rows), told(collections.Counter(row[kind_at] for row in rows))


def lines(folder):
    calls = read(folder, "Calls")
    groups = (("Each system call of the server, for each request", lambda what: not what.startswith(("helper", "reload", "shortage"))),
              ("A call of the server from then on, as on a full disk", lambda what: what.startswith("shortage")),
              ("Each system call of a helper", lambda what: what.startswith("helper")),
              ("Each system call of a reload and the request after it", lambda what: what.startswith("reload")))
    for title, belongs in groups:
        rows = [row for row in calls if belongs(row[0])]
        if rows:
            yield (title, *counted(rows))
    if start := read(folder, "Start"):
        yield ("Each system call of the start", *counted(start))
    databases = read(folder, "Databases")
    for title, how in (("Each operation of SQLite on a file, once", "once"),
                       ("Each operation of SQLite on a file, from then on", "from then on")):
        rows = [row for row in databases if row[1] == how]
        if rows:
            yield (title, *counted(rows))
    if children := read(folder, "Children"):
        yield ("A helper dies, hangs or talks nonsense", *listed(children, 2))
    if interpreters := read(folder, "Interpreters"):
        yield ("The script interpreter dies, hangs or talks nonsense", *listed(interpreters, 2))
    if mounts := read(folder, "Mounts"):
        yield ("The library's file system goes away", *listed(mounts, 1))
    if clock := read(folder, "Clock"):
        yield ("The clock is set, back and forth", len(clock), "right replies, and what is waited for still comes")
    if clients := read(folder, "Clients"):
        yield ("A client is killed within a request or a reply", sum(row[3] for row in clients), "")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print("| What fails | Times | What the client saw meanwhile |\n|---|---|---|")
    for title, times, outcome in lines(pathlib.Path(sys.argv[1])):
        print("| %s | %s | %s |" % (title, format(times, ","), outcome))


if __name__ == "__main__":
    main()
