"""Bash's completion offers what the programs' --help lists, no more and no less.

Usage: completion_test.py COMPLETIONS_FOLDER PROGRAM…"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

FOLDER = PROGRAMS = None


def completed(program, words, folder=None):
    """What Bash offers for the last of the words."""
    script = os.path.join(FOLDER, program if program != "MoxtelServer" else "moxtelserverd")
    code = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "_${1//-/_}"; printf "%s\\n" "${COMPREPLY[@]}"'
    output = subprocess.run(["bash", "-c", code, "bash", script, program, *words], cwd=folder, check=True,
                            capture_output=True, text=True)
    assert not output.stderr, output.stderr
    return sorted(filter(None, output.stdout.split("\n")))


def help_lines(program, heading):
    """The lines below a heading of --help that begin an entry."""
    text = subprocess.run([PROGRAMS[program], "--help"], check=True, capture_output=True, text=True).stdout
    section = re.search(r"^%s:\n((?:  .*\n)+)" % heading, text, re.M).group(1)
    return [line.strip() for line in section.splitlines() if re.match(r"  \S", line)]


def options(program):
    """From every group of --help; of clients those with two dashes, which have a short form, too."""
    text = subprocess.run([PROGRAMS[program], "--help"], check=True, capture_output=True, text=True).stdout
    return sorted(re.findall(r"^  (?:-\w,)?(--[\w-]+|-[A-Z]\w+)", text, re.M))


class Completion(unittest.TestCase):
    def test_offers_every_option(self):
        for program in PROGRAMS:
            self.assertEqual(completed(program, ["-"]), options(program))

    def test_offers_every_command(self):
        commands = sorted(line.split()[0] for line in help_lines("moxtel", "Commands"))
        self.assertEqual(completed("moxtel", [""]), commands)
        self.assertEqual(completed("moxtel", ["--host", "nas", "--json", ""]), commands)
        self.assertEqual(completed("moxtel", ["fo"]), ["folders"])

    def test_offers_one_command_only(self):
        self.assertEqual(completed("moxtel", ["albums", ""]), [])
        self.assertEqual(completed("moxtel", ["photos", ""]), ["allPhotosAlbum"])

    def test_offers_values(self):
        self.assertEqual(completed("moxtel-make-library", ["x", "--images", ""]), ["none", "photo", "small"])
        for value in completed("moxtel-make-library", ["x", "--images", ""]):
            # The program knows the value: what it misses is the folder.
            run = subprocess.run([PROGRAMS["moxtel-make-library"], "--images", value], capture_output=True, text=True)
            self.assertIn("DIR is required", run.stderr)
        self.assertEqual(completed("moxtel-export", ["x", "--layout", ""]), ["dates", "events"])
        self.assertEqual(completed("moxtel", ["--port", ""]), [])

    def test_offers_values_of_the_servers_settings(self):
        for program in ("moxtelserverd", "MoxtelServer"):
            self.assertEqual(completed(program, ["-Port", "1", "-PreferAperture", ""]), ["NO", "YES"])
            self.assertEqual(completed(program, ["-Port", "-Po"]), [])
            self.assertEqual(completed(program, ["-Port", "1", "-Li"]), ["-LibraryPath", "-ListenAddress"])
            # The server knows what is offered; what is wrong is behind it.
            for option, values in (("-WebAccess", ["key", "off", "open"]), ("-DebugLevel", ["0", "1", "2"])):
                self.assertEqual(completed(program, [option, ""]), values)
                for value in values:
                    run = subprocess.run([PROGRAMS[program], option, value, "x"], capture_output=True, text=True)
                    self.assertIn("unexpected argument 'x'", run.stderr)

    def test_offers_a_value_for_every_setting_of_yes_or_no(self):
        text = subprocess.run([PROGRAMS["moxtelserverd"], "--help"], check=True, capture_output=True, text=True).stdout
        settings = re.findall(r"^  (-\w+) YES\|NO", text, re.M)
        self.assertIn("-HideHidden", settings)
        for setting in settings:
            self.assertEqual(completed("moxtelserverd", [setting, ""]), ["NO", "YES"], setting)

    def test_offers_files(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "photos in here"))
            open(os.path.join(folder, "picture.jpg"), "w").close()
            self.assertEqual(completed("moxtel", ["thumb", "k", "-o", "pi"], folder), ["picture.jpg"])
            self.assertEqual(completed("moxtel-make-library", [""], folder), ["photos in here"])
            self.assertEqual(completed("moxtelserverd", ["-LibraryPath", ""], folder), ["photos in here"])
            self.assertEqual(completed("moxtelserverd", ["-ErrorLogPath", "pi"], folder), ["picture.jpg"])


if __name__ == "__main__":
    FOLDER = sys.argv.pop(1)
    PROGRAMS = {os.path.basename(path): path for path in sys.argv[1:]}
    del sys.argv[1:]
    unittest.main()
