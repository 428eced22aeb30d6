#!/usr/bin/env python3
"""The peer of bench/ArchiveBench: Python's plistlib writes and reads the archive of as many photos.

usage: archive_peer.py [PHOTOS]
Prints milliseconds, the median of three runs.
"""
import plistlib
import statistics
import sys
import time
from plistlib import UID


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
        start = time.perf_counter()
        result = work()
        times.append(time.perf_counter() - start)
    return 1000 * statistics.median(times), result


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 10000
    photos = [photo(i, count) for i in range(count)]
    write, data = median(lambda: plistlib.dumps(archive_of(photos), fmt=plistlib.FMT_BINARY, sort_keys=False))
    read, _ = median(lambda: plistlib.loads(data, fmt=plistlib.FMT_BINARY))
    print(f"plistlib: {count} photos, {len(data)} bytes, write {write:.0f} ms, read {read:.0f} ms")


main()
