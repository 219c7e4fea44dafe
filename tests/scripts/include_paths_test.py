#!/usr/bin/env python3
"""The compiler itself keeps the layers: a target finds the headers of the folders that it may
include, and of no others.

    include_paths_test.py BUILD        BUILD is configured; nothing has to be built
"""
import importlib.machinery
import importlib.util
import json
import os
import shlex
import subprocess
import sys
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))

# A header of each folder, as it is included.
HEADERS = {
    "wire": "wire/ZclFrame.h",
    "host_interfaces": "nxshared/Ids.h",
    "lighting_common": "lighting_common/Names.h",
    "embedded_host": "embedded_host/House.h",
    "drivers": "drivers/puck/PuckDriver.h",
    "simulated_devices": "simulated_devices/SimulatedDevice.h",
    "device_wire": "device_wire/Link.h",
}


def allowed():
    """Folder: the folders of ours that it may include, as scripts/check_layers has it."""
    path = os.path.join(ROOT, "scripts/check_layers")
    loader = importlib.machinery.SourceFileLoader("check_layers", path)
    spec = importlib.util.spec_from_loader("check_layers", loader)
    module = importlib.util.module_from_spec(spec)
    sys.dont_write_bytecode = True
    loader.exec_module(module)
    return {folder: folders for folder, (folders, _) in module.ALLOWED.items() if folders != "*"}


class IncludePaths(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as commands:
            cls.commands = json.load(commands)

    def commands_of(self, folder):
        """Of its sources, or of the files that hold several of them in one."""
        places = (os.path.join(ROOT, folder) + "/", os.path.join(BUILD, folder, "CMakeFiles") + "/")
        return [command for command in self.commands if command["file"].startswith(places)]

    def compile(self, folder, text):
        """Compiles a text as a source of that folder would be, of the one that finds the most where
        they differ; nothing is written."""
        commands = self.commands_of(folder)
        self.assertTrue(commands, f"no source of {folder} is compiled")
        command = max(commands, key=lambda command: command["command"].count(" -I"))
        words = shlex.split(command["command"])
        compiler = next(w for w in words if w.endswith(("g++", "clang++-14")))
        options = [w for w in words if w.startswith(("-I", "-D", "-std="))]
        options += [w for i, w in enumerate(words) for w in words[i:i + 2] if words[i] == "-isystem"]
        return subprocess.run([compiler, *options, "-fsyntax-only", "-x", "c++", "-"], text=True,
                              input=text, cwd=command["directory"], capture_output=True,
                              check=False)

    def test_driver_that_includes_the_host_does_not_compile(self):
        done = self.compile("drivers", '#include "embedded_host/House.h"\n')
        self.assertNotEqual(0, done.returncode)
        self.assertRegex(done.stderr, r"embedded_host/House\.h('|:) (file not found|No such file)")

    def test_driver_that_includes_the_library_compiles(self):
        done = self.compile("drivers", '#include "lighting_common/Names.h"\n')
        self.assertEqual((0, ""), (done.returncode, done.stderr))

    def test_each_folder_finds_what_it_may_include_and_nothing_else(self):
        for folder, folders in allowed().items():
            if not self.commands_of(folder):
                continue
            asked = "".join(f'#if __has_include("{header}")\n#warning found {known}.\n#endif\n'
                            for known, header in HEADERS.items())
            said = self.compile(folder, asked).stderr
            found = {known for known in HEADERS if f"#warning found {known}." in said}
            with self.subTest(folder=folder):
                self.assertEqual(folders & set(HEADERS), found)


if __name__ == "__main__":
    BUILD = os.path.abspath(sys.argv.pop(1))
    unittest.main()
