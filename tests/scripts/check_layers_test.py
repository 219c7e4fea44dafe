#!/usr/bin/env python3
"""scripts/check_layers finds what it is there to find: each test gives it a small tree of its own."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/check_layers")


class CheckLayers(unittest.TestCase):
    def check(self, files):
        """Runs the check on these files (path: text); gives its result and what it printed."""
        with tempfile.TemporaryDirectory() as root:
            for path, text in files.items():
                os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
                with open(os.path.join(root, path), "w", encoding="utf-8") as out:
                    out.write(text)
            done = subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True,
                                  check=False)
        return done.returncode, done.stdout

    def refused(self, path, text, why):
        result, said = self.check({path: text})
        self.assertEqual(1, result, said)
        self.assertIn(f"{path}:1: ", said)
        self.assertIn(why, said)

    def taken(self, path, text):
        result, said = self.check({path: text})
        self.assertEqual(0, result, said)

    def test_library_including_host_is_refused(self):
        self.refused("lighting_common/A.cpp", '#include "embedded_host/House.h"\n',
                     "lighting_common may not know embedded_host")

    def test_driver_including_host_is_refused(self):
        self.refused("drivers/puck/A.h", '#include "embedded_host/House.h"\n',
                     "drivers may not know embedded_host")

    def test_host_including_library_is_refused(self):
        self.refused("embedded_host/A.cpp", '#include "lighting_common/Names.h"\n',
                     "embedded_host may not know lighting_common")

    def test_device_including_library_is_refused(self):
        self.refused("simulated_devices/A.cpp", '#include "lighting_common/Names.h"\n',
                     "simulated_devices may not know lighting_common")

    def test_interface_including_library_is_refused(self):
        self.refused("host_interfaces/nxshared/A.h", '#include "lighting_common/Names.h"\n',
                     "host_interfaces may not know lighting_common")

    def test_wire_including_anything_is_refused(self):
        self.refused("wire/A.h", '#include "nxshared/Ids.h"\n', "wire may not know host_interfaces")

    def test_pugixml_in_the_library_is_refused(self):
        self.refused("lighting_common/A.cpp", "#include <pugixml.hpp>\n",
                     "lighting_common may not use pugixml")

    def test_json_in_a_driver_is_refused(self):
        self.refused("drivers/puck/A.cpp", "#include <nlohmann/json.hpp>\n",
                     "drivers may not use nlohmann")

    def test_include_without_folder_is_refused(self):
        self.refused("drivers/puck/A.cpp", '#include "PuckDriver.h"\n', "names no folder of ours")

    def test_example_including_host_is_refused(self):
        self.refused("examples/bell/Bell.cpp", '#include "embedded_host/House.h"\n',
                     "examples may not know embedded_host")

    def test_test_of_an_example_including_host_is_taken(self):
        self.taken("examples/bell/BellTest.cpp", '#include "embedded_host/House.h"\n')

    def test_test_including_what_is_not_beside_it_is_refused(self):
        self.refused("tests/drivers/ATest.cpp", '#include "Doubles.h"\n', "names no folder of ours")

    def test_odd_spacing_is_seen(self):
        self.refused("lighting_common/A.cpp", '  #  include   "embedded_host/House.h"\n',
                     "lighting_common may not know embedded_host")

    def test_internal_header_outside_the_library_is_refused(self):
        self.refused("drivers/puck/A.cpp", '#include "lighting_common/internal/Diagnostics.h"\n',
                     "is internal to lighting_common")

    def test_internal_header_in_a_header_of_its_folder_is_refused(self):
        self.refused("lighting_common/A.h", '#include "lighting_common/internal/Diagnostics.h"\n',
                     "is not installed, but this header is")

    def test_internal_header_inside_its_folder_is_taken(self):
        include = '#include "lighting_common/internal/Diagnostics.h"\n'
        self.taken("lighting_common/A.cpp", include)
        self.taken("lighting_common/internal/A.h", include)

    def test_internal_header_in_tests_fuzzers_and_benchmarks_is_taken(self):
        for source in ("tests/lighting_common/ATest.cpp", "fuzz/AFuzz.cpp", "bench/ABench.cpp"):
            self.taken(source, '#include "lighting_common/internal/Diagnostics.h"\n')

    def test_wire_between_both_including_drivers_is_refused(self):
        self.refused("device_wire/A.cpp", '#include "drivers/puck/PuckDriver.h"\n',
                     "device_wire may not know drivers")

    def test_json_on_the_wire_is_refused(self):
        self.refused("device_wire/A.cpp", "#include <nlohmann/json.hpp>\n",
                     "device_wire may not use nlohmann")

    def test_library_including_interfaces_and_boost_is_taken(self):
        self.taken("lighting_common/A.cpp",
                   '#include "nxshared/Ids.h"\n#include <boost/bind.hpp>\n#include <string>\n')

    def test_program_including_everything_is_taken(self):
        self.taken("lighting_host/house/A.cpp",
                   '#include "embedded_host/House.h"\n#include <nlohmann/json.hpp>\n')

    def test_room_including_a_room_below_is_taken(self):
        self.taken("lighting_host/simulation/A.cpp", '#include "lighting_host/types/B.h"\n')

    def test_room_including_a_room_above_is_refused(self):
        self.refused("lighting_host/types/A.cpp", '#include "lighting_host/house/B.h"\n',
                     "types may not know house")

    def test_type_including_another_type_is_refused(self):
        self.refused("lighting_host/types/puck/A.cpp",
                     '#include "lighting_host/types/wired_dimmer/B.h"\n',
                     "puck may not know wired_dimmer")

    def test_type_including_what_all_types_share_is_taken(self):
        self.taken("lighting_host/types/puck/A.cpp", '#include "lighting_host/types/B.h"\n')

    def test_unknown_room_is_refused(self):
        self.refused("lighting_host/cellar/A.cpp", '#include "lighting_host/text/Json.h"\n',
                     "cellar is no room")

    def test_tree_without_includes_is_refused(self):
        result, _ = self.check({"wire/A.h": "\n"})
        self.assertEqual(1, result)


if __name__ == "__main__":
    unittest.main()
