"""What the server must answer for libraries of Photos and for those that have only AlbumData.xml.

An independent reference for tests: reads the files' own tables, photo by photo, and knows nothing of the server's
views.
"""

import pathlib
import plistlib
import re
import sqlite3

import answers
import model


def opened(path):
    """Immutable: reading a database with a write-ahead log would else create files beside it."""
    database = sqlite3.connect("file:%s?immutable=1" % path, uri=True)
    database.row_factory = sqlite3.Row
    return database


class Photo:
    def __init__(self, model_id, uuid, **facts):
        self.id, self.uuid = model_id, uuid
        self.name = self.movie = self.latitude = self.longitude = self.caption = self.event = self.date = None
        self.rotation, self.shared, self.cloud_only, self.adjusted = 0, False, False, False
        self.raw, self.raw_of_pair = False, None  # the latter: a path below the library
        self.__dict__.update(facts)


class Kind:
    """Subclasses fill: photos (shown ones), events (uuid, name, first day), folders and albums as (uuid, name, parent,
    number, order, ids or None), persons (uuid, name, number, ids)."""

    def photo_list(self, photos, found_by, described=True):
        return [self.record(photo, found_by, described) for photo in sorted(photos, key=lambda one: one.id)]

    def record(self, photo, found_by, described):
        record = {"PhotoKey": photo.uuid, "ModelId": photo.id, "FoundBy": found_by,
                  "MediaType": "Movie" if photo.movie else "Image"}
        if photo.latitude is not None:
            record["latitude"], record["longitude"] = photo.latitude, photo.longitude
        if described and photo.caption:
            record["Caption"] = photo.caption
        return record

    def all_photos(self):
        return self.photo_list([one for one in self.photos.values() if not one.shared], "SQL", described=False)

    def photos_of_event(self, uuid):
        return self.photo_list([one for one in self.photos.values() if one.event == uuid and not one.shared], "SQL")

    def photos_of_album(self, uuid):
        return self.photo_list([self.photos[one] for one in self.albums[uuid].ids if one in self.photos], "AppleScript")

    def containers(self, parent):
        """Name, kind, number of photos of each, in any order."""
        found = {}
        for uuid, album in self.albums.items():
            if album.parent == parent:
                shown = len([one for one in album.ids if one in self.photos])
                found[uuid] = (album.name, "Smart" if album.smart else "Regular", shown)
        for uuid, folder in self.folders.items():
            if folder.parent == parent:
                found[uuid] = (folder.name, None, 0)
        return found

    def event_table(self):
        return {uuid: (name or day, len(self.photos_of_event(uuid))) for uuid, (name, day) in self.events.items()}

    def faces(self):
        """Name and number of photos of each person that a shown photo has."""
        return {uuid: (name, len([one for one in ids if one in self.photos and not self.photos[one].shared]))
                for uuid, (name, ids) in self.persons.items() if any(one in self.photos for one in ids)}


class Container:
    def __init__(self, name, parent, ids=(), smart=False):
        self.name, self.parent, self.ids, self.smart = name, parent, ids, smart


def day(seconds):
    return (answers.EPOCH + answers.datetime.timedelta(seconds=int(seconds))).strftime("%Y-%m-%d")


def turned(orientation):
    return {6: 90, 3: 180, 8: 270}.get(orientation, 0)


class Photos5(Kind):
    """Photos.sqlite, of Photos 5 and later."""

    def __init__(self, folder):
        self.database = opened(pathlib.Path(folder) / "database" / "Photos.sqlite")
        self.tables = {row["name"] for row in self.rows("SELECT name FROM sqlite_master WHERE type = 'table'")}
        self.assets = "ZASSET" if "ZASSET" in self.tables else "ZGENERICASSET"
        self.read_photos()
        self.read_albums()
        self.read_events()
        self.read_persons()

    def rows(self, sql, *values):
        return self.database.execute(sql, values).fetchall()

    def read_photos(self):
        self.photos = {}
        attributes = {row["ZASSET"]: row for row in self.rows("SELECT * FROM ZADDITIONALASSETATTRIBUTES")}
        texts = {row["ZASSETATTRIBUTES"]: row["ZLONGDESCRIPTION"] for row in self.rows("SELECT * FROM ZASSETDESCRIPTION")}
        for row in self.rows("SELECT * FROM " + self.assets):
            keys = row.keys()
            if row["ZTRASHEDSTATE"] or row["ZHIDDEN"] or row["ZVISIBILITYSTATE"]:
                continue
            shared = bool(row["ZBUNDLESCOPE"]) if "ZBUNDLESCOPE" in keys else row["ZCLOUDBATCHPUBLISHDATE"] is not None
            more = attributes[row["Z_PK"]]
            known = row["ZLATITUDE"] != -180
            self.photos[row["Z_PK"]] = Photo(
                row["Z_PK"], row["ZUUID"], name=more["ZORIGINALFILENAME"], movie=row["ZKIND"] == 1, shared=shared,
                latitude=row["ZLATITUDE"] if known else None, longitude=row["ZLONGITUDE"] if known else None,
                rotation=turned(row["ZORIENTATION"]), caption=texts.get(more["Z_PK"]), event=row["ZMOMENT"],
                date=row["ZDATECREATED"], cloud_only=row["ZCLOUDLOCALSTATE"] == 1,
                raw_of_pair="originals/%s/%s_4.dng" % (row["ZDIRECTORY"], row["ZUUID"]))

    def members(self):
        table = next(name for name in self.tables if re.fullmatch(r"Z_\d+ASSETS", name))
        row_of = {}
        for row in self.rows("SELECT * FROM " + table):
            album = next(row[key] for key in row.keys() if re.fullmatch(r"Z_\d+ALBUMS", key))
            asset = next(row[key] for key in row.keys() if re.fullmatch(r"Z_\d+ASSETS", key))
            row_of.setdefault(album, []).append(asset)
        return row_of

    def read_albums(self):
        rows = {row["Z_PK"]: row for row in self.rows("SELECT * FROM ZGENERICALBUM WHERE ZTRASHEDSTATE = 0")}
        members = self.members()
        self.folders, self.albums, self.event_albums = {}, {}, {}
        for row in rows.values():
            parent = rows.get(row["ZPARENTFOLDER"])
            inside = "TopLevelAlbums" if parent is None or parent["ZKIND"] == 3999 else parent["ZUUID"]
            if row["ZKIND"] == 4000 and row["ZTITLE"] != "iPhoto Events":
                self.folders[row["ZUUID"]] = Container(row["ZTITLE"], inside)
            elif row["ZKIND"] == 2 and parent is not None and parent["ZTITLE"] == "iPhoto Events":
                self.event_albums[row["ZUUID"]] = (row["Z_PK"], row["ZTITLE"], members.get(row["Z_PK"], []))
            elif row["ZKIND"] in (2, 1505, 1507):
                self.albums[row["ZUUID"]] = Container(row["ZTITLE"], inside, members.get(row["Z_PK"], []),
                                                      row["ZKIND"] == 1507)

    def read_events(self):
        """A photo in an album of a migrated event belongs to that one, in two to the first; else to its moment."""
        moments = {row["Z_PK"]: row for row in self.rows("SELECT * FROM ZMOMENT")}
        of_photo = {}
        for uuid, (_, _, ids) in sorted(self.event_albums.items(), key=lambda item: item[1][0]):
            for one in ids:
                of_photo.setdefault(one, uuid)
        self.events = {}
        for photo in self.photos.values():
            moment = moments.get(photo.event)
            photo.event = of_photo.get(photo.id, moment["ZUUID"] if moment is not None else None)
            if photo.id not in of_photo and moment is not None and not photo.shared:
                self.events[moment["ZUUID"]] = (moment["ZTITLE"], day(moment["ZSTARTDATE"]))
        for uuid, (_, title, _) in self.event_albums.items():
            self.events[uuid] = (title, None)

    def read_persons(self):
        faces = {}
        for row in self.rows("SELECT * FROM ZDETECTEDFACE"):
            newest = "ZPERSONFORFACE" in row.keys()
            faces.setdefault(row["ZPERSONFORFACE" if newest else "ZPERSON"], []).append(
                row["ZASSETFORFACE" if newest else "ZASSET"])
        self.persons = {row["ZPERSONUUID"]: (row["ZFULLNAME"], faces.get(row["Z_PK"], []))
                        for row in self.rows("SELECT * FROM ZPERSON") if row["ZFULLNAME"] and row["ZMERGETARGETPERSON"] is None}


class Rules(answers.Answers):
    """The rules of smart albums in photos.db: the photos that belong to one for certain."""

    def __init__(self, library):
        self.now = answers.datetime.datetime.now(answers.datetime.timezone.utc)
        hidden = "isInTrash = 0 AND isHidden = 0 AND showInLibrary = 1"
        self.photos = [answers.Photo((row["modelId"], row["uuid"], row["isFavorite"], row["mainRating"], row["imageDate"],
                                      row["momentUuid"], 0, None))
                       for row in library.rows("SELECT * FROM RKVersion WHERE " + hidden)]
        self.has_number = {(one.id, key) for one in library.photos.values() if one.latitude is not None
                           for key in ("Latitude", "Longitude")}
        named = {row["modelId"] for row in library.rows(
            "SELECT modelId FROM RKPerson WHERE name != '' AND mergeTargetPersonId IS NULL")}
        self.has_named_face = {row["imageModelId"] for row in library.rows("SELECT * FROM RKFace")
                               if row["personId"] in named}

    def members(self, rule):
        return [photo.id for photo in self.photos if self.matches(answers.unarchived(rule), photo)]

    def clause(self, clause, photo):
        if clause["queryQualifier"] == answers.NAMED:
            return photo.id in self.has_named_face
        return super().clause(clause, photo)


class Photos4(Kind):
    """photos.db, of Photos 2 to 4."""

    def __init__(self, folder):
        self.database = opened(pathlib.Path(folder) / "database" / "photos.db")
        moments = {row["uuid"]: row for row in self.rows("SELECT * FROM RKMoment")}
        masters = {row["uuid"]: row for row in self.rows("SELECT * FROM RKMaster")}
        self.photos = {}
        for row in self.rows("SELECT * FROM RKVersion WHERE isInTrash = 0 AND isHidden = 0 AND showInLibrary = 1"):
            master = masters[row["masterUuid"]]
            other = masters.get(master["alternateMasterUuid"])
            self.photos[row["modelId"]] = Photo(
                row["modelId"], row["uuid"], name=row["fileName"], movie=row["type"] == 8, latitude=row["latitude"],
                longitude=row["longitude"], rotation=turned(row["orientation"]), caption=row["extendedDescription"],
                event=row["momentUuid"], date=row["imageDate"],
                cloud_only=master["isMissing"] == 1, raw=master["isTrulyRaw"] == 1,
                raw_of_pair=other and "Masters/" + other["imagePath"])
        self.events = {uuid: (None, day(row["startDate"])) for uuid, row in moments.items()
                       if any(photo.event == uuid for photo in self.photos.values())}
        self.folders = {row["uuid"]: Container(row["name"], row["parentFolderUuid"])
                        for row in self.rows("SELECT * FROM RKFolder WHERE isInTrash = 0 AND isHiddenWhenEmpty = 0")}
        self.albums = {}
        for row in self.rows("SELECT * FROM RKAlbum WHERE isInTrash = 0 AND albumSubclass IN (2, 3) AND isMagic = 0"):
            ids = [member["versionId"] for member in self.rows("SELECT * FROM RKAlbumVersion WHERE albumId = ?",
                                                               row["modelId"])]
            if row["queryData"] is not None:
                ids = Rules(self).members(row["queryData"])
            self.albums[row["uuid"]] = Container(row["name"], row["folderUuid"], ids, row["albumSubclass"] == 2)
        self.persons = {}
        for row in self.rows("SELECT * FROM RKPerson WHERE name != '' AND mergeTargetPersonId IS NULL"):
            self.persons[row["uuid"]] = (row["name"], [face["imageModelId"] for face in self.rows(
                "SELECT * FROM RKFace WHERE personId = ?", row["modelId"])])

    def rows(self, sql, *values):
        return self.database.execute(sql, values).fetchall()


class AlbumDataOnly(Kind):
    """Only AlbumData.xml."""

    def __init__(self, folder):
        data = plistlib.loads((pathlib.Path(folder) / "AlbumData.xml").read_bytes())
        rolls = {roll["RollID"]: roll for roll in data["List of Rolls"]}
        self.photos, self.persons = {}, {}
        shows = {}
        for key, image in data["Master Image List"].items():
            self.photos[int(key)] = Photo(
                int(key), image["GUID"], name=image.get("OriginalPath", image["ImagePath"]).rpartition("/")[2],
                movie=image["MediaType"] == "Movie", latitude=image.get("latitude"), longitude=image.get("longitude"),
                caption=image["Comment"].strip(" "), event=rolls[image["Roll"]]["ProjectUuid"])
            for face in image.get("Faces", []):
                shows.setdefault(face["face key"], []).append(int(key))
        self.events = {roll["ProjectUuid"]: (roll["RollName"], day(roll["RollDateAsTimerInterval"]))
                       for roll in rolls.values()}
        folders = {album["AlbumId"]: album["GUID"] for album in data["List of Albums"] if album["Album Type"] == "Folder"}
        self.folders, self.albums = {}, {}
        for album in data["List of Albums"]:
            parent = folders.get(album.get("Parent"), "TopLevelAlbums")
            if album["Album Type"] == "Folder":
                self.folders[album["GUID"]] = Container(album["AlbumName"], parent)
            elif album["Album Type"] in ("Regular", "Smart"):
                self.albums[album["GUID"]] = Container(album["AlbumName"], parent, [int(one) for one in album["KeyList"]],
                                                       album["Album Type"] == "Smart")
        for key, face in data["List of Faces"].items():
            self.persons["face " + key] = (face["name"], shows.get(int(key), []))

    def faces(self):
        return {uuid: (name, len(ids)) for uuid, (name, ids) in self.persons.items()}
