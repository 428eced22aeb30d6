"""The model's reading of rules against the lists that moxtel-make-library saves, which it makes without them."""

import os
import pathlib
import plistlib
import subprocess
import tempfile
import unittest

import model


class SmartAlbums(unittest.TestCase):
    def library(self, *options):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = pathlib.Path(folder.name) / "Library"
        subprocess.run([os.environ["MOXTEL_MAKE_LIBRARY"], path, "--images", "none", "--photos", "300",
                        "--smart-albums", *options], check=True)
        made = model.Library(path)
        self.addCleanup(made.close)
        return path, made

    def albums(self, library):
        return {name.decode(): uuid for name, uuid in library.rows(
            "library", "SELECT name, uuid FROM RKAlbum WHERE queryData IS NOT NULL")}

    def test_rules_mean_the_saved_members(self):
        path, saved = self.library("--saved-lists", "in-step")
        self.assertTrue(saved.answers.saved[1], "in step")
        lists = saved.answers.saved[0]
        _, library = self.library()
        albums = self.albums(library)
        self.assertEqual(len(albums), 16)
        for name, uuid in albums.items():
            members = [photo.id for photo in library.answers.members_of_album(uuid)]
            with self.subTest(name):
                if name == "Flagged or unknown":
                    self.assertLess(set(members), set(lists[uuid]), "the certain ones")
                elif "nknown" in name or name == "With people":
                    self.assertEqual(members, [])
                    self.assertNotEqual(lists[uuid], [])
                else:
                    self.assertEqual(members, lists[uuid])

    def test_the_shorter_file_has_the_same_lists(self):
        path, library = self.library("--saved-lists", "in-step")
        lists = library.answers.saved[0]
        (path / "AlbumData.xml").unlink()
        other = model.Library(path)
        self.addCleanup(other.close)
        self.assertTrue(other.answers.saved[1])
        for uuid in self.albums(library).values():
            self.assertEqual(other.answers.saved[0][uuid], lists[uuid])

    def test_lists_out_of_step_are_noticed(self):
        path, library = self.library("--saved-lists", "out-of-step")
        self.assertFalse(library.answers.saved[1])

    def test_one_photo_in_the_trash_is_noticed(self):
        path, library = self.library("--saved-lists", "in-step")
        listed = plistlib.loads((path / "AlbumData.xml").read_bytes())
        everything = next(entry for entry in listed["List of Albums"] if entry["GUID"] == "allPhotosAlbum")
        everything["KeyList"].pop()
        (path / "AlbumData.xml").write_bytes(plistlib.dumps(listed))
        other = model.Library(path)
        self.addCleanup(other.close)
        self.assertFalse(other.answers.saved[1])


if __name__ == "__main__":
    unittest.main()
