#!/usr/bin/env python3
"""Checks examples/profile.schema.json against profiles: those of the documents and a machine's own
must be good, each of many faulty ones must be refused, and moxd --check must say the same.

  check_profile_schema.py <schema> <moxd> [--documents FILE...] [--machine-profile PROGRAM]
"""
import argparse
import copy
import json
import pathlib
import re
import subprocess
import sys
import tempfile

from jsonschema import Draft202012Validator

GOOD = {
    "refresh_ms": 500,
    "classes": [
        {"name": "Chip", "id": 0, "properties": [{"name": "Path", "type": "s"}]},
        {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Type", "type": "s"}]},
        {"name": "Fan", "id": 65535, "module": "fans",
         "properties": [{"name": "Speed", "type": "u", "id": 9, "exported": False, "key": True},
                        {"name": "Twin", "type": "sp"}, {"name": "Limits", "type": "ai"},
                        {"name": "Data", "type": "a{sv}"}, {"name": "Heat", "type": "d"}],
         "methods": [{"name": "Stop"},
                     {"name": "SetSpeed", "id": 7, "input": ["u", "as"], "output": ["b"],
                      "constants": {"Lowest": {"type": "u", "value": 200},
                                    "Steps": {"type": "ai", "value": [1, -2]}}}]},
        {"name": "BigFan", "parent": "Fan"},
    ],
    "objects": [
        {"name": "chip", "class": "Chip", "type": "Physical", "position": 4294967294},
        {"name": "speed", "class": "Accessor", "type": "Physical", "properties": {"Chip": "chip", "Type": "u"}},
        {"name": "fan", "class": "BigFan", "mutex": "chip",
         "properties": {"Speed": {"value": 0, "accessor": "speed", "mode": "rw", "persist": "permanent"},
                        "Twin": "fan.Speed", "Limits": [-1, 300], "Data": "{'a': <5>}", "Heat": 1.5}},
    ],
    "boards": [
        {"name": "psu1", "position": 7, "plugged": False,
         "objects": [{"name": "Fan7", "class": "Fan", "type": "Logical", "mutex": "chip", "properties": {"Speed": 3}}]},
        {"name": "psu2", "position": 8, "objects": []},
    ],
    "group": "users",
    "modules": [
        {"name": "fans"},
        {"name": "moxctl-*", "read": ["*"], "write": ["Fan", "Chip"], "override": [], "manage": True},
        {"name": "*", "read": []},
    ],
}

# The place of a member in the good profile, and the value that makes a faulty one; REMOVE takes the
# member away.
REMOVE = object()
FAULTS = [
    ((), []),
    (("classes",), REMOVE),
    (("objects",), REMOVE),
    (("classes",), {}),
    (("objects",), "none"),
    (("boards",), {}),
    (("bords",), []),
    (("refresh_ms",), 9),
    (("refresh_ms",), 3600001),
    (("refresh_ms",), "500"),
    (("refresh_ms",), 10.5),
    (("classes", 0), "Chip"),
    (("classes", 0, "name"), REMOVE),
    (("classes", 0, "name"), ""),
    (("classes", 0, "name"), "n" * 32),
    (("classes", 0, "name"), "a\nb"),
    (("classes", 0, "name"), 5),
    (("classes", 0, "id"), -1),
    (("classes", 0, "id"), 65536),
    (("classes", 0, "id"), "1"),
    (("classes", 0, "colour"), "red"),
    (("classes", 0, "properties"), {}),
    (("classes", 3, "parent"), ""),
    (("classes", 2, "module"), None),
    (("classes", 2, "properties", 0, "type"), REMOVE),
    (("classes", 2, "properties", 0, "name"), REMOVE),
    (("classes", 2, "properties", 0, "type"), "t"),
    (("classes", 2, "properties", 0, "type"), "z"),
    (("classes", 2, "properties", 0, "type"), "uu"),
    (("classes", 2, "properties", 0, "type"), ""),
    (("classes", 2, "properties", 2, "type"), "aaaaai"),
    (("classes", 2, "properties", 2, "type"), "a"),
    (("classes", 2, "properties", 2, "type"), "a*"),
    (("classes", 2, "properties", 0, "id"), 70000),
    (("classes", 2, "properties", 0, "exported"), 1),
    (("classes", 2, "properties", 0, "key"), "yes"),
    (("classes", 2, "properties", 0, "default"), 1),
    (("classes", 2, "methods"), {}),
    (("classes", 2, "methods", 0, "name"), REMOVE),
    (("classes", 2, "methods", 0, "in"), []),
    (("classes", 2, "methods", 1, "id"), 65536),
    (("classes", 2, "methods", 1, "input"), "u"),
    (("classes", 2, "methods", 1, "input", 0), "sp"),
    (("classes", 2, "methods", 1, "output", 0), 5),
    (("classes", 2, "methods", 1, "constants"), []),
    (("classes", 2, "methods", 1, "constants", "Lowest"), 200),
    (("classes", 2, "methods", 1, "constants", "Lowest", "type"), REMOVE),
    (("classes", 2, "methods", 1, "constants", "Lowest", "value"), REMOVE),
    (("classes", 2, "methods", 1, "constants", "Lowest", "type"), "x"),
    (("classes", 2, "methods", 1, "constants", "Lowest", "value"), None),
    (("classes", 2, "methods", 1, "constants", ""), {"type": "u", "value": 1}),
    (("objects", 0), []),
    (("objects", 0, "name"), REMOVE),
    (("objects", 0, "class"), REMOVE),
    (("objects", 1, "name"), "a.b"),
    (("objects", 0, "type"), "physical"),
    (("objects", 0, "position"), 0),
    (("objects", 0, "position"), 4294967295),
    (("objects", 0, "board"), "psu1"),
    (("objects", 2, "mutex"), 5),
    (("objects", 2, "properties"), []),
    (("objects", 2, "properties", "Limits"), None),
    (("objects", 2, "properties", "Limits"), [None]),
    (("objects", 2, "properties", "Speed", "accessor"), ""),
    (("objects", 2, "properties", "Speed", "mode"), "x"),
    (("objects", 2, "properties", "Speed", "persist"), "forever"),
    (("objects", 2, "properties", "Speed", "valeu"), 1),
    (("objects", 2, "properties", "Speed", "value"), {}),
    (("boards", 0), "psu1"),
    (("boards", 0, "name"), REMOVE),
    (("boards", 0, "position"), REMOVE),
    (("boards", 0, "objects"), REMOVE),
    (("boards", 0, "position"), 0),
    (("boards", 0, "plugged"), "no"),
    (("boards", 0, "slot"), 1),
    (("boards", 0, "objects", 0, "position"), 3),
    (("boards", 0, "objects", 0, "name"), "x.y"),
    (("boards", 0, "objects", 0, "colour"), "red"),
    (("group",), ""),
    (("group",), 100),
    (("modules",), {}),
    (("modules", 0), "fans"),
    (("modules", 0, "name"), REMOVE),
    (("modules", 0, "name"), "a*b"),
    (("modules", 0, "name"), "a**"),
    (("modules", 0, "plug"), True),
    (("modules", 1, "read"), "*"),
    (("modules", 1, "write"), [5]),
    (("modules", 1, "write"), ["Fan", "Fan"]),
    (("modules", 1, "override"), None),
    (("modules", 1, "manage"), 1),
]


def faulty(place, value):
    """The good profile with one member changed."""
    profile = copy.deepcopy(GOOD)
    if not place:
        return value
    node = profile
    for step in place[:-1]:
        node = node[step]
    if value is REMOVE:
        del node[place[-1]]
    else:
        node[place[-1]] = value
    return profile


def documented(path):
    """The whole profiles among a document's JSON examples."""
    blocks = re.findall(r"^```json\n(.*?)^```", path.read_text(encoding="utf-8"), re.M | re.S)
    profiles = [json.loads(block) for block in blocks]
    return [profile for profile in profiles if "classes" in profile]


class Check:
    def __init__(self, schema, moxd):
        Draft202012Validator.check_schema(schema)
        self.validator = Draft202012Validator(schema)
        self.moxd = moxd
        self.failures = 0

    def fail(self, text):
        print(f"FAILED {text}", file=sys.stderr)
        self.failures += 1

    def loader_fault(self, profile):
        """The first fault that moxd names; "" for a good profile."""
        with tempfile.NamedTemporaryFile("w", suffix=".json", encoding="utf-8") as file:
            json.dump(profile, file)
            file.flush()
            run = subprocess.run([self.moxd, "--check", file.name], capture_output=True, text=True, timeout=60)
        if run.returncode not in (0, 2) or (run.returncode == 2) != bool(run.stderr):
            self.fail(f"moxd --check ended with {run.returncode}: {run.stderr}")
        return run.stderr.split("\n")[0]

    def expect_good(self, what, profile):
        for error in self.validator.iter_errors(profile):
            self.fail(f"{what}: the schema refuses {list(error.absolute_path)}: {error.message[:200]}")
        if fault := self.loader_fault(profile):
            self.fail(f"{what}: moxd refuses it: {fault}")

    def expect_faulty(self, what, profile):
        if self.validator.is_valid(profile):
            self.fail(f"{what}: the schema takes it")
        if not self.loader_fault(profile):
            self.fail(f"{what}: moxd takes it")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("schema", type=pathlib.Path)
    parser.add_argument("moxd")
    parser.add_argument("--documents", nargs="*", type=pathlib.Path, default=[])
    parser.add_argument("--machine-profile")
    options = parser.parse_args()

    check = Check(json.loads(options.schema.read_text(encoding="utf-8")), options.moxd)
    check.expect_good("the good profile", GOOD)
    for path in options.documents:
        profiles = documented(path)
        if not profiles:
            check.fail(f"{path} shows no whole profile")
        for profile in profiles:
            check.expect_good(path.name, profile)
    if options.machine_profile:
        for setting in ([], ["--setting-file", "/nowhere/setting"]):
            run = subprocess.run([options.machine_profile, *setting], capture_output=True, text=True, timeout=60,
                                 check=True)
            check.expect_good("the machine's profile", json.loads(run.stdout))
    for place, value in FAULTS:
        shown = "no value" if value is REMOVE else json.dumps(value)
        check.expect_faulty(f"{'.'.join(map(str, place)) or 'the profile'} = {shown}", faulty(place, value))
    return 1 if check.failures else 0


if __name__ == "__main__":
    sys.exit(main())
