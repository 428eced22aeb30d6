"""Exports a generated library with everything and lets darktable and digiKam import it: titles, tags, ratings, labels,
positions, dates, and faces at the right pixels. What they must show is read from the dry run's JSON.

Usage: programs_test.py BIN_FOLDER darktable|digikam"""
import json
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

BIN = None
DIGIKAMRC = """[General Settings]
Version=7.9.0
[Album Settings]
Scan At Start=true
[Database Settings]
Database Type=QSQLITE
Database Name={0}/
Database Name Face={0}/
Database Name Similarity={0}/
Database Name Thumbnails={0}/
[Metadata Settings]
Use XMP Sidecar For Reading=true
"""


def turned(box, degrees):
    x, y, w, h = box
    return {0: box, 90: (1 - y - h, x, h, w), 180: (1 - x - w, 1 - y - h, w, h), 270: (y, 1 - x - w, h, w)}[degrees]


class Programs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtel-programs-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.target = cls.folder / "out"
        library = cls.folder / "Library"
        subprocess.run([os.path.join(BIN, "moxtel-make-library"), library, "--everything", "--images", "small",
                        "--photos", "60"], check=True, stdout=subprocess.DEVNULL)
        export = [os.path.join(BIN, "moxtel-export"), library, cls.target]
        subprocess.run(export, stdout=subprocess.DEVNULL)
        lines = subprocess.run([*export, "--dry-run", "--json"], capture_output=True, text=True).stdout.splitlines()
        cls.photos = {}
        for line in map(json.loads, lines[:-1]):
            for file in line["files"]:
                if file["path"].lower().endswith(".jpg"):
                    cls.photos[file["path"]] = (file["role"], line["facts"])

    def tags_of(self, facts, separator):
        paths = facts.get("keywords", []) + [["Albums", *album] for album in facts.get("albums", [])]
        paths += [["People", face["name"]] for face in facts.get("faces", []) if face.get("name")]
        paths += [["Flagged"]] if facts.get("flagged") else []
        return {separator.join(name.replace(separator, "-") for name in path) for path in paths}

    def test_darktable(self):
        database, config = self.folder / "darktable.db", self.folder / "config"
        chosen = sorted(self.photos, key=lambda path: -len(self.photos[path][1]))[:10]
        for number, path in enumerate(chosen):
            subprocess.run(["darktable-cli", self.target / path, self.folder / f"{number}.jpg", "--width", "64", "--height",
                            "64", "--core", "--configdir", config, "--library", database, "--conf",
                            "write_sidecar_files=never"], check=True, capture_output=True)
        rows = sqlite3.connect(database)
        rows.execute("ATTACH ? AS data", (str(config / "data.db"),))
        labels = {1: 0, 3: 1, 4: 2, 5: 3, 6: 4}  # darktable has five colors
        for path in chosen:
            facts = self.photos[path][1]
            with self.subTest(path):
                image, flags, latitude = rows.execute(
                    "SELECT i.id, i.flags, i.latitude FROM images i JOIN film_rolls f ON f.id = i.film_id WHERE "
                    "f.folder || '/' || i.filename = ?", (str(self.target / path),)).fetchone()
                texts = dict(rows.execute("SELECT key, value FROM meta_data WHERE id = ?", (image,)))
                self.assertEqual(texts.get(2), facts.get("title"))
                self.assertEqual(texts.get(3), facts.get("caption"))
                rating = facts.get("rating", 0)
                self.assertEqual(bool(flags & 8) if rating < 0 else flags & 7, True if rating < 0 else rating)
                found = [row[0] for row in rows.execute("SELECT color FROM color_labels WHERE imgid = ?", (image,))]
                label = labels.get(facts.get("colorLabel"))
                self.assertEqual(found, [] if label is None else [label])
                if "latitude" in facts:
                    self.assertAlmostEqual(latitude, facts["latitude"], places=6)
                tags = {row[0] for row in rows.execute(
                    "SELECT t.name FROM tagged_images g JOIN data.tags t ON t.id = g.tagid WHERE g.imgid = ?", (image,))}
                # It cuts tags at commas.
                self.assertLessEqual({tag for tag in self.tags_of(facts, "|") if "," not in tag}, tags)

    def digikam(self, environment, seconds):
        process = subprocess.Popen(["xvfb-run", "-a", "dbus-run-session", "timeout", str(seconds), "digikam"],
                                   env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        process.wait()

    def test_digikam(self):
        home, databases = self.folder / "home", self.folder / "databases"
        (home / ".config").mkdir(parents=True)
        databases.mkdir()
        (home / ".config/digikamrc").write_text(DIGIKAMRC.format(databases))
        for name in ("digikam4", "thumbnails-digikam", "recognition", "similarity"):
            (databases / f"{name}.db").touch()
        environment = dict(os.environ, HOME=str(home), QTWEBENGINE_DISABLE_SANDBOX="1")
        for name in ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"):
            environment.pop(name, None)
        self.digikam(environment, 20)
        with sqlite3.connect(databases / "digikam4.db") as rows:
            rows.execute("INSERT INTO AlbumRoots (label, status, type, identifier, specificPath) VALUES "
                         "('p', 0, 1, ?, '/')", (f"volumeid:?path={self.target}",))
        rows.close()
        self.digikam(environment, 60)
        rows = sqlite3.connect(databases / "digikam4.db")
        names = {row[0]: row[1:] for row in rows.execute("SELECT id, pid, name FROM Tags")}

        def path_of(tag):
            return (path_of(names[tag][0]) + "/" if names[tag][0] in names else "") + names[tag][1]

        images = {f"{album}/{name}".lstrip("/"): identity for identity, album, name in rows.execute(
            "SELECT i.id, a.relativePath, i.name FROM Images i JOIN Albums a ON a.id = i.album")}
        orientations = {os.path.relpath(each["SourceFile"], self.target): each.get("Orientation") for each in json.loads(
            subprocess.run(["exiftool", "-j", "-n", "-q", "-r", "-Orientation", "-ext", "jpg", self.target],
                           capture_output=True, text=True, check=True).stdout)}
        faces = 0
        for path, (role, facts) in self.photos.items():
            with self.subTest(path):
                image = images[path]
                rating, date, width, height = rows.execute(
                    "SELECT rating, creationDate, width, height FROM ImageInformation WHERE imageid = ?", (image,)).fetchone()
                if facts.get("rating", 0) > 0:
                    self.assertEqual(rating, facts["rating"])
                if "date" in facts:
                    self.assertEqual(date[:19], facts["date"])
                tags = {path_of(row[0]) for row in rows.execute("SELECT tagid FROM ImageTags WHERE imageid = ?", (image,))}
                self.assertLessEqual(self.tags_of(facts, "/"), tags)
                if "latitude" in facts:
                    latitude = rows.execute("SELECT latitudeNumber FROM ImagePositions WHERE imageid = ?", (image,)).fetchone()
                    self.assertAlmostEqual(latitude[0], facts["latitude"], places=6)
                found = [(path_of(tag), *map(int, re.findall(r'="(\d+)"', value))) for tag, value in rows.execute(
                    "SELECT tagid, value FROM ImageTagProperties WHERE imageid = ? AND property = 'tagRegion'", (image,))]
                for face in facts.get("faces", []):
                    box = face.get("displayed" if role == "edited" else "stored")
                    if not face.get("name") or not box:
                        continue
                    faces += 1
                    # It keeps the pixels of the picture as it shows it, turned by its Exif orientation.
                    degrees = {3: 180, 6: 90, 8: 270}.get(orientations.get(path), 0)
                    shown = (width, height) if degrees % 180 == 0 else (height, width)
                    expected = [part * shown[i % 2] for i, part in enumerate(turned(box, degrees))]
                    self.assertTrue(any(name == "People/" + face["name"].replace("/", "-") and all(
                        abs(a - b) <= 1.5 for a, b in zip(pixels, expected)) for name, *pixels in found),
                        f"{face['name']} at {expected}, not in {found}")
        self.assertGreater(faces, 0)


if __name__ == "__main__":
    BIN = sys.argv.pop(1)
    program = sys.argv.pop(1)
    if not shutil.which("darktable-cli" if program == "darktable" else program):
        sys.exit(f"{program} is not installed: tools/packages slow")
    unittest.main(argv=[sys.argv[0], f"Programs.test_{program}", *sys.argv[1:]])
