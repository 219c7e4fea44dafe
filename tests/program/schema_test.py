#!/usr/bin/env python3
"""The schemas of the protocol and of house files agree with the program: what it takes and says is
valid, and what is not valid it refuses.

    schema_test.py PROGRAM
"""
import glob
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

try:
    import jsonschema
except ImportError:
    print("skipped: python3-jsonschema is not installed")
    sys.exit(77)
if shutil.which("xmllint") is None:
    print("skipped: xmllint (libxml2-utils) is not installed")
    sys.exit(77)

ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
SCHEMA = os.path.join(ROOT, "docs/schema/protocol.schema.json")
GRAMMAR = os.path.join(ROOT, "docs/schema/house.rng")

DRIVER = '<driver name="a" type="puck" id="1">{}</driver>'
DEVICE = DRIVER.format('<device simulated="true">{}</device>')
LIGHT = '<driver name="l" type="zigbee_light" id="2">{}</driver>'

# Each is wrong in one way that can be seen without knowing the rest of the house.
BAD_HOUSES = [
    "<home/>",
    "<house><lamp/></house>",
    "<house>text</house>",
    '<house version="1"/>',
    '<house><driver type="puck" id="1"/></house>',
    '<house><driver name="" type="puck" id="1"/></house>',
    '<house><driver name="a" id="1"/></house>',
    '<house><driver name="a" type="puk" id="1"/></house>',
    '<house><driver name="a" type="puck"/></house>',
    '<house><driver name="a" type="puck" id="4294967296"/></house>',
    '<house><driver name="a" type="puck" id="-1"/></house>',
    '<house><driver name="a" type="puck" id="1" colour="red"/></house>',
    "<house>" + DRIVER.format("text") + "</house>",
    "<house>" + DRIVER.format("<capability>true</capability>") + "</house>",
    "<house>" + DRIVER.format("<config/><config/>") + "</house>",
    "<house>" + DRIVER.format(2 * '<device simulated="true"/>') + "</house>",
    "<house>" + DRIVER.format('<device simulated="yes"/>') + "</house>",
    "<house>" + DRIVER.format('<device simulated="true" kind="toaster"/>') + "</house>",
    "<house>" + DRIVER.format('<device simulated="true" watts="5"/>') + "</house>",
    "<house>" + DEVICE.format('<act do="click" contact="0"/>') + "</house>",
    "<house>" + DEVICE.format('<act at="2s" do="kick" contact="0"/>') + "</house>",
    "<house>" + DEVICE.format('<act at="2s" contact="0" button="0"/>') + "</house>",
    "<house>" + DEVICE.format('<act at="2s"/>') + "</house>",
    "<house>" + DEVICE.format('<act at="soon" contact="0"/>') + "</house>",
    "<house>" + DEVICE.format('<act at="2s" every="1s2h" contact="0"/>') + "</house>",
    "<house>" + DEVICE.format('<fault kind="sulks"/>') + "</house>",
    "<house>" + DEVICE.format('<fault kind="loses" by="2s"/>') + "</house>",
    "<house>" + LIGHT.format('<device simulated="true"><person/></device>') + "</house>",
    "<house>" + LIGHT.format('<device simulated="true" groups="many"/>') + "</house>",
    "<house>" + LIGHT.format('<device zigbee2mqtt="sofa"/>') + "</house>",
    "<house>" + LIGHT.format('<device zigbee2mqtt="0x00124b0012345678" base="a/#"/>') + "</house>",
    "<house>" + LIGHT.format('<device zigbee2mqtt="0x00124b0012345678" groups="9"/>') + "</house>",
    "<house>" + LIGHT.format('<device zigbee2mqtt="0x00124b0012345678" simulated="true"/>') + "</house>",
    "<house>" + DRIVER.format('<device zigbee2mqtt="0x00124b0012345678"/>') + "</house>",
    '<house><load_group name="x"/></house>',
    "<house>" + DRIVER.format("") + '<load_group id="1"><on driver="a" contact="0" level="101"/>'
    "</load_group></house>",
    "<house>" + DRIVER.format("") + '<load_group id="1"><on driver="a" contact="0" ramp="up" '
    'level="1"/></load_group></house>',
    "<house>" + DRIVER.format("") + '<scene id="1" name="x"><on driver="a"/></scene></house>',
    '<house><scene id="1"/></house>',
    "<house>" + LIGHT.format("") + '<scene id="1" name="x"><load driver="l"/></scene></house>',
]

BAD_INPUTS = [
    "[]", "1", "{}",
    '{"driver":"p"}',
    '{"advance_ms":-1}', '{"advance_ms":"5"}', '{"advance_ms":5,"driver":"p"}',
    '{"house":"all"}',
    '{"driver":7,"online":true}',
    '{"online":true}',
    '{"driver":"p","online":1}',
    '{"driver":"p","command":"X","params":["a"]}',
    '{"driver":"p","command":"X","params":{"A":null}}',
    '{"driver":"p","command":"X","more":1}',
    '{"driver":"p","trap":"nx.dmx.bp","params":[7]}',
    '{"driver":"p","reply":"nx.dmx.bp","request":{"params":[]}}',
    '{"driver":"p","binding":1,"bound":true}',
    '{"driver":"p","binding":4294967296,"class":"X","bound":true}',
    '{"driver":"p","bound_call":{"binding":1}}',
    '{"driver":"p","set":{"colour":1}}', '{"driver":"p","set":[]}',
    '{"driver":"p","persist":false}', '{"driver":"p","restart":1}',
    '{"driver":"p","query":"weather"}',
    '{"driver":"p","light_level":1.5}',
    '{"driver":"p","button":{"index":0,"action":"explode"}}',
    '{"driver":"p","button":{"index":0,"action":"behavior"}}',
    '{"driver":"k","bus":{"queue":{"opcode":1,"payload":"012"}}}',
    '{"driver":"k","bus":{"queue":{"payload":"01"}}}',
    '{"driver":"k","bus":{"answered":false}}',
    '{"driver":"l","zcl_reply":{"scene_membership":{"group":70000,"scenes":[]}}}',
    '{"driver":"l","zcl_reply":{"weather":1}}',
    '{"driver":"l","zcl_frame":{"cluster":5,"hex":"0g"}}',
    '{"driver":"l","synchronize":{"scenes":[{"id":1}]}}',
    '{"driver":"d","do":"nothing"}',
]

HOUSE = """<house><driver name="p" type="puck" id="1"><config><NUM_BUTTONS>2</NUM_BUTTONS></config>
</driver><driver name="k" type="gen3_keypad" id="2"/><driver name="l" type="zigbee_light" id="3"/>
<driver name="d" type="wired_dimmer" id="4"/></house>"""


def read(path):
    with open(path, encoding="utf-8") as text:
        return text.read()


def part(schema, name):
    return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]})


def house_is_valid(path):
    done = subprocess.run(["xmllint", "--noout", "--relaxng", GRAMMAR, path], capture_output=True,
                          text=True, check=False)
    if done.returncode not in (0, 1, 3):
        raise AssertionError(f"{path}: {done.returncode} {done.stderr}")
    return done.returncode == 0


def program_takes(path):
    return subprocess.run([PROGRAM, "validate", path], capture_output=True,
                          check=False).returncode == 0


def talk(house, lines):
    """What stdio says, and the numbers of the lines that it refused."""
    done = subprocess.run([PROGRAM, "stdio", house], input="".join(line + "\n" for line in lines),
                          capture_output=True, text=True, check=False)
    said = [json.loads(line) for line in done.stdout.splitlines()]
    return said, {line["line"] for line in said if "error" in line}


class Houses(unittest.TestCase):
    def test_houses_of_examples_and_transcripts_are_valid(self):
        houses = glob.glob(ROOT + "/examples/*/house.xml")
        houses += glob.glob(ROOT + "/tests/transcripts/**/*.xml", recursive=True)
        self.assertGreater(len(houses), 10)
        for house in houses:
            with self.subTest(house=house):
                self.assertTrue(house_is_valid(house))

    def test_house_that_the_program_takes_is_valid(self):
        taken = [path for path in glob.glob(ROOT + "/fuzz/corpus/HouseFileFuzz/*")
                 if program_takes(path)]
        self.assertNotEqual([], taken)
        for path in taken:
            with self.subTest(house=path):
                self.assertTrue(house_is_valid(path))

    def test_bad_house_is_not_valid_and_the_program_refuses_it(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "house.xml")
            for house in BAD_HOUSES:
                with open(path, "w", encoding="utf-8") as file:
                    file.write(house)
                with self.subTest(house=house):
                    self.assertFalse(house_is_valid(path))
                    self.assertFalse(program_takes(path))


class Lines(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.schema = json.loads(read(SCHEMA))
        cls.input = part(cls.schema, "input")
        cls.output = part(cls.schema, "output")
        # Of each kind one line, since most are alike but for their values: kind is what fields it
        # has, and of which type.
        cls.taken, cls.said = {}, {}
        for transcript in glob.glob(ROOT + "/tests/transcripts/**/*.jsonl", recursive=True):
            head, *steps = [json.loads(line) for line in read(transcript).splitlines()
                            if line and not line.startswith("#")]
            inputs = [step["in"] for step in steps if "in" in step]
            house = os.path.join(os.path.dirname(transcript), head["house"])
            said, refused = talk(house, [json.dumps(line) for line in inputs])
            for number, line in enumerate(inputs, 1):
                if number not in refused:
                    cls.taken.setdefault(cls.shape(line), line)
            for line in said:
                cls.said.setdefault(cls.shape(line), line)

    @classmethod
    def shape(cls, value):
        if isinstance(value, dict):
            return tuple((key, cls.shape(each) if key != "params" or isinstance(each, list)
                          else tuple(sorted({cls.shape(one) for one in each.values()}, key=str)))
                         for key, each in value.items())
        if isinstance(value, list):
            return tuple(sorted({cls.shape(each) for each in value}, key=str))
        return type(value).__name__ if not isinstance(value, int) else (
            type(value).__name__, value.bit_length())

    def test_schema_is_one(self):
        jsonschema.Draft202012Validator.check_schema(self.schema)

    def test_every_input_that_was_taken_is_valid(self):
        for line in self.taken.values():
            with self.subTest(line=line):
                self.assertTrue(self.input.is_valid(line))

    def test_everything_that_was_said_is_valid(self):
        for line in self.said.values():
            with self.subTest(line=line):
                self.assertTrue(self.output.is_valid(line))

    def test_every_kind_of_line_was_seen(self):
        for direction, seen in (("input", self.taken), ("output", self.said)):
            for branch in self.schema["$defs"][direction]["anyOf"]:
                name = branch["$ref"].split("/")[-1]
                kind = part(self.schema, name)
                with self.subTest(kind=name):
                    self.assertTrue(any(kind.is_valid(line) for line in seen.values()))

    def test_bad_input_is_not_valid_and_the_program_refuses_it(self):
        with tempfile.TemporaryDirectory() as folder:
            house = os.path.join(folder, "house.xml")
            with open(house, "w", encoding="utf-8") as file:
                file.write(HOUSE)
            _, refused = talk(house, BAD_INPUTS)
        for number, line in enumerate(BAD_INPUTS, 1):
            with self.subTest(line=line):
                self.assertFalse(self.input.is_valid(json.loads(line)))
                self.assertIn(number, refused)

    def test_output_with_a_field_too_many_or_too_few_is_not_valid(self):
        for line in ({"t_ms": 0, "driver": "p", "event": 1, "more": 2}, {"driver": "p", "event": 1},
                     {"t_ms": 0, "driver": "p", "variable": 1, "op": "add"}, {"done": 0}, {}):
            self.assertFalse(self.output.is_valid(line), line)


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
