#!/usr/bin/env python3
"""moxtel-export beside rsync, and its other bounds: a run with nothing new, facts, memory.

Usage: export_peers.py BIN_FOLDER [--photos N] [--kilobytes N] [--rounds N] [--again N] [--million N] [--folder DIR]

Makes sample libraries and exports them on the same disk:
- the originals of one library, inflated to the size of photos, beside `rsync -a` of the same files (elapsed time)
- a second run of a library with all sorts of facts that finds nothing new (processor time, per 100,000 photos)
- the facts of that library into sidecars beside links, so no picture is copied (processor time, per photo)
- the most memory while a library of a million photos is planned (--million 0 leaves it out)
Prints a Markdown table with the goals. With --goals it fails where one is missed. Needs 12 GB of disk with the defaults.
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


class Run:
    """Elapsed and processor seconds, and the most memory in MB, of a command."""

    def __init__(self, command):
        start = time.perf_counter()
        with tempfile.TemporaryFile() as errors:
            child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=errors)
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            errors.seek(0)
            if child.returncode not in (0, 2):
                raise SystemExit(f"{command}: {child.returncode} {errors.read().decode()}")
        self.elapsed = time.perf_counter() - start
        self.processor = usage.ru_utime + usage.ru_stime
        self.memory = usage.ru_maxrss / 1024 * 1.048576


class Table:
    def __init__(self):
        self.missed = False
        print("| What | Result | Goal |\n|---|---|---|")

    def row(self, what, text, value=None, least=None, most=None):
        missed = least is not None and value < least or most is not None and value > most
        self.missed = self.missed or missed
        goal = "" if least is None and most is None else f"at least {least}" if least is not None else f"at most {most}"
        print(f"| {what} | {text}{' (missed)' if missed else ''} | {goal} |", flush=True)


def inflate(folder, size):
    for path in pathlib.Path(folder).rglob("*"):
        if path.is_file() and path.stat().st_size < size:
            with open(path, "ab") as file:
                file.write(os.urandom(size - path.stat().st_size))


class Bench:
    def __init__(self, arguments, folder):
        self.arguments = arguments
        self.folder = folder
        self.program = os.path.join(arguments.bin, "moxtel-export")
        self.target = os.path.join(folder, "target")
        self.table = Table()

    def library(self, name, photos, *options):
        path = os.path.join(self.folder, name)
        subprocess.run([os.path.join(self.arguments.bin, "moxtel-make-library"), path, "--photos", str(photos), *options],
                       check=True, stdout=subprocess.DEVNULL)
        return path

    def export(self, library, *options):
        return Run([self.program, library, self.target, *options])

    def clear(self):
        shutil.rmtree(self.target, ignore_errors=True)
        os.sync()

    def beside_rsync(self):
        photos = self.arguments.photos
        library = self.library("library", photos, "--images", "small")
        masters = os.path.join(library, "Masters")
        inflate(masters, self.arguments.kilobytes * 1000)
        only = ["--versions", "original", "--albums", "none"]
        runs = {
            "rsync": lambda: Run(["rsync", "-a", masters, self.target]),
            "plain": lambda: self.export(library, *only, "--sidecars", "none", "--no-checksums"),
            "whole": lambda: self.export(library, *only),
        }
        times = {name: [] for name in runs}
        for _ in range(self.arguments.rounds):
            for name, run in runs.items():
                self.clear()
                times[name].append(run().elapsed)
        seconds = {name: statistics.median(each) for name, each in times.items()}
        size = f"{photos:,} photos of {self.arguments.kilobytes} KB"
        self.table.row(f"rsync -a, {size}", f"{seconds['rsync']:.2f} s")
        for name, what, least in (("plain", "without checksums and sidecars", 0.7), ("whole", "with both", 0.4)):
            rate = seconds["rsync"] / seconds[name]
            self.table.row(f"moxtel-export {what}, rate beside rsync's", f"{rate:.2f} ({seconds[name]:.2f} s)", rate,
                           least=least)
        shutil.rmtree(library)
        self.clear()

    def facts(self):
        photos = self.arguments.again
        library = self.library("facts", photos, "--images", "small", "--everything")
        first = self.export(library, "--link", "symbolic", "--no-checksums")
        each = first.processor / photos * 1000
        self.table.row(f"facts of {photos:,} photos into sidecars, processor time a photo", f"{each:.2f} ms", each, most=1)
        self.clear()
        self.export(library)
        again = self.export(library)
        each = again.processor / photos * 100_000
        self.table.row(f"nothing new in {photos:,} photos, processor time per 100,000", f"{each:.1f} s", each, most=10)
        shutil.rmtree(library)
        self.clear()

    def memory(self):
        photos = self.arguments.million
        library = self.library("million", photos, "--images", "none")
        run = self.export(library, "--dry-run")
        self.table.row(f"planning {photos:,} photos, most memory", f"{run.memory:.0f} MB", run.memory, most=150)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin")
    parser.add_argument("--photos", type=int, default=10_000, help="beside rsync; 0: not")
    parser.add_argument("--kilobytes", type=int, default=500)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--again", type=int, default=20_000, help="photos with all facts; 0: none")
    parser.add_argument("--million", type=int, default=1_000_000, help="photos that are planned; 0: none")
    parser.add_argument("--folder", help="where the libraries and the copies are made")
    parser.add_argument("--goals", action="store_true")
    arguments = parser.parse_args()
    if shutil.which("rsync") is None:
        print("rsync is not installed")
        return 77
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        bench = Bench(arguments, folder)
        if arguments.photos:
            bench.beside_rsync()
        if arguments.again:
            bench.facts()
        if arguments.million:
            bench.memory()
        return 1 if bench.table.missed and arguments.goals else 0


if __name__ == "__main__":
    sys.exit(main())
