#!/usr/bin/env python3
"""Checks which shared libraries a program is linked with, those of its libraries included.

Usage: linked_libraries.py PROGRAM [--with NAME …] [--without NAME …]

A name is the start of a library's file name ("libQt6Gui"). Exits with status 1 and says so if one is missing
or should not be there, or if the program's libraries cannot be listed.
"""

import argparse
import pathlib
import re
import subprocess
import sys


def libraries(listing):
    """The file names in what ldd prints."""
    names = re.findall(r"^\s*(\S+)\s+(?:=>|\()", listing, re.MULTILINE)
    return sorted({pathlib.PurePath(name).name for name in names})


def problems(names, wanted, unwanted):
    found = [f"not linked with {name}" for name in wanted if not any(n.startswith(name) for n in names)]
    found += [f"linked with {n}" for n in names if any(n.startswith(name) for name in unwanted)]
    return found


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--with", dest="wanted", nargs="*", default=[])
    parser.add_argument("--without", dest="unwanted", nargs="*", default=[])
    arguments = parser.parse_args()
    run = subprocess.run(["ldd", arguments.program], capture_output=True, text=True, timeout=60, check=False)
    names = libraries(run.stdout)
    if run.returncode != 0 or not names:
        print(f"cannot list the libraries of {arguments.program}: {run.stderr.strip()}")
        return 1
    found = problems(names, arguments.wanted, arguments.unwanted)
    for problem in found:
        print(f"{arguments.program}: {problem}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
