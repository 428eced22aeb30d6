"""The tests' own reader and writer of keyed archives."""

import plistlib
import unittest

import keyedarchive


class KeyedArchive(unittest.TestCase):
    def test_reads_what_it_wrote(self):
        value = {"text": "é🙂", "number": 1, "real": 1.0, "yes": True, "data": b"\0\1", "none": None,
                 "list": [{"a": keyedarchive.Date(12.5)}, []], "big": 2**40}
        for fmt in (plistlib.FMT_BINARY, plistlib.FMT_XML):
            decoded = keyedarchive.decode(keyedarchive.encode(value, fmt))
            self.assertEqual(decoded, value)
            self.assertEqual([type(decoded[key]) for key in ("number", "real", "yes")], [int, float, bool])
            self.assertIsInstance(decoded["list"][0]["a"], keyedarchive.Date)

    def test_keeps_class_names(self):
        value = keyedarchive.Dict(list=keyedarchive.List([1]))
        value.class_name = "NSMutableDictionary"
        decoded = keyedarchive.decode(keyedarchive.encode(value))
        self.assertTrue(decoded.is_mutable)
        self.assertFalse(decoded["list"].is_mutable)

    def test_rejects_what_is_not_an_archive(self):
        with self.assertRaises(keyedarchive.ArchiveError):
            keyedarchive.decode(plistlib.dumps({"$archiver": "other", "$version": 100000}, fmt=plistlib.FMT_BINARY))

    def test_rejects_a_class_without_its_parents(self):
        archive = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": plistlib.UID(1)},
                   "$objects": ["$null", {"$class": plistlib.UID(2), "NS.objects": []},
                                {"$classname": "NSMutableArray", "$classes": ["NSMutableArray", "NSObject"]}]}
        with self.assertRaises(keyedarchive.ArchiveError):
            keyedarchive.decode(plistlib.dumps(archive, fmt=plistlib.FMT_BINARY))


if __name__ == "__main__":
    unittest.main()
