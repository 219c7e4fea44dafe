#!/usr/bin/env python3
"""What each driver's README says of its simulated device is what the program takes: the attributes of
<device>, the elements inside it, their attributes, and what an <act> can do.

    device_readmes_test.py PROGRAM

The program is asked with something that it cannot know; its answer lists what it takes.
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))

# A good element of each kind, so that nothing is wrong with it but what a test adds.
ELEMENTS = {
    "puck": ['<act at="1s" contact="0"/>', '<act at="1s" button="0"/>', "<person/>"],
    "gen3_keypad": ['<act at="1s" button="1"/>', "<person/>"],
    "wired_dimmer": ['<act at="1s" scene="1"/>', "<person/>"],
    "zigbee_light": ['<scene group="1" number="1"/>', '<act at="1s"/>'],
    "energy_switch": ['<step at="1h" watts="5"/>'],
}
# What the documents say once for every type.
OF_EVERY_DEVICE = {"simulated", "kind"}
OF_EVERY_ACT = {"at", "every", "says"}
WORD = re.compile(r"`([a-z_]+)`")
ELEMENT = re.compile(r"`<([a-z]+)")


def complaint(driver_type, inside="", attributes=""):
    """What the program says of a driver of that type with this <device>."""
    config = "<config><NUM_BUTTONS>1</NUM_BUTTONS></config>" if driver_type == "puck" else ""
    house = (f'<house><driver name="d" type="{driver_type}" id="1">{config}'
             f'<device simulated="true" {attributes}>{inside}</device></driver></house>')
    with tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
        file.write(house)
        file.flush()
        done = subprocess.run([PROGRAM, "validate", file.name], capture_output=True, text=True,
                              check=False)
    return done.stdout + done.stderr


def listed(text, after):
    """The names that the program lists after these words."""
    found = re.search(re.escape(after) + r"[^\n]*?(?:; it takes|is not) ([^\n]*)", text)
    if not found:
        raise AssertionError(f"{after!r} is not in {text!r}")
    return {name.strip(" <>") for name in re.split(r", | or ", found.group(1))}


def documented(driver_type):
    """Attributes of <device>, and of each element inside it: its attributes and what it does."""
    path = os.path.join(ROOT, "drivers", driver_type, "README.md")
    with open(path, encoding="utf-8") as text:
        section = text.read().split("## Simulated device", 1)[1].split("\n## ", 1)[0]
    attributes, elements = set(), {}
    for line in re.split(r"Inside it stand", section)[0].split("\n"):
        if not line.startswith("| `<"):
            attributes |= set(WORD.findall(line.split("|")[1] if line.startswith("|") else line))
    for line in section.split("\n"):
        if not line.startswith("| `<"):
            continue
        does = re.search(r"`do`: ([^;|]*)", line)
        deeds = set(WORD.findall(does.group(1))) if does else set()
        elements[ELEMENT.search(line).group(1)] = (set(WORD.findall(line)) - deeds, deeds)
    if "`<fault kind" in section:
        elements["fault"] = ({"kind"}, set())
    return attributes, elements


def each_element():
    """(type, a good element, its name)"""
    for driver_type, elements in ELEMENTS.items():
        for element in elements:
            yield driver_type, element, re.match(r"<(\w+)", element).group(1)


class DeviceReadmes(unittest.TestCase):
    def test_EveryDriverTypeOfTheProgram_IsHeldToItsReadme(self):
        self.assertEqual(set(ELEMENTS), set(os.listdir(os.path.join(ROOT, "drivers"))) &
                         set(os.listdir(os.path.join(ROOT, "lighting_host/types"))))

    def test_AttributesOfADevice_AreThoseOfItsReadme(self):
        for driver_type in ELEMENTS:
            with self.subTest(driver_type):
                told = complaint(driver_type, attributes='nonsense="1"')
                self.assertEqual(listed(told, 'unknown attribute "nonsense"') - OF_EVERY_DEVICE,
                                 documented(driver_type)[0])

    def test_ElementsOfADevice_AreThoseOfItsReadme(self):
        for driver_type in ELEMENTS:
            with self.subTest(driver_type):
                told = complaint(driver_type, "<nonsense/>")
                self.assertEqual(listed(told, "unknown element <nonsense>"),
                                 set(documented(driver_type)[1]))

    def test_GoodElement_IsTaken(self):
        for driver_type, element, _ in each_element():
            self.assertNotIn("<device>", complaint(driver_type, element))
            self.assertNotIn("unknown", complaint(driver_type, element))

    def test_AttributesOfAnElement_AreThoseOfItsReadme(self):
        for driver_type, element, name in each_element():
            with self.subTest(driver_type, element=element):
                told = complaint(driver_type, element.replace("/>", ' nonsense="1"/>'))
                taken = listed(told, 'unknown attribute "nonsense"')
                common = OF_EVERY_ACT if name == "act" else set()
                self.assertEqual(taken - common, documented(driver_type)[1][name][0])

    def test_WhatAnActCanDo_IsWhatItsReadmeSays(self):
        for driver_type, element, name in each_element():
            if name != "act":
                continue
            with self.subTest(driver_type, element=element):
                # A scene belongs to one deed of a dimmer only.
                act = element.replace(' scene="1"', "").replace("/>", ' do="nonsense"/>')
                told = complaint(driver_type, act)
                self.assertEqual(listed(told, '"do"'), documented(driver_type)[1]["act"][1])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
