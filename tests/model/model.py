"""What the server must answer, computed from the library's SQLite files.

An independent reference for tests: plain and slow, one function for each question. Knows nothing of the
server's code. Texts are those that a reader of C strings in UTF-8 sees: up to a NUL, and none at all where
the bytes are no UTF-8. Integers are signed 32 bits, the low ones of a wider value.
"""

import datetime
import pathlib
import plistlib
import re
import sqlite3
import zoneinfo

import answers

BUILT_IN_ALBUMS = {
    "libraryFolderImplicitAlbum", "allProjectsAlbum", "trashAlbum", "flaggedAlbum", "lastImportAlbum",
    "rejectedAlbum", "lastNMonthsAlbum", "eventFilterBarAlbum", "allPlacedPhotosAlbum", "peopleAlbum",
    "peopleFilterBarAlbum", "placesFilterBarAlbum", "rotationAlbum", "Faces"}

EPOCH = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)
# Calendars disagree about days before the Gregorian reform and about years of more than four digits, time zones
# about the time before there were any.
FIRST_CERTAIN_DAY = datetime.datetime(1920, 1, 1, tzinfo=datetime.timezone.utc)
FIRST_CERTAIN_DAY_OF_UTC = datetime.datetime(1583, 1, 1, tzinfo=datetime.timezone.utc)
LAST_CERTAIN_DAY = datetime.datetime(9999, 12, 29, tzinfo=datetime.timezone.utc)


class AnyText:
    """A text that this model does not determine."""

    def __eq__(self, other):
        return isinstance(other, str)

    def __repr__(self):
        return "<any text>"


def text(value, convert):
    if value is None:
        return None
    if not isinstance(value, bytes):
        value = convert(value)
    try:
        return value.split(b"\0")[0].decode("utf-8")
    except UnicodeDecodeError:
        return None


def int64(value):
    if value is None:
        return 0
    if isinstance(value, bytes):
        number = re.match(rb"[ \t\n\v\f\r]*([+-]?[0-9]+)", value)
        value = int(number[1]) if number else 0
    elif isinstance(value, float):
        value = int(max(-2.0**63, min(value, 2.0**63)))
    return max(-2**63, min(value, 2**63 - 1))


def int32(value):
    return (int64(value) + 2**31) % 2**32 - 2**31


def number_in(entry):
    """An entry of the album file as an integer: a number, or the number that a text begins with; the nearest of 32
    bits. Anything else is 0."""
    if isinstance(entry, str):
        number = re.match(r"[ \t\n\v\f\r]*([+-]?[0-9]+)", entry)
        entry = int(number[1]) if number else 0
    if not isinstance(entry, (int, float)) or entry != entry:
        return 0
    return int(max(-2**31, min(entry, 2**31 - 1)))


class Library:
    """Answers for one library while no photo application can be asked.

    shows_both_days: whether unnamed containers are named after their last day too.
    zone: the time zone in which a moment is on a day.
    """

    def __init__(self, folder, shows_both_days=False, zone="UTC"):
        self.shows_both_days = shows_both_days
        self.zone = zoneinfo.ZoneInfo(zone)
        self.first_certain_day = FIRST_CERTAIN_DAY_OF_UTC if zone == "UTC" else FIRST_CERTAIN_DAY
        self.databases = {}
        for name, file in (("library", "Library.apdb"), ("proxies", "ImageProxies.apdb"),
                           ("properties", "Properties.apdb"), ("faces", "Faces.db")):
            path = pathlib.Path(folder) / "Database" / "apdb" / file
            database = sqlite3.connect("file:%s?mode=ro" % path, uri=True)
            database.text_factory = bytes
            self.databases[name] = database
        self.container_dicts = {}
        album_data = pathlib.Path(folder) / "AlbumData.xml"
        if album_data.exists():
            self.read_album_data(plistlib.loads(album_data.read_bytes()))
        self.answers = answers.Answers(self.databases, folder)
        self.scratch = sqlite3.connect(":memory:")
        self.scratch.text_factory = bytes

    def read_album_data(self, data):
        for name, key in (("List of Albums", "GUID"), ("List of Rolls", "ProjectUuid")):
            entries = data.get(name)
            for entry in entries if isinstance(entries, list) else []:
                if isinstance(entry, dict) and key in entry:
                    self.container_dicts[entry[key]] = {k: v for k, v in entry.items() if k != "KeyList"}

    def close(self):
        for database in [*self.databases.values(), self.scratch]:
            database.close()

    def rows(self, database, sql, *values):
        """The rows of a query with values in the places of %s; a text that would end its quotes or the
        statement gives no rows."""
        filled = []
        for value in values:
            value = "(null)" if value is None else str(value)
            if "'" in value or "\0" in value:
                return []
            filled.append(value)
        return self.databases[database].execute(sql % tuple(filled)).fetchall()

    def text(self, value):
        return text(value, lambda v: self.scratch.execute("SELECT CAST(? AS TEXT)", (v,)).fetchone()[0])

    def real(self, value):
        if value is None:
            return None
        return self.scratch.execute("SELECT CAST(? AS REAL)", (value,)).fetchone()[0]

    @staticmethod
    def first_int(rows):
        return int32(rows[0][0]) if rows else 0

    # Containers

    def top_level_albums(self):
        return self.containers_in("TopLevelAlbums")

    def top_level_projects(self):
        return self.containers_in("AllProjectsItem")

    def containers_in(self, parent):
        """Containers before the sort: in any order of equal "OrderNumber"."""
        containers = self.folders_in(parent)
        if parent != "AllProjectsItem":
            containers += self.albums_in(parent)
        for container in containers:
            self.count_and_decorate(container)
        for uuid, number in self.rows(
                "library", "SELECT objectUuid,orderNumber FROM RKCustomSortOrder WHERE containerUuid = '%s'", parent):
            uuid = self.text(uuid)
            for container in containers:
                if uuid is not None and container.get("AlbumId") == uuid:
                    container["OrderNumber"] = int32(number)
                    break
        return sorted(containers, key=lambda container: container.get("OrderNumber", 0))

    def folders_in(self, parent):
        found = []
        for name, uuid, kind, model_id, poster, first, last, hidden in self.rows(
                "library", "SELECT name,uuid,folderType,modelId,posterVersionUuid,minImageDate,maxImageDate,"
                "isHiddenWhenEmpty FROM RKFolder WHERE parentFolderUuid = '%s' AND isInTrash = 0", parent):
            container = {}
            if int32(kind) in (1, 2):
                container["AlbumType"] = {1: "Folder", 2: "Project"}[int32(kind)]
            container["AlbumName"] = self.text(name) or self.made_up_name(int64(first), int64(last))
            self.put(container, "AlbumId", self.text(uuid))
            container["ModelId"] = int32(model_id)
            self.put(container, "KeyPhotoKey", self.text(poster))
            if int32(hidden) != 0 or (parent == "TopLevelAlbums" and int32(kind) == 2):
                continue
            found.append(container)
        return found

    def made_up_name(self, first, last):
        if first == 0:
            return "-"
        days = [first] if first == last or not self.shows_both_days else [first, last]
        names = [self.day_name(seconds) for seconds in days]
        # If one is not determined, neither is the whole.
        return AnyText() if any(isinstance(name, AnyText) for name in names) else " … ".join(names)

    def day_name(self, seconds):
        try:
            moment = EPOCH + datetime.timedelta(seconds=seconds)
        except OverflowError:
            return AnyText()
        if not self.first_certain_day <= moment < LAST_CERTAIN_DAY:
            return AnyText()
        return moment.astimezone(self.zone).strftime("%Y-%m-%d")

    def albums_in(self, parent):
        found = []
        for name, uuid, model_id, kind, subclass, count, poster in self.rows(
                "library", "SELECT name,uuid,modelId,albumType,albumSubclass,versionCount,posterVersionUuid "
                "FROM RKAlbum WHERE folderUuid = '%s' AND isInTrash = 0", parent):
            uuid = self.text(uuid)
            if int32(kind) != 1 or int32(subclass) not in (2, 3) or uuid in BUILT_IN_ALBUMS:
                continue
            container = {"AlbumType": "Album", "ModelId": int32(model_id), "PhotoCount": int32(count),
                         "IPAlbumType": "Regular" if int32(subclass) == 3 else "Smart"}
            self.put(container, "AlbumName", self.text(name))
            self.put(container, "AlbumId", uuid)
            self.put(container, "KeyPhotoKey", self.text(poster))
            found.append(container)
        return found

    @staticmethod
    def put(dictionary, key, value):
        if value is not None:
            dictionary[key] = value

    def count_and_decorate(self, container):
        uuid = container.get("AlbumId")
        kind = container.get("AlbumType")
        if container.get("PhotoCount", 0) < 3:
            # Albums and folders: the album file comes first. iPhoto's folders count 0.
            container["PhotoCount"] = number_in(self.container_dicts.get(uuid, {}).get("PhotoCount"))
            if kind == "Album" and container["PhotoCount"] == 0:
                container["PhotoCount"] = self.first_int(self.rows(
                    "library", "SELECT COUNT(uuid) FROM RKVersion WHERE modelId IN (SELECT versionId FROM "
                    "RKAlbumVersion WHERE albumId = %s)", container["ModelId"]))
            if kind == "Album" and container["PhotoCount"] == 0 and uuid is not None:
                container["PhotoCount"] = len(self.members_by_rule(uuid))
            if kind == "Project":
                container["PhotoCount"] = self.first_int(self.rows(
                    "library", "SELECT COUNT(uuid) FROM RKVersion WHERE projectUuid = '%s' AND versionNumber != 0 "
                    "AND isInTrash = 0", uuid))
        if "KeyPhotoKey" not in container and container["PhotoCount"] > 0 and "AlbumName" in container:
            if kind in ("Album", "Project"):
                self.put(container, "KeyPhotoKey", self.container_dicts.get(uuid, {}).get("KeyPhotoKey"))
            if kind == "Album" and "KeyPhotoKey" not in container:
                self.put(container, "KeyPhotoKey", self.key_photo_of_album(uuid) or self.first_photo_of_album(uuid))
            if kind == "Project" and "KeyPhotoKey" not in container:
                self.put(container, "KeyPhotoKey", self.first_photo_of_project(uuid))
        notes = self.rows("library", "SELECT note FROM RKNote WHERE attachedToUuid = '%s'", uuid)
        note = self.text(notes[0][0]) if notes else None
        if note:
            container["Note"] = note

    def key_photo_of_album(self, uuid):
        """From the database only: no photo application can be asked."""
        if uuid is None:
            return None
        albums = self.rows("library", "SELECT modelId,name,albumType,albumSubclass FROM RKAlbum WHERE uuid = '%s'",
                           uuid)
        if not albums:
            return None
        model_id, _, kind, subclass = albums[-1]
        if int32(model_id) == 0 or (int32(kind) == 1 and int32(subclass) == 2):
            return None
        members = self.rows("library", "SELECT versionId FROM RKAlbumVersion WHERE albumId = '%s'", int32(model_id))
        if not members or int32(members[-1][0]) == 0:
            return None
        versions = self.rows("library", "SELECT uuid FROM RKVersion WHERE modelId = '%s'", int32(members[-1][0]))
        return self.text(versions[-1][0]) if versions else None

    # The first photo in the application's order, of containers in which that is known to be the order of model ids
    # or, for projects, of dates.

    def first_photo_of_album(self, uuid):
        for model_id, in self.rows("library", "SELECT modelId FROM RKAlbum WHERE uuid = '%s'", uuid)[:1]:
            for member, in self.rows(
                    "library", "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion "
                    "WHERE albumId = %s) ORDER BY modelId", int32(model_id)):
                if self.text(member):
                    return self.text(member)
        return next(iter(self.members_by_rule(uuid)), None) if uuid is not None else None

    def members_by_rule(self, uuid):
        """Of a smart album with a rule; nothing for other albums."""
        smart = self.rows("library", "SELECT modelId FROM RKAlbum WHERE uuid = '%s' AND albumType = 1 AND "
                          "albumSubclass = 2 AND queryData IS NOT NULL", uuid)
        return [self.text(photo.uuid) for photo in self.answers.members_of_album(uuid.encode())] if smart else []

    def first_photo_of_project(self, uuid):
        photos = self.rows("library", "SELECT uuid FROM RKVersion WHERE projectUuid = '%s' AND versionNumber != 0 AND "
                           "isInTrash = 0 AND uuid IS NOT NULL ORDER BY imageDate,modelId", uuid)
        return self.text(photos[0][0]) if photos else None

    # Photos

    def photo(self, uuid, model_id, latitude, longitude, poster_frame, found_by):
        record = {"PhotoKey": uuid, "ModelId": int32(model_id), "FoundBy": found_by,
                  "MediaType": "Movie" if self.text(poster_frame) else "Image"}
        self.put(record, "latitude", self.real(latitude))
        self.put(record, "longitude", self.real(longitude))
        return record

    def photos_in(self, container):
        columns = "modelId,uuid,exifLatitude,exifLongitude,videoPosterFramePoint"
        if container == "allPhotosAlbum":
            return self.photos_of_rows(self.rows(
                "library", "SELECT " + columns + " FROM RKVersion WHERE isInTrash = 0 AND versionNumber != 0"))
        folders = self.rows("library", "SELECT uuid,modelId FROM RKFolder WHERE uuid = '%s'", container)
        if any(self.text(uuid) is not None for uuid, _ in folders):
            photos = self.photos_of_rows(self.rows(
                "library", "SELECT " + columns + " FROM RKVersion WHERE projectUuid = '%s' AND versionNumber != 0 "
                "AND isInTrash = 0", container))
        else:
            photos = self.photos_of_album(container)
        for photo in photos:
            self.describe(photo)
        return photos

    def photos_of_rows(self, rows):
        return [self.photo(self.text(uuid), model_id, latitude, longitude, frame, "SQL")
                for model_id, uuid, latitude, longitude, frame in rows if self.text(uuid) is not None]

    def photos_of_album(self, album):
        # The entry with exactly this key, whatever the album: the server does so on purpose.
        model_id = number_in(self.container_dicts.get("containerUuid", {}).get("AlbumId"))
        if model_id == 0:
            model_id = self.first_int(self.rows("library", "SELECT modelId FROM RKAlbum WHERE uuid = '%s'", album))
        members = self.rows(
            "library", "SELECT uuid FROM RKVersion WHERE modelId IN (SELECT versionId FROM RKAlbumVersion WHERE "
            "albumId = %s)", model_id)
        photos = []
        for uuid in [self.text(row[0]) for row in members] or self.members_by_rule(album or ""):
            if uuid is None:
                continue
            for row in self.rows("library", "SELECT modelId,exifLatitude,exifLongitude,videoPosterFramePoint FROM "
                                 "RKVersion WHERE uuid = '%s'", uuid):
                photos.append(self.photo(uuid, *row, "AppleScript"))
        return photos

    def describe(self, photo):
        if photo["ModelId"] == 0:
            return
        for label, table, key in (("Caption", "RKIptcProperty", "Caption/Abstract"),
                                  ("Comment", "RKExifStringProperty", "ImageDescription")):
            for row in self.rows(
                    "properties", "SELECT stringProperty FROM RKUniqueString WHERE modelId = (SELECT stringId FROM " +
                    table + " WHERE propertyKey = '" + key + "' AND versionId = %s)", photo["ModelId"]):
                if self.text(row[0]):
                    photo[label] = self.text(row[0])

    def photo_with_uuid(self, uuid):
        """None when there is no such photo: the server then sends no reply."""
        record = None
        for model_id, latitude, longitude, frame, name, rotation in self.rows(
                "library", "SELECT modelId,exifLatitude,exifLongitude,videoPosterFramePoint,fileName,rotation FROM "
                "RKVersion WHERE uuid = '%s'", uuid):
            record = self.photo(uuid, model_id, latitude, longitude, frame, "SQL")
            self.put(record, "FileName", self.text(name))
            record["Rotation"] = int32(rotation)
        return record

    # Faces

    def faces(self):
        albums = []
        for uuid, name, key_version, face_key in self.rows(
                "faces", "SELECT uuid,name,keyVersionUuid,faceKey FROM RKFaceName"):
            album = {"AlbumType": "Face", "FaceKey": int32(face_key)}
            self.put(album, "AlbumId", self.text(uuid))
            self.put(album, "AlbumName", self.text(name))
            self.put(album, "KeyPhotoKey", self.text(key_version))
            masters = self.rows("library", "SELECT masterUuid FROM RKVersion WHERE uuid = '%s'",
                                album.get("KeyPhotoKey"))
            self.put(album, "MasterKey", self.text(masters[0][0]) if masters else None)
            album["FaceIndex"] = self.first_int(self.rows(
                "faces", "SELECT faceIndex FROM RKDetectedFace WHERE faceKey = %s AND masterUuid = '%s'",
                album["FaceKey"], album.get("MasterKey")))
            album["PhotoCount"] = self.photo_count_of_face(album.get("AlbumId"))
            albums.append(album)
        return albums

    def masters_of_face(self, face):
        rows = self.rows("faces", "SELECT masterUuid FROM RKDetectedFace WHERE faceKey IN (SELECT faceKey FROM "
                         "RKFaceName WHERE uuid = '%s')", face)
        return [master for master in (self.text(row[0]) for row in rows) if master is not None]

    def photo_count_of_face(self, face):
        return int32(sum(self.first_int(self.rows(
            "library", "SELECT COUNT(uuid) FROM RKVersion WHERE masterUuid = '%s' AND versionNumber = 1", master))
            for master in self.masters_of_face(face)))

    def photos_of_face(self, face):
        photos = []
        for master in self.masters_of_face(face):
            for row in self.rows("library", "SELECT uuid FROM RKVersion WHERE masterUuid = '%s' AND "
                                 "versionNumber = 1", master):
                if self.text(row[0]) is not None:
                    photos.append({"PhotoKey": self.text(row[0]), "MediaType": "Image", "FoundBy": "SQL"})
        return photos

    # What to ask for

    def uuids(self, database, table):
        """Every uuid of a table that a reader can see, once."""
        found = (self.text(row[0]) for row in self.rows(database, "SELECT uuid FROM " + table))
        return sorted({uuid for uuid in found if uuid is not None})
