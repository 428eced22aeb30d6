"""What the photo application would answer, computed from the library's files alone: members and key photos.

An independent reference for tests, plain and slow: each rule is evaluated photo by photo, in three values. Knows
nothing of the server's code.

A rule is a keyed archive of dictionaries, arrays, texts and numbers. A clause that is not understood is "perhaps"
(None).
"""

import datetime
import pathlib
import plistlib
import zoneinfo

EPOCH = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)
EQUAL, NOT_EQUAL, AT_LEAST, HAS_VALUE, BETWEEN, IN_THE_LAST, NAMED = 5, 6, 8, 1, 20, 18, 61
RATING, DATE, NUMBER, FLAG, ENUMERATION = 5, 6, 9, 22, 40


def all_of(values):
    values = list(values)
    if False in values:
        return False
    return None if None in values else True


def any_of(values):
    values = list(values)
    if True in values:
        return True
    return None if None in values else False


def unarchived(data):
    """The root of a keyed archive that holds only dictionaries, arrays, texts, numbers and booleans."""
    archive = plistlib.loads(data)
    objects = archive["$objects"]

    def resolve(value):
        if isinstance(value, plistlib.UID):
            return resolve(objects[value.data])
        if isinstance(value, dict) and "NS.keys" in value:
            return dict(zip(map(resolve, value["NS.keys"]), map(resolve, value["NS.objects"])))
        if isinstance(value, dict) and "NS.objects" in value:
            return [resolve(one) for one in value["NS.objects"]]
        return value
    return resolve(archive["$top"]["root"])


def day(text):
    """"2/24/2023 America/Los_Angeles": the beginning of that day there."""
    date, zone = text.split(" ", 1)
    month, number, year = map(int, date.split("/"))
    return datetime.datetime(year, month, number, tzinfo=zoneinfo.ZoneInfo(zone))


class Photo:
    def __init__(self, row):
        (self.id, self.uuid, self.flagged, self.rating, self.date, self.project, self.hidden, self.project_date) = row

    @property
    def moment(self):
        return EPOCH + datetime.timedelta(seconds=self.date or 0)


class Answers:
    """hide_hidden: whether hidden photos are members. now: for dates relative to today."""

    def __init__(self, databases, folder, hide_hidden=False, now=None):
        self.databases = databases
        self.now = now or datetime.datetime.now(datetime.timezone.utc)
        self.live = {photo.id: photo for photo in self.live_photos() if not (hide_hidden and photo.hidden)}
        self.all_live = {photo.id for photo in self.live_photos()}
        properties = databases["properties"].execute(
            "SELECT versionId, propertyKey FROM RKExifNumberProperty WHERE propertyKey IN ('Latitude', 'Longitude')")
        self.has_number = set((version, key.decode()) for version, key in properties)
        self.saved = self.saved_lists(pathlib.Path(folder))

    def rows(self, sql, *values):
        texts = [value.decode() if isinstance(value, bytes) else value for value in values]
        return self.databases["library"].execute(sql, texts).fetchall()

    def live_photos(self):
        """What the library shows: in no trash, nor in a folder that is in the trash, at whatever depth."""
        folders = {uuid: (parent, trash) for uuid, parent, trash in self.rows(
            "SELECT uuid, parentFolderUuid, isInTrash FROM RKFolder")}

        def in_trash(uuid, depth=0):
            if uuid not in folders or depth > len(folders):
                return False
            parent, trash = folders[uuid]
            return trash == 1 or in_trash(parent, depth + 1)
        photos = [Photo(row) for row in self.rows(
            "SELECT v.modelId, v.uuid, v.isFlagged, v.mainRating, v.imageDate, v.projectUuid, v.isHidden, f.minImageDate "
            "FROM RKVersion v LEFT JOIN RKFolder f ON f.uuid = v.projectUuid "
            "WHERE v.showInLibrary = 1 AND v.isInTrash = 0")]
        return [photo for photo in photos if not in_trash(photo.project)]

    # The lists that the photo application saved

    def saved_lists(self, folder):
        """(lists of ids by uuid, whether they agree with the databases); None without such a file."""
        for file in (folder / "AlbumData.xml", folder / "iLifeShared" / "AlbumData2.xml"):
            if file.exists():
                data = plistlib.loads(file.read_bytes())
                lists = {}
                for name in ("List of Albums", "List of Rolls"):
                    entries = data.get(name)
                    for entry in entries if isinstance(entries, list) else []:
                        if isinstance(entry, dict):
                            self.add_saved(lists, entry)
                return lists, self.is_in_step(lists)
        return None

    @staticmethod
    def add_saved(lists, entry):
        key, text, keys = entry.get("GUID", entry.get("ProjectUuid")), entry.get("KeyListString"), entry.get("KeyList")
        if isinstance(text, str):
            keys = text.split(",") if text else []
        if isinstance(key, str) and isinstance(keys, list):
            lists[key.encode()] = [int(one) if str(one).isdecimal() else -1 for one in keys]

    def is_in_step(self, lists):
        if b"allPhotosAlbum" in lists and set(lists[b"allPhotosAlbum"]) != self.all_live:
            return False
        for uuid, model_id in self.rows("SELECT uuid, modelId FROM RKAlbum WHERE albumType = 1 AND albumSubclass = 3"):
            if uuid in lists and set(lists[uuid]) != self.members_of_regular(model_id) & self.all_live:
                return False
        photos = self.live_photos()
        for (uuid,) in self.rows("SELECT uuid FROM RKFolder WHERE folderType = 2"):
            if uuid in lists and set(lists[uuid]) != {photo.id for photo in photos if photo.project == uuid}:
                return False
        return True

    # Members

    def members_of_regular(self, model_id):
        return {version for (version,) in self.rows("SELECT versionId FROM RKAlbumVersion WHERE albumId = ?", model_id)}

    def members_of_album(self, uuid):
        """The photos of an album in the photo application's order; those of a smart album that are certain."""
        found = self.rows("SELECT modelId, albumSubclass, queryData, queryFolderUuid, sortKeyPath, sortAscending "
                          "FROM RKAlbum WHERE uuid = ?", uuid)
        if not found:
            return []
        model_id, subclass, rule, scope, path, ascending = found[-1]
        if subclass == 3:
            return self.sorted(self.members_of_regular(model_id) & set(self.live), path, ascending)
        if rule is None:
            return []
        lists, in_step = self.saved or ({}, False)
        if in_step and uuid in lists:
            return [self.live[one] for one in lists[uuid] if one in self.live]
        matches = {photo.id: self.matches(unarchived(rule), photo) for photo in self.candidates(scope)}
        if None in matches.values() and uuid in lists:
            return [self.live[one] for one in lists[uuid] if one in self.live]
        return self.sorted({one for one, match in matches.items() if match}, path, ascending)

    def candidates(self, scope):
        if scope is None or scope == b"LibraryFolder":
            return self.live.values()
        return [photo for photo in self.live.values() if photo.project == scope]

    def members_of_project(self, uuid):
        orders = self.rows("SELECT a.sortKeyPath, a.sortAscending FROM RKFolder f JOIN RKAlbum a "
                           "ON a.uuid = f.implicitAlbumUuid WHERE f.uuid = ?", uuid)
        path, ascending = orders[0] if orders else (b"exifProperties.ImageDate", 1)
        return self.sorted({photo.id for photo in self.live.values() if photo.project == uuid}, path, ascending)

    def sorted(self, ids, path, ascending):
        photos = [self.live[one] for one in sorted(ids)]
        keys = {b"exifProperties.ImageDate": lambda photo: photo.date,
                b"basicProperties.projectDate": lambda photo: photo.project_date,
                b"basicProperties.MainRating": lambda photo: photo.rating}
        # The last component counts least; sorting is stable, and so is sorting in reverse.
        for component in reversed((path or b"").split(b"&")):
            if component in keys:
                photos.sort(key=lambda photo, key=keys[component]: key(photo) or 0, reverse=ascending == 0)
        return photos

    # Rules

    def matches(self, query, photo):
        if "querySubqueries" in query:
            enabled = [one for one in query["querySubqueries"] if one.get("queryIsEnabled")]
            if not enabled:
                return True
            values = [self.matches(one, photo) for one in enabled]
            return all_of(values) if query["queryMatchType"] == 1 else any_of(values)
        return self.clause(query, photo)

    def clause(self, clause, photo):
        kind, qualifier, value = clause["queryType"], clause["queryQualifier"], clause.get("queryFirstValue")
        key = clause.get("queryPropertyKey")
        if (kind, key) == (FLAG, "isFlagged") and qualifier in (EQUAL, NOT_EQUAL):
            return ((photo.flagged or 0) == int(value)) == (qualifier == EQUAL)
        if (kind, key) == (RATING, "basicProperties.MainRating"):
            rating = photo.rating or 0
            return {EQUAL: rating == value, NOT_EQUAL: rating != value, AT_LEAST: rating >= value}.get(qualifier)
        if (kind, key, qualifier) == (DATE, "exifProperties.ImageDate", BETWEEN):
            last = day(clause["querySecondValue"]) + datetime.timedelta(days=1)
            return day(value) <= photo.moment < last
        if (kind, key, qualifier, clause.get("queryTimeUnit")) == (DATE, "exifProperties.ImageDate", IN_THE_LAST, "days"):
            return photo.moment >= self.now - datetime.timedelta(days=clause["queryTimeValue"])
        if kind == NUMBER and key in ("Latitude", "Longitude") and qualifier == HAS_VALUE:
            return (photo.id, key) in self.has_number
        return None
