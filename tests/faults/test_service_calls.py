"""Runs programs with the system calls that the service's unit allows.

systemd itself is not needed: the calls come from the unit's SystemCallFilter= and from the groups that
systemd-analyze lists, and libseccomp refuses all others. This does not show what the unit's other settings do.
"""

import ctypes
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

import faultserver
import moxteltest

UNIT = pathlib.Path(__file__).parents[2] / "packaging/moxtelserverd.service.in"
ALLOW, REFUSE_WITH_EPERM = 0x7FFF0000, 0x00050001
SET_NO_NEW_PRIVILEGES = 38
REFUSED = 3


def calls_of(word):
    """The system calls of a group, or the one that the word names."""
    if not word.startswith("@"):
        return {word}
    listed = subprocess.run(["systemd-analyze", "syscall-filter", word], check=True, capture_output=True, text=True)
    words = [line.strip() for line in listed.stdout.splitlines()[1:]]
    return set().union(*(calls_of(each) for each in words if each and not each.startswith("#")))


def allowed_calls():
    allowed = set()
    for value in re.findall(r"^SystemCallFilter=(.*)$", UNIT.read_text(), re.MULTILINE):
        words = value.lstrip("~").split()
        calls = set().union(*(calls_of(word) for word in words))
        allowed = allowed - calls if value.startswith("~") else allowed | calls
    return allowed | calls_of("@default")


def refuse_all_but(calls):
    library = ctypes.CDLL("libseccomp.so.2", use_errno=True)
    library.seccomp_init.restype = ctypes.c_void_p
    context = ctypes.c_void_p(library.seccomp_init(REFUSE_WITH_EPERM))
    for name in calls:
        number = library.seccomp_syscall_resolve_name(name.encode())
        if number >= 0:
            library.seccomp_rule_add(context, ALLOW, number, 0)
    ctypes.CDLL(None).prctl(SET_NO_NEW_PRIVILEGES, 1, 0, 0, 0)
    if library.seccomp_load(context) != 0:
        raise OSError("the filter cannot be loaded")


class ServiceCalls(faultserver.FaultTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.calls = " ".join(sorted(allowed_calls()))
        cls.script = cls.folder / "within-the-unit"

    def as_in_the_unit(self, *command):
        """Runs a command with the unit's calls; its exit status."""
        return subprocess.run([sys.executable, __file__, "--run", self.calls, *map(str, command)]).returncode

    def test_the_filter_refuses_what_the_unit_does_not_allow(self):
        self.assertNotEqual(self.as_in_the_unit("unshare", "--mount", "true"), 0)

    def test_a_helper_is_confined(self):
        program = moxteltest.program("MOXTEL_CONFINED_PROCESS")
        with tempfile.TemporaryDirectory() as folder:
            scratch = pathlib.Path(folder) / "scratch"
            scratch.mkdir()
            if subprocess.run([program, "landlock", scratch, "2"]).returncode != 0:
                self.skipTest("the kernel has no Landlock of version 2")
            for deed in ("landlock", "filter"):
                self.assertEqual(self.as_in_the_unit(program, deed, scratch, "2"), 0, deed)
            self.assertEqual(self.as_in_the_unit(program, "read", scratch, "2", "/etc/passwd"), REFUSED)
            self.assertEqual(self.as_in_the_unit(program, "socket", scratch, "2"), REFUSED)
            self.assertEqual(self.as_in_the_unit(program, "make", scratch, "2", scratch / "new"), 0)

    def test_the_server_serves_pictures(self):
        self.script.write_text("#!/bin/sh\nexec %s %s --run %s %s \"$@\"\n" % tuple(map(shlex.quote, (
            sys.executable, __file__, self.calls, moxteltest.program("MOXTEL_SERVER")))))
        self.script.chmod(0o700)
        with moxteltest.Server(self.library, binary=self.script) as server:
            for request in self.requests.all:
                self.assertEqual(self.answer(server, request), self.expected[self.requests.name(request)], request)


if __name__ == "__main__":
    if sys.argv[1:2] == ["--run"]:
        refuse_all_but(sys.argv[2].split())
        os.execvp(sys.argv[3], sys.argv[3:])
    if not shutil.which("systemd-analyze"):
        print("skipped: systemd-analyze, which lists the groups of calls, is missing")
        sys.exit(77)
    unittest.main()
