"""moxtel-export as users and other programs run it: choices, reports, exit codes, progress.

Usage: features_test.py BIN_FOLDER [unittest arguments]"""
import json
import os
import signal
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
        self.assertIn(process.wait(), (0, 130))
        self.assertTrue(json.loads(lines[-1])["dryRun"])
        self.assertFalse(self.target.exists())

    def test_a_failure_is_in_the_report_for_another_program(self):
        library = self.library("--photos", "3")
        before = state_of(library)
        self.assertIn("lies in the library", self.report(library, library / "in", expected=1)["failure"])
        self.assertIn("no photo library", self.report(self.folder / "none", self.target, expected=3)["failure"])
        self.assertEqual(state_of(library), before)


if __name__ == "__main__":
    export_test.BIN = os.path.abspath(sys.argv.pop(1))
    unittest.main()
