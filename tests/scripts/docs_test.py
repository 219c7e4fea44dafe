#!/usr/bin/env python3
"""What the documents show is what is there: code blocks are found in the sources that they name,
links lead somewhere, and the program answers as it is written down.

    docs_test.py BUILD      the answers, with the program in BUILD
    docs_test.py            the rest, for which nothing has to be built
"""
import glob
import os
import re
import subprocess
import sys
import textwrap
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
BLOCK = re.compile(r"<!-- (from|conversation|prints): ([^\n]+?) -->\n```\w*\n(.*?)```\n", re.DOTALL)
LINK = re.compile(r"\]\(([^)#\s]+)(?:#[^)]*)?\)")
ANCHOR = re.compile(r"\]\(([^)#\s]*\.md)?#([^)]+)\)")


def documents():
    found = glob.glob(os.path.join(ROOT, "*.md"))
    for folder in ("docs", "drivers", "examples"):
        found += glob.glob(os.path.join(ROOT, folder, "**/*.md"), recursive=True)
    return sorted(found)


def text_of(path):
    with open(path, encoding="utf-8") as text:
        return text.read()


def blocks(kind):
    """(document, what it names, the block) for every block of that kind."""
    for document in documents():
        for found, name, block in BLOCK.findall(text_of(document)):
            if found == kind:
                yield os.path.relpath(document, ROOT), name, block


def lines_of(text):
    return [line.rstrip() for line in textwrap.dedent(text).strip("\n").splitlines()]


def stands_in(block, source):
    """Whether the block's lines stand in the source in one piece, at whatever indent. A line "..."
    stands for any lines."""
    pieces = [[]]
    for line in lines_of(block):
        if line.strip() == "...":
            pieces.append([])
        else:
            pieces[-1].append(line)
    at = 0
    for piece in filter(None, pieces):
        ends = [i for i in range(at, len(source) - len(piece) + 1)
                if lines_of("\n".join(source[i:i + len(piece)])) == lines_of("\n".join(piece))]
        if not ends:
            return False
        at = ends[0] + len(piece)
    return True


class Snippets(unittest.TestCase):
    def test_there_are_some(self):
        self.assertGreater(len(list(blocks("from"))), 5)

    def test_each_stands_in_the_source_that_it_names(self):
        for document, name, block in blocks("from"):
            with self.subTest(document=document, source=name, block=block):
                source = text_of(os.path.join(ROOT, name)).splitlines()
                self.assertTrue(stands_in(block, source))

    def test_changed_line_is_noticed(self):
        source = ["int a;", "int b;", "int c;"]
        self.assertTrue(stands_in("int a;\n...\nint c;\n", source))
        self.assertFalse(stands_in("int a;\nint c;\n", source))
        self.assertFalse(stands_in("int d;\n", source))


class Links(unittest.TestCase):
    def test_each_leads_to_a_file(self):
        for document in documents():
            for target in LINK.findall(text_of(document)):
                if re.match(r"[a-z]+:", target):
                    continue
                with self.subTest(document=os.path.relpath(document, ROOT), target=target):
                    self.assertTrue(os.path.exists(
                        os.path.join(os.path.dirname(document), target)))

    def test_each_anchor_is_a_heading(self):
        for document in documents():
            for target, anchor in ANCHOR.findall(text_of(document)):
                if re.match(r"[a-z]+:", target):
                    continue
                path = os.path.join(os.path.dirname(document), target) if target else document
                headings = {re.sub(r"[^\w\- ]", "", heading).strip().lower().replace(" ", "-")
                            for heading in re.findall(r"^#+ (.+)$", text_of(path), re.MULTILINE)}
                with self.subTest(document=os.path.relpath(document, ROOT), target=target,
                                  anchor=anchor):
                    self.assertIn(anchor, headings)


class Scripts(unittest.TestCase):
    def test_each_has_a_row_in_the_readme(self):
        listed = re.findall(r"^\| `scripts/(\w+)", text_of(os.path.join(ROOT, "README.md")),
                            re.MULTILINE)
        there = [name for name in os.listdir(os.path.join(ROOT, "scripts"))
                 if os.access(os.path.join(ROOT, "scripts", name), os.X_OK) and "." not in name
                 and os.path.isfile(os.path.join(ROOT, "scripts", name))]
        self.assertEqual(sorted(there), sorted(listed))


class Version(unittest.TestCase):
    def test_changes_begin_with_the_version_of_the_build(self):
        version = re.search(r"^project\(.* VERSION ([0-9.]+) ",
                            text_of(os.path.join(ROOT, "CMakeLists.txt")), re.MULTILINE).group(1)
        for name, first in (("CHANGELOG.md", r"^## ([0-9.]+)"),
                            ("packaging/changelog", r"^\S+ \(([0-9.]+)-")):
            with self.subTest(name=name):
                found = re.search(first, text_of(os.path.join(ROOT, name)), re.MULTILINE)
                self.assertEqual(version, found.group(1))


def documented_options(command):
    """The options that the protocol's table gives to a command."""
    found = set()
    for row in re.findall(r"^\| `--.*$", text_of(os.path.join(ROOT, "docs/protocol.md")),
                          re.MULTILINE):
        _, names, of, *_ = re.split(r"(?<!\\)\|", row)
        if f"`{command}`" in of:
            found.update(re.findall(r"(--[\w-]+)", names))
    return found


class Answers(unittest.TestCase):
    maxDiff = None

    def test_each_command_prints_what_is_written(self):
        commands = list(blocks("prints"))
        self.assertNotEqual([], commands)
        for document, arguments, block in commands:
            done = subprocess.run([os.path.join(BUILD, "bin/lighting-host"), *arguments.split()],
                                  cwd=ROOT, capture_output=True, text=True, check=False)
            with self.subTest(document=document, arguments=arguments, printed=done.stdout):
                self.assertTrue(stands_in(block, done.stdout.splitlines()))

    def test_each_conversation_goes_as_written(self):
        conversations = list(blocks("conversation"))
        self.assertNotEqual([], conversations)
        for document, house, block in conversations:
            lines = block.splitlines()
            inputs = [line[2:] for line in lines if line.startswith("> ")]
            expected = [line for line in lines if not line.startswith("> ")]
            house = re.sub("^build/", BUILD + "/", house)
            done = subprocess.run(
                [os.path.join(BUILD, "bin/lighting-host"), "stdio", "--log-level", "off",
                 os.path.join(ROOT, house)],
                input="".join(line + "\n" for line in inputs), capture_output=True, text=True,
                check=False)
            said = done.stdout.splitlines()
            # What the end causes is not part of a conversation.
            end = max((i for i, line in enumerate(said) if '"done"' in line), default=-1) + 1
            with self.subTest(document=document, house=house, stderr=done.stderr):
                self.assertEqual(expected, said[:end])

    def test_each_option_of_a_command_is_in_the_protocols_table_and_no_other(self):
        for command in ("stdio", "run", "check", "validate"):
            help_text = subprocess.run(
                [os.path.join(BUILD, "bin/lighting-host"), "help", command],
                capture_output=True, text=True, check=True).stdout
            offered = set(re.findall(r"^ +(?:-\w,)?(--[\w-]+)", help_text, re.MULTILINE))
            with self.subTest(command=command):
                self.assertEqual(offered - {"--help", "--help-all"}, documented_options(command))


if __name__ == "__main__":
    if len(sys.argv) > 1 and not sys.argv[1].startswith("-"):
        BUILD = os.path.abspath(sys.argv.pop(1))
        unittest.main(defaultTest="Answers")
    else:
        unittest.main(defaultTest=["Snippets", "Links", "Scripts", "Version"])
