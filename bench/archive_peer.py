#!/usr/bin/env python3
"""Compares the archive writer and reader with a memory copy, libplist and Python's plistlib.

    archive_peer.py BENCH_FOLDER [--photos N,N,...] [--rounds N] [--seconds S]

BENCH_FOLDER contains ArchiveBench (a release build). Each benchmark runs for --seconds (1) in a separate process, so
that none uses memory that another has fragmented. The benchmarks take turns in --rounds (5). Prints medians of the
processor time, which other work on the machine disturbs less than the elapsed time. plistlib takes seconds, so it writes
and reads the archive of the same photos only three times.
"""
import argparse
import json
import pathlib
import plistlib
import statistics
import subprocess
import time
from plistlib import UID

from markdown import conditions, head, row

BENCHMARKS = ("BM_FirstTouchCopy", "BM_WritePieces", "BM_Read", "BM_ReadLibplist")


def archive_of(photos):
    objects, known = ["$null"], {}

    def add(value):
        key = (type(value), value)
        if key not in known:
            objects.append(value)
            known[key] = UID(len(objects) - 1)
        return known[key]

    objects.append({"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]})
    items = []
    for photo in photos:
        objects.append({"$class": UID(1), "NS.keys": [add(k) for k in photo], "NS.objects": [add(v) for v in photo.values()]})
        items.append(UID(len(objects) - 1))
    objects.append({"$classname": "NSMutableArray", "$classes": ["NSMutableArray", "NSArray", "NSObject"]})
    objects.append({"$class": UID(len(objects) - 1), "NS.objects": items})
    return {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(len(objects) - 1)}, "$objects": objects}


def photo(i, count):
    made = {"PhotoKey": f"Xq3%+9aZRk2Bc0D{1000000 + i}", "ModelId": i + 1, "MediaType": "Image" if i % 20 else "Movie",
            "FoundBy": "SQL", "latitude": -90 + i * 180 / count, "longitude": -180 + i * 360 / count}
    if i % 2 == 0:
        made["Caption"] = f"Caption {i % 5000}"
    return made


def median(work):
    times = []
    for _ in range(3):
        start = time.process_time()
        result = work()
        times.append(time.process_time() - start)
    return 1000 * statistics.median(times), result


def python_times(count):
    photos = [photo(i, count) for i in range(count)]
    write, data = median(lambda: plistlib.dumps(archive_of(photos), fmt=plistlib.FMT_BINARY, sort_keys=False))
    read, _ = median(lambda: plistlib.loads(data, fmt=plistlib.FMT_BINARY))
    return write, read


def bench_times(options):
    """Processor milliseconds, by benchmark and number of photos."""
    times = {}
    for _ in range(options.rounds):
        for name in BENCHMARKS:
            for count in options.photos:
                run = subprocess.run([str(options.folder / "ArchiveBench"), "--benchmark_format=json",
                                      "--benchmark_min_time=%g" % options.seconds,
                                      f"--benchmark_filter=^{name}/{count}/"],
                                     check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
                measured, = json.loads(run.stdout)["benchmarks"]
                times.setdefault((name, count), []).append(measured["cpu_time"])
    return {key: statistics.median(values) for key, values in times.items()}


def parsed():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    # The benchmark supports these numbers.
    parser.add_argument("--photos", type=lambda text: [int(n) for n in text.split(",")], default=[1000, 10000, 100000])
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=float, default=1)
    return parser.parse_args()


def main():
    options = parsed()
    conditions()
    times = bench_times(options)
    head("Photos", "Copy", "Written", "Written / copy", "plistlib writes / written", "Read", "libplist / read",
         "plistlib reads / read")
    for count in options.photos:
        copied, written, read = (times[name, count] for name in ("BM_FirstTouchCopy", "BM_WritePieces", "BM_Read"))
        python_write, python_read = python_times(count)
        row(f"{count:,}", f"{copied:.2f} ms", f"{written:.2f} ms", f"{written / copied:.1f}",
            f"{python_write / written:.0f}", f"{read:.2f} ms", f"{times['BM_ReadLibplist', count] / read:.1f}",
            f"{python_read / read:.0f}")


if __name__ == "__main__":
    main()
