#!/usr/bin/env python3
"""Compares building the records of photos with joins that read the same data into plain structs.

    records.py BENCH_FOLDER [--rounds N] [--seconds N]

BENCH_FOLDER contains ListingBench (a release build), which makes its libraries. Both are measured in the same process,
in --rounds (5) of --seconds (half a second) each, in random order. Prints medians of the processor time.
"""
import argparse
import json
import pathlib
import subprocess

from markdown import conditions, head, row

WHAT = (("PhotosOfAlbum", 100_000, "an album of 100,000", "3.3"), ("PhotosOfAlbum", 10_000, "an album of 10,000", ""),
        ("PhotosOfAlbum", 1_000, "an album of 1,000, alone in its library", ""),
        ("PhotosOfSmallAlbum", 100_000, "an album of 1,000 in a library of 100,000", "1.6"),
        ("PhotosOfProject", 100_000, "a project of 100,000", ""),
        ("PhotosOfProject", 1_000, "a project of 1,000, alone in its library", ""),
        ("PhotosOfWholeLibrary", 100_000, "a whole library of 100,000", ""),
        ("PhotosOfWholeLibrary", 1_000, "a whole library of 1,000", ""))
BUILT = (("ProjectsBuilt", "the list of 5,000 projects"), ("FacesBuilt", "the list of 1,000 faces"))


def medians(folder, rounds, seconds):
    """Processor milliseconds by benchmark."""
    run = subprocess.run([str(folder / "ListingBench"), "--benchmark_format=json", "--benchmark_repetitions=%d" % rounds,
                          "--benchmark_min_time=%g" % seconds, "--benchmark_enable_random_interleaving=true"],
                         check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return {found["run_name"]: found["cpu_time"] / {"ms": 1, "us": 1e3, "ns": 1e6}[found["time_unit"]]
            for found in json.loads(run.stdout)["benchmarks"] if found.get("aggregate_name") == "median"}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5, help="at least 2")
    parser.add_argument("--seconds", type=float, default=0.5)
    options = parser.parse_args()
    conditions()
    found = medians(options.folder, options.rounds, options.seconds)
    head("Photos of", "Records", "Joins", "Records / joins", "Goal")
    for name, photos, what, goal in WHAT:
        records, joins = (found["%s%s/%d" % (name, kind, photos)] for kind in ("", "Floor"))
        row(what, "%.3g ms" % records, "%.3g ms" % joins, "%.1f" % (records / joins), goal)
    head("Built", "Processor")
    for name, what in BUILT:
        row(what, "%.3g ms" % found[name])
    conditions()


if __name__ == "__main__":
    main()
