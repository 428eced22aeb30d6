"""Checks the translations: complete, up to date, with the placeholders and access keys of the English texts.

Usage: translations_test.py SOURCE_FOLDER
"""
import pathlib
import re
import subprocess
import sys
import unittest
import xml.etree.ElementTree as xml

SOURCE = pathlib.Path(sys.argv.pop(1))
FILES = sorted((SOURCE / "translations").glob("*.ts"))


def messages(file):
    for message in xml.parse(file).iter("message"):
        yield message.findtext("source"), message.find("translation")


class TranslationsTest(unittest.TestCase):
    def test_are_up_to_date_with_the_sources(self):
        run = subprocess.run([SOURCE / "tools/translations", "--check"], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def test_are_finished(self):
        self.assertIn("moxtelserver_de.ts", [file.name for file in FILES])
        for file in FILES:
            for english, translation in messages(file):
                with self.subTest(file=file.name, english=english):
                    self.assertIsNone(translation.get("type"))
                    self.assertTrue("".join(translation.itertext()).strip())

    def test_keep_placeholders_and_access_keys(self):
        def parts(text):
            return sorted(re.findall(r"%(?:[0-9Ln@ds]|l[ud])|&(?=\w)", text))

        for file in FILES:
            for english, translation in messages(file):
                with self.subTest(file=file.name, english=english):
                    self.assertEqual(parts("".join(translation.itertext())), parts(english))

    def test_find_every_text_of_the_windows(self):
        """A literal that a person would read, but that does not go through WindowText."""
        shown = re.compile(
            r"(?:set(?:Text|Title|WindowTitle|ToolTip|AccessibleName|PlaceholderText|StatusTip|WhatsThis|InformativeText)"
            r"|add(?:Row|Button|Item|Action|Tab)|Q(?:Label|PushButton|CheckBox|RadioButton|GroupBox|Action))"
            r"\(\s*(?:QStringLiteral\()?\"[^\"]*[A-Za-z]{2}")
        found = []
        for folder in ("src/app/windows", "src/console/window"):
            for file in (SOURCE / folder).glob("*.cpp"):
                for match in shown.finditer(file.read_text()):
                    if "MoxtelServer" not in match.group():
                        found.append(f"{file.name}: {match.group()}")
        self.assertEqual(found, [])


if __name__ == "__main__":
    unittest.main()
