"""Exports a generated library with everything, reads every sidecar with exiftool, and compares each value with the
library's databases, which it reads by its own statements.

Usage: exiftool_test.py BIN_FOLDER PHOTOS"""
import collections
import datetime
import json
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import tempfile
import zoneinfo

EPOCH = 978307200  # 2001-01-01 in Unix time
LABELS = {1: "Red", 2: "Orange", 3: "Yellow", 4: "Green", 5: "Blue", 6: "Purple", 7: "Gray"}
BIN = sys.argv[1]


def connect(library):
    database = sqlite3.connect(f"file:{library}/Database/apdb/Library.apdb?mode=ro", uri=True)
    for name, file in (("pr", "Properties.apdb"), ("fa", "Faces.db")):
        database.execute("ATTACH ? AS " + name, (f"file:{library}/Database/apdb/{file}?mode=ro",))
    database.row_factory = sqlite3.Row
    return database


def grouped(database, statement):
    groups = collections.defaultdict(list)
    for key, *values in database.execute(statement):
        groups[key].append(values[0] if len(values) == 1 else tuple(values))
    return groups


class Library:
    def __init__(self, path):
        database = connect(path)
        self.versions = {row["uuid"]: row for row in database.execute("SELECT * FROM RKVersion WHERE versionNumber > 0")}
        self.names = {row["modelId"]: row for row in database.execute("SELECT * FROM RKKeyword")}
        self.keywords = grouped(database, "SELECT versionId, keywordId FROM RKKeywordForVersion")
        self.iptc = grouped(database, "SELECT i.versionId, i.propertyKey, s.stringProperty FROM pr.RKIptcProperty i "
                                      "JOIN pr.RKUniqueString s ON s.modelId = i.stringId")
        self.altitudes = grouped(database, "SELECT versionId, numberProperty FROM pr.RKExifNumberProperty "
                                           "WHERE propertyKey = 'Altitude'")
        self.places = grouped(database, "SELECT v.versionId, p.type, p.defaultName FROM RKPlaceForVersion v "
                                        "JOIN pr.RKPlace p ON p.modelId = v.placeId")
        corners = ["topLeft", "topRight", "bottomLeft", "bottomRight"]
        least = "min({0}), max({0})"
        columns = ", ".join(least.format(", ".join("d." + corner + axis for corner in corners)) for axis in "XY")
        self.faces = grouped(database, f"SELECT d.masterUuid, n.name, d.faceKey, {columns} FROM fa.RKDetectedFace d "
                                       "JOIN fa.RKFaceName n ON n.faceKey = d.faceKey WHERE n.name != '' AND "
                                       "coalesce(d.rejected, 0) = 0 AND coalesce(d.ignore, 0) = 0")
        self.edited_faces = {(row[0], row[1]): row[2:] for row in database.execute(
            "SELECT versionId, faceKey, faceRectLeft, 1 - faceRectTop - faceRectHeight, faceRectWidth, faceRectHeight "
            "FROM RKVersionFaceContent WHERE faceKey != 0")}
        self.events = dict(database.execute("SELECT uuid, name FROM RKFolder WHERE folderType = 2").fetchall())
        self.albums = grouped(database, """
            WITH RECURSIVE t(uuid, path) AS (SELECT 'TopLevelAlbums', 'Albums' UNION ALL
              SELECT f.uuid, t.path || '/' || replace(f.name, '/', '-') FROM RKFolder f JOIN t
              ON f.parentFolderUuid = t.uuid WHERE f.folderType = 1 AND f.isInTrash = 0)
            SELECT av.versionId, t.path || '/' || replace(a.name, '/', '-') FROM t JOIN RKAlbum a
            ON a.folderUuid = t.uuid JOIN RKAlbumVersion av ON av.albumId = a.modelId
            WHERE a.albumType = 1 AND a.albumSubclass = 3 AND a.isInTrash = 0""")

    def path_of(self, keyword):
        row = self.names[keyword]
        return (self.path_of(row["parentId"]) if row["parentId"] else []) + [row["name"]]


def clock(version):
    if version["imageDate"] is None:
        return None
    moment = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc) + datetime.timedelta(
        seconds=int(version["imageDate"] // 1) + EPOCH)
    zone = version["imageTimeZoneName"] or "UTC"
    fixed = re.fullmatch(r"GMT([+-])(\d\d)(\d\d)", zone)
    if fixed:
        minutes = int(fixed[2]) * 60 + int(fixed[3])
        offset = datetime.timezone(datetime.timedelta(minutes=minutes if fixed[1] == "+" else -minutes))
    else:
        offset = zoneinfo.ZoneInfo(zone)
    return moment.astimezone(offset).strftime("%Y:%m:%d %H:%M:%S")


def turned(box, degrees):
    x, y, w, h = box
    return {0: box, 90: (1 - y - h, x, h, w), 180: (1 - x - w, 1 - y - h, w, h), 270: (y, 1 - x - w, h, w)}[degrees]


def boxes_of(library, version, role):
    """The faces in the file, by their names."""
    upright = (version["masterWidth"], version["masterHeight"])
    if version["rotation"] % 180:
        upright = upright[::-1]
    processed = (version["processedWidth"], version["processedHeight"])
    is_cropped = version["hasEnabledAdjustments"] == 1 and processed[0] * upright[1] != processed[1] * upright[0]
    boxes = []
    for name, key, left, right, bottom, top in library.faces[version["masterUuid"]]:
        box = (left, 1 - top, right - left, top - bottom)
        if role == "edited":
            box = turned(box, version["rotation"]) if not is_cropped else library.edited_faces.get(
                (version["modelId"], key))
        if box:
            boxes.append((name, *box))
    return sorted(boxes)


def texts(value):
    return [] if value is None else [str(each) for each in (value if isinstance(value, list) else [value])]


def regions_of(sidecar):
    found = []
    for region in sidecar.get("RegionInfo", {}).get("RegionList", []):
        assert region["Type"] == "Face" and region["Area"]["Unit"] == "normalized", region
        x, y, w, h = (float(region["Area"][each]) for each in "XYWH")
        found.append((str(region["Name"]), x - w / 2, y - h / 2, w, h))
    return sorted(found)


def expected_of(library, version):
    """What exiftool gives for a sidecar, without faces and tags of albums."""
    iptc = dict(library.iptc[version["modelId"]])
    places = dict(library.places[version["modelId"]])
    name, file = version["name"] or "", version["fileName"] or ""
    keywords = [library.path_of(each) for each in library.keywords[version["modelId"]]]
    keywords += [[mark] for mark, isMarked in (("Flagged", version["isFlagged"]), ("Hidden", version["isHidden"]))
                 if isMarked]
    label = version["colorLabelIndex"] or 0
    altitude = library.altitudes.get(version["modelId"], [None])[0]
    hasPosition = version["exifLatitude"] is not None and version["exifLongitude"] is not None
    expected = {
        "Title": name if name not in (file, os.path.splitext(file)[0]) else None,
        "Description": iptc.get("Caption/Abstract"), "ImageDescription": iptc.get("Caption/Abstract"),
        "Creator": iptc.get("Byline"), "Rights": iptc.get("CopyrightNotice"), "Headline": iptc.get("Headline"),
        "Event": library.events.get(version["projectUuid"]),
        "Rating": max(-1, version["mainRating"] or 0), "Label": LABELS.get(label),
        "ColorLabel": label if label in LABELS else None, "PickLabel": 3 if version["isFlagged"] else None,
        "Country": places.get(1) or iptc.get("Country/PrimaryLocationName"),
        "State": places.get(2) or iptc.get("Province/State"), "City": places.get(16) or iptc.get("City"),
        "Location": places.get(45) or iptc.get("SubLocation"), "Orientation": None,
        "GPSAltitudeRef": None if altitude is None or not hasPosition else int(altitude < 0),
        "Subject": sorted({path[-1] for path in keywords}),
        "tags": {"/".join(each.replace("/", "-") for each in path) for path in keywords},
        "hierarchy": {"|".join(each.replace("|", "-") for each in path) for path in keywords},
    }
    for key in ("DateTimeOriginal", "DateCreated", "CreateDate"):
        expected[key] = clock(version)
    return expected


def check(library, version, role, sidecar):
    problems = []

    def compare(what, found, expected):
        if found != expected:
            problems.append(f"{what}: {found!r}, not {expected!r}")

    expected = expected_of(library, version)
    tags, hierarchy = expected.pop("tags"), expected.pop("hierarchy")
    compare("Subject", sorted(texts(sidecar.get("Subject"))), expected.pop("Subject"))
    for key, value in expected.items():
        compare(key, texts(sidecar.get(key)), [] if value in (None, "") else [str(value)])
    for key, limit in (("Latitude", 1e-8), ("Longitude", 1e-8), ("Altitude", 0.051)):
        value = version["exif" + key] if key != "Altitude" else library.altitudes.get(version["modelId"], [None])[0]
        if version["exifLatitude"] is None or version["exifLongitude"] is None:
            value = None
        found = sidecar.get("GPS" + key)
        if (found is None) != (value is None) or found is not None and abs(abs(float(found)) - abs(value)) > limit:
            problems.append(f"GPS{key}: {found}, not {value}")
    names = {face[0] for face in library.faces[version["masterUuid"]]}
    compare("PersonInImage", sorted(texts(sidecar.get("PersonInImage"))), sorted(names))
    albums = set(library.albums[version["modelId"]])
    found = set(texts(sidecar.get("TagsList")))
    compare("TagsList", {each for each in found if not each.startswith("Albums/")},
            tags | {"People/" + name.replace("/", "-") for name in names})
    if not albums <= found:
        problems.append(f"albums: {found}, not {albums}")
    compare("HierarchicalSubject",
            {each for each in texts(sidecar.get("HierarchicalSubject")) if not each.startswith("Albums|")},
            hierarchy | {"People|" + name.replace("|", "-") for name in names})
    boxes, regions = boxes_of(library, version, role), regions_of(sidecar)
    compare("names of regions", [each[0] for each in regions], [each[0] for each in boxes])
    if any(abs(a - b) > 2e-6 for box, region in zip(boxes, regions) for a, b in zip(box[1:], region[1:])):
        problems.append(f"regions: {regions}, not {boxes}")
    if role == "original" and regions:
        size = sidecar["RegionInfo"]["AppliedToDimensions"]
        compare("AppliedToDimensions", (size["W"], size["H"]), (version["masterWidth"], version["masterHeight"]))
    return problems


def main():
    with tempfile.TemporaryDirectory(prefix="moxtel-exiftool-") as folder:
        path, target = os.path.join(folder, "Library"), os.path.join(folder, "out")
        subprocess.run([os.path.join(BIN, "moxtel-make-library"), path, "--everything", "--images", "small", "--photos",
                        sys.argv[2]], check=True, stdout=subprocess.DEVNULL)
        export = [os.path.join(BIN, "moxtel-export"), path, target]
        subprocess.run(export, stdout=subprocess.DEVNULL)
        lines = subprocess.run([*export, "--dry-run", "--json"], capture_output=True, text=True).stdout.splitlines()
        library = Library(path)
        sidecars = {str(pathlib.Path(each["SourceFile"])): each for each in json.loads(subprocess.run(
            ["exiftool", "-j", "-struct", "-n", "-r", "-q", "-ext", "xmp", target], capture_output=True, text=True,
            check=True).stdout)}
        checked, failed, regions = 0, 0, 0
        for line in lines[:-1]:
            photo = json.loads(line)
            version = library.versions[photo["facts"]["uuid"]]
            for file in photo["files"]:
                sidecar = sidecars.get(os.path.join(target, file["path"] + ".xmp"))
                if file["role"] not in ("original", "edited"):
                    continue
                problems = ["no sidecar"] if sidecar is None else check(library, version, file["role"], sidecar)
                checked += 1
                regions += 0 if sidecar is None else len(regions_of(sidecar))
                failed += bool(problems)
                for problem in problems[:5] if failed < 20 else []:
                    print(f"{file['path']}: {problem}")
        print(f"{checked} sidecars with {regions} faces, {failed} wrong")
        return 1 if failed or checked < int(sys.argv[2]) or regions == 0 else 0


sys.exit(main())
