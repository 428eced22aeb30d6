"""moxtel-export while its system calls and databases fail, its disks are full, read-only or gone, and signals end it.

After every fault it must end by itself, say what happened, leave the library as it is, and the next run must end with
the tree of an export without faults. MOXTEL_FAULTS_FULL=1 tries every system call at many more places."""

import errno
import json
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "faults"))
sys.path.insert(0, str(pathlib.Path(__file__).parent))

import faultserver  # noqa: E402
import moxteltest  # noqa: E402
from export_test import identities_of, tree_of  # noqa: E402
from faultserver import CallControl, FileControl, stamp_of_library  # noqa: E402

COMPLETE, WRONG_USAGE, INCOMPLETE, FAILED, INTERRUPTED = 0, 1, 2, 3, 130
MSDOS_SUPER_MAGIC = 0x4D44
SQLITE_IOERR = 10
FAT_LIMIT = (1 << 32) - 1

# The errors that Linux documents for each call and that a disk, a full system or a network share can cause.
FAULTS = {
    "close": ("EIO",), "copy_file_range": ("EIO", "ENOSPC", "EXDEV"), "dup": ("EMFILE",), "fadvise64": ("EINVAL",),
    "fcntl": ("ENOLCK", "EIO"), "fdatasync": ("EIO", "ENOSPC"), "flock": ("ENOLCK", "EINTR"),
    "fstatfs": ("EIO", "ENOSYS"), "ftruncate": ("EIO",), "getdents64": ("EIO",), "ioctl": ("EIO", "EOPNOTSUPP"),
    "mkdir": ("ENOSPC", "EROFS", "EACCES"), "mkdirat": ("ENOSPC", "EIO", "EROFS", "EACCES", "EMLINK"),
    "newfstatat": ("EIO", "EACCES", "ESTALE"), "openat": ("EIO", "EACCES", "EMFILE", "ENOSPC", "EROFS"),
    "pread64": ("EIO", "EINTR"), "pwrite64": ("EIO", "ENOSPC", "EINTR"), "read": ("EIO",), "readlink": ("EIO",),
    "renameat": ("EIO", "ENOSPC", "EACCES"), "statfs": ("EIO",), "statx": ("EIO",), "syncfs": ("EIO", "ENOSPC"),
    "unlinkat": ("EIO", "EBUSY"), "utimensat": ("EIO",), "write": ("EIO", "ENOSPC", "EDQUOT", "EFBIG", "EINTR"),
}


class ExportFaults(unittest.TestCase):
    """Tests on one library, whose every byte and date stays the same."""

    @classmethod
    def setUpClass(cls):
        cls.program = moxteltest.program("MOXTEL_EXPORT")
        cls.folder = pathlib.Path(os.path.realpath(tempfile.mkdtemp(prefix="moxtelexport.")))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.library = moxteltest.make_library(cls.folder / "Library", "--images", "small", "--photos", 30, "--everything",
                                              "--album-data")
        (cls.library / "Masters/lost").mkdir()
        (cls.library / "Masters/lost/lost.jpg").write_bytes(b"in no row")
        os.utime(cls.library / "Masters/lost/lost.jpg", (1e9, 1e9))
        cls.stamp = stamp_of_library(cls.library)
        whole = cls.folder / "whole"
        done = subprocess.run([cls.program, cls.library, whole, "--json"], capture_output=True, text=True)
        # The library has albums whose rule is not known.
        cls.base = done.returncode
        cls.usual = cls.kinds_of(done)
        cls.whole = tree_of(whole)
        with sqlite3.connect("file:%s?mode=ro" % (cls.library / "Database/apdb/Library.apdb"), uri=True) as database:
            (cls.original,) = database.execute(
                "SELECT m.imagePath FROM RKMaster m JOIN RKVersion v ON v.masterUuid = m.uuid WHERE v.isInTrash = 0 AND "
                "v.versionNumber = 1 AND m.imagePath LIKE '%.JPG' ORDER BY m.modelId LIMIT 1").fetchone()
        database.close()

    @staticmethod
    def kinds_of(done):
        """Each finding of a report without its reason, which may say more after a fault."""
        return {(each["finding"], each["file"]) for each in json.loads(done.stdout.splitlines()[-1])["findings"]}

    def setUp(self):
        self.target = self.folder / "target"
        self.addCleanup(shutil.rmtree, self.target, ignore_errors=True)
        self.control = CallControl(self.folder / "control")
        self.preloaded = FileControl(self.folder / "preloaded")

    def run_it(self, *options, before=(), environment=None, library=None):
        command = [*map(str, before), self.program, str(library or self.library), str(self.target), *options]
        return subprocess.run(command, capture_output=True, text=True, env={**os.environ, **(environment or {})},
                              timeout=faultserver.PATIENCE)

    def faulted(self, *options):
        """Runs with faulty system calls, as self.control says."""
        return self.run_it(*options, before=[moxteltest.program("MOXTEL_CALL_FAULTS"), self.control.path])

    def with_preloaded(self, *options, library=None):
        return self.run_it(*options, library=library,
                           environment={"LD_PRELOAD": moxteltest.program("MOXTEL_PRELOADED_FAULTS"),
                                        "MOXTEL_FAULTS": str(self.preloaded.path)})

    def fails_with(self, text, done):
        self.assertEqual(done.returncode, FAILED, done)
        self.assertIn(text, done.stderr)
        self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)

    def findings(self, done, finding):
        report = json.loads(done.stdout.splitlines()[-1])
        return [each for each in report["findings"] if each["finding"] == finding]

    def continues(self):
        """The next run completes the tree; one more writes nothing."""
        done = self.run_it()
        self.assertEqual(done.returncode, self.base, done)
        self.assertEqual(tree_of(self.target), self.whole)
        self.assertEqual([path.name for path in (self.target / ".moxtel-export").iterdir() if path.suffix == ".part"], [])
        before = identities_of(self.target)
        report = json.loads(self.run_it("--json").stdout)
        self.assertEqual((report["counts"]["copied"], report["counts"]["sidecars"]), (0, 0))
        self.assertEqual(identities_of(self.target), before)
        self.assertEqual(stamp_of_library(self.library), self.stamp)

    def numbers(self):
        return faultserver.call_numbers()


class Originals(ExportFaults):
    def setUp(self):
        super().setUp()
        faultserver.need_tracing()
        self.name = os.path.basename(self.original)

    def test_a_read_error_is_tried_again_at_the_end(self):
        self.control.arm(self.numbers()["pread64"], error=errno.EIO, file="/Masters/" + self.original)
        done = self.faulted("--json")
        self.assertEqual(self.control["fired"], 1)
        self.assertEqual(done.returncode, self.base, done)
        self.assertEqual(self.findings(done, "unreadable"), [])
        self.assertEqual(tree_of(self.target), self.whole)
        self.continues()

    def test_a_file_that_stays_unreadable_is_reported_and_the_others_are_copied(self):
        self.control.arm(self.numbers()["pread64"], error=errno.EIO, repeat=-1, file="/Masters/" + self.original)
        done = self.faulted("--json")
        self.assertGreaterEqual(self.control["fired"], 2)
        self.is_reported(done, "Input/output error")
        lacking = set(self.whole) - set(tree_of(self.target))
        self.assertEqual({re.sub(r"\.xmp$", "", name).rsplit("/")[-1] for name in lacking}, {self.name})
        self.continues()

    def test_a_file_that_cannot_be_opened_once_is_copied(self):
        # In one step, and then name by name.
        self.control.arm(self.numbers()["openat"], error=errno.EIO, repeat=2, file=self.name)
        done = self.faulted("--json")
        self.assertEqual(self.control["fired"], 2)
        self.assertEqual(done.returncode, self.base, done)
        self.assertEqual(tree_of(self.target), self.whole)
        self.continues()

    def test_the_edited_picture_is_taken_where_the_original_cannot_be_opened(self):
        self.control.arm(self.numbers()["openat"], error=errno.EIO, repeat=-1, file=self.name)
        done = self.faulted("--json")
        self.assertGreaterEqual(self.control["fired"], 2)
        self.is_reported(done, "a read error, or no regular file")
        self.run_it()
        tree = tree_of(self.target)
        self.assertEqual({name: facts for name, facts in tree.items() if name in self.whole and name != "SHA256SUMS"},
                         {name: facts for name, facts in self.whole.items() if name != "SHA256SUMS"})
        subprocess.run(["sha256sum", "-c", "--quiet", "SHA256SUMS"], cwd=self.target, check=True)

    def is_reported(self, done, reason):
        self.assertEqual(done.returncode, INCOMPLETE, done)
        (finding,) = self.findings(done, "unreadable")
        self.assertEqual(finding["file"], str(self.library / "Masters" / self.original))
        self.assertEqual(finding["reason"], reason)

    def test_a_file_that_vanishes_after_the_plan_is_reported(self):
        """As when the library's disk is detached."""
        self.control.arm(self.numbers()["openat"], error=errno.ENOENT, nth=2, repeat=-1, file=self.name)
        done = self.faulted("--json")
        self.assertGreaterEqual(self.control["fired"], 2)
        self.assertEqual(done.returncode, INCOMPLETE, done)
        self.assertIn((self.name, "it was there when the export began"),
                      [(each["file"], each["reason"]) for each in self.findings(done, "unreadable")])
        self.continues()

    def test_a_folder_of_originals_that_cannot_be_listed_is_reported(self):
        self.control.arm(self.numbers()["getdents64"], error=errno.EIO, repeat=-1, file="/Masters")
        done = self.faulted("--json")
        self.assertGreaterEqual(self.control["fired"], 1)
        self.assertEqual(done.returncode, INCOMPLETE, done)
        self.assertIn("Input/output error", [each["reason"] for each in self.findings(done, "unreadable")])
        self.continues()


class Targets(ExportFaults):
    def setUp(self):
        super().setUp()
        faultserver.need_tracing()

    def test_a_full_target_ends_the_run_and_the_next_one_continues(self):
        for call, file, nth in (("write", "copy.part", 1), ("write", "copy.part", 40), ("mkdirat", "", 6),
                                ("openat", "copy.part", 20), ("renameat", "copy.part", 20), ("syncfs", "", 1)):
            for error in errno.ENOSPC, errno.EDQUOT:
                with self.subTest(call, nth=nth, error=errno.errorcode[error]):
                    self.control.arm(self.numbers()[call], error=error, nth=nth, repeat=-1, file=file)
                    self.fails_with("the target is full: " + os.strerror(error), self.faulted())
                    self.continues()
                    shutil.rmtree(self.target)

    def test_a_full_target_keeps_what_was_copied(self):
        self.control.arm(self.numbers()["write"], error=errno.ENOSPC, nth=40, repeat=-1, file="copy.part")
        self.fails_with("the target is full", self.faulted())
        kept = identities_of(self.target)
        self.assertGreater(len(kept), 10)
        self.continues()
        now = identities_of(self.target)
        self.assertEqual({path: facts for path, facts in now.items() if path in kept}, kept)

    def test_no_room_for_the_state(self):
        for call in "pwrite64", "fdatasync":
            for nth in 1, 4:
                with self.subTest(call, nth=nth):
                    self.control.arm(self.numbers()[call], error=errno.ENOSPC, nth=nth, repeat=-1, file="state.db")
                    done = self.faulted()
                    self.assertGreaterEqual(self.control["fired"], 1)
                    self.fails_with("the state of the export cannot be kept: ", done)
                    self.continues()
                    shutil.rmtree(self.target)

    def test_a_failing_target_ends_the_run(self):
        for error in errno.EIO, errno.EROFS, errno.ENODEV, errno.ESTALE:
            with self.subTest(errno.errorcode[error]):
                self.control.arm(self.numbers()["write"], error=error, nth=20, repeat=-1, file="copy.part")
                self.fails_with("the target cannot be written: " + os.strerror(error), self.faulted())
                self.continues()
                shutil.rmtree(self.target)

    def test_a_read_only_target_is_said_to_be_so(self):
        self.target.mkdir()
        for call in "mkdirat", "openat":
            self.control.arm(self.numbers()[call], error=errno.EROFS, repeat=-1,
                             file=".moxtel-export" if call == "mkdirat" else "lock")
            self.fails_with("cannot write to '%s': Read-only file system" % self.target, self.faulted())

    def test_a_target_that_disappears_ends_the_run(self):
        """Its folder is deleted during the run."""
        self.control.arm()
        process = subprocess.Popen([moxteltest.program("MOXTEL_CALL_FAULTS"), str(self.control.path), self.program,
                                    str(self.library), str(self.target)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        with process:
            moxteltest.wait_for(lambda: (self.target / "Events").exists(), "the first photo")
            os.kill(self.control["server"], signal.SIGSTOP)
            shutil.rmtree(self.target)
            os.kill(self.control["server"], signal.SIGCONT)
            output, errors = process.communicate(timeout=faultserver.PATIENCE)
        if process.returncode == INCOMPLETE:  # all photos had been copied
            self.assertIn("SHA256SUMS (its folder '.moxtel-export' was deleted)", output)
        else:
            self.assertEqual(process.returncode, FAILED, output)
            self.assertRegex(errors, "the target cannot be written: |the state of the export cannot be kept: ")
        self.assertFalse(self.target.exists())
        self.continues()

    def test_a_file_system_without_links(self):
        self.control.arm(self.numbers()["symlinkat"], error=errno.EPERM, repeat=-1)
        done = self.faulted("--albums", "links", "--json")
        self.assertEqual(done.returncode, INCOMPLETE)
        self.assertEqual(len(self.findings(done, "linkRefused")), self.control["fired"])
        self.assertGreater(self.control["fired"], 5)
        self.assertFalse(any(path.is_symlink() for path in self.target.rglob("*")))


    def test_a_file_system_without_times(self):
        for error in errno.EPERM, errno.EOPNOTSUPP:
            with self.subTest(errno.errorcode[error]):
                self.control.arm(self.numbers()["utimensat"], error=error, repeat=-1)
                done = self.faulted("--json")
                self.assertEqual(done.returncode, self.base, done)
                (finding,) = self.findings(done, "otherTime")
                self.assertEqual(finding["reason"], "the first of %d files" % self.control["fired"])
                self.assertIn(finding["file"], self.whole)
                self.assertEqual(set(tree_of(self.target)), set(self.whole))
                report = json.loads(self.run_it("--json").stdout.splitlines()[-1])
                self.assertEqual(report["counts"]["copied"], 0)
                shutil.rmtree(self.target)

    def test_one_file_without_its_time(self):
        self.control.arm(self.numbers()["utimensat"], error=errno.EINVAL)
        (finding,) = self.findings(self.faulted("--json"), "otherTime")
        self.assertEqual(finding["reason"], "the only file")


class Fat(ExportFaults):
    """A target whose file system says that it is FAT."""

    def test_files_above_its_limit_are_reported_before_anything_is_copied(self):
        library = moxteltest.make_library(self.folder / "Large", "--images", "small", "--photos", 30)
        movie = next((library / "Masters").rglob("*.MOV"))
        largest = next((library / "Masters").rglob("*.DNG"))
        os.truncate(movie, FAT_LIMIT + 1)
        os.truncate(largest, FAT_LIMIT)
        self.preloaded.arm()
        self.preloaded["file_system"] = MSDOS_SUPER_MAGIC
        done = self.with_preloaded("--dry-run", "--json", library=library)
        self.assertEqual(done.returncode, INCOMPLETE, done.stderr)
        self.assertEqual(self.findings(done, "tooLarge"), [])  # there is no target yet, so no file system
        self.target.mkdir()
        done = self.with_preloaded("--dry-run", "--json", library=library)
        self.assertEqual([each["file"] for each in self.findings(done, "tooLarge")], [str(movie)])
        largest.write_bytes(b"small")
        done = self.with_preloaded("--json", library=library)
        self.assertEqual(done.returncode, INCOMPLETE)
        self.assertEqual([each["file"] for each in self.findings(done, "tooLarge")], [str(movie)])
        self.assertEqual([path for path in self.target.rglob("*.MOV") if path.stem == movie.stem], [])
        self.preloaded["file_system"] = 0
        shutil.rmtree(library)


class Databases(ExportFaults):
    def export_with(self, **fault):
        self.preloaded.arm(**fault)
        done = self.with_preloaded("--json")
        self.preloaded.disarm()
        self.assertEqual(stamp_of_library(self.library), self.stamp)
        return done

    def test_read_errors(self):
        """Whether or not an error can be repaired by reading again: what is missing is in the report."""
        self.preloaded.arm()
        self.with_preloaded()
        counts = self.preloaded.counts()
        shutil.rmtree(self.target)
        for operation in ("read", "open", "size", "lock"):
            places = sorted({1, 2, 3, counts[operation] // 2, counts[operation]} - {0})
            if faultserver.IS_FULL:
                places = range(1, counts[operation] + 1, max(1, counts[operation] // 150))
            for nth in places:
                for repeat in 1, -1:
                    with self.subTest(operation, nth=nth, repeat=repeat):
                        done = self.export_with(operation=operation, nth=nth, repeat=repeat, code=SQLITE_IOERR)
                        self.is_accounted_for(done)
                        self.continues_after_rescue()
                        shutil.rmtree(self.target, ignore_errors=True)

    def is_accounted_for(self, done):
        self.assertIn(done.returncode, (COMPLETE, INCOMPLETE, FAILED), done)
        if done.returncode == FAILED:
            self.assertNotEqual(done.stderr, "")
            return
        if not self.kinds_of(done) - self.usual:
            self.assertEqual(tree_of(self.target), self.whole, done)

    def continues_after_rescue(self):
        """Every original is there in the end. Names may differ: they stay as the damaged library had them."""
        done = self.run_it("--json")
        self.assertEqual(done.returncode, self.base, done.stderr)
        originals = {facts[0] for name, facts in self.whole.items() if name.startswith("Events") and ".xmp" not in name}
        self.assertEqual(originals - {facts[0] for facts in tree_of(self.target).values()}, set())


class Sweep(ExportFaults):
    def test_every_call_fails_at_several_places(self):
        faultserver.need_tracing()
        numbers = self.numbers()
        self.control.arm()
        self.assertEqual(self.faulted().returncode, self.base)
        counts = self.control.counts()
        shutil.rmtree(self.target)
        outcomes = {}
        for call, errors in FAULTS.items():
            count = counts.get(numbers[call], 0)
            if faultserver.IS_FULL:
                places = range(1, count + 1, max(1, count // 40))
                faults = [(nth, error, repeat) for nth in places for error in errors for repeat in (1, -1)]
            else:
                half = (count + 1) // 2
                faults = [(1, errors[0], -1), (half, errors[0], 1), *((half, error, -1) for error in errors[1:])]
            # An interrupted call is made again until it succeeds.
            faults = [(nth, error, 1 if error == "EINTR" else repeat) for nth, error, repeat in faults]
            for nth, error, repeat in faults if count else ():
                with self.subTest(call, error=error, nth=nth, repeat=repeat):
                    # The pipes between its threads cannot fail, and the computer's files are not its disks.
                    file = self.folder.name if call in ("read", "write") else ""
                    status = self.one(numbers[call], getattr(errno, error), nth, repeat, file)
                    outcomes[status] = outcomes.get(status, 0) + 1
        print(outcomes)
        self.assertTrue({COMPLETE, INCOMPLETE} & set(outcomes) and FAILED in outcomes, outcomes)

    def one(self, call, error, nth, repeat, file):
        shutil.rmtree(self.target, ignore_errors=True)
        self.control.arm(call, nth=nth, repeat=repeat, error=error, file=file)
        done = self.faulted("--json")
        self.control.disarm()
        self.assertIn(done.returncode, (self.base, COMPLETE, INCOMPLETE, FAILED), (done, self.control.description()))
        if done.returncode == FAILED:
            self.assertNotEqual(done.stderr, "")
        elif not self.kinds_of(done) - self.usual:
            self.assertEqual(tree_of(self.target), self.whole, (done, self.control.description()))
        self.assertEqual(stamp_of_library(self.library), self.stamp)
        report = json.loads(self.run_it("--json").stdout.splitlines()[-1])
        originals = {facts[0] for name, facts in self.whole.items() if name.startswith("Events") and ".xmp" not in name}
        self.assertEqual(originals - {facts[0] for facts in tree_of(self.target).values()}, set(), report)
        shutil.rmtree(self.target, ignore_errors=True)
        return done.returncode


class Signals(ExportFaults):
    def test_a_signal_ends_it_at_any_time(self):
        library = moxteltest.make_library(self.folder / "Signals", "--images", "small", "--photos", 150)
        start = time.monotonic()
        base = self.run_it(library=library).returncode
        duration = time.monotonic() - start
        whole = tree_of(self.target)
        chance = random.Random(7)
        interrupted = 0
        for number in range(40 if faultserver.IS_FULL else 10):
            shutil.rmtree(self.target)
            which = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)[number % 3]
            process = subprocess.Popen([self.program, str(library), str(self.target)], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True)
            with process:
                try:
                    process.wait(timeout=chance.random() * duration)
                except subprocess.TimeoutExpired:
                    process.send_signal(which)
                _, errors = process.communicate(timeout=faultserver.PATIENCE)
            # Before the program takes signals, the system's default ends it.
            self.assertIn(process.returncode, (base, INTERRUPTED, -which))
            if process.returncode == INTERRUPTED:
                interrupted += 1
                self.assertIn("The same command continues", errors)
            self.assertEqual(self.run_it(library=library).returncode, base)
            self.assertEqual(tree_of(self.target), whole)
        self.assertGreater(interrupted, 0)

    def test_a_signal_while_a_large_file_is_copied(self):
        library = moxteltest.make_library(self.folder / "Largest", "--images", "small", "--photos", 30)
        movie = next((library / "Masters").rglob("*.MOV"))
        os.truncate(movie, 3 << 30)
        process = subprocess.Popen([self.program, str(library), str(self.target)], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        part = self.target / ".moxtel-export/copy.part"
        with process:
            moxteltest.wait_for(lambda: part.exists() and part.stat().st_size > 4 << 20, "the large file")
            process.send_signal(signal.SIGTERM)
            process.communicate(timeout=faultserver.PATIENCE)
        self.assertEqual(process.returncode, INTERRUPTED)
        self.assertFalse(part.exists())
        shutil.rmtree(library)

    def test_of_two_exports_to_one_target_the_second_ends(self):
        faultserver.need_tracing()
        self.control.arm()
        command = [moxteltest.program("MOXTEL_CALL_FAULTS"), str(self.control.path), self.program, str(self.library),
                   str(self.target)]
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        with process:
            moxteltest.wait_for(lambda: (self.target / ".moxtel-export/state.db").exists(), "the state")
            os.kill(self.control["server"], signal.SIGSTOP)
            self.fails_with("another export is writing to this folder", self.run_it())
            os.kill(self.control["server"], signal.SIGCONT)
            process.communicate(timeout=faultserver.PATIENCE)
        self.assertEqual(process.returncode, self.base)
        self.continues()


if __name__ == "__main__":
    unittest.main()
