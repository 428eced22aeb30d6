#!/usr/bin/env python3
"""Checks which folder of src/ includes which, where Qt and the headers of the operating system and of some libraries
are included, and that a document draws the same graph.

Usage: include_graph.py SRC [--qtcore FOLDER] [--document FILE]

Each folder may include itself and the folders below it. The .cpp files of platform/ and the files listed here may
include Qt's core headers; window files alone may include those of its windows. OWNERS says which folders may include
the other headers. Prints each violation and exits with
status 1. --qtcore is the folder with Qt's core headers; --document is a Markdown file whose first Mermaid graph must
have exactly the arrows of BELOW.
"""

import argparse
import pathlib
import re
import sys

# Folders inside another one that are rooms of their own.
INNER_ROOMS = {"library/answers": "answers"}
# room: the rooms right below it. What those may include, it may include too.
BELOW = {
    "value": [],
    "plist": ["value"],
    "platform": ["value"],
    "log": ["platform"],
    "support": ["log"],
    "dnssd": ["support"],
    "net": ["dnssd", "plist"],
    "console": ["support"],
    "pictures": ["support", "plist"],
    "library": ["pictures"],
    "answers": ["library"],
    "scripting": ["answers"],
    "commands": ["scripting", "net"],
    "web": ["answers", "net"],
    "app": ["commands", "web", "console"],
    "client": ["net"],
    "export": ["answers"],
    "programs": ["app", "client", "export"],
}
# Files outside platform/ whose .cpp earns QtCore, each with its reason.
CORE_QT_FILES = {
    "plist/XmlLeaves.cpp": "base64",
    "library/facts/ZoneRules.cpp": "time zones",
    "library/ImageFiles.cpp": "Unicode categories: which characters are letters",
    "library/FileNameForms.cpp": "Unicode normal forms and case of file names",
    "library/answers/FoldedText.cpp": "Unicode normal forms, case and categories of letters",
    "library/answers/RuleDates.cpp": "days in time zones",
    "client/Json.cpp": "base64",
    "web/http/WebAccess.cpp": "message authentication codes",
    "web/page/PageFiles.cpp": "the page is a Qt resource",
}
# Windows, and the main that starts their application.
WINDOW_FILES = re.compile(r"^((console/window|app/windows)/\w+\.(h|cpp)|programs/MoxtelServer\.cpp)$")
# Headers and the folders that may include them. The first line that matches counts; other headers are free.
OWNERS = [
    # sockets
    (r"(sys/(socket|uio|ioctl|time)|(net|netinet|arpa)/\w+|linux/(sockios|tcp)|netdb|poll|fcntl)\.h",
     {"platform", "net", "web"}),
    # the rest of the operating system
    (r"(sys|linux|asm|net|netinet|arpa|mach|mach-o)/.*", {"platform"}),
    (r"(unistd|dirent|ifaddrs|signal|spawn|pthread|sched|semaphore|dlfcn|pwd|grp|termios|syslog|glob|ftw|mqueue)\.h",
     {"platform"}),
    (r"csignal", {"platform", "programs"}),  # programs name the signals that end them
    # libraries behind one folder each
    (r"avahi-\w+/.*", {"dnssd"}),
    (r"sqlite3\.h", {"library"}),
    (r"expat\.h", {"plist"}),
    (r"(microhttpd|qrencode)\.h", {"web"}),
]
# Files outside those folders that may include such a header all the same, each with its reason.
OTHER_OWNERS = {
    ("export/StateSql.cpp", "sqlite3.h"): "the export's own state, which is no library",
}
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def room_of(name):
    """The room of a file or header, by its name in src/."""
    folder = name.rpartition("/")[0]
    return INNER_ROOMS.get(folder, name.split("/")[0])


def reachable(folder):
    """The folders that a folder may include."""
    found = {folder}
    for below in BELOW[folder]:
        found |= reachable(below)
    return found


def is_qt(header):
    return re.match(r"^(Qt\w*/)?Q[A-Za-z]\w*$", header) is not None or re.match(r"^Qt\w*/", header) is not None


def is_core_qt(header, qtcore):
    if header.startswith("Qt") and "/" in header:
        return header.startswith("QtCore/")
    return qtcore is not None and (pathlib.Path(qtcore) / header).exists()


def check_own(name, header):
    folder = room_of(name)
    other = room_of(header)
    if folder == "programs" and other == "makelibrary":
        return None  # in tools/: the program is shipped, what it is made of is for developing
    if "/" not in header or other not in BELOW:
        return f'{name}: "{header}" is not named by its folder in src/'
    if other not in reachable(folder):
        return f'{name}: {folder}/ may not include "{header}"'
    return None


def check_owner(name, header):
    for pattern, folders in OWNERS:
        if re.fullmatch(pattern, header):
            if name.split("/")[0] in folders or (name, header) in OTHER_OWNERS:
                return None
            return f"{name}: <{header}> belongs in {', '.join(sorted(folder + '/' for folder in folders))}"
    return None


def check_system(name, header, qtcore):
    if not is_qt(header):
        return check_owner(name, header)
    if WINDOW_FILES.match(name):
        return None
    if not is_core_qt(header, qtcore):
        return f"{name}: <{header}> belongs in window files"
    if not name.endswith(".cpp"):
        return f"{name}: a header may not include <{header}>"
    if not name.startswith("platform/") and name not in CORE_QT_FILES:
        return f"{name}: <{header}> belongs in platform/"
    return None


def problems(src, qtcore=None):
    """What is wrong in a source folder, a line each, and how many files were looked at."""
    src = pathlib.Path(src)
    found = []
    files = sorted(path for path in src.rglob("*") if path.suffix in (".h", ".cpp", ".mm"))
    for path in files:
        name = path.relative_to(src).as_posix()
        if room_of(name) not in BELOW:
            found.append(f"{name}: its folder is not in the graph")
            continue
        for own, system in INCLUDE.findall(path.read_text(encoding="utf-8")):
            problem = check_own(name, own) if own else check_system(name, system, qtcore)
            if problem:
                found.append(problem)
    return found, len(files)


def drawing_problems(markdown):
    """How the arrows of the first Mermaid graph differ from BELOW, a line each."""
    graph = re.search(r"^```mermaid\ngraph .*?^```$", markdown, re.MULTILINE | re.DOTALL)
    drawn = set(re.findall(r"^ *(\w+) --> (\w+)$", graph[0], re.MULTILINE)) if graph else set()
    checked = {(folder, below) for folder, belows in BELOW.items() for below in belows}
    return [f"the document does not draw '{a} --> {b}'" for a, b in sorted(checked - drawn)] + [
        f"the document draws '{a} --> {b}', which is not in the graph" for a, b in sorted(drawn - checked)]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("src")
    parser.add_argument("--qtcore")
    parser.add_argument("--document", type=pathlib.Path)
    arguments = parser.parse_args()
    found, files = problems(arguments.src, arguments.qtcore)
    if arguments.document:
        found += drawing_problems(arguments.document.read_text(encoding="utf-8"))
    for problem in found:
        print(problem)
    print(f"{files} files, {len(found)} problems")
    return 1 if found or files == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
