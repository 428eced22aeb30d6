#!/usr/bin/env python3
"""Measures which lines of each parser its fuzz target reaches.

    fuzz/coverage.py [FOLDER] [TARGET …]

Builds the targets with the preset "coverage" (without sanitizers, because their branches would be counted). Runs each
with its seeds, its old crashes and the inputs in FOLDER/TARGET (FOLDER is build/fuzz/out). Writes one line for each
target into FOLDER/coverage, for the table of fuzz/report.py: NAME lines REACHED of ALL. Counts only the parser's own
sources, not the code that it uses.
"""

import argparse
import json
import os
import pathlib
import subprocess
import tempfile

import report

BUILD = report.ROOT / "build/coverage"
# The sources that each target tests, below src/.
PARSERS = {
    "ArchiveFuzz": ("plist/KeyedUnarchiver.cpp", "plist/BinaryPropertyList.cpp", "plist/XmlArchive.cpp",
                    "plist/XmlPropertyListReader.cpp", "plist/PropertyListLeaves.cpp",
                    "plist/XmlLeaves.cpp"),
    "PropertyListFuzz": ("plist/BinaryPropertyListReader.cpp", "plist/PropertyListTree.cpp", "plist/XmlArchive.cpp",
                         "plist/XmlPropertyListReader.cpp", "plist/PropertyListLeaves.cpp", "plist/XmlLeaves.cpp"),
    "XmlMenderFuzz": ("plist/XmlMender.cpp",),
    "ArchiveGrammarFuzz": ("plist/KeyedUnarchiver.cpp", "plist/BinaryPropertyList.cpp"),
    "FormatFuzz": ("value/Format.cpp",),
    "ScriptResultFuzz": ("platform/applications/ScriptResult.cpp",),
    "AlbumDataFuzz": ("library/albumdata/AlbumDataFile.cpp", "library/albumdata/AlbumDataTree.cpp",
                      "plist/BinaryPropertyListReader.cpp", "plist/PropertyListTree.cpp", "plist/XmlMender.cpp",
                      "plist/XmlPropertyListReader.cpp"),
    "IntakeFuzz": ("commands/CommandHandler.cpp", "commands/CommandRequest.cpp", "commands/ListingCommands.cpp"),
    "CommandFuzz": ("commands/",),
    "AlbumDataTablesFuzz": ("library/kinds/AlbumDataTables.cpp", "library/kinds/AlbumDataDatabase.cpp",
                            "library/kinds/EntrySink.cpp"),
    "PhotosViewsFuzz": ("library/kinds/Photos4Views.cpp", "library/kinds/Photos5Views.cpp"),
    "AlbumRuleFuzz": ("library/answers/AlbumRule.cpp", "library/answers/RuleDates.cpp",
                      "library/answers/RuleText.cpp"),
    "DefaultsFuzz": ("platform/settings/UserDefaults.cpp",),
    "PropertiesFuzz": ("pictures/properties/",),
    "FlatPsdFuzz": ("pictures/codec/FlatPsd.cpp",),
    "JpegFuzz": ("pictures/codec/Jpeg.cpp", "pictures/codec/JpegLibrary.cpp"),
}


def is_of(name, file):
    source = report.ROOT / "src"
    return file.suffix == ".cpp" and file.is_relative_to(source) and \
        str(file.relative_to(source)).startswith(PARSERS[name])


def lines(name, inputs, folder):
    """The number of lines reached, and of all lines."""
    program = BUILD / "fuzz" / name
    raw, merged = folder / (name + ".profraw"), folder / (name + ".profdata")
    places = [report.ROOT / "fuzz/corpus" / name, report.ROOT / "fuzz/crashes" / name, inputs / name]
    if subprocess.run([program, *places], stdout=subprocess.DEVNULL,
                      env={**os.environ, "LLVM_PROFILE_FILE": str(raw)}).returncode != 0:
        raise SystemExit("%s fails with one of the inputs in %s" % (name, ", ".join(map(str, places))))
    subprocess.run(["llvm-profdata", "merge", "-o", merged, raw], check=True)
    exported = subprocess.run(["llvm-cov", "export", "-summary-only", "-instr-profile=%s" % merged, program],
                              check=True, stdout=subprocess.PIPE).stdout
    found = [file["summary"]["lines"] for file in json.loads(exported)["data"][0]["files"]
             if is_of(name, pathlib.Path(file["filename"]).resolve())]
    return sum(file["covered"] for file in found), sum(file["count"] for file in found)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", nargs="?", type=pathlib.Path, default=report.ROOT / "build/fuzz/out")
    parser.add_argument("targets", nargs="*", metavar="TARGET")
    options = parser.parse_args()
    names = options.targets or report.target_names()
    subprocess.run(["tools/packages", "build", "test", "tools"], cwd=report.ROOT, check=True)
    subprocess.run(["cmake", "--preset", "coverage"], cwd=report.ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "coverage", "--target", *names], cwd=report.ROOT, check=True)
    options.folder.mkdir(parents=True, exist_ok=True)
    kept = options.folder / "coverage"
    # Results of other targets are kept.
    counted = {line.split()[0]: line for line in kept.read_text().splitlines()} if kept.exists() else {}
    with tempfile.TemporaryDirectory() as name:
        for target in names:
            counted[target] = "%s lines %d of %d" % (target, *lines(target, options.folder, pathlib.Path(name)))
            print(counted[target], flush=True)
    kept.write_text("\n".join(counted.values()) + "\n")


if __name__ == "__main__":
    main()
