# SPDX-License-Identifier: Apache-2.0
"""What every command prints as JSON, of enclosures in every condition, keeps to its schema."""
import itertools
import json
import os
import pathlib
import subprocess
import unittest

import jsonschema

VALIDATOR = jsonschema.Draft202012Validator(
    json.loads(pathlib.Path(os.environ["VKT_SCHEMA"]).read_text())
)
ENCLOSURES = ["healthy", "empty-slot", "unread", "unknown-codes", "broken", "refused"]
COMMANDS = [
    ["show"],
    ["health"],
    ["identity"],
    ["power"],
    ["psu"],
    ["nodes"],
    ["node", "1"],
    ["status"],
    ["select-psu", "2"],
]


def printed(enclosure, host, *words):
    command = [os.environ["SCRIPTED_COMMAND"], enclosure, "-H", host, "-U", "u", "-P", "p"]
    return subprocess.run([*command, *words], capture_output=True, text=True).stdout


def document(enclosure, *words, host="host"):
    return json.loads(printed(enclosure, host, "--format", "json", *words))


class Schema(unittest.TestCase):
    def test_is_well_formed(self):
        jsonschema.Draft202012Validator.check_schema(VALIDATOR.schema)

    def test_holds_for_every_command_and_condition(self):
        for enclosure, words in itertools.product(ENCLOSURES, COMMANDS):
            for interface in ("lanplus", "https"):
                with self.subTest(enclosure, words=words, interface=interface):
                    VALIDATOR.validate(document(enclosure, "-I", interface, *words))

    def test_holds_for_several_enclosures(self):
        for enclosure in ENCLOSURES:
            with self.subTest(enclosure):
                array = document(enclosure, host="host[1-3]")
                self.assertEqual([d["host"] for d in array], ["host1", "host2", "host3"])
                VALIDATOR.validate(array)
                lines = printed(enclosure, "host[1-3]", "--format", "jsonl").splitlines()
                self.assertEqual(len(lines), 3)
                for line in lines:
                    VALIDATOR.validate(json.loads(line))

    def test_the_example_of_the_documentation_holds(self):
        text = pathlib.Path(os.environ["VKT_SCHEMA"]).with_name("json.md").read_text()
        example = text[text.index("    {\n") : text.index("    }\n") + 6]
        VALIDATOR.validate(json.loads(example))

    def test_refuses_what_is_not_promised(self):
        whole = document("healthy", "show")
        for spoil in (
            lambda d: d.pop("schemaVersion"),
            lambda d: d.update(schemaVersion=1),
            lambda d: d.update(time="2026-11-21 19:07:03"),
            lambda d: d.update(complete=False),
            lambda d: d.update(error={"cause": "refused", "message": ""}),
            lambda d: d.update(error={"cause": "tired"}),
            lambda d: d["module"].pop("generation"),
            lambda d: d["identity"].pop("name"),
            lambda d: d["powerSupplies"][0].pop("fans"),
            lambda d: d["powerSupplies"][0]["fans"].update(state="Normal"),
            lambda d: d["powerSupplies"][0]["fans"]["a"].update(speed="7000"),
            lambda d: d["nodes"][0]["power"].update(average=65536),
            lambda d: d["nodes"][0].update(powerState="Power ON"),
            lambda d: d["health"].update(status="good"),
            lambda d: d.update(surplus=None),
        ):
            spoiled = json.loads(json.dumps(whole))
            spoil(spoiled)
            self.assertFalse(VALIDATOR.is_valid(spoiled), spoiled)
            self.assertFalse(VALIDATOR.is_valid([whole, spoiled]), spoiled)
        for other in (None, "", 2, [whole, None], [[whole]]):
            self.assertFalse(VALIDATOR.is_valid(other), other)


if __name__ == "__main__":
    unittest.main()
