#!/usr/bin/env python3
"""Prints the table of docs/reliability.md from the results that the tests of faults wrote into a folder.

    MOXTEL_FAULTS_RESULTS=FOLDER ./test slow -L faults
    tests/faults/report.py FOLDER

Where a folder has both a sample and a full run, the full run counts."""

import collections
import json
import pathlib
import sys

KINDS = {"right": "correct reply", "other": "another complete reply", "silent": "no reply, connection ended",
         "refused": "connection reset", "cut off": "connection ended within the reply"}


def read(folder, name):
    for ending in (".full.json", ".json"):
        path = folder / (name + ending)
        if path.exists():
            return json.loads(path.read_text())
    return []


def outcome_text(totals):
    return "; ".join("%s × %s" % (format(count, ","), KINDS.get(kind, kind)) for kind, count in totals.most_common())


def counted(rows):
    """Rows that end with a number of faults and the outcomes by kind."""
    totals = collections.Counter()
    for row in rows:
        totals.update(row[-1])
    return sum(row[-2] for row in rows), outcome_text(totals)


def listed(rows, kind_at):
    return len(rows), outcome_text(collections.Counter(row[kind_at] for row in rows))


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
        yield ("A helper dies, hangs or sends garbage", *listed(children, 2))
    if interpreters := read(folder, "Interpreters"):
        yield ("The script interpreter dies, hangs or sends garbage", *listed(interpreters, 2))
    if mounts := read(folder, "Mounts"):
        yield ("The library's file system disappears", *listed(mounts, 1))
    if clock := read(folder, "Clock"):
        yield ("The clock is set forward and back", len(clock), "correct replies, and pending replies arrive")
    if clients := read(folder, "Clients"):
        yield ("A client is killed within a request or a reply", sum(row[3] for row in clients), "")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print("| What fails | Times | What the client got meanwhile |\n|---|---|---|")
    for title, times, outcome in lines(pathlib.Path(sys.argv[1])):
        print("| %s | %s | %s |" % (title, format(times, ","), outcome))


if __name__ == "__main__":
    main()
