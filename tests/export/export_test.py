"""moxtel-export on generated libraries of each kind: the tree, resuming, damaged and hostile ones.

Usage: export_test.py BIN_FOLDER [--kills N] [unittest arguments]"""
import argparse
import contextlib
import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

BIN = None
KILLS = 5


def run(*arguments, expected=None):
    done = subprocess.run([os.path.join(BIN, "moxtel-export"), *map(str, arguments)], capture_output=True, text=True,
                          timeout=300)
    if expected is not None and done.returncode != expected:
        raise AssertionError(f"{arguments}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def state_of(folder):
    """Contents and times of all files below a folder, and times of its folders."""
    state = {}
    for path in sorted(pathlib.Path(folder).rglob("*")):
        facts = path.lstat()
        name = path.relative_to(folder).as_posix()
        if path.is_symlink():
            state[name] = os.readlink(path)
        elif path.is_file():
            state[name] = (hashlib.sha256(path.read_bytes()).hexdigest(), facts.st_mtime_ns)
        else:
            state[name] = facts.st_mtime_ns
    return state


def tree_of(folder):
    """Contents and times of the exported files; not the state of the export, nor the report."""
    kept = {}
    for path in sorted(pathlib.Path(folder).rglob("*")):
        name = path.relative_to(folder).as_posix()
        if name.startswith(".moxtel-export") or name == "report.html" or path.is_dir() and not path.is_symlink():
            continue
        kept[name] = os.readlink(path) if path.is_symlink() else (
            hashlib.sha256(path.read_bytes()).hexdigest(),
            path.stat().st_mtime_ns if "Events" in name and path.suffix != ".xmp" else 0)
    return kept


def identities_of(folder):
    """Which files were written again: inode and change time."""
    return {path: (path.lstat().st_ino, path.lstat().st_ctime_ns) for path in pathlib.Path(folder).rglob("*")
            if ".moxtel-export" not in path.parts and path.name != "report.html" and path.is_file()}


class Export(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxtel-export-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.target = self.folder / "target"

    def library(self, *options, name="Library"):
        path = self.folder / name
        subprocess.run([os.path.join(BIN, "moxtel-make-library"), path, "--images", "small", *options], check=True,
                       stdout=subprocess.DEVNULL)
        return path

    def report(self, *arguments, expected=None):
        done = run(*arguments, "--json", expected=expected)
        return json.loads(done.stdout.splitlines()[-1])

    def database(self, library, statements):
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        connection.executescript(statements)
        connection.close()

    def test_exports_each_kind(self):
        for kind in ("iphoto", "photos4", "photos5", "photos11", "xml"):
            with self.subTest(kind):
                library = self.library("--kind", kind, "--photos", "40", name=kind)
                before = state_of(library)
                report = self.report(library, self.folder / f"to-{kind}")
                self.assertEqual(state_of(library), before)
                # Photos leaves out what is in the trash.
                self.assertGreaterEqual(report["counts"]["photos"], 36)
                self.assertEqual(report["counts"]["copied"], report["counts"]["files"])
                self.assertNotIn("unreadable", [each["finding"] for each in report["findings"]])
                self.check_shared_album(library, kind, self.folder / f"to-{kind}/Albums/Shared with the family.m3u8")
                files = [path for path in (self.folder / f"to-{kind}" / "Events").rglob("*") if path.is_file()]
                pictures = [path for path in files if path.suffix != ".xmp"]
                self.assertGreaterEqual(len(pictures), 36)
                originals = {hashlib.sha256(path.read_bytes()).hexdigest()
                             for path in library.rglob("*") if path.is_file()}
                for path in pictures:
                    self.assertIn(hashlib.sha256(path.read_bytes()).hexdigest(), originals)

    def check_shared_album(self, library, kind, album):
        mark = {"photos5": "ZGENERICASSET WHERE ZCLOUDBATCHPUBLISHDATE IS NOT NULL",
                "photos11": "ZASSET WHERE ZBUNDLESCOPE != 0"}.get(kind)
        if not mark:
            return self.assertFalse(album.exists())
        connection = sqlite3.connect(f"file:{library}/database/Photos.sqlite?immutable=1", uri=True)
        names = [f"{row[0]}.{row[1]}" for row in connection.execute(
            f"SELECT ZUUID, substr(ZFILENAME, instr(ZFILENAME, '.') + 1) FROM {mark} AND ZTRASHEDSTATE = 0")]
        connection.close()
        self.assertGreater(len(names), 0)
        files = [line for line in album.read_text().splitlines() if not line.startswith("#")]
        self.assertEqual(sorted(hashlib.sha256((album.parent / line).read_bytes()).hexdigest() for line in files),
                         sorted(hashlib.sha256((library / "originals" / name[0] / name).read_bytes()).hexdigest()
                                for name in names))

    def test_checksums_are_those_of_the_files(self):
        run(self.library(), self.target)
        subprocess.run(["sha256sum", "-c", "--quiet", "SHA256SUMS"], cwd=self.target, check=True)

    def test_sets_the_time_of_each_photo(self):
        library = self.library("--photos", "10")
        run(library, self.target, "--versions", "original")
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        times = {int(row[0] + 978307200) for row in connection.execute(
            "SELECT imageDate FROM RKVersion WHERE versionNumber != 0")}
        connection.close()
        pictures = [path for path in (self.target / "Events").rglob("*") if path.is_file() and path.suffix != ".xmp"]
        self.assertTrue(pictures)
        for path in pictures:
            self.assertIn(int(path.stat().st_mtime), times)

    def test_a_second_run_writes_nothing(self):
        library = self.library("--smart-albums", "--saved-lists", "in-step")
        run(library, self.target)
        before = identities_of(self.target)
        report = self.report(library, self.target)
        self.assertEqual(report["counts"]["copied"], 0)
        self.assertEqual(report["counts"]["sidecars"], 0)
        self.assertEqual(identities_of(self.target), before)

    def test_continues_after_being_killed(self):
        library = self.library("--photos", "150", "--smart-albums")
        whole = self.folder / "whole"
        start = time.monotonic()
        run(library, whole)
        duration = time.monotonic() - start
        chance = random.Random(1)
        killed = 0
        for round_ in range(KILLS):
            if round_ and round_ % 10 == 0:
                print(f"{round_} of {KILLS} rounds, {killed} kills", file=sys.stderr, flush=True)
            shutil.rmtree(self.target, ignore_errors=True)
            for _ in range(2):
                process = subprocess.Popen([os.path.join(BIN, "moxtel-export"), library, self.target],
                                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                try:
                    process.wait(timeout=chance.random() * duration)
                except subprocess.TimeoutExpired:
                    process.kill()
                    killed += 1
                process.wait()
            run(library, self.target)
            self.assertEqual(tree_of(self.target), tree_of(whole))
            self.assertEqual([path.name for path in (self.target / ".moxtel-export").iterdir()
                              if path.name.endswith(".part")], [])
            self.assertEqual(self.report(library, self.target)["counts"]["copied"], 0)
        self.assertGreater(killed, 0)

    def test_an_interrupt_ends_it_with_130(self):
        library = self.library("--photos", "2000")
        process = subprocess.Popen([os.path.join(BIN, "moxtel-export"), library, self.target], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        while process.poll() is None and not (self.target / ".moxtel-export/state.db").exists():
            time.sleep(0.001)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 130, errors)
        self.assertIn("The same command continues", errors)
        run(library, self.target)
        subprocess.run(["sha256sum", "-c", "--quiet", "SHA256SUMS"], cwd=self.target, check=True)

    def test_keeps_what_was_changed_or_added(self):
        library = self.library("--photos", "10", "--albums", "2")
        run(library, self.target)
        (self.target / "mine.txt").write_text("mine")
        album = next((self.target / "Albums").glob("*.m3u8"))
        album.write_text("mine")
        picture = next(path for path in (self.target / "Events").rglob("*.JPG"))
        picture.write_bytes(b"changed here")
        report = self.report(library, self.target)
        self.assertEqual(album.read_text(), "mine")
        self.assertEqual(picture.read_bytes(), b"changed here")
        self.assertEqual((self.target / "mine.txt").read_text(), "mine")
        self.assertIn("fileKept", [each["finding"] for each in report["findings"]])
        verified = self.report(library, self.target, "--verify", expected=2)
        self.assertEqual([each["file"] for each in verified["findings"] if each["finding"] == "damaged"],
                         [picture.relative_to(self.target).as_posix()])

    def test_recognizes_its_files_without_its_state(self):
        library = self.library("--photos", "20")
        run(library, self.target)
        before = tree_of(self.target)
        shutil.rmtree(self.target / ".moxtel-export")
        report = self.report(library, self.target)
        self.assertEqual(report["counts"]["copied"], 0)
        self.assertEqual(tree_of(self.target), before)

    def test_writes_beside_files_of_others(self):
        library = self.library("--photos", "10")
        run(library, self.folder / "first")
        pictures = [path.relative_to(self.folder / "first") for path in (self.folder / "first/Events").rglob("*.JPG")]
        name = self.target / pictures[0]
        name.parent.mkdir(parents=True)
        name.write_bytes(b"not from the library")
        run(library, self.target)
        self.assertEqual(name.read_bytes(), b"not from the library")
        self.assertTrue((name.parent / f"{name.stem} (2){name.suffix}").exists())

    def test_follows_no_link_in_the_target(self):
        library = self.library("--photos", "10")
        before = state_of(library)
        self.target.mkdir()
        (self.target / "Events").symlink_to(library, target_is_directory=True)
        report = self.report(library, self.target, expected=2)
        self.assertEqual(state_of(library), before)
        self.assertIn("notWritten", [each["finding"] for each in report["findings"]])

    def test_refuses_a_target_in_the_library_and_the_reverse(self):
        library = self.library("--photos", "3")
        before = state_of(library)
        (self.folder / "link").symlink_to(library)
        for target in (library, library / "Masters", self.folder, self.folder / "link" / "new"):
            self.assertIn("target", run(library, target, expected=1).stderr)
        self.assertEqual(state_of(library), before)

    def test_a_dry_run_writes_nothing(self):
        library = self.library("--photos", "20")
        done = run(library, self.target, "--dry-run", "--json")
        self.assertFalse(self.target.exists())
        lines = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual(len(lines) - 1, lines[-1]["counts"]["photos"])
        self.assertGreaterEqual(len(lines), 21)
        planned = {file["path"] for line in lines[:-1] for file in line["files"]}
        run(library, self.target, "--sidecars", "none", "--albums", "none")
        exported = {path.relative_to(self.target).as_posix() for path in (self.target / "Events").rglob("*")
                    if path.is_file()}
        self.assertEqual(planned, exported)
        before = state_of(self.target)
        again = run(library, self.target, "--dry-run", "--json")
        self.assertEqual(json.loads(again.stdout.splitlines()[-1])["counts"]["copied"], 0)
        self.assertEqual(state_of(self.target), before)

    def test_hostile_names_stay_in_the_target(self):
        library = self.library("--photos", "12")
        self.database(library, """
            UPDATE RKVersion SET fileName = '../../../../' || modelId || '/' || char(10) || 'CON.JPG';
            UPDATE RKMaster SET originalFileName = '../../' || modelId || char(10) || '/CON.JPG', fileName = '../x.JPG';
            UPDATE RKFolder SET name = '../../..' WHERE folderType = 2;
            UPDATE RKAlbum SET name = '/etc/../' || char(0) || '..' WHERE albumSubclass = 3;""")
        outside = set(self.folder.iterdir())
        run(library, self.target)
        self.assertEqual(set(self.folder.iterdir()) - outside, {self.target})
        self.assertGreaterEqual(sum(path.is_file() for path in (self.target / "Events").rglob("*")), 12)
        for path in self.target.rglob("*"):
            self.assertNotRegex(path.name, r'[<>:"|?*\\\x00-\x1f]|[ .]$')

    def test_equal_names_get_numbers_by_date(self):
        library = self.library("--photos", "8", "--projects", "1")
        self.database(library, """
            UPDATE RKVersion SET fileName = CASE modelId % 2 WHEN 0 THEN 'A.JPG' ELSE 'a.jpg' END;
            UPDATE RKMaster SET originalFileName = CASE modelId % 2 WHEN 0 THEN 'A.JPG' ELSE 'a.jpg' END;
            UPDATE RKMaster SET fileName = originalFileName;""")
        run(library, self.target, "--versions", "original", "--sidecars", "none")
        names = sorted(path.name.lower() for path in (self.target / "Events").rglob("*") if path.is_file())
        self.assertEqual(len(names), len(set(names)))
        self.assertIn("a (2).jpg", names)

    def test_reports_what_is_missing(self):
        library = self.library("--photos", "10")
        master = next((library / "Masters").rglob("*.JPG"))
        master.unlink()
        report = self.report(library, self.target, expected=2)
        findings = [each["finding"] for each in report["findings"]]
        self.assertTrue({"missingOriginal", "onlyInCloud"} & set(findings), findings)

    def test_copies_files_that_no_photo_has(self):
        library = self.library("--photos", "5")
        folder = library / "Masters/2003/lost"
        folder.mkdir(parents=True)
        (folder / "LOST.JPG").write_bytes(b"lost")
        report = self.report(library, self.target)
        self.assertEqual((self.target / "Not in the library/Masters/2003/lost/LOST.JPG").read_bytes(), b"lost")
        self.assertEqual([each["file"] for each in report["findings"] if each["finding"] == "notInLibrary"],
                         [str(folder / "LOST.JPG")])
        self.assertEqual(self.report(library, self.target)["counts"]["copied"], 0)
        # Equal without case, and when they are legal.
        for name in ("lost.jpg", "a?.jpg", "a:.jpg"):
            (folder / name).write_bytes(name.encode())
        self.assertEqual(self.report(library, self.target)["counts"]["copied"], 3)
        self.assertEqual({path.read_bytes() for path in (self.target / "Not in the library").rglob("*.*")},
                         {b"lost", b"lost.jpg", b"a?.jpg", b"a:.jpg"})

    def test_reads_a_damaged_library_from_album_data(self):
        library = self.library("--photos", "20", "--saved-lists", "in-step")
        (library / "Database/apdb/Library.apdb").write_bytes(b"damaged" * 1000)
        report = self.report(library, self.target, expected=2)
        self.assertEqual(report["counts"]["photos"], 20)
        self.assertIn("libraryDamaged", [each["finding"] for each in report["findings"]])
        self.assertGreaterEqual(sum(path.is_file() for path in (self.target / "Events").rglob("*")), 20)

    def rescued(self, *damage):
        library = self.library("--photos", "40", "--saved-lists", "in-step", name="Damaged")
        for each in damage:
            each(library)
        before = state_of(library)
        report = self.report(library, self.target, "--trash", expected=2)
        self.assertEqual(state_of(library), before)
        originals = {hashlib.sha256(path.read_bytes()).hexdigest() for path in (library / "Masters").rglob("*.*")
                     if path.is_file()}
        exported = {facts[0] for facts in tree_of(self.target).values()}
        self.assertEqual(originals - exported, set(), report["findings"])
        shutil.rmtree(library)
        shutil.rmtree(self.target)
        return {each["finding"] for each in report["findings"]}

    def test_no_original_of_a_damaged_library_is_lost(self):
        def truncate(name, size):
            return lambda library: os.truncate(library / name, size)

        def clear(library):
            path = library / "Database/apdb/Library.apdb"
            with sqlite3.connect(path) as database:
                (page,) = database.execute("SELECT rootpage FROM sqlite_master WHERE name = 'RKMaster'").fetchone()
                (size,) = database.execute("PRAGMA page_size").fetchone()
            database.close()
            with open(path, "r+b") as file:
                file.seek((page - 1) * size)
                file.write(bytes(size))

        def hide(library):
            (library / "Database/apdb/Library.apdb").unlink()

        def withoutXml(library):
            (library / "AlbumData.xml").unlink()

        database = "Database/apdb/Library.apdb"
        self.assertIn("libraryDamaged", self.rescued(truncate(database, 100_000)))
        self.assertIn("libraryDamaged", self.rescued(truncate(database, 0)))
        self.assertIn("libraryDamaged", self.rescued(hide))
        self.assertIn("libraryDamaged", self.rescued(clear))
        self.assertIn("notInLibrary", self.rescued(clear, withoutXml))
        self.assertLessEqual({"libraryUnreadable", "notInLibrary"}, self.rescued(truncate(database, 20_000), withoutXml))
        self.assertLessEqual({"libraryDamaged", "notInLibrary"},
                             self.rescued(truncate(database, 20_000), truncate("AlbumData.xml", 5_000)))

    def assets(self, library, statement, *values):
        with contextlib.closing(sqlite3.connect(library / "database/Photos.sqlite")) as database, database:
            tables = {row[0] for row in database.execute("SELECT name FROM sqlite_master")}
            table = "ZASSET" if "ZASSET" in tables else "ZGENERICASSET"
            done = database.execute(statement.replace("ASSETS", table), values)
            return done.fetchall() or done.rowcount

    def test_a_cut_album_data_is_used_as_far_as_it_goes(self):
        library = self.library("--photos", "60", "--album-data")
        (library / "Database/apdb/Library.apdb").unlink()
        xml = library / "AlbumData.xml"
        text = xml.read_bytes()
        os.truncate(xml, text.index(b"<key>Master Image List") + 3 * (len(text) - text.index(b"<key>Master Image List")) // 4)
        report = self.report(library, self.target, expected=2)
        self.assertIn(report["counts"]["photos"], range(20, 55))
        self.assertIn("AlbumData.xml is damaged: only what comes before the damage was used",
                      [each["reason"] for each in report["findings"] if each["finding"] == "libraryDamaged"])
        originals = {hashlib.sha256(path.read_bytes()).hexdigest() for path in (library / "Masters").rglob("*.*")
                     if path.is_file()}
        self.assertEqual(originals - {facts[0] for facts in tree_of(self.target).values()}, set())

    def test_a_movie_beside_a_photo_that_is_not_live_is_not_lost(self):
        for kind in ("photos5", "photos11"):
            with self.subTest(kind):
                library = self.library("--photos", "120", "--kind", kind, name=kind)
                movie, other = sorted(library.glob("originals/*/*_3.mov"))[:2]
                # A movie that no row calls one, and one of a photo that is not there.
                self.assertEqual(self.assets(library, "UPDATE ASSETS SET ZKINDSUBTYPE = 0 WHERE ZUUID = ?",
                                             movie.stem.split("_")[0]), 1)
                stray = movie.with_name("0" * 36 + "_3.mov")
                shutil.copy(other, stray)
                report = self.report(library, self.folder / ("to " + kind))
                self.assertEqual({each["file"] for each in report["findings"] if each["finding"] == "notInLibrary"
                                  and each["file"].endswith(".mov") and "_3" in each["file"]}, {str(movie), str(stray)})
                for path in movie, stray:
                    copy = self.folder / ("to " + kind) / "Not in the library" / path.relative_to(library)
                    self.assertEqual(copy.read_bytes(), path.read_bytes())

    def test_raw_and_live_pairs_share_their_names(self):
        for kind in ("iphoto", "photos4", "photos5", "photos11"):
            with self.subTest(kind):
                options = ["--everything"] if kind == "iphoto" else ["--kind", kind]
                library = self.library("--photos", "120", *options, name=kind)
                live = len(list(library.glob("originals/*/*_3.mov")))
                target = self.folder / f"to-{kind}"
                lines = run(library, target, "--dry-run", "--json").stdout.splitlines()[:-1]
                run(library, target)
                pairs = 0
                for photo in map(json.loads, lines):
                    files = {file["role"]: file for file in photo["files"]}
                    for role in ("alternate", "liveMovie"):
                        if role not in files or "original" not in files:
                            continue
                        pairs += 1
                        paths = [pathlib.PurePosixPath(files[each]["path"]) for each in ("original", role)]
                        self.assertEqual(paths[0].with_suffix(""), paths[1].with_suffix(""))
                        self.assertNotEqual(paths[0].suffix.lower(), paths[1].suffix.lower())
                        for file, path in zip((files["original"], files[role]), paths):
                            self.assertEqual((target / path).read_bytes(), pathlib.Path(file["source"]).read_bytes())
                            sidecar = (target / f"{path}.xmp").read_text()
                            # A movie has no faces, the other half of a pair those of the photo.
                            faces = sidecar.count("<mwg-rs:Name>")
                            self.assertLessEqual(faces, len(photo["facts"].get("faces", [])))
                            if path.suffix == ".mov":
                                self.assertEqual(faces, 0)
                            if photo["facts"].get("title"):
                                self.assertIn("<dc:title>", sidecar)
                self.assertGreater(pairs, 0)
                # Frames of a burst are left out.
                self.assertIn(len(list(target.rglob("*.mov"))), range(min(live, 1), live + 1))
                shutil.rmtree(library)

    def test_several_libraries_get_folders(self):
        disk = self.folder / "disk"
        disk.mkdir()
        first = self.library("--photos", "6", name="disk/First")
        self.library("--photos", "6", "--seed", "2", name="disk/Second")
        shutil.copytree(first, disk / "Copy of First")
        done = run(disk, self.target)
        self.assertEqual({path.name for path in self.target.iterdir() if path.is_dir()},
                         {"First", "Second", "Copy of First", ".moxtel-export"})
        self.assertIn("was probably made of the other", done.stderr)
        self.assertEqual(self.report(disk, self.target)["counts"]["copied"], 0)

    def test_libraries_named_like_files_of_the_export(self):
        disk = self.folder / "disk"
        disk.mkdir()
        libraries = [self.library("--photos", "6", "--seed", str(number + 1), name="disk/%s.photolibrary" % name)
                     for number, name in enumerate((".moxtel-export", "SHA256SUMS", "report.html"))]
        run(*libraries, self.target)
        self.assertTrue((self.target / "SHA256SUMS").is_file() and (self.target / "report.html").is_file())
        self.assertLessEqual({path.name for path in (self.target / ".moxtel-export").iterdir()},
                             {"lock", "state.db", "state.db-wal"})
        subprocess.run(["sha256sum", "-c", "--quiet", "SHA256SUMS"], cwd=self.target, check=True)

    def test_only_an_album(self):
        library = self.library("--photos", "30", "--albums", "3")
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        name, count = connection.execute(
            "SELECT a.name, count(DISTINCT v.modelId) FROM RKAlbum a JOIN RKAlbumVersion m ON m.albumId = a.modelId "
            "JOIN RKVersion v ON v.modelId = m.versionId WHERE a.albumSubclass = 3 AND a.isMagic = 0 AND v.isInTrash = 0 "
            "GROUP BY a.modelId HAVING count(*) > 0 LIMIT 1").fetchone()
        connection.close()
        report = self.report(library, self.target, "--only", name)
        self.assertEqual(report["counts"]["photos"], count)
        self.assertIn("nowhere", run(library, self.target, "--only", "nowhere", expected=1).stderr)

    def test_links_instead_of_copies(self):
        library = self.library("--photos", "10", "--albums", "2")
        before = state_of(library)
        run(library, self.target, "--link", "symbolic", "--albums", "links", "--sidecars", "none")
        pictures = [path for path in (self.target / "Events").rglob("*") if path.is_symlink()]
        self.assertGreaterEqual(len(pictures), 10)
        for path in pictures:
            self.assertTrue(path.resolve().is_relative_to(library.resolve()))
        for path in (self.target / "Albums").rglob("*"):
            self.assertTrue(path.is_dir() or path.resolve().is_file(), path)
        self.assertEqual(state_of(library), before)
        self.assertEqual(run(library, self.target, expected=1).stderr.count("--link"), 1)

    def test_layout_by_date(self):
        library = self.library("--photos", "10")
        run(library, self.target, "--layout", "dates")
        for path in (self.target / "Dates").rglob("*"):
            if path.is_file():
                self.assertRegex(path.relative_to(self.target).as_posix(), r"^Dates/(\d{4}/\d{4}-\d\d-\d\d|No date)/")

    def test_hidden_photos_and_trash(self):
        library = self.library("--photos", "12")
        self.database(library, """UPDATE RKVersion SET isHidden = 1 WHERE modelId IN (SELECT modelId FROM RKVersion
            WHERE versionNumber != 0 ORDER BY modelId LIMIT 2);""")
        report = self.report(library, self.target)
        self.assertEqual(report["counts"]["hidden"], 2)
        self.assertTrue(any(path.is_file() for path in (self.target / "Hidden").rglob("*")))
        left = self.report(library, self.folder / "left", "--hidden", "leave")
        self.assertEqual((left["counts"]["hiddenLeft"], left["counts"]["photos"]), (2, report["counts"]["photos"] - 2))
        run(library, self.folder / "mixed", "--hidden", "mix")
        self.assertFalse((self.folder / "mixed/Hidden").exists())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("bin")
    parser.add_argument("--kills", type=int, default=KILLS)
    known, rest = parser.parse_known_args()
    BIN, KILLS = os.path.abspath(known.bin), known.kills
    unittest.main(argv=[sys.argv[0], *rest])
