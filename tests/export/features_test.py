"""moxtel-export as users and other programs run it: choices, reports, exit codes, progress.

Usage: features_test.py BIN_FOLDER [unittest arguments]"""
import json
import os
import signal
import sqlite3
import subprocess
import sys
import unittest

import export_test
from export_test import run, state_of


class Features(unittest.TestCase):
    setUp = export_test.Export.setUp
    library = export_test.Export.library
    report = export_test.Export.report
    database = export_test.Export.database

    def test_progress_for_another_program(self):
        library = self.library("--photos", "30")
        done = run(library, self.target, "--json", "--progress")
        lines = [json.loads(line) for line in done.stdout.splitlines()]
        steps = [line["progress"] for line in lines[:-1]]
        self.assertEqual(list(dict.fromkeys(step["step"] for step in steps))[-3:], ["planned", "copying", "finishing"])
        planned = next(step for step in steps if step["step"] == "planned")
        counts = lines[-1]["counts"]
        self.assertEqual((planned["ofFiles"], planned["ofBytes"], planned["sidecars"]),
                         (counts["copied"], counts["copiedBytes"], counts["sidecars"]))
        self.assertGreater(planned["freeBytes"], 0)
        self.assertEqual(lines[-1]["page"], str(self.target / "report.html"))
        self.assertEqual(done.stderr, "")

    def test_another_program_may_ask_for_the_size_and_cancel(self):
        library = self.library("--photos", "300")
        process = subprocess.Popen([os.path.join(export_test.BIN, "moxtel-export"), library, self.target, "--dry-run",
                                    "--json", "--progress"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        for line in process.stdout:
            if json.loads(line).get("progress", {}).get("step") == "planned":
                break
        process.send_signal(signal.SIGINT)
        lines = process.stdout.read().splitlines()
        process.stdout.close()
        self.assertIn(process.wait(), (0, 130))
        self.assertTrue(json.loads(lines[-1])["dryRun"])
        self.assertFalse(self.target.exists())

    def test_a_failure_is_in_the_report_for_another_program(self):
        library = self.library("--photos", "3")
        before = state_of(library)
        self.assertIn("lies in the library", self.report(library, library / "in", expected=1)["failure"])
        self.assertIn("there is no folder", self.report(self.folder / "none", self.target, expected=3)["failure"])
        (self.folder / "empty").mkdir()
        self.assertIn("or the folders below it", self.report(self.folder / "empty", self.target, expected=3)["failure"])
        self.assertEqual(state_of(library), before)

    def test_a_failure_is_in_the_users_language_for_a_program_that_shows_it(self):
        def failure(*options, **environment):
            done = subprocess.run([os.path.join(export_test.BIN, "moxtel-export"), self.folder / "none", self.target,
                                   *options], capture_output=True, text=True,
                                  env=os.environ | {"LC_ALL": "", "LANGUAGE": "", "LANG": "de_DE.UTF-8"} | environment)
            self.assertEqual(done.returncode, 3)
            return json.loads(done.stdout.splitlines()[-1])["failure"]

        self.assertEqual(failure("--json", "--progress"), f"es gibt keinen Ordner „{self.folder}/none“")
        self.assertEqual(failure("--json"), f"there is no folder '{self.folder}/none'")
        self.assertEqual(failure("--json", "--progress", LANG="C.UTF-8"), f"there is no folder '{self.folder}/none'")

    def test_the_message_about_an_older_library_ends_with_one_period(self):
        aperture = self.folder / "Old.aplibrary"
        (aperture / "Aperture.aplib").mkdir(parents=True)
        (aperture / "Aperture.aplib/Library.apdb").write_bytes(b"x")
        done = run(aperture, self.target, expected=3)
        self.assertTrue(done.stderr.endswith("Open it once with Aperture 3, which converts it.\n"), done.stderr)

    def test_the_trash_of_every_kind(self):
        for kind in ("iphoto", "photos4", "photos5", "photos11"):
            with self.subTest(kind):
                library = self.library("--kind", kind, "--photos", "300", name=kind)
                left = self.report(library, self.folder / f"left-{kind}")
                self.assertGreater(left["counts"]["trashLeft"], 0)
                self.assertFalse((self.folder / f"left-{kind}/Trash").exists())
                # Frames of bursts, with their movies, are there; nothing of the trash is.
                others = [each["file"] for each in left["findings"] if each["finding"] == "notInLibrary" and
                          "burst" not in each["reason"]]
                self.assertEqual(others, [])
                taken = self.report(library, self.folder / f"taken-{kind}", "--trash")["counts"]
                self.assertEqual((taken["inTrash"], taken["trashLeft"]), (left["counts"]["trashLeft"], 0))
                files = [path for path in (self.folder / f"taken-{kind}/Trash").rglob("*")
                         if path.is_file() and path.suffix != ".xmp"]
                # Some share the original of another photo.
                self.assertGreaterEqual(2 * len(files), taken["inTrash"])

    def test_a_later_run_of_a_part_keeps_the_lists(self):
        library = self.library("--photos", "60", "--albums", "4", "--smart-albums")
        run(library, self.target)
        before = {path.name: path.read_text() for path in (self.target / "Albums").rglob("*.m3u8")}
        name = next(path.stem for path in (self.target / "Albums").glob("*.m3u8") if path.stat().st_size > 20)
        for choice in (("--only", name), ("--since", "2100-01-01")):
            run(library, self.target, *choice)
            self.assertEqual({path.name: path.read_text() for path in (self.target / "Albums").rglob("*.m3u8")}, before)
        run(library, self.folder / "none", "--since", "2100-01-01")
        self.assertEqual(list(self.folder.glob("none/Albums/*")), [])
        lines = run(library, self.folder / "dry", "--dry-run", "--json", "--since", "2100-01-01").stdout.splitlines()
        self.assertEqual(len(lines), 1)

    def test_a_part_has_no_findings_of_other_albums(self):
        library = self.library("--photos", "60", "--albums", "4", "--smart-albums")
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        connection.execute("UPDATE RKAlbum SET queryData = NULL WHERE albumSubclass = 2")
        connection.commit()
        regular, smart = (connection.execute(
            "SELECT name FROM RKAlbum WHERE albumSubclass = ? AND albumType = 1 AND isMagic = 0 AND isInTrash = 0",
            (subclass,)).fetchone()[0] for subclass in (3, 2))
        connection.close()
        self.report(library, self.folder / "regular", "--only", regular, expected=0)
        self.assertEqual({each["finding"] for each in
                          self.report(library, self.folder / "smart", "--only", smart, expected=2)["findings"]},
                         {"unknownMembers"})

    def test_only_the_albums_of_a_part_are_counted(self):
        library = self.library("--photos", "60", "--albums", "4")
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        album = connection.execute("SELECT name FROM RKAlbum WHERE albumSubclass = 3 AND albumType = 1 AND isMagic = 0 "
                                   "AND isInTrash = 0").fetchone()[0]
        event = connection.execute("SELECT uuid FROM RKFolder WHERE folderType = 2 AND isInTrash = 0").fetchone()[0]
        connection.close()
        self.assertIn(", 1 album: ", run(library, self.folder / "album", "--only", album).stdout)
        self.assertNotIn(" album", run(library, self.folder / "event", "--only", event).stdout)

    def test_a_wrong_name_leaves_the_target_as_it_was(self):
        library = self.library("--photos", "10")
        run(library, self.target, "--only", "nowhere", expected=1)
        self.assertFalse(self.target.exists())
        self.target.mkdir()
        run(library, self.target, "--only", "nowhere", expected=1)
        self.assertEqual(list(self.target.iterdir()), [])
        (self.target / "mine.txt").write_text("mine")
        run(library, self.target)
        before = state_of(self.target)
        run(library, self.target, "--only", "nowhere", expected=1)
        self.assertEqual(set(state_of(self.target)), set(before))

    def test_a_dry_run_knows_the_room_of_a_target_to_come(self):
        library = self.library("--photos", "10")
        lines = run(library, self.folder / "to come", "--dry-run", "--json", "--progress").stdout.splitlines()
        planned = next(step for step in (json.loads(line).get("progress", {}) for line in lines)
                       if step.get("step") == "planned")
        self.assertGreater(planned["freeBytes"], 0)
        self.assertFalse((self.folder / "to come").exists())

    def test_a_target_may_be_some_folders_deep(self):
        library = self.library("--photos", "10")
        deep = self.folder / "a/b/c"
        run(library, deep, "--dry-run")
        self.assertFalse((self.folder / "a").exists())
        run(library, deep, "--only", "nowhere", expected=1)
        self.assertFalse((self.folder / "a").exists())
        (self.folder / "a").mkdir()
        run(library, deep, "--only", "nowhere", expected=1)
        self.assertEqual(list((self.folder / "a").iterdir()), [])
        run(library, deep)
        self.assertTrue((deep / "Events").is_dir())

    def test_a_dry_run_refuses_what_a_run_refuses(self):
        library = self.library("--photos", "10")
        (self.folder / "file").write_text("a file")
        closed = self.folder / "closed"
        closed.mkdir(mode=0o555)
        for target in (self.folder / "file", self.folder / "file/a/b", closed, closed / "a/b"):
            with self.subTest(target):
                texts = [self.run_as_user(library, target, *options) for options in ((), ("--dry-run",))]
                self.assertEqual(texts[0], texts[1])
                self.assertRegex(texts[0], "cannot (use|write to) '%s': (Not a directory|Permission denied)" % target)

    def run_as_user(self, library, target, *options):
        """As root nothing would be refused."""
        user = {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.geteuid() == 0 else {}
        self.folder.chmod(0o755)
        done = subprocess.run([os.path.join(export_test.BIN, "moxtel-export"), library, target, *options], capture_output=True, text=True,
                              **user)
        self.assertEqual(done.returncode, 3, done)
        return done.stderr

    def test_links_are_not_called_copies(self):
        done = run(self.library("--photos", "10"), self.target, "--link", "symbolic")
        self.assertIn(" files linked, 0 there already", done.stdout)
        self.assertNotIn("copied", done.stdout)
        self.assertNotIn("Copied", (self.target / "report.html").read_text())

    def test_frames_of_a_burst_that_are_not_shown_are_copied(self):
        library = self.library("--photos", "30", "--kind", "photos8")
        connection = sqlite3.connect(library / "database/Photos.sqlite")
        frames = connection.execute(
            "SELECT Z_PK, ZDIRECTORY || '/' || ZFILENAME FROM ZASSET WHERE ZTRASHEDSTATE = 0 AND ZVISIBILITYSTATE = 0 AND "
            "ZHIDDEN = 0 AND ZKIND = 0").fetchall()
        frames = [frame for frame in frames if (library / "originals" / frame[1]).is_file()][:3]
        for number, (row, _) in enumerate(frames):
            connection.execute("UPDATE ZASSET SET ZVISIBILITYSTATE = 2, ZTRASHEDSTATE = ? WHERE Z_PK = ?",
                               (int(number == 2), row))
        connection.commit()
        connection.close()
        report = self.report(library, self.target, expected=None)
        found = {each["file"].split("/originals/")[1]: each["reason"] for each in report["findings"]
                 if each["finding"] == "notInLibrary" and "burst" in each["reason"]}
        self.assertLessEqual({path for _, path in frames[:2]}, set(found))
        self.assertNotIn(frames[2][1], found)
        for path in found:
            self.assertEqual((self.target / "Not in the library/originals" / path).read_bytes(),
                             (library / "originals" / path).read_bytes())

    def test_notes_are_in_a_text_file(self):
        library = self.library("--photos", "80")
        connection = sqlite3.connect(library / "Database/apdb/Library.apdb")
        event, folder, name = connection.execute(
            "SELECT f.uuid, f.name, v.fileName FROM RKFolder f JOIN RKVersion v ON v.projectUuid = f.uuid WHERE "
            "f.folderType = 2 AND f.isInTrash = 0 AND v.isInTrash = 0 AND v.versionNumber != 0 LIMIT 1").fetchone()
        album = connection.execute("SELECT uuid FROM RKAlbum WHERE albumSubclass = 3 AND albumType = 1 AND isMagic = 0 "
                                   "AND isInTrash = 0 LIMIT 1").fetchone()[0]
        photo = connection.execute("SELECT uuid FROM RKVersion WHERE projectUuid = ? AND isInTrash = 0 AND "
                                   "versionNumber != 0", (event,)).fetchone()[0]
        connection.execute("DELETE FROM RKNote")
        for key, text in ((event, "It rained.\nThen the sun came."), (album, "For Suzy"), (photo, "Print <this>")):
            connection.execute("INSERT INTO RKNote (attachedToUuid, propertyKey, note) VALUES (?, 'comment', ?)",
                               (key, text))
        connection.commit()
        connection.close()
        run(library, self.target)
        notes = (self.target / "Notes.txt").read_text()
        blocks = dict(block.split("\n", 1) for block in notes.strip().split("\n\n"))
        self.assertEqual(sorted(blocks.values()), ["For Suzy", "It rained.\nThen the sun came.", "Print <this>"])
        for path, text in blocks.items():
            where = self.target / (path + (".m3u8" if text == "For Suzy" else ""))
            self.assertTrue(where.exists(), where)
        before = (self.target / "Notes.txt").stat()
        run(library, self.target)
        self.assertEqual((self.target / "Notes.txt").stat().st_mtime_ns, before.st_mtime_ns)
        run(library, self.folder / "dates", "--layout", "dates", "--albums", "none")
        self.assertEqual((self.folder / "dates/Notes.txt").read_text().count("For Suzy"), 1)

    def test_the_time_zone_is_in_the_sidecar(self):
        library = self.library("--photos", "5")
        self.database(library, "UPDATE RKVersion SET imageTimeZoneName = 'Asia/Kolkata';")
        run(library, self.target)
        for path in (self.target / "Events").rglob("*.xmp"):
            self.assertIn("<moxtel:TimeZone>Asia/Kolkata</moxtel:TimeZone>", path.read_text())

    def test_every_finding_has_a_file_and_a_reason(self):
        library = self.library("--photos", "120", "--everything", "--smart-albums")
        for path in sorted((library / "Masters").rglob("*.JPG"))[:5]:
            path.unlink()
        for path in sorted((library / "Previews").rglob("*.jpg"))[:5]:
            path.unlink()
        self.database(library, "UPDATE RKVersion SET imageDate = NULL WHERE modelId % 9 = 0;")
        run(library, self.target)
        picture = next(path for path in (self.target / "Events").rglob("*.JPG"))
        picture.write_bytes(b"changed")
        findings = self.report(library, self.target, expected=2)["findings"]
        self.assertGreater(len({each["finding"] for each in findings}), 5)
        for each in findings:
            self.assertTrue(each["file"], each)
            self.assertTrue(each["reason"] or each["finding"] == "absentDisk", each)
        self.assertTrue(any(each["reason"].startswith("the library has no file 'Masters/") for each in findings))

    def test_a_later_report_has_what_cannot_be_written(self):
        def remarks(report):
            return [each for each in report["findings"] if each["finding"] in ("sidecarLacks", "notEmbedded")]

        library = self.library("--kind", "xml", "--photos", "60")
        first = self.report(library, self.target, "--embed")
        self.assertGreater(len(remarks(first)), 5)
        self.assertEqual(remarks(self.report(library, self.target, "--embed")), remarks(first))

    def test_an_interrupted_run_leaves_a_report(self):
        library = self.library("--photos", "2000")
        process = subprocess.Popen([os.path.join(export_test.BIN, "moxtel-export"), library, self.target, "--progress",
                                    "--json"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        for line in process.stdout:
            if json.loads(line)["progress"]["step"] == "copying":
                break
        process.send_signal(signal.SIGINT)
        lines = process.stdout.read().splitlines()
        process.stdout.close()
        self.assertEqual(process.wait(), 130)
        self.assertTrue(json.loads(lines[-1])["interrupted"])
        self.assertIn("The export was interrupted. The same command continues it.",
                      (self.target / "report.html").read_text())

    def test_the_text_names_the_library_of_each_file(self):
        for name in ("First", "Second"):
            self.library("--photos", "4", "--seed", str(len(name)), name=f"disk/{name}")
            next((self.folder / "disk" / name / "Masters").rglob("*.JPG")).unlink()
        done = run(self.folder / "disk", self.target, "--versions", "original", expected=2)
        self.assertRegex(done.stdout, r"\n  First: .*\n  Second: ")

    def test_the_text_says_where_the_report_is(self):
        library = self.library("--photos", "20")
        for path in (library / "Masters").rglob("*.JPG"):
            path.unlink()
        dry = run(library, self.target, "--dry-run").stdout
        self.assertIn("more, which --json lists", dry)
        self.assertNotIn("report.html", dry)
        self.assertIn(f"Report: {self.target}/report.html", run(library, self.target).stdout)


if __name__ == "__main__":
    export_test.BIN = os.path.abspath(sys.argv.pop(1))
    unittest.main()
