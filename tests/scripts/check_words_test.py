#!/usr/bin/env python3
"""scripts/check_words finds what it is there to find."""
import os
import subprocess
import tempfile
import unittest

CHECK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/check_words")
# Put together here, so that this file itself passes the check.
NUMBERED = "Pa" + "rt 1.2"
DOCUMENT = "speci" + "fication"


class CheckWords(unittest.TestCase):
    def check(self, path, text):
        with tempfile.TemporaryDirectory() as root:
            os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
            with open(os.path.join(root, path), "w", encoding="utf-8") as out:
                out.write(text)
            done = subprocess.run([CHECK, root], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout

    def test_numbered_part_is_refused(self):
        result, said = self.check("docs/a.md", f"fine\nas in {NUMBERED}\n")
        self.assertEqual(1, result)
        self.assertIn("docs/a.md:2:", said)

    def test_document_is_refused(self):
        self.assertEqual(1, self.check("lighting_common/A.h", f"// See the {DOCUMENT}.\n")[0])

    def test_temporary_folder_in_a_source_is_refused(self):
        self.assertEqual(1, self.check("lighting_host/A.cpp", '"/' + 'tmp/x"\n')[0])

    def test_temporary_folder_in_a_script_is_taken(self):
        self.assertEqual(0, self.check("scripts/a", "/" + "tmp/x\n")[0])

    def test_other_words_are_taken(self):
        self.assertEqual(0, self.check("docs/a.md", "special, specific, parts 1 and 2\n")[0])


if __name__ == "__main__":
    unittest.main()
