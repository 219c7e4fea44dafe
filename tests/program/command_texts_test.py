#!/usr/bin/env python3
"""Manual pages and completions tell of every command and option of the program.

    command_texts_test.py PROGRAM
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest


def tell(*arguments):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, check=True).stdout


def commands():
    found = re.findall(r"^  ([a-z-]+) {2,}", tell("--help").split("Subcommands:")[1], re.MULTILINE)
    assert "run" in found and "stdio" in found, found
    return found


def options(command):
    """The long options of a command, from its help."""
    found = {name for line in tell("help", command).splitlines() if line.startswith("  -")
             for name in line.split()[0].split(",") if name.startswith("--")}
    assert "--help" in found, command
    return found


class CommandTexts(unittest.TestCase):
    def test_manual_of_each_command_has_its_options(self):
        for command in commands():
            page = tell("manual", command).replace("\\-", "-")
            for option in options(command):
                self.assertRegex(page, r"\\fB[^\n]*" + option + r"\b", command)

    def test_pages_are_well_formed(self):
        if shutil.which("groff") is None:
            self.skipTest("groff is not installed")
        for command in [None, *commands()]:
            page = tell("manual", *([command] if command else []))
            done = subprocess.run(["groff", "-man", "-ww", "-Tascii"], input=page,
                                  capture_output=True, text=True, check=False)
            self.assertEqual((0, ""), (done.returncode, done.stderr), command)
            self.assertIn("EXIT STATUS", re.sub(r".\x08|\x1b\[\d+m", "", done.stdout))

    def test_all_pages_are_written_into_a_folder_or_it_is_said_why_not(self):
        with tempfile.TemporaryDirectory() as folder:
            tell("manual", "--all", os.path.join(folder, "new"))
            self.assertEqual({"lighting-host.1"} | {f"lighting-host-{c}.1" for c in commands()},
                             set(os.listdir(os.path.join(folder, "new"))))
        done = subprocess.run([PROGRAM, "manual", "--all", "/dev/null/x"], capture_output=True,
                              text=True, check=False)
        self.assertEqual(2, done.returncode)
        self.assertIn("cannot be written", done.stderr)

    def test_unknown_topic_and_shell_are_refused(self):
        for arguments in (["manual", "runn"], ["completion", "tcsh"]):
            done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True,
                                  check=False)
            self.assertEqual((2, ""), (done.returncode, done.stdout))
            self.assertIn(arguments[1], done.stderr)

    def complete(self, *words):
        """What bash offers after these words."""
        script = tell("completion", "bash") + (
            'COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lighting_host\n'
            'printf "%s\\n" "${COMPREPLY[@]}"\n')
        return set(subprocess.run(["bash", "-c", script, "bash", "lighting-host", *words],
                                  capture_output=True, text=True, check=True).stdout.split())

    def test_bash_completes_commands_options_and_words(self):
        self.assertLessEqual(set(commands()), self.complete(""))
        self.assertEqual({"validate"}, self.complete("val"))
        self.assertEqual({"none", "light", "heavy"}, self.complete("run", "--faults", ""))
        self.assertEqual({"verbose"}, self.complete("run", "--tell", "v"))
        for command in commands():
            self.assertLessEqual(options(command), self.complete(command, "-"), command)

    def test_zsh_and_fish_name_every_option(self):
        zsh, fish = tell("completion", "zsh"), tell("completion", "fish")
        for command in commands():
            part = zsh.split(f"        {command})\n")[1].split(";;")[0]
            lines = [line for line in fish.splitlines() if f"_from {command}'" in line]
            for option in options(command):
                self.assertIn(f"'{option}[", part, command)
                self.assertTrue(any(f" -l {option[2:]} " in line for line in lines),
                                (command, option))


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
