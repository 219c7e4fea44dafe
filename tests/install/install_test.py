#!/usr/bin/env python3
"""What an author of drivers gets: an installation that can be moved, headers that stand alone, and
the example built against it and run.

    install_test.py BUILD
"""
import concurrent.futures
import json
import os
import re
import shutil
import subprocess
import sys
import unittest

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
EXAMPLE = os.path.join(ROOT, "examples/my_first_driver")


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{done.stdout[-4000:]}{done.stderr[-4000:]}")
    return done.stdout


def walk_through():
    with open(os.path.join(ROOT, "docs/writing_a_driver.md"), encoding="utf-8") as text:
        return text.read()


def agrees(expected, actual):
    """Whether every field that is expected is there with that value."""
    if isinstance(expected, dict) and isinstance(actual, dict):
        return all(key in actual and agrees(value, actual[key]) for key, value in expected.items())
    return expected == actual


class Installed(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.prefix = os.path.join(BUILD, "stage")
        cls.include = os.path.join(cls.prefix, "include/lightingcommon")
        cls.program = os.path.join(cls.prefix, "bin/lighting-host")
        shutil.rmtree(cls.prefix, ignore_errors=True)
        first = os.path.join(BUILD, "stage-first")
        shutil.rmtree(first, ignore_errors=True)
        run("cmake", "--install", BUILD, "--prefix", first)
        # Moved, so that nothing can depend on where it was installed.
        os.rename(first, cls.prefix)


class Installation(Installed):
    def headers(self):
        return [os.path.relpath(os.path.join(place, name), self.include)
                for place, _, names in os.walk(self.include) for name in names]

    def test_headers_of_interfaces_library_and_host_are_there_and_no_others(self):
        folders = {header.split("/")[0] for header in self.headers()}
        self.assertEqual({"nxshared", "NxLibDriverBases", "lighting_common", "embedded_host",
                          "test_kit", "device_wire", "simulated_devices", "wire"}, folders)

    def test_every_header_outside_internal_folders_is_there_and_no_internal_one(self):
        places = {"lighting_common": ROOT, "embedded_host": ROOT, "test_kit": ROOT,
                  "device_wire": ROOT, "simulated_devices": ROOT, "wire": ROOT,
                  "nxshared": os.path.join(ROOT, "host_interfaces"),
                  "NxLibDriverBases": os.path.join(ROOT, "host_interfaces")}
        expected = [os.path.relpath(os.path.join(place, name), root)
                    for folder, root in places.items()
                    for place, _, names in os.walk(os.path.join(root, folder)) for name in names
                    if name.endswith(".h")]
        public = [header for header in expected if "internal" not in header.split("/")]
        self.assertLess(len(public), len(expected))
        self.assertEqual(sorted(public), sorted(self.headers()))

    def test_each_header_compiles_alone(self):
        def compile_header(header):
            run("g++", "-std=c++17", "-fsyntax-only", "-Wall", "-Wextra", "-I", self.include,
                "-include", header, "-x", "c++", os.devnull)

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(compile_header, self.headers()))

    def test_program_finds_its_libraries_beside_it(self):
        found = dict(re.findall(r"(lib(?:lightingcommon|embedded_host)\S+) => (\S+)",
                                run("ldd", self.program)))
        self.assertEqual({"liblightingcommon.so.1", "libembedded_host.so.1"}, set(found))
        for path in found.values():
            self.assertTrue(os.path.realpath(path).startswith(
                os.path.realpath(os.path.join(self.prefix, "lib")) + "/"), path)

    def test_wrong_major_version_is_not_found(self):
        script = os.path.join(BUILD, "find_version_2.cmake")
        with open(script, "w", encoding="utf-8") as out:
            out.write("cmake_minimum_required(VERSION 3.25)\n"
                      "find_package(lightingcommon 2 CONFIG QUIET)\n"
                      "if(NOT lightingcommon_CONSIDERED_VERSIONS STREQUAL \"1.0.0\" OR\n"
                      "   lightingcommon_FOUND)\n"
                      "  message(FATAL_ERROR \"found\")\nendif()\n")
        # A script has no compiler to ask for the folder of the machine's libraries.
        library = next(os.path.join(place, name) for place, _, names
                       in os.walk(os.path.join(self.prefix, "lib")) for name in names
                       if name == "liblightingcommon.so.1")
        machine = os.path.basename(os.path.dirname(library))
        run("cmake", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_LIBRARY_ARCHITECTURE={machine}", "-P", script)


class Example(Installed):
    """The example, built out of tree against the installation."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.built = os.path.join(BUILD, "my_first_driver")
        shutil.rmtree(cls.built, ignore_errors=True)
        run("cmake", "-S", EXAMPLE, "-B", cls.built, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={cls.prefix}", "-DCMAKE_BUILD_TYPE=Debug")
        run("cmake", "--build", cls.built)

    def test_its_own_tests_pass(self):
        said = run("ctest", "--test-dir", self.built, "--output-on-failure", "--no-tests=error")
        self.assertIn("doorbell.transcript", said)
        self.assertIn("doorbell.unit", said)

    def test_driver_does_not_need_the_host(self):
        library = os.path.join(self.built, "libdoorbell.so")
        needed = re.findall(r"\(NEEDED\).*\[(.+)\]", run("readelf", "-dW", library))
        self.assertIn("liblightingcommon.so.1", needed)
        self.assertNotIn("libembedded_host.so.1", needed)

    def test_house_is_valid(self):
        run(self.program, "validate", os.path.join(self.built, "house.xml"))

    def test_driver_answers_on_standard_input_as_its_transcript_says(self):
        with open(os.path.join(EXAMPLE, "doorbell.jsonl"), encoding="utf-8") as lines:
            header, *steps = [json.loads(line) for line in lines]
        inputs = "".join(json.dumps(step["in"]) + "\n" for step in steps if "in" in step)
        done = subprocess.run([self.program, "stdio", "house.xml"], cwd=self.built, input=inputs,
                              capture_output=True, text=True, check=False)
        refused = any("error" in step.get("out", {}) for step in steps)
        self.assertEqual(1 if refused else 0, done.returncode, done.stderr)
        said = [json.loads(line) for line in done.stdout.splitlines()]
        shown = set(header["show"])
        expected = [step["out"] for step in steps if "out" in step]
        dones = [line["done"] for line in said if "done" in line]
        # After the last input the driver is destroyed; the transcript does not tell of that.
        end = max(index for index, line in enumerate(said) if "done" in line)
        seen = [line for line in said[:end] if shown & set(line)]

        self.assertEqual(list(range(1, inputs.count("\n") + 1)), dones)
        self.assertEqual(len(expected), len(seen), seen)
        for wanted, got in zip(expected, seen):
            self.assertTrue(agrees(wanted, got), f"wanted {wanted}, got {got}")


class StartedFromADriver(Installed):
    """A driver that derives from a copy of one of ours, copied and built as docs/writing_a_driver.md
    says."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.sources = os.path.join(BUILD, "my_dimmer")
        cls.built = os.path.join(cls.sources, "build")
        shutil.rmtree(cls.sources, ignore_errors=True)
        cls.copies = re.findall(r"^    ((?:cp|mkdir) .*my_dimmer.*)$", walk_through(), re.MULTILINE)
        for copy in cls.copies:
            run("sh", "-c", copy, cwd=ROOT, env={**os.environ, "HOME": BUILD})
        run("cmake", "-S", cls.sources, "-B", cls.built, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={cls.prefix}", "-DCMAKE_BUILD_TYPE=Debug")
        run("cmake", "--build", cls.built)

    def test_the_document_says_how_to_copy_it(self):
        self.assertEqual(3, len(self.copies))

    def test_its_own_test_passes(self):
        said = run("ctest", "--test-dir", self.built, "--output-on-failure", "--no-tests=error")
        self.assertIn("my_dimmer.transcript", said)

    def test_house_lives_with_a_simulated_dimmer(self):
        said = run(self.program, "run", "--virtual", "--for", "1h", "house.xml", cwd=self.built)
        self.assertIn("sofa", said)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
