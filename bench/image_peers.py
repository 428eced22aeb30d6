#!/usr/bin/env python3
"""Compares "Image of Photo" with other programs that do the same work, each in its own process.

    image_peers.py BIN_FOLDER [--rounds N] [--megapixels N] [FORMAT …]

BIN_FOLDER contains image-bench and moxtel-picture-decoder (a release build). Makes photo-like pictures: JPEGs of 12 and
24 megapixels, and pictures of 12 megapixels in each other format (or only in the formats named: jpg png tif …). Runs all
programs in turn, in 5 rounds. Prints for each program the medians of its processor time and its elapsed time, in
milliseconds per megapixel, and the peak memory of its largest process; for JPEGs also how far the peak exceeds the
size of input and output. A dash marks a peer that does not support the format.
"""
import argparse
import os
import resource
import shutil
import statistics
import subprocess
import tempfile
import time

from markdown import conditions, head, row, skip

OTHER_FORMATS = {'png': 'PNG', 'tif': 'TIFF', 'gif': 'GIF', 'bmp': 'BMP', 'psd': 'PSD of 16 bits', 'heic': 'HEIC',
                 'jp2': 'JPEG 2000', 'webp': 'WebP'}
PROGRAMS = ('convert', 'vips', 'djpeg', 'cjpeg')
OURS, PIPE, VIPS, MAGICK = 'Ours', 'djpeg \\| cjpeg', 'libvips', 'ImageMagick'


def make_photo(megapixels, folder):
    """Smooth clouds with a camera's noise, as expensive to encode as a photo."""
    width = round((megapixels * 1e6 * 4 / 3) ** 0.5)
    height = round(megapixels * 1e6 / width)
    base = os.path.join(folder, f'{megapixels}.ppm')
    subprocess.run(['convert', '-seed', '7', '-size', f'{width // 4}x{height // 4}', 'plasma:fractal', '-resize',
                    f'{width}x{height}!', '-attenuate', '0.12', '+noise', 'Gaussian', '-depth', '8', base],
                   check=True)
    return base, width * height / 1e6


def run(words, output):
    """Processor milliseconds, elapsed milliseconds, peak bytes of the largest process."""
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
        OURS: [os.path.join(binaries, 'image-bench'), source],
        PIPE: ['/bin/sh', '-c', f'djpeg {source} | cjpeg -quality 80'],
        VIPS: [shutil.which('vips'), 'copy', f'{source}[access=sequential]', f'{out}.jpg[Q=80]'],
        MAGICK: [shutil.which('convert'), source, '-quality', '80', f'{out}.jpg'],
    }


class Measured:
    """A program's medians per megapixel, and its memory in MB."""

    def __init__(self, samples, megapixels, in_and_out):
        processor, passed, peaks = zip(*samples)
        self.processor = statistics.median(processor) / megapixels
        self.passed = statistics.median(passed) / megapixels
        self.peak = max(peaks) / 1e6
        self.above = (max(peaks) - in_and_out) / 1e6


def measure(rounds, source, megapixels, commands, folder):
    samples = {name: [] for name in commands}
    for _ in range(rounds):
        for name, words in commands.items():
            samples[name].append(run(words, os.path.join(folder, 'out')))
    if None in samples[OURS]:
        raise SystemExit('image-bench makes no JPEG of ' + source)
    written = max(os.path.getsize(path) for path in (os.path.join(folder, 'out'), os.path.join(folder, 'peer.jpg'))
                  if os.path.exists(path))
    in_and_out = os.path.getsize(source) + written
    return {name: None if None in found else Measured(found, megapixels, in_and_out)
            for name, found in samples.items()}


def share(found, name):
    return '%.2f' % (found[OURS].processor / found[name].processor) if found[name] else '–'


def processor(found, name, memory):
    """A peer's processor time and memory."""
    return f'{found[name].processor:.1f} ms, {getattr(found[name], memory):.0f} MB' if found[name] else '–'


def compare_jpegs(options, folder):
    head('JPEG', 'Ours: processor, elapsed, peak, above', PIPE + ': processor', VIPS + ': processor, above',
         MAGICK + ': processor, above', *('Ours / ' + name for name in (PIPE, VIPS, MAGICK)))
    for megapixels in (options.megapixels, 2 * options.megapixels):
        base, size = make_photo(megapixels, folder)
        for title, words in ((f'{megapixels} MP', ['-sampling-factor', '2x2']),
                             (f'{megapixels} MP, progressive', ['-sampling-factor', '2x2', '-interlace', 'JPEG'])):
            source = os.path.join(folder, f'{megapixels}.jpg')
            subprocess.run(['convert', base, '-quality', '92', *words, source], check=True)
            found = measure(options.rounds, source, size, programs(options.binaries, source,
                                                                   os.path.join(folder, 'peer')), folder)
            ours = found[OURS]
            row(title, f'{ours.processor:.1f}, {ours.passed:.1f} ms, {ours.peak:.0f} MB, {ours.above:.0f} MB',
                f'{found[PIPE].processor:.1f} ms', processor(found, VIPS, 'above'), processor(found, MAGICK, 'above'),
                *(share(found, name) for name in (PIPE, VIPS, MAGICK)))


def compare_others(formats, options, folder):
    head('Format, file', 'Ours: processor, elapsed, peak', VIPS + ': processor, peak', MAGICK + ': processor, peak',
         *('Ours / ' + name for name in (VIPS, MAGICK)))
    base, size = make_photo(options.megapixels, folder)
    for ending in formats:
        source = os.path.join(folder, f'other.{ending}')
        subprocess.run(['convert', base, *([] if ending == 'png' else ['-quality', '90']), source], check=True)
        commands = programs(options.binaries, source, os.path.join(folder, 'peer'))
        del commands[PIPE]
        found = measure(options.rounds, source, size, commands, folder)
        ours = found[OURS]
        row(f'{OTHER_FORMATS[ending]}, {os.path.getsize(source) / 1e6:.1f} MB',
            f'{ours.processor:.1f}, {ours.passed:.1f} ms, {ours.peak:.0f} MB',
            *(processor(found, name, 'peak') for name in (VIPS, MAGICK)),
            *(share(found, name) for name in (VIPS, MAGICK)))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('binaries')
    parser.add_argument('--rounds', type=int, default=5)
    parser.add_argument('--megapixels', type=int, default=12)
    parser.add_argument('formats', nargs='*', metavar='FORMAT', default=['jpg', *OTHER_FORMATS])
    options = parser.parse_intermixed_args()
    if missing := [name for name in PROGRAMS if not shutil.which(name)]:
        skip('not installed: ' + ', '.join(missing))
    conditions()
    with tempfile.TemporaryDirectory() as folder:
        if 'jpg' in options.formats:
            compare_jpegs(options, folder)
        if others := [ending for ending in options.formats if ending != 'jpg']:
            compare_others(others, options, folder)
    conditions()


if __name__ == '__main__':
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    main()
