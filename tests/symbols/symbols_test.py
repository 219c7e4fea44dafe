#!/usr/bin/env python3
"""What liblightingcommon.so asks of its host, and what it shows of itself.

    symbols_test.py FOLDER          FOLDER holds the built libraries
    symbols_test.py FOLDER --write  writes host_surface.txt anew; look at what has changed
"""
import os
import re
import sys
import unittest

from library_symbols import Library, demangled, host_surface

SURFACE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "host_surface.txt")


def built(name):
    return Library(os.path.join(FOLDER, name))


class Symbols(unittest.TestCase):
    maxDiff = None

    def test_library_asks_of_its_host_what_the_list_says(self):
        with open(SURFACE, encoding="utf-8") as listed:
            self.assertEqual(listed.read().splitlines(),
                             demangled(host_surface(built("liblightingcommon.so"))))

    def test_embedded_host_brings_all_that_the_library_asks_for(self):
        surface = host_surface(built("liblightingcommon.so"))
        self.assertEqual([], demangled(surface - built("libembedded_host.so").defined()))

    def test_library_needs_no_library_of_ours(self):
        self.assertEqual([], [name for name in built("liblightingcommon.so").needed
                              if re.match(r"lib(embedded_host|lighting|drivers)", name)])

    def test_library_carries_its_major_version_in_its_name(self):
        self.assertEqual("liblightingcommon.so.1", built("liblightingcommon.so").soname)

    def test_library_hides_what_is_internal(self):
        shown = demangled(built("liblightingcommon.so").defined())
        self.assertNotEqual([], shown)
        self.assertEqual([], [name for name in shown
                              if re.search(r"\b(diagnostics|fmt|log4cplus)::", name)
                              and not re.search(r"\(.*(diagnostics|fmt|log4cplus)::", name)])


if __name__ == "__main__":
    FOLDER = sys.argv.pop(1)
    if sys.argv[1:] == ["--write"]:
        with open(SURFACE, "w", encoding="utf-8") as out:
            out.write("\n".join(demangled(host_surface(built("liblightingcommon.so")))) + "\n")
    else:
        unittest.main()
