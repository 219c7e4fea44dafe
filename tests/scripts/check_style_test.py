#!/usr/bin/env python3
"""scripts/check_style finds what it is there to find, and says what to write instead: each test
gives it a small tree of its own."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/check_style")
SECTIONS = ("Settings", "Commands", "Conditions", "Events", "Variables", "Bindings", "State",
            "Simulated device", "Extending it")


class Tree(unittest.TestCase):
    RULE = ""

    def check(self, files):
        """Runs one rule on these files (path: text); gives its result and what it printed."""
        with tempfile.TemporaryDirectory() as root:
            for path, text in files.items():
                os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
                with open(os.path.join(root, path), "w", encoding="utf-8") as out:
                    out.write(text)
            done = subprocess.run([sys.executable, CHECK, "--only", self.RULE, root],
                                  capture_output=True, text=True, check=False)
        self.assertEqual("", done.stderr)
        return done.returncode, done.stdout

    def refused(self, files, *said):
        result, output = self.check(files)
        self.assertEqual(1, result, output)
        for piece in said:
            self.assertIn(piece, output)

    def taken(self, files):
        self.assertEqual((0, "0 places to mend\n"), self.check(files))


class Lengths(Tree):
    RULE = "lengths"

    def test_source_and_header_at_the_limit_are_taken(self):
        self.taken({"drivers/a/A.cpp": "\n" * 600, "drivers/a/A.h": "\n" * 250})

    def test_source_over_the_limit_is_refused(self):
        self.refused({"drivers/a/A.cpp": "\n" * 601}, "drivers/a/A.cpp:1: 601 lines", "move")

    def test_header_over_the_limit_is_refused(self):
        self.refused({"wire/A.h": "\n" * 251}, "wire/A.h:1: 251 lines, where 250 are the most")

    def test_reason_at_the_top_is_taken(self):
        self.taken({"wire/A.h": "#pragma once\n// Long on purpose: one table.\n" + "\n" * 250})

    def test_reason_further_down_is_refused(self):
        self.refused({"wire/A.h": "\n" * 250 + "// Long on purpose: one table.\n"}, "wire/A.h:1:")

    def test_reason_without_words_is_refused(self):
        self.refused({"wire/A.h": "// Long on purpose:\n" + "\n" * 250}, "wire/A.h:1:")


class Functions(Tree):
    RULE = "functions"

    @staticmethod
    def function(head, lines, inside="    a();\n"):
        """A function of that many lines in all, its head and braces among them."""
        return head + "\n{\n" + inside * (lines - 3) + "}\n"

    def test_function_at_the_limit_is_taken(self):
        self.taken({"wire/A.cpp": self.function("int F(int a)", 60)})

    def test_function_over_the_limit_is_refused_at_its_head(self):
        self.refused({"wire/A.cpp": "int x;\n\n" + self.function("int C::F(int a) const", 61)},
                     "wire/A.cpp:3: C::F has 61 lines", "give each of its steps a function")

    def test_long_test_is_refused(self):
        self.refused({"tests/a/ATest.cpp": self.function("TEST(A, B_C)", 61)}, "61 lines")

    def test_blocks_inside_count_with_the_function(self):
        body = "    if (a)\n    {\n        b();\n    }\n"
        self.refused({"wire/A.cpp": self.function("void F()", 18, body)}, "F has 63 lines")

    def test_long_class_and_namespace_of_short_functions_are_taken(self):
        self.taken({"wire/A.h": "namespace n\n{\nclass C : public B<int>\n{\n" +
                                "    void F()\n    {\n    }\n" * 40 + "};\n}\n"})

    def test_constructor_with_braces_in_its_list_is_measured_to_its_end(self):
        self.refused({"wire/A.cpp": self.function("C::C(int a)\n    : m_a{a}, m_b{}", 61)},
                     "has 62 lines")

    def test_braces_in_texts_and_comments_count_for_nothing(self):
        self.taken({"wire/A.cpp": "void F()\n{\n    a(\"{{{\"); // {\n    b('{');\n}\n" +
                                  "void G()\n{\n}\n" * 30})

    def test_long_table_is_taken(self):
        self.taken({"wire/A.cpp": "const Row ROWS[] = {\n" + "    {1, F(2)},\n" * 80 + "};\n"})


class Contracts(Tree):
    RULE = "contracts"

    def test_virtual_without_a_comment_is_refused(self):
        self.refused({"host_interfaces/nxshared/I.h": "class I\n{\n    virtual void F() = 0;\n};\n"},
                     "host_interfaces/nxshared/I.h:3: virtual void F() = 0;", "who calls it")

    def test_virtual_with_a_comment_is_taken(self):
        self.taken({"embedded_host/I.h": "    // Called when it rains.\n    virtual void F() = 0;\n"})

    def test_comment_counts_for_its_paragraph_and_no_further(self):
        paragraph = "    // Both.\n    virtual void F() = 0;\n    virtual void G() = 0;\n"
        self.taken({"embedded_host/I.h": paragraph})
        self.refused({"embedded_host/I.h": paragraph + "\n    virtual void H() = 0;\n"},
                     "I.h:5: virtual void H() = 0;")

    def test_divider_is_no_contract(self):
        self.refused({"embedded_host/I.h": "    // --- Ways ---\n    virtual void F() = 0;\n"},
                     "I.h:2:")

    def test_destructors_and_overrides_need_none(self):
        self.taken({"lighting_common/I.h": "    virtual ~I() = default;\n"
                                           "    virtual void F() override;\n"})

    def test_internal_headers_and_other_folders_are_left_alone(self):
        bad = "    virtual void F() = 0;\n"
        self.taken({"embedded_host/internal/I.h": bad, "lighting_host/I.h": bad})

    def test_each_folder_is_counted_for_itself(self):
        good = "    // Called.\n    virtual void F() = 0;\n\n"
        self.refused({"host_interfaces/I.h": good * 100,
                      "embedded_host/I.h": good + "    virtual void G() = 0;\n"},
                     "embedded_host: 50 % of 2")


class Constants(Tree):
    RULE = "constants"

    def test_text_with_two_homes_is_refused_under_whatever_name(self):
        self.refused({"drivers/a/A.cpp": 'const std::string LEVEL = "LEVEL";\n',
                      "lighting_common/B.cpp": 'constexpr const char* PARAM_LEVEL = "LEVEL";\n'},
                     "lighting_common/B.cpp:1: PARAM_LEVEL", "drivers/a/A.cpp:1", "one header")

    def test_number_with_two_homes_is_refused(self):
        self.refused({"lighting_host/house/A.cpp": "constexpr int MS_PER_SECOND = 1000;\n",
                      "lighting_host/text/B.h": "static constexpr unsigned MS_PER_SECOND{1000};\n"},
                     "lighting_host/text/B.h:1: MS_PER_SECOND = 1000")

    def test_same_number_under_another_name_is_taken(self):
        self.taken({"drivers/a/A.cpp": "constexpr int FULL = 100;\n",
                    "drivers/b/B.cpp": "constexpr int PERCENT = 100;\n"})

    def test_same_name_for_another_value_is_taken(self):
        self.taken({"drivers/a/A.cpp": 'const char* const SOURCE = "A";\n',
                    "drivers/b/B.cpp": 'const char* const SOURCE = "B";\n'})

    def test_two_ends_of_a_wire_that_may_not_know_each_other_are_taken(self):
        line = "constexpr int FRAME_SIZE = 12;\n"
        self.taken({"lighting_common/A.cpp": line, "simulated_devices/B.cpp": line})

    def test_constant_that_is_equal_by_chance_says_so(self):
        line = "constexpr int NAME_WIDTH = 12;\n"
        self.taken({"drivers/a/A.cpp": line, "drivers/b/B.cpp": "// On purpose its own.\n" + line})

    def test_reason_may_stand_anywhere_in_the_comment_above(self):
        line = "constexpr int NAME_WIDTH = 12;\n"
        above = "// How wide a name is. On purpose\n// not that of A.\n"
        self.taken({"drivers/a/A.cpp": line, "drivers/b/B.cpp": above + line})

    def test_reason_of_another_constant_is_none(self):
        line = "constexpr int NAME_WIDTH = 12;\n"
        self.refused({"drivers/a/A.cpp": line,
                      "drivers/b/B.cpp": "// On purpose its own.\nint a;\n" + line},
                     "drivers/b/B.cpp:3: NAME_WIDTH")

    def test_constants_of_tests_are_left_alone(self):
        line = "constexpr int NAME_WIDTH = 12;\n"
        self.taken({"drivers/a/A.cpp": line, "tests/a/A.cpp": line})


class Casts(Tree):
    RULE = "casts"

    def test_program_that_asks_a_device_what_it_is_is_refused(self):
        self.refused({"lighting_host/a/A.cpp": "\nauto* lamp = dynamic_cast<Lamp*>(device);\n"},
                     "lighting_host/a/A.cpp:2: the program does not ask", "row")

    def test_const_that_is_cast_away_is_refused(self):
        self.refused({"lighting_host/A.h": "const_cast<int&>(a) = 1;\n"}, "lighting_host/A.h:1:")

    def test_cast_of_another_folder_is_taken(self):
        self.taken({"drivers/a/A.cpp": "dynamic_cast<Lamp*>(device);\n"})

    def test_talk_of_a_cast_is_taken(self):
        self.taken({"lighting_host/a/A.cpp": '// No dynamic_cast here.\nSay("typeid");\n'})


class Sleeps(Tree):
    RULE = "sleeps"

    def test_test_that_sleeps_is_refused(self):
        self.refused({"tests/a/ATest.cpp": "\nstd::this_thread::sleep_for(1s);\n"},
                     "tests/a/ATest.cpp:2: a test does not sleep", "advance")

    def test_script_that_sleeps_is_refused(self):
        self.refused({"tests/a/a_test.py": "time.sleep(1)\n"}, "tests/a/a_test.py:1:")

    def test_talk_of_sleeping_is_taken(self):
        self.taken({"tests/a/ATest.cpp": '// No sleep(1) here.\nSay("sleep(1)");\n'})


class Readmes(Tree):
    RULE = "readmes"
    HEAD = "# bell\nRings a bell at the door, and tells the house who has rung it last.\n\n"

    def readme(self, sections, head=HEAD):
        return head + "".join(f"## {section}\n\nNone.\n\n" for section in sections)

    def test_readme_of_the_common_shape_is_taken(self):
        self.taken({"drivers/bell/README.md": self.readme(SECTIONS)})

    def test_sections_of_its_own_between_are_taken(self):
        self.taken({"drivers/bell/README.md":
                    self.readme(SECTIONS[:4] + ("Scene ids",) + SECTIONS[4:])})

    def test_missing_section_is_named(self):
        self.refused({"drivers/bell/README.md": self.readme(SECTIONS[:3] + SECTIONS[4:])},
                     'no section "## Events": write it', '"None."')

    def test_other_order_is_refused(self):
        self.refused({"drivers/bell/README.md": self.readme(reversed(SECTIONS))}, "another order")

    def test_empty_section_is_refused(self):
        self.refused({"drivers/bell/README.md":
                      self.readme(SECTIONS[:-1]) + f"## {SECTIONS[-1]}\n"}, "nothing below")

    def test_other_title_is_refused(self):
        self.refused({"drivers/bell/README.md":
                      self.readme(SECTIONS, self.HEAD.replace("# bell", "# The bell"))},
                     'write "# bell"')

    def test_readme_without_a_purpose_is_refused(self):
        self.refused({"drivers/bell/README.md": self.readme(SECTIONS, "# bell\n\n")},
                     "what the driver is for")

    def test_driver_without_a_readme_is_refused(self):
        self.refused({"drivers/bell/Bell.cpp": "\n"}, "drivers/bell/README.md: is not there")


if __name__ == "__main__":
    unittest.main()
