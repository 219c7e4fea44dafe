#!/usr/bin/env python3
"""The reference: that it is made without a warning, has every header and document, and that every link
of it leads somewhere.

    reference_test.py FOLDER        FOLDER is where it is made
"""
import glob
import html
import os
import re
import shutil
import subprocess
import sys
import unittest
import urllib.parse

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
SKIPPED = 77


def text_of(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


class Reference(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        done = subprocess.run([os.path.join(ROOT, "scripts/reference"), FOLDER],
                              capture_output=True, text=True, check=False)
        cls.status = (done.returncode, done.stdout + done.stderr)
        cls.pages = {os.path.relpath(path, FOLDER): text_of(path)
                     for path in glob.glob(FOLDER + "/**/*.html", recursive=True)}

    def test_is_made_without_a_warning(self):
        self.assertEqual((0, ""), self.status)

    def test_has_a_page_for_each_class_of_an_author(self):
        for page, words in (("classNxBasePuckDriver.html", "Called"),
                            ("classtest__kit_1_1OneDriverHouse.html", "A house with one driver on"),
                            ("classITimerManager.html", "Starts a timer of"),
                            ("classDoorbell.html", None)):
            if words is None:
                self.assertNotIn(page, self.pages)
                continue
            self.assertIn(words, self.pages.get(page, ""), page)

    def test_says_what_the_comment_of_a_header_says(self):
        page = re.sub(r"<[^>]*>", "", self.pages["classITimerManager.html"])
        self.assertIn("Stops every timer whose callback is this object. None running: nothing "
                      "happens.", html.unescape(page))

    def test_has_every_document(self):
        titles = {html.unescape(found.group(1)) for page in self.pages.values()
                  for found in [re.search(r'<div class="title">(.*?)\s*</div>', page)] if found}
        for path in glob.glob(ROOT + "/docs/*.md"):
            title = re.match(r"# (.*)", text_of(path)).group(1)
            self.assertIn(title.replace("`", ""), {re.sub("<.*?>", "", one) for one in titles})

    def test_search_works_from_a_file_and_finds_classes(self):
        found = "".join(text_of(path) for path in glob.glob(FOLDER + "/search/*.js"))
        for word in ("gen3button", "addtimer", "onedriverhouse"):
            self.assertIn(f"'{word}_", found)

    def test_no_page_shows_how_it_is_written(self):
        for page, text in self.pages.items():
            text = re.sub(r"<(code|pre)\b.*?</\1>|<div class=\"(fragment|line)\">.*?</div>|"
                          r"<script.*?</script>", "", text, flags=re.DOTALL)
            for mark in ("@ref ", "@section", "@verbatim", "@image", "](", "\n## "):
                self.assertNotIn(mark, text, page)

    def test_every_link_leads_somewhere(self):
        names = {page: set(re.findall(r'(?:id|name)="([^"]*)"', text))
                 for page, text in self.pages.items()}
        broken = []
        for page, text in self.pages.items():
            for link in re.findall(r'(?:href|src)="([^"]*)"', text):
                link = urllib.parse.unquote(html.unescape(link))
                if re.match(r"[a-z]+:", link):
                    continue
                file, _, name = link.partition("#")
                target = os.path.normpath(os.path.join(os.path.dirname(page), file)) if file else page
                # The program lists nested classes without a heading of that name.
                known = name in names.get(target, {name}) or name == "nested-classes"
                if not os.path.exists(os.path.join(FOLDER, target)) or (name and not known):
                    broken.append((page, link))
        self.assertEqual([], broken[:20])


if __name__ == "__main__":
    FOLDER = os.path.abspath(sys.argv.pop(1))
    if shutil.which("doxygen") is None:
        print("skipped: doxygen is not installed")
        sys.exit(SKIPPED)
    unittest.main()
