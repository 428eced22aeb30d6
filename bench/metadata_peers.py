#!/usr/bin/env python3
"""Compares "Metadata of Photo" with other programs that read the same files.

    metadata_peers.py BIN_FOLDER [--work FOLDER] [--rounds N] [--requests N] [--width PIXELS]

BIN_FOLDER contains moxtelserverd, moxtel-make-library, moxtel-property-reader, delivery-bench and PropertiesBench (a
release build). Makes photos of 12 megapixels with the metadata of a camera and of a cataloging program, and serves them
from a library. Measures for each format, in 5 interleaved rounds: the command over one loopback connection (3,000 times,
or 300 times where it starts the property reader); the same properties within one process; Exiv2 reading the same file;
and ExifTool, which reads many files in one run, so that its start does not count. Prints medians of the rounds: the time
that the client sees, and the processor time per file, which other work on the machine disturbs less.
"""
import argparse
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
from markdown import conditions, duration, head, row, skip

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/pictures"))
from make_fixtures import CAMERA_TAGS, dng, run  # noqa: E402

FILES = 30  # copies of each photo
FORMATS = {"jpg": "JPEG", "png": "PNG", "heic": "HEIC", "tif": "TIFF", "dng": "DNG"}
ASK_ANOTHER_PROGRAM = ("tif", "dng")


def make_photos(folder, width):
    base = folder / "base.ppm"
    run("convert", "-seed", "7", "-size", "1000x750", "plasma:fractal", "-resize", "%dx%d!" % (width, width * 3 // 4),
        "-attenuate", "0.12", "+noise", "Gaussian", "-depth", "8", str(base))
    for ending in FORMATS:
        photo = folder / ("photo." + ending)
        if ending == "dng":
            photo.write_bytes(dng(6))
        else:
            run("convert", str(base), "-quality", "90", str(photo))
            run("exiftool", "-q", "-q", "-m", "-overwrite_original", *CAMERA_TAGS, str(photo))


def fill_library(library, folder):
    """Replaces unedited masters by copies of the photos; returns their keys by format."""
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
    """Processor microseconds per file of our properties and of Exiv2, each within one process."""
    out = subprocess.run([str(binaries / "PropertiesBench"), "--benchmark_format=json", "--benchmark_min_time=0.3",
                          str(photo)], check=True, stdout=subprocess.PIPE).stdout
    times = {row["name"].split("/")[0]: row["real_time"] / 1000 for row in json.loads(out)["benchmarks"]}
    return times["Properties"], times["Exiv2"]


def children_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def server_seconds(server):
    """Processor time, including its helper programs."""
    fields = pathlib.Path("/proc/%d/stat" % server.process.pid).read_text().rsplit(")", 1)[1].split()
    return sum(map(int, fields[11:15])) / os.sysconf("SC_CLK_TCK")


def exiftool(files):
    """Processor seconds to read all files in one run."""
    start = children_seconds()
    subprocess.run(["exiftool", "-j", "-n", "-G1", *map(str, files)], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    return children_seconds() - start


def exiftool_per_file(files):
    """Processor microseconds per file, without the start of the program."""
    return max(exiftool(files) - exiftool(files[:1]), 0) / (len(files) - 1) * 1e6


def size_of(path):
    size = path.stat().st_size
    return "%.1f MB" % (size / 1e6) if size >= 1e5 else "%.0f KB" % (size / 1e3)


def one_round(binaries, server, requests, keys, photo, files):
    before = server_seconds(server)
    rate, latency, _ = measure(binaries, ["moxtel", server.port, requests, "Metadata of Photo"], keys)
    # The client sends a tenth more requests than it counts.
    command = (server_seconds(server) - before) / (requests * 1.1) * 1e6
    return rate, latency, command, *benchmark(binaries, photo), exiftool_per_file(files)


def compare(options, binaries, server, library, folder, keys):
    head("Photo", "Command: per second, median", "Command, processor", "Properties, processor", "Exiv2, processor",
         "ExifTool, processor", "Properties / Exiv2", "Command / ExifTool")
    for ending, name in FORMATS.items():
        photo = folder / ("photo." + ending)
        files = sorted((library / "Masters").glob("*." + ending))
        requests = options.requests // 10 if ending in ASK_ANOTHER_PROGRAM else options.requests
        rounds = [one_round(binaries, server, requests, keys[ending], photo, files) for _ in range(options.rounds)]
        rate, latency, command, ours, exiv2, tool = map(statistics.median, zip(*rounds))
        row(f"{name}, {size_of(photo)}", f"{rate:,.0f}, {duration(latency)}",
            *map(duration, (command, ours, exiv2, tool)), "%.2f" % (ours / exiv2), "%.2f" % (command / tool))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--work", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--requests", type=int, default=3000)
    parser.add_argument("--width", type=int, default=4000)
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the server too
    if missing := [name for name in ("convert", "exiftool") if not shutil.which(name)]:
        skip("not installed: " + ", ".join(missing))
    binaries = options.binaries.resolve()
    with tempfile.TemporaryDirectory(dir=options.work) as name:
        folder = pathlib.Path(name)
        make_photos(folder, options.width)
        library = folder / "Library"
        subprocess.run([str(binaries / "moxtel-make-library"), str(library), "--images", "none", "--photos", "300"],
                       check=True)
        keys = fill_library(library, folder)
        conditions()
        with moxtel(binaries, folder, library) as server:
            compare(options, binaries, server, library, folder, keys)
        conditions()


if __name__ == "__main__":
    main()
