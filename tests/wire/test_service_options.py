"""The programs for diagnosis with the options of the installed service, and what a service with wrong options says.

As root, and in a namespace of its own, in which /etc/default and the users are this test's."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import moxteltest

USER = 64321


def has_namespace():
    return os.getuid() == 0 and shutil.which("unshare") and subprocess.run(
        ["unshare", "--mount", "true"], capture_output=True).returncode == 0


class ServiceOptions(moxteltest.LibraryTestCase):
    options = ("--images", "small", "--photos", "20")

    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        self.addCleanup(shutil.rmtree, self.place)
        self.place.chmod(0o755)
        (self.place / "passwd").write_text(
            pathlib.Path("/etc/passwd").read_text() + "moxtelserver:x:%d:%d::/nonexistent:/bin/false\n" % (USER, USER))
        self.copy = self.place / "iPhoto Library"
        shutil.copytree(self.library, self.copy)

    def run_with(self, options, *arguments, environment=()):
        """The service's file has these options."""
        (self.place / "default").mkdir(exist_ok=True)
        (self.place / "default/moxtelserverd").write_text(options)
        script = 'mount --bind "$0/default" /etc/default && mount --bind "$0/passwd" /etc/passwd && exec "$@"'
        return subprocess.run(
            ["unshare", "--mount", "sh", "-c", script, self.place, moxteltest.program("MOXTEL_SERVER"), *arguments],
            text=True, capture_output=True, timeout=moxteltest.PATIENCE,
            env={"PATH": "/usr/bin:/bin", "HOME": str(self.place), "XDG_CONFIG_HOME": str(self.place),
                 "TMPDIR": "/tmp", **dict(environment)})

    def test_folders_of_the_services_library(self):
        ended = self.run_with("MOXTEL_OPTIONS=\"-LibraryPath '%s'\"\n" % self.copy, "--print-folders")
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertTrue(ended.stdout.startswith("%s\n\nEvents\n" % self.copy), ended.stdout)
        self.assertEqual(ended.stderr,
                         "With the options of the service in /etc/default/moxtelserverd, as its user moxtelserver.\n")

    def test_another_library_is_not_the_services(self):
        ended = self.run_with("MOXTEL_OPTIONS=\"-LibraryPath /nowhere\"\n", "--print-folders", "-LibraryPath",
                              str(self.library))
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))

    def test_check_before_the_service_has_options(self):
        ended = self.run_with("#MOXTEL_OPTIONS=\n", "--check", "-Port", "0", "-WebPort", "0")
        self.assertEqual(ended.stderr,
                         "The service has no options yet in /etc/default/moxtelserverd; tried as its user moxtelserver.\n")
        self.assertEqual(ended.returncode, 1)
        self.assertIn(" ✗ Library: none is set.", ended.stdout)

    def test_check_as_the_services_user(self):
        options = "MOXTEL_OPTIONS=\"-LibraryPath '%s' -Port 0 -WebPort 0\"\n" % self.copy
        self.assertIn(" ✓ Library: ", self.run_with(options, "--check").stdout)
        self.copy.chmod(0o700)
        ended = self.run_with(options, "--check")
        self.assertEqual(ended.returncode, 1)
        self.assertIn(" ✗ Library: '%s' cannot be served. This user is not permitted to read the folder. " % self.copy,
                      ended.stdout)
        self.assertIn(" setfacl -R -m u:moxtelserver:rX '%s'\n" % self.copy, ended.stdout)

    def test_wrong_options_name_their_file(self):
        ended = self.run_with("", "-LibraryPath", "/srv/iPhoto", "Library",
                              environment={"MOXTEL_OPTIONS": "-LibraryPath /srv/iPhoto Library"}.items())
        self.assertEqual(ended.returncode, 2)
        self.assertIn("A value with blanks needs quotes: -LibraryPath '/srv/iPhoto Library'\n"
                      "These options are in /etc/default/moxtelserverd.\n", ended.stderr)


if __name__ == "__main__":
    if not has_namespace():
        print("needs root and a mount namespace")
        sys.exit(77)
    unittest.main()
