#!/usr/bin/env python3
"""Compares "Metadata of Photo" with other programs that read the same files.

    metadata_peers.py BIN_FOLDER [WORK_FOLDER]

BIN_FOLDER holds moxtelserverd, moxtel-make-library, moxtel-property-reader, delivery-bench and PropertiesBench (a
release build). Makes photos of 12 megapixels with the metadata of a camera and a cataloguing program, serves them
from a library, and measures round by round, for each format: the command over one loopback connection; the same
properties within one process; Exiv2's reading alone; and ExifTool, which starts once for many files, so that its
start does not count. Prints medians of the rounds: what the client sees, and the processor's time a file of each,
which other work on the machine disturbs less.
"""
import json
import os
import pathlib
import resource
import shutil
import signal
import sqlite3
import statistics
import subprocess
import sys
import tempfile

from delivery_peers import measure, moxtel

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/pictures"))
from make_fixtures import CAMERA_TAGS, dng, run  # noqa: E402

ROUNDS = 5
FILES = 30  # copies of each photo
FORMATS = {"jpg": 3000, "png": 3000, "heic": 3000, "tif": 300, "dng": 300}  # requests a round


def make_photos(folder):
    base = folder / "base.ppm"
    run("convert", "-seed", "7", "-size", "1000x750", "plasma:fractal", "-resize", "4000x3000!", "-attenuate", "0.12",
        "+noise", "Gaussian", "-depth", "8", str(base))
    for ending in FORMATS:
        photo = folder / ("photo." + ending)
        if ending == "dng":
            photo.write_bytes(dng(6))
        else:
            run("convert", str(base), "-quality", "90", str(photo))
            run("exiftool", "-q", "-q", "-m", "-overwrite_original", *CAMERA_TAGS, str(photo))


def fill_library(library, folder):
    """Puts copies of the photos where unedited masters are; returns the keys by format."""
    keys = {ending: [] for ending in FORMATS}
    connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
    with connection:
        stills = connection.execute(
            "SELECT uuid, masterUuid FROM RKVersion WHERE hasAdjustments = 0 AND versionNumber = 1 AND "
            "videoPosterFramePoint IS NULL ORDER BY modelId").fetchall()
        for number, (key, master) in enumerate(stills[:FILES * len(FORMATS)]):
            ending = list(FORMATS)[number % len(FORMATS)]
            name = "photo%d.%s" % (number, ending)
            (library / "Masters").mkdir(exist_ok=True)
            shutil.copy(folder / ("photo." + ending), library / "Masters" / name)
            connection.execute("UPDATE RKMaster SET imagePath = ? WHERE uuid = ?", (name, master))
            keys[ending].append(key)
    connection.close()
    return keys


def benchmark(binaries, photo):
    """Microseconds of the processor a file: our properties and Exiv2's reading, each within one process."""
    out = subprocess.run([str(binaries / "PropertiesBench"), "--benchmark_format=json", "--benchmark_min_time=0.3",
                          str(photo)], check=True, stdout=subprocess.PIPE).stdout
    times = {row["name"].split("/")[0]: row["real_time"] / 1000 for row in json.loads(out)["benchmarks"]}
    return times["Properties"], times["Exiv2"]


def children_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def server_seconds(server):
    """Of the processor, its helper programs included."""
    fields = pathlib.Path("/proc/%d/stat" % server.process.pid).read_text().rsplit(")", 1)[1].split()
    return sum(map(int, fields[11:15])) / os.sysconf("SC_CLK_TCK")


def exiftool(files):
    """Seconds of the processor to read them all in one run."""
    start = children_seconds()
    subprocess.run(["exiftool", "-j", "-n", "-G1", *map(str, files)], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    return children_seconds() - start


def exiftool_per_file(files):
    """Microseconds of the processor a file, without the start of the program."""
    return max(exiftool(files) - exiftool(files[:1]), 0) / (len(files) - 1) * 1e6


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the server too
    binaries = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory(dir=sys.argv[2] if len(sys.argv) > 2 else None) as name:
        folder = pathlib.Path(name)
        make_photos(folder)
        library = folder / "Library"
        subprocess.run([str(binaries / "moxtel-make-library"), str(library), "--images", "none", "--photos", "300"],
                       check=True)
        keys = fill_library(library, folder)
        print("load %s, %d processors, %d copies of each" % (os.getloadavg(), os.cpu_count(), FILES))
        print("%-6s%6s%12s%11s%13s%15s%10s%13s%20s%20s" % (
            "", "MB", "per second", "median us", "command cpu", "properties cpu", "Exiv2 cpu", "ExifTool cpu",
            "properties / Exiv2", "command / ExifTool"))
        with moxtel(binaries, folder, library) as server:
            for ending, requests in FORMATS.items():
                photo = folder / ("photo." + ending)
                files = sorted((library / "Masters").glob("*." + ending))
                rounds = []
                for _ in range(ROUNDS):
                    before = server_seconds(server)
                    rate, latency, _ = measure(binaries, ["moxtel", server.port, requests, "Metadata of Photo"],
                                               keys[ending])
                    # It asks a tenth more than it counts.
                    command = (server_seconds(server) - before) / (requests * 1.1) * 1e6
                    rounds.append((rate, latency, command, *benchmark(binaries, photo), exiftool_per_file(files)))
                rate, latency, command, ours, exiv2, tool = (statistics.median(column) for column in zip(*rounds))
                print("%-6s%6.1f%12.1f%11.1f%13.1f%15.1f%10.1f%13.1f%20.2f%20.4f" % (
                    ending, photo.stat().st_size / 1e6, rate, latency, command, ours, exiv2, tool, ours / exiv2,
                    command / tool))
        print("load %s" % (os.getloadavg(),))


if __name__ == "__main__":
    main()
