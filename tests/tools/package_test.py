"""What the desktop, the service manager and Debian's own checker say of the packages; none may complain.

Usage: package_test.py BUILD CPACK. A tool that is not installed is skipped, by name; the build folder must
hold the programs.
"""

import gzip
import io
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tarfile
import tempfile
import unittest

BUILD, CPACK = map(pathlib.Path, sys.argv[1:3])
DESKTOP, HEADLESS, DECODER = "moxtelserver", "moxtelserver-headless", "moxtelserver-raw-heic"
PROGRAMS = ("MoxtelServer", "moxtelserverd", "moxtel", "moxtel-export", "moxtel-make-library")


def output_of(*command, **options):
    """Exit status and everything that a command prints."""
    ended = subprocess.run(list(map(str, command)), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                           timeout=240, **options)
    return ended.returncode, ended.stdout


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="moxteltest."))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        for old in (BUILD / "package").glob("*.deb"):
            old.unlink()
        status, text = output_of(CPACK, "--config", BUILD / "CPackConfig.cmake", "-G", "DEB", "-B", cls.folder,
                                 cwd=cls.folder)
        packages = list(cls.folder.glob("*.deb")) or list((BUILD / "package").glob("*.deb"))
        cls.packages = {package.name.partition("_")[0]: package for package in packages}
        if status != 0 or set(cls.packages) != {DESKTOP, HEADLESS, DECODER}:
            raise AssertionError(text)
        cls.root = cls.folder / "root"
        for package in packages:
            subprocess.run(["dpkg-deb", "-x", package, cls.root], check=True)

    def field(self, package, name):
        return subprocess.check_output(["dpkg-deb", "-f", self.packages[package], name], text=True).strip()

    def files_of(self, package):
        listed = subprocess.check_output(["dpkg-deb", "--fsys-tarfile", self.packages[package]])
        return set(tarfile.open(fileobj=io.BytesIO(listed)).getnames())

    def needs(self, tool):
        if not shutil.which(tool):
            self.skipTest(tool + " is not installed")

    def test_a_nas_needs_no_windows_and_no_picture_libraries(self):
        depends = self.field(HEADLESS, "Depends")
        for library in ("libqt6gui", "libqt6widgets", "libvips", "libheif"):
            self.assertNotIn(library, depends)
        self.assertIn(DECODER, self.field(HEADLESS, "Recommends"))
        self.assertIn("./usr/libexec/moxtel/moxtel-picture-decoder", self.files_of(DECODER))
        self.assertNotIn("./usr/libexec/moxtel/moxtel-picture-decoder", self.files_of(HEADLESS))

    def test_they_replace_the_one_package_and_each_other_at_the_same_version(self):
        version = self.field(HEADLESS, "Version")
        for package in (DESKTOP, DECODER):
            self.assertEqual(self.field(package, "Version"), version)
            self.assertIn("%s (= %s)" % (HEADLESS, version), self.field(package, "Depends"))
        for package in (HEADLESS, DECODER):
            for field in ("Breaks", "Replaces"):
                self.assertEqual(self.field(package, field), "%s (<< %s)" % (DESKTOP, version))

    def test_no_file_is_in_two_packages(self):
        seen = {}
        for package in self.packages:
            for name in self.files_of(package):
                if not (self.root / name).is_dir():
                    self.assertNotIn(name, seen)
                    seen[name] = package

    def test_it_holds_every_program_with_its_manual(self):
        for name in PROGRAMS:
            self.assertTrue((self.root / "usr/bin" / name).is_file(), name)
            self.assertTrue(list((self.root / "usr/share/man").glob("man?/%s.?.gz" % name)), name)
        for helper in ("moxtel-database-copier", "moxtel-movie-converter", "moxtel-picture-decoder", "moxtel-property-reader"):
            self.assertTrue((self.root / "usr/libexec/moxtel" / helper).is_file())
        for name in PROGRAMS:
            self.assertTrue((self.root / "usr/share/bash-completion/completions" / name).is_file())
        # The programs' messages name its chapters.
        self.assertTrue((self.root / "usr/share/doc/moxtelserver-headless/mac-disk.md").is_file())
        self.assertTrue((self.root / "usr/share/moxtelserver/Help.html").is_file())

    def test_its_manuals_name_everything_that_its_help_names(self):
        for name in PROGRAMS:
            status, text = output_of(self.root / "usr/bin" / name, "--help")
            self.assertEqual(status, 0, text)
            (manual,) = (self.root / "usr/share/man").glob("man?/%s.?.gz" % name)
            manual = gzip.decompress(manual.read_bytes()).decode().replace("\\-", "-")
            if name == "MoxtelServer":
                # Takes the daemon's keys, and says so.
                self.assertIn("moxtelserverd", manual)
                continue
            words = re.findall(r"^  (?:-[oh],)?(-?-?[A-Za-z][A-Za-z-]*)", text, re.MULTILINE)
            self.assertGreater(len(words), 5, text)
            self.assertEqual([word for word in words if word not in manual], [], name)

    def test_it_depends_on_what_is_opened_at_run_time(self):
        for library in ("libavahi-client3", "libavahi-core7", "libsqlite3-0"):
            self.assertIn(library, self.field(HEADLESS, "Depends"))
        self.assertIn("libqt6widgets6", self.field(DESKTOP, "Depends"))

    def test_its_programs_start(self):
        # Beside the machine's own libraries, which the package depends on.
        status, text = output_of(self.root / "usr/bin/moxtelserverd", "--version")
        self.assertEqual(status, 0, text)

    def test_desktop_entry(self):
        self.needs("desktop-file-validate")
        entry = self.root / "usr/share/applications/moxtelserver.desktop"
        self.assertEqual(output_of("desktop-file-validate", entry), (0, ""))

    def test_icons_of_every_size(self):
        icons = self.root / "usr/share/icons/hicolor"
        self.assertTrue((icons / "scalable/apps/moxtelserver.svg").is_file())
        for size in (16, 22, 24, 32, 48, 64, 128, 256, 512):
            png = (icons / f"{size}x{size}/apps/moxtelserver.png").read_bytes()
            self.assertEqual(png[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", png[16:24]), (size, size))

    def test_texts_of_its_windows_are_in_german(self):
        self.assertIn("qt6-translations-l10n", self.field(DESKTOP, "Depends"))
        self.assertTrue((self.root / "usr/share/moxtelserver/translations/moxtelserver_de.qm").is_file())

    def test_appstream_data(self):
        self.needs("appstreamcli")
        data = self.root / "usr/share/metainfo/org.moxtel.MoxtelServer.metainfo.xml"
        status, text = output_of("appstreamcli", "validate", "--no-net", data)
        self.assertEqual(status, 0, text)

    def test_service(self):
        self.needs("systemd-analyze")
        unit = (self.root / "usr/lib/systemd/system/moxtelserverd.service").read_text()
        self.assertIn("ExecStart=/usr/bin/moxtelserverd ", unit)
        # What is checked is there, though it is not installed.
        checked = self.folder / "moxtelserverd.service"
        checked.write_text(unit.replace("/usr/bin/", str(self.root) + "/usr/bin/"))
        self.assertEqual(output_of("systemd-analyze", "verify", "--man=no", checked), (0, ""))

    def test_service_is_confined(self):
        self.needs("systemd-analyze")
        unit = self.root / "usr/lib/systemd/system/moxtelserverd.service"
        # In tenths.
        status, text = output_of("systemd-analyze", "security", "--offline=true", "--no-pager", "--threshold=20", unit)
        self.assertEqual(status, 0, text)
        settings = unit.read_text().splitlines()
        for key in ("MemoryMax=", "TasksMax=", "WatchdogSec=", "RestrictAddressFamilies=", "ProtectHome=read-only",
                    "Restart=on-failure"):
            self.assertTrue([line for line in settings if line.startswith(key)], key)
        # The helper programs confine themselves; systemd 252 has these calls in no group.
        allowed = " ".join(line for line in settings if line.startswith("SystemCallFilter=")).split()
        for call in ("landlock_create_ruleset", "landlock_add_rule", "landlock_restrict_self"):
            self.assertIn(call, " ".join(allowed))
        limit = next(line for line in settings if line.startswith("WatchdogSec="))
        self.assertEqual(limit, "WatchdogSec=5min", "more than the two minutes that a command may wait for scripts")

    def test_lintian(self):
        self.needs("lintian")
        for package in self.packages.values():
            self.assertEqual(output_of("lintian", "--allow-root", package), (0, ""))


if __name__ == "__main__":
    if not shutil.which("dpkg-deb") or not shutil.which("dpkg-shlibdeps"):
        print("Debian's package tools are not installed")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
