# SPDX-License-Identifier: Apache-2.0
"""The completions: what both shells offer, of which a person may pick without a second thought."""
import os
import pathlib
import re
import tempfile
import unittest

from programs import PROGRAMS, commands_of, help_of, options_of, output_of

HERE = pathlib.Path(__file__).parent
SHARE = pathlib.Path(os.environ["VKT_REFERENCE"]) / "share"
SCENARIOS = output_of(PROGRAMS["vkt-simulator"], "--list").splitlines()[::2]
# Commands are found where they have been built, ahead of any that this machine has.
PATH = ":".join([str(pathlib.Path(program).parent) for program in PROGRAMS.values()] + [os.environ["PATH"]])


def in_words(line):
    """As bash itself splits a line, of which the last word is being typed."""
    return re.findall(r"[^\s=:]+|[=:]+", line) + ([""] if line[-1] in " =" else [])


def bash(lines):
    return [output_of("bash", "--norc", str(HERE / "complete.bash"), line, *in_words(line),
                      XDG_DATA_DIRS=str(SHARE), PATH=PATH).split() for line in lines]


def zsh(lines):
    offered = output_of("zsh", "-f", str(HERE / "complete.zsh"), str(SHARE / "zsh/site-functions"), *lines,
                        PATH=PATH)
    return [line.split() for line in offered.splitlines()]


def names(paths):
    return [pathlib.Path(path).name for path in paths]


class Completions(unittest.TestCase):
    maxDiff = None

    def offer(self, expected, shells=(bash, zsh)):
        """Checks what is offered at the end of each line, in any order."""
        for shell in shells:
            offered = shell(list(expected))
            self.assertEqual(len(offered), len(expected), shell.__name__)
            for line, matches in zip(expected, offered):
                with self.subTest(shell=shell.__name__, line=line):
                    self.assertEqual(sorted(matches), sorted(expected[line]))

    def test_options_are_those_of_help(self):
        self.offer({f"{program} -": options_of(program) for program in PROGRAMS})

    def test_options_are_offered_behind_a_command_too(self):
        self.offer({"vktinventory node 3 --ver": ["--version", "--verbose"]})

    def test_commands_are_those_of_help(self):
        commands = commands_of("vktinventory")
        self.offer({"vktinventory ": commands,
                    "vktinventory -I https -H h --insecure ": commands,
                    "vktinventory s": ["show", "status", "select-psu"]})

    def test_a_command_takes_a_number_or_nothing(self):
        self.offer({"vktinventory node ": [str(number) for number in range(1, 13)],
                    "vktinventory select-psu ": [str(number) for number in range(1, 10)],
                    "vktinventory node 1": ["1", "10", "11", "12"],
                    "vktinventory psu ": []})

    def test_where_nothing_but_an_option_can_stand_zsh_offers_them(self):
        lines = {"vktinventory node 3 ": options_of("vktinventory"),
                 "vkt-simulator ": options_of("vkt-simulator")}
        self.offer(lines, [zsh])
        self.offer({line: [] for line in lines}, [bash])

    def test_values_of_options(self):
        interfaces = ["lanplus", "https"]
        self.offer({"vktinventory -I ": interfaces,
                    "vktinventory --interface ": interfaces,
                    "vktinventory --interface=": interfaces,
                    "vktinventory --interface=h": ["https"],
                    "vktinventory -C ": ["3", "17"],
                    "vktinventory -L ": ["USER", "OPERATOR", "ADMINISTRATOR"],
                    "vktinventory --format ": ["table", "json", "jsonl", "csv"],
                    "vktinventory -I https --auth ": ["basic", "session"]})

    def test_names_of_the_fleet_file(self):
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as fleet:
            fleet.write("""[[group]]
                name = "rack1"
                hosts = ["enc[1-2]"]
                labels = { site = "north" }
                [[group]]
                name = "rack2"
                hosts = ["far1"]
                """)
            fleet.flush()
            os.environ["VKT_FLEET"] = fleet.name
            self.addCleanup(os.environ.pop, "VKT_FLEET")
            self.offer({"vktinventory --group ": ["rack1", "rack2"],
                        "vktinventory --group rack1 -H en": ["enc1", "enc2"],
                        "vktinventory --exclude far": ["far1"],
                        "vktinventory --label s": ["site=north"]})

    def test_a_fleet_file_that_is_named_in_the_line_is_the_one(self):
        with tempfile.TemporaryDirectory(prefix="two words ") as folder:
            fleet = pathlib.Path(folder, "fleet.toml")
            fleet.write_text('[[group]]\nname = "rack9"\nhosts = ["enc9"]\n')
            os.environ["HOME"], home = folder, os.environ["HOME"]
            self.addCleanup(os.environ.__setitem__, "HOME", home)
            self.offer({"vktinventory --fleet ~/fleet.toml --group ": ["rack9"],
                        "vktinventory --fleet ~/fleet.toml -H en": ["enc9"]})
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as fleet:
            fleet.write('[[group]]\nname = "rack8"\nhosts = ["enc8"]\n')
            fleet.flush()
            self.offer({f"vktinventory --fleet={fleet.name} --group ": ["rack8"]})

    def test_options_of_a_command_are_offered_behind_it(self):
        lines = re.findall(r"^  (-\S+)", help_of("vktinventory", "check"), re.MULTILINE)
        own = {name for line in lines for name in line.split(",")}
        self.offer({"vktinventory check -": own | options_of("vktinventory"),
                    "vktinventory check -H h --exp": ["--expect-psus", "--expect-nodes"],
                    "vktinventory check --unreachable ": ["ok", "warning", "critical", "unknown"],
                    "vktinventory check -w power_average=1 --unr": ["--unreachable"],
                    "vktinventory health --expect": []})

    def test_no_value_is_made_up(self):
        self.offer({f"vktinventory {option} ": [] for option in ("-P", "--password", "-U", "-p", "--pin")})
        self.offer({f"vkt-simulator {option} ": [] for option in ("-p", "--https-port", "--listen")})

    def test_an_option_is_not_offered_beside_one_that_excludes_it(self):
        self.offer({"vktinventory --pin x --ca": [], "vktinventory --password-env --password-": []}, [zsh])

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "secret").touch()
            options = ("-f", "--password-file", "--ca-file")
            for shell in (bash, zsh):
                for offered in shell([f"vktinventory {option} {folder}/s" for option in options]):
                    self.assertEqual(names(offered), ["secret"], shell.__name__)

    def test_scenarios_are_those_of_list(self):
        https = [name for name in SCENARIOS if name.startswith("https-")]
        self.assertGreater(len(https), 0)
        self.offer({f"vkt-simulator {option}https-": https for option in ("-s ", "--scenario ", "--scenario=")})

    def test_a_scenario_may_be_a_json_file(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("mine.json", "other.txt"):
                (pathlib.Path(folder) / name).touch()
            for shell in (bash, zsh):
                [offered] = shell([f"vkt-simulator -s {folder}/"])
                self.assertEqual(names(offered), ["mine.json"], shell.__name__)


if __name__ == "__main__":
    unittest.main()
