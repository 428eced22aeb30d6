#!/usr/bin/env python3
"""Prints the table of docs/reliability.md from the summary of fuzz/run.

    fuzz/report.py [SUMMARY]          prints the table
    fuzz/report.py --write [SUMMARY]  writes it between its marks in the document

A line of the summary: NAME round N rc STATUS secs SECONDS execs EXECUTIONS cov: EDGES ft: FEATURES [cpu SECONDS].
"Parser's lines" come from the file "coverage", which fuzz/coverage.py writes beside the summary.
"Findings" counts the inputs in fuzz/crashes that failed once; CTest replays them on every run."""

import argparse
import datetime
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / "docs/reliability.md"
MARKS = "<!-- fuzz/report.py -->\n", "<!-- end of fuzz/report.py -->\n"
LINE = re.compile(r"(\w+) round \d+ rc (\d+) secs (\d+) execs (\d*)(?: +cov: (\d+) ft: \d+)?(?: cpu (\d+))?")

COVERAGE = re.compile(r"(\w+) lines (\d+) of (\d+)")


def target_names():
    return re.findall(r"^moxtel_fuzz\((\w+)", (ROOT / "fuzz/CMakeLists.txt").read_text(), re.M)


def coverage(summary):
    """The text for the column "Parser's lines", by target."""
    file = summary.parent / "coverage"
    found = COVERAGE.findall(file.read_text()) if file.exists() else []
    return {name: "%d %% of %s" % (100 * int(reached) // int(lines), format(int(lines), ","))
            for name, reached, lines in found}


class Target:
    def __init__(self, name):
        self.name = name
        self.runs = self.seconds = self.executions = self.edges = self.stopped = 0

    def add(self, status, seconds, executions, edges, processor):
        self.runs += 1
        self.seconds += int(processor or seconds)
        self.executions += int(executions or 0)
        self.edges = max(self.edges, int(edges or 0))
        self.stopped += status != "0"

    def findings(self):
        folder = ROOT / "fuzz/crashes" / self.name
        return sum(1 for path in folder.iterdir() if not path.name.startswith(".")) if folder.is_dir() else 0

    def row(self, lines):
        return "| %s | %d | %s | %s | %s | %s | %s |" % (
            self.name, self.runs, format(self.executions, ","), format(round(self.seconds / 60), ","),
            format(self.edges, ","), lines, self.findings() or "none")


def targets(summary):
    found = {name: Target(name) for name in target_names()}
    for line in summary.read_text().splitlines():
        match = LINE.match(line)
        if match and match[1] in found:
            found[match[1]].add(*match.groups()[1:])
    return [target for target in found.values() if target.runs]


def table(summary):
    rows, lines = targets(summary), coverage(summary)
    date = datetime.date.fromtimestamp(summary.stat().st_mtime)
    text = ["As of %s; %s executions in %.1f hours." % (
                date, format(sum(target.executions for target in rows), ","), sum(t.seconds for t in rows) / 3600),
            "", "| Target | Runs | Executions | Minutes | Edges reached | Parser's lines | Findings |",
            "|---|---|---|---|---|---|---|", *(target.row(lines.get(target.name, "–")) for target in rows)]
    return "\n".join(text) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--write", action="store_true")
    parser.add_argument("summary", nargs="?", type=pathlib.Path, default=ROOT / "build/fuzz/out/summary")
    options = parser.parse_args()
    text = table(options.summary)
    if not options.write:
        print(text, end="")
        return
    document = DOCUMENT.read_text()
    before, rest = document.split(MARKS[0])
    after = rest.split(MARKS[1])[1]
    DOCUMENT.write_text(before + MARKS[0] + text + MARKS[1] + after)


if __name__ == "__main__":
    main()
