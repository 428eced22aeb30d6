#!/usr/bin/env python3
"""Compares the page's files with nginx (one worker), which serves the same files in the same run.

    page_peers.py BIN_FOLDER [--work FOLDER] [--rounds N] [--requests N] [--movie MIB] [--zip MIB] [--photos N]
                  [--phones N] [--swipes N] [--many N] [--megapixels N] [--only TABLE,...]

BIN_FOLDER contains moxtelserverd, moxtel-picture-decoder, moxtel-make-library, page-load, http-floor and delivery-bench (a release build).
Makes a library, serves it with both servers on loopback ports, and prints tables with the medians of --rounds
(5) rounds, in which the servers take turns:

- thumbnails: --requests (30,000) over 1 and over 32 connections, all of them asked for before. Besides nginx there is
  a program that is nothing but libmicrohttpd and answers from memory: what our server can reach at best;
- files: an original of 25 MB and a sparse movie of --movie (1,024) MiB, in rounds of at least 2 GB; and an archive of
  --zip (1,024) MiB of originals, which are read from the disk, as a program does that only reads them;
- raw: the preview of a RAW file of --megapixels (24), the first time, beside moxtel-picture-decoder alone, and
  again, beside nginx with a file of that picture;
- phones: --phones (100), each with an address and six connections of its own, swipe --swipes (10) times, and nothing
  was asked for before; meanwhile the handheld's thumbnails over the other port, and the same alone;
- memory: of the server, while it answers --many (1,000,000) requests.

Processor time is that of a server's process, in its own code and in the kernel. The cookie is sent to our server.
"""
import argparse
import json
import os
import pathlib
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "tests/pictures"))
from make_fixtures import raw_file
from delivery_peers import NGINX_PROGRAM, Program, free_port, nginx, quoted, rows
from markdown import conditions, duration, head, row, skip

CONNECTIONS = (1, 32)
PATHS = 1000  # thumbnails that are asked for in turn
BUSY_BYTES = 2 << 30  # of a round with large files
ORIGINAL = 25_000_000
ARCHIVED = 40 << 20  # bytes of an original in the archive
HANDHELD = 2000  # requests
PREVIEW_SIDE = 2048  # pixels


class Server(Program):
    """Our server with its page."""

    def __init__(self, binaries, folder, library):
        self.home = pathlib.Path(tempfile.mkdtemp(dir=folder))
        self.handheld, port = free_port(), free_port()
        environment = {"HOME": str(self.home), "TMPDIR": str(self.home), "PATH": os.environ["PATH"], "TZ": "UTC",
                       "XDG_CONFIG_HOME": str(self.home), "XDG_CACHE_HOME": str(self.home), "LC_ALL": "C.UTF-8"}
        super().__init__([str(binaries / "moxtelserverd"), "-LibraryPath", str(library), "-Port", str(self.handheld),
                          "-WebPort", str(port)], port, environment)

    def __enter__(self):
        super().__enter__()
        key = (self.home / "MoxtelServer/web-access").read_text().split()[0]
        self.field = "Cookie: moxtel-%d=%s" % (self.port, key)
        self.library = "/l/%s/" % self.json("/api/1/libraries")["libraries"][0]["id"]
        return self

    def json(self, path):
        return json.loads(self.read(path))

    def read(self, path):
        asked = urllib.request.Request("http://localhost:%d%s" % (self.port, path))
        asked.add_header(*self.field.split(": "))
        with urllib.request.urlopen(asked, timeout=60) as reply:
            return reply.read()


def processor_time(process):
    return time.clock_gettime(~process.pid << 3 | 2)  # the clock of all threads of a process, as Linux numbers it


def memory(process):
    """Resident memory in MB, without files that are mapped."""
    for line in pathlib.Path("/proc/%d/status" % process.pid).read_text().splitlines():
        if line.startswith("RssAnon"):
            return int(line.split()[1]) / 1e3
    return 0.0


class Load:
    """What page-load prints, and the server's processor time per request; times in microseconds."""

    def __init__(self, binaries, mode, server, *numbers, paths, field=""):
        before = processor_time(server.process)
        run = subprocess.run([str(binaries / "page-load"), mode, str(server.port), *map(str, numbers), field],
                             input="\n".join(paths) + "\n", text=True, stdout=subprocess.PIPE, check=True)
        used = processor_time(server.process) - before
        count, seconds, size, self.median, self.p99, self.worst = map(float, run.stdout.split())
        self.rate, self.throughput = count / seconds, size / seconds / 1e6
        self.processor, self.processor_of_gigabyte = used / count * 1e6, used / max(size, 1) * 1e9


def median(loads, name):
    return statistics.median(getattr(load, name) for load in loads)


def in_turn(rounds, measures):
    """The results of each measure; they take turns."""
    results = [[] for _ in measures]
    for _ in range(rounds):
        for result, measure in zip(results, measures):
            result.append(measure())
    return results


def rate_cells(loads, peer):
    cell = "%s, %s, %s" % ("{:,.0f}".format(median(loads, "rate")), duration(median(loads, "median")),
                           duration(median(loads, "processor")))
    return [cell] + (["%.2f" % (median(peer, "rate") / median(loads, "rate"))] if peer else [])


class Bench:
    def __init__(self, options, folder):
        self.options, self.folder, self.binaries = options, folder, options.binaries.resolve()
        self.library = folder / "Library"
        subprocess.run([str(self.binaries / "moxtel-make-library"), str(self.library), "--images", "small", "--photos",
                        str(options.photos)], check=True)
        self.add_files()

    def photos(self, condition, count):
        """Photos that are shown and unedited: model id and path of the master."""
        return rows(self.library, "Library.apdb",
                    "SELECT v.modelId, m.imagePath FROM RKVersion v JOIN RKMaster m ON m.uuid = v.masterUuid "
                    "WHERE v.hasAdjustments = 0 AND v.isHidden = 0 AND v.isInTrash = 0 AND v.showInLibrary = 1 AND "
                    "v.versionNumber != 0 AND m.isInTrash = 0 AND %s ORDER BY v.modelId LIMIT %d" % (condition, count))

    def add_files(self):
        self.original = self.photos("m.type = 'IMGT'", 1)[0]
        self.write(self.original[1], ORIGINAL)
        self.movie = self.photos("m.type = 'VIDT'", 1)[0]
        path = self.library / "Masters" / self.movie[1]
        path.unlink(missing_ok=True)
        # What follows the index is free space for players.
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc=d=1:s=320x240:r=10",
                        "-c:v", "libx264", "-pix_fmt", "yuv420p", "-movflags", "+faststart", "-f", "mov", str(path)],
                       check=True)
        size = self.options.movie << 20
        with open(path, "ab") as movie:
            movie.write(b"\0\0\0\1free" + (size - movie.tell()).to_bytes(8, "big"))
            movie.truncate(size)
        count = max(1, (self.options.zip << 20) // ARCHIVED)
        self.archived = self.photos("m.type = 'IMGT'", count + 1)[1:]
        for _, name in self.archived:
            self.write(name, ARCHIVED)

    def add_raw_files(self):
        """One for each round: the first time is over after one request. Returns the model ids and the paths."""
        width = round((self.options.megapixels * 1e6 * 3 / 2) ** 0.5) // 2 * 2
        height = width * 2 // 3 // 2 * 2
        rows = [os.urandom(2 * width) for _ in range(16)]  # a camera's noise, and more
        file = raw_file(width, height, b"".join(rows[y * 16 // height] if y % 2 else rows[y % 16] for y in range(height)))
        added = self.photos("m.type = 'IMGT'", -1)[-self.options.rounds:]
        for _, name in added:
            (self.library / "Masters" / name).write_bytes(file)
        return [(number, self.library / "Masters" / name) for number, name in added]

    def write(self, name, size):
        block = os.urandom(1 << 20)
        with open(self.library / "Masters" / name, "wb") as file:
            while file.tell() < size:
                file.write(block[:size - file.tell()])
            os.fsync(file.fileno())

    def thumbnails(self):
        return [(number, quoted("Thumbnails", path)) for number, path in rows(
            self.library, "ImageProxies.apdb", "SELECT versionId, miniThumbnailPath FROM RKImageProxyState")
            if path and number in self.shown and (self.library / "Thumbnails" / path).is_file()]

    def run(self, only):
        self.shown = {number for number, _ in self.photos("1", -1)}
        self.thumbs = self.thumbnails()
        sample = self.library / "Thumbnails" / urllib.request.unquote(self.thumbs[0][1]).removeprefix("/Thumbnails/")
        with Server(self.binaries, self.folder, self.library) as self.ours, \
                nginx(self.folder, self.library, "off") as self.peer, self.floor(sample) as self.bare, \
                self.floor(self.library / "Masters" / self.movie[1]) as self.bare_movie:
            self.peer.field = self.bare.field = self.bare_movie.field = ""
            for name in only:
                {"phones": self.phone_table, "thumbnails": self.thumbnail_table, "files": self.file_table,
                 "raw": self.raw_table, "memory": self.memory_table}[name]()

    def floor(self, file):
        port = free_port()
        return Program([str(self.binaries / "http-floor"), str(port), str(file)], port)

    def load(self, server, connections, requests, paths):
        return lambda: Load(self.binaries, "busy", server, connections, requests, paths=paths, field=server.field)

    def thumbnail_table(self):
        known = self.thumbs[:PATHS]
        own = [self.ours.library + "square/%d" % number for number, _ in known]
        self.load(self.ours, 8, len(own), own)()
        head("Square thumbnails: a second, median, processor time", "Ours", "nginx", "Ours / nginx by rate",
             "libmicrohttpd from memory", "Ours / it by rate")
        for connections in CONNECTIONS:
            count = self.options.requests
            ours, peer, floor = in_turn(self.options.rounds, [
                self.load(self.ours, connections, count, own),
                self.load(self.peer, connections, count, [path for _, path in known]),
                self.load(self.bare, connections, count, ["/buffer"])])
            row("%d connections" % connections if connections > 1 else "1 connection", *rate_cells(ours, None),
                *rate_cells(peer, None), "%.2f" % (median(ours, "rate") / median(peer, "rate")),
                *rate_cells(floor, None), "%.2f" % (median(ours, "rate") / median(floor, "rate")))

    def file_table(self):
        head("Files: MB/s, processor time of a GB", "Ours", "nginx", "Ours / nginx by rate", "libmicrohttpd",
             "Ours / it by rate")
        movie = self.options.movie << 20
        self.file_row("An original of 25 MB", "original/%d" % self.original[0], self.original[1],
                      BUSY_BYTES // ORIGINAL, None)
        self.file_row("A movie of %d MiB" % self.options.movie, "movie/%d.mov" % self.movie[0], self.movie[1],
                      max(1, BUSY_BYTES // movie), self.bare_movie)
        self.archive_row()

    def file_row(self, title, own, path, count, bare):
        count = min(count, self.options.requests)
        measures = [self.load(self.ours, 1, count, [self.ours.library + own]),
                    self.load(self.peer, 1, count, [quoted("Masters", path)])]
        if bare:
            measures.append(self.load(bare, 1, count, ["/file"]))
        results = in_turn(self.options.rounds, measures)
        cells = ["%s, %.0f ms" % ("{:,.0f}".format(median(loads, "throughput")),
                                  median(loads, "processor_of_gigabyte") * 1e3) for loads in results]
        ratios = ["%.2f" % (median(results[0], "throughput") / median(other, "throughput")) for other in results[1:]]
        row(title, cells[0], *(cell for pair in zip(cells[1:], ratios) for cell in pair), *([] if bare else ["", ""]))

    def archive_row(self):
        path = "zip/photos:" + ",".join(str(number) for number, _ in self.archived)
        zipped, disk = in_turn(self.options.rounds, [lambda: self.cold(self.load(self.ours, 1, 1, [
            self.ours.library + path])), lambda: self.cold(self.read_disk)])
        rate = statistics.median(disk)
        row("An archive of %d MiB, from the disk" % (len(self.archived) * ARCHIVED >> 20),
            "%s, %.0f ms" % ("{:,.0f}".format(median(zipped, "throughput")),
                             median(zipped, "processor_of_gigabyte") * 1e3),
            "reading alone {:,.0f}".format(rate), "%.2f" % (median(zipped, "throughput") / rate),
            "memory of ours %.0f MB" % memory(self.ours.process), "")

    def raw_table(self):
        files = self.add_raw_files()
        first, alone = in_turn(len(files), [lambda left=list(files): self.first_time(left.pop()[0]),
                                            lambda left=list(files): self.decoder_alone(left.pop()[1])])
        path = self.ours.library + "preview/%d" % files[0][0]
        (self.library / "Masters/preview.jpg").write_bytes(self.ours.read(path))
        count = min(HANDHELD, self.options.requests)
        again, peer = in_turn(self.options.rounds, [self.load(self.ours, 1, count, [path]),
                                                    self.load(self.peer, 1, count, [quoted("Masters", "preview.jpg")])])
        head("The preview of a RAW file of %d megapixels" % self.options.megapixels, "Ours", "Peer", "Ours / peer")
        row("The first time; the decoder alone", duration(statistics.median(first)), duration(statistics.median(alone)),
            "%.2f" % (statistics.median(first) / statistics.median(alone)))
        row("Again; nginx with a file of %d KB" % ((self.library / "Masters/preview.jpg").stat().st_size // 1000),
            duration(median(again, "median")), duration(median(peer, "median")),
            "%.2f" % (median(again, "median") / median(peer, "median")))

    def first_time(self, number):
        start = time.monotonic()
        self.ours.read(self.ours.library + "preview/%d" % number)
        return (time.monotonic() - start) * 1e6

    def decoder_alone(self, path):
        start = time.monotonic()
        with open(path, "rb") as file:
            subprocess.run([str(self.binaries / "moxtel-picture-decoder"), "preview:%d:0" % PREVIEW_SIDE, ""], stdin=file,
                           stdout=subprocess.DEVNULL, check=True)
        return (time.monotonic() - start) * 1e6

    def cold(self, measure):
        for _, name in self.archived:
            with open(self.library / "Masters" / name, "rb") as file:
                os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
        return measure()

    def read_disk(self):
        start, total, buffer = time.monotonic(), 0, bytearray(1 << 17)
        for _, name in self.archived:
            with open(self.library / "Masters" / name, "rb", buffering=0) as file:
                while count := file.readinto(buffer):
                    total += count
        return total / (time.monotonic() - start) / 1e6

    def handheld_time(self):
        """Median microseconds of the handheld's thumbnails."""
        keys = [key for (key,) in rows(self.library, "Library.apdb", "SELECT uuid FROM RKVersion WHERE modelId IN (%s)"
                                       % ",".join(str(number) for number, _ in self.thumbs[-PATHS:]))]
        run = subprocess.run([str(self.binaries / "delivery-bench"), "moxtel", str(self.ours.handheld),
                              str(min(HANDHELD, self.options.requests)), "Square Thumb of Photo"],
                             input="\n".join(keys) + "\n", text=True, stdout=subprocess.PIPE, check=True)
        return float(run.stdout.split()[1])

    def phone_table(self):
        phones, swipes = self.options.phones, self.options.swipes
        paths = [self.ours.library + "square/%d" % number for number, _ in self.thumbs]
        # A phone asks for the list first: the library is open when the first picture comes into view.
        self.ours.json(self.ours.library + "api/1/list/all")
        self.handheld_time()
        alone = self.handheld_time()
        before = processor_time(self.ours.process)
        load = subprocess.Popen([str(self.binaries / "page-load"), "phones", str(self.ours.port), str(phones),
                                 str(swipes), self.ours.field], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        load.stdin.write("\n".join(paths) + "\n")
        load.stdin.close()
        beside = []
        time.sleep(1)
        while load.poll() is None and len(beside) < self.options.rounds:
            beside.append(self.handheld_time())
        count, seconds, _, middle, p99, worst = map(float, load.stdout.read().split())
        if load.wait() != 0:
            raise SystemExit("the phones failed")
        used = (processor_time(self.ours.process) - before) / seconds
        head("%d phones scrolling, %.0f thumbnails a second" % (phones, count / seconds), "Ours")
        row("A thumbnail, from coming into view: median; 99 of 100; longest",
            "%s; %s; %s" % (duration(middle), duration(p99), duration(worst)))
        row("Processors that the server uses, handheld included", "%.2f" % used)
        row("The handheld's square thumbnail alone; beside the phones; ratio", "%s; %s; %.2f" % (
            duration(alone), duration(statistics.median(beside)), statistics.median(beside) / alone))

    def memory_table(self):
        paths = [self.ours.library + "square/%d" % number for number, _ in self.thumbs]
        head("Requests", "Memory of the server", "Processor time of a request")
        done = 0
        for part in (self.options.many // 10, self.options.many - self.options.many // 10):
            load = self.load(self.ours, 32, part, paths)()
            done += part
            row("{:,}".format(done), "%.1f MB" % memory(self.ours.process), duration(load.processor))


def parsed():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--work", type=pathlib.Path)
    parser.add_argument("--only", default="phones,thumbnails,files,raw,memory")
    for name, value in (("rounds", 5), ("requests", 30_000), ("movie", 1024), ("zip", 1024), ("photos", 4000),
                        ("phones", 100), ("swipes", 10), ("many", 1_000_000), ("megapixels", 24)):
        parser.add_argument("--" + name, type=int, default=value)
    return parser.parse_args()


def main():
    options = parsed()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the servers too
    for needed in (NGINX_PROGRAM, "ffmpeg"):
        if not shutil.which(needed):
            skip("%s is not installed" % needed)
    with tempfile.TemporaryDirectory(dir=options.work) as name:
        folder = pathlib.Path(name)
        os.chmod(folder, 0o755)  # nginx started by root serves as another user
        bench = Bench(options, folder)
        conditions()
        bench.run(options.only.split(","))
        print()
        conditions()


if __name__ == "__main__":
    main()
