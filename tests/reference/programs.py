# SPDX-License-Identifier: Apache-2.0
"""The programs that the manual pages and completions describe, as they describe themselves."""
import os
import re
import subprocess

PROGRAMS = {
    "vktinventory": os.environ["VKTINVENTORY"],
    "vkt-exporter": os.environ["VKT_EXPORTER"],
    "vkt-simulator": os.environ["VKT_SIMULATOR"],
}
# Far above anything that is waited for here: a run that reaches it hangs.
TIMEOUT = 120


def output_of(*words, **environment):
    """What a program prints on standard output; it must end well and print nothing else."""
    done = subprocess.run(
        words,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        encoding="utf-8",
        timeout=TIMEOUT,
        env={**os.environ, "LC_ALL": "C.UTF-8", **environment},
    )
    assert (done.returncode, done.stderr) == (0, ""), f"{words}: {done}"
    return done.stdout


def help_of(program, *words):
    return output_of(PROGRAMS[program], *words, "--help")


def options_of(program):
    """Every name of every option that --help lists: -I and --interface."""
    lines = re.findall(r"^  (-\S+)", help_of(program), re.MULTILINE)
    return {name for line in lines for name in line.split(",")}


def commands_of(program):
    """The commands that --help lists, and the N of each that takes a number."""
    section = re.search(r"^Commands:\n((?:  .*\n)*)", help_of(program), re.MULTILINE)
    lines = section.group(1) if section else ""
    return dict(re.findall(r"^  ([a-z-]+)( N)?", lines, re.MULTILINE))
