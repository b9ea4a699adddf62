# SPDX-License-Identifier: Apache-2.0
"""The manual pages: that man takes them, and that they say what is so."""
import gzip
import os
import pathlib
import re
import tempfile
import unittest

from programs import PROGRAMS, commands_of, help_of, options_of, output_of

SOURCE = pathlib.Path(os.environ["VKT_SOURCE"])
BUILT = pathlib.Path(os.environ["VKT_REFERENCE"])
PAGES = (
    "vktinventory.1",
    "vkt-exporter.1",
    "vkt-simulator.1",
    "vktinventory.3",
    "libvktenclosure.3",
    "vktinventory.toml.5",
    "fleet.toml.5",
    "vkt-scenario.5",
)
INVENTORY = SOURCE / "src/module/vkt/vkt_inventory"
HEADER = INVENTORY / "vkt_inventory.h"
RECORDS = INVENTORY / "vkt_inventory_records.h"
# What is asked for as a setting: the argument of a call, or a text that looks like one and may be
# handed on to a call.
SETTING = re.compile(r'(?:Get|Find)GlobalConfig\w+\(\s*"(\w+)"|"([A-Z][A-Z0-9]*_[A-Z0-9_]+)"')
VARIABLE = re.compile(r'(?:getenv|IsSet|Variable)\("(\w+)"\)|kVariable = "(\w+)"')


def path_of(page, folder=BUILT / "share/man"):
    return folder / f"man{page[-1]}" / page


def roff(page):
    return path_of(page).read_text()


def shown(page):
    """As a terminal of 80 columns shows it."""
    text = output_of("man", "-P", "cat", "-E", "UTF-8", "-l", str(path_of(page)), MANWIDTH="80")
    return re.sub(".\b", "", text)


def section(page, heading):
    return re.search(rf"^\.Sh {heading}\n((?:(?!\.Sh ).*\n)*)", roff(page), re.MULTILINE).group(1)


def sources(*folders):
    return [path for folder in folders for path in (SOURCE / folder).rglob("*.cpp")]


def names_in(pattern, *folders):
    found = [match for path in sources(*folders) for match in pattern.findall(path.read_text())]
    return {name for match in found for name in ([match] if isinstance(match, str) else match) if name}


def without_blanks(text):
    return re.sub(r"\s+", "", text)


def prototypes(text):
    """What can be called, as one word each: the constructor and the queries."""
    calls = r"(?m)^ *(?:explicit VKTInventory|[\w:]+ (?:Get|Select)\w+)\([^)]*\);"
    return [without_blanks(call) for call in re.findall(calls, text)]


class ManualPages(unittest.TestCase):
    maxDiff = None

    def test_there_is_one_for_each_thing_and_no_other(self):
        built = {path.name for path in (BUILT / "share/man").rglob("*.[1-9]")}
        self.assertEqual(built, set(PAGES))

    def test_man_has_nothing_to_warn_of(self):
        for page in PAGES:
            with self.subTest(page):
                output_of("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(path_of(page)),
                          MANROFFSEQ="", MANWIDTH="80")

    def test_lines_fit_an_ordinary_terminal(self):
        for page in PAGES:
            for line in shown(page).splitlines():
                self.assertLessEqual(len(line), 80, f"{page}: {line}")

    def test_headings_are_shown_as_they_are_written(self):
        """A word such as "An" at the beginning of one is a macro."""
        for page in PAGES:
            lines = [line.strip() for line in shown(page).splitlines()]
            for heading in re.findall(r"^\.S[hs] (.*)$", roff(page), re.MULTILINE):
                self.assertIn(heading, lines, page)

    def test_no_part_of_a_template_is_left_unfilled(self):
        for page in PAGES:
            self.assertNotRegex(roff(page), r"@\w+@", page)

    def test_references_lead_to_pages(self):
        for page in PAGES:
            references = re.findall(r"^\.Xr (\S+) (\d)", roff(page), re.MULTILINE)
            self.assertTrue(references, page)
            for name, number in references:
                self.assertIn(f"{name}.{number}", PAGES, page)
                self.assertNotEqual(f"{name}.{number}", page)

    def test_man_finds_each_where_it_is_installed(self):
        with tempfile.TemporaryDirectory() as prefix:
            output_of("cmake", "--install", str(BUILT / "apps/reference"), "--prefix", prefix)
            folder = pathlib.Path(prefix) / "share/man"
            for page in PAGES:
                name, number = page.rsplit(".", 1)
                found = output_of("man", "-M", str(folder), "-w", number, name).strip()
                self.assertEqual(found, f"{path_of(page, folder)}.gz")
                self.assertEqual(gzip.open(found, "rt").read(), roff(page))
                first = output_of("man", "-M", str(folder), "-P", "cat", number, name).split()[0]
                self.assertEqual(first, f"{name.upper()}({number})")


class Commands(unittest.TestCase):
    def test_options_are_those_of_help(self):
        for program in PROGRAMS:
            tags = re.findall(r"^\.It Fl (.*)$", section(f"{program}.1", "OPTIONS"), re.MULTILINE)
            names = {"-" + flag.split()[0] for tag in tags for flag in tag.split(", Fl ")}
            self.assertEqual(names, options_of(program))

    def test_help_fits_an_ordinary_terminal(self):
        for program in PROGRAMS:
            for line in help_of(program).splitlines():
                self.assertLessEqual(len(line), 80, line)

    def test_values_of_options_are_named_as_in_help(self):
        for program in PROGRAMS:
            tags = re.findall(r"^\.It (?:Fl . , )?Fl -(\S+) Ar (.+)$",
                              section(f"{program}.1", "OPTIONS"), re.MULTILINE)
            # Without the default, the words that may stand, and "..." for several.
            lines = re.findall(r"^  (?:-.,)?--(\S+) (\S.*?)(?=:\{|=[^A-Z]|  | \.\.\.|$)",
                               help_of(program), re.MULTILINE)
            self.assertEqual(dict(tags), dict(lines))

    def test_commands_are_those_of_help(self):
        tags = re.findall(r"^\.It Cm (\S+)(?: Ar \S.*)?$", section("vktinventory.1", "COMMANDS"), re.MULTILINE)
        self.assertEqual(tags, list(commands_of("vktinventory")))

    def test_environment_is_what_the_programs_ask_for(self):
        pages = section("vktinventory.1", "ENVIRONMENT") + section("vktinventory.3", "ENVIRONMENT")
        documented = set(re.findall(r"^\.It Ev (\w+[A-Z])\b", pages, re.MULTILINE))
        self.assertEqual(documented, names_in(VARIABLE, "src", "apps/vktinventory"))


class FleetFile(unittest.TestCase):
    def test_keys_are_those_that_are_read(self):
        """The reader's table names each key and what reads it; a group's hosts and names stand apart."""
        reader = (SOURCE / "src/fleet/fleet_reader.cpp").read_text()
        keys = set(re.findall(r'^    \{"([a-z-]+)", &FleetReader::', reader, re.MULTILINE)) | {"name", "hosts"}
        tags = re.findall(r"^\.It Ic (.*)$", section("fleet.toml.5", "KEYS"), re.MULTILINE)
        self.assertEqual({key for tag in tags for key in tag.split(" , ")}, keys)


class Scenarios(unittest.TestCase):
    def test_members_are_those_that_the_simulator_reads(self):
        asked = re.compile(r'(?:members|firmware)\["(\w+)"\]|ReadCount\(members, "(\w+)"\)')
        code = (SOURCE / "apps/vkt_simulator/scenario.cpp").read_text()
        read = {name for match in asked.findall(code) for name in match if name}
        lines = re.findall(r"^\.(?:It )?Va ([\w ,]+)", section("vkt-scenario.5", "DESCRIPTION"), re.MULTILINE)
        self.assertEqual({word for line in lines for word in re.findall(r"\w+", line)}, read)


class Settings(unittest.TestCase):
    def documented(self):
        return re.findall(r"^\.It Ic (\S+)$", section("vktinventory.toml.5", "SETTINGS"), re.MULTILINE)

    def test_are_those_that_the_libraries_ask_for(self):
        results = names_in(re.compile(r'"(VKT_\w+)"'), "src")
        asked = names_in(SETTING, "src") - results - names_in(VARIABLE, "src")
        self.assertEqual(sorted(self.documented()), sorted(asked))

    def test_are_those_that_the_command_sets(self):
        self.assertLessEqual(names_in(re.compile(r'SetGlobalConfig\w+\("(\w+)"'), "apps"),
                             set(self.documented()))


class Library(unittest.TestCase):
    def test_synopsis_is_the_header(self):
        self.assertEqual(prototypes(section("vktinventory.3", "SYNOPSIS")), prototypes(HEADER.read_text()))

    def test_results_are_those_of_the_header(self):
        self.assertEqual(
            re.findall(r"^\.It Dv (\w+)$", section("vktinventory.3", "RETURN VALUES"), re.MULTILINE),
            re.findall(r"^    (VKT_INVENTORY_\w+) = \d", RECORDS.read_text(), re.MULTILINE))


class EnclosureLibrary(unittest.TestCase):
    PAGE = "libvktenclosure.3"

    def test_synopsis_is_the_headers(self):
        folder = SOURCE / "src/module/vkt/vkt_enclosure"
        exported = [
            without_blanks(re.sub(r"///[^\n]*", "", call))
            for header in ("enclosure.h", "health.h", "read_enclosure.h")
            for call in re.findall(r"VKT_EXPORT ([^;]*;)", (folder / header).read_text())]
        shown_calls = re.findall(r"(?ms)^[\w:<>]+ \w+\(.*?\);", section(self.PAGE, "SYNOPSIS"))
        self.assertEqual(sorted(map(without_blanks, shown_calls)), sorted(exported))

    def test_causes_are_those_of_the_header(self):
        header = (SOURCE / "src/common/failure/failure.h").read_text()
        self.assertEqual(re.findall(r"^\.It Dv (\w+)$", section(self.PAGE, "ERRORS"), re.MULTILINE),
                         re.findall(r"^    (k\w+), +///<", header, re.MULTILINE))


if __name__ == "__main__":
    unittest.main()
