#!/usr/bin/env python3
"""What new-driver writes, on each base: it is built against an installation and passes its own tests.

    new_driver_test.py BUILD
"""
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
NAMES = {"puck": "doorbell", "mib": "attic_fan", "zcl": "lamp2", "bus": "panel"}


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{done.stdout[-6000:]}{done.stderr[-4000:]}")
    return done.stdout


class NewDriver(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = os.path.join(BUILD, "new_drivers")
        shutil.rmtree(cls.folder, ignore_errors=True)
        cls.prefix = os.path.join(cls.folder, "stage")
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        cls.program = os.path.join(cls.prefix, "bin/lighting-host")
        cls.said = {}
        with concurrent.futures.ThreadPoolExecutor(len(NAMES)) as pool:
            cls.built = dict(zip(NAMES, pool.map(cls.write_and_build, NAMES)))

    @classmethod
    def write_and_build(cls, base):
        name = NAMES[base]
        cls.said[base] = run(cls.program, "new-driver", name, "--base", base, cwd=cls.folder)
        sources = os.path.join(cls.folder, name)
        built = os.path.join(sources, "build")
        try:
            run("cmake", "-S", sources, "-B", built, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                f"-DCMAKE_PREFIX_PATH={cls.prefix}", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror")
            run("cmake", "--build", built, "-j", "1")
            return run("ctest", "--test-dir", built, "--output-on-failure", "--no-tests=error")
        except AssertionError as error:
            return str(error)

    def test_each_is_built_and_passes(self):
        for base, said in self.built.items():
            with self.subTest(base=base):
                self.assertIn("100% tests passed", said)
                self.assertIn(f"{NAMES[base]}.transcript", said)
                self.assertIn(f"{NAMES[base]}.unit", said)

    def test_each_house_is_valid(self):
        for name in NAMES.values():
            run(self.program, "validate", os.path.join(self.folder, name, "build/house.xml"))

    def test_what_was_written_is_told(self):
        for base, said in self.said.items():
            folder = os.path.join(self.folder, NAMES[base])
            told = re.findall(r"^  ([\w.]+)$", said, re.MULTILINE)
            self.assertEqual(sorted(set(os.listdir(folder)) - {"build"}), sorted(told))
            self.assertIn(f"cd {NAMES[base]}\n", said)

    def test_nothing_is_left_to_fill_in(self):
        for name in NAMES.values():
            folder = os.path.join(self.folder, name)
            for file in sorted(set(os.listdir(folder)) - {"build"}):
                with open(os.path.join(folder, file), encoding="utf-8") as text:
                    self.assertNotRegex(text.read(), "@[A-Z]+@", file)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
