#!/usr/bin/env python3
"""Prints the table of the archive's speed: ours beside a copy of its output, libplist and Python's plistlib.

    archive_peer.py BENCH_FOLDER

BENCH_FOLDER holds ArchiveBench (a release build). Each benchmark runs in a process of its own, so that none meets memory
that another has left in pieces, in rounds that take turns; medians of the processor's time, which other work on the
machine disturbs less. plistlib, which takes seconds, writes and reads the archive of the same photos three times.
"""
import json
import pathlib
import plistlib
import statistics
import subprocess
import sys
import time
from plistlib import UID

ROUNDS = 3
BENCHMARKS = ("BM_FirstTouchCopy", "BM_WritePieces", "BM_Read", "BM_ReadLibplist")
COUNTS = (1000, 10000, 100000)


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


def bench_times(folder):
    """Milliseconds of the processor by benchmark and number of photos."""
    times = {}
    for _ in range(ROUNDS):
        for name in BENCHMARKS:
            for count in COUNTS:
                run = subprocess.run([str(folder / "ArchiveBench"), "--benchmark_format=json",
                                      "--benchmark_min_time=1", f"--benchmark_filter=^{name}/{count}/"],
                                     check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
                row, = json.loads(run.stdout)["benchmarks"]
                times.setdefault((name, count), []).append(row["cpu_time"])
    return {key: statistics.median(values) for key, values in times.items()}


def main():
    times = bench_times(pathlib.Path(sys.argv[1]))
    print("| Photos | Copy | Written | Written / copy | plistlib writes / written | Read | libplist / read | plistlib reads / read |")
    print("|---|---|---|---|---|---|---|---|")
    for count in COUNTS:
        copied, written, read = (times[name, count] for name in ("BM_FirstTouchCopy", "BM_WritePieces", "BM_Read"))
        python_write, python_read = python_times(count)
        print(f"| {count:,} | {copied:.2f} ms | {written:.2f} ms | {written / copied:.1f} | {python_write / written:.0f} |"
              f" {read:.2f} ms | {times['BM_ReadLibplist', count] / read:.1f} | {python_read / read:.0f} |")


if __name__ == "__main__":
    main()
