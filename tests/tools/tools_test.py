#!/usr/bin/env python3
"""The checks of this folder find what they look for, and nothing else."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import include_graph  # noqa: E402
import linked_libraries  # noqa: E402
import test_names  # noqa: E402


class IncludeGraph(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.src = pathlib.Path(self.folder.name) / "src"
        self.qtcore = pathlib.Path(self.folder.name) / "QtCore"
        self.qtcore.mkdir()
        (self.qtcore / "QTimer").touch()

    def problems(self, name, text):
        path = self.src / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        found = include_graph.problems(self.src, self.qtcore)[0]
        path.unlink()
        return found

    def assertFine(self, name, text):
        self.assertEqual(self.problems(name, text), [])

    def assertWrong(self, name, text):
        found = self.problems(name, text)
        self.assertEqual(len(found), 1, found)
        self.assertTrue(found[0].startswith(name + ":"), found)

    def test_lets_a_folder_include_itself_and_everything_below(self):
        self.assertFine("value/A.h", '#include "value/B.h"\n#include <string>\n')
        self.assertFine("app/A.cpp", '#include "value/B.h"\n#include "scripting/B.h"\n#include "net/B.h"\n')

    def test_finds_an_include_upward(self):
        self.assertWrong("value/A.h", '#include "platform/B.h"\n')
        self.assertWrong("library/A.cpp", '  #  include "scripting/B.h"\n')

    def test_knows_a_room_inside_another(self):
        self.assertFine("library/answers/A.cpp", '#include "library/answers/A.h"\n#include "library/B.h"\n')
        self.assertFine("scripting/A.cpp", '#include "library/answers/A.h"\n')
        self.assertWrong("library/A.cpp", '#include "library/answers/A.h"\n')
        self.assertWrong("library/answers/A.cpp", '#include "scripting/A.h"\n')

    def test_finds_an_include_across(self):
        self.assertWrong("net/A.cpp", '#include "console/B.h"\n')
        self.assertWrong("console/A.cpp", '#include "net/B.h"\n')
        self.assertWrong("client/A.cpp", '#include "library/B.h"\n')

    def test_finds_includes_without_their_folder_and_unknown_folders(self):
        self.assertWrong("value/A.cpp", '#include "B.h"\n')
        self.assertWrong("other/A.cpp", "")

    def test_has_no_ring_in_its_graph(self):
        for folder in include_graph.BELOW:
            for below in include_graph.reachable(folder) - {folder}:
                self.assertNotIn(folder, include_graph.reachable(below))

    def test_compares_a_drawing_with_its_graph(self):
        arrows = [f"  {a} --> {b}" for a, belows in include_graph.BELOW.items() for b in belows]

        def problems(lines):
            return include_graph.drawing_problems("\n".join(["# A", "```mermaid", "graph TD", *lines, "```", ""]))

        self.assertEqual(problems(arrows), [])
        self.assertEqual(len(problems(arrows[1:])), 1)
        self.assertEqual(len(problems([*arrows, "  value --> app"])), 1)
        self.assertEqual(len(include_graph.drawing_problems("no drawing")), len(arrows))

    def test_lets_platform_sources_include_the_core_of_qt(self):
        self.assertFine("platform/A.cpp", "#include <QTimer>\n#include <QtCore/QTimer>\n")

    def test_finds_qt_in_headers_and_elsewhere(self):
        self.assertWrong("platform/A.h", "#include <QTimer>\n")
        self.assertWrong("net/A.cpp", "#include <QTimer>\n")
        self.assertWrong("value/A.cpp", "#include <QtCore/QTimer>\n")

    def test_lets_platform_include_the_operating_system(self):
        self.assertFine("platform/files/A.cpp", "#include <unistd.h>\n#include <sys/mman.h>\n#include <dlfcn.h>\n")

    def test_finds_headers_of_the_operating_system_elsewhere(self):
        headers = ["unistd.h", "dirent.h", "signal.h", "csignal", "pthread.h", "dlfcn.h", "ifaddrs.h", "spawn.h",
                   "sys/mman.h", "sys/stat.h", "sys/socket.h", "fcntl.h", "poll.h", "netdb.h", "linux/netlink.h"]
        for header in headers:
            with self.subTest(header):
                self.assertWrong("value/A.cpp", f"#include <{header}>\n")
                self.assertWrong("log/A.h", f"  # include <{header}>  // why\n")

    def test_lets_net_include_sockets_and_nothing_else_of_the_system(self):
        self.assertFine("net/A.cpp", "#include <sys/socket.h>\n#include <netinet/tcp.h>\n#include <poll.h>\n")
        self.assertWrong("net/A.cpp", "#include <unistd.h>\n")
        self.assertWrong("net/A.cpp", "#include <sys/stat.h>\n")

    def test_finds_the_headers_of_a_library_outside_its_folder(self):
        for header, folder in (("avahi-client/client.h", "dnssd"), ("sqlite3.h", "library"), ("expat.h", "plist")):
            with self.subTest(header):
                self.assertFine(f"{folder}/A.cpp", f"#include <{header}>\n")
                self.assertWrong("net/A.cpp", f"#include <{header}>\n")

    def test_lets_programs_name_signals(self):
        self.assertFine("programs/A.cpp", "#include <csignal>\n")

    def test_lets_every_folder_include_the_standard_library(self):
        self.assertFine("value/A.cpp", "#include <string>\n#include <cstdio>\n#include <filesystem>\n")

    def test_knows_exceptions_by_file_and_header(self):
        include_graph.OTHER_OWNERS[("log/A.cpp", "unistd.h")] = "a test"
        self.addCleanup(include_graph.OTHER_OWNERS.pop, ("log/A.cpp", "unistd.h"))
        self.assertFine("log/A.cpp", "#include <unistd.h>\n")
        self.assertWrong("log/B.cpp", "#include <unistd.h>\n")
        self.assertWrong("log/A.cpp", "#include <poll.h>\n")

    def test_finds_window_headers_outside_window_files(self):
        self.assertWrong("platform/A.cpp", "#include <QWidget>\n")
        self.assertWrong("app/MXPAppDelegate.cpp", "#include <QtGui/QFont>\n")
        self.assertFine("app/windows/MainWindow.cpp", "#include <QWidget>\n#include <QTimer>\n")
        self.assertFine("console/window/ConsoleWindow.h", "#include <QtGui/QFont>\n")


class LinkedLibraries(unittest.TestCase):
    LISTING = """\tlinux-vdso.so.1 (0x00007ffd)
\tlibQt6Core.so.6 => /lib/x86_64-linux-gnu/libQt6Core.so.6 (0x00007f)
\tlibmissing.so.2 => not found
\t/lib64/ld-linux-x86-64.so.2 (0x00007f)
"""

    def test_reads_the_list(self):
        self.assertEqual(
            linked_libraries.libraries(self.LISTING),
            ["ld-linux-x86-64.so.2", "libQt6Core.so.6", "libmissing.so.2", "linux-vdso.so.1"],
        )

    def test_finds_what_is_missing_and_what_is_too_much(self):
        names = linked_libraries.libraries(self.LISTING)
        self.assertEqual(linked_libraries.problems(names, ["libQt6Core"], ["libQt6Gui"]), [])
        self.assertEqual(
            linked_libraries.problems(names, ["libQt6Gui"], ["libQt6"]),
            ["not linked with libQt6Gui", "linked with libQt6Core.so.6"],
        )


class TestNames(unittest.TestCase):
    def test_finds_a_name_in_two_files(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "A.cpp").write_text("TEST(One, works) {}\nTEST_F(Two, works) {}\n")
            (folder / "B.cpp").write_text("TEST_P(Two,\n       works) {}\n  // TEST(One, works)\n")
            places = test_names.places_by_name(folder)
            self.assertEqual({name: len(files) for name, files in places.items()}, {"One.works": 1, "Two.works": 2})


if __name__ == "__main__":
    unittest.main()
