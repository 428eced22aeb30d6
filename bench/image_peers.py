#!/usr/bin/env python3
"""Compares "Image of Photo" with other programs that do the same, each as a process of its own.

    image_peers.py BIN_FOLDER [FORMAT …]

BIN_FOLDER holds image-bench and moxtel-picture-decoder (a release build). Makes photo-like pictures, JPEGs of 12
and 24 megapixels and of 12 in each other format (or only in the formats named: jpg png tif …), then runs every program in turn, round by round, and prints for each the median of its
processor time and of the time that passed, in milliseconds per megapixel, and the largest memory of one of
its processes, also above that of input and output together.
"""
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 5
OTHER_FORMATS = ('png', 'tif', 'gif', 'bmp', 'psd', 'heic', 'jp2', 'webp')


def make_photo(megapixels, folder):
    """Smooth clouds with a camera's noise: costs an encoder what a photo costs it."""
    width = round((megapixels * 1e6 * 4 / 3) ** 0.5)
    height = round(megapixels * 1e6 / width)
    base = os.path.join(folder, f'{megapixels}.ppm')
    subprocess.run(['convert', '-seed', '7', '-size', f'{width // 4}x{height // 4}', 'plasma:fractal', '-resize',
                    f'{width}x{height}!', '-attenuate', '0.12', '+noise', 'Gaussian', '-depth', '8', base],
                   check=True)
    return base, width * height / 1e6


def run(words, output):
    """Processor milliseconds, passed milliseconds, peak bytes of the largest process."""
    start = time.monotonic()
    with open(output, 'wb') as out:
        child = os.posix_spawn(words[0], words, os.environ,
                               file_actions=[(os.POSIX_SPAWN_DUP2, out.fileno(), 1)])
        _, status, usage = os.wait4(child, 0)
    passed = time.monotonic() - start
    if status != 0:
        return None
    return (usage.ru_utime + usage.ru_stime) * 1000, passed * 1000, usage.ru_maxrss * 1024


def programs(binaries, source, out):
    return {
        'ours': [os.path.join(binaries, 'image-bench'), source],
        'djpeg | cjpeg': ['/bin/sh', '-c', f'djpeg {source} | cjpeg -quality 80'],
        'libvips sequential': ['/usr/bin/vips', 'copy', f'{source}[access=sequential]', f'{out}.jpg[Q=80]'],
        'ImageMagick': ['/usr/bin/convert', source, '-quality', '80', f'{out}.jpg'],
    }


def compare(title, megapixels, source, commands, folder):
    print(f'\n{title} ({megapixels:.1f} megapixels, {os.path.getsize(source) / 1e6:.1f} MB)')
    print(f'{"":24}{"cpu ms/MP":>10}{"ms/MP":>8}{"peak MB":>9}{"above in+out":>14}')
    samples = {name: [] for name in commands}
    for _ in range(ROUNDS):
        for name, words in commands.items():
            samples[name].append(run(words, os.path.join(folder, 'out')))
    first = None
    for name, rounds in samples.items():
        if None in rounds:
            print(f'{name:24}   cannot')
            continue
        cpu = statistics.median(r[0] for r in rounds) / megapixels
        passed = statistics.median(r[1] for r in rounds) / megapixels
        peak = max(r[2] for r in rounds)
        written = max(os.path.getsize(p) for p in (os.path.join(folder, 'out'), os.path.join(folder, 'peer.jpg'))
                      if os.path.exists(p))
        above = (peak - os.path.getsize(source) - written) / 1e6
        first = first or cpu
        print(f'{name:24}{cpu:10.2f}{passed:8.2f}{peak / 1e6:9.1f}{above:14.1f}   ours is {first / cpu:.2f} of it')


def compare_jpegs(binaries, folder):
    for megapixels in (12, 24):
        base, size = make_photo(megapixels, folder)
        for title, options in (('JPEG', ['-sampling-factor', '2x2']),
                               ('JPEG, progressive', ['-sampling-factor', '2x2', '-interlace', 'JPEG'])):
            source = os.path.join(folder, f'{megapixels}.jpg')
            subprocess.run(['convert', base, '-quality', '92', *options, source], check=True)
            compare(title, size, source, programs(binaries, source, os.path.join(folder, 'peer')), folder)


def compare_other(ending, binaries, folder):
    base, size = make_photo(12, folder)
    source = os.path.join(folder, f'other.{ending}')
    subprocess.run(['convert', base, *([] if ending == 'png' else ['-quality', '90']), source], check=True)
    commands = programs(binaries, source, os.path.join(folder, 'peer'))
    del commands['djpeg | cjpeg']
    compare(ending.upper(), size, source, commands, folder)


def main():
    binaries, formats = sys.argv[1], sys.argv[2:] or ('jpg', *OTHER_FORMATS)
    print(f'load {os.getloadavg()}, {os.cpu_count()} processors')
    with tempfile.TemporaryDirectory() as folder:
        for ending in formats:
            if ending == 'jpg':
                compare_jpegs(binaries, folder)
            else:
                compare_other(ending, binaries, folder)


if __name__ == '__main__':
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    main()
