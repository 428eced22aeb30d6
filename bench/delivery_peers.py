#!/usr/bin/env python3
"""Compares the delivery of files with nginx, which serves the same files over one kept-alive connection.

    delivery_peers.py BIN_FOLDER [WORK_FOLDER]

BIN_FOLDER holds moxtelserverd, moxtel-make-library and delivery-bench (a release build). Makes a library, serves
it with both on loopback ports, and measures them round by round with the same client. Prints medians of the
rounds, and ours as a share of nginx's. The large movie is a sparse file, so no disk is measured.
"""
import os
import pathlib
import signal
import socket
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.parse

ROUNDS = 5
REQUESTS = 5000
MOVIE = 1 << 30  # bytes
MOVIES = 2  # a round, and none before

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
    """One server on a port of its own, ended with the block."""

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
    return Program(["/usr/sbin/nginx", "-p", str(own), "-c", str(own / "conf")], port)


def moxtel(binaries, folder, library):
    port = free_port()
    environment = {"HOME": str(folder), "TMPDIR": str(folder), "PATH": os.environ["PATH"], "TZ": "UTC",
                   "XDG_CONFIG_HOME": str(folder), "LC_ALL": "C.UTF-8"}
    return Program([str(binaries / "moxtelserverd"), "-LibraryPath", str(library), "-Port", str(port)], port,
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


def compare(title, binaries, count, command, keys, paths, ours, peers):
    samples = {"moxtel": [], **{name: [] for name in peers}}
    for _ in range(ROUNDS):
        samples["moxtel"].append(measure(binaries, ["moxtel", ours.port, count, command], keys))
        for name, peer in peers.items():
            samples[name].append(measure(binaries, ["http", peer.port, count], paths))
    print("\n%s" % title)
    print("%-24s%12s%12s%10s" % ("", "per second", "median us", "MB/s"))
    mine = None
    for name, rounds in samples.items():
        rate, latency, throughput = (statistics.median(column) for column in zip(*rounds))
        mine = mine or (rate, latency)
        print("%-24s%12.1f%12.1f%10.1f   ours is %.2f of it by rate, %.2f by median" %
              (name, rate, latency, throughput / 1e6, mine[0] / rate, latency / mine[1]))


def add_movie(library):
    """Makes the first unedited photo a large movie and returns its key and path."""
    connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
    with connection:
        key, master = connection.execute("SELECT uuid, masterUuid FROM RKVersion WHERE hasAdjustments = 0").fetchone()
        connection.execute("UPDATE RKMaster SET imagePath = 'large.mov' WHERE uuid = ?", (master,))
    connection.close()
    with open(library / "Masters/large.mov", "wb") as movie:
        movie.truncate(MOVIE)
    return key, quoted("Masters", "large.mov")


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # an end from outside ends the servers too
    binaries = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory(dir=sys.argv[2] if len(sys.argv) > 2 else None) as name:
        folder = pathlib.Path(name)
        os.chmod(folder, 0o755)  # nginx started by root serves as another user
        library = folder / "Library"
        subprocess.run([str(binaries / "moxtel-make-library"), str(library), "--images", "small", "--photos", "60"],
                       check=True)
        movie, movie_path = add_movie(library)
        proxies = [row for row in rows(library, "ImageProxies.apdb",
                                       "SELECT versionUuid, thumbnailPath, miniThumbnailPath FROM RKImageProxyState")
                   if all(path and (library / "Thumbnails" / path).is_file() for path in row[1:])]
        keys = [row[0] for row in proxies]
        print("load %s, %d processors, %d photos" % (os.getloadavg(), os.cpu_count(), len(keys)))
        with moxtel(binaries, folder, library) as ours, nginx(folder, library, "off") as peer, \
                nginx(folder, library, "max=1000") as caching:
            peers = {"nginx": peer, "nginx, files kept open": caching}
            for title, column in (("Thumb of Photo", 1), ("Square Thumb of Photo", 2)):
                paths = [quoted("Thumbnails", row[column]) for row in proxies]
                mean = statistics.mean((library / "Thumbnails" / row[column]).stat().st_size for row in proxies)
                compare("%s (%.1f KB on average)" % (title, mean / 1e3), binaries, REQUESTS, title, keys, paths, ours,
                        peers)
            compare("Data of Photo, movie of %d MB" % (MOVIE >> 20), binaries, MOVIES, "Data of Photo", [movie],
                    [movie_path], ours, {"nginx": peer})
        print("load %s" % (os.getloadavg(),))


if __name__ == "__main__":
    main()
