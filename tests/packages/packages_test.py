#!/usr/bin/env python3
"""The Debian packages: what is in each, that the archive's checker finds nothing, and that the example
driver is built and run with nothing but what they bring.

    packages_test.py BUILD        BUILD holds the program, its manual pages and the completions
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
EXAMPLE = os.path.join(ROOT, "examples/my_first_driver")
with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as lists:
    VERSION = re.search(r"^project\(.* VERSION ([0-9.]+) ", lists.read(),
                        re.MULTILINE).group(1) + "-1"
NAMES = {"liblightingcommon1", "liblightingcommon-dev", "lighting-host",
         "liblightingcommon-testkit-dev", "liblightingcommon-doc"}


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{done.stdout[-4000:]}{done.stderr[-4000:]}")
    return done.stdout


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = os.path.join(BUILD, "packages")
        cls.root = os.path.join(BUILD, "packages-root")
        for folder in (cls.folder, cls.root):
            shutil.rmtree(folder, ignore_errors=True)
        run("cpack", "--config", "CPackConfig.cmake", cwd=BUILD,
            env=dict(os.environ, SOURCE_DATE_EPOCH="1700000000"))
        cls.packages = {os.path.basename(path).split("_")[0]: path
                        for path in glob.glob(cls.folder + "/*.deb")}
        for path in cls.packages.values():
            run("dpkg-deb", "-x", path, cls.root)
        cls.libraries = glob.glob(cls.root + "/usr/lib/*/liblightingcommon.so.1")[0]
        cls.libraries = os.path.dirname(cls.libraries)
        cls.env = dict(os.environ, LD_LIBRARY_PATH=cls.libraries,
                       PATH=f"{cls.root}/usr/bin:{os.environ['PATH']}")

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def test_there_is_a_package_for_each_use(self):
        self.assertEqual(NAMES, set(self.packages))
        for package in NAMES:
            self.assertEqual(VERSION, self.field(package, "Version"))
        self.assertEqual("all", self.field("liblightingcommon-doc", "Architecture"))

    def test_checker_of_the_archive_finds_nothing(self):
        if shutil.which("lintian") is None:
            self.skipTest("lintian is not installed")
        done = subprocess.run(["lintian", "--fail-on", "error,warning",
                               *sorted(self.packages.values())], capture_output=True, text=True,
                              check=False)
        self.assertEqual((0, ""), (done.returncode, done.stdout))

    def test_every_override_says_why(self):
        for path in glob.glob(ROOT + "/packaging/*.lintian-overrides"):
            with open(path, encoding="utf-8") as lines:
                before = ""
                for line in lines:
                    self.assertTrue(line.startswith("#") or before.startswith("#") or
                                    before.split(" [")[0] == line.split(" [")[0], (path, line))
                    before = line

    def test_packages_need_one_another_in_the_same_version(self):
        same = f"(= {VERSION})"
        for package, needed in (("liblightingcommon-dev", "liblightingcommon1"),
                                ("lighting-host", "liblightingcommon1"),
                                ("liblightingcommon-testkit-dev", "liblightingcommon-dev"),
                                ("liblightingcommon-testkit-dev", "lighting-host")):
            self.assertIn(f"{needed} {same}", self.field(package, "Depends"))

    def test_library_is_stripped_and_looks_for_nothing_in_folders_of_its_own(self):
        for name in ("liblightingcommon.so.1", "libembedded_host.so.1"):
            library = os.path.join(self.libraries, name)
            self.assertNotIn("not stripped", run("file", "-L", library))
            self.assertNotRegex(run("readelf", "-dW", library), r"\((RPATH|RUNPATH)\)")
        self.assertIn("liblightingcommon 1 liblightingcommon1",
                      run("dpkg-deb", "-I", self.packages["liblightingcommon1"], "shlibs"))

    def test_library_is_no_larger_than_its_mark(self):
        size = os.path.getsize(os.path.join(self.libraries, "liblightingcommon.so.1"))
        self.assertLessEqual(size, 600000)

    def test_nothing_in_them_names_the_folder_that_they_were_built_in(self):
        found = subprocess.run(["grep", "-rlaF", ROOT + "/", self.root], capture_output=True,
                               text=True, check=False).stdout.split()
        self.assertEqual([], found)

    def test_links_of_the_documents_lead_to_what_is_installed_beside_them(self):
        documents = glob.glob(self.root + "/usr/share/doc/liblightingcommon/**/*.md", recursive=True)
        self.assertLess(10, len(documents))
        for document in documents:
            with open(document, encoding="utf-8") as text:
                targets = re.findall(r"\]\((?![a-z]+:)([^)#\s]+)", text.read())
            lost = [target for target in targets
                    if not os.path.exists(os.path.join(os.path.dirname(document), target))]
            self.assertEqual([], lost, document)

    def test_program_runs_and_has_pages_and_completions_for_every_command(self):
        program = os.path.join(self.root, "usr/bin/lighting-host")
        commands = set(re.findall(r"^  ([a-z-]+) {2,}", run(program, "--help", env=self.env)
                                  .split("Subcommands:")[1], re.MULTILINE))
        self.assertIn("run", commands)
        pages = {os.path.basename(path) for path in
                 glob.glob(self.root + "/usr/share/man/man1/*.gz")}
        self.assertEqual({"lighting-host.1.gz"} |
                         {f"lighting-host-{command}.1.gz" for command in commands}, pages)
        for path in ("bash-completion/completions/lighting-host",
                     "zsh/vendor-completions/_lighting-host",
                     "fish/vendor_completions.d/lighting-host.fish"):
            self.assertTrue(os.path.exists(os.path.join(self.root, "usr/share", path)), path)

    def test_manual_has_pages_of_the_house_file_and_the_protocol(self):
        for name, words in (("house", ["<bind ", "load_group", "Messages to and from ZigBee"]),
                            ("protocol", ["advance_ms", "bound_call", "--persist-every"])):
            path = f"{self.root}/usr/share/man/man5/lighting-host-{name}.5.gz"
            done = subprocess.run(["man", "--warnings", "-l", path], capture_output=True, text=True,
                                  check=True, env=dict(os.environ, MANWIDTH="80", LC_ALL="C.UTF-8"))
            self.assertEqual("", done.stderr)
            for word in words:
                self.assertIn(word, done.stdout)
            self.assertNotIn("](", done.stdout)
            self.assertIn(f"lighting-host-{name} - ", run("lexgrog", path))

    def test_example_is_built_and_passes_with_cmake(self):
        built = os.path.join(BUILD, "packages-example")
        shutil.rmtree(built, ignore_errors=True)
        run("cmake", "-S", EXAMPLE, "-B", built, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
            f"-DCMAKE_PREFIX_PATH={self.root}/usr")
        run("cmake", "--build", built)
        said = run("ctest", "--test-dir", built, "--no-tests=error", env=self.env)
        self.assertIn("doorbell.transcript", said)
        self.assertIn("doorbell.unit", said)

    def test_example_is_built_and_passes_with_pkg_config_alone(self):
        built = os.path.join(BUILD, "packages-pkg-config")
        shutil.rmtree(built, ignore_errors=True)
        os.makedirs(built)
        env = dict(self.env, PKG_CONFIG_PATH=os.path.join(self.libraries, "pkgconfig"))
        flags = run("pkg-config", "--cflags", "--libs", "lightingcommon", env=env).split()
        sources = [os.path.join(EXAMPLE, name) for name in ("Doorbell.cpp", "CreateDriver.cpp")]
        run("g++", "-std=c++17", "-shared", "-fPIC", *sources, "-o", built + "/libdoorbell.so",
            *flags)
        for name in ("house.xml", "doorbell.jsonl"):
            shutil.copy(os.path.join(EXAMPLE, name), built)
        run("lighting-host", "check", "doorbell.jsonl", cwd=built, env=self.env)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
