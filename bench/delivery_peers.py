#!/usr/bin/env python3
"""Compares the delivery of files with nginx, which serves the same files over one kept-alive connection.

    delivery_peers.py BIN_FOLDER [--work FOLDER] [--rounds N] [--requests N] [--movie MIB]

BIN_FOLDER contains moxtelserverd, moxtel-make-library and delivery-bench (a release build). Makes a library, serves it
with both servers on loopback ports, and measures them in turn (5 rounds of 5,000 requests, or of 2 movies of 1,024 MiB)
with the same client. Prints medians of the rounds, and the ratio of our rate to that of nginx. The large movie is a
sparse file, so the disk is not measured.
"""
import argparse
import os
import pathlib
import shutil
import signal
import socket
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.parse

from markdown import conditions, duration, head, row, skip

MOVIES = 2  # a round, and none before
NGINX_PROGRAM = "/usr/sbin/nginx"

NGINX = """
daemon off; master_process off; worker_processes 1; pid {folder}/pid; error_log {folder}/error;
events {{ }}
http {{
  access_log off; sendfile on; tcp_nopush on; tcp_nodelay on; keepalive_requests 100000000; open_file_cache {cache};
  client_body_temp_path {folder}/b; proxy_temp_path {folder}/p; fastcgi_temp_path {folder}/f;
  uwsgi_temp_path {folder}/u; scgi_temp_path {folder}/s;
  server {{ listen 127.0.0.1:{port}; root "{root}"; }}
}}
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Program:
    """Runs one server on a free port until the block ends."""

    def __init__(self, words, port, environment=None):
        self.words, self.port, self.environment = words, port, environment

    def __enter__(self):
        self.process = subprocess.Popen(self.words, env=self.environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        end = time.monotonic() + 30
        while time.monotonic() < end and self.process.poll() is None:
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                return self
            except ConnectionRefusedError:
                time.sleep(0.01)
        self.__exit__()
        raise SystemExit("could not start " + self.words[0])

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def nginx(folder, root, cache):
    port = free_port()
    own = pathlib.Path(tempfile.mkdtemp(dir=folder))
    (own / "conf").write_text(NGINX.format(folder=own, port=port, root=root, cache=cache))
    return Program([NGINX_PROGRAM, "-p", str(own), "-c", str(own / "conf")], port)


def moxtel(binaries, folder, library):
    port = free_port()
    environment = {"HOME": str(folder), "TMPDIR": str(folder), "PATH": os.environ["PATH"], "TZ": "UTC",
                   "XDG_CONFIG_HOME": str(folder), "LC_ALL": "C.UTF-8"}
    return Program([str(binaries / "moxtelserverd"), "-LibraryPath", str(library), "-Port", str(port), "-WebPort", "0"], port,
                   environment)


def rows(library, database, question):
    connection = sqlite3.connect("file:%s?mode=ro" % (library / "Database/apdb" / database), uri=True)
    try:
        return connection.execute(question).fetchall()
    finally:
        connection.close()


def quoted(*path):
    return urllib.parse.quote("/".join(("",) + path))


def measure(binaries, words, lines):
    """(requests a second, median microseconds, bytes a second)"""
    run = subprocess.run([str(binaries / "delivery-bench"), *map(str, words)], input="\n".join(lines) + "\n", text=True,
                         stdout=subprocess.PIPE, check=True)
    return tuple(map(float, run.stdout.split()))


def medians(rounds, binaries, count, command, keys, paths, ours, peers):
    """Medians of the rounds, for our server and each peer."""
    samples = [[] for _ in range(1 + len(peers))]
    for _ in range(rounds):
        samples[0].append(measure(binaries, ["moxtel", ours.port, count, command], keys))
        for sample, peer in zip(samples[1:], peers):
            sample.append(measure(binaries, ["http", peer.port, count], paths))
    return [tuple(map(statistics.median, zip(*sample))) for sample in samples]


def thumbnail_row(title, measured):
    (_, ours, _), cells = measured[0], []
    for number, (rate, latency, _) in enumerate(measured):
        cells += [f"{rate:,.0f}, {duration(latency)}", *(["%.2f" % (latency / ours)] if number else [])]
    row(title, *cells)


def movie_row(title, measured):
    (_, ours, our_throughput), (_, peer, peer_throughput) = measured
    row(title, f"{our_throughput / 1e6:,.0f} MB/s", f"{peer_throughput / 1e6:,.0f} MB/s", "%.2f" % (peer / ours), "", "")


def add_movie(library, size):
    """Replaces the first unedited photo by a movie of the given size in bytes; returns its key and path."""
    connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
    with connection:
        key, master = connection.execute("SELECT uuid, masterUuid FROM RKVersion WHERE hasAdjustments = 0").fetchone()
        connection.execute("UPDATE RKMaster SET imagePath = 'large.mov' WHERE uuid = ?", (master,))
    connection.close()
    with open(library / "Masters/large.mov", "wb") as movie:
        movie.truncate(size)
    return key, quoted("Masters", "large.mov")


def parsed():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("binaries", type=pathlib.Path)
    parser.add_argument("--work", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--requests", type=int, default=5000)
    parser.add_argument("--movie", type=int, default=1024)
    return parser.parse_args()


def compare(options, binaries, library, movie, ours, peers):
    proxies = [found for found in rows(library, "ImageProxies.apdb",
                                       "SELECT versionUuid, thumbnailPath, miniThumbnailPath FROM RKImageProxyState")
               if all(path and (library / "Thumbnails" / path).is_file() for path in found[1:])]
    keys = [found[0] for found in proxies]
    head("What", "Ours: per second, median", "nginx: per second, median", "Share by median", "nginx, files kept open",
         "Share by median")
    for title, column in (("Thumb of Photo", 1), ("Square Thumb of Photo", 2)):
        paths = [quoted("Thumbnails", found[column]) for found in proxies]
        mean = statistics.mean((library / "Thumbnails" / found[column]).stat().st_size for found in proxies)
        thumbnail_row("%s, %.1f KB" % (title, mean / 1e3),
                      medians(options.rounds, binaries, options.requests, title, keys, paths, ours, peers))
    movie_row("Data of Photo, sparse movie of %d MiB" % options.movie,
              medians(options.rounds, binaries, MOVIES, "Data of Photo", *movie, ours, peers[:1]))


def main():
    options = parsed()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the servers too
    if not shutil.which(NGINX_PROGRAM):
        skip("nginx is not installed")
    binaries = options.binaries.resolve()
    with tempfile.TemporaryDirectory(dir=options.work) as name:
        folder = pathlib.Path(name)
        os.chmod(folder, 0o755)  # nginx started by root serves as another user
        library = folder / "Library"
        subprocess.run([str(binaries / "moxtel-make-library"), str(library), "--images", "small", "--photos", "60"],
                       check=True)
        key, path = add_movie(library, options.movie << 20)
        conditions()
        with moxtel(binaries, folder, library) as ours, nginx(folder, library, "off") as peer, \
                nginx(folder, library, "max=1000") as caching:
            compare(options, binaries, library, ([key], [path]), ours, [peer, caching])
        conditions()


if __name__ == "__main__":
    main()
