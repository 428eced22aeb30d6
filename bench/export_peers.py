#!/usr/bin/env python3
"""moxtel-export beside rsync: the originals of one library, copied to the same disk in the same run.

Usage: export_peers.py BIN_FOLDER [--photos N] [--kilobytes N] [--rounds N] [--folder DIR]

Makes a sample library and appends bytes to its originals, so that they have the size of photos. Prints a Markdown table:
the time of each program, the rate beside rsync's, and a second run that finds nothing new. Fails where a goal is missed
if --goals is given.
"""
import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


def inflate(folder, size):
    for path in pathlib.Path(folder).rglob("*"):
        if path.is_file() and path.stat().st_size < size:
            with open(path, "ab") as file:
                file.write(os.urandom(size - path.stat().st_size))


def timed(command):
    start = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if done.returncode not in (0, 2):
        raise SystemExit(f"{command}: {done.returncode} {done.stderr}")
    return time.perf_counter() - start


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin")
    parser.add_argument("--photos", type=int, default=10_000)
    parser.add_argument("--kilobytes", type=int, default=500)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--folder", help="where the library and the copies are made")
    parser.add_argument("--library", help="an existing sample library, which is inflated")
    parser.add_argument("--goals", action="store_true")
    arguments = parser.parse_args()
    if shutil.which("rsync") is None:
        print("rsync is not installed")
        return 77
    program = os.path.join(arguments.bin, "moxtel-export")
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        library = arguments.library or os.path.join(folder, "library")
        if not arguments.library:
            subprocess.run([os.path.join(arguments.bin, "moxtel-make-library"), library, "--images", "small", "--photos",
                            str(arguments.photos)], check=True, stdout=subprocess.DEVNULL)
        inflate(os.path.join(library, "Masters"), arguments.kilobytes * 1000)
        target = os.path.join(folder, "target")
        only = ["--versions", "original", "--albums", "none"]
        runs = {
            "rsync -a": ["rsync", "-a", os.path.join(library, "Masters"), target],
            "without checksums and sidecars": [program, library, target, *only, "--sidecars", "none", "--no-checksums"],
            "with both": [program, library, target, *only],
        }
        times = {name: [] for name in [*runs, "again"]}
        for _ in range(arguments.rounds):
            for name, command in runs.items():
                shutil.rmtree(target, ignore_errors=True)
                os.sync()
                times[name].append(timed(command))
            times["again"].append(timed(runs["with both"]))
        medians = {name: statistics.median(each) for name, each in times.items()}
        print("| What | Seconds | Rate beside rsync's | Goal |\n|---|---|---|---|")
        goals = {"without checksums and sidecars": 0.7, "with both": 0.4}
        missed = False
        for name, seconds in medians.items():
            ratio = medians["rsync -a"] / seconds
            missed = missed or ratio < goals.get(name, 0)
            print(f"| {name} | {seconds:.2f} | {ratio:.2f} | {goals.get(name, '')} |")
        return 1 if missed and arguments.goals else 0


if __name__ == "__main__":
    sys.exit(main())
