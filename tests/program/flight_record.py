"""Flight records for tests: made by hand, without the program."""
import hashlib
import json


def house_digest(text):
    return hashlib.blake2b(text.encode(), digest_size=16).hexdigest()


def head(house, path="house.xml", **changes):
    """The first line of a record."""
    line = {"flight_record": 1, "program": "1.0.0", "path": path, "house": house,
            "house_digest": house_digest(house), "clock": "paced", "seed": 1, "draw": "random",
            "start": "2026-01-01T00:00:00", "zone": "", "log_level": 30000, "people": False,
            "faults": "none", "states": {}}
    line.update(changes)
    return line


def given(t_ms, line, visitor="desk"):
    return {"t_ms": t_ms, "from": visitor, "in": line}


def text(lines):
    """As the program writes it. A reader takes blanks as well."""
    return "".join(json.dumps(line, separators=(",", ":")) + "\n" for line in lines)
